#pragma once
// The fault menu of the test components that misbehave on purpose, built with the MSVC ABI and with
// g++: both export the same plain C functions, so a test can run one table against either.

#ifdef __cplusplus
extern "C" {
#endif

enum FaultKind {
    FaultNone = 0,               // returns normally
    FaultAccessViolation,        // writes through a null pointer
    FaultDivideByZero,           // integer division by zero
    FaultStackOverflow,          // unbounded recursion
    FaultThrowText,              // throws the string literal FAULT_TEXT
    FaultThrowInt,               // throws an int
    FaultThrowClass,             // throws an object of a class type
    FaultCatchInside,            // throws and catches its own exception past a sentinel, returns
    FaultStructuredInside,       // absorbs an access violation in its own structured handler
    FaultThrowPastSentinel,      // throws an int past a live sentinel, whose destructor must run
    FaultViolationPastSentinel,  // access violation below a live sentinel
    FaultKindCount
};

#define FAULT_TEXT "component fault: bad state"
// What fault_run writes to its out-argument when it returns normally.
#define FAULT_RESULT 4711

typedef int (*FaultRunFn)(int kind, int* out);     // writes *out and returns 0 only if it comes back
typedef long (*FaultSentinelCountFn)(void);        // sentinel destructors run so far
typedef int (*FaultNopFn)(int x);                  // the cheapest foreign call, for timing
#define FAULT_EXPORTS(X)                                          \
    X(FaultRunFn, fault_run)                                      \
    X(FaultSentinelCountFn, fault_sentinel_count)                 \
    X(FaultNopFn, fault_nop)

#ifdef __cplusplus
}
#endif
