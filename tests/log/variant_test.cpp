// VARIANT arguments: type words, scalars by conversion, arrays element by element, type checks.
#include "log_fixture.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "kit/kit.h"
#include "log/clock.h"

#include <string>
#include <vector>

using logtest::crlf;
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

} // namespace

TEST(VartypeName, FlagsReplaceEachOtherAndUnknownBaseTypesAreMarked)
{
    struct {
        VARTYPE vt;
        const char* name;
    } cases[] = {
        {VT_EMPTY, "VT_EMPTY"},
        {VT_R8, "VT_R8"},
        {VT_ARRAY | VT_R8, "VT_ARRAY|VT_R8"},
        {VT_VECTOR | VT_I4, "VT_VECTOR|VT_I4"},
        {VT_BYREF | VT_BSTR, "VT_BYREF|VT_BSTR"},
        {VT_ARRAY | VT_BYREF | VT_R8, "VT_BYREF|VT_R8"},
        {VT_ARRAY | VT_VECTOR | VT_I2, "VT_VECTOR|VT_I2"},
        {0x8000 | VT_ARRAY | VT_BYREF | VT_VARIANT, "VT_RESERVED|VT_VARIANT"},
        {VT_ARRAY | 15, "VT_ARRAY|<unknown>"},
        {32, "<unknown>"},
        {4094, "<unknown>"},
        {0xFFFF, "VT_RESERVED|VT_BSTR_BLOB"},
    };
    for (auto c : cases) EXPECT_EQ(CallLog::vartypeName(c.vt), c.name) << c.vt;

    EXPECT_EQ(CallLog::vartypeName(4095), "VT_BSTR_BLOB");
}

TEST(VariantArgument, EmptyValues)
{
    Variant empty;
    EXPECT_EQ(argOf(empty.get(), VT_ARRAY | VT_BSTR, 1),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_EMPTY\">\n</arg>\n"));
    EXPECT_EQ(argOf(empty.get(), VT_ARRAY | VT_BSTR, 0),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_EMPTY\">\n"
                   "<error value=\"Invalid type for argument v: expected VT_ARRAY|VT_BSTR\"/>\n</arg>\n"));
    EXPECT_EQ(argOf(empty.get(), CallLog::anyType, 0), crlf("<arg name=\"v\" direc=\"in\" type=\"VT_EMPTY\">\n</arg>\n"));
    // Allowed emptiness only excuses a missing array.
    EXPECT_EQ(argOf(empty.get(), VT_R8, 1),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_EMPTY\">\n"
                   "<error value=\"Invalid type for argument v: expected VT_R8\"/>\n</arg>\n"));
}

TEST(VariantArgument, Scalars)
{
    Variant nullString;
    nullString.ptr()->vt = VT_BSTR;
    Variant oldEmpty = Variant::fromDouble(capeDoubleEmpty);
    Variant null;
    null.ptr()->vt = VT_NULL;
    std::wstring withNul = std::wstring(L"ab") + L'\0' + L"c";
    Variant malformed;
    malformed.ptr()->vt = VT_BSTR;
    malformed.ptr()->bstrVal = SysAllocStringLen(withNul.data(), static_cast<UINT>(withNul.size()));

    struct {
        const char* what;
        Variant value;
        VARTYPE expected;
        const char* records;
    } cases[] = {
        {"double where an array is expected", Variant::fromDouble(2.5), VT_ARRAY | VT_R8,
         "<arg name=\"v\" direc=\"in\" type=\"VT_R8\">\n <argval value=\"2.5\"/>\n"
         "<error value=\"Invalid type for argument v: expected VT_ARRAY|VT_R8\"/>\n</arg>\n"},
        {"double by conversion, all digits", Variant::fromDouble(1234567.0), VT_R8,
         "<arg name=\"v\" direc=\"in\" type=\"VT_R8\">\n <argval value=\"1234567\"/>\n</arg>\n"},
        {"old empty value: no warning on this path", std::move(oldEmpty), VT_R8,
         "<arg name=\"v\" direc=\"in\" type=\"VT_R8\">\n <argval value=\"N/A\"/>\n</arg>\n"},
        {"long", Variant::fromLong(-7), VT_I4,
         "<arg name=\"v\" direc=\"in\" type=\"VT_I4\">\n <argval value=\"-7\"/>\n</arg>\n"},
        {"bool by conversion, not by the word list", Variant::fromBool(true), CallLog::anyType,
         "<arg name=\"v\" direc=\"in\" type=\"VT_BOOL\">\n <argval value=\"-1\"/>\n</arg>\n"},
        {"string quoted and escaped", Variant::fromString(L"a<b"), VT_BSTR,
         "<arg name=\"v\" direc=\"in\" type=\"VT_BSTR\">\n <argval value=\"&quot;a&lt;b&quot;\"/>\n</arg>\n"},
        {"null string", std::move(nullString), VT_BSTR,
         "<arg name=\"v\" direc=\"in\" type=\"VT_BSTR\">\n <argval value=\"&lt;EMPTY STRINGVAL&gt;\"/>\n</arg>\n"},
        {"malformed string: error before the value", std::move(malformed), VT_BSTR,
         "<arg name=\"v\" direc=\"in\" type=\"VT_BSTR\">\n <error value=\"Not a valid BSTR value\"/>\n"
         " <argval value=\"&quot;ab&quot;\"/>\n</arg>\n"},
        {"null refuses conversion", std::move(null), CallLog::anyType,
         "<arg name=\"v\" direc=\"in\" type=\"VT_NULL\">\n <argval value=\"&lt;unable to format value&gt;\"/>\n</arg>\n"},
    };
    for (const auto& c : cases) EXPECT_EQ(argOf(c.value.get(), c.expected), crlf(c.records)) << c.what;
}

