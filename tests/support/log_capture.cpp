#include "support/log_capture.h"

#include "log/clock.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <share.h>
#include <sstream>
#include <vector>

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

std::string expectedText(const std::string& name)
{
    std::string text = readFile(std::string(TARV_TEST_DATA "/") + name);
    if (text.empty()) ADD_FAILURE() << "no expected output " << name;
    return text;
}

std::vector<std::string> topLevelRecord(const std::string& log, const std::string& opening)
{
    std::vector<std::string> all;
    std::istringstream in(log);
    for (std::string line; std::getline(in, line);) all.push_back(line);
    for (size_t i = 0; i < all.size(); ++i) {
        if (all[i].rfind(opening, 0) != 0) continue;
        for (size_t j = i + 1; j < all.size(); ++j)
            if (all[j] == "</func>")
                return {all.begin() + static_cast<std::ptrdiff_t>(i), all.begin() + static_cast<std::ptrdiff_t>(j + 1)};
    }
    return {};
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

std::string structureProblem(const std::string& log)
{
    std::vector<std::string> open;
    size_t number = 0, start = 0;
    std::string last;
    while (start < log.size()) {
        size_t end = log.find('\n', start);
        if (end == std::string::npos) end = log.size();
        const std::string line = log.substr(start, end - start);
        start = end + 1;
        ++number;
        const size_t indent = line.find_first_not_of(' ');
        if (indent == std::string::npos) continue;
        last = line.substr(indent);
        auto at = [&](const char* prefix) { return last.rfind(prefix, 0) == 0; };
        const std::string where = "line " + std::to_string(number) + ": " + line;
        const size_t depth = open.empty() ? 0 : open.size() - 1;
        if (at("<tarvlogdocument>")) {
            open.push_back("tarvlogdocument");
        } else if (at("<func ") || at("<arg ") || (at("<argval ") && last.find("/>") == std::string::npos)) {
            const std::string name = last.substr(1, last.find(' ') - 1);
            if (open.empty()) return where + " (outside the root)";
            if (name != "argval" && indent != depth) return where + " (indented " + std::to_string(indent) + ", depth " + std::to_string(depth) + ")";
            open.push_back(name);
        } else if (at("</")) {
            const std::string name = last.substr(2, last.find('>') - 2);
            if (open.empty() || open.back() != name) return where + " (closes " + (open.empty() ? "nothing" : open.back()) + ")";
            open.pop_back();
            const size_t after = open.empty() ? 0 : open.size() - 1;
            if ((name == "func" || name == "arg") && indent != after) return where + " (indented " + std::to_string(indent) + ", depth " + std::to_string(after) + ")";
        }
    }
    if (!open.empty()) return "unclosed " + open.back() + " at the end";
    if (last != "</tarvlogdocument>") return "the root end tag is not the last line";
    return {};
}

size_t occurrences(const std::string& text, const std::string& part)
{
    size_t n = 0;
    for (size_t pos = text.find(part); pos != std::string::npos; pos = text.find(part, pos + part.size())) ++n;
    return n;
}

} // namespace testsupport
