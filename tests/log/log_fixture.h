#pragma once
// Logs written through the public operations into real files and read back byte for byte (line
// ends CR LF, as the log writes them).

#include "log/call_log.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>

namespace logtest {

// The opening records use testsupport::fixedTime: 14 November 2026, 15:17.
using testsupport::fixedTime;
using testsupport::readFile;

// LF to CR LF, for expected texts written as raw string literals.
std::string crlf(std::string_view text);
// The expected text `name` of tests/data/log.txt, CR LF ends.
std::string expected(const std::string& name);
// A fresh path in the temporary directory.
std::string tempPath(const char* stem);
// Opens `path` as the log's stream is opened: mode "w", deny write.
std::FILE* openStream(const std::string& path);

// Windows' own sprintf from msvcrt.dll: the reference for numbers and addresses in the log.
using Sprintf = int(__cdecl*)(char*, const char*, ...);
Sprintf msvcrtSprintf();

// Runs this test binary again as a child with `mode` and `path` (see main.cpp) and returns its
// exit code.
DWORD runChild(const wchar_t* mode, const std::string& path);

// The document's first five lines for object "Stream 1" of the 1.1 package type, CR LF ends.
std::string openingLines();
constexpr std::string_view endTag = "</tarvlogdocument>\r\n";

class LogFile : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Closes the log; the records between the opening lines and the end tag (checked), CR LF ends.
    std::string body();

    std::string path_;
    tarv::CallLog* log_ = nullptr;
};

// The records one action writes into a fresh log, CR LF ends.
std::string recordsOf(const std::function<void(tarv::CallLog&)>& action);

} // namespace logtest
