// The log document: prolog, records, nesting, escaping, failure texts, closing, crashes.
#include "log_fixture.h"
#include "com/bstr.h"
#include "com/variant.h"
#include "kit/kit.h"
#include "log/clock.h"
#include "tarvlib.h"
#include <functional>
#include <set>
#include <string>
#include <tuple>

using logtest::crlf;
using logtest::LogFile;
using tarv::Bstr;
using tarv::CallLog;

TEST(LogOpening, DateAndTimeFollowTheirPicturesInTheSystemLocale)
{
    tarv::setLocalTimeSource([](SYSTEMTIME* t) { *t = SYSTEMTIME{2027, 3, 0, 5, 9, 4, 0, 0}; });
    std::string path = logtest::tempPath("opening");
    CallLog::open(logtest::openStream(path), "Reactions", "CAPE-OPEN version 1.0 Reaction Package", path.c_str())->destroy();
    tarv::setLocalTimeSource(nullptr);
    char month[80] = "";
    GetLocaleInfoA(LOCALE_SYSTEM_DEFAULT, LOCALE_SMONTHNAME3, month, sizeof month);
    EXPECT_EQ(logtest::readFile(path), crlf("<?xml version=\"1.0\" standalone=\"yes\"?>\n<tarvlogdocument>\n"
                                            "<info value=\"TARV Logging started at " + std::string(month) +
                                            " 05, 2027, 09:04\"/>\n") + logtest::expected("a reaction package's opening"));
    DeleteFileA(path.c_str());
}

TEST(LogRecords, FuncsArgumentsNotesAndFailuresAsTheyStandInTheFile)
{
    auto material = kit::Object::create<ICapeThermoMaterial, ECapeUser>(L"Stream 1");
    auto unit = kit::Object::create<ICapeUnitReport, ECapeUser>(L"Unit");
    unit->errorDescription(L"first\r\nsecond");
    const struct { const char* name; std::function<void(CallLog&)> write; } rows[] = {
        {"GetOverallProp", [](CallLog& l) {
             l.beginFunc(0, "ICapeThermoMaterial::GetOverallProp", "Stream 1");
             l.argString("property", 1, Bstr(L"temperature").get());
             l.argString("basis", 1, nullptr);
             l.argVariant("results", 0, tarv::makeDoubleArray({300.0}).get(), VT_ARRAY | VT_R8, 0);
             l.endFunc(S_OK, nullptr);
             EXPECT_EQ(l.depth(), 0u);
         }},
        // No description and no ECapeRoot: the fixed text.
        {"GetOverallProp failing with an empty description", [&](CallLog& l) {
             material->errorDescription(L"");
             l.beginFunc(0, "ICapeThermoMaterial::GetOverallProp", "Stream 1");
             l.argString("property", 1, Bstr(L"temperature").get());
             l.argString("basis", 1, nullptr);
             l.endFunc(ECapeNoImplHR, material->ptr<ICapeThermoMaterial>());
         }},
        {"nested funcs and notes keep their depth", [](CallLog& l) {
             l.writeInfo("root note");
             l.beginFunc(1, "ICapeThermoPropertyRoutine::CalcSinglePhaseProp", "Package & <Co>");
             l.writeInfo("inside");
             l.beginFunc(0, "ICapeThermoMaterial::GetPresentPhases", "Stream 1");
             l.writeWarning("deeper");
             l.endFunc(S_FALSE, nullptr);
             l.beginFunc(0, "ICapeThermoMaterial::SetSinglePhaseProp", "Stream 1");
             l.endFunc(STG_S_CONVERTED, nullptr);
             l.writeError("it's \"quoted\"");
             l.endFunc(S_OK, nullptr);
             l.writeError("");
         }},
        {"suppression warnings stand in the first column", [](CallLog& l) {
             l.writeInfo("\x80" "1");
             l.beginFunc(1, "Method\x01Name", "Clean");   // the method name's flag gives no warning
             l.writeError("line\nfeed");
             l.writeWarning("tab\there");
             l.beginFunc(0, "Inner", "Bad\x7F\x81Name");
             l.argString("text", 1, Bstr(L"caf\u00e9").get());
             l.endFunc(S_OK, nullptr);
             l.endFunc(S_OK, nullptr);
         }},
        {"a failure text with a line feed is cleaned and flagged", [&](CallLog& l) {
             l.beginFunc(1, "ICapeUnitReport::ProduceReport", "Unit");
             l.endFunc(ECapeComputationHR, unit->ptr<ICapeUnitReport>());
         }},
        {"enumerations, the last one invalid inside a func", [](CallLog& l) {
             l.argValidationStatus("e", 1, CAPE_VALID);
             l.argValidationStatus("e", 1, static_cast<CapeValidationStatus>(3));
             l.argPortType("e", 1, static_cast<CapePortType>(7));
             l.argReactionType("e", 1, static_cast<CapeReactionType>(255));
             l.argReactionRateBasis("e", 1, static_cast<CapeReactionRateBasis>(-1));
             l.argPortDirection("e", 1, CAPE_INLET_OUTLET);
             l.argPortDirection("e", 0, static_cast<CapePortDirection>(3));
             l.argParamMode("e", 0, CAPE_OUTPUT);
             l.argParamMode("e", 1, static_cast<CapeParamMode>(5));
             l.argParamType("e", 1, CAPE_REAL);
             l.argParamType("e", 1, static_cast<CapeParamType>(0x1A));
             l.beginFunc(0, "ICapeUnitPort::get_direction", "Port");
             l.argPortDirection("direction", 0, static_cast<CapePortDirection>(9));
             l.endFunc(S_OK, nullptr);
         }},
        {"calculation flags", [](CallLog& l) {
             for (int bits : {0, 1, 3, 8, 15, 16, 17, -16}) l.argCalculationFlags("fFlags", 0, bits);
         }},
        {"a value stands one deeper", [](CallLog& l) {
             l.beginFunc(1, "F", "O");
             l.writeValue(tarv::Variant::fromLong(5).get());
             l.writeValue(tarv::Variant().get());
             l.endFunc(S_OK, nullptr);
         }},
        {"failures without an interface give the system's text", [](CallLog& l) {
             for (HRESULT hr : {E_NOINTERFACE, E_FAIL}) {
                 l.beginFunc(1, "ICapeUtilities::Edit", "Stream 1");
                 l.endFunc(hr, nullptr);
             }
         }},
        {"turned-down queries, never the server's own", [](CallLog& l) {
             l.queryInterface("Stream 1", IID_IDispatch, E_NOINTERFACE);
             l.queryInterface("Stream 1", IID_IOriginalObject64, E_NOINTERFACE);
             l.beginFunc(1, "F", "Stream 1");
             l.queryInterface("A&B", IID_IUnknown, static_cast<HRESULT>(0x80040509));
             l.endFunc(S_OK, nullptr);
         }},
    };
    for (const auto& row : rows) EXPECT_EQ(logtest::recordsOf(row.write), logtest::expected(row.name)) << row.name;
}

