// The log reader's rules, through a sink that records what it is handed: the element table, what
// stays of a file that cannot be read whole and what the user is told, the progress threshold, and
// a few hundred damaged copies of a log that CallLog wrote (cut at random places, bytes changed,
// end tags removed, an unknown type): the reader must neither crash nor hang, hand on a
// well-formed tree, and tell the user nothing but its own messages.
#include "viewer/log_reader.h"
#include "viewer/outline.h"

#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <share.h>

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

// Replaces the value of one randomly chosen attribute `type` by the bare text "<unknown>".
bool unknownType(std::string& text, std::mt19937& random)
{
    std::vector<size_t> places;
    for (size_t p = text.find("type=\""); p != std::string::npos; p = text.find("type=\"", p + 1)) places.push_back(p);
    if (places.empty()) return false;
    size_t start = places[random() % places.size()] + 6;
    text.replace(start, text.find('"', start) - start, "<unknown>");
    return true;
}

bool removeEndTag(std::string& text, std::mt19937& random)
{
    std::vector<size_t> places;
    for (size_t p = text.find("</"); p != std::string::npos; p = text.find("</", p + 1)) places.push_back(p);
    if (places.empty()) return false;
    size_t start = places[random() % places.size()];
    text.erase(start, text.find('>', start) + 1 - start);
    return true;
}

void changeBytes(std::string& text, std::mt19937& random)
{
    for (int n = 1 + static_cast<int>(random() % 3); n > 0; --n)
        text[random() % text.size()] = static_cast<char>(random() % 256);
}

void expectOwnMessages(const RecordingSink& sink, const std::string& path, const std::string& what)
{
    for (size_t i = 0; i < sink.messages.size(); ++i) {
        const LogReaderMessage& m = sink.messages[i];
        if (m.kind == Kind::parserMessage) {
            EXPECT_STREQ(m.caption, "Parse error: ") << what;
            EXPECT_EQ(m.text.rfind("Parse error in \"" + path + "\", line " + std::to_string(m.line) + ": ", 0), 0u)
                << what << ": " << m.text;
        } else {
            EXPECT_EQ(m.kind, Kind::parseFailed) << what << ": " << m.text;
            EXPECT_STREQ(m.caption, "Parse Error:") << what;
            EXPECT_EQ(m.text, "XML parse error in \"" + path + "\"") << what;
            EXPECT_EQ(i + 1, sink.messages.size()) << what << ": the failure is told last";
        }
    }
}

void expectWellFormed(const RecordingSink& sink, int32_t longest, const std::string& what)
{
    for (size_t i = 0; i < sink.items.size(); ++i) {
        EXPECT_LE(sink.items[i].parent, i) << what << ": item " << i + 1 << " comes after its parent";
        if (sink.items[i].parent) {
            EXPECT_TRUE(sink.items[sink.items[i].parent - 1].hasChildren) << what;
        }
    }
    EXPECT_EQ(longest, longestText(sink)) << what;
    for (const std::string& row : sink.rows) {
        size_t number = std::stoul(row.substr(row.rfind('#') + 1));
        ASSERT_TRUE(number >= 1 && number <= sink.items.size()) << what << ": " << row;
        const auto& item = sink.items[number - 1];
        EXPECT_TRUE(item.image == tarv::imageError || item.image == tarv::imageWarning) << what << ": " << row;
        EXPECT_EQ(row, "row " + std::to_string(item.image) + " " + item.text + " -> #" + std::to_string(number) + "\n");
    }
}

} // namespace

