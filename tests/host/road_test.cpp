// Exporting packages end to end: this test is the simulator, TARV64.exe is started by COM in its
// own process, and the real packages are components loaded there. The simulator's own material
// crosses to the package; with a log, every call back to it is logged inside the call in progress.
#include "host/export_fixture.h"

#include "kit/classes.h"
#include "simulator/material.h"
#include "simulator/reaction_object.h"
#include "support/dialogs.h"
#include "support/proxy_harness.h"

#include <cmath>
#include <thread>
#include <cstring>
#include <sstream>

using namespace tarv;
using testsupport::DialogAnswerer;
using testsupport::ExportTest;
using testsupport::kCapeUnknown;
using testsupport::kKitObject;
using testsupport::structureProblem;
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

// A logged package's parameters as a simulator uses them: the collection, an item by name, its
// value read and written, its spec's bounds; the whole log is compared, and the server's locks and
// the components' objects are back where they were once the package has gone.
TEST_F(ExportTest, ALoggedPackagesParametersAreLoggedThroughTheirProxiesAndLeaveNothingBehind)
{
    addRecord(kit::CLSID_LiarPackage, PropertyPackage11, L"Liar", L"Probe");
    addRecord(kit::CLSID_IdealPackage, PropertyPackage11, L"Ideal Alkanes", L"Alkanes", true);
    {
        auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
        ComPtr<IDispatch> probePackage;
        ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Probe").get(), probePackage.put()), S_OK);
        auto phases = probePackage.query<ICapeThermoPhases>();
        ASSERT_TRUE(phases);
        const LONG locks = probe(phases.get(), kit::kLieLocks);
        const LONG live = probe(phases.get(), kit::kLieLiveObjects);
        ASSERT_GT(locks, 0);   // the probe's own exposed object
        ASSERT_GT(live, 0);    // the probe's own component

        double before = 0, after = 0, upper = 0;
        {
            ComPtr<IDispatch> package;
            ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Alkanes").get(), package.put()), S_OK);
            ComPtr<IDispatch> collection;
            ASSERT_EQ(package.query<ICapeUtilities>()->get_parameters(collection.put()), S_OK);
            auto parameters = collection.query<ICapeCollection>();
            ASSERT_TRUE(parameters);
            ComPtr<IDispatch> item;
            ASSERT_EQ(parameters->Item(Variant::fromString(L"Reference temperature").get(), item.put()), S_OK);
            auto parameter = item.query<ICapeParameter>();
            ASSERT_TRUE(parameter);
            Variant value;
            EXPECT_EQ(parameter->get_value(value.put()), S_OK);
            before = value.get().dblVal;
            EXPECT_EQ(parameter->put_value(Variant::fromDouble(310.5).get()), S_OK);
            EXPECT_EQ(parameter->get_value(value.put()), S_OK);
            after = value.get().dblVal;
            ComPtr<IDispatch> spec;
            ASSERT_EQ(parameter->get_Specification(spec.put()), S_OK);
            auto realSpec = spec.query<ICapeRealParameterSpec>();
            ASSERT_TRUE(realSpec);
            EXPECT_EQ(realSpec->get_UpperBound(&upper), S_OK);
        }
        EXPECT_EQ(before, 298.15);
        EXPECT_EQ(after, 310.5);
        EXPECT_EQ(upper, 1000.0);
        EXPECT_EQ(probe(phases.get(), kit::kLieLocks), locks) << "a proxy outlived the package";
        EXPECT_EQ(probe(phases.get(), kit::kLieLiveObjects), live) << "a component's object outlived the package";
    }
    ASSERT_TRUE(waitForServerExit());
    auto logs = logFiles();
    ASSERT_EQ(logs.size(), 1u);
    const std::string log = readLog(logs[0]);
    EXPECT_EQ(structureProblem(log), "");
    // Each proxy handed across the process boundary is asked by the COM runtime for its marshalling
    // interfaces, which it has not: three notes behind the record that handed it out. The
    // parameter is its own spec, so both carry its name.
    EXPECT_EQ(testsupport::withoutAddresses(log.substr(log.find("<func "))), testsupport::expectedText("host/parameters.log"));
}

// Components that lie: the liar package exported logged, its lies in results and in the arguments
// of its calls back to the simulator's material. Whatever a lie does to the proxy that reads it,
// the simulator gets an answer, the server lives and ends when released, the next call is logged
// where it belongs, the log stays well formed, and nothing made for a failed call holds the server.
namespace {
constexpr HRESULT kUnexpected = E_UNEXPECTED;
constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x80040506);   // ECapeInvalidArgument

