// Arguments as the lines they leave in the file, and the log's numbers against Windows' own msvcrt.dll.
#include "log_fixture.h"
#include "com/bstr.h"
#include "com/variant.h"
#include "kit/kit.h"
#include "log/number_format.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

using logtest::expected;
using logtest::recordsOf;
using tarv::Bstr;
using tarv::CallLog;
using tarv::Variant;

namespace {

constexpr double capeDoubleEmpty = -1.7976931348623157e308;

std::string msvcrt(const char* format, auto value)
{
    char text[512];
    logtest::msvcrtSprintf()(text, format, value);
    return text;
}
double fromBits(uint64_t bits) { return std::bit_cast<double>(bits); }
// A BSTR whose stored length runs past an embedded NUL.
Bstr withEmbeddedNul(const wchar_t* before, const wchar_t* after) { return Bstr(std::wstring_view(std::wstring(before) + L'\0' + after)); }
std::string argOf(const VARIANT& v, VARTYPE expected, int emptyAllowed = 0, int isInput = 1)
{
    return recordsOf([&](CallLog& l) { l.argVariant("v", isInput, v, expected, emptyAllowed); });
}
Variant arrayOf(VARTYPE vt, LONG count, LONG lowerBound = 0)
{
    return Variant::fromArray(tarv::SafeArray::create(vt, count, lowerBound).detach(), vt);
}
Variant twoDimensional()
{
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {3, 0}};
    return Variant::fromArray(SafeArrayCreate(VT_R8, 2, bounds), VT_R8);
}
Variant ofType(VARTYPE vt)
{
    Variant v;
    v.ptr()->vt = vt;
    return v;
}

} // namespace

TEST(ArgumentRecords, ScalarsStringsAndInterfaces)
{
    auto named = kit::Object::create<ICapeIdentification, ICapeThermoMaterial>(L"Stream \"1\"");
    auto unnamed = kit::Object::create<ICapeIdentification>(L"");
    auto strange = kit::Object::create<ICapeIdentification>(L"Feed\u00e9");
    auto anonymous = kit::Object::create<ICapeThermoMaterial>();
    auto refusing = kit::Object::create<ICapeIdentification>(L"never shown");
    refusing->fail(&ICapeIdentification::get_ComponentName, E_FAIL);
    IUnknown *namedPtr = named->ptr<ICapeThermoMaterial>(), *unnamedPtr = unnamed->ptr<ICapeIdentification>(),
             *strangePtr = strange->ptr<ICapeIdentification>(), *anonymousPtr = anonymous->ptr<ICapeThermoMaterial>(),
             *refusingPtr = refusing->ptr<ICapeIdentification>();
    const double payloadNaN = fromBits(0xFFF0000000000123ull);
    // The expected text `what`, "{address}" in it standing for `address` as msvcrt prints "%p".
    const struct { const char* what; std::function<void(CallLog&)> write; const void* address = nullptr; } cases[] = {
        {"short, direction fixed out", [](CallLog& l) { l.argShort("count", 1, -32768); }},
        {"BOOL, direction fixed in", [](CallLog& l) { l.argBool("flag", 0, 0); }},
        {"BOOL non-zero", [](CallLog& l) { l.argBool("flag", 0, 2); }},
        {"long in", [](CallLog& l) { l.argLong("n", 1, -2147483647 - 1); }},
        {"VARIANT_BOOL true", [](CallLog& l) { l.argVariantBool("b", 1, VARIANT_TRUE); }},
        {"VARIANT_BOOL false", [](CallLog& l) { l.argVariantBool("b", 0, VARIANT_FALSE); }},
        {"VARIANT_BOOL 1 at twice the depth", [](CallLog& l) {
             l.beginFunc(1, "ICapeParameter::put_value", "P");
             l.argVariantBool("b", 1, 1);
             l.endFunc(S_OK, nullptr);
         }},
        {"double general format", [](CallLog& l) { l.argDouble("T", 1, 101325.0); }},
        {"double NaN", [](CallLog& l) { l.argDouble("x", 1, std::numeric_limits<double>::quiet_NaN()); }},
        {"double NaN with payload", [=](CallLog& l) { l.argDouble("x", 1, payloadNaN); }},
        {"double old empty value", [](CallLog& l) { l.argDouble("x", 1, capeDoubleEmpty); }},
        {"double next to the old empty value", [](CallLog& l) { l.argDouble("x", 1, -1.7976931348623155e308); }},
        {"argument name escaped", [](CallLog& l) { l.argLong("a<b>\x01", 1, 0); }},
        {"plain", [](CallLog& l) { l.argString("s", 1, Bstr(L"abc").get()); }},
        {"null string", [](CallLog& l) { l.argString("s", 0, nullptr); }},
        {"empty string", [](CallLog& l) { l.argString("s", 1, Bstr(L"").get()); }},
        {"embedded NUL: up to it, then the error at the arg's depth", [](CallLog& l) { l.argString("s", 1, withEmbeddedNul(L"ab", L"cd").get()); }},
        {"non-ASCII and malformed: warning first, then the error", [](CallLog& l) {
             l.beginFunc(1, "F", "O");
             l.argString("s", 1, withEmbeddedNul(L"\u00e91", L"x").get());
             l.endFunc(S_OK, nullptr);
         }},
        {"line feed dropped", [](CallLog& l) { l.argString("s", 1, Bstr(L"a\nb").get()); }},
        {"plain form", [&](CallLog& l) { l.argInterfacePointer("p", 0, namedPtr); }, namedPtr},
        {"plain form null", [](CallLog& l) { l.argInterfacePointer("p", 0, nullptr); }},
        {"named object", [&](CallLog& l) { l.argInterface("material", 0, namedPtr); }, namedPtr},
        {"empty name", [&](CallLog& l) { l.argInterface("o", 1, unnamedPtr); }, unnamedPtr},
        {"no identification", [&](CallLog& l) { l.argInterface("o", 1, anonymousPtr); }, anonymousPtr},
        {"name getter fails", [&](CallLog& l) { l.argInterface("o", 1, refusingPtr); }, refusingPtr},
        {"name with a dropped character", [&](CallLog& l) { l.argInterface("o", 1, strangePtr); }, strangePtr},
        {"null interface", [](CallLog& l) { l.argInterface("o", 0, nullptr); }},
    };
    for (const auto& c : cases) {
        std::string text = expected(c.what);
        if (size_t at = text.find("{address}"); c.address && at != std::string::npos)
            text.replace(at, 9, msvcrt("%p", c.address));
        EXPECT_EQ(recordsOf(c.write), text) << c.what;
    }
}

