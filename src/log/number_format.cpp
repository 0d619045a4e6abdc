#include "log/number_format.h"

#include <charconv>
#include <cstring>

namespace tarv {

namespace {

char* copyText(char* out, const char* text)
{
    std::size_t n = std::strlen(text);
    std::memcpy(out, text, n);
    return out + n;
}

// Exponent of at least three digits, as msvcrt writes it.
char* writeExponent(char* out, int exponent)
{
    *out++ = 'e';
    *out++ = exponent < 0 ? '-' : '+';
    unsigned e = static_cast<unsigned>(exponent < 0 ? -exponent : exponent);
    out[0] = static_cast<char>('0' + e / 100);
    out[1] = static_cast<char>('0' + e / 10 % 10);
    out[2] = static_cast<char>('0' + e % 10);
    return out + 3;
}

// Rewrites the exponent of a text from to_chars ("e+06", "e-300") to three digits or more.
char* widenExponent(char* begin, char* end)
{
    char* e = static_cast<char*>(std::memchr(begin, 'e', static_cast<std::size_t>(end - begin)));
    if (!e) return end;
    int exponent = 0;
    std::from_chars(e + 2, end, exponent);
    return writeExponent(e, e[1] == '-' ? -exponent : exponent);
}

// The general format with precision 6 from exact binary-to-decimal rounding. Used where the
// shortcut below can't decide: subnormals and values next to a tie that aren't the tie itself.
char* formatExactly(char* out, double value)
{
    auto r = std::to_chars(out, out + doubleTextMax, value, std::chars_format::general, 6);
    return widenExponent(out, r.ptr);
}

// Whether digits * 10^exponent (seven significant digits) is exactly a double.
bool isExactDouble(uint64_t digits, int exponent)
{
    if (exponent < 0) {
        // digits / 10^k is dyadic only when 5^k divides the digits; 5^11 has eight digits.
        int k = -exponent;
        if (k > 10) return false;
        uint64_t p = 1;
        for (int i = 0; i < k; ++i) p *= 5;
        return digits % p == 0;
    }
    // The odd part of digits * 5^e * 2^e must fit in the 53-bit significand.
    if (exponent > 22) return false;
    unsigned __int128 n = digits;
    for (int i = 0; i < exponent; ++i) n *= 5;
    while ((n & 1) == 0) n >>= 1;
    return n < (static_cast<unsigned __int128>(1) << 53);
}

// %g layout of significant digits d1 d2 ... (no trailing zeros) times 10^exponent.
char* layout(char* out, bool negative, const char* digits, int n, int exponent)
{
    if (negative) *out++ = '-';
    if (exponent < -4 || exponent >= 6) {
        *out++ = digits[0];
        if (n > 1) {
            *out++ = '.';
            std::memcpy(out, digits + 1, static_cast<std::size_t>(n - 1));
            out += n - 1;
        }
        return writeExponent(out, exponent);
    }
    if (exponent < 0) {
        *out++ = '0';
        *out++ = '.';
        for (int i = -1; i > exponent; --i) *out++ = '0';
        std::memcpy(out, digits, static_cast<std::size_t>(n));
        return out + n;
    }
    for (int i = 0; i <= exponent; ++i) *out++ = i < n ? digits[i] : '0';
    if (n > exponent + 1) {
        *out++ = '.';
        std::memcpy(out, digits + exponent + 1, static_cast<std::size_t>(n - exponent - 1));
        out += n - exponent - 1;
    }
    return out;
}

constexpr double powersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                  1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// Six significant digits of a normal double from one correctly rounded multiplication or
// division by an exact power of ten. The scaled value s lies in [1e5, 1e6) and is off by at most
// half its ulp (about 6e-11), so the rounding at the integer is exact unless the fraction is within
// 1e-8 of one half; those values, exact ties among them, and magnitudes whose power of ten isn't
// exact go the slow way. Returns false then.
bool sixDigitsFast(double magnitude, int binaryExponent, uint32_t* digits, int* exponent)
{
    int x = (binaryExponent * 78913) >> 18;   // floor(binaryExponent * log10(2)): X or X - 1
    for (int attempt = 0; attempt < 2; ++attempt, ++x) {
        int k = 5 - x;
        if (k > 22 || k < -22) return false;
        double s = k >= 0 ? magnitude * powersOfTen[k] : magnitude / powersOfTen[-k];
        if (s >= 1e6) continue;
        if (s < 1e5) return false;
        double whole = static_cast<double>(static_cast<uint32_t>(s));
        double fraction = s - whole;
        if (fraction > 0.5 - 1e-8 && fraction < 0.5 + 1e-8) return false;
        uint32_t d = static_cast<uint32_t>(whole) + (fraction > 0.5 ? 1 : 0);
        if (d == 1000000) {
            d = 100000;
            ++x;
        }
        *digits = d;
        *exponent = x;
        return true;
    }
    return false;
}

} // namespace

char* formatDouble(char* out, double value)
{
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const bool negative = (bits >> 63) != 0;
    const unsigned biased = static_cast<unsigned>(bits >> 52) & 0x7FF;
    const uint64_t mantissa = bits & ((uint64_t{1} << 52) - 1);

    if (biased == 0x7FF) {
        if (mantissa == 0) return copyText(out, negative ? "-1.#INF" : "1.#INF");
        // The log itself writes N/A for NaN; these texts only complete the function.
        return copyText(out, negative ? "-1.#IND" : "1.#QNAN");
    }
    if (biased == 0) {
        if (mantissa == 0) return copyText(out, negative ? "-0" : "0");
        return formatExactly(out, value);
    }

    char digits[20];
    int n = 0;
    int exponent = 0;
    uint32_t six;
    if (sixDigitsFast(negative ? -value : value, static_cast<int>(biased) - 1023, &six, &exponent)) {
        for (int i = 5; i >= 0; --i) {
            digits[i] = static_cast<char>('0' + six % 10);
            six /= 10;
        }
        n = 6;
        while (n > 1 && digits[n - 1] == '0') --n;
        return layout(out, negative, digits, n, exponent);
    }

    // Shortest round-trip digits. For a normal double they differ from the exact value by less
    // than half a unit in the last place, far below the sixth digit, so rounding them at the
    // sixth digit gives the exact rounding except where they are exactly a tie (seven digits
    // ending in 5): then the value either is the tie (msvcrt rounds it away from zero) or lies
    // next to it, and only exact conversion can tell on which side.
    char s[32];
    auto r = std::to_chars(s, s + sizeof s, value, std::chars_format::scientific);
    const char* p = s + (negative ? 1 : 0);
    for (; p < r.ptr && *p != 'e'; ++p)
        if (*p != '.') digits[n++] = *p;
    std::from_chars(p + 2, r.ptr, exponent);
    if (p[1] == '-') exponent = -exponent;

    if (n > 6) {
        bool up;
        if (n == 7 && digits[6] == '5') {
            uint64_t d = 0;
            for (int i = 0; i < 7; ++i) d = d * 10 + static_cast<unsigned>(digits[i] - '0');
            if (!isExactDouble(d, exponent - 6)) return formatExactly(out, value);
            up = true;
        } else {
            up = digits[6] >= '5';
        }
        n = 6;
        if (up) {
            int i = 5;
            while (i >= 0 && digits[i] == '9') digits[i--] = '0';
            if (i >= 0) {
                ++digits[i];
            } else {
                digits[0] = '1';
                ++exponent;
            }
        }
    }
    while (n > 1 && digits[n - 1] == '0') --n;
    return layout(out, negative, digits, n, exponent);
}

char* formatPointer(char* out, const void* value)
{
    static const char hex[] = "0123456789ABCDEF";
    uintptr_t v = reinterpret_cast<uintptr_t>(value);
    for (int i = 15; i >= 0; --i) {
        out[i] = hex[v & 0xF];
        v >>= 4;
    }
    return out + 16;
}

char* formatInteger(char* out, long long value)
{
    return std::to_chars(out, out + integerTextMax, value).ptr;
}

} // namespace tarv
