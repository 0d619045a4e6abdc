// Components that lie, for the server's tests of faults while logging (a package whose results and
// callbacks break the rules) and of the exported list changing under the server's feet.
#include "kit/classes.h"
#include "ideal/component.h"
#include "kit/kit.h"

#include "com/bstr.h"
#include "com/variant.h"

#include <cstdio>
#include <memory>

namespace kit {

namespace ideal = samples::ideal;
namespace {

using tarv::ComPtr;

// A readable page right in front of one that faults on any access, for the whole process.
char* guardedPages()
{
    static char* const pages = [] {
        auto* p = static_cast<char*>(VirtualAlloc(nullptr, 8192, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD old;
        VirtualProtect(p + 4096, 4096, PAGE_NOACCESS, &old);
        return p;
    }();
    return pages;
}

LONG serverLocks()
{
    const ULONG n = CoAddRefServerProcess();
    CoReleaseServerProcess();
    return static_cast<LONG>(n - 1);
}

bool is(BSTR text, const wchar_t* lie) { return text && std::wstring(text) == lie; }

HRESULT resultLie(BSTR lie, VARIANT* value)
{
    VariantClear(value);
    if (is(lie, kLieNullObjectInArray)) {
        SAFEARRAY* a = SafeArrayCreateVector(VT_DISPATCH, 0, 2);
        auto phase = Object::create<ICapeIdentification>(L"Vapor");
        LONG first = 0;
        SafeArrayPutElement(a, &first, phase->ptr<ICapeIdentification>());
        value->vt = VT_ARRAY | VT_DISPATCH;
        value->parray = a;
    } else if (is(lie, kLieFloatsAsDoubles)) {
        SAFEARRAY* a = SafeArrayCreateVector(VT_R4, 0, 3);
        auto* f = static_cast<float*>(a->pvData);
        f[0] = 1.0f, f[1] = 2.0f, f[2] = 3.0f;
        value->vt = VT_ARRAY | VT_R8;
        value->parray = a;
    } else if (is(lie, kLieWideElements)) {
        tarv::Variant doubles = tarv::makeDoubleArray({1.0, 2.0, 3.0, 4.0});
        doubles.get().parray->cbElements = 2 * sizeof(double);
        doubles.get().parray->rgsabound[0].cElements = 2;
        doubles.detachTo(value);
    } else if (is(lie, kLieShortLengthPrefix)) {
        BSTR text = SysAllocString(L"temperature");
        reinterpret_cast<DWORD*>(text)[-1] = 2 * sizeof(wchar_t);   // says "te"
        value->vt = VT_BSTR;
        value->bstrVal = text;
    } else if (is(lie, kLieLocks)) {
        value->vt = VT_I4;
        value->lVal = serverLocks();
    } else if (is(lie, kLieLiveObjects)) {
        value->vt = VT_I4;
        value->lVal = Object::liveCount() + ideal::liveComponents();
    } else {
        value->vt = VT_BSTR;
        value->bstrVal = SysAllocString(lie ? lie : L"");
    }
    return S_OK;
}

HRESULT callbackLie(IDispatch* material, BSTR lie)
{
    ComPtr<ICapeThermoMaterial> m;
    if (!material || FAILED(material->QueryInterface(IID_ICapeThermoMaterial, m.putVoid()))) return E_UNEXPECTED;
    const tarv::Bstr property(L"fugacity"), phase(L"Vapor"), basis(L"");
    if (is(lie, kLieBoundsBeyondData)) {
        // A descriptor that claims 1000 doubles over data that ends after the first.
        SAFEARRAY* a = nullptr;
        SafeArrayAllocDescriptorEx(VT_R8, 1, &a);
        a->cbElements = sizeof(double);
        a->fFeatures |= FADF_STATIC;
        a->rgsabound[0] = {1000, 0};
        a->pvData = guardedPages() + 4096 - sizeof(double);
        *static_cast<double*>(a->pvData) = 0.5;
        VARIANT v;
        v.vt = VT_ARRAY | VT_R8;
        v.parray = a;
        HRESULT hr = m->SetSinglePhaseProp(property.get(), phase.get(), basis.get(), v);
        SafeArrayDestroyDescriptor(a);
        return hr;
    }
    if (is(lie, kLieNullObjectInArray)) {
        tarv::Variant objects = tarv::Variant::fromArray(SafeArrayCreateVector(VT_DISPATCH, 0, 1), VT_DISPATCH);
        return m->SetSinglePhaseProp(property.get(), phase.get(), basis.get(), objects.get());
    }
    if (is(lie, kLieUnknownType)) {
        VARIANT v;
        VariantInit(&v);
        v.vt = 0x7F;
        return m->SetSinglePhaseProp(property.get(), phase.get(), basis.get(), v);
    }
    if (is(lie, kLieObjectInNoAccessPage)) {
        IDispatch* source = reinterpret_cast<IDispatch*>(guardedPages() + 4096);
        return m->CopyFromMaterial(&source);
    }
    if (is(lie, kLieThrowingName)) {
        auto source = Object::create<ICapeIdentification>(L"Source");
        source->fault(&ICapeIdentification::get_ComponentName, Fault::ThrowText("name table corrupt"));
        IDispatch* d = source->ptr<ICapeIdentification>();
        return m->CopyFromMaterial(&d);
    }
    tarv::Variant values = tarv::makeDoubleArray({1.0});
    return m->SetSinglePhaseProp(property.get(), phase.get(), basis.get(), values.get());
}

// Moves every record of the store one place down and puts a new one in front, as another
// instance of the server saving its list would.
void prependRecord(const wchar_t* clsid, const char* name)
{
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\TARV", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr))
        return;
    DWORD count = 0, size = sizeof count;
    RegQueryValueExA(key, "NumPackages64", nullptr, nullptr, reinterpret_cast<BYTE*>(&count), &size);
    char from[32], to[32];
    for (DWORD i = count; i >= 1; --i) {
        std::snprintf(from, sizeof from, "Package64_%lu", static_cast<unsigned long>(i));
        std::snprintf(to, sizeof to, "Package64_%lu", static_cast<unsigned long>(i + 1));
        char data[2048];
        DWORD length = sizeof data, type = 0;
        if (RegQueryValueExA(key, from, nullptr, &type, reinterpret_cast<BYTE*>(data), &length) == ERROR_SUCCESS)
            RegSetValueExA(key, to, 0, type, reinterpret_cast<BYTE*>(data), length);
    }
    std::string record = tarv::toNarrow(clsid);
    record += std::string("\0" "1\0", 3) + name + '\0' + name + '\0' + "false" + '\0' + '\0';
    RegSetValueExA(key, "Package64_1", 0, REG_MULTI_SZ, reinterpret_cast<const BYTE*>(record.data()),
                   static_cast<DWORD>(record.size()));
    ++count;
    RegSetValueExA(key, "NumPackages64", 0, REG_DWORD, reinterpret_cast<BYTE*>(&count), sizeof count);
    RegCloseKey(key);
}

} // namespace

tarv::ComPtr<Object> makeLiarPackage()
{
    auto liar = Object::create<ICapeThermoPhases, ICapeThermoPropertyRoutine, ICapeThermoMaterialContext,
                               ICapeIdentification, ICapeUtilities>(L"Liar");
    auto material = std::make_shared<ComPtr<IDispatch>>();
    liar->on(&ICapeThermoMaterialContext::SetMaterial, [material](IDispatch* m) { *material = ComPtr<IDispatch>(m); })
        .on(&ICapeThermoMaterialContext::UnsetMaterial, [material] { material->reset(); })
        .on(&ICapeThermoPhases::GetPhaseInfo, [](BSTR lie, BSTR, VARIANT* value) { return resultLie(lie, value); })
        .on(&ICapeThermoPropertyRoutine::CalcSinglePhaseProp,
            [material](VARIANT, BSTR lie) { return callbackLie(material->get(), lie); });
    return liar;
}

tarv::ComPtr<Object> makeReloadingManager()
{
    auto manager = Object::create<ICapeThermoPropertyPackageManager, ICapeUtilities, ICapeIdentification, ECapeUser>(
        L"Reloading manager");
    manager->errorDescription(kReloadingManagerText);
    manager->on(&ICapeUtilities::Initialize, []() -> HRESULT {
        wchar_t clsid[64];
        StringFromGUID2(CLSID_IdealPackage, clsid, 64);
        prependRecord(clsid, "Late Arrival");
        // A manager of the server made now (in the server's own apartment) reloads its list.
        CLSID serverManager;
        if (SUCCEEDED(CLSIDFromProgID(L"TARV64.PropertyPackageManager64", &serverManager))) {
            IUnknown* made = nullptr;
            if (SUCCEEDED(CoCreateInstance(serverManager, nullptr, CLSCTX_LOCAL_SERVER, IID_IUnknown,
                                           reinterpret_cast<void**>(&made))))
                made->Release();
        }
        return static_cast<HRESULT>(0x8004050F);   // ECapeFailedInitialisation
    });
    return manager;
}

} // namespace kit
