// The log reader through a sink that records what it is handed; then tarvlog.exe.
#include "viewer/log_reader.h"
#include "viewer/outline.h"
#include "com/bstr.h"
#include "support/log_capture.h"
#include "support/process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

using tarv::LogReaderMessage;
using Kind = LogReaderMessage::Kind;
using viewertest::RecordingSink;
using viewertest::writeLogFile;

namespace {

int32_t longestText(const RecordingSink& sink)
{
    size_t longest = 0;
    for (const auto& item : sink.items) longest = std::max(longest, item.text.size());
    return static_cast<int32_t>(longest);
}

// Only the reader's own messages, a failure told last.
void expectOwnMessages(const RecordingSink& sink, const std::string& path, const std::string& what)
{
    for (size_t i = 0; i < sink.messages.size(); ++i) {
        const LogReaderMessage& m = sink.messages[i];
        if (m.kind == Kind::parserMessage) {
            EXPECT_STREQ(m.caption, "Parse error: ") << what;
            EXPECT_EQ(m.text.rfind("Parse error in \"" + path + "\", line " + std::to_string(m.line) + ": ", 0), 0u) << what;
        } else {
            EXPECT_EQ(std::to_string(static_cast<int>(m.kind)) + m.caption + m.text,
                      std::to_string(static_cast<int>(Kind::parseFailed)) + "Parse Error:XML parse error in \"" + path + "\"") << what;
            EXPECT_EQ(i + 1, sink.messages.size()) << what;
        }
    }
}

} // namespace

TEST(LogReader, EachElementBecomesAnItemAndEachSelfClosingErrorOrWarningARow)
{
    // Cases of the expected output: the log's body, "--", its outline, "==".
    const std::string all = testsupport::expectedText("viewer/elements.txt");
    for (size_t at = 0, end; (end = all.find("==\n", at)) != std::string::npos; at = end + 3) {
        const std::string body = all.substr(at, all.find("--\n", at) - at);
        const std::string outline = all.substr(at + body.size() + 3, end - at - body.size() - 3);
        for (const char* lineEnd : {"\r\n", "\n"}) {
            std::string path = writeLogFile("elements.tlg", body, true, lineEnd);
            RecordingSink sink;
            const int32_t longest = tarv::parseLogFile(path, sink);
            EXPECT_EQ(longest, longestText(sink)) << body;
            EXPECT_EQ(sink.outline(), outline) << body;
            EXPECT_TRUE(sink.messages.empty()) << body;
        }
    }
}

TEST(LogReader, AFileReadOnlyInPartKeepsWhatWasDeliveredAndSaysWhy)
{
    std::string notes, noteLines;
    for (int i = 0; i < 300; ++i) {
        notes += "<info value=\"note " + std::to_string(i) + "\"/>\r\n";
        noteLines += "2 note " + std::to_string(i) + "\n";
    }
    const std::string head = "<?xml version=\"1.0\" standalone=\"yes\"?>\r\n<tarvlogdocument>\r\n";
    const std::string call = "<func name=\"I::M\" direc=\"in\" object=\"P\">\r\n <arg name=\"x\" direc=\"in\" ";
    // partly: the reader may stop before delivering the last stretch it read.
    const struct { std::string text, outline; bool partly; } cases[] = {
        {"", "", false},
        {head.substr(0, head.find('\n') + 1), "", false},
        // A process that died: the call in progress stands as a parent with what it holds so far.
        {head + "<info value=\"before\"/>\r\n" + call + "type=\"double\">\r\n  <argval value=\"1\"/>\r\n </arg>\r\n"
             " <func name=\"J::N\" direc=\"out\" object=\"S\">\r\n  <info value=\"last\"/>\r\n",
         "2 before\n4 I::M (P) +\n  6 x (type: double) +\n    8 1\n  5 J::N (S) +\n    2 last\n", false},
        // Held back until its first child or its end, an element cut off before either is lost.
        {head + "<info value=\"before\"/>\r\n" + call + "ty", "2 before\n", false},
        // The bare text of an unknown type ends the parse there.
        {head + notes + call + "type=\"<unknown>\">\r\n  <argval value=\"1\"/>\r\n </arg>\r\n</func>\r\n</tarvlogdocument>\r\n",
         noteLines, true},
    };
    const std::string path = viewertest::tempPath("partial.tlg");
    for (const auto& c : cases) {
        viewertest::writeFile(path, c.text);
        RecordingSink sink;
        tarv::parseLogFile(path, sink);
        EXPECT_EQ(c.partly ? c.outline.substr(0, sink.outline().size()) : c.outline, sink.outline()) << c.text;
        EXPECT_FALSE(c.partly && sink.items.empty());
        ASSERT_GE(sink.messages.size(), 2u) << c.text;
        EXPECT_EQ(sink.messages.back().kind, Kind::parseFailed) << c.text;
        expectOwnMessages(sink, path, c.text);
    }
}

