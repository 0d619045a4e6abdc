// Exporting packages end to end: this test is the simulator, TARV64.exe loads the real packages.
#include "host/export_fixture.h"
#include "kit/classes.h"
#include "simulator/material.h"
#include "simulator/reaction_object.h"
#include "support/dialogs.h"
#include "support/proxy_harness.h"

#include <cmath>
#include <sstream>
#include <thread>

using namespace tarv;
using namespace testsupport;

namespace {
constexpr HRESULT kUnexpected = E_UNEXPECTED;
constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x80040506);   // ECapeInvalidArgument

size_t countStartingWith(const std::vector<std::string>& rows, const std::string& prefix)
{
    return std::count_if(rows.begin(), rows.end(), [&](const std::string& r) { return r.rfind(prefix, 0) == 0; });
}

// An equimolar feed of the package's compounds at their mean boiling point (two phases) and 1 atm.
ComPtr<sim::Material> feed(const Variant& ids, const Variant& boilTemps)
{
    const std::vector<std::wstring> compounds = readStringArray(ids.get());
    const std::vector<double> tb = readDoubleArray(boilTemps.get());
    double t = 0;
    for (double b : tb) t += b / static_cast<double>(tb.size());
    ComPtr<sim::Material> material = sim::Material::create(compounds, {L"Vapor", L"Liquid"});
    const std::tuple<const wchar_t*, const wchar_t*, std::vector<double>> props[] = {
        {L"temperature", L"", {t}}, {L"pressure", L"", {101325}},
        {L"fraction", L"mole", std::vector<double>(compounds.size(), 1.0 / static_cast<double>(compounds.size()))},
        {L"totalFlow", L"mole", {1.0}}};
    for (const auto& [name, basis, values] : props)
        EXPECT_EQ(static_cast<ICapeThermoMaterial*>(material.get())->SetOverallProp(Bstr(name).get(), Bstr(basis).get(),
                                                                                   makeDoubleArray(values).get()), S_OK);
    material->setPresentPhases({L"Vapor", L"Liquid"}, {CAPE_UNKNOWNPHASESTATUS, CAPE_UNKNOWNPHASESTATUS});
    return material;
}

// A TP flash of that feed by a 1.1 package through the server; returns the vapour fraction.
double flash11(const ComPtr<IDispatch>& package)
{
    Variant ids, formulae, names, boil, mw, cas;
    EXPECT_EQ(package.query<ICapeThermoCompounds>()->GetCompoundList(ids.put(), formulae.put(), names.put(), boil.put(),
                                                                     mw.put(), cas.put()), S_OK);
    auto material = feed(ids, boil);
    auto context = package.query<ICapeThermoMaterialContext>();
    EXPECT_EQ(context->SetMaterial(static_cast<ICapeThermoMaterial*>(material.get())), S_OK);
    Variant spec1 = makeStringArray({L"temperature", L"", L"Overall"}), spec2 = makeStringArray({L"pressure", L"", L"Overall"});
    EXPECT_EQ(package.query<ICapeThermoEquilibriumRoutine>()->CalcEquilibrium(spec1.get(), spec2.get(),
                                                                              Bstr(L"Unspecified").get()), S_OK);
    EXPECT_EQ(context->UnsetMaterial(), S_OK);
    auto vapour = material->value(L"phaseFraction", L"Vapor", L"mole");
    return vapour ? (*vapour)[0] : 0.0;
}

// The nested call openings of a record, one a line.
std::string nestedCalls(const std::vector<std::string>& record)
{
    std::string nested;
    for (const std::string& row : record)
        if (row.rfind(" <func ", 0) == 0) nested += row + "\n";
    return nested;
}
} // namespace

