#pragma once
// CAPE-OPEN argument values: reading strings and numbers from the VARIANT shapes callers use
// (scalars, typed arrays, arrays of VARIANT, by reference), writing results into [in, out]
// VARIANTs. A value of the wrong shape raises ECapeInvalidArgument naming the argument.
#include <windows.h>
#include <ole2.h>

#include <string>
#include <vector>

namespace samples::ideal {

// VT_EMPTY or VT_NULL: CAPE-OPEN's "undefined", e.g. all compounds.
bool isUndefined(const VARIANT& v) noexcept;

std::vector<std::wstring> stringsFrom(const VARIANT& v, const wchar_t* argument);
std::vector<double> doublesFrom(const VARIANT& v, const wchar_t* argument);

// Clear `out`, then store a one-dimensional array (element types BSTR, R8, I4, VARIANT).
void setStrings(VARIANT* out, const std::vector<std::wstring>& items);
void setDoubles(VARIANT* out, const std::vector<double>& items);
void setLongs(VARIANT* out, const std::vector<LONG>& items);
void setBools(VARIANT* out, const std::vector<bool>& items);
// Array of VARIANT holding numbers (VT_R8) and texts (VT_BSTR).
struct Mixed {
    bool isText;
    double number;
    std::wstring text;
};
void setMixed(VARIANT* out, const std::vector<Mixed>& items);

// A BSTR argument as text (null is empty).
std::wstring text(BSTR b);
// A BSTR result for an out-argument.
BSTR allocText(const std::wstring& s);

} // namespace samples::ideal
