// VARIANT arguments: type words, scalars by conversion, arrays element by element, type checks.
#include "log_fixture.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "kit/kit.h"

#include <string>
#include <vector>

using logtest::crlf;
using logtest::expected;
using logtest::recordsOf;
using tarv::CallLog;
using tarv::Variant;

namespace {

constexpr double capeDoubleEmpty = -1.7976931348623157e308;

std::string argOf(const VARIANT& v, VARTYPE expected, int emptyAllowed = 0, int isInput = 1)
{
    return recordsOf([&](CallLog& l) { l.argVariant("v", isInput, v, expected, emptyAllowed); });
}

Variant twoDimensional()
{
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {3, 0}};
    return Variant::fromArray(SafeArrayCreate(VT_R8, 2, bounds), VT_R8);
}

Variant arrayOf(VARTYPE vt, LONG count, LONG lowerBound = 0)
{
    return Variant::fromArray(tarv::SafeArray::create(vt, count, lowerBound).detach(), vt);
}

Variant ofType(VARTYPE vt)
{
    Variant v;
    v.ptr()->vt = vt;
    return v;
}

} // namespace

TEST(VartypeName, FlagsReplaceEachOtherAndUnknownBaseTypesAreMarked)
{
    struct {
        VARTYPE vt;
        const char* name;
    } cases[] = {
        {VT_ARRAY | VT_R8, "VT_ARRAY|VT_R8"},
        {VT_VECTOR | VT_I4, "VT_VECTOR|VT_I4"},
        {VT_BYREF | VT_BSTR, "VT_BYREF|VT_BSTR"},
        {VT_ARRAY | VT_BYREF | VT_R8, "VT_BYREF|VT_R8"},
        {VT_ARRAY | VT_VECTOR | VT_I2, "VT_VECTOR|VT_I2"},
        {0x8000 | VT_ARRAY | VT_BYREF | VT_VARIANT, "VT_RESERVED|VT_VARIANT"},
        {VT_ARRAY | 15, "VT_ARRAY|<unknown>"},
        {32, "<unknown>"},
        {4094, "<unknown>"},
        {4095, "VT_BSTR_BLOB"},
        {0xFFFF, "VT_RESERVED|VT_BSTR_BLOB"},
    };
    for (auto c : cases) EXPECT_EQ(CallLog::vartypeName(c.vt), c.name) << c.vt;
}

TEST(VariantArgument, EachValueIsWrittenAsItIsThenTheTypeCheckSpeaks)
{
    std::wstring withNul = std::wstring(L"ab") + L'\0' + L"c";
    Variant malformed = ofType(VT_BSTR);
    malformed.ptr()->bstrVal = SysAllocStringLen(withNul.data(), static_cast<UINT>(withNul.size()));

    Variant shorts = arrayOf(VT_I2, 2);
    static_cast<SHORT*>(shorts.get().parray->pvData)[0] = -3;
    static_cast<SHORT*>(shorts.get().parray->pvData)[1] = 32767;
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
    // By reference: the referenced array's bounds, then the unsupported type.
    Variant doubles = tarv::makeDoubleArray({1.0, 2.0});
    SAFEARRAY* referenced = doubles.get().parray;
    Variant byRef = ofType(VT_ARRAY | VT_BYREF | VT_R8);
    byRef.ptr()->pparray = &referenced;
    std::vector<Variant> items;
    items.push_back(tarv::makeDoubleArray({300.0, 0.5}));
    items.push_back(Variant());
    items.push_back(Variant::fromString(L"vapor"));
    items.push_back(tarv::makeVariantArray({Variant::fromLong(1)}));

    struct Row {
        const char* name;
        const VARIANT& value;
        VARTYPE expected;
        int emptyAllowed = 0;
        int isInput = 1;
    };
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
}

TEST(VariantArgument, LongArrayIsWrittenWholeAndFlushedOnce)
{
    std::vector<double> values;
    std::string expected = "<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_R8\">\n"
                           " <info value=\"Lower bound: 0\"/>\n <info value=\"Upper bound: 9999\"/>\n";
    for (int i = 0; i < 10000; ++i) {
        values.push_back(i * 0.25);
        char line[64];
        std::snprintf(line, sizeof line, " <argval value=\"%.6g\"/>\n", i * 0.25);
        expected += line;
    }
    expected += "</arg>\n";
    EXPECT_EQ(argOf(tarv::makeDoubleArray(values).get(), VT_ARRAY | VT_R8), crlf(expected));
}

TEST(VariantArgument, WriteValueStandsOneDeeper)
{
    EXPECT_EQ(recordsOf([](CallLog& l) {
                  l.beginFunc(1, "F", "O");
                  l.writeValue(Variant::fromLong(5).get());
                  l.writeValue(Variant().get());
                  l.endFunc(S_OK, nullptr);
              }),
              crlf("<func name=\"F\" direc=\"in\" object=\"O\">\n  <argval value=\"5\"/>\n</func>\n"));
}

TEST(ArrayViewCheck, PassesOnlyOneDimensionalArraysOfTheExpectedType)
{
    std::string text;
    {
        tarv::ArrayView view(Variant().get());
        view.lowerBound = 9;
        view.count = 9;
        EXPECT_TRUE(view.check(VT_BSTR, &text));
        EXPECT_EQ(view.lowerBound, 0);
        EXPECT_EQ(view.count, 0);
    }
    Variant doubles = tarv::makeDoubleArray({1, 2, 3, 4}, 3);
    tarv::ArrayView view(doubles.get());
    EXPECT_TRUE(view.check(VT_R8, &text));
    EXPECT_EQ(view.lowerBound, 3);
    EXPECT_EQ(view.count, 4);
    const struct {
        Variant value;
        VARTYPE type;
        const char* text;
    } refused[] = {
        {tarv::makeDoubleArray({1}), VT_BSTR, "Expected an array of type string"},
        {Variant::fromDouble(1.0), VT_R8, "Expected an array of type double precision"},
        {twoDimensional(), VT_R8, "unexpected dimension; 1-dimensional array expected"},
    };
    for (const auto& r : refused) {
        EXPECT_FALSE(tarv::ArrayView(r.value.get()).check(r.type, &text));
        EXPECT_EQ(text, r.text);
    }
    // An owning view frees what it holds.
    VARIANT owned;
    tarv::makeStringArray({L"a"}).detachTo(&owned);
    tarv::ArrayView owning(owned, true);
    EXPECT_TRUE(owning.check(VT_BSTR, nullptr));
    EXPECT_EQ(owning.count, 1);
}

TEST(VariantArgument, ArraysWhoseElementsAreNotWhatTheTagSaysAreReadElementByElement)
{
    // Floats under a double tag: each element is read by its own size, 4 bytes into a double.
    Variant floats = arrayOf(VT_R4, 2);
    static_cast<float*>(floats.get().parray->pvData)[0] = 1.0f;
    static_cast<float*>(floats.get().parray->pvData)[1] = 2.0f;
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