TEST_F(ExportTest, ALogged11PackageLogsTheMaterialCallbacksInsideTheSimulatorsCall)
{
    addRecord(kit::CLSID_PackageManager, PropertyPackageManager11, L"Ideal Aromatics", L"Kit/Ideal Aromatics", true);
    // Logged, then the same flash without a log: the same answer and no file, the proxies change nothing.
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
        ASSERT_NO_FATAL_FAILURE(stopLogging());
    }
    EXPECT_GT(logged, 0.0);
    EXPECT_EQ(logged, unlogged);
    const std::string log = readLog(logFiles()[0]);
    EXPECT_NE(log.find("<info value=\"Creating Kit/Ideal Aromatics\"/>\n<info value=\"Object type: CAPE-OPEN version 1.1 "
                       "Physical Property Package\"/>\n"), std::string::npos) << log;
    auto flash = topLevelRecord(log, "<func name=\"ICapeThermoEquilibriumRoutine::CalcEquilibrium\" direc=\"in\" "
                                     "object=\"Kit/Ideal Aromatics\">");
    ASSERT_FALSE(flash.empty()) << log;
    // The package's calls back to the simulator's material, one level down, going out.
    EXPECT_GE(countStartingWith(flash, " <func name=\"ICapeThermoMaterial::"), 3u) << log;
    for (const std::string& row : flash)
        if (row.rfind(" <func name=\"ICapeThermoMaterial::", 0) == 0) {
            EXPECT_NE(row.find("direc=\"out\" object=\"Material\""), std::string::npos) << row;
        }
    EXPECT_EQ(countStartingWith(flash, " <func name=\"ICapeThermoMaterial::SetPresentPhases\""), 1u) << log;
    EXPECT_EQ(log.find("is not released at final release"), std::string::npos);   // gone with UnsetMaterial
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
                                               Variant().get()), S_OK);
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
    // No material proxy is left over.
    EXPECT_EQ(log.find("is not released at final release"), std::string::npos);
    EXPECT_EQ(log.find("wrong thermo version"), std::string::npos);
}

TEST_F(ExportTest, ContainersAreUsedWithoutUtilitiesAndFailuresReachTheSimulatorWithAnOfferOfRemoval)
{
    addRecord(kit::CLSID_ManagerWithoutUtilities, PropertyPackageManager11, L"Ideal Alkanes", L"Bare/Ideal Alkanes");
    addRecord(kit::CLSID_ManagerReturningNull, PropertyPackageManager11, L"Ideal Alkanes", L"Null/Ideal Alkanes");
    addRecord({0x0BADC0DE, 0x0000, 0x4000, {0x80, 0, 0, 0, 0, 0, 0, 1}}, PropertyPackage11, L"Gone", L"Gone");
    auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
    ComPtr<IDispatch> package;
    ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Bare/Ideal Alkanes").get(), package.put()), S_OK);
    EXPECT_GT(flash11(package), 0.0);
    package.reset();
    // A failed resolution offers the record's removal; No keeps it.
    const std::pair<const wchar_t*, std::wstring> cases[] = {
        {L"Null/Ideal Alkanes", L"NULL pointer is returned for property package"},
        {L"Gone", L"Failed to create stand-alone property package: " + systemErrorText(REGDB_E_CLASSNOTREG)},
    };
    for (const auto& [name, description] : cases) {
        DialogAnswerer keep("TARV:", IDNO);
        EXPECT_EQ(manager->GetPropertyPackage(Bstr(name).get(), package.put()), kCapeUnknown);
        EXPECT_FALSE(package);
        ASSERT_TRUE(keep.wait());
        EXPECT_EQ(errorDescription(manager.get()), description);
        EXPECT_EQ(keep.seen()[0].text, toNarrow(description) + "\r\nRemove from list of exported property packages?");
        EXPECT_EQ(keep.seen()[0].buttons, (std::vector<int>{IDYES, IDNO}));
        EXPECT_TRUE(keep.seen()[0].hasIcon);   // which one cannot be read from another process
    }
    loadPackages();
    EXPECT_EQ(exportedPackages().size(), 3u);
}