TEST(VariantArgument, EachValueIsWrittenAsItIsThenTheTypeCheckSpeaks)
{
    std::wstring withNul = std::wstring(L"ab") + L'\0' + L"c";
    Variant malformed = ofType(VT_BSTR);
    malformed.ptr()->bstrVal = SysAllocStringLen(withNul.data(), static_cast<UINT>(withNul.size()));
    Variant shorts = arrayOf(VT_I2, 2);
    std::ranges::copy(std::vector<SHORT>{-3, 32767}, static_cast<SHORT*>(shorts.get().parray->pvData));
    auto element = kit::Object::create<ICapeIdentification>(L"E");
    Variant dispatches = arrayOf(VT_DISPATCH, 1);
    LONG first = 0;
    SafeArrayPutElement(dispatches.get().parray, &first, element->ptr<ICapeIdentification>());
    const ULONG refsBefore = element->refCount();
    // The fourth element stays null as created (storing a null BSTR would store a copy).
    std::wstring xNulY = std::wstring(L"x") + L'\0' + L"y";
    Variant strings = arrayOf(VT_BSTR, 4);
    auto** texts = static_cast<BSTR*>(strings.get().parray->pvData);
    texts[0] = SysAllocString(L"a\"b");
    texts[1] = SysAllocString(L"caf\u00e9");
    texts[2] = SysAllocStringLen(xNulY.data(), static_cast<UINT>(xNulY.size()));
    Variant doubles = tarv::makeDoubleArray({1.0, 2.0});
    SAFEARRAY* referenced = doubles.get().parray;
    Variant byRef = ofType(VT_ARRAY | VT_BYREF | VT_R8);
    byRef.ptr()->pparray = &referenced;
    std::vector<Variant> items;
    items.push_back(tarv::makeDoubleArray({300.0, 0.5}));
    items.push_back(Variant());
    items.push_back(Variant::fromString(L"vapor"));
    items.push_back(tarv::makeVariantArray({Variant::fromLong(1)}));
    struct Row { const char* name; const VARIANT& value; VARTYPE expected; int emptyAllowed = 0; int isInput = 1; };
    const Variant empty;
    const Variant values[] = {Variant::fromDouble(2.5), Variant::fromDouble(1234567.0), Variant::fromDouble(capeDoubleEmpty),
                              Variant::fromLong(-7), Variant::fromBool(true), Variant::fromString(L"a<b"),
                              tarv::makeLongArray({-2147483647 - 1, 12}, -1), tarv::makeBoolArray({true, false}),
                              tarv::makeDoubleArray({101325.0, std::numeric_limits<double>::quiet_NaN(), capeDoubleEmpty, 1e-5}, 1),
                              tarv::makeDoubleArray({}), tarv::makeDoubleArray({1.5}), twoDimensional(),
                              arrayOf(VT_R4, 3, 2), tarv::makeVariantArray(std::move(items))};
    const Variant nullString = ofType(VT_BSTR), null = ofType(VT_NULL), nullArray = ofType(VT_ARRAY | VT_R8);
    const Row rows[] = {
        {"empty where an empty array is allowed", empty.get(), VT_ARRAY | VT_BSTR, 1},
        {"empty where an array is required", empty.get(), VT_ARRAY | VT_BSTR},
        {"empty where anything goes", empty.get(), CallLog::anyType},
        {"empty where a double is expected: allowed emptiness only excuses a missing array", empty.get(), VT_R8, 1},
        {"double where an array is expected", values[0].get(), VT_ARRAY | VT_R8},
        {"double by conversion, all digits", values[1].get(), VT_R8},
        {"old empty value: no warning on this path", values[2].get(), VT_R8},
        {"long", values[3].get(), VT_I4},
        {"bool by conversion, not by the word list", values[4].get(), CallLog::anyType},
        {"string quoted and escaped", values[5].get(), VT_BSTR},
        {"a null string in a variant", nullString.get(), VT_BSTR},
        {"malformed string: error before the value", malformed.get(), VT_BSTR},
        {"null refuses conversion", null.get(), CallLog::anyType},
        {"shorts", shorts.get(), VT_ARRAY | VT_I2},
        {"longs from -1, out", values[6].get(), VT_ARRAY | VT_I4, 0, 0},
        {"truth values", values[7].get(), VT_ARRAY | VT_BOOL},
        {"interface pointers", dispatches.get(), VT_ARRAY | VT_DISPATCH},
        {"strings, with a dropped character, a NUL inside and a null one", strings.get(), VT_ARRAY | VT_BSTR},
        {"doubles from 1, with a NaN and the old empty value", values[8].get(), VT_ARRAY | VT_R8},
        {"no doubles", values[9].get(), VT_ARRAY | VT_R8},
        {"doubles where longs are expected", values[10].get(), VT_ARRAY | VT_I4},
        {"two dimensions", values[11].get(), VT_ARRAY | VT_R8},
        {"an array without a descriptor", nullArray.get(), CallLog::anyType},
        {"floats", values[12].get(), CallLog::anyType},
        {"doubles by reference", byRef.get(), VT_ARRAY | VT_R8},
        {"variants nest", values[13].get(), VT_ARRAY | VT_VARIANT},
    };
    for (const Row& row : rows)
        EXPECT_EQ(argOf(row.value, row.expected, row.emptyAllowed, row.isInput), expected(row.name)) << row.name;
    EXPECT_EQ(element->refCount(), refsBefore);
    // A long array is written whole.
    std::vector<double> many;
    std::string lines;
    for (int i = 0; i < 10000; ++i) {
        many.push_back(i);
        lines += " <argval value=\"" + std::to_string(i) + "\"/>\r\n";
    }
    EXPECT_EQ(argOf(tarv::makeDoubleArray(many).get(), VT_ARRAY | VT_R8),
              logtest::crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_R8\">\n <info value=\"Lower bound: 0\"/>\n"
                            " <info value=\"Upper bound: 9999\"/>\n") + lines + "</arg>\r\n");
}

