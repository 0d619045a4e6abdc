// The exception barrier against real faults of an MSVC-ABI component and a g++ component, and thrown texts it cannot read.
#include "proxy/barrier.h"
#include "proxy/fault_components.h"
#include "capeopen.h"
#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace tarv {
namespace {

using Kind = BarrierFault::Kind;
using test::FaultComponent;

const std::string sehPrefix = "Uncaught SEH exception during function call: ";
const std::string textPrefix = "Uncaught exception during function call: ";
const std::string otherRecord = "Uncaught exception during function call";

const std::string accessViolation = sehPrefix + "EXCEPTION_ACCESS_VIOLATION: The thread tried to read from or write "
                                                "to a virtual address for which it does not have the appropriate access.";
constexpr unsigned msvcCppCode = 0xE06D7363u;
constexpr int untouched = -1;

// hardwareCode 0: thrown, so the code is that of the component's runtime; sentinelsDestroyed -1: not checked.
struct ComponentCase { const char* name; FaultKind kind; Kind expected; unsigned hardwareCode; std::string record; long sentinelsDestroyed; };

const ComponentCase componentCases[] = {
    {"access violation", FaultAccessViolation, Kind::Structured, 0xC0000005u, accessViolation, 0},
    {"divide by zero", FaultDivideByZero, Kind::Structured, 0xC0000094u,
     sehPrefix + "EXCEPTION_INT_DIVIDE_BY_ZERO: The thread tried to divide an integer value by an integer divisor of zero.", 0},
    {"stack overflow", FaultStackOverflow, Kind::Structured, 0xC00000FDu, sehPrefix + "EXCEPTION_STACK_OVERFLOW: The thread used up its stack.", 0},
    {"thrown text", FaultThrowText, Kind::Text, 0, textPrefix + FAULT_TEXT, 0},
    {"thrown int", FaultThrowInt, Kind::Other, 0, otherRecord, 0},
    {"thrown class", FaultThrowClass, Kind::Other, 0, otherRecord, 0},
    {"caught inside", FaultCatchInside, Kind::None, 0, "", 1},
    {"structured handler inside", FaultStructuredInside, Kind::None, 0, "", 0},
    {"thrown past a sentinel", FaultThrowPastSentinel, Kind::Other, 0, otherRecord, 1},
    // Whether a hardware fault runs the frames' destructors is the component runtime's choice, so it is not checked.
    {"access violation below a sentinel", FaultViolationPastSentinel, Kind::Structured, 0xC0000005u, accessViolation, -1},
};

struct ComponentParam { const char* name; const FaultComponent& (*get)(); unsigned thrownCode; };   // code of its C++ throws

class ComponentFaults : public testing::TestWithParam<ComponentParam> {
protected:
    void SetUp() override { if (!*component) GTEST_FAIL() << GetParam().name << " fault component did not load"; }
    HRESULT run(int kind, int* out, BarrierFault& fault)
    {
        return guardedCall([&] { return component->fault_run(kind, out) == 0 ? S_OK : E_FAIL; }, fault);
    }
    const FaultComponent* component = &GetParam().get();
};

// A stack overflow caught twice on a thread not the main one, which dies quietly if unprepared: count the rounds.
TEST_P(ComponentFaults, EachFaultEndsAtTheBarrierAndTheNextCallIsForwarded)
{
    int rounds = 0;
    std::thread([&] {
        for (int round = 1; round <= 2; ++round, ++rounds) {
            for (const auto& c : componentCases) {
                SCOPED_TRACE(std::string(c.name) + ", round " + std::to_string(round));
                const long sentinels = component->fault_sentinel_count();
                int out = untouched;
                BarrierFault fault;
                EXPECT_EQ(run(c.kind, &out, fault), c.expected == Kind::None ? S_OK : E_UNEXPECTED);
                EXPECT_EQ(out, c.expected == Kind::None ? FAULT_RESULT : untouched);
                EXPECT_EQ(fault.kind, c.expected);
                EXPECT_EQ(fault.code, c.expected == Kind::None ? 0u : c.hardwareCode ? c.hardwareCode : GetParam().thrownCode);
                EXPECT_EQ(fault.recordText(), c.record);
                if (c.sentinelsDestroyed >= 0) { EXPECT_EQ(component->fault_sentinel_count() - sentinels, c.sentinelsDestroyed); }
                int next = untouched;
                BarrierFault nextFault;
                EXPECT_EQ(run(FaultNone, &next, nextFault), S_OK);
                EXPECT_EQ(next, FAULT_RESULT);
                EXPECT_FALSE(nextFault);
            }
        }
    }).join();
    EXPECT_EQ(rounds, 2);
}

INSTANTIATE_TEST_SUITE_P(, ComponentFaults,
                         testing::Values(ComponentParam{"MSVC-ABI", &test::msvcFaults, msvcCppCode}, ComponentParam{"g++", &test::gccFaults, 0}),
                         [](const auto& info) { return std::string(info.param.thrownCode ? "Msvc" : "Gcc"); });

int* volatile nowhere = nullptr;   // read at run time, so that the compiler cannot drop the write

TEST(Barrier, AThrownTextIsReadOnlyAsFarAsMemoryIsReadableAndUndoRunsOnEveryFault)
{
    static char* const page = static_cast<char*>(VirtualAlloc(nullptr, 4096, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS));
    int undone = 0;
    auto undo = [](void* counter) { ++*static_cast<int*>(counter); };
    BarrierFault fault;
    // A g++ throw of a pointer into a page that cannot be read: named without its text.
    EXPECT_EQ(guardedCall([&]() -> HRESULT { UndoOnFault registered(undo, &undone); throw static_cast<const char*>(page); }, fault),
              E_UNEXPECTED);
    EXPECT_EQ(fault.recordText(), "Uncaught exception during function call");
    // A hardware fault skips every destructor: the barrier runs the undo itself.
    EXPECT_EQ(guardedCall([&]() -> HRESULT { UndoOnFault registered(undo, &undone); return *static_cast<volatile int*>(nowhere); }, fault),
              E_UNEXPECTED);
    // A normal return only ends the registration.
    EXPECT_EQ(guardedCall([&]() -> HRESULT { UndoOnFault registered(undo, &undone); return S_OK; }, fault), S_OK);
    EXPECT_EQ(undone, 2);
}

} // namespace
} // namespace tarv