TEST_F(ExportTest, EachManagerListsItsOwnGenerationOrNothing)
{
    {
        Variant names;
        ASSERT_EQ(create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64)->GetPropertyPackageList(names.put()), S_OK);
        EXPECT_EQ(names.vt(), VT_EMPTY);
    }
    // That was the server's last object: under Wine its class objects stay registered while it
    // ends, so the next activation waits for it to be gone.
    ASSERT_TRUE(waitForServerExit());
    const std::tuple<PackageKind, const wchar_t*, const wchar_t*> records[] = {
        {PropertyPackageManager11, L"Pkg", L"Mgr/Pkg"}, {PropertyPackage11, L"Alone", L"Alone"}, {ThermoSystem10, L"P", L"Sys/P"},
        {PropertyPackage10, L"P10", L"P10"}, {ReactionPackageManager10, L"R", L"Rxn/R"}, {ReactionPackage10, L"R10", L"R10"}};
    for (const auto& [kind, name, display] : records) addRecord(kit::CLSID_KitObject, kind, name, display);
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
    addRecord(kit::CLSID_KitObject, PropertyPackage10, L"Alpha", L"Alpha");   // another family: never matched
    addRecord(kit::CLSID_KitObject, PropertyPackage11, L"alpha", L"alpha");
    addRecord(kit::CLSID_KitObject, PropertyPackage11, L"ALPHA", L"ALPHA");
    auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
    ComPtr<IDispatch> package, none;
    ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Alpha").get(), package.put()), S_OK);
    EXPECT_EQ(componentName(package.get()), L"alpha");   // the display name of the first matching record
    EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"Beta").get(), none.put()), kCapeUnknown);
    EXPECT_FALSE(none);
    EXPECT_EQ(errorDescription(manager.get()), L"Package with name \"Beta\" is not available");
    auto system = create<ICapeThermoSystem>(CLSID_ThermoSystem64);
    EXPECT_EQ(system->ResolvePropertyPackage(nullptr, none.put()), kCapeUnknown);
    EXPECT_EQ(errorDescription(system.get()), L"Package with name \"NULL\" is not available");
}

// A logged package's parameters as a simulator uses them (the collection, an item by name, its value
// read and written, its spec's bounds): the whole log, and the server's locks and the components'
// objects back where they were once the package has gone.
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
        const LONG locks = probe(phases.get(), kit::kLieLocks), live = probe(phases.get(), kit::kLieLiveObjects);
        ASSERT_GT(locks, 0);   // the probe's own exposed object
        ASSERT_GT(live, 0);    // the probe's own component
        {
            ComPtr<IDispatch> package, collection, item, spec;
            ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Alkanes").get(), package.put()), S_OK);
            ASSERT_EQ(package.query<ICapeUtilities>()->get_parameters(collection.put()), S_OK);
            auto parameters = collection.query<ICapeCollection>();
            ASSERT_TRUE(parameters);
            ASSERT_EQ(parameters->Item(Variant::fromString(L"Reference temperature").get(), item.put()), S_OK);
            auto parameter = item.query<ICapeParameter>();
            ASSERT_TRUE(parameter);
            Variant value;
            EXPECT_EQ(parameter->get_value(value.put()), S_OK);
            EXPECT_EQ(parameter->put_value(Variant::fromDouble(310.5).get()), S_OK);
            EXPECT_EQ(parameter->get_value(value.put()), S_OK);
            ASSERT_EQ(parameter->get_Specification(spec.put()), S_OK);
            auto realSpec = spec.query<ICapeRealParameterSpec>();
            ASSERT_TRUE(realSpec);
            double upper = 0;
            EXPECT_EQ(realSpec->get_UpperBound(&upper), S_OK);
        }
        EXPECT_EQ(probe(phases.get(), kit::kLieLocks), locks) << "a proxy outlived the package";
        EXPECT_EQ(probe(phases.get(), kit::kLieLiveObjects), live) << "a component's object outlived the package";
    }
    ASSERT_TRUE(waitForServerExit());
    ASSERT_EQ(logFiles().size(), 1u);
    const std::string log = readLog(logFiles()[0]);
    EXPECT_EQ(structureProblem(log), "");
    // Each proxy handed across the process boundary is asked by COM for marshalling interfaces it
    // has not: three notes behind the record that handed it out. The parameter is its own spec.
    EXPECT_EQ(withoutAddresses(log.substr(log.find("<func "))), expectedText("host/parameters.log"));
}

