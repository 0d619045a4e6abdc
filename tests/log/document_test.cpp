// The log document: prolog, records, nesting, escaping, suppression warnings, closing, crashes.
#include "log_fixture.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "kit/kit.h"
#include "log/clock.h"

#include <share.h>

#include <functional>
#include <string>

using logtest::crlf;
using logtest::LogFile;
using tarv::Bstr;
using tarv::CallLog;

TEST(LogOpening, DateAndTimeFollowTheirPicturesInTheSystemLocale)
{
    tarv::setLocalTimeSource([](SYSTEMTIME* t) {
        *t = SYSTEMTIME{};
        t->wYear = 2027;
        t->wMonth = 3;
        t->wDay = 5;
        t->wHour = 9;
        t->wMinute = 4;
    });
    std::string path = logtest::tempPath("opening");
    CallLog* log = CallLog::open(logtest::openStream(path), "Reactions", "CAPE-OPEN version 1.0 Reaction Package",
                                 path.c_str());
    log->destroy();
    tarv::setLocalTimeSource(nullptr);

    char month[80] = "";
    GetLocaleInfoA(LOCALE_SYSTEM_DEFAULT, LOCALE_SMONTHNAME3, month, sizeof month);
    EXPECT_EQ(logtest::readFile(path),
              crlf(std::string("<?xml version=\"1.0\" standalone=\"yes\"?>\n<tarvlogdocument>\n"
                               "<info value=\"TARV Logging started at ") +
                   month + " 05, 2027, 09:04\"/>\n"
                           "<info value=\"Creating Reactions\"/>\n"
                           "<info value=\"Object type: CAPE-OPEN version 1.0 Reaction Package\"/>\n"
                           "</tarvlogdocument>\n"));
    DeleteFileA(path.c_str());
}

TEST(LogRecords, FuncsArgumentsNotesAndFailuresAsTheyStandInTheFile)
{
    auto material = kit::Object::create<ICapeThermoMaterial, ECapeUser>(L"Stream 1");
    auto unit = kit::Object::create<ICapeUnitReport, ECapeUser>(L"Unit");
    unit->errorDescription(L"first\r\nsecond");
    const struct {
        const char* name;
        std::function<void(CallLog&)> write;
    } rows[] = {
        {"GetOverallProp", [](CallLog& l) {
             l.beginFunc(0, "ICapeThermoMaterial::GetOverallProp", "Stream 1");
             l.argString("property", 1, Bstr(L"temperature").get());
             l.argString("basis", 1, nullptr);
             l.argVariant("results", 0, tarv::makeDoubleArray({300.0}).get(), VT_ARRAY | VT_R8, 0);
             l.endFunc(S_OK, nullptr);
             EXPECT_EQ(l.depth(), 0u);
         }},
        // The material's ECapeUser has no description and it has no ECapeRoot: the fixed text.
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
    };
    for (const auto& row : rows) EXPECT_EQ(logtest::recordsOf(row.write), logtest::expected(row.name)) << row.name;
}

TEST_F(LogFile, FailureWithoutInterfaceGivesTheSystemText)
{
    log_->beginFunc(1, "ICapeUtilities::Initialize", "Stream 1");
    log_->endFunc(E_NOINTERFACE, nullptr);
    log_->beginFunc(1, "ICapeUtilities::Edit", "Stream 1");
    log_->endFunc(E_FAIL, nullptr);
    std::string noInterface = tarv::toNarrow(tarv::systemErrorText(E_NOINTERFACE));
    std::string fail = tarv::toNarrow(tarv::systemErrorText(E_FAIL));
    ASSERT_FALSE(noInterface.empty());
    ASSERT_FALSE(fail.empty());
    EXPECT_EQ(body(), crlf("<func name=\"ICapeUtilities::Initialize\" direc=\"in\" object=\"Stream 1\">\n"
                           " <error value=\"E_NOINTERFACE: " + noInterface + "\"/>\n"
                           "</func>\n"
                           "<func name=\"ICapeUtilities::Edit\" direc=\"in\" object=\"Stream 1\">\n"
                           " <error value=\"E_FAIL: " + fail + "\"/>\n"
                           "</func>\n"));
}

