// The kit's containers and stand-alone packages as the test prefix's registry knows them:
// registration entries, package lists and resolution, and the documented misbehaviour of the
// failure variants.
#include "com/bstr.h"
#include "com/com_ptr.h"
#include "com/variant.h"
#include "kit/classes.h"
#include "kit/ideal/cape_error.h"
#include "kit/ideal/values.h"

#include "capeopen.h"

#include <gtest/gtest.h>

using kit::ideal::stringsFrom;
using tarv::Bstr;
using tarv::ComPtr;
using tarv::Variant;

namespace {

const std::vector<std::wstring> kPackages{L"Ideal Alkanes", L"Ideal Aromatics"};

template <class I>
ComPtr<I> create(const CLSID& clsid)
{
    ComPtr<I> p;
    EXPECT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(I), p.putVoid()), S_OK);
    return p;
}

std::wstring guidText(REFGUID g)
{
    wchar_t buf[64];
    StringFromGUID2(g, buf, 64);
    return buf;
}

bool keyExists(const std::wstring& key)
{
    HKEY h;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ, &h) != ERROR_SUCCESS) return false;
    RegCloseKey(h);
    return true;
}

std::wstring registryText(const std::wstring& key, const wchar_t* value)
{
    wchar_t buf[512];
    DWORD size = sizeof buf;
    if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), value, RRF_RT_REG_SZ, nullptr, buf, &size) != ERROR_SUCCESS)
        return L"<missing>";
    return buf;
}

std::wstring description(IUnknown* object)
{
    auto user = ComPtr<IUnknown>(object).query<ECapeUser>();
    Bstr d;
    if (user) user->get_description(d.put());
    return d.wide();
}

std::wstring componentName(IUnknown* object)
{
    auto id = ComPtr<IUnknown>(object).query<ICapeIdentification>();
    Bstr n;
    if (id) id->get_ComponentName(n.put());
    return n.wide();
}

} // namespace

TEST(KitContainers, RegisteredWithCapeOpenCategoriesAndDescriptions)
{
    const GUID component = CATID_CapeOpenComponent;
    struct Expected {
        CLSID clsid;
        const wchar_t* progId;
        GUID category;
        const wchar_t* capeVersion;
    };
    const Expected rows[] = {
        {kit::CLSID_PackageManager, kit::kPackageManagerProgId, CATID_CapePropertyPackageManager11, L"1.1"},
        {kit::CLSID_IdealPackage, kit::kIdealPackageProgId, CATID_CapePropertyPackage11, L"1.1"},
        {kit::CLSID_ThermoSystem10, kit::kThermoSystem10ProgId, CATID_CapeThermoSystem, L"1.0"},
        {kit::CLSID_Package10, kit::kPackage10ProgId, CATID_CapeThermoPropertyPackage, L"1.0"},
        {kit::CLSID_ManagerFailingInit, kit::kManagerFailingInitProgId, CATID_CapePropertyPackageManager11, L"1.1"},
        {kit::CLSID_ManagerWithoutUtilities, kit::kManagerWithoutUtilitiesProgId, CATID_CapePropertyPackageManager11, L"1.1"},
        {kit::CLSID_ManagerReturningNull, kit::kManagerReturningNullProgId, CATID_CapePropertyPackageManager11, L"1.1"},
        {kit::CLSID_PackageWithoutUtilities, kit::kPackageWithoutUtilitiesProgId, CATID_CapePropertyPackage11, L"1.1"},
    };
    for (const Expected& e : rows) {
        const std::wstring key = L"CLSID\\" + guidText(e.clsid);
        CLSID fromProgId{};
        EXPECT_EQ(CLSIDFromProgID(e.progId, &fromProgId), S_OK) << e.progId;
        EXPECT_EQ(fromProgId, e.clsid) << e.progId;
        EXPECT_EQ(registryText(key + L"\\InprocServer32", L"ThreadingModel"), L"Apartment") << e.progId;
        EXPECT_TRUE(keyExists(key + L"\\Implemented Categories\\" + guidText(component))) << e.progId;
        EXPECT_TRUE(keyExists(key + L"\\Implemented Categories\\" + guidText(e.category))) << e.progId;
        EXPECT_EQ(registryText(key + L"\\CapeDescription", L"CapeVersion"), e.capeVersion) << e.progId;
        EXPECT_NE(registryText(key + L"\\CapeDescription", L"Name"), L"<missing>") << e.progId;
        EXPECT_NE(registryText(key + L"\\CapeDescription", L"Description"), L"<missing>") << e.progId;
    }
}

