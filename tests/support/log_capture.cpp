#include "support/log_capture.h"

#include "log/clock.h"

#include <windows.h>

#include <cstdio>
#include <share.h>

namespace testsupport {

void fixedTime(SYSTEMTIME* out)
{
    *out = SYSTEMTIME{2026, 11, 6, 14, 15, 17, 42, 0};
}

std::string readFile(const std::string& path)
{
    std::string out;
    if (std::FILE* f = _fsopen(path.c_str(), "rb", _SH_DENYNO)) {
        char buf[4096];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) out.append(buf, n);
        std::fclose(f);
    }
    return out;
}

std::string readLog(const std::string& path)
{
    std::string all = readFile(path), lf;
    lf.reserve(all.size());
    for (size_t i = 0; i < all.size(); ++i)
        if (!(all[i] == '\r' && i + 1 < all.size() && all[i + 1] == '\n')) lf += all[i];
    return lf;
}

LogCapture::LogCapture(const char* objectName, const char* objectType)
{
    char dir[MAX_PATH], file[MAX_PATH];
    GetTempPathA(MAX_PATH, dir);
    GetTempFileNameA(dir, "tlg", 0, file);
    path_ = file;
    tarv::setLocalTimeSource(&fixedTime);
    std::FILE* stream = _fsopen(path_.c_str(), "w", _SH_DENYWR);
    log_ = tarv::CallLog::open(stream, objectName, objectType, path_.c_str());
    log_->addRef();
    tarv::setLocalTimeSource(nullptr);
}

LogCapture::~LogCapture()
{
    log_->release();
    DeleteFileA(path_.c_str());
}

std::string LogCapture::text() const
{
    return readFile(path_);
}

std::string LogCapture::records() const
{
    std::string lf = readLog(path_);
    size_t pos = 0;
    for (int line = 0; line < 5 && pos != std::string::npos; ++line) {
        pos = lf.find('\n', pos);
        if (pos != std::string::npos) ++pos;
    }
    return pos == std::string::npos ? std::string() : lf.substr(pos);
}

size_t occurrences(const std::string& text, const std::string& part)
{
    size_t n = 0;
    for (size_t pos = text.find(part); pos != std::string::npos; pos = text.find(part, pos + part.size())) ++n;
    return n;
}

} // namespace testsupport
