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

std::wstring guidText(REFGUID g)
{
    wchar_t buf[64];
    StringFromGUID2(g, buf, 64);
    return buf;
}

std::wstring registryText(const std::wstring& key, const wchar_t* value)
{
    wchar_t buf[MAX_PATH];
    DWORD size = sizeof buf;
    if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), value, RRF_RT_REG_SZ, nullptr, buf, &size) != ERROR_SUCCESS)
        return L"<missing>";
    return buf;
}

// The module whose code an interface pointer's vtable lies in.
HMODULE moduleOf(IUnknown* p)
{
    HMODULE m = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       *reinterpret_cast<LPCWSTR*>(p), &m);
    return m;
}

std::wstring moduleFile(HMODULE m)
{
    wchar_t path[MAX_PATH];
    DWORD n = GetModuleFileNameW(m, path, MAX_PATH);
    return std::wstring(path, n);
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

        // By name, with the type library from the registry.
        DISPID dispid = DISPID_UNKNOWN;
        LPOLESTR member = const_cast<LPOLESTR>(L"ComponentName");
        ASSERT_EQ(id->GetIDsOfNames(IID_NULL, &member, 1, LOCALE_USER_DEFAULT, &dispid), S_OK);
        DISPPARAMS none{};
        VARIANT result;
        VariantInit(&result);
        ASSERT_EQ(id->Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr), S_OK);
        ASSERT_EQ(result.vt, VT_BSTR);
        EXPECT_EQ(std::wstring(result.bstrVal), L"TARVKit.Object");
        VariantClear(&result);

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

TEST(Registration, KitServerCountsItsObjectsForUnloading)
{
    ComPtr<IUnknown> obj;
    ASSERT_EQ(CoCreateInstance(kit::CLSID_KitObject, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, obj.putVoid()), S_OK);
    auto canUnload = reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(
        reinterpret_cast<void*>(GetProcAddress(moduleOf(obj.get()), "DllCanUnloadNow")));
    ASSERT_NE(canUnload, nullptr);
    EXPECT_EQ(canUnload(), S_FALSE);
    obj = nullptr;
    EXPECT_EQ(canUnload(), S_OK);
}

TEST(Registration, KitServerWroteItsClassKeys)
{
    ComPtr<IUnknown> obj;
    ASSERT_EQ(CoCreateInstance(kit::CLSID_KitObject, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, obj.putVoid()), S_OK);
    const std::wstring clsid = guidText(kit::CLSID_KitObject);
    const std::wstring key = L"CLSID\\" + clsid;
    const struct {
        std::wstring key;
        const wchar_t* value;
        std::wstring expected;
    } rows[] = {
        {key + L"\\InprocServer32", nullptr, moduleFile(moduleOf(obj.get()))},
        {key + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
        {key + L"\\ProgID", nullptr, kit::kKitObjectProgId},
        {std::wstring(kit::kKitObjectProgId) + L"\\CLSID", nullptr, clsid},
    };
    for (const auto& r : rows) {
        std::wstring actual = registryText(r.key, r.value);
        EXPECT_EQ(CompareStringOrdinal(actual.c_str(), -1, r.expected.c_str(), -1, TRUE), CSTR_EQUAL)
            << tarv::toNarrow(r.key) << " " << (r.value ? tarv::toNarrow(r.value) : "(default)") << ": "
            << tarv::toNarrow(actual) << ", expected " << tarv::toNarrow(r.expected);
    }
}
