// A foreign component that misbehaves on request (fault_menu.h), built twice: with the MSVC ABI
// (genuine vcruntime exceptions and unwinding) and with g++ and its own static runtime.
#include <windows.h>

#include "fault_menu.h"

#ifdef _MSC_VER
#include <excpt.h>
#define NOINLINE __declspec(noinline)
// The vtable that every MSVC type descriptor points at. vcruntime140 does not export it as data;
// nothing reads it (catch clauses compare type names), so a local one will do.
extern "C" const void* const tarvTypeInfoVtable[1] __asm__("??_7type_info@@6B@") = {nullptr};
#else
#define NOINLINE __attribute__((noinline))
#endif

namespace {

volatile LONG sentinels = 0;
volatile int neverReached = -1;

struct Sentinel {
    ~Sentinel() { InterlockedIncrement(&sentinels); }
};

struct ComponentError {
    int code;
    char detail[24];
};

// Read at run time, so that the compiler can't see the null pointer and drop the write.
int* volatile nowhere = nullptr;

NOINLINE void poke() { *static_cast<volatile int*>(nowhere) = 1; }

NOINLINE int divide(int a, int b)
{
    volatile int divisor = b;
    return a / divisor;
}

NOINLINE int recurse(volatile char* previous, int depth)
{
    volatile char frame[1024];
    frame[0] = static_cast<char>(depth);
    frame[1] = previous ? previous[0] : 0;
    if (depth == neverReached) return 0;
    return recurse(frame, depth + 1) + frame[1];
}

NOINLINE void throwText() { throw FAULT_TEXT; }
NOINLINE void throwInt() { throw 42; }
NOINLINE void throwClass() { throw ComponentError{7, "component error"}; }

NOINLINE int catchInside()
{
    try {
        Sentinel sentinel;
        throwClass();
    } catch (const ComponentError& e) {
        return e.code == 7 ? FAULT_RESULT : -1;
    }
    return -2;
}

NOINLINE int structuredInside()
{
#ifdef _MSC_VER
    __try {
        poke();
    } __except (GetExceptionCode() == EXCEPTION_ACCESS_VIOLATION ? EXCEPTION_EXECUTE_HANDLER
                                                                   : EXCEPTION_CONTINUE_SEARCH) {
        return FAULT_RESULT;
    }
    return -1;
#else
    // g++ has no __try; the system's own structured handler inside IsBadReadPtr absorbs the fault.
    return IsBadReadPtr(reinterpret_cast<const void*>(16), sizeof(int)) ? FAULT_RESULT : -1;
#endif
}

NOINLINE int pastSentinel(bool hardware)
{
    Sentinel sentinel;
    if (hardware) poke();
    else throwInt();
    return -1;
}

int run(int kind)
{
    switch (kind) {
    case FaultAccessViolation: poke(); break;
    case FaultDivideByZero: return divide(FAULT_RESULT, 0);
    case FaultStackOverflow: return recurse(nullptr, 0);
    case FaultThrowText: throwText(); break;
    case FaultThrowInt: throwInt(); break;
    case FaultThrowClass: throwClass(); break;
    case FaultCatchInside: return catchInside();
    case FaultStructuredInside: return structuredInside();
    case FaultThrowPastSentinel: return pastSentinel(false);
    case FaultViolationPastSentinel: return pastSentinel(true);
    default: break;
    }
    return FAULT_RESULT;
}

} // namespace

extern "C" {

BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }

__declspec(dllexport) int fault_run(int kind, int* out)
{
    int value = run(kind);
    *out = value;
    return 0;
}

__declspec(dllexport) long fault_sentinel_count(void) { return sentinels; }

__declspec(dllexport) int fault_nop(int x) { return x + 1; }

} // extern "C"
