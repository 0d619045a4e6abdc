// The registered TARVLib64 holds no CAPE-OPEN interface and leaves their registration alone.
#include "com/com_ptr.h"
#include "tarvlib.h"
#include "capeopen.h"
#include <gtest/gtest.h>

using tarv::ComPtr;

TEST(Registration, TarvLibHoldsNoCapeOpenInterfaceAndLeavesTheirRegistrationAlone)
{
    ComPtr<ITypeLib> tarvLib, capeOpen;
    ASSERT_EQ(LoadRegTypeLib(LIBID_TARVLib64, 1, 0, 0x0409, tarvLib.put()), S_OK);
    ASSERT_EQ(LoadRegTypeLib(LIBID_CAPEOPEN110, 1, 1, 0, capeOpen.put()), S_OK);
    for (UINT i = 0, n = tarvLib->GetTypeInfoCount(); i < n; ++i) {
        ComPtr<ITypeInfo> info, found;
        ASSERT_EQ(tarvLib->GetTypeInfo(i, info.put()), S_OK);
        TYPEATTR* attr = nullptr;
        info->GetTypeAttr(&attr);
        if (attr->typekind == TKIND_DISPATCH || attr->typekind == TKIND_INTERFACE) {
            EXPECT_NE(capeOpen->GetTypeInfoOfGuid(attr->guid, found.put()), S_OK) << i << " is a CAPE-OPEN type";
        }
        info->ReleaseTypeAttr(attr);
    }
    wchar_t libid[64], registered[64] = L"";
    StringFromGUID2(LIBID_CAPEOPEN110, libid, 64);
    DWORD size = sizeof registered;
    RegGetValueW(HKEY_CLASSES_ROOT, L"Interface\\{678C0995-7D66-11D2-A67D-00105A42887F}\\TypeLib", nullptr, RRF_RT_REG_SZ, nullptr,
                 registered, &size);
    EXPECT_STREQ(registered, libid) << "TypeLib of ICapeThermoSystem";
}