std::vector<std::string> topLevelRecords(const std::string& log)
{
    std::vector<std::string> records;
    std::istringstream in(log);
    std::string line, current;
    for (bool inside = false; std::getline(in, line);) {
        if (line.rfind("<func ", 0) == 0) inside = true;
        if (inside) current += line + "\n";
        if (line == "</func>") {
            records.push_back(current);
            current.clear();
            inside = false;
        }
    }
    return records;
}

} // namespace

TEST_F(ExportTest, ALyingComponentNeverBreaksTheLogTheServerOrTheNextCall)
{
    struct Row {
        const wchar_t* lie;
        bool inCallback;          // in an argument of the package's call back to the material
        HRESULT result;           // what the simulator's call returns
        const char* inRecord;     // a line of the call's record, at its depth
    };
    const Row rows[] = {
        {kit::kLieNullObjectInArray, false, kUnexpected,
         " <error value=\"Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION: "},
        {kit::kLieFloatsAsDoubles, false, S_OK, "  <argval value=\"5.26354e-315\"/>"},
        {kit::kLieWideElements, false, S_OK, "  <argval value=\"3\"/>"},
        {kit::kLieShortLengthPrefix, false, S_OK, "  <error value=\"Not a valid BSTR value\"/>"},
        // In the callbacks the material's proxy refuses nothing it can read: what it cannot read
        // ends its own call, which the package passes on.
        {kit::kLieNullObjectInArray, true, kUnexpected,
         "  <error value=\"Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION: "},
        {kit::kLieBoundsBeyondData, true, kUnexpected,
         "  <error value=\"Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION: "},
        {kit::kLieUnknownType, true, kInvalidArgument, "  <arg name=\"values\" direc=\"in\" type=\"<unknown>\">"},
        {kit::kLieObjectInNoAccessPage, true, kUnexpected,
         "  <error value=\"Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION: "},
        {kit::kLieThrowingName, true, kUnexpected,
         "  <error value=\"Uncaught exception during function call: name table corrupt\"/>"},
    };

    addRecord(kit::CLSID_LiarPackage, PropertyPackage11, L"Liar", L"Liar", true);
    {
        auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
        ComPtr<IDispatch> package;
        ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Liar").get(), package.put()), S_OK);
        manager.reset();
        auto phases = package.query<ICapeThermoPhases>();
        auto routine = package.query<ICapeThermoPropertyRoutine>();
        auto context = package.query<ICapeThermoMaterialContext>();
        ASSERT_TRUE(phases && routine && context);
        ComPtr<sim::Material> material = sim::Material::create({L"n-pentane"}, {L"Vapor"}, L"Feed");
        material->setPresentPhases({L"Vapor"}, {CAPE_UNKNOWNPHASESTATUS});
        ASSERT_EQ(context->SetMaterial(static_cast<ICapeThermoMaterial*>(material.get())), S_OK);
        const LONG baseline = probe(phases.get(), kit::kLieLocks);

        for (const Row& row : rows) {
            SCOPED_TRACE(toNarrow(row.lie) + (row.inCallback ? " (callback)" : ""));
            Variant value;
            HRESULT hr = row.inCallback
                             ? routine->CalcSinglePhaseProp(makeStringArray({L"fugacity"}).get(), Bstr(row.lie).get())
                             : phases->GetPhaseInfo(Bstr(row.lie).get(), Bstr(L"x").get(), value.put());
            EXPECT_EQ(hr, row.result);
            EXPECT_EQ(probe(phases.get(), kit::kLieLocks), baseline) << "the failed call left a proxy holding the server";
        }
        EXPECT_EQ(context->UnsetMaterial(), S_OK);
    }
    ASSERT_TRUE(waitForServerExit()) << "the server outlived its last object";

    const std::string log = readLog(logFiles().back());
    EXPECT_EQ(structureProblem(log), "");
    // Each lie's record holds what the proxy made of it, and ends the way the call did; the
    // record after it (the lock count) is a call of its own at the top level.
    const std::vector<std::string> records = topLevelRecords(log);
    for (const Row& row : rows) {
        SCOPED_TRACE(toNarrow(row.lie) + (row.inCallback ? " (callback)" : ""));
        const std::string label = "&quot;" + toNarrow(row.lie) + "&quot;";
        const std::string method = row.inCallback ? "CalcSinglePhaseProp" : "GetPhaseInfo";
        auto it = std::find_if(records.begin(), records.end(), [&](const std::string& r) {
            return r.find(label) != std::string::npos && r.find(method) != std::string::npos;
        });
        ASSERT_NE(it, records.end());
        EXPECT_NE(it->find(row.inRecord), std::string::npos) << *it;
        EXPECT_EQ(it->find("<error value=\"E_UNEXPECTED") != std::string::npos, row.result == kUnexpected) << *it;
        ASSERT_NE(it + 1, records.end());
        EXPECT_NE((it + 1)->find("&quot;locks&quot;"), std::string::npos);
    }
}

