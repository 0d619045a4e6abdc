#pragma once
// A CAPE-OPEN failure inside the kit's components: the status the method returns and the text
// its ECapeUser interface describes it with.
#include "capeopen.h"

#include <windows.h>

#include <string>

namespace samples::ideal {

inline constexpr HRESULT kCapeUnknown = static_cast<HRESULT>(0x80040501);
inline constexpr HRESULT kCapeInvalidArgument = static_cast<HRESULT>(0x80040506);
inline constexpr HRESULT kCapeOutOfBounds = static_cast<HRESULT>(0x80040507);
inline constexpr HRESULT kCapeNoImpl = static_cast<HRESULT>(0x80040509);
inline constexpr HRESULT kCapeLimitedImpl = static_cast<HRESULT>(0x8004050A);
inline constexpr HRESULT kCapeComputation = static_cast<HRESULT>(0x8004050B);
inline constexpr HRESULT kCapeNoMemory = static_cast<HRESULT>(0x8004050D);
inline constexpr HRESULT kCapeFailedInitialisation = static_cast<HRESULT>(0x8004050F);
inline constexpr HRESULT kCapeSolvingError = static_cast<HRESULT>(0x80040510);
inline constexpr HRESULT kCapeBadInvOrder = static_cast<HRESULT>(0x80040511);
inline constexpr HRESULT kCapeThrmPropertyNotAvailable = static_cast<HRESULT>(0x8004051A);

struct CapeError {
    HRESULT code;
    std::wstring text;
};

[[noreturn]] inline void raise(HRESULT code, std::wstring text)
{
    throw CapeError{code, std::move(text)};
}

// The name of the CAPE-OPEN error a status stands for ("ECapeInvalidArgument"), or an empty
// string for a status outside the CAPE-OPEN range.
std::wstring capeErrorName(HRESULT code);

// A number as the kit's texts show it: six significant digits.
std::wstring numberText(double value);

} // namespace samples::ideal
