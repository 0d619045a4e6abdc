#pragma once
// The record tree and the error list as text, so that what the reader hands on and what the
// viewer's controls show compare as strings. One line per item in pre-order: two blanks per level,
// the image index, the text, and " +" for an item marked as having children; then one line per
// list row: "row", the image index, the text and "-> #" with the number of its item in pre-order.
#include "viewer/log_reader.h"

#include <windows.h>

#include <string>
#include <vector>

namespace viewertest {

class RecordingSink : public tarv::LogSink {
public:
    Item insertItem(Item parent, const std::string& text, int image, bool hasChildren) override;
    void addListRow(const std::string& text, int image, Item item) override;
    void report(const tarv::LogReaderMessage& message) override { messages.push_back(message); }
    void progressBegin(int64_t fileLength) override { progress.push_back("begin " + std::to_string(fileLength)); }
    void progressShow() override { progress.push_back("show"); }
    void progressSet(int percent) override { progress.push_back(std::to_string(percent)); }
    void progressEnd() override { progress.push_back("end"); }

    std::string outline() const;

    struct Node {
        size_t parent;   // 0 for the root, else the number of the parent item
        std::string text;
        int image;
        bool hasChildren;
    };
    std::vector<Node> items;   // in order of insertion, numbered from 1
    std::vector<std::string> rows;
    std::vector<tarv::LogReaderMessage> messages;
    std::vector<std::string> progress;
};

// The same text read back from a tree and a list control.
std::string controlsOutline(HWND tree, HWND list);

// A log file in the temporary folder: the prolog, the root, `body`, and the end of the root
// unless `closed` is false; line ends "\n" become `lineEnd`. Returns its path.
std::string writeLogFile(const std::string& name, const std::string& body, bool closed = true,
                         const char* lineEnd = "\r\n");
std::string tempPath(const std::string& name);

} // namespace viewertest
