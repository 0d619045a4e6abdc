// A foreign component built with the MSVC ABI: its C++ exceptions are genuine vcruntime exceptions
// (code 0xE06D7363, thrown with _CxxThrowException), its frames are unwound by __CxxFrameHandler3
// and its structured handlers by __C_specific_handler. It misbehaves on request (fault_menu.h).
#include <windows.h>
#include <oleauto.h>
#include <excpt.h>

#include "fault_menu.h"

// The vtable that every MSVC type descriptor points at. vcruntime140 does not export it as data;
// nothing reads it (catch clauses compare type names), so a local one will do.
extern "C" const void* const tarvTypeInfoVtable[1] __asm__("??_7type_info@@6B@") = {nullptr};

namespace {

volatile LONG sentinels = 0;

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

__declspec(noinline) void poke() { *static_cast<volatile int*>(nowhere) = 1; }

__declspec(noinline) int divide(int a, int b)
{
    volatile int divisor = b;
    return a / divisor;
}

__declspec(noinline) int recurse(volatile char* previous, int depth)
{
    volatile char frame[1024];
    frame[0] = static_cast<char>(depth);
    frame[1] = previous ? previous[0] : 0;
    if (depth < 0) return 0;
    return recurse(frame, depth + 1) + frame[1];
}

__declspec(noinline) void throwText() { throw FAULT_TEXT; }
__declspec(noinline) void throwInt() { throw 42; }
__declspec(noinline) void throwClass() { throw ComponentError{7, "component error"}; }

__declspec(noinline) int catchInside()
{
    try {
        Sentinel sentinel;
        throwClass();
    } catch (const ComponentError& e) {
        return e.code == 7 ? FAULT_RESULT : -1;
    }
    return -2;
}

__declspec(noinline) int structuredInside()
{
    __try {
        poke();
    } __except (GetExceptionCode() == EXCEPTION_ACCESS_VIOLATION ? EXCEPTION_EXECUTE_HANDLER
                                                                   : EXCEPTION_CONTINUE_SEARCH) {
        return FAULT_RESULT;
    }
    return -1;
}

__declspec(noinline) int throwPastSentinel()
{
    Sentinel sentinel;
    throwInt();
    return -1;
}

__declspec(noinline) int violationPastSentinel()
{
    Sentinel sentinel;
    poke();
    return -1;
}

#include "fault_dispatch.inl"
