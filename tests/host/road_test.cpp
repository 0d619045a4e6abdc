// The road of a simulator's calculation through the server, out of process, with the sample ideal
// packages loaded in the server: the simulator's own material crosses to the package, and with a
// log every call back from the package to the material is logged inside the call in progress.
#include "host/export_fixture.h"

#include "com/variant.h"
#include "kit/classes.h"
#include "simulator/material.h"
#include "support/dialogs.h"

using namespace tarv;
using testsupport::ExportTest;
using testsupport::readLog;
using testsupport::topLevelRecord;

namespace {

size_t countStartingWith(const std::vector<std::string>& rows, const std::string& prefix)
{
    return std::count_if(rows.begin(), rows.end(), [&](const std::string& r) { return r.rfind(prefix, 0) == 0; });
}

// An equimolar feed of the package's compounds at their mean boiling point (inside the two-phase
// region) and 1 atm, set as a simulator sets it, with both phases allowed.
ComPtr<sim::Material> feed(const Variant& ids, const Variant& boilTemps)
{
    const std::vector<std::wstring> compounds = readStringArray(ids.get());
    const std::vector<double> tb = readDoubleArray(boilTemps.get());
    double t = 0;
    for (double b : tb) t += b / static_cast<double>(tb.size());
    ComPtr<sim::Material> material = sim::Material::create(compounds, {L"Vapor", L"Liquid"});
    ICapeThermoMaterial* m = material.get();
    const Bstr none(L""), mole(L"mole");
    EXPECT_EQ(m->SetOverallProp(Bstr(L"temperature").get(), none.get(), makeDoubleArray({t}).get()), S_OK);
    EXPECT_EQ(m->SetOverallProp(Bstr(L"pressure").get(), none.get(), makeDoubleArray({101325}).get()), S_OK);
    const std::vector<double> z(compounds.size(), 1.0 / static_cast<double>(compounds.size()));
    EXPECT_EQ(m->SetOverallProp(Bstr(L"fraction").get(), mole.get(), makeDoubleArray(z).get()), S_OK);
    EXPECT_EQ(m->SetOverallProp(Bstr(L"totalFlow").get(), mole.get(), makeDoubleArray({1.0}).get()), S_OK);
    material->setPresentPhases({L"Vapor", L"Liquid"}, {CAPE_UNKNOWNPHASESTATUS, CAPE_UNKNOWNPHASESTATUS});
    return material;
}

// A TP flash of that feed by a 1.1 package through the server; returns the vapour fraction.
double flash11(const ComPtr<IDispatch>& package)
{
    Variant ids, formulae, names, boil, mw, cas;
    EXPECT_EQ(package.query<ICapeThermoCompounds>()->GetCompoundList(ids.put(), formulae.put(), names.put(), boil.put(),
                                                                     mw.put(), cas.put()),
              S_OK);
    auto material = feed(ids, boil);
    auto context = package.query<ICapeThermoMaterialContext>();
    EXPECT_EQ(context->SetMaterial(static_cast<ICapeThermoMaterial*>(material.get())), S_OK);
    Variant spec1 = makeStringArray({L"temperature", L"", L"Overall"}), spec2 = makeStringArray({L"pressure", L"", L"Overall"});
    EXPECT_EQ(package.query<ICapeThermoEquilibriumRoutine>()->CalcEquilibrium(spec1.get(), spec2.get(),
                                                                              Bstr(L"Unspecified").get()),
              S_OK);
    EXPECT_EQ(context->UnsetMaterial(), S_OK);
    auto vapour = material->value(L"phaseFraction", L"Vapor", L"mole");
    return vapour ? (*vapour)[0] : 0.0;
}

} // namespace