TEST(LogReader, EachElementBecomesAnItemAndEachSelfClosingErrorOrWarningARow)
{
    struct Case {
        const char* name;
        const char* body;
        const char* outline;
    } cases[] = {
        {"records",
         "<info value=\"a &amp; b\"/>\n<error value=\"e\"/>\n<warning value=\"w\"/>\n"
         "<argval value=\"&quot;abc&quot;\"/>\n<argval value=\"&lt;NULL&gt;\"/>\n<info value=\"\"/>\n",
         "2 a & b\n3 e\n10 w\n8 \"abc\"\n8 <NULL>\n2 \nrow 3 e -> #2\nrow 10 w -> #3\n"},
        {"records without a value", "<info/>\n<error/>\n<warning/>\n<argval/>\n",
         "2 <no information>\n3 <no information>\n10 <no information>\n8 <no information>\n"
         "row 3 <no information> -> #2\nrow 10 <no information> -> #3\n"},
        {"calls and arguments",
         "<func name=\"I::M\" direc=\"in\" object=\"P\">\n <arg name=\"x\" direc=\"in\" type=\"double\">\n"
         "  <argval value=\"1\"/>\n </arg>\n <arg name=\"v\" direc=\"out\" type=\"VT_EMPTY\">\n </arg>\n</func>\n"
         "<func name=\"I::N\" direc=\"out\" object=\"S\">\n</func>\n",
         "4 I::M (P) +\n  6 x (type: double) +\n    8 1\n  7 v (type: VT_EMPTY)\n5 I::N (S)\n"},
        {"a warning deep down, after an error",
         "<error value=\"first\"/>\n<func name=\"A\" direc=\"in\" object=\"o\">\n"
         " <func name=\"B\" direc=\"out\" object=\"m\">\n  <arg name=\"p\" direc=\"in\" type=\"string\">\n"
         "   <warning value=\"deep\"/>\n  </arg>\n  <error value=\"ECapeNoImplHR: not implemented\"/>\n"
         " </func>\n</func>\n",
         "3 first\n4 A (o) +\n  5 B (m) +\n    6 p (type: string) +\n      10 deep\n"
         "    3 ECapeNoImplHR: not implemented\n"
         "row 3 first -> #1\nrow 10 deep -> #5\nrow 3 ECapeNoImplHR: not implemented -> #6\n"},
        {"elements the writer never makes",
         "<foo a=\"1\" b=\"2\"/>\n<bar x=\"y\">\n<info value=\"i\"/>\n</bar>\n<baz></baz>\n",
         "8 foo 1 2\n8 bar y +\n  2 i\n8 baz\n"},
        {"calls and arguments short of attributes, and a direction in capitals",
         "<func direc=\"in\"></func>\n<func name=\"F\" direc=\"IN\" object=\"o\"></func>\n<arg name=\"a\"></arg>\n",
         "4 <no information> (<no information>)\n5 F (o)\n7 a (type: <no information>)\n"},
        {"an error or warning with an end tag is no row",
         "<error value=\"e\">\n<info value=\"i\"/>\n</error>\n<warning value=\"w\"></warning>\n", "3 e +\n  2 i\n10 w\n"},
        {"the root alone", "", ""},
        {"three notes", "<info value=\"1\"/>\n<info value=\"2\"/>\n<info value=\"3\"/>\n", "2 1\n2 2\n2 3\n"},
    };
    for (const Case& c : cases) {
        for (const char* lineEnd : {"\r\n", "\n"}) {
            std::string path = writeLogFile("elements.tlg", c.body, true, lineEnd);
            RecordingSink sink;
            int32_t longest = tarv::parseLogFile(path, sink);
            std::string name = std::string(c.name) + (lineEnd[0] == '\r' ? " (CR LF)" : " (LF)");
            EXPECT_EQ(sink.outline(), c.outline) << name;
            EXPECT_EQ(longest, longestText(sink)) << name;
            EXPECT_TRUE(sink.messages.empty()) << name << ": " << sink.messages[0].text;
            EXPECT_TRUE(sink.progress.empty()) << name;
            DeleteFileA(path.c_str());
        }
    }
}

