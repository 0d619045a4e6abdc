// A foreign component built with g++ and its own static C++ runtime: its exceptions are raised by
// its own copy of libgcc's unwinder, its structured exceptions go through the system's handlers.
// It misbehaves on request (fault_menu.h).
#include <windows.h>
#include <oleauto.h>

#include "fault_menu.h"

namespace {

volatile LONG sentinels = 0;
volatile int neverReached = -1;

struct Sentinel {
    Sentinel() = default;
    Sentinel(const Sentinel&) = delete;
    ~Sentinel() { InterlockedIncrement(&sentinels); }
};

struct ComponentError {
    int code;
    char detail[24];
};

// Read at run time, so that the compiler can't see the null pointer and drop the write.
int* volatile nowhere = nullptr;

__attribute__((noinline)) void poke() { *static_cast<volatile int*>(nowhere) = 1; }

__attribute__((noinline)) int divide(int a, int b)
{
    volatile int divisor = b;
    return a / divisor;
}

__attribute__((noinline)) int recurse(volatile char* previous, int depth)
{
    volatile char frame[1024];
    frame[0] = static_cast<char>(depth);
    frame[1] = previous ? previous[0] : 0;
    if (depth == neverReached) return 0;
    return recurse(frame, depth + 1) + frame[1];
}

__attribute__((noinline)) void throwText() { throw FAULT_TEXT; }
__attribute__((noinline)) void throwInt() { throw 42; }
__attribute__((noinline)) void throwClass() { throw ComponentError{7, "component error"}; }

__attribute__((noinline)) int catchInside()
{
    try {
        Sentinel sentinel;
        throwClass();
    } catch (const ComponentError& e) {
        return e.code == 7 ? FAULT_RESULT : -1;
    }
    return -2;
}

// g++ has no __try; the system's own structured handler inside IsBadReadPtr absorbs the fault.
__attribute__((noinline)) int structuredInside()
{
    return IsBadReadPtr(reinterpret_cast<const void*>(16), sizeof(int)) ? FAULT_RESULT : -1;
}

__attribute__((noinline)) int throwPastSentinel()
{
    Sentinel sentinel;
    throwInt();
    return -1;
}

__attribute__((noinline)) int violationPastSentinel()
{
    Sentinel sentinel;
    poke();
    return -1;
}

#include "fault_dispatch.inl"