TEST_F(LogFile, EscapeBufferGrowsInStepsAndNeverShrinks)
{
    std::string plain(5000, 'a');
    log_->writeInfo(plain.c_str());
    EXPECT_EQ(log_->escapeCapacity(), 5120);
    log_->writeInfo("short");
    EXPECT_EQ(log_->escapeCapacity(), 5120);

    std::string quotes(5000, '"');
    std::string expectedQuotes;
    for (int i = 0; i < 5000; ++i) expectedQuotes += "&quot;";
    log_->writeWarning(quotes.c_str());
    EXPECT_EQ(log_->escapeCapacity(), 30720);
    log_->writeInfo("");
    EXPECT_EQ(log_->escapeCapacity(), 30720);

    EXPECT_EQ(body(), crlf("<info value=\"" + plain + "\"/>\n<info value=\"short\"/>\n<warning value=\"" +
                           expectedQuotes + "\"/>\n<info value=\"\"/>\n"));
}

namespace {
int hookRuns = 0;
std::string hookPath;
bool hookSawClosedLog = false;
} // namespace

TEST_F(LogFile, CloseTwiceAndRecordsAfterCloseWriteNothing)
{
    hookRuns = 0;
    CallLog::setCloseHook([](const CallLog& log) {
        ++hookRuns;
        hookPath = log.logPath();
        hookSawClosedLog = !log.isOpen();
    });
    log_->beginFunc(1, "ICapeUtilities::Initialize", "Stream 1");
    log_->close();
    std::string afterClose = logtest::readFile(path_);

    log_->close();
    log_->writeInfo("late");
    log_->beginFunc(1, "Late", "Stream 1");
    log_->argVariant("v", 1, tarv::makeDoubleArray({1.0}).get(), VT_ARRAY | VT_R8, 0);
    log_->endFunc(E_FAIL, nullptr);
    CallLog::setCloseHook(nullptr);

    EXPECT_EQ(hookRuns, 1);
    EXPECT_EQ(hookPath, path_);
    EXPECT_TRUE(hookSawClosedLog);
    EXPECT_EQ(log_->depth(), 1u);
    EXPECT_EQ(afterClose, logtest::openingLines() +
                              crlf("<func name=\"ICapeUtilities::Initialize\" direc=\"in\" object=\"Stream 1\">\n") +
                              std::string(logtest::endTag));
    EXPECT_EQ(logtest::readFile(path_), afterClose);
    EXPECT_EQ(afterClose.find("Destroying"), std::string::npos);
}

TEST(DetachedLog, EveryOperationIsSilentAndLeavesTheDepth)
{
    CallLog* log = CallLog::open(nullptr, "Detached", "None", "");
    EXPECT_FALSE(log->isOpen());
    log->beginFunc(1, "A::B", "Detached");
    log->writeInfo("x");
    log->argShort("s", 1, 1);
    log->argVariantBool("b", 1, 5);
    log->argLong("l", 1, 1);
    log->argDouble("d", 1, 1.0);
    log->argString("t", 1, nullptr);
    log->argInterface("i", 1, nullptr);
    log->argInterfacePointer("p", 1, nullptr);
    log->argParamMode("m", 1, static_cast<CapeParamMode>(9));
    log->argCalculationFlags("f", 1, 3);
    log->argVariant("v", 1, tarv::makeDoubleArray({1.0}).get(), VT_ARRAY | VT_R8, 0);
    log->writeValue(tarv::makeDoubleArray({1.0}).get());
    log->queryInterface("Detached", IID_IDispatch, E_NOINTERFACE);
    log->endFunc(E_FAIL, nullptr);
    EXPECT_EQ(log->depth(), 0u);
    log->close();
    log->destroy();
}

// --- A log cut off by a crash -----------------------------------------------------------------

int crashChild(const char* path)
{
    tarv::setLocalTimeSource(logtest::fixedTime);
    CallLog* log = CallLog::open(logtest::openStream(path), "Stream 1",
                                 "CAPE-OPEN version 1.1 Physical Property Package", path);
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
    DWORD exitCode = logtest::runChild(L"--write-then-die", path);

    EXPECT_EQ(exitCode, 3u);
    EXPECT_EQ(logtest::readFile(path), logtest::openingLines() + logtest::expected("a log cut off by a crash"));
    DeleteFileA(path.c_str());
}