TEST_F(ExportTest, TheListChangingDuringAResolutionRemovesTheRecordThatWasAskedAbout)
{
    // The manager's Initialize puts "Late Arrival" in front of the store and has the server make
    // one of its managers, which reloads the list; then it fails, and the user is asked whether
    // to remove the record that failed.
    addRecord(kit::CLSID_ReloadingManager, PropertyPackageManager11, L"Ideal Alkanes", L"Reloading");
    DialogAnswerer answerer("TARV:", IDYES);
    {
        auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
        ComPtr<IDispatch> package;
        EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"Reloading").get(), package.put()), kCapeUnknown);
        EXPECT_FALSE(package);
        EXPECT_EQ(managerErrors(manager.get()).description,
                  std::wstring(L"property package manager failed to initialize: ") + kit::kReloadingManagerText);
        // Once removed (Yes), the record is gone for this manager too.
        ASSERT_TRUE(answerer.wait());
        EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"Reloading").get(), package.put()), kCapeUnknown);
        EXPECT_EQ(managerErrors(manager.get()).description, L"Package with name \"Reloading\" is not available");
    }
    ASSERT_TRUE(answerer.wait());
    EXPECT_EQ(answerer.seen().front().text, std::string("property package manager failed to initialize: ") +
                                                toNarrow(kit::kReloadingManagerText) +
                                                "\r\nRemove from list of exported property packages?");
    ASSERT_TRUE(waitForServerExit());
    loadPackages();
    EXPECT_EQ(storedNames(), (std::vector<std::wstring>{L"Late Arrival"}));
}

// Reaction packages: this test (or the sample simulator) is the simulator, with a gas and a
// reaction object of its own.
namespace {

constexpr double kR = 8.314462618;

// Toluene disproportionation at 700 K and 30 bar, 80 % toluene.
constexpr double kT = 700, kP = 30e5;
const std::vector<double> kGas = {0.8, 0.1, 0.1};   // toluene, benzene, o-xylene

// The rates of the sample's two reactions, worked by hand: k0 exp(-Ea/RT) and the concentrations
// y P / (R T) of the reactants, each to the power of its coefficient.
std::vector<double> expectedRates()
{
    const double c = kP / (kR * kT);
    const double k1 = 5.0e4 * std::exp(-120000 / (kR * kT)), k2 = 2.5e5 * std::exp(-120000 / (kR * kT));
    return {k1 * std::pow(kGas[0] * c, 2), k2 * kGas[1] * c * kGas[2] * c};
}

struct Road {
    std::vector<double> rates;
    LONG parameterCount = 0;
    HRESULT nullMaterial = S_OK;
};

// The simulator's use of a reaction package: the chemistry, the reaction object and the gas the
// 1.0 way, the rates of both reactions, the parameters of the first, a null material the 1.1 way.
Road runRoad(IDispatch* package)
{
    Road road;
    EXPECT_EQ(ComPtr<IDispatch>(package).query<ICapeUtilities>()->Initialize(), S_OK);
    auto chemistry = ComPtr<IDispatch>(package).query<ICapeReactionChemistry>();
    Variant ids;
    EXPECT_EQ(chemistry->GetReactionsIds(ids.put()), S_OK);
    const std::vector<std::wstring> reactions = readStringArray(ids.get());
    EXPECT_EQ(reactions, (std::vector<std::wstring>{L"Disproportionation", L"Transalkylation"}));

    auto gas = sim::Material::create({L"Toluene", L"Benzene", L"o-Xylene"}, {L"Vapor"}, L"Reactor gas");
    gas->setValue(L"temperature", L"Overall", L"", {kT});
    gas->setValue(L"pressure", L"Overall", L"", {kP});
    ICapeThermoMaterialObject* mo = gas.get();
    Variant all;
    EXPECT_EQ(mo->SetProp(Bstr(L"phaseFraction").get(), Bstr(L"Vapor").get(), all.get(), Bstr(L"").get(),
                          Bstr(L"mole").get(), makeDoubleArray({1.0}).get()),
              S_OK);
    gas->setValue(L"fraction", L"Vapor", L"mole", kGas);
    auto reactionObject = sim::ReactionObject::create();

    IDispatch* slot = static_cast<ICapeReactionProperties*>(reactionObject.get());
    EXPECT_EQ(ComPtr<IDispatch>(package).query<ICapeKineticReactionContext>()->SetReactionObject(&slot), S_OK);
    IDispatch* material = mo;
    EXPECT_EQ(ComPtr<IDispatch>(package).query<ICapeThermoContext10>()->SetMaterial(&material), S_OK);
    EXPECT_EQ(ComPtr<IDispatch>(package).query<ICapeReactionsRoutine>()->CalcReactionProp(
                  makeStringArray({L"reactionRate"}).get(), Bstr(L"Vapor").get(), ids.get(), Bstr(L"mole").get()),
              S_OK);
    for (const std::wstring& id : reactions)
        road.rates.push_back(reactionObject->value(L"reactionRate", L"Vapor", L"mole", id).value_or(-1));

    ComPtr<IDispatch> parameters;
    EXPECT_EQ(chemistry->GetReactionParameters(Bstr(reactions[0]).get(), parameters.put()), S_OK);
    EXPECT_EQ(parameters.query<ICapeCollection>()->Count(&road.parameterCount), S_OK);

    road.nullMaterial = ComPtr<IDispatch>(package).query<ICapeThermoMaterialContext>()->SetMaterial(nullptr);
    EXPECT_EQ(ComPtr<IDispatch>(package).query<ICapeUtilities>()->Terminate(), S_OK);
    return road;
}

} // namespace

