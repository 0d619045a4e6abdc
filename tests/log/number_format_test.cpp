// The log's numbers against what Windows' own msvcrt.dll prints for the same conversions.
#include "log/number_format.h"

#include "log_fixture.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>

namespace {

using logtest::msvcrtSprintf;

std::string msvcrt(double v)
{
    char text[512];
    msvcrtSprintf()(text, "%lg", v);
    return text;
}

std::string ours(double v)
{
    char text[tarv::doubleTextMax];
    return std::string(text, tarv::formatDouble(text, v));
}

double fromBits(uint64_t bits)
{
    double v;
    std::memcpy(&v, &bits, sizeof v);
    return v;
}

} // namespace

TEST(NumberFormat, DoublesAndNaNsAsMsvcrtPrintsThem)
{
    ASSERT_NE(msvcrtSprintf(), nullptr);
    const double inf = std::numeric_limits<double>::infinity();
    const double edges[] = {
        0.0, -0.0, 1.0, -1.0, 0.5, 1.5, 2.5, 8.5, 0.1, 1.0 / 3, 2.0 / 3,
        1e-5, 1.0000000000000001e-05, 0.0001, 0.00012345, 0.000123456, 0.0001234565, 9.99999e-5, 0.99999949999,
        123456.0, 123456.5, 999999.0, 999999.4, 999999.5, 1e6, 1234567.0, 1234565.0, 12345650.0, 1.234565e20,
        100000.5, 9999995.0, 0.001953125, 1.234565, 101325.0, 298.15, 300.0, -273.15,
        1e15, 1e16, 1e17, 1e21, 1e22, 1e23, 1e100, 1e-100, 1e300, 1e-300, 1e308,
        std::numeric_limits<double>::max(), -std::numeric_limits<double>::max(),
        std::numeric_limits<double>::min(), std::numeric_limits<double>::denorm_min(),
        fromBits(0x000FFFFFFFFFFFFFull), fromBits(0x0000000000001234ull), 1e-310, -4.2e-320,
        inf, -inf, fromBits(0x7FF8000000000000ull), fromBits(0xFFF8000000000000ull), fromBits(0x7FF0000000000001ull),
        fromBits(0xFFF4000000000000ull), fromBits(0x7FFFFFFFFFFFFFFFull),
    };
    for (double v : edges) EXPECT_EQ(ours(v), msvcrt(v)) << std::hexfloat << v;
}

TEST(NumberFormat, RandomBitPatternsMatchMsvcrt)
{
    std::mt19937_64 random(20261114);
    int mismatches = 0;
    for (int i = 0; i < 200000; ++i) {
        double v = fromBits(random());
        if (std::isnan(v)) continue;
        if (ours(v) != msvcrt(v) && ++mismatches <= 10) ADD_FAILURE() << std::hexfloat << v << " " << msvcrt(v);
    }
    EXPECT_EQ(mismatches, 0);
}

TEST(NumberFormat, SevenDigitDecimalsTheirTiesAndNeighboursMatchMsvcrt)
{
    // Values with few digits are where ties at the sixth digit live; their neighbours one unit
    // in the last place away must round by their exact value.
    std::mt19937 random(1117);
    std::uniform_int_distribution<int> digits(1000000, 9999999);
    std::uniform_int_distribution<int> exponent(-16, 26);
    int mismatches = 0;
    for (int i = 0; i < 100000; ++i) {
        int d = digits(random);
        if (i % 2 == 0) d = d / 10 * 10 + 5;
        double v = d * std::pow(10.0, exponent(random) - 6);
        if (i % 3 == 0) v = -v;
        for (double w : {v, std::nextafter(v, 0.0), std::nextafter(v, 2 * v)})
            if (ours(w) != msvcrt(w) && ++mismatches <= 10) ADD_FAILURE() << std::hexfloat << w << " " << msvcrt(w);
    }
    EXPECT_EQ(mismatches, 0);
    // Exact ties of few digits, small and large.
    for (double v : {0.5, 1.5, 0.25, 0.125, 0.0625, 0.03125, 0.015625, 0.0078125, 0.00390625, 0.001953125,
                     0.0009765625, 1234567.5, 2345675.0, 3.5e15, 1.0000005e6, 4503599627370497.0})
        for (double w : {v, -v}) EXPECT_EQ(ours(w), msvcrt(w)) << std::hexfloat << w;
}

TEST(NumberFormat, PointersAndIntegersAsMsvcrtPrintsThem)
{
    for (uintptr_t p : {uintptr_t{0}, uintptr_t{0x1A2B3C40}, ~uintptr_t{0}, uintptr_t{0x00007FFABCDEF012}}) {
        char expected[64];
        msvcrtSprintf()(expected, "%p", reinterpret_cast<void*>(p));
        char text[tarv::pointerTextMax];
        EXPECT_EQ(std::string(text, tarv::formatPointer(text, reinterpret_cast<void*>(p))), expected);
    }
    for (long long v : {0LL, -1LL, 32767LL, -32768LL, 2147483647LL, -2147483648LL}) {
        char expected[64];
        msvcrtSprintf()(expected, "%d", static_cast<int>(v));
        char text[tarv::integerTextMax];
        EXPECT_EQ(std::string(text, tarv::formatInteger(text, v)), expected);
    }
}