TEST(VariantArgument, ArraysOfEachElementType)
{
    Variant shorts = arrayOf(VT_I2, 2);
    LONG i0 = 0, i1 = 1;
    SHORT s0 = -3, s1 = 32767;
    SafeArrayPutElement(shorts.get().parray, &i0, &s0);
    SafeArrayPutElement(shorts.get().parray, &i1, &s1);
    Variant bools = tarv::makeBoolArray({true, false});

    auto element = kit::Object::create<ICapeIdentification>(L"E");
    Variant dispatches = arrayOf(VT_DISPATCH, 1);
    IDispatch* d = element->ptr<ICapeIdentification>();
    SafeArrayPutElement(dispatches.get().parray, &i0, d);
    ULONG refsBefore = element->refCount();

    std::wstring withNul = std::wstring(L"x") + L'\0' + L"y";
    Variant strings = tarv::makeStringArray({L"a\"b", L"caf\u00e9", withNul});
    // The fourth element stays null as created (storing a null BSTR would store a copy).
    Variant stringsWithNull = arrayOf(VT_BSTR, 4);
    for (LONG i = 0; i < 3; ++i) {
        BSTR s = nullptr;
        SafeArrayGetElement(strings.get().parray, &i, &s);
        SafeArrayPutElement(stringsWithNull.get().parray, &i, s);
        SysFreeString(s);
    }

    EXPECT_EQ(argOf(shorts.get(), VT_ARRAY | VT_I2),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_I2\">\n"
                   " <info value=\"Lower bound: 0\"/>\n <info value=\"Upper bound: 1\"/>\n"
                   " <argval value=\"-3\"/>\n <argval value=\"32767\"/>\n</arg>\n"));
    EXPECT_EQ(argOf(tarv::makeLongArray({-2147483647 - 1, 12}, -1).get(), VT_ARRAY | VT_I4, 0, 0),
              crlf("<arg name=\"v\" direc=\"out\" type=\"VT_ARRAY|VT_I4\">\n"
                   " <info value=\"Lower bound: -1\"/>\n <info value=\"Upper bound: 0\"/>\n"
                   " <argval value=\"-2147483648\"/>\n <argval value=\"12\"/>\n</arg>\n"));
    EXPECT_EQ(argOf(bools.get(), VT_ARRAY | VT_BOOL),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_BOOL\">\n"
                   " <info value=\"Lower bound: 0\"/>\n <info value=\"Upper bound: 1\"/>\n"
                   " <argval value=\"TRUE\"/>\n <argval value=\"FALSE\"/>\n</arg>\n"));
    EXPECT_EQ(argOf(dispatches.get(), VT_ARRAY | VT_DISPATCH),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_DISPATCH\">\n"
                   " <info value=\"Lower bound: 0\"/>\n <info value=\"Upper bound: 0\"/>\n"
                   " <argval value=\"interface pointer\"/>\n</arg>\n"));
    EXPECT_EQ(element->refCount(), refsBefore);
    EXPECT_EQ(argOf(stringsWithNull.get(), VT_ARRAY | VT_BSTR),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_BSTR\">\n"
                   " <info value=\"Lower bound: 0\"/>\n <info value=\"Upper bound: 3\"/>\n"
                   " <argval value=\"&quot;a&quot;b&quot;\"/>\n"
                   " <argval value=\"&quot;caf&quot;\"/>\n"
                   "<warning value=\"One or more non-printable characters suppressed in above string value (these cannot be stored in XML)\"/>\n"
                   " <argval value=\"&quot;x&quot;\"/>\n"
                   " <error value=\"Not a valid BSTR value\"/>\n"
                   " <argval value=\"&lt;NULL&gt;\"/>\n</arg>\n"));
}