TEST_F(LogFile, EscapeBufferGrowsInStepsAndNeverShrinks)
{
    std::string plain(5000, 'a'), quotes(5000, '"'), escaped;
    for (int i = 0; i < 5000; ++i) escaped += "&quot;";
    for (auto [text, capacity] : {std::pair{plain.c_str(), 5120}, {"short", 5120}, {quotes.c_str(), 30720}, {"", 30720}}) {
        log_->writeInfo(text);
        EXPECT_EQ(log_->escapeCapacity(), capacity);
    }
    EXPECT_EQ(body(), crlf("<info value=\"" + plain + "\"/>\n<info value=\"short\"/>\n<info value=\"" + escaped +
                           "\"/>\n<info value=\"\"/>\n"));
}

TEST_F(LogFile, CloseTwiceAndEveryOperationAfterCloseWritesNothing)
{
    static int hookRuns;
    static std::string hookPath;
    static bool hookSawClosedLog;
    hookRuns = 0;
    CallLog::setCloseHook([](const CallLog& log) { ++hookRuns; hookPath = log.logPath(); hookSawClosedLog = !log.isOpen(); });
    log_->beginFunc(1, "ICapeUtilities::Initialize", "Stream 1");
    log_->close();
    std::string afterClose = logtest::readFile(path_);
    log_->close();
    log_->writeInfo("late");
    log_->beginFunc(1, "Late", "Stream 1");
    log_->argShort("s", 1, 1);
    log_->argLong("l", 1, 1);
    log_->argVariantBool("b", 1, 5);
    log_->argDouble("d", 1, 1.0);
    log_->argString("t", 1, nullptr);
    log_->argInterface("i", 1, nullptr);
    log_->argInterfacePointer("p", 1, nullptr);
    log_->argParamMode("m", 1, static_cast<CapeParamMode>(9));
    log_->argCalculationFlags("f", 1, 3);
    log_->argVariant("v", 1, tarv::makeDoubleArray({1.0}).get(), VT_ARRAY | VT_R8, 0);
    log_->writeValue(tarv::makeDoubleArray({1.0}).get());
    log_->queryInterface("Stream 1", IID_IDispatch, E_NOINTERFACE);
    log_->endFunc(E_FAIL, nullptr);
    CallLog::setCloseHook(nullptr);
    EXPECT_EQ(std::tuple(hookRuns, hookPath, hookSawClosedLog, log_->depth()), std::tuple(1, path_, true, 1u));
    EXPECT_EQ(afterClose, logtest::openingLines() +
                              crlf("<func name=\"ICapeUtilities::Initialize\" direc=\"in\" object=\"Stream 1\">\n") +
                              std::string(logtest::endTag));
    EXPECT_EQ(logtest::readFile(path_), afterClose);
}

