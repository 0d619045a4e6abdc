// Exporting packages end to end: this test is the simulator, TARV64.exe is started by COM in its
// own process, and the real packages are test components loaded there.
#include "host/export_fixture.h"

using namespace tarv;
using testsupport::ExportTest;
using testsupport::kCapeUnknown;
using testsupport::kKitObject;

TEST_F(ExportTest, EachManagerListsItsOwnGenerationOrNothing)
{
    {
        auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
        Variant names;
        ASSERT_EQ(manager->GetPropertyPackageList(names.put()), S_OK);
        EXPECT_EQ(names.vt(), VT_EMPTY);
    }
    // That was the server's last object: under Wine its class objects stay registered while it
    // ends, so the next activation waits for it to be gone.
    ASSERT_TRUE(waitForServerExit());
    addRecord(kKitObject, PropertyPackageManager11, L"Pkg", L"Mgr/Pkg");
    addRecord(kKitObject, PropertyPackage11, L"Alone", L"Alone");
    addRecord(kKitObject, ThermoSystem10, L"P", L"Sys/P");
    addRecord(kKitObject, PropertyPackage10, L"P10", L"P10");
    addRecord(kKitObject, ReactionPackageManager10, L"R", L"Rxn/R");
    addRecord(kKitObject, ReactionPackage10, L"R10", L"R10");
    Variant names;
    auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
    ASSERT_EQ(manager->GetPropertyPackageList(names.put()), S_OK);
    EXPECT_EQ(readStringArray(names.get()), (std::vector<std::wstring>{L"Mgr/Pkg", L"Alone"}));
    auto system = create<ICapeThermoSystem>(CLSID_ThermoSystem64);
    ASSERT_EQ(system->GetPropertyPackages(names.put()), S_OK);
    EXPECT_EQ(readStringArray(names.get()), (std::vector<std::wstring>{L"Sys/P", L"P10"}));
    auto reactions = create<ICapeReactionsPackageManager>(CLSID_ReactionPackageManager64);
    ASSERT_EQ(reactions->GetListOfReactionsPackages(names.put()), S_OK);
    EXPECT_EQ(readStringArray(names.get()), (std::vector<std::wstring>{L"Rxn/R", L"R10"}));
}

TEST_F(ExportTest, NamesResolveIgnoringCaseFirstMatchAndOtherFamiliesAreNotAvailable)
{
    addRecord(kKitObject, PropertyPackage10, L"Alpha", L"Alpha");   // another family: never matched
    addRecord(kKitObject, PropertyPackage11, L"alpha", L"alpha");
    addRecord(kKitObject, PropertyPackage11, L"ALPHA", L"ALPHA");
    auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
    ComPtr<IDispatch> package;
    ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Alpha").get(), package.put()), S_OK);
    // The real package took the display name of the first matching record.
    EXPECT_EQ(componentName(package.get()), L"alpha");

    ComPtr<IDispatch> none;
    EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"Beta").get(), none.put()), kCapeUnknown);
    EXPECT_FALSE(none);
    const auto e = managerErrors(manager.get());
    EXPECT_EQ(std::vector<std::wstring>({e.name, e.description, e.scope, e.interfaceName, e.operation, e.moreInfo}),
              std::vector<std::wstring>({L"Package with name \"Beta\" is not available", L"Package with name \"Beta\" is not available",
                                         L"GetPropertyPackage", L"ICapeThermoPropertyPackageManager",
                                         L"operation not available", L"more information not available"}));
    EXPECT_EQ(e.code, 0);

    auto system = create<ICapeThermoSystem>(CLSID_ThermoSystem64);
    EXPECT_EQ(system->ResolvePropertyPackage(nullptr, none.put()), kCapeUnknown);
    EXPECT_EQ(managerErrors(system.get()).description, L"Package with name \"NULL\" is not available");
}
