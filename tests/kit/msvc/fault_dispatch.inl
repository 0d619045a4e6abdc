// The fault menu's dispatcher and the exports, shared by the fault components built with g++ and
// with the MSVC ABI (included at the end of each, inside its anonymous namespace).
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
    case FaultThrowPastSentinel: return throwPastSentinel();
    case FaultViolationPastSentinel: return violationPastSentinel();
    default: break;
    }
    return FAULT_RESULT;
}

} // namespace

#include "fault_identification.inl"

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
