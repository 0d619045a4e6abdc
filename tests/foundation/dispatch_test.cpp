// The project's own type library against CAPE-OPEN's in the test prefix's registry.
#include "com/bstr.h"
#include "com/com_ptr.h"
#include "capeopen.h"
#include "tarvlib.h"

#include <gtest/gtest.h>

using tarv::ComPtr;

// Registering TARVLib64 points the Interface keys of its dual interfaces at it: it must hold none
// of CAPE-OPEN's, whose keys belong to the published library.
TEST(Dispatch, TarvLibHoldsNoCapeOpenInterfaceAndLeavesTheirRegistrationAlone)
{
    ComPtr<ITypeLib> tarvLib, capeOpen;
    ASSERT_EQ(LoadRegTypeLib(LIBID_TARVLib64, 1, 0, 0x0409, tarvLib.put()), S_OK);
    ASSERT_EQ(LoadRegTypeLib(LIBID_CAPEOPEN110, 1, 1, 0, capeOpen.put()), S_OK);
    for (UINT i = 0, n = tarvLib->GetTypeInfoCount(); i < n; ++i) {
        ComPtr<ITypeInfo> info, found;
        ASSERT_EQ(tarvLib->GetTypeInfo(i, info.put()), S_OK);
        TYPEATTR* attr = nullptr;
        info->GetTypeAttr(&attr);
        GUID guid = attr->guid;
        TYPEKIND kind = attr->typekind;
        info->ReleaseTypeAttr(attr);
        if (kind != TKIND_DISPATCH && kind != TKIND_INTERFACE) continue;
        BSTR name = nullptr;
        info->GetDocumentation(MEMBERID_NIL, &name, nullptr, nullptr, nullptr);
        EXPECT_NE(capeOpen->GetTypeInfoOfGuid(guid, found.put()), S_OK) << tarv::toNarrow(name) << " is a CAPE-OPEN type";
        SysFreeString(name);
    }
    wchar_t libid[64];
    StringFromGUID2(LIBID_CAPEOPEN110, libid, 64);
    wchar_t registered[64] = L"";
    DWORD size = sizeof registered;
    RegGetValueW(HKEY_CLASSES_ROOT, L"Interface\\{678C0995-7D66-11D2-A67D-00105A42887F}\\TypeLib", nullptr,
                 RRF_RT_REG_SZ, nullptr, registered, &size);
    EXPECT_STREQ(registered, libid) << "TypeLib of ICapeThermoSystem";
}