TEST(KitContainers, ManagerListsAndHandsOutNewPackagesByName)
{
    auto manager = create<ICapeThermoPropertyPackageManager>(kit::CLSID_PackageManager);
    ASSERT_EQ(manager.query<ICapeUtilities>()->Initialize(), S_OK);
    Variant names;
    ASSERT_EQ(manager->GetPropertyPackageList(names.ptr()), S_OK);
    EXPECT_EQ(stringsFrom(names.get(), L""), kPackages);

    ComPtr<IDispatch> first, second;
    ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"ideal aromatics").get(), first.put()), S_OK);   // any case
    ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Ideal Aromatics").get(), second.put()), S_OK);
    ASSERT_TRUE(first && second);
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ(componentName(first.get()), L"Ideal Aromatics");
    Variant ids, f, n, tb, mw, cas;
    ASSERT_EQ(first.query<ICapeThermoCompounds>()->GetCompoundList(ids.ptr(), f.ptr(), n.ptr(), tb.ptr(), mw.ptr(), cas.ptr()),
              S_OK);
    EXPECT_EQ(stringsFrom(ids.get(), L""), (std::vector<std::wstring>{L"Benzene", L"Toluene", L"o-Xylene"}));

    // The package outlives the manager's Terminate and release, as a resolving server needs.
    ASSERT_EQ(manager.query<ICapeUtilities>()->Terminate(), S_OK);
    manager = nullptr;
    LONG count = 0;
    EXPECT_EQ(first.query<ICapeThermoCompounds>()->GetNumCompounds(&count), S_OK);
    EXPECT_EQ(count, 3);
}

TEST(KitContainers, UnknownNameFailsWithADescriptionOfTheChoice)
{
    auto manager = create<ICapeThermoPropertyPackageManager>(kit::CLSID_PackageManager);
    ComPtr<IDispatch> package;
    EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"Steam Tables").get(), package.put()), kit::ideal::kCapeInvalidArgument);
    EXPECT_FALSE(package);
    EXPECT_EQ(description(manager.get()),
              L"There is no property package named \"Steam Tables\"; available: \"Ideal Alkanes\", \"Ideal Aromatics\"");
    auto user = manager.query<ECapeUser>();
    Bstr iface, operation, name;
    user->get_interfaceName(iface.put());
    user->get_operation(operation.put());
    manager.query<ECapeRoot>()->get_name(name.put());
    EXPECT_EQ(iface.wide(), L"ICapeThermoPropertyPackageManager");
    EXPECT_EQ(operation.wide(), L"GetPropertyPackage");
    EXPECT_EQ(name.wide(), L"ECapeInvalidArgument");

    // The 1.0 thermo system: same list, 1.0 packages, same refusal.
    auto system = create<ICapeThermoSystem>(kit::CLSID_ThermoSystem10);
    Variant names;
    ASSERT_EQ(system->GetPropertyPackages(names.ptr()), S_OK);
    EXPECT_EQ(stringsFrom(names.get(), L""), kPackages);
    ComPtr<IDispatch> p10;
    ASSERT_EQ(system->ResolvePropertyPackage(Bstr(L"Ideal Alkanes").get(), p10.put()), S_OK);
    EXPECT_TRUE(p10.query<ICapeThermoPropertyPackage>());
    EXPECT_FALSE(p10.query<ICapeThermoPropertyRoutine>());
    EXPECT_EQ(system->ResolvePropertyPackage(Bstr(L"").get(), p10.put()), kit::ideal::kCapeInvalidArgument);
}

TEST(KitContainers, MisbehavingVariantsFailAsDocumented)
{
    // Initialize fails with a CAPE-OPEN status and a description.
    auto failing = create<ICapeThermoPropertyPackageManager>(kit::CLSID_ManagerFailingInit);
    EXPECT_EQ(failing.query<ICapeUtilities>()->Initialize(), kit::ideal::kCapeFailedInitialisation);
    EXPECT_EQ(description(failing.get()), kit::kFailingInitText);

    // No ICapeUtilities, yet a working manager.
    auto bare = create<ICapeThermoPropertyPackageManager>(kit::CLSID_ManagerWithoutUtilities);
    EXPECT_FALSE(bare.query<ICapeUtilities>());
    ComPtr<IDispatch> package;
    EXPECT_EQ(bare->GetPropertyPackage(Bstr(L"Ideal Alkanes").get(), package.put()), S_OK);
    EXPECT_TRUE(package);

    // Success with a null package.
    auto null = create<ICapeThermoPropertyPackageManager>(kit::CLSID_ManagerReturningNull);
    package = nullptr;
    EXPECT_EQ(null->GetPropertyPackage(Bstr(L"Ideal Alkanes").get(), package.put()), S_OK);
    EXPECT_FALSE(package);

    // A stand-alone package without ICapeUtilities that still calculates; the normal one has it.
    auto lean = create<IDispatch>(kit::CLSID_PackageWithoutUtilities);
    EXPECT_FALSE(lean.query<ICapeUtilities>());
    LONG count = 0;
    EXPECT_EQ(lean.query<ICapeThermoCompounds>()->GetNumCompounds(&count), S_OK);
    EXPECT_EQ(count, 3);
    auto full = create<IDispatch>(kit::CLSID_IdealPackage);
    EXPECT_TRUE(full.query<ICapeUtilities>());
    EXPECT_EQ(componentName(full.get()), L"Ideal Alkanes");
}
