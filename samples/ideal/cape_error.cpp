#include "ideal/cape_error.h"

#include <cwchar>

namespace samples::ideal {

std::wstring capeErrorName(HRESULT code)
{
    static const wchar_t* const names[] = {
        L"ECapeUnknown", L"ECapeData", L"ECapeLicenceError", L"ECapeBadCOParameter", L"ECapeBadArgument",
        L"ECapeInvalidArgument", L"ECapeOutOfBounds", L"ECapeImplementation", L"ECapeNoImpl",
        L"ECapeLimitedImpl", L"ECapeComputation", L"ECapeOutOfResources", L"ECapeNoMemory", L"ECapeTimeOut",
        L"ECapeFailedInitialisation", L"ECapeSolvingError", L"ECapeBadInvOrder", L"ECapeInvalidOperation",
        L"ECapePersistence", L"ECapeIllegalAccess", L"ECapePersistenceNotFound", L"ECapePersistenceSystemError",
        L"ECapePersistenceOverflow", L"ECapeOutsideSolverScope", L"ECapeHessianInfoNotAvailable",
        L"ECapeThrmPropertyNotAvailable"};
    const unsigned long u = static_cast<unsigned long>(code);
    if (u < 0x80040501UL || u > 0x8004051AUL) return {};
    return names[u - 0x80040501UL];
}

std::wstring numberText(double value)
{
    wchar_t buf[40];
    std::swprintf(buf, 40, L"%.6g", value);
    return buf;
}

} // namespace samples::ideal
