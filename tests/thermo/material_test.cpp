// The thermo proxies through their logs: every method both ways, the material's version lock, the
// out-arguments chosen by flags, and the checks that come before every argument or at every call.
#include "thermo/harness.h"

#include "com/bstr.h"
#include "com/variant.h"

#include <gtest/gtest.h>

using tarv::Bstr;
using namespace thermotest;

TEST(Dispatch, EveryMethodLogsTheSameWhetherCalledThroughItsVtableOrByName)
{
    // The material's seven interfaces hold 53 methods, the template's one 2, the context's four 6.
    EXPECT_EQ(testsupport::checkEveryMethodBothWays(proxyClasses()), 53 + 2 + 6);
}

TEST(VersionLock, TheFirstCallDecidesPerProxyAndWrongGenerationCallsAreReportedAndForwarded)
{
    struct Step {
        int proxy;            // which of the scenario's two proxies is called
        const char* method;
        HRESULT result;
        const char* checks;   // the check records of the call
        bool forwarded;
    };
    struct Scenario {
        const char* what;
        Material kit;
        int version;          // what the factory passed
        std::vector<Step> steps;
        int finalVersion;     // the first proxy's lock at the end
    };
    const char* const compounds = "ICapeThermoCompounds::GetNumCompounds";
    const char* const phases = "ICapeThermoPhases::GetNumPhases";
    const char* const clear = "ICapeThermoMaterial::ClearAllProps";
    const char* const overall = "ICapeThermoMaterial::GetOverallProp";
    const char* const getProp = "ICapeThermoMaterialObject::GetProp";
    const char* const components = "ICapeThermoMaterialObject::GetNumComponents";
    const Scenario scenarios[] = {
        {"1.1 proxy, full 1.1 material", Material::Full11, 1,
         {{0, compounds, S_OK, "", true}, {0, components, E_NOINTERFACE, "VER10 NOTEXPOSED", false}}, 1},
        {"1.0 proxy, full 1.1 material", Material::Full11, 0,
         {{0, compounds, S_OK, "VER11", true}, {0, phases, S_OK, "VER11", true}}, 0},
        {"1.0 proxy, ICapeThermoMaterial only", Material::Material11, 0,
         {{0, overall, S_OK, "VER11", true}, {0, phases, E_NOINTERFACE, "VER11 NOTEXPOSED", false}}, 0},
        {"1.1 proxy, 1.0 material", Material::Object10, 1,
         {{0, components, S_OK, "VER10", true}, {0, clear, E_NOINTERFACE, "NOTEXPOSED", false}}, 1},
        {"undecided, identification first, then 1.1", Material::Both, -1,
         {{0, "ICapeIdentification::get_ComponentName", S_OK, "", true}, {0, clear, S_OK, "", true},
          {0, getProp, S_OK, "VER10", true}, {0, overall, S_OK, "", true}}, 1},
        {"undecided, 1.0 first", Material::Both, -1, {{0, getProp, S_OK, "", true}, {0, clear, S_OK, "VER11", true}}, 0},
        {"undecided, 1.0 material", Material::Object10, -1,
         {{0, getProp, S_OK, "", true}, {0, clear, E_NOINTERFACE, "VER11 NOTEXPOSED", false}}, 0},
        {"undecided, decided by a refused call", Material::Material11, -1,
         {{0, components, E_NOINTERFACE, "NOTEXPOSED", false}, {0, clear, S_OK, "VER11", true}}, 0},
        {"two proxies of one material lock apart", Material::Both, -1,
         {{0, getProp, S_OK, "", true}, {1, clear, S_OK, "", true}, {1, getProp, S_OK, "VER10", true},
          {0, clear, S_OK, "VER11", true}}, 0},
    };
    for (const Scenario& s : scenarios) {
        SCOPED_TRACE(s.what);
        LogCapture capture;
        auto kitObject = makeMaterial(s.kit);
        NoLeaks leaks{kitObject.get()};
        ComPtr<IDispatch> proxies[] = {tarv::createMaterialProxy(kitObject.get(), capture.log(), s.version, nullptr, 0),
                                       tarv::createMaterialProxy(kitObject.get(), capture.log(), s.version, nullptr, 0)};
        // Queries for either generation take no part in the lock.
        proxies[0].query<ICapeThermoMaterialObject>();
        proxies[0].query<ICapeThermoMaterial>();
        for (const Step& step : s.steps) {
            kitObject->clearCalls();
            size_t before = capture.records().size();
            Call call(findMethod(step.method));
            EXPECT_EQ(call.byVtable(materialFacet(proxies[step.proxy].get(), findMethod(step.method).iid)), step.result)
                << step.method;
            EXPECT_EQ(checksOf(capture.records().substr(before)), step.checks) << step.method;
            EXPECT_EQ(kitObject->callCount(step.method), step.forwarded ? 1u : 0u) << step.method;
        }
        EXPECT_EQ(materialOf(proxies[0].get())->materialVersion, s.finalVersion);
    }
}

