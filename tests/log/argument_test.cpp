// Scalar, string, interface and enumeration arguments, each as the lines it leaves in the file.
#include "log_fixture.h"

#include "com/bstr.h"
#include "kit/kit.h"

#include <cmath>
#include <functional>
#include <limits>
#include <string>

using logtest::crlf;
using logtest::recordsOf;
using tarv::Bstr;
using tarv::CallLog;

namespace {

// A pointer as Windows' own printf writes "%p".
std::string msvcrtPointer(const void* p)
{
    char text[64];
    logtest::msvcrtSprintf()(text, "%p", p);
    return text;
}

// What each write leaves in a fresh log: the expected text named by `what`, "{address}" in it
// standing for `address` as printed.
struct ArgCase {
    const char* what;
    std::function<void(CallLog&)> write;
    const void* address = nullptr;
};

void expectRecords(const std::vector<ArgCase>& cases)
{
    for (const ArgCase& c : cases) {
        std::string text = logtest::expected(c.what);
        if (size_t at = text.find("{address}"); c.address && at != std::string::npos)
            text.replace(at, 9, msvcrtPointer(c.address));
        EXPECT_EQ(recordsOf(c.write), text) << c.what;
    }
}

// A BSTR whose stored length runs past an embedded NUL.
Bstr withEmbeddedNul(const wchar_t* before, const wchar_t* after)
{
    std::wstring s = std::wstring(before) + L'\0' + after;
    return Bstr(std::wstring_view(s));
}

constexpr double capeDoubleEmpty = -1.7976931348623157e308;

} // namespace

TEST(ArgumentRecords, NumbersAndTruthValues)
{
    double quietNaN = std::numeric_limits<double>::quiet_NaN();
    double payloadNaN;
    uint64_t bits = 0xFFF0000000000123ull;
    std::memcpy(&payloadNaN, &bits, sizeof bits);
    expectRecords({
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
        {"double NaN", [=](CallLog& l) { l.argDouble("x", 1, quietNaN); }},
        {"double NaN with payload", [=](CallLog& l) { l.argDouble("x", 1, payloadNaN); }},
        {"double old empty value", [](CallLog& l) { l.argDouble("x", 1, capeDoubleEmpty); }},
        {"double next to the old empty value", [](CallLog& l) { l.argDouble("x", 1, -1.7976931348623155e308); }},
        {"argument name escaped", [](CallLog& l) { l.argLong("a<b>\x01", 1, 0); }},
    });
}

TEST(ArgumentRecords, Strings)
{
    expectRecords({
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
    });
}

TEST(ArgumentRecords, InterfacePointers)
{
    auto named = kit::Object::create<ICapeIdentification, ICapeThermoMaterial>(L"Stream \"1\"");
    auto unnamed = kit::Object::create<ICapeIdentification>(L"");
    auto strange = kit::Object::create<ICapeIdentification>(L"Feed\u00e9");
    auto anonymous = kit::Object::create<ICapeThermoMaterial>();
    auto refusing = kit::Object::create<ICapeIdentification>(L"never shown");
    refusing->fail(&ICapeIdentification::get_ComponentName, E_FAIL);

    IUnknown* namedPtr = named->ptr<ICapeThermoMaterial>();
    IUnknown* unnamedPtr = unnamed->ptr<ICapeIdentification>();
    IUnknown* strangePtr = strange->ptr<ICapeIdentification>();
    IUnknown* anonymousPtr = anonymous->ptr<ICapeThermoMaterial>();
    IUnknown* refusingPtr = refusing->ptr<ICapeIdentification>();

    expectRecords({
        {"plain form", [&](CallLog& l) { l.argInterfacePointer("p", 0, namedPtr); }, namedPtr},
        {"plain form null", [](CallLog& l) { l.argInterfacePointer("p", 0, nullptr); }},
        {"named object", [&](CallLog& l) { l.argInterface("material", 0, namedPtr); }, namedPtr},
        {"empty name", [&](CallLog& l) { l.argInterface("o", 1, unnamedPtr); }, unnamedPtr},
        {"no identification", [&](CallLog& l) { l.argInterface("o", 1, anonymousPtr); }, anonymousPtr},
        {"name getter fails", [&](CallLog& l) { l.argInterface("o", 1, refusingPtr); }, refusingPtr},
        {"name with a dropped character", [&](CallLog& l) { l.argInterface("o", 1, strangePtr); }, strangePtr},
        {"null interface", [](CallLog& l) { l.argInterface("o", 0, nullptr); }},
    });
}