TEST_F(ExportTest, AReactionPackagesCallsBackToTheGasAndTheReactionObjectAreLoggedInsideTheCalculation)
{
    addRecord(kit::CLSID_ReactionPackageManager, ReactionPackageManager10, L"Toluene Disproportionation",
              L"Kit/Toluene Disproportionation", true);
    // Logged, then the same road without a log: raw pointers reach the package, the same rates come, no file.
    Road roads[2];
    for (Road& road : roads) {
        {
            auto manager = create<ICapeReactionsPackageManager>(CLSID_ReactionPackageManager64);
            ComPtr<IDispatch> package;
            ASSERT_EQ(manager->ResolveReactionsPackage(Bstr(L"kit/toluene disproportionation").get(), package.put()), S_OK);
            road = runRoad(package.get());
        }
        ASSERT_TRUE(waitForServerExit());
        ASSERT_EQ(logFiles().size(), 1u);
        exportedPackages()[0]->loggingEnabled = 0;
        savePackages();
        EXPECT_EQ(road.parameterCount, 2);
        // The sample refuses a null material the 1.1 way; its status reaches the simulator.
        EXPECT_EQ(road.nullMaterial, kInvalidArgument);
    }
    const std::vector<double> expected = expectedRates();
    ASSERT_EQ(roads[0].rates.size(), 2u);
    for (size_t i = 0; i < 2; ++i) EXPECT_NEAR(roads[0].rates[i], expected[i], 1e-9 * expected[i]);
    EXPECT_EQ(roads[1].rates, roads[0].rates);

    const std::string log = readLog(logFiles()[0]);
    EXPECT_EQ(testsupport::structureProblem(log), "");
    EXPECT_NE(log.find("<info value=\"Object type: CAPE-OPEN version 1.0 Reaction Package\"/>"), std::string::npos);
    auto calc = topLevelRecord(log, "<func name=\"ICapeReactionsRoutine::CalcReactionProp\" direc=\"in\" "
                                    "object=\"Kit/Toluene Disproportionation\">");
    std::string nested;
    for (const std::string& row : calc)
        if (row.rfind(" <func ", 0) == 0) nested += row + "\n";
    // Three reads of the gas through the 1.0 interface, its compounds, and one write of the rates.
    EXPECT_EQ(nested,
              " <func name=\"ICapeThermoMaterialObject::GetProp\" direc=\"out\" object=\"Reactor gas\">\n"
              " <func name=\"ICapeThermoMaterialObject::GetProp\" direc=\"out\" object=\"Reactor gas\">\n"
              " <func name=\"ICapeThermoMaterialObject::GetProp\" direc=\"out\" object=\"Reactor gas\">\n"
              " <func name=\"ICapeThermoMaterialObject::get_ComponentIds\" direc=\"out\" object=\"Reactor gas\">\n"
              " <func name=\"ICapeReactionProperties::SetReactionProp\" direc=\"out\" object=\"Reactions\">\n")
        << log;
    EXPECT_NE(log.find("<error value=\"Cannot pass NULL to SetMaterial; use UnsetMaterial instead\"/>"), std::string::npos);
    // Terminate let the package go of both proxies: none is left at the end.
    EXPECT_EQ(log.find("is not released at final release"), std::string::npos) << log;
    // The parameters came through a collection proxy, whose calls are the simulator's.
    EXPECT_NE(log.find("<func name=\"ICapeCollection::Count\" direc=\"in\" object=\"Parameters\">"), std::string::npos);
}