TEST(LogReader, AFileReadOnlyInPartKeepsWhatWasDeliveredAndSaysWhy)
{
    // The reader may stop before it delivers the records of the last stretch it read: those cases
    // keep a part of their outline, from its start.
    std::string notes, noteLines;
    for (int i = 0; i < 300; ++i) {
        notes += "<info value=\"note " + std::to_string(i) + "\"/>\r\n";
        noteLines += "2 note " + std::to_string(i) + "\n";
    }
    struct Case {
        const char* name;
        std::string text;
        std::string outline;
        bool partly = false;
    } cases[] = {
        {"an empty file", "", ""},
        {"the prolog alone", "<?xml version=\"1.0\" standalone=\"yes\"?>\r\n", ""},
        // A process that died: no end tags, the last record whole. The call in progress stands as
        // a parent with what it holds so far.
        {"a log cut off after a record",
         "<?xml version=\"1.0\" standalone=\"yes\"?>\r\n<tarvlogdocument>\r\n<info value=\"before\"/>\r\n"
         "<func name=\"I::M\" direc=\"in\" object=\"P\">\r\n <arg name=\"x\" direc=\"in\" type=\"double\">\r\n"
         "  <argval value=\"1\"/>\r\n </arg>\r\n <func name=\"J::N\" direc=\"out\" object=\"S\">\r\n"
         "  <info value=\"last\"/>\r\n",
         "2 before\n4 I::M (P) +\n  6 x (type: double) +\n    8 1\n  5 J::N (S) +\n    2 last\n"},
        // Held back until its first child or its end, an element cut off before either is lost.
        {"a log cut off inside a record",
         "<?xml version=\"1.0\" standalone=\"yes\"?>\r\n<tarvlogdocument>\r\n<info value=\"before\"/>\r\n"
         "<func name=\"I::M\" direc=\"in\" object=\"P\">\r\n <arg name=\"x\" direc=\"in\" ty",
         "2 before\n"},
        // The bare text of an unknown type ends the parse there.
        {"an unknown type",
         "<?xml version=\"1.0\" standalone=\"yes\"?>\r\n<tarvlogdocument>\r\n" + notes +
             "<func name=\"I::M\" direc=\"in\" object=\"P\">\r\n <arg name=\"x\" direc=\"in\" type=\"<unknown>\">\r\n"
             "  <argval value=\"1\"/>\r\n </arg>\r\n</func>\r\n<info value=\"after\"/>\r\n</tarvlogdocument>\r\n",
         noteLines, true},
    };
    for (const Case& c : cases) {
        std::string path = viewertest::tempPath("partial.tlg");
        viewertest::writeFile(path, c.text);
        RecordingSink sink;
        tarv::parseLogFile(path, sink);
        if (c.partly) {
            EXPECT_FALSE(sink.items.empty()) << c.name;
            EXPECT_EQ(c.outline.rfind(sink.outline(), 0), 0u) << c.name << ":\n" << sink.outline();
        } else {
            EXPECT_EQ(sink.outline(), c.outline) << c.name;
        }
        ASSERT_GE(sink.messages.size(), 2u) << c.name;
        EXPECT_EQ(sink.messages.back().kind, Kind::parseFailed) << c.name;
        expectOwnMessages(sink, path, c.name);
        DeleteFileA(path.c_str());
    }
}

TEST(LogReader, AFileThatCannotBeOpenedIsSaidSoAndNothingIsRead)
{
    std::string missing = viewertest::tempPath("missing.tlg");
    std::string busy = writeLogFile("busy.tlg", "<info value=\"1\"/>\n", false);
    // A log still being written: its writer lets others read, the reader refuses to share.
    std::FILE* writer = _fsopen(busy.c_str(), "a", _SH_DENYWR);
    ASSERT_NE(writer, nullptr);
    struct Case {
        std::string path;
        const char* reason;
    } cases[] = {{missing, "No such file or directory"}, {busy, "Permission denied"}};
    for (const Case& c : cases) {
        RecordingSink sink;
        EXPECT_EQ(tarv::parseLogFile(c.path, sink), 0);
        EXPECT_EQ(sink.outline(), "");
        ASSERT_EQ(sink.messages.size(), 1u);
        EXPECT_EQ(sink.messages[0].kind, Kind::cannotOpen);
        EXPECT_STREQ(sink.messages[0].caption, "File error:");
        EXPECT_EQ(sink.messages[0].text, "Failed to open \"" + c.path + "\" for reading: " + c.reason);
        EXPECT_TRUE(sink.progress.empty());
    }
    std::fclose(writer);
    RecordingSink after;
    tarv::parseLogFile(busy, after);
    EXPECT_EQ(after.outline(), "2 1\n") << "readable once the writer has closed it";
    DeleteFileA(busy.c_str());
}