TEST(VariantArgument, DoubleArrays)
{
    double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(argOf(tarv::makeDoubleArray({101325.0, nan, capeDoubleEmpty, 1e-5}, 1).get(), VT_ARRAY | VT_R8),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_R8\">\n"
                   " <info value=\"Lower bound: 1\"/>\n <info value=\"Upper bound: 4\"/>\n"
                   " <argval value=\"101325\"/>\n"
                   " <argval value=\"N/A\"/>\n"
                   " <argval value=\"N/A\"/>\n"
                   " <warning value=\"Old value for CapeDoubleEmpty used: should be NaN\"/>\n"
                   " <argval value=\"1e-005\"/>\n</arg>\n"));
    EXPECT_EQ(argOf(tarv::makeDoubleArray({}).get(), VT_ARRAY | VT_R8),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_R8\">\n"
                   " <info value=\"Lower bound: 0\"/>\n <info value=\"Upper bound: -1\"/>\n</arg>\n"));
    // The array is shown as it is, then the check speaks.
    EXPECT_EQ(argOf(tarv::makeDoubleArray({1.5}).get(), VT_ARRAY | VT_I4),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_R8\">\n"
                   " <info value=\"Lower bound: 0\"/>\n <info value=\"Upper bound: 0\"/>\n"
                   " <argval value=\"1.5\"/>\n"
                   "<error value=\"Invalid type for argument v: expected VT_ARRAY|VT_I4\"/>\n</arg>\n"));
}

TEST(VariantArgument, ArraysTheLoggerDoesNotShow)
{
    EXPECT_EQ(argOf(twoDimensional().get(), VT_ARRAY | VT_R8),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_R8\">\n"
                   " <warning value=\"Multi-dimensional values not supported by logger. Value has 2 dimensions\"/>\n</arg>\n"));
    Variant nullArray;
    nullArray.ptr()->vt = VT_ARRAY | VT_R8;
    EXPECT_EQ(argOf(nullArray.get(), CallLog::anyType),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_R8\">\n"
                   " <warning value=\"Multi-dimensional values not supported by logger. Value has 0 dimensions\"/>\n</arg>\n"));
    EXPECT_EQ(argOf(arrayOf(VT_R4, 3, 2).get(), CallLog::anyType),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_R4\">\n"
                   " <info value=\"Lower bound: 2\"/>\n <info value=\"Upper bound: 4\"/>\n"
                   " <warning value=\"Value type is not supported by logger\"/>\n</arg>\n"));
    // By reference: the referenced array's bounds, then the unsupported type.
    Variant doubles = tarv::makeDoubleArray({1.0, 2.0});
    SAFEARRAY* array = doubles.get().parray;
    VARIANT byRef;
    byRef.vt = VT_ARRAY | VT_BYREF | VT_R8;
    byRef.pparray = &array;
    EXPECT_EQ(argOf(byRef, VT_ARRAY | VT_R8),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_BYREF|VT_R8\">\n"
                   " <info value=\"Lower bound: 0\"/>\n <info value=\"Upper bound: 1\"/>\n"
                   " <warning value=\"Value type is not supported by logger\"/>\n"
                   "<error value=\"Invalid type for argument v: expected VT_ARRAY|VT_R8\"/>\n</arg>\n"));
}