// Cut, bytes changed, end tags gone, an unknown type: a well-formed tree and only the reader's own messages.
TEST(LogReaderRobustness, DamagedLogsNeverBreakTheReader)
{
    const std::string original = viewertest::tempPath("original.tlg"), path = viewertest::tempPath("damaged.tlg");
    viewertest::writeSampleLog(original, 25, 4);
    const std::string bytes = testsupport::readFile(original);
    std::mt19937 random(20261114);
    auto somewhere = [&](const std::string& text, const char* what) {
        std::vector<size_t> places;
        for (size_t p = text.find(what); p != std::string::npos; p = text.find(what, p + 1)) places.push_back(p);
        return places[random() % places.size()];
    };
    int failures = 0;
    for (int i = 0; i < 400; ++i) {
        std::string text = bytes;
        if (i % 4 == 0) {
            text.resize(random() % text.rfind("</tarvlogdocument>"));
        } else if (i % 4 == 1) {
            for (int n = 1 + static_cast<int>(random() % 3); n > 0; --n) text[random() % text.size()] = static_cast<char>(random() % 256);
        } else if (i % 4 == 2) {
            const size_t start = somewhere(text, "</");
            text.erase(start, text.find('>', start) + 1 - start);
        } else {
            const size_t start = somewhere(text, "type=\"") + 6;
            text.replace(start, text.find('"', start) - start, "<unknown>");
        }
        const std::string what = "mutation " + std::to_string(i);
        viewertest::writeFile(path, text);
        RecordingSink sink;
        const int32_t longest = tarv::parseLogFile(path, sink);
        EXPECT_EQ(longest, longestText(sink)) << what;
        expectOwnMessages(sink, path, what);
        for (size_t n = 0; n < sink.items.size(); ++n) {
            EXPECT_LE(sink.items[n].parent, n) << what;
            EXPECT_TRUE(!sink.items[n].parent || sink.items[sink.items[n].parent - 1].hasChildren) << what;
        }
        for (const std::string& row : sink.rows) {
            const size_t number = std::stoul(row.substr(row.rfind('#') + 1));
            ASSERT_TRUE(number >= 1 && number <= sink.items.size()) << what << ": " << row;
            const auto& item = sink.items[number - 1];
            EXPECT_TRUE(item.image == tarv::imageError || item.image == tarv::imageWarning) << what << ": " << row;
            EXPECT_EQ(row, viewertest::rowLine(item.image, item.text, number)) << what;
        }
        failures += !sink.messages.empty();
        EXPECT_TRUE(i % 4 == 1 || i % 4 == 2 || !sink.messages.empty()) << what << ": told nothing";
    }
    EXPECT_GT(failures, 300);
    DeleteFileA(path.c_str());
    DeleteFileA(original.c_str());
}

// tarvlog.exe: its exit codes and what it says by log and options, and its JSON and JUnit documents.
namespace {

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
    const std::string log = writeLogFile("check-cli.tlg", testsupport::expectedText("viewer/breaches.log"));
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
    const struct { std::string arguments; DWORD exitCode; const char* printed; } cases[] = {
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
    for (const auto& c : cases) {
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
