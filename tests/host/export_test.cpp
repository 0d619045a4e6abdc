// Exporting packages end to end: this test is the simulator, TARV64.exe is started by COM in its
// own process, and the real packages are test components loaded there. The logs of exported
// packages, and a server that lives while any object does, are shown by the roads' tests.
#include "host/export_fixture.h"

#include "com/variant.h"
#include "support/dialogs.h"

#include <gtest/gtest.h>

using namespace tarv;
using testsupport::DialogAnswerer;
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
    auto errors = managerErrors(manager.get());
    EXPECT_EQ(errors.description, L"Package with name \"Beta\" is not available");
    EXPECT_EQ(errors.scope, L"GetPropertyPackage");
    EXPECT_EQ(errors.interfaceName, L"ICapeThermoPropertyPackageManager");
    EXPECT_EQ(errors.code, 0);
    EXPECT_EQ(errors.operation, L"operation not available");
    EXPECT_EQ(errors.moreInfo, L"more information not available");
    EXPECT_EQ(errors.name, errors.description);

    auto system = create<ICapeThermoSystem>(CLSID_ThermoSystem64);
    EXPECT_EQ(system->ResolvePropertyPackage(nullptr, none.put()), kCapeUnknown);
    EXPECT_EQ(managerErrors(system.get()).description, L"Package with name \"NULL\" is not available");
}

TEST_F(ExportTest, AFailedResolutionOffersRemovalAndOnlyYesRemoves)
{
    const CLSID missing = {0x0BADC0DE, 0x0000, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 1}};
    addRecord(missing, PropertyPackage11, L"Gone", L"Gone");
    addRecord(kKitObject, PropertyPackage11, L"Kept", L"Kept");
    auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
    for (int answer : {IDNO, IDYES}) {
        DialogAnswerer question("TARV:", answer);
        ComPtr<IDispatch> package;
        EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"gone").get(), package.put()), kCapeUnknown);
        ASSERT_TRUE(question.wait());
        auto seen = question.seen();
        std::wstring description = managerErrors(manager.get()).description;
        EXPECT_EQ(description.rfind(L"Failed to create stand-alone property package: ", 0), 0u);
        EXPECT_EQ(seen[0].text, toNarrow(description) + "\r\nRemove from list of exported property packages?");
        EXPECT_EQ(seen[0].buttons, (std::vector<int>{IDYES, IDNO}));
        EXPECT_TRUE(seen[0].hasIcon);   // which one cannot be read from another process
        loadPackages();
        EXPECT_EQ(storedNames(), answer == IDNO ? (std::vector<std::wstring>{L"Gone", L"Kept"})
                                                : (std::vector<std::wstring>{L"Kept"}));
    }
    // The removed record is gone for this object too.
    ComPtr<IDispatch> package;
    EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"Gone").get(), package.put()), kCapeUnknown);
    EXPECT_EQ(managerErrors(manager.get()).description, L"Package with name \"Gone\" is not available");
}
