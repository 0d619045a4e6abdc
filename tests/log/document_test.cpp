// The log document: prolog, records, nesting, escaping, suppression warnings, closing, crashes.
#include "log_fixture.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "kit/kit.h"
#include "log/clock.h"

#include <share.h>

#include <string>

using logtest::crlf;
using logtest::LogFile;
using tarv::Bstr;
using tarv::CallLog;

namespace {

const char infoWarning[] =
    "<warning value=\"One or more non-printable characters suppressed in above info string (these "
    "cannot be stored in XML)\"/>\n";
const char errorWarning[] =
    "<warning value=\"One or more non-printable characters suppressed in above error string (these "
    "cannot be stored in XML)\"/>\n";
const char warningWarning[] =
    "<warning value=\"One or more non-printable characters suppressed in above warning string (these "
    "cannot be stored in XML)\"/>\n";
const char objectWarning[] =
    "<warning value=\"One or more non-printable characters suppressed in above object name (these "
    "cannot be stored in XML)\"/>\n";
const char stringWarning[] =
    "<warning value=\"One or more non-printable characters suppressed in above string value (these "
    "cannot be stored in XML)\"/>\n";

} // namespace

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

TEST_F(LogFile, GetOverallPropRecord)
{
    log_->beginFunc(0, "ICapeThermoMaterial::GetOverallProp", "Stream 1");
    log_->argString("property", 1, Bstr(L"temperature").get());
    log_->argString("basis", 1, nullptr);
    log_->argVariant("results", 0, tarv::makeDoubleArray({300.0}).get(), VT_ARRAY | VT_R8, 0);
    log_->endFunc(S_OK, nullptr);
    EXPECT_EQ(body(), crlf(R"(<func name="ICapeThermoMaterial::GetOverallProp" direc="out" object="Stream 1">
 <arg name="property" direc="in" type="string">
  <argval value="&quot;temperature&quot;"/>
 </arg>
 <arg name="basis" direc="in" type="string">
  <argval value="&lt;NULL&gt;"/>
 </arg>
 <arg name="results" direc="out" type="VT_ARRAY|VT_R8">
  <info value="Lower bound: 0"/>
  <info value="Upper bound: 0"/>
  <argval value="300"/>
 </arg>
</func>
)"));
    EXPECT_EQ(log_->depth(), 0u);
}

TEST_F(LogFile, GetOverallPropFailingWithNoImpl)
{
    // The material's ECapeUser has no description and it has no ECapeRoot: the fixed text.
    auto material = kit::Object::create<ICapeThermoMaterial, ECapeUser>(L"Stream 1");
    material->errorDescription(L"");
    log_->beginFunc(0, "ICapeThermoMaterial::GetOverallProp", "Stream 1");
    log_->argString("property", 1, Bstr(L"temperature").get());
    log_->argString("basis", 1, nullptr);
    log_->endFunc(ECapeNoImplHR, material->ptr<ICapeThermoMaterial>());
    EXPECT_EQ(body(), crlf(R"(<func name="ICapeThermoMaterial::GetOverallProp" direc="out" object="Stream 1">
 <arg name="property" direc="in" type="string">
  <argval value="&quot;temperature&quot;"/>
 </arg>
 <arg name="basis" direc="in" type="string">
  <argval value="&lt;NULL&gt;"/>
 </arg>
 <error value="ECapeNoImplHR: not implemented"/>
</func>
)"));
}

TEST_F(LogFile, NestedFuncsAndNotesKeepTheirDepth)
{
    log_->writeInfo("root note");
    log_->beginFunc(1, "ICapeThermoPropertyRoutine::CalcSinglePhaseProp", "Package & <Co>");
    log_->writeInfo("inside");
    log_->beginFunc(0, "ICapeThermoMaterial::GetPresentPhases", "Stream 1");
    log_->writeWarning("deeper");
    log_->endFunc(S_FALSE, nullptr);
    log_->beginFunc(0, "ICapeThermoMaterial::SetSinglePhaseProp", "Stream 1");
    log_->endFunc(STG_S_CONVERTED, nullptr);
    log_->writeError("it's \"quoted\"");
    log_->endFunc(S_OK, nullptr);
    log_->writeError("");
    EXPECT_EQ(body(), crlf(R"(<info value="root note"/>
<func name="ICapeThermoPropertyRoutine::CalcSinglePhaseProp" direc="in" object="Package &amp; &lt;Co&gt;">
 <info value="inside"/>
 <func name="ICapeThermoMaterial::GetPresentPhases" direc="out" object="Stream 1">
  <warning value="deeper"/>
 </func>
 <func name="ICapeThermoMaterial::SetSinglePhaseProp" direc="out" object="Stream 1">
 </func>
 <error value="it&apos;s &quot;quoted&quot;"/>
</func>
<error value=""/>
)"));
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

TEST_F(LogFile, SuppressionWarningsStandInTheFirstColumn)
{
    log_->writeInfo("\x80" "1");
    log_->beginFunc(1, "Method\x01Name", "Clean");   // the method name's flag gives no warning
    log_->writeError("line\nfeed");
    log_->writeWarning("tab\there");
    log_->beginFunc(0, "Inner", "Bad\x7F\x81Name");
    log_->argString("text", 1, Bstr(L"caf\u00e9").get());
    log_->endFunc(S_OK, nullptr);
    log_->endFunc(S_OK, nullptr);
    EXPECT_EQ(body(), crlf(std::string("<info value=\"1\"/>\n") + infoWarning +
                           "<func name=\"MethodName\" direc=\"in\" object=\"Clean\">\n"
                           " <error value=\"linefeed\"/>\n" + errorWarning +
                           " <warning value=\"tabhere\"/>\n" + warningWarning +
                           " <func name=\"Inner\" direc=\"out\" object=\"Bad\x7FName\">\n" + objectWarning +
                           "  <arg name=\"text\" direc=\"in\" type=\"string\">\n"
                           "   <argval value=\"&quot;caf&quot;\"/>\n" + stringWarning +
                           "  </arg>\n"
                           " </func>\n"
                           "</func>\n"));
}

TEST_F(LogFile, FailureTextWithLineFeedIsCleanedAndFlagged)
{
    auto unit = kit::Object::create<ICapeUnitReport, ECapeUser>(L"Unit");
    unit->errorDescription(L"first\r\nsecond");
    log_->beginFunc(1, "ICapeUnitReport::ProduceReport", "Unit");
    log_->endFunc(ECapeComputationHR, unit->ptr<ICapeUnitReport>());
    EXPECT_EQ(body(), crlf(std::string("<func name=\"ICapeUnitReport::ProduceReport\" direc=\"in\" object=\"Unit\">\n"
                                       " <error value=\"ECapeComputationHR: firstsecond\"/>\n") +
                           errorWarning + "</func>\n"));
}

TEST(LogEscape, TranslatesEachByteByTheTable)
{
    struct Case {
        const char* input;
        const char* output;
        int suppressed;
    } cases[] = {
        {"", "", 0},
        {"plain text 123", "plain text 123", 0},
        {"\"&'<>", "&quot;&amp;&apos;&lt;&gt;", 0},
        {"a\tb\rc\nd", "abcd", 1},
        {"\x1F" "x", "x", 1},
        {"\x7F", "\x7F", 0},
        {" ~", " ~", 0},
        {"\x80\xFF\xC3\xA9z", "z", 1},
        {"<NULL>", "&lt;NULL&gt;", 0},
    };
    std::string path = logtest::tempPath("escape");
    CallLog* log = CallLog::open(logtest::openStream(path), "x", "y", path.c_str());
    for (const Case& c : cases) {
        int flag = 7;
        EXPECT_STREQ(log->escape(c.input, &flag), c.output) << c.input;
        EXPECT_EQ(flag, c.suppressed) << c.input;
    }
    EXPECT_EQ(log->escapeCapacity(), 1024);
    log->destroy();
    DeleteFileA(path.c_str());
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
    EXPECT_EQ(logtest::readFile(path),
              logtest::openingLines() +
                  crlf(R"(<func name="ICapeThermoPropertyRoutine::CalcSinglePhaseProp" direc="in" object="Stream 1">
 <arg name="temperature" direc="in" type="double">
  <argval value="298.15"/>
 </arg>
 <func name="ICapeThermoMaterial::GetTPFraction" direc="out" object="Stream 1">
  <warning value="about to die"/>
)"));
    DeleteFileA(path.c_str());
}