TEST_F(ExportTest, ReactionResolutionFailuresTellTheSimulatorWhatWentWrong)
{
    const CLSID missing = {0x0BADC0DE, 0x0000, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 2}};
    addRecord(missing, ReactionPackage10, L"Gone", L"Gone");
    addRecord(missing, ReactionPackageManager10, L"Gone", L"Gone manager/Gone");
    addRecord(kit::CLSID_ReactionPackageManager, ReactionPackageManager10, L"Steam", L"Kit/Steam");
    addRecord(kit::CLSID_IdealPackage, PropertyPackage11, L"Ideal Alkanes", L"Alkanes");
    const std::wstring notRegistered = systemErrorText(REGDB_E_CLASSNOTREG);
    struct Case {
        const wchar_t* name;
        std::wstring description;
        bool asked;   // a failed resolution offers the record's removal
    } cases[] = {
        {L"Gone", L"Failed to create stand-alone reacion package: " + notRegistered, true},
        {L"Gone manager/Gone", L"Failed to create reaction package manager: " + notRegistered, true},
        {L"Kit/Steam",
         L"There is no reaction package named \"Steam\"; available: \"Toluene Disproportionation\", "
         L"\"Hexane Disproportionation\"",
         true},
        {L"Alkanes", L"Package with name \"Alkanes\" is not available", false},
    };
    auto manager = create<ICapeReactionsPackageManager>(CLSID_ReactionPackageManager64);
    for (const Case& c : cases) {
        SCOPED_TRACE(toNarrow(c.name));
        DialogAnswerer keep("TARV:", IDNO);
        ComPtr<IDispatch> package;
        EXPECT_EQ(manager->ResolveReactionsPackage(Bstr(c.name).get(), package.put()), kCapeUnknown);
        EXPECT_FALSE(package);
        const auto errors = managerErrors(manager.get());
        EXPECT_EQ(errors.description, c.description);
        EXPECT_EQ(errors.name, c.description);
        EXPECT_EQ(errors.scope, L"ResolveReactionsPackage");
        EXPECT_EQ(errors.interfaceName, L"ICapeReactionsPackageManager");
        EXPECT_EQ(errors.code, 0);
        EXPECT_EQ(keep.wait(c.asked ? 10000 : 1500), c.asked);
        if (c.asked) {
            EXPECT_EQ(keep.seen()[0].text, toNarrow(c.description) + "\r\nRemove from list of exported packages?");
        }
    }
    loadPackages();
    EXPECT_EQ(exportedPackages().size(), 4u);
}

TEST_F(ExportTest, TheSampleSimulatorGetsItsReactionRatesThroughTheServer)
{
    addRecord(kit::CLSID_ReactionPackageManager, ReactionPackageManager10, L"Toluene Disproportionation",
              L"Kit/Toluene Disproportionation", true);
    std::string printed;
    ASSERT_EQ(testsupport::runCaptured(_wgetenv(L"TARV_SIMULATOR"), L"--reactions --T 700 --P 3e6 --z 0.8,0.1,0.1", printed), 0u)
        << printed;
    EXPECT_NE(printed.find("Packages:   \"Kit/Toluene Disproportionation\""), std::string::npos) << printed;
    // The rates as printed (after the rate constant), against the hand calculation.
    const std::vector<double> expected = expectedRates();
    const char* rows[] = {"  Disproportionation", "  Transalkylation"};
    for (int i = 0; i < 2; ++i) {
        const size_t at = printed.find(rows[i], printed.find("Rate constant"));
        ASSERT_NE(at, std::string::npos) << printed;
        double k = 0, rate = 0;
        std::istringstream(printed.substr(at + std::strlen(rows[i]))) >> k >> rate;
        EXPECT_NEAR(rate, expected[i], 1e-5 * expected[i]) << printed;
    }
    ASSERT_TRUE(waitForServerExit());
    ASSERT_EQ(logFiles().size(), 1u);
    EXPECT_FALSE(topLevelRecord(readLog(logFiles()[0]), "<func name=\"ICapeReactionsRoutine::CalcReactionProp\"").empty());
}

