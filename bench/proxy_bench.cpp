// Cost of the exception barrier: a trivial foreign call made directly and through guardedCall, and
// one caught fault of each sort, for the MSVC-ABI and the g++ fault components.
#include "bench/table.h"
#include "proxy/barrier.h"
#include "proxy/fault_components.h"

#include <cstdio>
#include <string>

namespace {

using tarv::BarrierFault;
using tarv::test::FaultComponent;

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

// Best of a few runs of `body(count)`, per iteration, in nanoseconds.
template <class Body>
double nsPerCall(long count, Body&& body)
{
    double best = 1e300;
    for (int run = 0; run < 5; ++run) {
        const double start = seconds();
        body(count);
        const double elapsed = seconds() - start;
        if (elapsed < best) best = elapsed;
    }
    return best * 1e9 / static_cast<double>(count);
}

volatile int sink = 0;

void callCost(const FaultComponent& c)
{
    constexpr long calls = 5'000'000;
    const FaultNopFn nop = c.fault_nop;
    const double direct = nsPerCall(calls, [&](long n) {
        int x = 0;
        for (long i = 0; i < n; ++i) x = nop(x);
        sink = x;
    });
    const double guarded = nsPerCall(calls, [&](long n) {
        int x = 0;
        BarrierFault fault;
        for (long i = 0; i < n; ++i)
            tarv::guardedCall(
                [&] {
                    x = nop(x);
                    return S_OK;
                },
                fault);
        sink = x;
    });
    std::printf("%-9s trivial call: direct %7.1f ns, through the barrier %7.1f ns (+%.1f ns)\n",
                c.label, direct, guarded, guarded - direct);
}

double faultCost(const FaultComponent& c, FaultKind kind, const char* name, long count)
{
    const double ns = nsPerCall(count, [&](long n) {
        BarrierFault fault;
        int out = 0;
        for (long i = 0; i < n; ++i)
            tarv::guardedCall([&] { return c.fault_run(kind, &out) == 0 ? S_OK : E_FAIL; }, fault);
    });
    std::printf("%-9s caught %-17s %8.2f us\n", c.label, name, ns / 1000.0);
    return ns / 1000.0;
}

} // namespace

int main()
{
    const FaultComponent* components[] = {&tarv::test::msvcFaults(), &tarv::test::gccFaults()};
    for (const FaultComponent* c : components) {
        if (!*c) {
            std::printf("%s fault component not found next to the executable\n", c->label);
            return 1;
        }
    }
    for (const FaultComponent* c : components) callCost(*c);
    // The table sets each caught fault against the same component throwing and catching an
    // exception inside itself: the platform's own unwinding, without the barrier.
    for (const FaultComponent* c : components) {
        const double violation = faultCost(*c, FaultAccessViolation, "access violation", 2000);
        faultCost(*c, FaultDivideByZero, "divide by zero", 2000);
        faultCost(*c, FaultThrowText, "thrown text", 2000);
        const double thrown = faultCost(*c, FaultThrowInt, "thrown int", 2000);
        faultCost(*c, FaultStackOverflow, "stack overflow", 50);
        const double inside = faultCost(*c, FaultCatchInside, "(caught inside)", 2000);
        const std::string label = c->label;
        bench::tableRow(("caught fault: access violation, " + label).c_str(), violation, "us",
                        "exception caught inside the component", inside);
        bench::tableRow(("caught fault: thrown int, " + label).c_str(), thrown, "us",
                        "exception caught inside the component", inside);
    }
    return 0;
}
