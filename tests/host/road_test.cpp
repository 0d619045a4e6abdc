// The road of a simulator's calculation through the server, out of process, with the sample ideal
// packages loaded in the server: the simulator's own material crosses to the package, and with a
// log every call back from the package to the material is logged inside the call in progress.
#include "host/export_fixture.h"

#include "com/variant.h"
#include "kit/classes.h"
#include "simulator/material.h"
#include "support/dialogs.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace tarv;
using testsupport::DialogAnswerer;
using testsupport::ExportTest;
using testsupport::kCapeUnknown;
using testsupport::readLog;
using testsupport::topLevelRecord;

namespace {

size_t countStartingWith(const std::vector<std::string>& rows, const std::string& prefix)
{
    size_t n = 0;
    for (const std::string& r : rows) n += r.rfind(prefix, 0) == 0;
    return n;
}

// A feed of the package's compounds at T and P, set as a simulator sets it, with both phases
// allowed.
ComPtr<sim::Material> feed(const std::vector<std::wstring>& compounds, double t, double p)
{
    ComPtr<sim::Material> material = sim::Material::create(compounds, {L"Vapor", L"Liquid"});
    ICapeThermoMaterial* m = material.get();
    std::vector<double> z(compounds.size(), 1.0 / static_cast<double>(compounds.size()));
    const Bstr none(L""), mole(L"mole");
    EXPECT_EQ(m->SetOverallProp(Bstr(L"temperature").get(), none.get(), makeDoubleArray({t}).get()), S_OK);
    EXPECT_EQ(m->SetOverallProp(Bstr(L"pressure").get(), none.get(), makeDoubleArray({p}).get()), S_OK);
    EXPECT_EQ(m->SetOverallProp(Bstr(L"fraction").get(), mole.get(), makeDoubleArray(z).get()), S_OK);
    EXPECT_EQ(m->SetOverallProp(Bstr(L"totalFlow").get(), mole.get(), makeDoubleArray({1.0}).get()), S_OK);
    material->setPresentPhases({L"Vapor", L"Liquid"}, {CAPE_UNKNOWNPHASESTATUS, CAPE_UNKNOWNPHASESTATUS});
    return material;
}

struct Compounds {
    std::vector<std::wstring> ids;
    double meanBoilingPoint = 0;   // inside the two-phase region of an equimolar feed at 1 atm
};

Compounds compoundsFrom(const Variant& ids, const Variant& boilTemps)
{
    Compounds c{readStringArray(ids.get()), 0};
    std::vector<double> tb = readDoubleArray(boilTemps.get());
    for (double t : tb) c.meanBoilingPoint += t / static_cast<double>(tb.size());
    return c;
}

Compounds compoundsOf(IDispatch* package)
{
    ComPtr<ICapeThermoCompounds> compounds;
    package->QueryInterface(IID_ICapeThermoCompounds, compounds.putVoid());
    Variant ids, formulae, names, boil, mw, cas;
    EXPECT_EQ(compounds->GetCompoundList(ids.put(), formulae.put(), names.put(), boil.put(), mw.put(), cas.put()), S_OK);
    return compoundsFrom(ids, boil);
}

// A TP flash of an equimolar feed at its mean boiling point and 1 atm, by a 1.1 package through
// the server; returns the vapour fraction.
double flash11(IDispatch* package)
{
    Compounds compounds = compoundsOf(package);
    auto material = feed(compounds.ids, compounds.meanBoilingPoint, 101325);
    ComPtr<ICapeThermoMaterialContext> context;
    package->QueryInterface(IID_ICapeThermoMaterialContext, context.putVoid());
    EXPECT_EQ(context->SetMaterial(static_cast<ICapeThermoMaterial*>(material.get())), S_OK);
    ComPtr<ICapeThermoEquilibriumRoutine> equilibrium;
    package->QueryInterface(IID_ICapeThermoEquilibriumRoutine, equilibrium.putVoid());
    Variant spec1 = makeStringArray({L"temperature", L"", L"Overall"});
    Variant spec2 = makeStringArray({L"pressure", L"", L"Overall"});
    EXPECT_EQ(equilibrium->CalcEquilibrium(spec1.get(), spec2.get(), Bstr(L"Unspecified").get()), S_OK);
    EXPECT_EQ(context->UnsetMaterial(), S_OK);
    auto vapour = material->value(L"phaseFraction", L"Vapor", L"mole");
    return vapour ? (*vapour)[0] : 0.0;
}

} // namespace

