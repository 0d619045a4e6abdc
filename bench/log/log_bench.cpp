// Cost of the call log: one logged func with a string, a double and a double array (10 and 10,000
// elements), written by CallLog into a real log file, against the floor of writing the same bytes
// with one unbuffered WriteFile per record (each flush of the writer is one record), and two other
// yardsticks: one WriteFile per line, and one for the whole func.
#include "com/bstr.h"
#include "com/variant.h"
#include "log/call_log.h"
#include "log/number_format.h"

#include <windows.h>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

double seconds()
{
    static const double frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return static_cast<double>(f.QuadPart);
    }();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) / frequency;
}

std::string tempFile(const char* name)
{
    char dir[MAX_PATH];
    GetTempPathA(MAX_PATH, dir);
    return std::string(dir) + name;
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

struct Func {
    tarv::Bstr property{L"temperature"};
    tarv::Variant values;

    explicit Func(int count)
    {
        std::vector<double> v;
        for (int i = 0; i < count; ++i) v.push_back(101325.0 + 1.0 / (i + 3) * 17.0);
        values = tarv::makeDoubleArray(v);
    }

    void log(tarv::CallLog& log) const
    {
        log.beginFunc(0, "ICapeThermoMaterial::SetOverallProp", "Stream 1");
        log.argString("property", 1, property.get());
        log.argDouble("value", 1, 298.15);
        log.argVariant("values", 1, values.get(), VT_ARRAY | VT_R8, 0);
        log.endFunc(S_OK, nullptr);
    }
};

// Best of `runs` runs of `iterations` funcs, in microseconds per func.
template <class Body>
double bestMicroseconds(int runs, int iterations, Body&& body)
{
    double best = 1e300;
    for (int r = 0; r < runs; ++r) {
        double t = body(iterations) / iterations * 1e6;
        if (t < best) best = t;
    }
    return best;
}

// mode "wb" only to show the writer's cost without the CRT's line-end translation (the file then
// lacks the CRs); the log itself always uses a text-mode stream.
double writerRun(const Func& func, int iterations, const std::string& path, const char* mode = "w")
{
    tarv::CallLog* log = tarv::CallLog::open(_fsopen(path.c_str(), mode, _SH_DENYWR), "Stream 1",
                                             "CAPE-OPEN version 1.1 Physical Property Package", path.c_str());
    const double start = seconds();
    for (int i = 0; i < iterations; ++i) func.log(*log);
    const double elapsed = seconds() - start;
    log->destroy();
    return elapsed;
}

double floorRun(const std::vector<std::string>& records, int iterations, const std::string& path)
{
    HANDLE file = CreateFileA(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    const double start = seconds();
    for (int i = 0; i < iterations; ++i)
        for (const std::string& r : records) {
            DWORD written;
            WriteFile(file, r.data(), static_cast<DWORD>(r.size()), &written, nullptr);
        }
    const double elapsed = seconds() - start;
    CloseHandle(file);
    return elapsed;
}

// The same records, LF line ends, through the CRT's text mode: one _write per record on a text-mode
// descriptor, which turns each LF into CR LF on its way to the file.
double textModeRun(const std::vector<std::string>& records, int iterations, const std::string& path)
{
    int fd = _open(path.c_str(), _O_WRONLY | _O_CREAT | _O_TRUNC | _O_TEXT, _S_IREAD | _S_IWRITE);
    const double start = seconds();
    for (int i = 0; i < iterations; ++i)
        for (const std::string& r : records) _write(fd, r.data(), static_cast<unsigned>(r.size()));
    const double elapsed = seconds() - start;
    _close(fd);
    return elapsed;
}

std::string withoutCarriageReturns(const std::string& bytes)
{
    std::string out;
    for (char c : bytes)
        if (c != '\r') out += c;
    return out;
}

// The func's bytes as the writer leaves them, cut into consecutive pieces of the given numbers of
// lines (0: all the rest).
std::vector<std::string> cut(const std::string& bytes, const std::vector<size_t>& lineCounts)
{
    std::vector<std::string> pieces;
    size_t at = 0;
    for (size_t lines : lineCounts) {
        size_t end = at;
        if (lines == 0) {
            end = bytes.size();
        } else {
            for (size_t n = 0; n < lines; ++n) end = bytes.find('\n', end) + 1;
        }
        pieces.push_back(bytes.substr(at, end - at));
        at = end;
    }
    return pieces;
}

void measure(const char* title, int elements, int iterations)
{
    const Func func(elements);
    const std::string logPath = tempFile("tarv-log-bench.tlg");
    const std::string floorPath = tempFile("tarv-log-floor.bin");

    // The bytes of one func, taken from a real log.
    tarv::CallLog* probe = tarv::CallLog::open(_fsopen(logPath.c_str(), "w", _SH_DENYWR), "Stream 1",
                                               "CAPE-OPEN version 1.1 Physical Property Package", logPath.c_str());
    probe->close();
    const size_t frame = readFile(logPath).size() - std::string("</tarvlogdocument>\r\n").size();
    probe->destroy();
    probe = tarv::CallLog::open(_fsopen(logPath.c_str(), "w", _SH_DENYWR), "Stream 1",
                                "CAPE-OPEN version 1.1 Physical Property Package", logPath.c_str());
    func.log(*probe);
    probe->destroy();
    const std::string document = readFile(logPath);
    const std::string bytes = document.substr(frame, document.size() - frame - 20);
    size_t lines = 0;
    for (char c : bytes) lines += c == '\n';

    // The writer's flushes: func, string arg, double arg, array arg tag with the lower bound,
    // upper bound, the values, the array's end tag, the func's end tag.
    const std::vector<std::string> perRecord = cut(bytes, {1, 3, 3, 2, 1, static_cast<size_t>(elements), 1, 1});
    std::vector<size_t> ones(lines, 1);
    const std::vector<std::string> perLine = cut(bytes, ones);
    const std::vector<std::string> whole = {bytes};
    std::vector<std::string> perRecordLf;
    for (const std::string& r : perRecord) perRecordLf.push_back(withoutCarriageReturns(r));

    const int runs = 5;
    writerRun(func, iterations / 4 + 1, logPath);   // warm the file system and the heap
    const double writer = bestMicroseconds(runs, iterations, [&](int n) { return writerRun(func, n, logPath); });
    const double binaryWriter =
        bestMicroseconds(runs, iterations, [&](int n) { return writerRun(func, n, logPath, "wb"); });
    const double floor = bestMicroseconds(runs, iterations, [&](int n) { return floorRun(perRecord, n, floorPath); });
    const double lineFloor = bestMicroseconds(runs, iterations, [&](int n) { return floorRun(perLine, n, floorPath); });
    const double oneWrite = bestMicroseconds(runs, iterations, [&](int n) { return floorRun(whole, n, floorPath); });
    const double textMode = bestMicroseconds(runs, iterations, [&](int n) { return textModeRun(perRecordLf, n, floorPath); });

    std::printf("%s: %zu bytes, %zu lines, %zu records\n", title, bytes.size(), lines, perRecord.size());
    std::printf("  writer (CallLog, flush per record)      %10.2f us\n", writer);
    std::printf("  writer on a binary stream (no CR)       %10.2f us\n", binaryWriter);
    std::printf("  floor: one WriteFile per record         %10.2f us   writer/floor %.2f\n", floor, writer / floor);
    std::printf("  floor: one text-mode _write per record  %10.2f us   writer/floor %.2f\n", textMode, writer / textMode);
    std::printf("  one WriteFile per line                  %10.2f us   writer/that  %.2f\n", lineFloor, writer / lineFloor);
    std::printf("  one WriteFile for the whole func        %10.2f us   writer/that  %.2f\n", oneWrite, writer / oneWrite);

    DeleteFileA(logPath.c_str());
    DeleteFileA(floorPath.c_str());
}

void formattingCost()
{
    std::vector<double> values;
    for (int i = 0; i < 100000; ++i) values.push_back(101325.0 + 1.0 / (i + 3) * 17.0);
    char text[tarv::doubleTextMax];
    size_t total = 0;
    const double start = seconds();
    for (double v : values) total += static_cast<size_t>(tarv::formatDouble(text, v) - text);
    const double elapsed = seconds() - start;
    std::printf("formatDouble: %.1f ns per value (%zu chars)\n", elapsed / values.size() * 1e9, total);
}

// A long string argument costs time in proportion to its length: the per-byte cost of a 2 MB and
// of a 20 MB value, side by side, and of copying the same bytes as the floor.
void longStrings()
{
    const std::string path = tempFile("tarv-log-long.tlg");
    double perByte[2] = {};
    int slot = 0;
    for (size_t megabytes : {2u, 20u}) {
        const size_t length = megabytes << 20;
        std::wstring text(length, L'x');
        for (size_t i = 0; i < length; i += 64) text[i] = L'"';   // one quote in 64 becomes &quot;
        tarv::Bstr value{std::wstring_view(text)};
        tarv::CallLog* log = tarv::CallLog::open(_fsopen(path.c_str(), "w", _SH_DENYWR), "Stream 1",
                                                 "CAPE-OPEN version 1.1 Physical Property Package", path.c_str());
        const double start = seconds();
        log->argString("description", 1, value.get());
        const double elapsed = seconds() - start;
        log->destroy();
        std::string copy(length, '\0');
        const double copyStart = seconds();
        for (size_t i = 0; i < length; ++i) copy[i] = static_cast<char>(text[i]);
        const double copied = seconds() - copyStart;
        perByte[slot++] = elapsed / static_cast<double>(length) * 1e9;
        std::printf("string argument of %2zu MB: %8.1f ms  (%.2f ns/byte; a plain copy %.2f ns/byte, ratio %.1f)\n",
                    megabytes, elapsed * 1e3, elapsed / static_cast<double>(length) * 1e9,
                    copied / static_cast<double>(length) * 1e9, elapsed / copied);
    }
    std::printf("  per-byte cost, 20 MB against 2 MB: %.2f (1 is linear)\n", perByte[1] / perByte[0]);
    DeleteFileA(path.c_str());
}

} // namespace

int main()
{
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    formattingCost();
    measure("func with a string, a double and 10 doubles", 10, 4000);
    measure("func with a string, a double and 10,000 doubles", 10000, 40);
    longStrings();
    CoUninitialize();
    return 0;
}
