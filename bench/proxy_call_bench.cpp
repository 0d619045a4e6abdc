// Cost of a proxied call: a trivial foreign method called directly, through the barrier alone,
// through an exposed package proxy without a log, and through one with a log (one func record with
// an out-argument, flushed, per call).
#include "bench/table.h"
#include "log/call_log.h"
#include "packages/property_package.h"
#include "proxy/barrier.h"

#include <cstdio>
#include <share.h>

namespace tarv {
// The cheapest foreign object that a proxy can stand for, made in another translation unit so that
// calls to it stay real virtual calls, as calls into a component are.
ICapeThermoPhases* makeFastPhases();
// A hand-written object that only forwards under the barrier: the floor of any proxy.
ICapeThermoPhases* makeMinimalProxy(ICapeThermoPhases* foreign);
} // namespace tarv

namespace {

using namespace tarv;

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

template <class Body>
double nsPerCall(long count, Body&& body)
{
    double best = 1e300;
    for (int run = 0; run < 5; ++run) {
        const double start = seconds();
        body(count);
        best = std::min(best, seconds() - start);
    }
    return best * 1e9 / static_cast<double>(count);
}

ComPtr<ICapeThermoPhases> proxyOver(ICapeThermoPhases* foreign, CallLog* log)
{
    CPropertyPackage11* proxy = new CPropertyPackage11();
    proxy->attachObject(ComPtr<IUnknown>(foreign).detach());
    if (log) proxy->attachLog(log, "Bench");
    ComPtr<ICapeThermoPhases> phases;
    proxy->QueryInterface(IID_ICapeThermoPhases, phases.putVoid());
    return phases;
}

volatile LONG sink = 0;

} // namespace

int main()
{
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ICapeThermoPhases* foreign = makeFastPhases();
    ICapeThermoPhases* direct = foreign;
    constexpr long calls = 2'000'000;

    const double directNs = nsPerCall(calls, [&](long n) {
        LONG v = 0;
        for (long i = 0; i < n; ++i) direct->GetNumPhases(&v);
        sink = v;
    });
    const double barrierNs = nsPerCall(calls, [&](long n) {
        LONG v = 0;
        BarrierFault fault;
        for (long i = 0; i < n; ++i) guardedCall([&] { return direct->GetNumPhases(&v); }, fault);
        sink = v;
    });
    ICapeThermoPhases* minimal = makeMinimalProxy(foreign);
    const double minimalNs = nsPerCall(calls, [&](long n) {
        LONG v = 0;
        for (long i = 0; i < n; ++i) minimal->GetNumPhases(&v);
        sink = v;
    });
    double unloggedNs = 0;
    {
        ComPtr<ICapeThermoPhases> proxy = proxyOver(foreign, nullptr);
        unloggedNs = nsPerCall(calls, [&](long n) {
            LONG v = 0;
            for (long i = 0; i < n; ++i) proxy->GetNumPhases(&v);
            sink = v;
        });
    }
    double loggedNs = 0;
    {
        char dir[MAX_PATH], path[MAX_PATH];
        GetTempPathA(MAX_PATH, dir);
        GetTempFileNameA(dir, "tlg", 0, path);
        CallLog* log = CallLog::open(_fsopen(path, "w", _SH_DENYWR), "Bench", "Benchmark", path);
        log->addRef();
        {
            ComPtr<ICapeThermoPhases> proxy = proxyOver(foreign, log);
            loggedNs = nsPerCall(20'000, [&](long n) {
                LONG v = 0;
                for (long i = 0; i < n; ++i) proxy->GetNumPhases(&v);
                sink = v;
            });
        }
        log->release();
        DeleteFileA(path);
    }
    std::printf("direct call                 %8.1f ns\n", directNs);
    std::printf("through the barrier alone   %8.1f ns\n", barrierNs);
    std::printf("forwarding object (floor)   %8.1f ns  (a COM object that only forwards under the barrier)\n", minimalNs);
    std::printf("proxy without a log         %8.1f ns  (%.2fx direct + barrier, %.2fx the floor)\n", unloggedNs,
                unloggedNs / barrierNs, unloggedNs / minimalNs);
    std::printf("proxy with a log            %8.1f ns  (one func record with an out-argument, flushed)\n", loggedNs);
    bench::tableRow("proxied call without a log", unloggedNs, "ns", "forwarding object under the barrier", minimalNs);
    bench::tableRow("proxied call with a log", loggedNs, "ns", "proxied call without a log", unloggedNs);
    CoUninitialize();
    return 0;
}
