// tarvlog.exe run as CI runs it: its exit codes and what it says by log and options, what it says
// of a log that cannot be read whole, and its JSON and JUnit documents against expected outputs.
#include "viewer/outline.h"

#include "com/bstr.h"
#include "support/log_capture.h"
#include "support/process.h"

#include <gtest/gtest.h>

#include <cstdlib>

using viewertest::writeLogFile;

namespace {

// Two top-level calls; the second calls back into a material, where a warning and an error stand,
// and fails itself with the same error text as the one inside.
const char kBreaches[] =
    "<info value=\"TARV Logging started\"/>\n"
    "<func name=\"ICapeUtilities::Initialize\" direc=\"in\" object=\"Pkg\">\n"
    "</func>\n"
    "<func name=\"ICapeThermoPropertyRoutine::CalcSinglePhaseProp\" direc=\"in\" object=\"Pkg\">\n"
    " <arg name=\"phaseLabel\" direc=\"in\" type=\"string\">\n  <argval value=\"&quot;Vapor&quot;\"/>\n </arg>\n"
    " <func name=\"ICapeThermoMaterial::GetOverallProp\" direc=\"out\" object=\"Stream 1\">\n"
    "  <warning value=\"empty phase label\"/>\n"
    "  <error value=\"ECapeBadArgument: bad basis\"/>\n"
    " </func>\n"
    " <error value=\"ECapeBadArgument: bad basis\"/>\n"
    "</func>\n"
    "<warning value=\"late release\"/>\n";

DWORD tarvlog(const std::string& arguments, std::string& out)
{
    return testsupport::runCaptured(tarv::toWide(std::getenv("TARV64_TARVLOG")), tarv::toWide(arguments), out);
}

// `text` with the log's path, as written there, shown as "LOG".
std::string withLog(std::string text, const std::string& path)
{
    for (size_t at; (at = text.find(path)) != std::string::npos;) text.replace(at, path.size(), "LOG");
    return text;
}

} // namespace

TEST(Tarvlog, ExitCodesJsonAndJunitAsCiReadsThem)
{
    const std::string log = writeLogFile("check-cli.tlg", kBreaches);
    const std::string warningsOnly = writeLogFile("check-warn.tlg", "<warning value=\"w\"/>\n");
    // A log written by CallLog, and the same cut where a process that died would have left it.
    const std::string whole = viewertest::tempPath("check-whole.tlg"), cut = viewertest::tempPath("check-cut.tlg");
    viewertest::writeSampleLog(whole, 20);
    const std::string bytes = testsupport::readFile(whole);
    viewertest::writeFile(cut, bytes.substr(0, bytes.size() / 2));
    const std::string nothing = viewertest::tempPath("check-nothing.tlg"), foreign = viewertest::tempPath("check-foreign.tlg");
    viewertest::writeFile(nothing, "");
    viewertest::writeFile(foreign, "<?xml version=\"1.0\"?>\n<html><body/></html>\n");
    const std::string locked = writeLogFile("check-locked.tlg", "");
    HANDLE writer = CreateFileA(locked.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    struct Case {
        std::string arguments;
        DWORD exitCode;
        const char* printed;
    } cases[] = {
        {"summary \"" + log + "\"", 0, "ICapeThermoMaterial::GetOverallProp"},
        {"check \"" + log + "\"", 1, "verdict: FAILED, 2 failing records"},
        {"check \"" + log + "\" --ignore \"bad basis$\"", 0, ""},
        {"check \"" + log + "\" --ignore \"^ECapeBadArgument\"", 0, ""},
        {"check \"" + log + "\" --ignore \"bad basis$\" --warnings-fail", 1, ""},
        {"check \"" + log + "\" --ignore \"(\"", 2, ""},
        {"check \"" + log + "\" --format yaml", 2, ""},
        {"check \"" + writeLogFile("check-clean.tlg", "<func name=\"A::B\" direc=\"in\" object=\"x\">\n</func>\n") + "\"", 0, ""},
        {"check \"" + warningsOnly + "\"", 0, ""},
        {"check \"" + warningsOnly + "\" --warnings-fail", 1, ""},
        {"check \"" + whole + "\"", 1, "verdict: FAILED, 20 failing records"},
        {"check \"" + cut + "\"", 2, "problem: the log is cut off at line "},
        {"check \"" + viewertest::tempPath("check-none.tlg") + "\"", 2, "problem: no such file"},
        {"check \"" + locked + "\"", 2, "problem: cannot be opened ("},
        {"check \"" + writeLogFile("check-unclosed.tlg", "", false) + "\"", 2, "problem: the log is cut off"},
        {"check \"" + nothing + "\"", 2, "problem: no XML document could be read from it"},
        {"check \"" + foreign + "\"", 2, "problem: not a TARV64 call log: its outermost element is <html>"},
        {"check \"" + writeLogFile("check-damaged.tlg", "<info value=\"a\"/>\n<info value=\"b\"></inf>\n") + "\"", 2,
         "problem: the log is damaged"},
    };
    std::string out;
    for (const Case& c : cases) {
        EXPECT_EQ(tarvlog(c.arguments, out), c.exitCode) << c.arguments << "\n" << out;
        EXPECT_NE(out.find(c.printed), std::string::npos) << c.arguments << "\n" << out;
    }
    CloseHandle(writer);

    ASSERT_EQ(tarvlog("check \"" + log + "\" --format json", out), 1u) << out;
    std::string escaped;
    for (char ch : log) escaped += ch == '\\' ? std::string("\\\\") : std::string(1, ch);
    EXPECT_EQ(withLog(out, escaped), testsupport::expectedText("viewer/check.json"));
    const std::string junit = viewertest::tempPath("check-junit.xml");
    ASSERT_EQ(tarvlog("check \"" + log + "\" --format junit --warnings-fail --output \"" + junit + "\"", out), 1u) << out;
    EXPECT_EQ(withLog(testsupport::readFile(junit), log), testsupport::expectedText("viewer/check_junit.xml"));
}