TEST_F(ExportTest, ALogged11PackageLogsTheMaterialCallbacksInsideTheSimulatorsCall)
{
    addRecord(kit::CLSID_PackageManager, PropertyPackageManager11, L"Ideal Aromatics", L"Kit/Ideal Aromatics", true);
    double logged = 0;
    {
        auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
        ComPtr<IDispatch> package;
        ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"kit/ideal aromatics").get(), package.put()), S_OK);
        ASSERT_EQ(package.query<ICapeUtilities>()->Initialize(), S_OK);
        logged = flash11(package.get());
        EXPECT_EQ(package.query<ICapeUtilities>()->Terminate(), S_OK);
    }
    ASSERT_TRUE(waitForServerExit());
    auto logs = logFiles();
    ASSERT_EQ(logs.size(), 1u);
    std::string log = readLog(logs[0]);

    auto setMaterial = topLevelRecord(log, "<func name=\"ICapeThermoMaterialContext::SetMaterial\" direc=\"in\"");
    ASSERT_FALSE(setMaterial.empty()) << log;
    EXPECT_NE(setMaterial[2].find("interface to object &quot;Material&quot;"), std::string::npos) << setMaterial[2];

    auto flash = topLevelRecord(log, "<func name=\"ICapeThermoEquilibriumRoutine::CalcEquilibrium\" direc=\"in\" "
                             "object=\"Kit/Ideal Aromatics\">");
    ASSERT_FALSE(flash.empty()) << log;
    // The package's calls back to the simulator's material, one level down, going out.
    EXPECT_GE(countStartingWith(flash, " <func name=\"ICapeThermoMaterial::"), 3u) << log;
    for (const std::string& row : flash) {
        if (row.rfind(" <func name=\"ICapeThermoMaterial::", 0) == 0) {
            EXPECT_NE(row.find("direc=\"out\" object=\"Material\""), std::string::npos) << row;
        }
    }
    EXPECT_EQ(countStartingWith(flash, " <func name=\"ICapeThermoMaterial::SetPresentPhases\""), 1u) << log;
    // The material proxy went with UnsetMaterial: nothing is left at the end.
    EXPECT_EQ(log.find("is not released at final release"), std::string::npos);

    // The same flash without a log gives the same answer: the proxies change nothing.
    exportedPackages()[0]->loggingEnabled = 0;
    savePackages();
    double unlogged = 0;
    {
        auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
        ComPtr<IDispatch> package;
        ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Kit/Ideal Aromatics").get(), package.put()), S_OK);
        unlogged = flash11(package.get());
    }
    EXPECT_GT(logged, 0.0);
    EXPECT_LT(logged, 1.0);
    EXPECT_EQ(logged, unlogged);
    ASSERT_TRUE(waitForServerExit());
    EXPECT_EQ(logFiles().size(), 1u);
}

TEST_F(ExportTest, The10RoadWrapsTheMaterialForEachCallOnly)
{
    addRecord(kit::CLSID_ThermoSystem10, ThermoSystem10, L"Ideal Alkanes", L"Sys/Ideal Alkanes", true);
    {
        auto system = create<ICapeThermoSystem>(CLSID_ThermoSystem64);
        ComPtr<IDispatch> resolved;
        ASSERT_EQ(system->ResolvePropertyPackage(Bstr(L"Sys/Ideal Alkanes").get(), resolved.put()), S_OK);
        auto package = resolved.query<ICapeThermoPropertyPackage>();
        ASSERT_TRUE(package);
        Variant ids, formulae, names, boil, mw, cas;
        ASSERT_EQ(package->GetComponentList(ids.put(), formulae.put(), names.put(), boil.put(), mw.put(), cas.put()), S_OK);
        Compounds compounds = compoundsFrom(ids, boil);
        auto material = feed(compounds.ids, compounds.meanBoilingPoint, 101325);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(package->CalcEquilibrium(static_cast<ICapeThermoMaterialObject*>(material.get()), Bstr(L"TP").get(),
                                               Variant().get()),
                      S_OK);
        EXPECT_TRUE(material->value(L"phaseFraction", L"Vapor", L"mole").has_value());
    }
    ASSERT_TRUE(waitForServerExit());
    auto logs = logFiles();
    ASSERT_EQ(logs.size(), 1u);
    std::string log = readLog(logs[0]);
    EXPECT_NE(log.find("<info value=\"Object type: CAPE-OPEN version 1.0 Physical Property Package\"/>"),
              std::string::npos);
    auto flash = topLevelRecord(log, "<func name=\"ICapeThermoPropertyPackage::CalcEquilibrium\" direc=\"in\"");
    ASSERT_FALSE(flash.empty()) << log;
    EXPECT_EQ(flash[2].rfind("  <argval value=\"interface to object &quot;Material&quot; (address 0x", 0), 0u)
        << flash[2];
    EXPECT_GE(countStartingWith(flash, " <func name=\"ICapeThermoMaterialObject::"), 2u) << log;
    // A new material proxy each call, named by a fetch each time, and none left over.
    EXPECT_EQ(testsupport::occurrences(log, "<func name=\"ICapeThermoPropertyPackage::CalcEquilibrium\""), 2u);
    EXPECT_EQ(log.find("is not released at final release"), std::string::npos);
    EXPECT_EQ(log.find("wrong thermo version"), std::string::npos);
}

TEST_F(ExportTest, ContainersAreUsedWithoutUtilitiesAndTheirFailuresReachTheSimulator)
{
    addRecord(kit::CLSID_ManagerWithoutUtilities, PropertyPackageManager11, L"Ideal Alkanes", L"Bare/Ideal Alkanes");
    addRecord(kit::CLSID_ManagerFailingInit, PropertyPackageManager11, L"Ideal Alkanes", L"Failing/Ideal Alkanes");
    addRecord(kit::CLSID_ManagerReturningNull, PropertyPackageManager11, L"Ideal Alkanes", L"Null/Ideal Alkanes");
    auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
    ComPtr<IDispatch> package;
    ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Bare/Ideal Alkanes").get(), package.put()), S_OK);
    EXPECT_GT(flash11(package.get()), 0.0);
    package.reset();

    struct Case {
        const wchar_t* name;
        std::wstring description;
    } cases[] = {
        {L"Failing/Ideal Alkanes",
         L"property package manager failed to initialize: The compound data bank could not be opened"},
        {L"Null/Ideal Alkanes", L"NULL pointer is returned for property package"},
    };
    for (const Case& c : cases) {
        DialogAnswerer keep("TARV:", IDNO);
        EXPECT_EQ(manager->GetPropertyPackage(Bstr(c.name).get(), package.put()), kCapeUnknown);
        EXPECT_FALSE(package);
        EXPECT_TRUE(keep.wait());
        EXPECT_EQ(managerErrors(manager.get()).description, c.description);
    }
    loadPackages();
    EXPECT_EQ(exportedPackages().size(), 3u);
}