TEST(MaterialObject, CalcAndGetLnPhiLogsTheResultsItsFlagsAskForAndForwardsTheFlags)
{
    struct Case {
        int flags;
        HRESULT result;
        const char* shown;   // how the log writes the flags
        std::vector<std::string> outs;
    } cases[] = {
        {0, S_OK, "CAPE_NO_CALCULATION", {}},
        {1, S_OK, "|", {"lnPhi"}},
        {4, S_OK, "|", {"lnPhiDP"}},
        {10, S_OK, "|", {"lnPhiDT", "lnPhiDn"}},
        {15, S_OK, "|", {"lnPhi", "lnPhiDT", "lnPhiDP", "lnPhiDn"}},
        {16, S_OK, "", {}},
        {17, S_OK, "|", {"lnPhi"}},
        {15, E_FAIL, "|", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.flags);
        LogCapture capture;
        auto kitObject = makeMaterial(Material::Full11);
        int received = -1;
        // The material fills all four whatever it was asked.
        kitObject->on(&ICapeThermoPropertyRoutine::CalcAndGetLnPhi,
                      [&](BSTR, double, double, VARIANT, int flags, VARIANT* a, VARIANT* b, VARIANT* c2, VARIANT* d) {
                          received = flags;
                          for (VARIANT* out : {a, b, c2, d}) tarv::makeDoubleArray({-0.5}).detachTo(out);
                          return c.result;
                      });
        NoLeaks leaks{kitObject.get()};
        auto proxy = tarv::createMaterialProxy(kitObject.get(), capture.log(), 1, nullptr, 0).query<ICapeThermoPropertyRoutine>();
        tarv::Variant lnPhi, dT, dP, dn, moles = tarv::makeDoubleArray({1, 2});
        EXPECT_EQ(proxy->CalcAndGetLnPhi(Bstr(L"Vapor").get(), 300, 1e5, moles.get(), c.flags, lnPhi.ptr(), dT.ptr(),
                                         dP.ptr(), dn.ptr()),
                  c.result);
        EXPECT_EQ(received, c.flags);
        const std::string records = capture.records();
        EXPECT_NE(records.find(std::string("<arg name=\"fFlags\" direc=\"in\" type=\"int\">\n  <argval value=\"") + c.shown + "\"/>"),
                  std::string::npos)
            << records;
        std::vector<std::string> outs;
        std::istringstream in(records);
        for (std::string line; std::getline(in, line);)
            if (line.rfind(" <arg ", 0) == 0 && attribute(line, "direc") == "out") outs.push_back(attribute(line, "name"));
        EXPECT_EQ(outs, c.outs);
    }
}

// A read-only setter's complaint and an empty label's error come before every argument; SetProp's
// `values` is shown as going out; a deprecated method is reported at every call, and every call goes on.
TEST(MaterialObject, ReadOnlySettersAndDeprecatedMethodsAreReportedAndStillForwarded)
{
    LogCapture capture;
    auto kitObject = makeMaterial(Material::Both);
    NoLeaks leaks{kitObject.get()};
    {
        ComPtr<IDispatch> readOnly11 = tarv::createMaterialProxy(kitObject.get(), capture.log(), 1, nullptr, 1);
        ComPtr<IDispatch> readOnly10 = tarv::createMaterialProxy(kitObject.get(), capture.log(), 0, nullptr, 1);
        tarv::Variant values = tarv::makeDoubleArray({1.5}), compIds = tarv::makeStringArray({L"water"}), relList;
        EXPECT_EQ(readOnly11.query<ICapeThermoMaterial>()->SetSinglePhaseProp(Bstr(L"fugacity").get(), Bstr(L"").get(),
                                                                             Bstr(L"mole").get(), values.get()),
                  S_OK);
        auto object = readOnly10.query<ICapeThermoMaterialObject>();
        EXPECT_EQ(object->SetProp(Bstr(L"fraction").get(), Bstr(L"Vapor").get(), compIds.get(), nullptr, Bstr(L"mole").get(),
                                  values.get()),
                  S_OK);
        EXPECT_EQ(capture.records(), testsupport::expectedText("thermo/read_only_setters.log"));
        for (int i = 0; i < 2; ++i) EXPECT_EQ(object->ValidityCheck(compIds.get(), relList.ptr()), S_OK);
        EXPECT_EQ(testsupport::occurrences(capture.records(), "ValidityCheck should not be used"), 2u);
    }
    EXPECT_EQ(kitObject->callCount("ICapeThermoMaterial::SetSinglePhaseProp"), 1u);
    EXPECT_EQ(kitObject->callCount("ICapeThermoMaterialObject::SetProp"), 1u);
    EXPECT_EQ(kitObject->callCount("ICapeThermoMaterialObject::ValidityCheck"), 2u);
}