TEST(ArgumentRecords, Enumerations)
{
    auto valid = [](const char* type, const char* direc, const char* value) {
        return std::string("<arg name=\"e\" direc=\"") + direc + "\" type=\"" + type + "\">\n <argval value=\"" +
               value + "\"/>\n</arg>\n";
    };
    // The error comes after the argval's indentation, indented again; the argval starts in the
    // first column.
    auto invalid = [](const char* type, const char* direc, const char* value) {
        return std::string("<arg name=\"e\" direc=\"") + direc + "\" type=\"" + type + "\">\n  <error value=\"Invalid value for " +
               type + "\"/>\n<argval value=\"" + value + "\"/>\n</arg>\n";
    };
    const struct {
        const char* what;
        std::function<void(CallLog&)> write;
        std::string expected;
    } cases[] = {
        {"validation status", [](CallLog& l) { l.argValidationStatus("e", 1, CAPE_VALID); },
         valid("CapeValidationStatus", "out", "CAPE_VALID")},
        {"validation status invalid", [](CallLog& l) { l.argValidationStatus("e", 1, static_cast<CapeValidationStatus>(3)); },
         invalid("CapeValidationStatus", "out", "3X")},
        {"port type invalid", [](CallLog& l) { l.argPortType("e", 1, static_cast<CapePortType>(7)); },
         invalid("CapePortType", "out", "7X")},
        {"reaction type invalid", [](CallLog& l) { l.argReactionType("e", 1, static_cast<CapeReactionType>(255)); },
         invalid("CapeReactionType", "out", "ffX")},
        {"rate basis invalid", [](CallLog& l) { l.argReactionRateBasis("e", 1, static_cast<CapeReactionRateBasis>(-1)); },
         invalid("CapeReactionRateBasis", "out", "ffffffffX")},
        {"port direction in", [](CallLog& l) { l.argPortDirection("e", 1, CAPE_INLET_OUTLET); },
         valid("CapePortDirection", "in", "CAPE_INLET_OUTLET")},
        {"port direction invalid", [](CallLog& l) { l.argPortDirection("e", 0, static_cast<CapePortDirection>(3)); },
         invalid("CapePortDirection", "out", "3X")},
        {"param mode", [](CallLog& l) { l.argParamMode("e", 0, CAPE_OUTPUT); }, valid("CapeParamMode", "out", "CAPE_OUTPUT")},
        {"param mode invalid", [](CallLog& l) { l.argParamMode("e", 1, static_cast<CapeParamMode>(5)); },
         invalid("CapeParamMode", "in", "5X")},
        {"param type first", [](CallLog& l) { l.argParamType("e", 1, CAPE_REAL); }, valid("CapeParamType", "out", "CAPE_REAL")},
        {"param type invalid", [](CallLog& l) { l.argParamType("e", 1, static_cast<CapeParamType>(0x1A)); },
         invalid("CapeParamType", "out", "1aX")},
    };
    for (const auto& c : cases) EXPECT_EQ(recordsOf(c.write), crlf(c.expected)) << c.what;
}

TEST(ArgumentRecords, InvalidEnumerationInsideAFunc)
{
    EXPECT_EQ(recordsOf([](CallLog& l) {
                  l.beginFunc(0, "ICapeUnitPort::get_direction", "Port");
                  l.argPortDirection("direction", 0, static_cast<CapePortDirection>(9));
                  l.endFunc(S_OK, nullptr);
              }),
              crlf("<func name=\"ICapeUnitPort::get_direction\" direc=\"out\" object=\"Port\">\n"
                   " <arg name=\"direction\" direc=\"out\" type=\"CapePortDirection\">\n"
                   "    <error value=\"Invalid value for CapePortDirection\"/>\n"
                   "<argval value=\"9X\"/>\n"
                   " </arg>\n"
                   "</func>\n"));
}

TEST(ArgumentRecords, CalculationFlags)
{
    auto flags = [](const char* value) {
        return std::string("<arg name=\"fFlags\" direc=\"in\" type=\"int\">\n <argval value=\"") + value + "\"/>\n</arg>\n";
    };
    struct {
        int bits;
        const char* value;
    } cases[] = {{0, "CAPE_NO_CALCULATION"}, {1, "|"}, {3, "|"}, {8, "|"}, {15, "|"}, {16, ""}, {17, "|"}, {-16, ""}};
    for (auto c : cases)
        EXPECT_EQ(recordsOf([&](CallLog& l) { l.argCalculationFlags("fFlags", 0, c.bits); }), crlf(flags(c.value)))
            << c.bits;
}
