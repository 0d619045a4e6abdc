// tarvkit.dll as the test prefix's registry knows it: created by CLSID and by ProgID, in-process,
// and called through its vtables and by name.
#include "com/bstr.h"
#include "com/com_ptr.h"
#include "kit/classes.h"

#include "capeopen.h"

#include <gtest/gtest.h>

using tarv::Bstr;
using tarv::ComPtr;

namespace {

// The module whose code an interface pointer's vtable lies in.
HMODULE moduleOf(IUnknown* p)
{
    HMODULE m = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       *reinterpret_cast<LPCWSTR*>(p), &m);
    return m;
}

} // namespace

TEST(Registration, KitClassIsCreatedInProcessByClsidAndByProgId)
{
    CLSID fromProgId{};
    ASSERT_EQ(CLSIDFromProgID(kit::kKitObjectProgId, &fromProgId), S_OK);
    EXPECT_EQ(fromProgId, kit::CLSID_KitObject);

    for (const CLSID& clsid : {kit::CLSID_KitObject, fromProgId}) {
        ComPtr<ICapeIdentification> id;
        ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_ICapeIdentification, id.putVoid()), S_OK);

        // In this apartment and in the registered DLL: the pointer is the component's own.
        HMODULE dll = moduleOf(id.get());
        ASSERT_NE(dll, nullptr);
        EXPECT_EQ(dll, GetModuleHandleW(L"tarvkit.dll"));

        Bstr name;
        ASSERT_EQ(id->get_ComponentName(name.put()), S_OK);
        EXPECT_EQ(name.wide(), L"TARVKit.Object");

        // Its error interfaces answer empty texts.
        auto user = id.query<ECapeUser>();
        ASSERT_TRUE(user);
        Bstr description;
        ASSERT_EQ(user->get_description(description.put()), S_OK);
        EXPECT_NE(description.get(), nullptr);
        EXPECT_TRUE(description.empty());
        EXPECT_TRUE(id.query<ECapeRoot>());
        EXPECT_TRUE(id.query<ICapeUtilities>());
        EXPECT_FALSE(id.query<ICapeUnit>());
    }
}
