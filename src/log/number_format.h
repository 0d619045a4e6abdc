#pragma once
// Number and address texts of the log, as Windows programs print them through msvcrt's printf:
// "%lg" with at least three exponent digits (1.23457e+006), exact ties at the sixth significant
// digit rounded away from zero, infinities as 1.#INF and -1.#INF (NaN as 1.#QNAN, or -1.#IND with
// the sign bit set), "%p" as 16 upper-case hexadecimal digits. mingw's own printf family, which libstdc++ switches on, prints otherwise.
//
// Each function writes at most the stated number of bytes at `out`, no terminating NUL, and
// returns the end of what it wrote.
#include <cstddef>
#include <cstdint>

namespace tarv {

constexpr std::size_t doubleTextMax = 32;
constexpr std::size_t pointerTextMax = 16;
constexpr std::size_t integerTextMax = 24;

char* formatDouble(char* out, double value);        // "%lg"
char* formatPointer(char* out, const void* value);  // "%p"
char* formatInteger(char* out, long long value);    // "%d", "%hd"

} // namespace tarv