TEST(VariantArgument, ArraysWhoseElementsAreNotWhatTheTagSaysAreReadElementByElement)
{
    // Floats under a double tag: each element is read by its own size, 4 bytes into a double.
    Variant floats = arrayOf(VT_R4, 2);
    std::ranges::copy(std::vector<float>{1.0f, 2.0f}, static_cast<float*>(floats.get().parray->pvData));
    floats.ptr()->vt = VT_ARRAY | VT_R8;
    EXPECT_EQ(argOf(floats.get(), VT_ARRAY | VT_R8), expected("floats under a double tag"));
    // Elements larger than a double: each is read from its own place, never past the end.
    Variant wide = tarv::makeDoubleArray({1.0, 2.0, 3.0, 4.0});
    wide.get().parray->cbElements = 2 * sizeof(double);
    wide.get().parray->rgsabound[0].cElements = 2;
    EXPECT_EQ(argOf(wide.get(), VT_ARRAY | VT_R8), expected("elements wider than their tag"));
    wide.get().parray->cbElements = sizeof(double);
    wide.get().parray->rgsabound[0].cElements = 4;
}

TEST(VariantArgument, TypeNamesAndArrayChecks)
{
    for (auto [vt, name] : {std::pair{VARTYPE(VT_VECTOR | VT_I4), "VT_VECTOR|VT_I4"},
                            {VT_ARRAY | VT_BYREF | VT_R8, "VT_BYREF|VT_R8"}, {VT_ARRAY | VT_VECTOR | VT_I2, "VT_VECTOR|VT_I2"},
                            {0x8000 | VT_ARRAY | VT_BYREF | VT_VARIANT, "VT_RESERVED|VT_VARIANT"},
                            {VT_ARRAY | 15, "VT_ARRAY|<unknown>"}, {4094, "<unknown>"}, {0xFFFF, "VT_RESERVED|VT_BSTR_BLOB"}})
        EXPECT_EQ(CallLog::vartypeName(vt), name) << vt;
    // The views the add-package dialog reads a package list through.
    std::string text;
    Variant doubles = tarv::makeDoubleArray({1, 2, 3, 4}, 3);
    tarv::ArrayView view(doubles.get());
    EXPECT_TRUE(view.check(VT_R8, &text));
    EXPECT_EQ(std::pair(view.lowerBound, view.count), std::pair(3, 4));
    for (const auto& [value, type, refusal] : {std::tuple{tarv::makeDoubleArray({1}), VT_BSTR, "Expected an array of type string"},
                                        {Variant::fromDouble(1.0), VT_R8, "Expected an array of type double precision"},
                                        {twoDimensional(), VT_R8, "unexpected dimension; 1-dimensional array expected"}}) {
        EXPECT_FALSE(tarv::ArrayView(value.get()).check(type, &text));
        EXPECT_EQ(text, refusal);
    }
}

