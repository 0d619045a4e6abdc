#include "log_fixture.h"
#include "log/golden.h"
#include "com/bstr.h"
#include "log/clock.h"
#include "support/process.h"
#include <share.h>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <regex>

namespace logtest {

std::string crlf(std::string_view text) { return std::regex_replace(std::string(text), std::regex("\n"), "\r\n"); }
std::string expected(const std::string& name) { return crlf(testdata::golden("log.txt", name)); }
std::FILE* openStream(const std::string& path) { return _fsopen(path.c_str(), "w", _SH_DENYWR); }

std::string tempPath(const char* stem)
{
    static std::atomic<int> serial{0};
    char dir[MAX_PATH];
    GetTempPathA(MAX_PATH, dir);
    return std::string(dir) + stem + "-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(serial++) + ".tlg";
}

Sprintf msvcrtSprintf()
{
    return reinterpret_cast<Sprintf>(reinterpret_cast<void*>(GetProcAddress(LoadLibraryA("msvcrt.dll"), "sprintf")));
}

DWORD runChild(const wchar_t* mode, const std::string& path)
{
    return testsupport::runProcess(testsupport::quotedSelf() + L" " + mode + L" \"" + tarv::toWide(path) + L"\"");
}

std::string openingLines()
{
    char month[80] = "";
    GetLocaleInfoA(LOCALE_SYSTEM_DEFAULT, LOCALE_SMONTHNAME11, month, sizeof month);
    return crlf(std::string("<?xml version=\"1.0\" standalone=\"yes\"?>\n<tarvlogdocument>\n<info value=\"TARV Logging started at ") + month +
                " 14, 2026, 15:17\"/>\n<info value=\"Creating Stream 1\"/>\n"
                "<info value=\"Object type: CAPE-OPEN version 1.1 Physical Property Package\"/>\n");
}

void LogFile::SetUp()
{
    tarv::setLocalTimeSource(fixedTime);
    path_ = tempPath("log");
    std::FILE* stream = openStream(path_);
    ASSERT_NE(stream, nullptr);
    log_ = tarv::CallLog::open(stream, "Stream 1", "CAPE-OPEN version 1.1 Physical Property Package", path_.c_str());
}

void LogFile::TearDown()
{
    if (log_) log_->destroy();
    tarv::setLocalTimeSource(nullptr);
    DeleteFileA(path_.c_str());
}

std::string LogFile::body()
{
    log_->close();
    std::string document = readFile(path_);
    std::string opening = openingLines();
    if (!document.starts_with(opening) || !document.ends_with(endTag) || document.size() < opening.size() + endTag.size()) {
        ADD_FAILURE() << "not a whole log: " << document;
        return document;
    }
    return document.substr(opening.size(), document.size() - opening.size() - endTag.size());
}

std::string recordsOf(const std::function<void(tarv::CallLog&)>& action)
{
    struct Run : LogFile {
        void TestBody() override {}
        tarv::CallLog& log() { SetUp(); return *log_; }
        std::string end() { std::string records = body(); TearDown(); return records; }
    } run;
    action(run.log());
    return run.end();
}

} // namespace logtest

int crashChild(const char* path);   // document_test.cpp

int main(int argc, char** argv)
{
    // Child of the crash test: writes a few records and dies without closing the log.
    if (argc == 3 && std::strcmp(argv[1], "--write-then-die") == 0) return crashChild(argv[2]);
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    testing::InitGoogleTest(&argc, argv);
    int rc = RUN_ALL_TESTS();
    CoUninitialize();
    return rc;
}
