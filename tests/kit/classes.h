#pragma once
// The classes of tarvkit.dll, the kit as a registered in-process server for end-to-end tests.
// A class is one row of kit::classTable(); adding a sample component is adding a row.
#include <windows.h>
#include <ole2.h>

#include <vector>

namespace kit {

// TARVKit.Object: a generic kit object exposing ICapeIdentification, ICapeUtilities, ECapeUser and
// ECapeRoot, named "TARVKit.Object"; its error interfaces answer empty texts.
// {965E01B0-3441-421A-83D0-09B4708D0C52}
inline constexpr CLSID CLSID_KitObject = {0x965E01B0, 0x3441, 0x421A, {0x83, 0xD0, 0x09, 0xB4, 0x70, 0x8D, 0x0C, 0x52}};
inline constexpr wchar_t kKitObjectProgId[] = L"TARVKit.Object";

struct ClassRow {
    CLSID clsid;
    const wchar_t* progId;
    const wchar_t* friendlyName;
    const wchar_t* threadingModel;
    std::vector<GUID> categories;   // written as Implemented Categories
    // Creates a new instance and queries it for `iid`.
    HRESULT (*create)(REFIID iid, void** out);
};

const std::vector<ClassRow>& classTable();

} // namespace kit