// The liar package exported logged, its lies in results and in the arguments of its calls back to
// the simulator's material: whatever a lie does, the simulator gets an answer, the server lives and
// ends, the next call is logged where it belongs, the log stays well formed, nothing holds the server.
TEST_F(ExportTest, ALyingComponentNeverBreaksTheLogTheServerOrTheNextCall)
{
    const std::string seh = "<error value=\"Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION: ";
    // The lie, whether it is in an argument of a call back to the material, what the simulator's call
    // returns, and a line of the call's record at its depth.
    const struct Row { const wchar_t* lie; bool inCallback; HRESULT result; std::string inRecord; } rows[] = {
        {kit::kLieNullObjectInArray, false, kUnexpected, " " + seh},
        {kit::kLieFloatsAsDoubles, false, S_OK, "  <argval value=\"5.26354e-315\"/>"},
        {kit::kLieWideElements, false, S_OK, "  <argval value=\"3\"/>"},
        {kit::kLieShortLengthPrefix, false, S_OK, "  <error value=\"Not a valid BSTR value\"/>"},
        // In the callbacks what the material's proxy cannot read ends its own call, which the package passes on.
        {kit::kLieNullObjectInArray, true, kUnexpected, "  " + seh},
        {kit::kLieBoundsBeyondData, true, kUnexpected, "  " + seh},
        {kit::kLieUnknownType, true, kInvalidArgument, "  <arg name=\"values\" direc=\"in\" type=\"<unknown>\">"},
        {kit::kLieObjectInNoAccessPage, true, kUnexpected, "  " + seh},
        {kit::kLieThrowingName, true, kUnexpected, "  <error value=\"Uncaught exception during function call: name table corrupt\"/>"},
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
            EXPECT_EQ(row.inCallback ? routine->CalcSinglePhaseProp(makeStringArray({L"fugacity"}).get(), Bstr(row.lie).get())
                                     : phases->GetPhaseInfo(Bstr(row.lie).get(), Bstr(L"x").get(), value.put()), row.result);
            EXPECT_EQ(probe(phases.get(), kit::kLieLocks), baseline) << "the failed call left a proxy holding the server";
        }
        EXPECT_EQ(context->UnsetMaterial(), S_OK);
    }
    ASSERT_TRUE(waitForServerExit()) << "the server outlived its last object";
    const std::string log = readLog(logFiles().back());
    EXPECT_EQ(structureProblem(log), "");
    // Each lie's record holds what the proxy made of it and ends the way the call did; the record
    // after it (the lock count) is a call of its own at the top level.
    std::vector<std::string> records;
    std::istringstream in(log);
    for (std::string line, current; std::getline(in, line);) {
        if (line.rfind("<func ", 0) == 0 || !current.empty()) current += line + "\n";
        if (line == "</func>") records.push_back(std::exchange(current, ""));
    }
    for (const Row& row : rows) {
        SCOPED_TRACE(toNarrow(row.lie) + (row.inCallback ? " (callback)" : ""));
        const std::string label = "&quot;" + toNarrow(row.lie) + "&quot;", method = row.inCallback ? "CalcSinglePhaseProp" : "GetPhaseInfo";
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
    // The manager's Initialize puts "Late Arrival" in front of the store and has the server make one
    // of its managers, which reloads the list; then it fails, and the user is asked about the record.
    addRecord(kit::CLSID_ReloadingManager, PropertyPackageManager11, L"Ideal Alkanes", L"Reloading");
    DialogAnswerer answerer("TARV:", IDYES);
    const std::string failed = std::string("property package manager failed to initialize: ") + toNarrow(kit::kReloadingManagerText);
    {
        auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
        ComPtr<IDispatch> package;
        EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"Reloading").get(), package.put()), kCapeUnknown);
        EXPECT_FALSE(package);
        EXPECT_EQ(errorDescription(manager.get()), toWide(failed));
        // Once removed (Yes), the record is gone for this manager too.
        ASSERT_TRUE(answerer.wait());
        EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"Reloading").get(), package.put()), kCapeUnknown);
        EXPECT_EQ(errorDescription(manager.get()), L"Package with name \"Reloading\" is not available");
    }
    ASSERT_TRUE(answerer.wait());
    EXPECT_EQ(answerer.seen().front().text, failed + "\r\nRemove from list of exported property packages?");
    ASSERT_TRUE(waitForServerExit());
    loadPackages();
    EXPECT_EQ(storedNames(), (std::vector<std::wstring>{L"Late Arrival"}));
}

