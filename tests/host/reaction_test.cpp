// Reaction packages exported end to end: this test (or the sample simulator) is the simulator,
// with a gas and a reaction object of its own; TARV64.exe serves the sample reaction packages.
#include "host/export_fixture.h"

#include "com/variant.h"
#include "kit/classes.h"
#include "simulator/material.h"
#include "simulator/reaction_object.h"
#include "support/dialogs.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <sstream>

using namespace tarv;
using testsupport::DialogAnswerer;
using testsupport::ExportTest;
using testsupport::kCapeUnknown;
using testsupport::readLog;
using testsupport::topLevelRecord;

namespace {

constexpr double kR = 8.314462618;
constexpr HRESULT kCapeInvalidArgument = static_cast<HRESULT>(0x80040506);

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
        EXPECT_EQ(road.nullMaterial, kCapeInvalidArgument);
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
