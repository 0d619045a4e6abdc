// The log checker: what one reading of a log gives (counts, calls by method, findings grouped by
// text with the calls they stand in, the state of a log that cannot be read whole), and tarvlog.exe
// itself run as CI runs it: exit codes, its JSON read back, its JUnit document parsed.
#include "viewer/log_check.h"
#include "viewer/outline.h"
#include "viewer/sample_log.h"

#include "support/process.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

using tarv::CheckOptions;
using tarv::LogReport;
using State = LogReport::State;
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

CheckOptions options(bool warningsFail = false, std::vector<std::string> ignore = {})
{
    CheckOptions o;
    o.warningsFail = warningsFail;
    o.ignorePatterns = std::move(ignore);
    std::string error;
    EXPECT_TRUE(tarv::compileIgnorePatterns(o, error)) << error;
    return o;
}

// The whole text of a file.
std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Runs tarvlog.exe with `arguments`; its exit code, and its standard output in `out`.
DWORD tarvlog(const std::string& arguments, std::string& out)
{
    const char* exe = std::getenv("TARV64_TARVLOG");
    const std::string outPath = viewertest::tempPath("tarvlog-out.txt");
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    HANDLE file = CreateFileA(outPath.c_str(), GENERIC_WRITE, FILE_SHARE_READ, &inherit, CREATE_ALWAYS, 0, nullptr);
    const std::string line = "\"" + std::string(exe ? exe : "tarvlog.exe") + "\" " + arguments;
    const DWORD code = testsupport::runProcess(std::wstring(line.begin(), line.end()), 60000, file, file);
    CloseHandle(file);
    out = readAll(outPath);
    return code;
}

// Enough of a JSON reader to walk the checker's documented shape.
struct Json {
    enum Type { null, boolean, number, string, array, object } type = null;
    double num = 0;
    std::string str;
    std::vector<Json> items;
    std::map<std::string, Json> members;
    const Json& operator[](const std::string& key) const
    {
        static const Json missing;
        auto it = members.find(key);
        return it == members.end() ? missing : it->second;
    }
};

class JsonReader {
public:
    explicit JsonReader(const std::string& text) : p_(text.c_str()) {}
    bool read(Json& v)
    {
        if (!value(v)) return false;
        space();
        return *p_ == '\0';
    }

private:
    void space()
    {
        while (*p_ == ' ' || *p_ == '\n' || *p_ == '\r' || *p_ == '\t') ++p_;
    }
    bool literal(const char* word)
    {
        const size_t n = std::strlen(word);
        if (std::strncmp(p_, word, n) != 0) return false;
        p_ += n;
        return true;
    }
    bool text(std::string& s)
    {
        if (*p_++ != '"') return false;
        for (; *p_ && *p_ != '"'; ++p_) {
            if (*p_ != '\\') {
                s += *p_;
                continue;
            }
            const char e = *++p_;
            if (e == 'u') {
                s += static_cast<char>(std::strtol(std::string(p_ + 1, 4).c_str(), nullptr, 16));
                p_ += 4;
            } else {
                s += e == 'n' ? '\n' : e == 'r' ? '\r' : e == 't' ? '\t' : e;
            }
        }
        return *p_++ == '"';
    }
    bool value(Json& v)
    {
        space();
        if (*p_ == '"') return v.type = Json::string, text(v.str);
        if (literal("null")) return true;
        if (literal("true")) return v.type = Json::boolean, v.num = 1, true;
        if (literal("false")) return v.type = Json::boolean, true;
        if (*p_ == '[' || *p_ == '{') {
            const bool isObject = *p_++ == '{';
            v.type = isObject ? Json::object : Json::array;
            space();
            if (*p_ == (isObject ? '}' : ']')) return ++p_, true;
            for (;;) {
                Json item;
                std::string key;
                space();
                if (isObject && !(text(key) && (space(), *p_++ == ':'))) return false;
                if (!value(item)) return false;
                if (isObject) v.members[key] = std::move(item);
                else v.items.push_back(std::move(item));
                space();
                if (*p_ == ',') ++p_;
                else return *p_++ == (isObject ? '}' : ']');
            }
        }
        char* end = nullptr;
        v.num = std::strtod(p_, &end);
        if (end == p_) return false;
        p_ = end;
        v.type = Json::number;
        return true;
    }
    const char* p_;
};

} // namespace