// Reaction packages: this test is the simulator, with a gas and a reaction object.
namespace {
// Toluene disproportionation at 700 K and 30 bar, 80 % toluene.
constexpr double kR = 8.314462618, kT = 700, kP = 30e5;
const std::vector<double> kGas = {0.8, 0.1, 0.1};   // toluene, benzene, o-xylene

// The sample's two rates by hand: k0 exp(-Ea/RT) times each reactant's y P / (R T) to its coefficient.
std::vector<double> expectedRates()
{
    const double c = kP / (kR * kT), k1 = 5.0e4 * std::exp(-120000 / (kR * kT)), k2 = 2.5e5 * std::exp(-120000 / (kR * kT));
    return {k1 * std::pow(kGas[0] * c, 2), k2 * kGas[1] * c * kGas[2] * c};
}

struct Road { std::vector<double> rates; LONG parameterCount = 0; HRESULT nullMaterial = S_OK; };

// The reaction object and the gas the 1.0 way, both rates, the first's parameters, a null material the 1.1 way.
Road runRoad(const ComPtr<IDispatch>& package)
{
    Road road;
    EXPECT_EQ(package.query<ICapeUtilities>()->Initialize(), S_OK);
    auto chemistry = package.query<ICapeReactionChemistry>();
    Variant ids, all;
    EXPECT_EQ(chemistry->GetReactionsIds(ids.put()), S_OK);
    const std::vector<std::wstring> reactions = readStringArray(ids.get());
    auto gas = sim::Material::create({L"Toluene", L"Benzene", L"o-Xylene"}, {L"Vapor"}, L"Reactor gas");
    gas->setValue(L"temperature", L"Overall", L"", {kT});
    gas->setValue(L"pressure", L"Overall", L"", {kP});
    ICapeThermoMaterialObject* mo = gas.get();
    EXPECT_EQ(mo->SetProp(Bstr(L"phaseFraction").get(), Bstr(L"Vapor").get(), all.get(), Bstr(L"").get(),
                          Bstr(L"mole").get(), makeDoubleArray({1.0}).get()), S_OK);
    gas->setValue(L"fraction", L"Vapor", L"mole", kGas);
    auto reactionObject = sim::ReactionObject::create();
    IDispatch* slot = static_cast<ICapeReactionProperties*>(reactionObject.get());
    EXPECT_EQ(package.query<ICapeKineticReactionContext>()->SetReactionObject(&slot), S_OK);
    IDispatch* material = mo;
    EXPECT_EQ(package.query<ICapeThermoContext10>()->SetMaterial(&material), S_OK);
    EXPECT_EQ(package.query<ICapeReactionsRoutine>()->CalcReactionProp(makeStringArray({L"reactionRate"}).get(),
                                                                       Bstr(L"Vapor").get(), ids.get(), Bstr(L"mole").get()), S_OK);
    for (const std::wstring& id : reactions)
        road.rates.push_back(reactionObject->value(L"reactionRate", L"Vapor", L"mole", id).value_or(-1));
    ComPtr<IDispatch> parameters;
    EXPECT_EQ(chemistry->GetReactionParameters(Bstr(reactions[0]).get(), parameters.put()), S_OK);
    EXPECT_EQ(parameters.query<ICapeCollection>()->Count(&road.parameterCount), S_OK);
    road.nullMaterial = package.query<ICapeThermoMaterialContext>()->SetMaterial(nullptr);
    EXPECT_EQ(package.query<ICapeUtilities>()->Terminate(), S_OK);
    return road;
}
} // namespace