int crashChild(const char* path)
{
    tarv::setLocalTimeSource(logtest::fixedTime);
    CallLog* log = CallLog::open(logtest::openStream(path), "Stream 1", "CAPE-OPEN version 1.1 Physical Property Package", path);
    log->beginFunc(1, "ICapeThermoPropertyRoutine::CalcSinglePhaseProp", "Stream 1");
    log->argDouble("temperature", 1, 298.15);
    log->beginFunc(0, "ICapeThermoMaterial::GetTPFraction", "Stream 1");
    log->writeWarning("about to die");
    TerminateProcess(GetCurrentProcess(), 3);
    return 0;
}

TEST(CrashedLog, EndsAtTheLastRecordWithEverythingOpen)
{
    std::string path = logtest::tempPath("crash");
    EXPECT_EQ(logtest::runChild(L"--write-then-die", path), 3u);
    EXPECT_EQ(logtest::readFile(path), logtest::openingLines() + logtest::expected("a log cut off by a crash"));
    DeleteFileA(path.c_str());
}

TEST(StatusName, NamesTheConstantsAndFallsBackToHex)
{
    for (auto [status, name] : {std::pair{HRESULT(0), "NOERROR"},
                                {CO_E_LAUNCH_PERMSSION_DENIED, "CO_E_LAUNCH_PERMSSION_DENIED"},   // as the system spells it
                                {S_FALSE, "0x1"}, {HRESULT(0x80040500), "0x80040500"},
                                {HRESULT(0x8004051B), "0x8004051B"}, {HRESULT(0xDEADBEEF), "0xDEADBEEF"}})
        EXPECT_EQ(CallLog::statusName(status), name);
    // The CAPE-OPEN block has a name for each of its 26 codes, each its own.
    std::set<std::string> names;
    for (uint32_t code = 0x80040501; code <= 0x8004051A; ++code) {
        names.insert(CallLog::statusName(static_cast<HRESULT>(code)));
        EXPECT_EQ(names.rbegin()->rfind("ECape", 0), 0u);
    }
    EXPECT_EQ(names.size(), 26u);
    EXPECT_EQ(CallLog::interfaceName(IID_IDispatch), "IDispatch");
    const IID unregistered = {0x6B0C1A2E, 0x53A4, 0x4F0F, {0x9E, 0x5D, 0x0A, 0x11, 0xC0, 0xFF, 0xEE, 0x01}};
    EXPECT_EQ(CallLog::interfaceName(unregistered), "{6B0C1A2E-53A4-4F0F-9E5D-0A11C0FFEE01}");
}

TEST(CapeErrorText, AsksUserThenRootThenTheTable)
{
    // A null description leaves ECapeUser out, a null name ECapeRoot.
    const struct { const wchar_t *description, *name; HRESULT code; std::wstring text; } cases[] = {
        {L"Property not supported", L"Root name", HRESULT(ECapeNoImplHR), L"Property not supported"},
        {L"", L"Root name", HRESULT(ECapeNoImplHR), L"Root name"},
        {L"", nullptr, HRESULT(ECapeNoImplHR), L"not implemented"},
        {L"", L"", HRESULT(ECapeThrmPropertyNotAvailableHR),
         L"One or more of the requested thermodynamic properties are not set on the material"},
        {nullptr, nullptr, HRESULT(ECapeUnknownHR), L"Failed to get error name for ECapeUnknown"},
        // Outside the block the object is not asked.
        {L"never", L"never", static_cast<HRESULT>(0x8004051B), L"error code 0x8004051B"},
        {L"never", L"never", E_FAIL, L"Call failed."},
    };
    for (const auto& c : cases) {
        std::vector<IID> interfaces{IID_ICapeUtilities};
        if (c.description) interfaces.push_back(IID_ECapeUser);
        if (c.name) interfaces.push_back(IID_ECapeRoot);
        auto object = kit::Object::create(interfaces);
        if (c.description) object->errorDescription(c.description);
        if (c.name) object->errorName(c.name);
        EXPECT_EQ(tarv::capeErrorText(object->ptr<ICapeUtilities>(), c.code), c.text);
        EXPECT_EQ(object->refCount(), 1u);   // every reference taken is given back
        if (c.code < HRESULT(ECapeUnknownHR) || c.code > HRESULT(ECapeThrmPropertyNotAvailableHR)) {
            EXPECT_TRUE(object->queries().empty());
        }
    }
    auto failing = kit::Object::create<ICapeUtilities, ECapeUser, ECapeRoot>();
    failing->fail(&ECapeUser::get_description, E_FAIL).fail(&ECapeRoot::get_name, E_FAIL);
    EXPECT_EQ(tarv::capeErrorText(failing->ptr<ICapeUtilities>(), ECapePersistenceHR), L"storage / persistence error");
    EXPECT_EQ(tarv::capeErrorText(nullptr, ECapeDataHR), L"invalid data");
    // The system's message without its line end, else the code.
    EXPECT_EQ(tarv::systemErrorText(HRESULT{2}), L"File not found.");
    EXPECT_EQ(tarv::systemErrorText(E_ACCESSDENIED), L"Access denied.");
    EXPECT_EQ(tarv::systemErrorText(static_cast<HRESULT>(0xA0001234)), L"error code 0xA0001234");
}
