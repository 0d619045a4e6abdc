#pragma once
// Owning VARIANT (held by containment) and SAFEARRAY, with typed element access.
#include <windows.h>
#include <ole2.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarv {

class Variant {
public:
    Variant() noexcept { VariantInit(&v_); }
    ~Variant() { VariantClear(&v_); }
    Variant(const Variant& o) { VariantInit(&v_); VariantCopy(&v_, const_cast<VARIANT*>(&o.v_)); }
    Variant(Variant&& o) noexcept : v_(o.v_) { VariantInit(&o.v_); }
    Variant& operator=(Variant o) noexcept { std::swap(v_, o.v_); return *this; }

    static Variant fromDouble(double d) { Variant r; r.v_.vt = VT_R8; r.v_.dblVal = d; return r; }
    static Variant fromLong(LONG l) { Variant r; r.v_.vt = VT_I4; r.v_.lVal = l; return r; }
    static Variant fromBool(bool b) { Variant r; r.v_.vt = VT_BOOL; r.v_.boolVal = b ? VARIANT_TRUE : VARIANT_FALSE; return r; }
    static Variant fromString(std::wstring_view s);
    // Takes over an array (VT_ARRAY | element type).
    static Variant fromArray(SAFEARRAY* sa, VARTYPE elementType) noexcept;
    // Shares an interface pointer (adds a reference).
    static Variant fromDispatch(IDispatch* d) noexcept;
    // Takes over the contents of a VARIANT, which is left VT_EMPTY.
    static Variant attach(VARIANT& v) noexcept { Variant r; r.v_ = v; VariantInit(&v); return r; }

    const VARIANT& get() const noexcept { return v_; }
    VARIANT* ptr() noexcept { return &v_; }
    // Out-parameter: clears what is held, then hands out the VARIANT.
    VARIANT* put() noexcept { VariantClear(&v_); return &v_; }
    // Moves the contents into a caller's VARIANT, which must not hold anything that needs freeing.
    void detachTo(VARIANT* out) noexcept { *out = v_; VariantInit(&v_); }
    VARTYPE vt() const noexcept { return v_.vt; }

private:
    VARIANT v_;
};

class SafeArray {
public:
    SafeArray() noexcept = default;
    static SafeArray attach(SAFEARRAY* sa) noexcept { SafeArray r; r.sa_ = sa; return r; }
    static SafeArray create(VARTYPE vt, LONG count, LONG lowerBound = 0);
    SafeArray(SafeArray&& o) noexcept : sa_(std::exchange(o.sa_, nullptr)) {}
    SafeArray& operator=(SafeArray&& o) noexcept { std::swap(sa_, o.sa_); return *this; }
    SafeArray(const SafeArray&) = delete;
    SafeArray& operator=(const SafeArray&) = delete;
    ~SafeArray() { if (sa_) SafeArrayDestroy(sa_); }

    SAFEARRAY* get() const noexcept { return sa_; }
    [[nodiscard]] SAFEARRAY* detach() noexcept { return std::exchange(sa_, nullptr); }

private:
    SAFEARRAY* sa_ = nullptr;
};

// One-dimensional arrays in the shapes CAPE-OPEN uses, ready to hand over in a VARIANT.
Variant makeStringArray(const std::vector<std::wstring>& items, LONG lowerBound = 0);
Variant makeDoubleArray(const std::vector<double>& items, LONG lowerBound = 0);
Variant makeLongArray(const std::vector<LONG>& items, LONG lowerBound = 0);
Variant makeBoolArray(const std::vector<bool>& items, LONG lowerBound = 0);
Variant makeVariantArray(std::vector<Variant> items, LONG lowerBound = 0);

// Reads a one-dimensional array of the given element type; empty when the VARIANT holds something else.
std::vector<std::wstring> readStringArray(const VARIANT& v);
std::vector<double> readDoubleArray(const VARIANT& v);
std::vector<LONG> readLongArray(const VARIANT& v);

} // namespace tarv