TEST_F(ExportTest, AReactionPackagesCallsBackToTheGasAndTheReactionObjectAreLoggedInsideTheCalculation)
{
    addRecord(kit::CLSID_ReactionPackageManager, ReactionPackageManager10, L"Toluene Disproportionation",
              L"Kit/Toluene Disproportionation", true);
    Road road;
    {
        auto manager = create<ICapeReactionsPackageManager>(CLSID_ReactionPackageManager64);
        ComPtr<IDispatch> package;
        ASSERT_EQ(manager->ResolveReactionsPackage(Bstr(L"kit/toluene disproportionation").get(), package.put()), S_OK);
        road = runRoad(package);
    }
    ASSERT_TRUE(waitForServerExit());
    ASSERT_EQ(logFiles().size(), 1u);
    EXPECT_EQ(road.parameterCount, 2);
    EXPECT_EQ(road.nullMaterial, kInvalidArgument);   // the sample's refusal reaches the simulator
    const std::vector<double> expected = expectedRates();
    ASSERT_EQ(road.rates.size(), 2u);
    for (size_t i = 0; i < 2; ++i) EXPECT_NEAR(road.rates[i], expected[i], 1e-9 * expected[i]);
    const std::string log = readLog(logFiles()[0]);
    EXPECT_EQ(structureProblem(log), "");
    EXPECT_NE(log.find("<info value=\"Object type: CAPE-OPEN version 1.0 Reaction Package\"/>"), std::string::npos);
    // Three reads of the gas through the 1.0 interface, its compounds, and one write of the rates.
    EXPECT_EQ(nestedCalls(topLevelRecord(log, "<func name=\"ICapeReactionsRoutine::CalcReactionProp\" direc=\"in\" "
                                              "object=\"Kit/Toluene Disproportionation\">")),
              " <func name=\"ICapeThermoMaterialObject::GetProp\" direc=\"out\" object=\"Reactor gas\">\n"
              " <func name=\"ICapeThermoMaterialObject::GetProp\" direc=\"out\" object=\"Reactor gas\">\n"
              " <func name=\"ICapeThermoMaterialObject::GetProp\" direc=\"out\" object=\"Reactor gas\">\n"
              " <func name=\"ICapeThermoMaterialObject::get_ComponentIds\" direc=\"out\" object=\"Reactor gas\">\n"
              " <func name=\"ICapeReactionProperties::SetReactionProp\" direc=\"out\" object=\"Reactions\">\n") << log;
    EXPECT_NE(log.find("<error value=\"Cannot pass NULL to SetMaterial; use UnsetMaterial instead\"/>"), std::string::npos);
    EXPECT_EQ(log.find("is not released at final release"), std::string::npos) << log;   // Terminate let both proxies go
    // The parameters came through a collection proxy, whose calls are the simulator's.
    EXPECT_NE(log.find("<func name=\"ICapeCollection::Count\" direc=\"in\" object=\"Parameters\">"), std::string::npos);
}

// The new-package method called by the sample simulator, the server's dialog answered through its controls.
namespace {
constexpr CLSID kIdealPackage = {0xE2785283, 0x7782, 0x4DEA, {0xB4, 0x2C, 0xFD, 0xD9, 0x27, 0xB1, 0x02, 0x86}};
constexpr int kTree = 204, kLogging = 814;

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
    // A record there before (not logged), what is typed (nothing: Cancel), the dialog's box; the store and logs after.
    const struct { const char* what; const wchar_t* stored; const char* typed; bool logging; std::vector<std::wstring> after;
                   size_t logs; } cases[] = {
        {"new, not logged", nullptr, "TARVKit Ideal", false, {L"TARVKit Ideal Package"}, 0},
        {"same name: not added again, logged by the box", L"TARVKit Ideal Package", "TARVKit Ideal", true,
         {L"TARVKit Ideal Package"}, 1},
        {"names differing in case are different", L"tarvkit ideal package", "TARVKit Ideal", false,
         {L"tarvkit ideal package", L"TARVKit Ideal Package"}, 0},
        {"cancelled: the simulator's call fails and nothing is stored", nullptr, "", false, {}, 0},
    };
    for (const auto& c : cases) {
        SetUp();
        if (c.stored) addRecord(kIdealPackage, PropertyPackage11, c.stored, c.stored, false);
        // The dialog: what is typed into the tree selects the item, the box is set, then OK; nothing typed: Cancel.
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
        SCOPED_TRACE(c.what);
        EXPECT_TRUE(found);
        EXPECT_EQ(okEnabled, *c.typed != 0);
        EXPECT_EQ(exitCode, *c.typed ? 0u : 1u) << err;
        EXPECT_TRUE(*c.typed || err.find("NewPropertyPackage failed\n  no package was chosen") != std::string::npos) << err;
        ASSERT_TRUE(waitForServerExit());
        loadPackages();
        EXPECT_EQ(storedNames(), c.after);
        EXPECT_EQ(logFiles().size(), c.logs);
        TearDown();
    }
}
