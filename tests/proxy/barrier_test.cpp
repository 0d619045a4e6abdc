// The exception barrier against real faults of an MSVC-ABI component, a g++ component and this executable.
#include "proxy/barrier.h"
#include "proxy/fault_components.h"
#include "support/process.h"
#include "capeopen.h"
#include <gtest/gtest.h>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>

extern "C" IMAGE_DOS_HEADER __ImageBase;

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
char mutableText[] = "thrown from a buffer";

struct LocalCase { const char* name; HRESULT (*forward)(int* out); Kind expected; unsigned code; std::string record; };

HRESULT finish(int* out) { *out = FAULT_RESULT; return S_OK; }

// What only the executable's own runtime raises; the faults the components share are above.
const LocalCase localCases[] = {
    {"illegal instruction", [](int* out) { __builtin_trap(); return finish(out); }, Kind::Structured, 0xC000001Du,
     sehPrefix + "EXCEPTION_ILLEGAL_INSTRUCTION: The thread tried to execute an invalid instruction."},
    {"code outside the table", [](int* out) { RaiseException(0xE0001234u, 0, 0, nullptr); return finish(out); },
     Kind::Structured, 0xE0001234u, sehPrefix + "Unknown SEH exception"},
    {"thrown literal", [](int*) -> HRESULT { throw "thrown by the executable"; }, Kind::Text, 0, textPrefix + "thrown by the executable"},
    {"thrown char buffer", [](int*) -> HRESULT { throw static_cast<char*>(mutableText); }, Kind::Text, 0, textPrefix + "thrown from a buffer"},
    {"thrown null text", [](int*) -> HRESULT { throw static_cast<const char*>(nullptr); }, Kind::Other, 0, otherRecord},
    {"thrown int", [](int*) -> HRESULT { throw 42; }, Kind::Other, 0, otherRecord},
    {"thrown std::exception", [](int*) -> HRESULT { throw std::runtime_error("not used"); }, Kind::Other, 0, otherRecord},
};

TEST(Barrier, FaultsOfTheExecutableItself)
{
    for (int round = 1; round <= 2; ++round) {
        for (const auto& c : localCases) {
            SCOPED_TRACE(std::string(c.name) + ", round " + std::to_string(round));
            int out = untouched;
            BarrierFault fault;
            EXPECT_EQ(guardedCall([&] { return c.forward(&out); }, fault), E_UNEXPECTED);
            EXPECT_EQ(std::tuple(fault.kind, fault.code, fault.recordText(), out), std::tuple(c.expected, c.code, c.record, untouched));
            int next = untouched;
            EXPECT_EQ(guardedCall([&] { return finish(&next); }, fault), S_OK);
            EXPECT_FALSE(fault);   // the reused fault is emptied
            EXPECT_EQ(fault.recordText(), "");
            EXPECT_EQ(next, FAULT_RESULT);
        }
    }
}

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

// Hand-made MSVC exception records, pointing into this image: how far the barrier trusts them for a thrown text.
struct FakeThrow {
    struct { const void* vtable; void* spare; char name[16]; } descriptor;
    struct { std::uint32_t properties; std::int32_t type, displacement[3], size, copy; } catchable;
    struct { std::int32_t count, types[1]; } array;
    struct { std::uint32_t attributes; std::int32_t unwind, forwardCompat, catchableTypes; } info;
};

FakeThrow fakeThrow;  // static storage, so inside the image
const char* fakeObject = "fake text";

std::int32_t rva(const void* p) { return static_cast<std::int32_t>(static_cast<const char*>(p) - reinterpret_cast<const char*>(&__ImageBase)); }

struct RaisedRecord { DWORD count = 4; ULONG_PTR args[4] = {}; };

RaisedRecord prepareFake(const char* typeName)
{
    fakeThrow = FakeThrow{};
    std::snprintf(fakeThrow.descriptor.name, sizeof fakeThrow.descriptor.name, "%s", typeName);
    fakeThrow.catchable.type = rva(&fakeThrow.descriptor);
    fakeThrow.array.count = 1;
    fakeThrow.array.types[0] = rva(&fakeThrow.catchable);
    fakeThrow.info.catchableTypes = rva(&fakeThrow.array);
    return {4, {0x19930520, reinterpret_cast<ULONG_PTR>(&fakeObject), reinterpret_cast<ULONG_PTR>(&fakeThrow.info),
                reinterpret_cast<ULONG_PTR>(&__ImageBase)}};
}

