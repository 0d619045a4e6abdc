#include "ideal/values.h"

#include "com/variant.h"
#include "ideal/cape_error.h"

namespace samples::ideal {
namespace {

const VARIANT& dereferenced(const VARIANT& v)
{
    if (v.vt == (VT_BYREF | VT_VARIANT) && v.pvarVal) return *v.pvarVal;
    return v;
}

[[noreturn]] void badShape(const wchar_t* argument, const wchar_t* expected)
{
    raise(kCapeInvalidArgument, std::wstring(L"Argument ") + argument + L" must be " + expected);
}

// The elements of a one-dimensional array as VARIANTs.
std::vector<VARIANT> elements(SAFEARRAY* sa, VARTYPE vt, const wchar_t* argument, const wchar_t* expected)
{
    std::vector<VARIANT> out;
    if (!sa) return out;
    if (SafeArrayGetDim(sa) != 1) badShape(argument, expected);
    switch (vt) {
    case VT_VARIANT: case VT_BSTR: case VT_R8: case VT_R4: case VT_I4: case VT_I2: case VT_UI1: case VT_BOOL:
    case VT_INT: case VT_UI4:
        break;
    default:
        badShape(argument, expected);
    }
    LONG lo = 0, hi = -1;
    SafeArrayGetLBound(sa, 1, &lo);
    SafeArrayGetUBound(sa, 1, &hi);
    for (LONG i = lo; i <= hi; ++i) {
        VARIANT e;
        VariantInit(&e);
        HRESULT hr;
        if (vt == VT_VARIANT) {
            hr = SafeArrayGetElement(sa, &i, &e);
        } else {
            e.vt = vt;
            hr = SafeArrayGetElement(sa, &i, &e.llVal);   // the value union starts at the same offset
        }
        if (FAILED(hr)) {
            for (VARIANT& x : out) VariantClear(&x);
            badShape(argument, expected);
        }
        out.push_back(e);
    }
    return out;
}

template <class T, class Convert>
std::vector<T> convertAll(const VARIANT& arg, const wchar_t* argument, const wchar_t* expected, VARTYPE scalar,
                          Convert convert)
{
    const VARIANT& v = dereferenced(arg);
    std::vector<T> out;
    if (isUndefined(v)) return out;
    std::vector<VARIANT> items;
    if (v.vt & VT_ARRAY) {
        SAFEARRAY* sa = (v.vt & VT_BYREF) ? (v.pparray ? *v.pparray : nullptr) : v.parray;
        items = elements(sa, static_cast<VARTYPE>(v.vt & VT_TYPEMASK), argument, expected);
    } else {
        VARIANT copy;
        VariantInit(&copy);
        if (FAILED(VariantCopyInd(&copy, const_cast<VARIANT*>(&v)))) badShape(argument, expected);
        items.push_back(copy);
    }
    bool ok = true;
    for (VARIANT& e : items) {
        VARIANT c;
        VariantInit(&c);
        if (ok && SUCCEEDED(VariantChangeType(&c, &e, 0, scalar))) out.push_back(convert(c));
        else ok = false;
        VariantClear(&c);
        VariantClear(&e);
    }
    if (!ok) badShape(argument, expected);
    return out;
}

} // namespace

bool isUndefined(const VARIANT& arg) noexcept
{
    const VARIANT& v = dereferenced(arg);
    return v.vt == VT_EMPTY || v.vt == VT_NULL;
}

std::vector<std::wstring> stringsFrom(const VARIANT& v, const wchar_t* argument)
{
    return convertAll<std::wstring>(v, argument, L"a string or an array of strings", VT_BSTR,
                                    [](const VARIANT& c) { return text(c.bstrVal); });
}

std::vector<double> doublesFrom(const VARIANT& v, const wchar_t* argument)
{
    return convertAll<double>(v, argument, L"a number or an array of numbers", VT_R8,
                              [](const VARIANT& c) { return c.dblVal; });
}

void setStrings(VARIANT* out, const std::vector<std::wstring>& items)
{
    VariantClear(out);
    tarv::makeStringArray(items).detachTo(out);
}

void setDoubles(VARIANT* out, const std::vector<double>& items)
{
    VariantClear(out);
    tarv::makeDoubleArray(items).detachTo(out);
}

void setLongs(VARIANT* out, const std::vector<LONG>& items)
{
    VariantClear(out);
    tarv::makeLongArray(items).detachTo(out);
}

void setBools(VARIANT* out, const std::vector<bool>& items)
{
    VariantClear(out);
    tarv::makeBoolArray(items).detachTo(out);
}

void setMixed(VARIANT* out, const std::vector<Mixed>& items)
{
    std::vector<tarv::Variant> values;
    for (const Mixed& m : items)
        values.push_back(m.isText ? tarv::Variant::fromString(m.text) : tarv::Variant::fromDouble(m.number));
    VariantClear(out);
    tarv::makeVariantArray(std::move(values)).detachTo(out);
}

std::wstring text(BSTR b)
{
    return b ? std::wstring(b, SysStringLen(b)) : std::wstring();
}

BSTR allocText(const std::wstring& s)
{
    BSTR b = SysAllocStringLen(s.data(), static_cast<UINT>(s.size()));
    if (!b) throw std::bad_alloc();
    return b;
}

} // namespace samples::ideal