TEST(LogCheck, CountsCallsByMethodAndFindingsGroupedWithTheCallsTheyStandIn)
{
    const LogReport r = tarv::readLogReport(writeLogFile("check-breaches.tlg", kBreaches), true);
    EXPECT_EQ(r.state, State::complete);
    EXPECT_EQ(r.records, 10);
    EXPECT_EQ(r.callsIn, 2);
    EXPECT_EQ(r.callsOut, 1);
    EXPECT_EQ(r.notes, 1);
    EXPECT_EQ(r.errors, 2);
    EXPECT_EQ(r.warnings, 2);
    EXPECT_EQ(r.deepestNesting, 2);

    std::string calls;
    for (const auto& m : r.calls) calls += std::to_string(m.count) + (m.in ? " in " : " out ") + m.method + "\n";
    EXPECT_EQ(calls, "1 out ICapeThermoMaterial::GetOverallProp\n1 in ICapeThermoPropertyRoutine::CalcSinglePhaseProp\n"
                     "1 in ICapeUtilities::Initialize\n");

    std::string findings;
    for (const auto& f : r.findings) {
        findings += (f.warning ? "W " : "E ") + std::to_string(f.count) + " " + f.text + ":";
        for (const auto& p : f.places) findings += " [" + p.call + "|" + p.object + "|" + std::to_string(p.count) + "]";
        findings += "\n";
    }
    EXPECT_EQ(findings,
              "W 1 empty phase label: [ICapeThermoMaterial::GetOverallProp|Stream 1|1]\n"
              "E 2 ECapeBadArgument: bad basis: [ICapeThermoMaterial::GetOverallProp|Stream 1|1] "
              "[ICapeThermoPropertyRoutine::CalcSinglePhaseProp|Pkg|1]\n"
              "W 1 late release: [||1]\n");

    // Top-level calls, each finding under the call it is in with the path down to it; the warning
    // outside any call in a case of its own.
    ASSERT_EQ(r.cases.size(), 3u);
    EXPECT_EQ(r.cases[0].call, "ICapeUtilities::Initialize");
    EXPECT_TRUE(r.cases[0].hits.empty());
    ASSERT_EQ(r.cases[1].hits.size(), 3u);
    EXPECT_EQ(r.cases[1].hits[1].path, "ICapeThermoPropertyRoutine::CalcSinglePhaseProp (Pkg) > "
                                       "ICapeThermoMaterial::GetOverallProp (Stream 1) > ECapeBadArgument: bad basis");
    EXPECT_EQ(r.cases[1].hits[2].path, "ICapeThermoPropertyRoutine::CalcSinglePhaseProp (Pkg) > ECapeBadArgument: bad basis");
    EXPECT_EQ(r.cases[2].call, "(outside any call)");
}

TEST(LogCheck, VerdictsFollowTheStateAndTheOptions)
{
    const std::string breaches = writeLogFile("check-verdict.tlg", kBreaches);
    const std::string clean = writeLogFile("check-clean.tlg", "<func name=\"A::B\" direc=\"in\" object=\"x\">\n</func>\n");
    const std::string warningsOnly = writeLogFile("check-warn.tlg", "<warning value=\"w\"/>\n");
    struct Case {
        const std::string* log;
        CheckOptions options;
        int verdict;
    } cases[] = {
        {&clean, options(), 0},
        {&breaches, options(), 1},
        {&breaches, options(false, {"^ECapeBadArgument"}), 0},
        {&breaches, options(true, {"bad basis"}), 1},
        {&warningsOnly, options(), 0},
        {&warningsOnly, options(true), 1},
    };
    for (const Case& c : cases)
        EXPECT_EQ(tarv::checkVerdict(tarv::readLogReport(*c.log, false), c.options), c.verdict) << *c.log;
}

