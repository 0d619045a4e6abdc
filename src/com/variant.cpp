#include "variant.h"

#include <new>

namespace tarv {

Variant Variant::fromString(std::wstring_view s)
{
    Variant r;
    r.v_.bstrVal = SysAllocStringLen(s.data(), static_cast<UINT>(s.size()));
    if (!r.v_.bstrVal) throw std::bad_alloc();
    r.v_.vt = VT_BSTR;
    return r;
}

Variant Variant::fromArray(SAFEARRAY* sa, VARTYPE elementType) noexcept
{
    Variant r;
    r.v_.vt = static_cast<VARTYPE>(VT_ARRAY | elementType);
    r.v_.parray = sa;
    return r;
}

Variant Variant::fromDispatch(IDispatch* d) noexcept
{
    Variant r;
    r.v_.vt = VT_DISPATCH;
    r.v_.pdispVal = d;
    if (d) d->AddRef();
    return r;
}

SafeArray SafeArray::create(VARTYPE vt, LONG count, LONG lowerBound)
{
    SAFEARRAYBOUND bound{static_cast<ULONG>(count), lowerBound};
    SAFEARRAY* sa = SafeArrayCreate(vt, 1, &bound);
    if (!sa) throw std::bad_alloc();
    return attach(sa);
}

namespace {

// Fills a new array element by element; SafeArrayPutElement copies BSTRs, VARIANTs and
// interface pointers, so the caller's values stay the caller's.
template <class T, class Put>
Variant makeArray(VARTYPE vt, const std::vector<T>& items, LONG lowerBound, Put put)
{
    SafeArray sa = SafeArray::create(vt, static_cast<LONG>(items.size()), lowerBound);
    for (size_t i = 0; i < items.size(); ++i) {
        LONG index = lowerBound + static_cast<LONG>(i);
        put(sa.get(), &index, items[i]);
    }
    return Variant::fromArray(sa.detach(), vt);
}

template <class T, VARTYPE VT, class Get>
std::vector<T> readArray(const VARIANT& v, Get get)
{
    std::vector<T> out;
    if (v.vt != (VT_ARRAY | VT) || !v.parray || SafeArrayGetDim(v.parray) != 1) return out;
    LONG lo = 0, hi = -1;
    SafeArrayGetLBound(v.parray, 1, &lo);
    SafeArrayGetUBound(v.parray, 1, &hi);
    for (LONG i = lo; i <= hi; ++i) out.push_back(get(v.parray, &i));
    return out;
}

} // namespace

Variant makeStringArray(const std::vector<std::wstring>& items, LONG lowerBound)
{
    return makeArray(VT_BSTR, items, lowerBound, [](SAFEARRAY* sa, LONG* i, const std::wstring& s) {
        BSTR b = SysAllocStringLen(s.data(), static_cast<UINT>(s.size()));
        SafeArrayPutElement(sa, i, b);
        SysFreeString(b);
    });
}

Variant makeDoubleArray(const std::vector<double>& items, LONG lowerBound)
{
    return makeArray(VT_R8, items, lowerBound, [](SAFEARRAY* sa, LONG* i, double d) {
        SafeArrayPutElement(sa, i, &d);
    });
}

Variant makeLongArray(const std::vector<LONG>& items, LONG lowerBound)
{
    return makeArray(VT_I4, items, lowerBound, [](SAFEARRAY* sa, LONG* i, LONG l) {
        SafeArrayPutElement(sa, i, &l);
    });
}

Variant makeBoolArray(const std::vector<bool>& items, LONG lowerBound)
{
    return makeArray(VT_BOOL, items, lowerBound, [](SAFEARRAY* sa, LONG* i, bool b) {
        VARIANT_BOOL vb = b ? VARIANT_TRUE : VARIANT_FALSE;
        SafeArrayPutElement(sa, i, &vb);
    });
}

Variant makeVariantArray(std::vector<Variant> items, LONG lowerBound)
{
    return makeArray(VT_VARIANT, items, lowerBound, [](SAFEARRAY* sa, LONG* i, const Variant& v) {
        SafeArrayPutElement(sa, i, const_cast<VARIANT*>(&v.get()));
    });
}

std::vector<std::wstring> readStringArray(const VARIANT& v)
{
    return readArray<std::wstring, VT_BSTR>(v, [](SAFEARRAY* sa, LONG* i) {
        BSTR b = nullptr;
        SafeArrayGetElement(sa, i, &b);
        std::wstring s = b ? std::wstring(b, SysStringLen(b)) : std::wstring();
        SysFreeString(b);
        return s;
    });
}

std::vector<double> readDoubleArray(const VARIANT& v)
{
    return readArray<double, VT_R8>(v, [](SAFEARRAY* sa, LONG* i) {
        double d = 0;
        SafeArrayGetElement(sa, i, &d);
        return d;
    });
}

std::vector<LONG> readLongArray(const VARIANT& v)
{
    return readArray<LONG, VT_I4>(v, [](SAFEARRAY* sa, LONG* i) {
        LONG l = 0;
        SafeArrayGetElement(sa, i, &l);
        return l;
    });
}

} // namespace tarv