// The new-package method called by the sample simulator: the server's dialog is answered in the
// server's process, through keys and clicks posted to its real controls.
namespace {

using namespace testsupport;

constexpr CLSID kIdealPackage = {0xE2785283, 0x7782, 0x4DEA, {0xB4, 0x2C, 0xFD, 0xD9, 0x27, 0xB1, 0x02, 0x86}};
constexpr int kTree = 204;
constexpr int kLogging = 814;

class NewPackageTest : public ExportTest {
protected:
    // Wine's marshaling finds a type library only under the locale-neutral key "0", whereas the
    // server's library is registered under its own locale, 409: the prefix gets both.
    static void SetUpTestSuite()
    {
        const std::string version = "Software\\Classes\\TypeLib\\{8032C600-BA13-484F-A25F-3DFB47FCA46D}\\1.0\\";
        char path[MAX_PATH] = "";
        LONG size = sizeof path;
        ASSERT_EQ(RegQueryValueA(HKEY_LOCAL_MACHINE, (version + "409\\win64").c_str(), path, &size), ERROR_SUCCESS);
        ASSERT_EQ(RegSetValueA(HKEY_LOCAL_MACHINE, (version + "0\\win64").c_str(), REG_SZ, path, 0), ERROR_SUCCESS);
    }
};

} // namespace

TEST_F(NewPackageTest, TheSimulatorGetsTheChosenPackageExportedAndLoggedAsTheDialogSays)
{
    struct Case {
        const char* what;
        const wchar_t* stored;    // a record there before, not logged; null: none
        const char* typed;        // nothing: Cancel
        bool logging;             // the dialog's box
        std::vector<std::wstring> after;
        size_t logs;
    } cases[] = {
        {"new, not logged", nullptr, "TARVKit Ideal", false, {L"TARVKit Ideal Package"}, 0},
        {"same name: not added again, logged by the box", L"TARVKit Ideal Package", "TARVKit Ideal", true,
         {L"TARVKit Ideal Package"}, 1},
        {"names differing in case are different", L"tarvkit ideal package", "TARVKit Ideal", false,
         {L"tarvkit ideal package", L"TARVKit Ideal Package"}, 0},
        {"cancelled: the simulator's call fails and nothing is stored", nullptr, "", false, {}, 0},
    };
    for (const Case& c : cases) {
        SetUp();
        if (c.stored) addRecord(kIdealPackage, tarv::PropertyPackage11, c.stored, c.stored, false);
        // The server's dialog: the item whose label starts with what is typed into the tree, the
        // logging box as the case says, then OK; with nothing typed, Cancel.
        bool found = false, okEnabled = false;
        std::thread answer([&] {
            HWND dialog = waitForWindow("TARV version 1.1 Property Package:", 30000);
            if (!(found = dialog != nullptr)) return;
            Sleep(100);
            for (const char* ch = c.typed; *ch; ++ch) SendDlgItemMessageA(dialog, kTree, WM_CHAR, static_cast<unsigned char>(*ch), 0);
            okEnabled = *c.typed && IsWindowEnabled(GetDlgItem(dialog, IDOK));
            if ((SendDlgItemMessageA(dialog, kLogging, BM_GETCHECK, 0, 0) == BST_CHECKED) != c.logging)
                SendDlgItemMessageA(dialog, kLogging, BM_CLICK, 0, 0);
            PostMessageA(dialog, WM_COMMAND, okEnabled ? IDOK : IDCANCEL, 0);
        });
        std::string out, err;
        const DWORD exitCode = runCaptured(_wgetenv(L"TARV_SIMULATOR"), L"--new", out, &err);
        answer.join();
        EXPECT_TRUE(found) << c.what;
        EXPECT_EQ(okEnabled, *c.typed != 0) << c.what;
        EXPECT_EQ(exitCode, *c.typed ? 0u : 1u) << c.what << "\n" << err;
        EXPECT_TRUE(*c.typed || err.find("NewPropertyPackage failed\n  no package was chosen") != std::string::npos) << err;
        ASSERT_TRUE(waitForServerExit()) << c.what;
        tarv::loadPackages();
        EXPECT_EQ(storedNames(), c.after) << c.what;
        EXPECT_EQ(logFiles().size(), c.logs) << c.what;
        TearDown();
    }
}
