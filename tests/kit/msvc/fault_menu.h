#pragma once
// The fault menu shared by the test components that misbehave on purpose: one built with the
// MSVC ABI (clang, Wine's vcruntime140) and one built with g++ and its own static runtime. Both
// export the same plain C functions, so a test can run one table against either.

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
    FaultCatchInside,            // throws and catches its own exception (a sentinel dies on the
                                 // way), then returns normally
    FaultStructuredInside,       // takes an access violation that its own structured handler
                                 // absorbs, then returns normally
    FaultThrowPastSentinel,      // throws an int past a live sentinel, whose destructor must run
    FaultViolationPastSentinel,  // access violation below a live sentinel
    FaultKindCount
};

#define FAULT_TEXT "component fault: bad state"
// What fault_run writes to its out-argument when it returns normally.
#define FAULT_RESULT 4711

// Runs one fault. Writes *out and returns 0 only when it comes back normally; a fault leaves *out
// as it was.
typedef int (*FaultRunFn)(int kind, int* out);
// Destructors of sentinel objects run so far in this component.
typedef long (*FaultSentinelCountFn)(void);
// Does nothing worth mentioning: the cheapest foreign call, for timing.
typedef int (*FaultNopFn)(int x);
#define FAULT_EXPORTS(X)                                          \
    X(FaultRunFn, fault_run)                                      \
    X(FaultSentinelCountFn, fault_sentinel_count)                 \
    X(FaultNopFn, fault_nop)

#ifdef __cplusplus
}
#endif