TEST(LogCheck, LogsThatCannotBeReadWholeSayWhy)
{
    // A log written by CallLog, cut where a process that died would have left it.
    const std::string whole = viewertest::tempPath("check-whole.tlg");
    viewertest::writeSampleLog(whole, 20);
    const std::string bytes = readAll(whole);
    const std::string cut = viewertest::tempPath("check-cut.tlg");
    std::ofstream(cut, std::ios::binary) << bytes.substr(0, bytes.size() / 2);

    const std::string locked = writeLogFile("check-locked.tlg", "");
    HANDLE writer = CreateFileA(locked.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    struct Case {
        std::string path;
        State state;
        const char* problem;
    } cases[] = {
        {whole, State::complete, ""},
        {cut, State::cutOff, "the log is cut off at line "},
        {viewertest::tempPath("check-missing.tlg"), State::unreadable, "no such file"},
        {locked, State::unreadable, "cannot be opened ("},
        {writeLogFile("check-unclosed.tlg", "", false), State::cutOff, "the log is cut off"},
        {viewertest::tempPath("check-nothing.tlg"), State::unreadable, "no XML document could be read from it"},
        {writeLogFile("check-foreign.tlg", ""), State::notALog, "not a TARV64 call log: its outermost element is <html>"},
        {writeLogFile("check-damaged.tlg", "<info value=\"a\"/>\n<info value=\"b\"></inf>\n"), State::damaged,
         "the log is damaged"},
    };
    std::ofstream(cases[5].path, std::ios::binary) << "";
    std::ofstream(cases[6].path, std::ios::binary) << "<?xml version=\"1.0\"?>\n<html><body/></html>\n";
    for (const Case& c : cases) {
        const LogReport r = tarv::readLogReport(c.path, false);
        EXPECT_EQ(r.state, c.state) << c.path << ": " << r.problem;
        EXPECT_EQ(r.problem.rfind(c.problem, 0), 0u) << c.path << ": " << r.problem;
        EXPECT_EQ(tarv::checkVerdict(r, options()), c.state == State::complete ? 1 : 2) << c.path;
    }
    CloseHandle(writer);
    const LogReport whole20 = tarv::readLogReport(whole, false);
    EXPECT_EQ(whole20.errors, 20);
    EXPECT_EQ(whole20.warnings, 40);
    EXPECT_GT(tarv::readLogReport(cut, false).records, 0);
}

TEST(Tarvlog, ExitCodesJsonAndJunitAsCiReadsThem)
{
    const std::string log = writeLogFile("check-cli.tlg", kBreaches);
    std::string out;
    EXPECT_EQ(tarvlog("summary \"" + log + "\"", out), 0u) << out;
    EXPECT_NE(out.find("ICapeThermoMaterial::GetOverallProp"), std::string::npos) << out;
    EXPECT_EQ(tarvlog("check \"" + log + "\"", out), 1u) << out;
    EXPECT_NE(out.find("verdict: FAILED, 2 failing records"), std::string::npos) << out;
    EXPECT_EQ(tarvlog("check \"" + log + "\" --ignore \"bad basis$\"", out), 0u) << out;
    EXPECT_EQ(tarvlog("check \"" + log + "\" --ignore \"bad basis$\" --warnings-fail", out), 1u) << out;
    EXPECT_EQ(tarvlog("check \"" + log + "\" --ignore \"(\"", out), 2u) << out;
    EXPECT_EQ(tarvlog("check \"" + log + "\" --format yaml", out), 2u) << out;
    EXPECT_EQ(tarvlog("check \"" + viewertest::tempPath("check-none.tlg") + "\"", out), 2u) << out;
    EXPECT_NE(out.find("no such file"), std::string::npos) << out;

    ASSERT_EQ(tarvlog("check \"" + log + "\" --format json", out), 1u) << out;
    Json json;
    ASSERT_TRUE(JsonReader(out).read(json)) << out;
    EXPECT_EQ(json["state"].str, "complete");
    EXPECT_EQ(json["verdict"].str, "failed");
    EXPECT_EQ(json["exitCode"].num, 1);
    EXPECT_EQ(json["counts"]["callsIn"].num, 2);
    EXPECT_EQ(json["counts"]["deepestNesting"].num, 2);
    ASSERT_EQ(json["calls"].items.size(), 3u);
    EXPECT_EQ(json["calls"].items[0]["direction"].str, "out");
    ASSERT_EQ(json["findings"].items.size(), 3u);
    const Json& badBasis = json["findings"].items[1];
    EXPECT_EQ(badBasis["kind"].str, "error");
    EXPECT_EQ(badBasis["count"].num, 2);
    EXPECT_EQ(badBasis["fails"].type, Json::boolean);
    EXPECT_EQ(badBasis["places"].items[1]["object"].str, "Pkg");
    EXPECT_EQ(json["findings"].items[2]["places"].items[0]["call"].type, Json::null);

    // JUnit: one test case per top-level call, the failures in the call they happened in.
    const std::string junitPath = viewertest::tempPath("check-junit.xml");
    ASSERT_EQ(tarvlog("check \"" + log + "\" --format junit --warnings-fail --output \"" + junitPath + "\"", out), 1u);
    const std::string junit = readAll(junitPath);
    xmlDocPtr doc = xmlReadMemory(junit.data(), static_cast<int>(junit.size()), nullptr, nullptr, XML_PARSE_NONET);
    ASSERT_NE(doc, nullptr) << junit;
    std::ostringstream cases;
    for (xmlNodePtr suite = xmlDocGetRootElement(doc)->children; suite; suite = suite->next) {
        if (suite->type != XML_ELEMENT_NODE) continue;
        for (xmlNodePtr c = suite->children; c; c = c->next) {
            if (c->type != XML_ELEMENT_NODE) continue;
            xmlChar* name = xmlGetProp(c, BAD_CAST "name");
            cases << name;
            xmlFree(name);
            for (xmlNodePtr f = c->children; f; f = f->next)
                if (f->type == XML_ELEMENT_NODE) {
                    xmlChar* message = xmlGetProp(f, BAD_CAST "message");
                    cases << " | " << f->name << ": " << message;
                    xmlFree(message);
                }
            cases << "\n";
        }
    }
    xmlFreeDoc(doc);
    EXPECT_EQ(cases.str(), "1 ICapeUtilities::Initialize\n"
                           "2 ICapeThermoPropertyRoutine::CalcSinglePhaseProp | failure: empty phase label"
                           " | failure: ECapeBadArgument: bad basis | failure: ECapeBadArgument: bad basis\n"
                           "3 (outside any call) | failure: late release\n");
    EXPECT_NE(junit.find("<testsuites name=\"tarvlog\" tests=\"3\" failures=\"2\" errors=\"0\">"), std::string::npos)
        << junit;
}
