// The reader on a few hundred damaged copies of a log that CallLog wrote: cut at random places,
// bytes changed, end tags removed, an unknown type. It must neither crash nor hang, hand on a
// well-formed tree, and tell the user nothing but its own messages.
#include "viewer/log_reader.h"
#include "viewer/outline.h"
#include "viewer/sample_log.h"

#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>

using tarv::LogReaderMessage;
using Kind = LogReaderMessage::Kind;
using viewertest::RecordingSink;

namespace {

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
    size_t longestText = 0;
    for (size_t i = 0; i < sink.items.size(); ++i) {
        EXPECT_LE(sink.items[i].parent, i) << what << ": item " << i + 1 << " comes after its parent";
        if (sink.items[i].parent) {
            EXPECT_TRUE(sink.items[sink.items[i].parent - 1].hasChildren) << what;
        }
        longestText = std::max(longestText, sink.items[i].text.size());
    }
    EXPECT_EQ(static_cast<size_t>(longest), longestText) << what;
    for (const std::string& row : sink.rows) {
        size_t number = std::stoul(row.substr(row.rfind('#') + 1));
        ASSERT_TRUE(number >= 1 && number <= sink.items.size()) << what << ": " << row;
        const auto& item = sink.items[number - 1];
        EXPECT_TRUE(item.image == tarv::imageError || item.image == tarv::imageWarning) << what << ": " << row;
        EXPECT_EQ(row, "row " + std::to_string(item.image) + " " + item.text + " -> #" + std::to_string(number) + "\n");
    }
}

} // namespace

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
        std::FILE* f = std::fopen(path.c_str(), "wb");
        std::fwrite(text.data(), 1, text.size(), f);
        std::fclose(f);

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
