#pragma once
// Logs written into real files and read back byte for byte (CR LF), opened at testsupport::fixedTime.
#include "log/call_log.h"
#include "support/log_capture.h"
#include <gtest/gtest.h>
#include <functional>
#include <string>
#include <string_view>

namespace logtest {

using testsupport::fixedTime;
using testsupport::readFile;

std::string crlf(std::string_view text);                  // LF to CR LF
std::string expected(const std::string& name);            // a text of tests/data/log.txt, CR LF ends
std::string tempPath(const char* stem);
std::FILE* openStream(const std::string& path);           // as the log's stream is opened
using Sprintf = int(__cdecl*)(char*, const char*, ...);
Sprintf msvcrtSprintf();                                  // Windows' own, the reference for numbers
DWORD runChild(const wchar_t* mode, const std::string& path);   // this binary again, as in main.cpp
std::string openingLines();                               // for "Stream 1" of the 1.1 package type
constexpr std::string_view endTag = "</tarvlogdocument>\r\n";

class LogFile : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    std::string body();   // closes the log: the records between opening lines and end tag (checked)
    std::string path_;
    tarv::CallLog* log_ = nullptr;
};

// The records one action writes into a fresh log.
std::string recordsOf(const std::function<void(tarv::CallLog&)>& action);

} // namespace logtest
