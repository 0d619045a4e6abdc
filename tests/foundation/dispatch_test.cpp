// Calls by name: the project's type libraries, loaded from the test prefix's registry, drive a kit
// object through IDispatch into the same methods that a vtable call reaches.
#include "com/bstr.h"
#include "com/com_ptr.h"
#include "com/variant.h"
#include "kit/kit.h"
#include "tarvlib.h"

#include <gtest/gtest.h>

#include <algorithm>

using tarv::Bstr;
using tarv::ComPtr;
using tarv::Variant;

namespace {

struct Invoked {
    HRESULT hr;
    Variant result;
    EXCEPINFO excep{};
};

// Looks up `name` and invokes it with the arguments in the order of the method's declaration.
Invoked invokeByName(IDispatch* d, const wchar_t* name, WORD flags, std::vector<VARIANT> args)
{
    Invoked r{};
    DISPID id = DISPID_UNKNOWN;
    LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
    r.hr = d->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(r.hr)) return r;
    std::reverse(args.begin(), args.end());   // DISPPARAMS holds the last argument first
    DISPID putId = DISPID_PROPERTYPUT;
    DISPPARAMS params{args.data(), nullptr, static_cast<UINT>(args.size()), 0};
    if (flags & DISPATCH_PROPERTYPUT) {
        params.rgdispidNamedArgs = &putId;
        params.cNamedArgs = 1;
    }
    UINT argErr = 0;
    r.hr = d->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, r.result.put(), &r.excep, &argErr);
    SysFreeString(r.excep.bstrSource);
    SysFreeString(r.excep.bstrDescription);
    SysFreeString(r.excep.bstrHelpFile);
    return r;
}

template <class T>
VARIANT byRef(VARTYPE vt, T* p)
{
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_BYREF | vt;
    v.byref = p;
    return v;
}

} // namespace

TEST(Dispatch, PropertiesByNameRunTheSameMethodsAsVtableCalls)
{
    auto obj = kit::Object::create<ICapeIdentification>(L"Reactor 7");
    ICapeIdentification* id = obj->ptr<ICapeIdentification>();
    Invoked get = invokeByName(id, L"ComponentName", DISPATCH_PROPERTYGET, {});
    ASSERT_EQ(get.hr, S_OK);
    ASSERT_EQ(get.result.vt(), VT_BSTR);
    EXPECT_EQ(std::wstring(get.result.get().bstrVal), L"Reactor 7");

    Variant value = Variant::fromString(L"Set by name");
    ASSERT_EQ(invokeByName(id, L"ComponentName", DISPATCH_PROPERTYPUT, {value.get()}).hr, S_OK);
    EXPECT_EQ(obj->name(), L"Set by name");
    EXPECT_EQ(obj->calls(), (kit::Calls{"ICapeIdentification::get_ComponentName", "ICapeIdentification::put_ComponentName"}));
}

TEST(Dispatch, InOutArgumentsByNameReachTheMethodAndComeBack)
{
    auto obj = kit::Object::create<ICapeThermoMaterial>();
    std::vector<std::wstring> seen;
    obj->on(&ICapeThermoMaterial::GetOverallProp, [&](BSTR property, BSTR basis, VARIANT* results) {
           seen.push_back(Bstr(property).wide() + L"/" + Bstr(basis).wide());
           VariantClear(results);
           tarv::makeDoubleArray({350.0, 1.5}).detachTo(results);
           return S_OK;
       })
        .on(&ICapeThermoMaterial::GetOverallTPFraction, [](double* t, double* p, VARIANT* composition) {
            *t += 1.0;   // in/out: the caller's value arrives and the new one goes back
            *p *= 2.0;
            VariantClear(composition);
            tarv::makeDoubleArray({0.25, 0.75}).detachTo(composition);
        });
    ICapeThermoMaterial* material = obj->ptr<ICapeThermoMaterial>();
    Variant property = Variant::fromString(L"temperature"), basis = Variant::fromString(L"mole");

    Variant byNameResults, directResults;
    Invoked r = invokeByName(material, L"GetOverallProp", DISPATCH_METHOD,
                             {property.get(), basis.get(), byRef(VT_VARIANT, byNameResults.ptr())});
    ASSERT_EQ(r.hr, S_OK);
    ASSERT_EQ(material->GetOverallProp(property.get().bstrVal, basis.get().bstrVal, directResults.ptr()), S_OK);
    EXPECT_EQ(seen, (std::vector<std::wstring>{L"temperature/mole", L"temperature/mole"}));
    EXPECT_EQ(tarv::readDoubleArray(byNameResults.get()), (std::vector<double>{350.0, 1.5}));
    EXPECT_EQ(tarv::readDoubleArray(byNameResults.get()), tarv::readDoubleArray(directResults.get()));

    double t = 300.0, p = 1e5;
    Variant composition;
    r = invokeByName(material, L"GetOverallTPFraction", DISPATCH_METHOD,
                     {byRef(VT_R8, &t), byRef(VT_R8, &p), byRef(VT_VARIANT, composition.ptr())});
    ASSERT_EQ(r.hr, S_OK);
    EXPECT_EQ(t, 301.0);
    EXPECT_EQ(p, 2e5);
    EXPECT_EQ(tarv::readDoubleArray(composition.get()), (std::vector<double>{0.25, 0.75}));
    EXPECT_EQ(obj->calls(), (kit::Calls{"ICapeThermoMaterial::GetOverallProp", "ICapeThermoMaterial::GetOverallProp",
                                        "ICapeThermoMaterial::GetOverallTPFraction"}));
}

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
