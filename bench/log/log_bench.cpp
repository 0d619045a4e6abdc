// Cost of the call log: one logged func with a string, a double and a double array (10 and 10,000
// elements), written by CallLog into a real log file, against the floor of writing the same bytes
// with one unbuffered WriteFile per record (each flush of the writer is one record), plus, for the
// large array, the time of formatting its numbers.
#include "bench/table.h"
#include "com/bstr.h"
#include "com/variant.h"
#include "log/call_log.h"
#include "log/number_format.h"

#include <windows.h>
#include <share.h>

#include <algorithm>
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

double writerRun(const Func& func, int iterations, const std::string& path)
{
    tarv::CallLog* log = tarv::CallLog::open(_fsopen(path.c_str(), "wb", _SH_DENYWR), "Stream 1",
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

// Time to format the func's values alone, per func, in microseconds.
double formattingMicroseconds(const Func& func)
{
    const SAFEARRAY* array = func.values.get().parray;
    const auto* values = static_cast<const double*>(array->pvData);
    const ULONG count = array->rgsabound[0].cElements;
    char text[tarv::doubleTextMax];
    double best = 1e300;
    size_t sink = 0;
    for (int run = 0; run < 5; ++run) {
        const int repeats = count < 100 ? 2000 : 20;
        const double start = seconds();
        for (int r = 0; r < repeats; ++r)
            for (ULONG i = 0; i < count; ++i) sink += static_cast<size_t>(tarv::formatDouble(text, values[i]) - text);
        best = std::min(best, (seconds() - start) / repeats * 1e6);
    }
    return sink ? best : 0;
}

struct Figures {
    double writer, floor, ratio;
};

// One func through the writer against its floor: one WriteFile per record the writer flushes (it
// flushes each record), plus, for a func with many values, the time of formatting them.
Figures measure(const char* title, const char* row, int elements, int iterations, bool withFormatting)
{
    const Func func(elements);
    const std::string logPath = tempFile("tarv-log-bench.tlg");
    const std::string floorPath = tempFile("tarv-log-floor.bin");

    // The bytes of one func, taken from a real log.
    tarv::CallLog* probe = tarv::CallLog::open(_fsopen(logPath.c_str(), "wb", _SH_DENYWR), "Stream 1",
                                               "CAPE-OPEN version 1.1 Physical Property Package", logPath.c_str());
    probe->close();
    const size_t frame = readFile(logPath).size() - std::string("</tarvlogdocument>\r\n").size();
    probe->destroy();
    probe = tarv::CallLog::open(_fsopen(logPath.c_str(), "wb", _SH_DENYWR), "Stream 1",
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

    const int runs = 5;
    writerRun(func, iterations / 4 + 1, logPath);   // warm the file system and the heap
    Figures f{};
    f.writer = bestMicroseconds(runs, iterations, [&](int n) { return writerRun(func, n, logPath); });
    f.floor = bestMicroseconds(runs, iterations, [&](int n) { return floorRun(perRecord, n, floorPath); });
    const double formatting = withFormatting ? formattingMicroseconds(func) : 0;
    f.floor += formatting;
    f.ratio = f.writer / f.floor;
    std::printf("%s: %zu bytes, %zu lines, %zu records\n", title, bytes.size(), lines, perRecord.size());
    std::printf("  writer (CallLog, flush per record)      %10.2f us\n", f.writer);
    if (withFormatting)
        std::printf("  floor: formatting %.2f us + one WriteFile per record %.2f us\n", formatting, f.floor - formatting);
    else
        std::printf("  floor: one WriteFile per record\n");
    std::printf("  floor                                   %10.2f us   ratio %.2f\n", f.floor, f.ratio);
    bench::tableRow(row, f.writer, "us", withFormatting ? "formatting + one WriteFile per record" : "one WriteFile per record",
                    f.floor);

    DeleteFileA(logPath.c_str());
    DeleteFileA(floorPath.c_str());
    return f;
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
    measure("func with a string, a double and 10 doubles", "call log: func with 10 doubles", 10, 4000, false);
    measure("func with a string, a double and 10,000 doubles", "call log: func with 10,000 doubles", 10000, 40, true);
    longStrings();
    CoUninitialize();
    return 0;
}