TEST(NumberFormat, DoublesPointersAndIntegersAsMsvcrtPrintsThem)
{
    ASSERT_NE(logtest::msvcrtSprintf(), nullptr);
    auto ours = [](double v) {
        char text[tarv::doubleTextMax];
        return std::string(text, tarv::formatDouble(text, v));
    };
    const double inf = std::numeric_limits<double>::infinity();
    std::vector<double> values = {
        0.0, -0.0, 1.0, 0.5, 1.5, 2.5, 8.5, 0.1, 1.0 / 3, 2.0 / 3,
        1e-5, 1.0000000000000001e-05, 0.0001, 0.00012345, 0.000123456, 0.0001234565, 9.99999e-5, 0.99999949999,
        123456.0, 123456.5, 999999.0, 999999.4, 999999.5, 1e6, 1234567.0, 1234565.0, 12345650.0, 1.234565e20,
        100000.5, 9999995.0, 0.001953125, 1.234565, 298.15, -273.15, 1e15, 1e16, 1e17, 1e21, 1e22, 1e23, 1e100,
        1e-100, 1e300, 1e-300, 1e308, std::numeric_limits<double>::max(), std::numeric_limits<double>::min(),
        std::numeric_limits<double>::denorm_min(), fromBits(0x000FFFFFFFFFFFFFull), fromBits(0x0000000000001234ull), 1e-310,
        -4.2e-320, inf, 0.0009765625, 1234567.5, 2345675.0, 3.5e15,
        1.0000005e6, 4503599627370497.0};
    // Random bit patterns, and seven-digit decimals (half ties at the sixth digit) with their neighbours an ulp away.
    std::mt19937_64 random(20261114);
    for (int i = 0; i < 200000; ++i) values.push_back(fromBits(random()));
    std::uniform_int_distribution<int> digits(1000000, 9999999), exponent(-16, 26);
    for (int i = 0; i < 100000; ++i) {
        int d = digits(random);
        if (i % 2 == 0) d = d / 10 * 10 + 5;
        double v = d * std::pow(10.0, exponent(random) - 6);
        values.insert(values.end(), {v, std::nextafter(v, 0.0), std::nextafter(v, 2 * v)});
    }
    int mismatches = 0;
    for (double v : values)
        for (double w : {v, -v})
            if (!std::isnan(w) && ours(w) != msvcrt("%lg", w) && ++mismatches <= 10)
                ADD_FAILURE() << std::hexfloat << w << " " << msvcrt("%lg", w);
    for (double nan : {fromBits(0x7FF8000000000000ull), fromBits(0xFFF8000000000000ull), fromBits(0x7FF0000000000001ull),
                       fromBits(0xFFF4000000000000ull), fromBits(0x7FFFFFFFFFFFFFFFull)})
        EXPECT_EQ(ours(nan), msvcrt("%lg", nan));
    EXPECT_EQ(mismatches, 0);
    for (uintptr_t p : {uintptr_t{0}, uintptr_t{0x1A2B3C40}, ~uintptr_t{0}, uintptr_t{0x00007FFABCDEF012}}) {
        char text[tarv::pointerTextMax];
        EXPECT_EQ(std::string(text, tarv::formatPointer(text, reinterpret_cast<void*>(p))), msvcrt("%p", reinterpret_cast<void*>(p)));
    }
    for (int v : {0, -1, 32767, -32768, 2147483647, -2147483647 - 1}) {
        char text[tarv::integerTextMax];
        EXPECT_EQ(std::string(text, tarv::formatInteger(text, v)), msvcrt("%d", v));
    }
}
