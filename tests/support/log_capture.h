#pragma once
// A call log on a temporary file, for tests that read what proxies wrote, and readers of logs.
#include "log/call_log.h"

#include <string>
#include <vector>

namespace testsupport {

class LogCapture {
public:
    explicit LogCapture(const char* objectName = "Package", const char* objectType = "Test object");
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The log, with one share held by this capture until it is destroyed.
    tarv::CallLog* log() const { return log_; }
    const std::string& path() const { return path_; }
    // The whole file as written so far, line ends as in the file.
    std::string text() const;
    // The records after the opening lines (prolog, root and the three opening infos), LF line ends.
    std::string records() const;

private:
    std::string path_;
    tarv::CallLog* log_ = nullptr;
};

size_t occurrences(const std::string& text, const std::string& part);
// The local time of the tests' logs: 14 November 2026, 15:17 (for tarv::setLocalTimeSource).
void fixedTime(SYSTEMTIME* out);
// A whole file as it is on disk, read while a writer may still hold it.
std::string readFile(const std::string& path);
// A whole file with CR LF line ends turned into LF.
std::string readLog(const std::string& path);
// An expected output kept as a file under tests/data (`name` relative to it), as it is on disk.
std::string expectedText(const std::string& name);
// The lines of the first record at depth 0 of a log (LF line ends) that starts with `opening`,
// through its end tag; none when there is no such record.
std::vector<std::string> topLevelRecord(const std::string& log, const std::string& opening);
// What is wrong with the structure of a whole log (LF line ends), or an empty string: every func,
// arg and open argval closed in order, the root closed last, func and arg tags indented by depth.
// Read line by line, so that the one text written unescaped ("<unknown>" as a type) hides nothing.
std::string structureProblem(const std::string& log);

} // namespace testsupport