// Calls with a note each, then one note whose value pads the file to `size` bytes exactly.
std::string fileOfSize(size_t size)
{
    std::string body;
    for (int i = 0; i < 400; ++i) body += "<func name=\"I::M\" direc=\"in\" object=\"P\">\n<info value=\"x\"/>\n</func>\n";
    std::string head = "<?xml version=\"1.0\" standalone=\"yes\"?>\n<tarvlogdocument>\n";
    std::string tail = "</tarvlogdocument>\n";
    std::string open = "<info value=\"", close = "\"/>\n";
    size_t fixed = head.size() + body.size() + open.size() + close.size() + tail.size();
    body += open + std::string(size - fixed, 'p') + close;
    std::string path = viewertest::tempPath("sized-" + std::to_string(size) + ".tlg");
    viewertest::writeFile(path, head + body + tail);
    return path;
}

TEST(LogReader, OnlyAFileAbove50000BytesShowsProgressInGrowingWholePercentages)
{
    std::string atLimit = fileOfSize(50000), above = fileOfSize(50001);
    RecordingSink quiet, shown;
    tarv::parseLogFile(atLimit, quiet);
    tarv::parseLogFile(above, shown);
    EXPECT_TRUE(quiet.progress.empty());
    EXPECT_EQ(quiet.items.size(), shown.items.size());

    ASSERT_GE(shown.progress.size(), 4u);
    EXPECT_EQ(shown.progress[0], "begin 50001");
    EXPECT_EQ(shown.progress[1], "show");
    EXPECT_EQ(shown.progress.back(), "end");
    int last = 0;
    for (size_t i = 2; i + 1 < shown.progress.size(); ++i) {
        int percent = std::stoi(shown.progress[i]);
        EXPECT_GT(percent, last);
        EXPECT_LE(percent, 100);
        last = percent;
    }
    DeleteFileA(atLimit.c_str());
    DeleteFileA(above.c_str());
}

TEST(LogReaderRobustness, DamagedLogsNeverBreakTheReader)
{
    std::string original = viewertest::tempPath("original.tlg");
    viewertest::writeSampleLog(original, 25, 4);
    const std::string bytes = testsupport::readFile(original);
    ASSERT_GT(bytes.size(), 10000u);
    {
        RecordingSink whole;
        tarv::parseLogFile(original, whole);
        EXPECT_TRUE(whole.messages.empty());
        EXPECT_EQ(whole.rows.size(), 75u);
    }

    std::mt19937 random(20261114);
    std::string path = viewertest::tempPath("damaged.tlg");
    int failures = 0;
    for (int i = 0; i < 400; ++i) {
        std::string text = bytes;
        std::string what;
        switch (i % 4) {
        case 0:
            text.resize(random() % text.rfind("</tarvlogdocument>"));
            what = "cut at " + std::to_string(text.size());
            break;
        case 1:
            changeBytes(text, random);
            what = "bytes changed";
            break;
        case 2:
            removeEndTag(text, random);
            what = "an end tag removed";
            break;
        case 3:
            unknownType(text, random);
            what = "an unknown type";
            break;
        }
        what += " (mutation " + std::to_string(i) + ")";
        viewertest::writeFile(path, text);

        RecordingSink sink;
        int32_t longest = tarv::parseLogFile(path, sink);
        expectOwnMessages(sink, path, what);
        expectWellFormed(sink, longest, what);
        if (!sink.messages.empty()) ++failures;
        if (i % 4 == 0 || i % 4 == 3) {
            EXPECT_FALSE(sink.messages.empty()) << what << ": told nothing";
        }
    }
    EXPECT_GT(failures, 300);
    DeleteFileA(path.c_str());
    DeleteFileA(original.c_str());
}