// A text that runs into an inaccessible page without a terminator.
const char* unterminatedText()
{
    static char* text = [] {
        auto* pages = static_cast<char*>(VirtualAlloc(nullptr, 8192, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        DWORD old;
        VirtualProtect(pages + 4096, 4096, PAGE_NOACCESS, &old);
        std::fill(pages, pages + 4096, 'x');
        return pages + 4096 - 100;
    }();
    return text;
}

// Each record names a text (recovered as "fake text") or not (the record without a text).
struct MsvcRecordCase { const char* name; const char* typeName; void (*tweak)(RaisedRecord&); bool text; };
void pointObjectAt(RaisedRecord& r, const char* text)
{
    static const char* object;
    object = text;
    r.args[1] = reinterpret_cast<ULONG_PTR>(&object);
}

const MsvcRecordCase msvcRecordCases[] = {
    {"x64 char*", ".PEAD", nullptr, true},
    {"x64 const char*", ".PEBD", nullptr, true},
    {"x86 char*", ".PAD", nullptr, true},
    {"x86 const char*", ".PBD", nullptr, true},
    {"later magic number", ".PEAD", [](RaisedRecord& r) { r.args[0] = 0x19930522; }, true},
    {"int", ".H", nullptr, false},
    {"name with a string prefix", ".PEADX", nullptr, false},
    {"null text", ".PEAD", [](RaisedRecord& r) { pointObjectAt(r, nullptr); }, false},
    {"unreadable object", ".PEAD", [](RaisedRecord& r) { r.args[1] = 16; }, false},
    {"text without terminator", ".PEAD", [](RaisedRecord& r) { pointObjectAt(r, unterminatedText()); }, false},
    {"unreadable throw info", ".PEAD", [](RaisedRecord& r) { r.args[2] = 16; }, false},
    {"no image", ".PEAD", [](RaisedRecord& r) { r.args[3] = 0; }, false},
    {"image base that is no image", ".PEAD", [](RaisedRecord& r) { r.args[3] = reinterpret_cast<ULONG_PTR>(&fakeThrow); }, false},
    {"catchable types outside the image", ".PEAD", [](RaisedRecord&) { fakeThrow.info.catchableTypes = 0x7FFFFF00; }, false},
    {"negative type address", ".PEAD", [](RaisedRecord&) { fakeThrow.catchable.type = -64; }, false},
    {"no catchable type", ".PEAD", [](RaisedRecord&) { fakeThrow.array.count = 0; }, false},
    {"too few parameters", ".PEAD", [](RaisedRecord& r) { r.count = 3; }, false},
    {"unknown magic number", ".PEAD", [](RaisedRecord& r) { r.args[0] = 1; }, false},
};

TEST(Barrier, ThrownTextOfMsvcRecordsIsReadOnlyWhenEverythingChecksOut)
{
    static const std::string longText(100000, 'y');
    for (const auto& c : msvcRecordCases) {
        SCOPED_TRACE(c.name);
        RaisedRecord r = prepareFake(c.typeName);
        if (c.tweak) c.tweak(r);
        BarrierFault fault;
        EXPECT_EQ(guardedCall([&] { RaiseException(msvcCppCode, EXCEPTION_NONCONTINUABLE, r.count, r.args); return S_OK; }, fault), E_UNEXPECTED);
        EXPECT_EQ(std::tuple(fault.code, fault.kind, fault.recordText()),
                  std::tuple(msvcCppCode, c.text ? Kind::Text : Kind::Other, c.text ? textPrefix + "fake text" : otherRecord));
    }
    // A very long text is cut.
    RaisedRecord r = prepareFake(".PEAD");
    pointObjectAt(r, longText.c_str());
    BarrierFault fault;
    guardedCall([&] { RaiseException(msvcCppCode, EXCEPTION_NONCONTINUABLE, r.count, r.args); return S_OK; }, fault);
    EXPECT_EQ(fault.recordText(), textPrefix + std::string(64 * 1024, 'y'));
}

// A fault after a guarded call has returned takes its normal course: the process dies (in a child).
TEST(Barrier, FaultOutsideTheGuardedCallEndsTheProcess)
{
    EXPECT_EQ(testsupport::runProcess(testsupport::quotedSelf() + L" --fault-outside-barrier"), 0xC0000005u);
}

} // namespace

namespace test {

int faultOutsideBarrier()
{
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    BarrierFault fault;
    guardedCall([] { *static_cast<volatile int*>(nowhere) = 1; return S_OK; }, fault);
    if (fault.code != 0xC0000005u) return 2;  // the guarded fault was not caught
    *static_cast<volatile int*>(nowhere) = 1;
    return 0;
}

} // namespace test
} // namespace tarv