TEST(VariantArgument, ArraysOfVariantsNest)
{
    std::vector<Variant> items;
    items.push_back(tarv::makeDoubleArray({300.0, 0.5}));
    items.push_back(Variant());
    items.push_back(Variant::fromString(L"vapor"));
    items.push_back(tarv::makeVariantArray({Variant::fromLong(1)}));
    EXPECT_EQ(argOf(tarv::makeVariantArray(std::move(items)).get(), VT_ARRAY | VT_VARIANT),
              crlf(R"(<arg name="v" direc="in" type="VT_ARRAY|VT_VARIANT">
 <info value="Lower bound: 0"/>
 <info value="Upper bound: 3"/>
 <argval value="VT_ARRAY|VT_R8">
  <info value="Lower bound: 0"/>
  <info value="Upper bound: 1"/>
  <argval value="300"/>
  <argval value="0.5"/>
 </argval>
 <argval value="VT_EMPTY">
 </argval>
 <argval value="VT_BSTR">
  <argval value="&quot;vapor&quot;"/>
 </argval>
 <argval value="VT_ARRAY|VT_VARIANT">
  <info value="Lower bound: 0"/>
  <info value="Upper bound: 0"/>
  <argval value="VT_I4">
   <argval value="1"/>
  </argval>
 </argval>
</arg>
)"));
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
    {
        tarv::ArrayView view(doubles.get());
        EXPECT_TRUE(view.check(VT_R8, &text));
        EXPECT_EQ(view.lowerBound, 3);
        EXPECT_EQ(view.count, 4);
    }
    {
        tarv::ArrayView view(doubles.get());
        EXPECT_FALSE(view.check(VT_BSTR, &text));
        EXPECT_EQ(text, "Expected an array of type string");
    }
    {
        tarv::ArrayView view(Variant::fromDouble(1.0).get());
        EXPECT_FALSE(view.check(VT_R8, &text));
        EXPECT_EQ(text, "Expected an array of type double precision");
    }
    {
        Variant matrix = twoDimensional();
        tarv::ArrayView view(matrix.get());
        EXPECT_FALSE(view.check(VT_R8, &text));
        EXPECT_EQ(text, "unexpected dimension; 1-dimensional array expected");
    }
    {
        // An owning view frees what it holds.
        VARIANT owned;
        tarv::makeStringArray({L"a"}).detachTo(&owned);
        tarv::ArrayView view(owned, true);
        EXPECT_TRUE(view.check(VT_BSTR, nullptr));
        EXPECT_EQ(view.count, 1);
    }
}

// --- Arrays whose elements are not what their tag says -----------------------------------------

TEST(VariantArgument, ArraysWhoseElementsAreNotWhatTheTagSaysAreReadElementByElement)
{
    // Floats under a double tag: each element is read by its own size, 4 bytes into a double.
    Variant floats = arrayOf(VT_R4, 2);
    static_cast<float*>(floats.get().parray->pvData)[0] = 1.0f;
    static_cast<float*>(floats.get().parray->pvData)[1] = 2.0f;
    floats.ptr()->vt = VT_ARRAY | VT_R8;
    EXPECT_EQ(argOf(floats.get(), VT_ARRAY | VT_R8),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_R8\">\n"
                   " <info value=\"Lower bound: 0\"/>\n <info value=\"Upper bound: 1\"/>\n"
                   " <argval value=\"5.26354e-315\"/>\n <argval value=\"5.30499e-315\"/>\n</arg>\n"));
    // Elements larger than a double: each is read from its own place, never past the end.
    Variant wide = tarv::makeDoubleArray({1.0, 2.0, 3.0, 4.0});
    wide.get().parray->cbElements = 2 * sizeof(double);
    wide.get().parray->rgsabound[0].cElements = 2;
    EXPECT_EQ(argOf(wide.get(), VT_ARRAY | VT_R8),
              crlf("<arg name=\"v\" direc=\"in\" type=\"VT_ARRAY|VT_R8\">\n"
                   " <info value=\"Lower bound: 0\"/>\n <info value=\"Upper bound: 1\"/>\n"
                   " <argval value=\"1\"/>\n <argval value=\"3\"/>\n</arg>\n"));
    wide.get().parray->cbElements = sizeof(double);
    wide.get().parray->rgsabound[0].cElements = 4;
}