TEST_F(ExportTest, ALogged11PackageLogsTheMaterialCallbacksInsideTheSimulatorsCall)
{
    addRecord(kit::CLSID_PackageManager, PropertyPackageManager11, L"Ideal Aromatics", L"Kit/Ideal Aromatics", true);
    double logged = 0, unlogged = 0;
    for (double* vapour : {&logged, &unlogged}) {
        {
            auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
            ComPtr<IDispatch> package;
            ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"kit/ideal aromatics").get(), package.put()), S_OK);
            ASSERT_EQ(package.query<ICapeUtilities>()->Initialize(), S_OK);
            *vapour = flash11(package);
            EXPECT_EQ(package.query<ICapeUtilities>()->Terminate(), S_OK);
        }
        // The same flash without a log gives the same answer and no file: the proxies change nothing.
        ASSERT_TRUE(waitForServerExit());
        ASSERT_EQ(logFiles().size(), 1u);
        exportedPackages()[0]->loggingEnabled = 0;
        savePackages();
    }
    EXPECT_GT(logged, 0.0);
    EXPECT_LT(logged, 1.0);
    EXPECT_EQ(logged, unlogged);

    const std::string log = readLog(logFiles()[0]);
    EXPECT_NE(log.find("<info value=\"Creating Kit/Ideal Aromatics\"/>\n<info value=\"Object type: CAPE-OPEN version 1.1 "
                       "Physical Property Package\"/>\n"),
              std::string::npos)
        << log;
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
        auto material = feed(ids, boil);
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(package->CalcEquilibrium(static_cast<ICapeThermoMaterialObject*>(material.get()), Bstr(L"TP").get(),
                                               Variant().get()),
                      S_OK);
        EXPECT_TRUE(material->value(L"phaseFraction", L"Vapor", L"mole").has_value());
    }
    ASSERT_TRUE(waitForServerExit());
    ASSERT_EQ(logFiles().size(), 1u);
    const std::string log = readLog(logFiles()[0]);
    EXPECT_NE(log.find("<info value=\"Object type: CAPE-OPEN version 1.0 Physical Property Package\"/>"), std::string::npos);
    auto flash = topLevelRecord(log, "<func name=\"ICapeThermoPropertyPackage::CalcEquilibrium\" direc=\"in\"");
    ASSERT_FALSE(flash.empty()) << log;
    EXPECT_EQ(flash[2].rfind("  <argval value=\"interface to object &quot;Material&quot; (address 0x", 0), 0u) << flash[2];
    EXPECT_GE(countStartingWith(flash, " <func name=\"ICapeThermoMaterialObject::"), 2u) << log;
    // A new material proxy each call, named by a fetch each time, and none left over.
    EXPECT_EQ(testsupport::occurrences(log, "<func name=\"ICapeThermoPropertyPackage::CalcEquilibrium\""), 2u);
    EXPECT_EQ(log.find("is not released at final release"), std::string::npos);
    EXPECT_EQ(log.find("wrong thermo version"), std::string::npos);
}

TEST_F(ExportTest, ContainersAreUsedWithoutUtilitiesAndFailuresReachTheSimulatorWithAnOfferOfRemoval)
{
    addRecord(kit::CLSID_ManagerWithoutUtilities, PropertyPackageManager11, L"Ideal Alkanes", L"Bare/Ideal Alkanes");
    addRecord(kit::CLSID_ManagerFailingInit, PropertyPackageManager11, L"Ideal Alkanes", L"Failing/Ideal Alkanes");
    addRecord(kit::CLSID_ManagerReturningNull, PropertyPackageManager11, L"Ideal Alkanes", L"Null/Ideal Alkanes");
    addRecord({0x0BADC0DE, 0x0000, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 1}}, PropertyPackage11, L"Gone", L"Gone");
    auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
    ComPtr<IDispatch> package;
    ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Bare/Ideal Alkanes").get(), package.put()), S_OK);
    EXPECT_GT(flash11(package), 0.0);
    package.reset();
    // A failed resolution offers the record's removal; No keeps it.
    const std::pair<const wchar_t*, std::wstring> cases[] = {
        {L"Failing/Ideal Alkanes", L"property package manager failed to initialize: The compound data bank could not be opened"},
        {L"Null/Ideal Alkanes", L"NULL pointer is returned for property package"},
        {L"Gone", L"Failed to create stand-alone property package: " + systemErrorText(REGDB_E_CLASSNOTREG)},
    };
    for (const auto& [name, description] : cases) {
        testsupport::DialogAnswerer keep("TARV:", IDNO);
        EXPECT_EQ(manager->GetPropertyPackage(Bstr(name).get(), package.put()), testsupport::kCapeUnknown);
        EXPECT_FALSE(package);
        ASSERT_TRUE(keep.wait());
        EXPECT_EQ(managerErrors(manager.get()).description, description);
        EXPECT_EQ(keep.seen()[0].text, toNarrow(description) + "\r\nRemove from list of exported property packages?");
        EXPECT_EQ(keep.seen()[0].buttons, (std::vector<int>{IDYES, IDNO}));
        EXPECT_TRUE(keep.seen()[0].hasIcon);   // which one cannot be read from another process
    }
    loadPackages();
    EXPECT_EQ(exportedPackages().size(), 4u);
}
