// The thermo proxies' methods read through their logs: which arguments and checks each writes in
// which order, the material's version lock, the refusals, the out-arguments chosen by flags and the
// deprecated methods.
#include "thermo/harness.h"

#include "com/bstr.h"
#include "com/variant.h"

#include <gtest/gtest.h>

using tarv::Bstr;
using tarv::ComPtr;
using testsupport::LogCapture;
using namespace thermotest;

namespace {

// Every proxied method, as an outline of its records (see harness.h) on a read-only proxy whose
// material is locked to the other generation, with empty strings.
struct Row {
    const char* method;
    const char* records;
};

const Row kRows[] = {
    {"ICapeThermoCompounds::GetCompoundConstant", "props:strings compIds:strings? VER11 ->propVals:variants"},
    {"ICapeThermoCompounds::GetCompoundList", "VER11 ->compIds:strings? ->formulae:strings? ->names:strings? "
                                              "->boilTemps:doubles? ->molwts:doubles? ->casnos:strings?"},
    {"ICapeThermoCompounds::GetConstPropList", "VER11 ->props:strings?"},
    {"ICapeThermoCompounds::GetNumCompounds", "VER11 ->num:long"},
    {"ICapeThermoCompounds::GetPDependentProperty",
     "VER11 props:strings pressure:double compIds:strings ->propVals:doubles"},
    {"ICapeThermoCompounds::GetPDependentPropList", "VER11 ->props:strings?"},
    {"ICapeThermoCompounds::GetTDependentProperty",
     "props:strings temperature:double compIds:strings VER11 ->propVals:doubles"},
    {"ICapeThermoCompounds::GetTDependentPropList", "VER11 ->props:strings?"},

    {"ICapeThermoEquilibriumRoutine::CalcEquilibrium",
     "specification1:strings specification2:strings solutionType:string RO VER11"},
    {"ICapeThermoEquilibriumRoutine::CheckEquilibriumSpec",
     "specification1:strings specification2:strings solutionType:string VER11 ->isSupported:VARIANT_BOOL"},

    {"ICapeThermoMaterial::ClearAllProps", "RO VER11"},
    {"ICapeThermoMaterial::CopyFromMaterial", "source:interface RO VER11"},
    {"ICapeThermoMaterial::CreateMaterial", "VER11 ->materialObject:interface"},
    {"ICapeThermoMaterial::GetOverallProp", "property:string basis:string VER11 ->results:doubles"},
    {"ICapeThermoMaterial::GetOverallTPFraction",
     "VER11 ->temperature:double ->pressure:double ->composition:doubles"},
    {"ICapeThermoMaterial::GetPresentPhases", "VER11 ->phaseLabels:strings? ->phaseStatus:any?"},
    {"ICapeThermoMaterial::GetSinglePhaseProp",
     "property:string phaseLabel:string PL basis:string VER11 ->results:doubles"},
    {"ICapeThermoMaterial::GetTPFraction",
     "phaseLabel:string PL VER11 ->temperature:double ->pressure:double ->composition:doubles"},
    {"ICapeThermoMaterial::GetTwoPhaseProp",
     "property:string phaseLabels:strings basis:string VER11 ->results:doubles"},
    {"ICapeThermoMaterial::SetOverallProp", "RO property:string basis:string values:doubles VER11"},
    {"ICapeThermoMaterial::SetPresentPhases", "RO phaseLabels:strings? phaseStatus:any? VER11"},
    {"ICapeThermoMaterial::SetSinglePhaseProp",
     "RO PL property:string phaseLabel:string basis:string values:doubles VER11"},
    {"ICapeThermoMaterial::SetTwoPhaseProp",
     "RO property:string phaseLabels:strings basis:string values:doubles VER11"},

    {"ICapeThermoPhases::GetNumPhases", "VER11 ->num:long"},
    {"ICapeThermoPhases::GetPhaseInfo", "phaseLabel:string phaseAttribute:string VER11 ->value:any?"},
    {"ICapeThermoPhases::GetPhaseList",
     "VER11 ->phaseLabels:strings ->stateOfAggregation:strings ->keyCompoundId:strings"},

    {"ICapeThermoPropertyRoutine::CalcAndGetLnPhi",
     "phaseLabel:string temperature:double pressure:double moleNumbers:doubles fFlags:int VER11 "
     "->lnPhi:doubles ->lnPhiDT:doubles ->lnPhiDP:doubles ->lnPhiDn:doubles"},
    {"ICapeThermoPropertyRoutine::CalcSinglePhaseProp", "RO props:strings phaseLabel:string VER11"},
    {"ICapeThermoPropertyRoutine::CalcTwoPhaseProp", "RO props:strings phaseLabels:strings VER11"},
    {"ICapeThermoPropertyRoutine::CheckSinglePhasePropSpec",
     "property:string phaseLabel:string VER11 ->valid:VARIANT_BOOL"},
    {"ICapeThermoPropertyRoutine::CheckTwoPhasePropSpec",
     "property:string phaseLabels:strings VER11 ->valid:VARIANT_BOOL"},
    {"ICapeThermoPropertyRoutine::GetSinglePhasePropList", "VER11 ->props:strings?"},
    {"ICapeThermoPropertyRoutine::GetTwoPhasePropList", "VER11 ->props:strings?"},

    {"ICapeThermoUniversalConstant::GetUniversalConstant", "constantId:string VER11 ->constantValue:any?"},
    {"ICapeThermoUniversalConstant::GetUniversalConstantList", "VER11 ->constantId:strings?"},

    {"ICapeThermoMaterialObject::get_ComponentIds", "VER10 ->compIds:strings?"},
    {"ICapeThermoMaterialObject::get_PhaseIds", "VER10 ->PhaseIds:strings?"},
    {"ICapeThermoMaterialObject::GetUniversalConstant", "props:strings VER10 ->propVals:variants"},
    {"ICapeThermoMaterialObject::GetComponentConstant", "props:strings compIds:strings? VER10 ->propVals:variants"},
    {"ICapeThermoMaterialObject::CalcProp", "RO props:strings phases:strings calcType:string VER10"},
    {"ICapeThermoMaterialObject::GetProp",
     "property:string phase:string compIds:strings? calcType:string basis:string PH VER10 ->results:doubles"},
    // `values` is an in-argument that the log shows as going out, before the checks.
    {"ICapeThermoMaterialObject::SetProp",
     "RO property:string phase:string compIds:strings? calcType:string basis:string ->values:doubles PH VER10"},
    {"ICapeThermoMaterialObject::CalcEquilibrium", "RO flashType:string props:strings? VER10"},
    {"ICapeThermoMaterialObject::SetIndependentVar", "RO indVars:strings values:doubles NU VER10"},
    {"ICapeThermoMaterialObject::GetIndependentVar", "indVars:strings NU VER10 ->values:doubles"},
    {"ICapeThermoMaterialObject::PropCheck", "props:strings VER10 ->valid:bools"},
    {"ICapeThermoMaterialObject::AvailableProps", "VER10 ->props:strings?"},
    {"ICapeThermoMaterialObject::RemoveResults", "RO props:strings? VER10"},
    {"ICapeThermoMaterialObject::CreateMaterialObject", "VER10 ->materialObject:interface"},
    {"ICapeThermoMaterialObject::Duplicate", "VER10 ->clone:interface"},
    {"ICapeThermoMaterialObject::ValidityCheck", "props:strings NU VER10 ->relList:dispatches"},
    {"ICapeThermoMaterialObject::GetPropList", "VER10 ->props:strings?"},
    {"ICapeThermoMaterialObject::GetNumComponents", "VER10 ->numComp:long"},

    {"ICapeThermoMaterialTemplate::CreateMaterialObject", "->materialObject:interface"},
    {"ICapeThermoMaterialTemplate::SetProp", "RO property:string values:doubles"},

    // The context has no read-only complaint.
    {"ICapeCOSEUtilities::get_NamedValueList", "->NamedValues:strings?"},
    {"ICapeCOSEUtilities::get_NamedValue", "name:string ->NamedValue:any?"},
    {"ICapeDiagnostic::PopUpMessage", "message:string"},
    {"ICapeDiagnostic::LogMessage", "message:string"},
    {"ICapeMaterialTemplateSystem::get_MaterialTemplates", "->TemplateNames:strings?"},
    {"ICapeMaterialTemplateSystem::CreateMaterialTemplate",
     "materialTemplateName:string ->MaterialTemplate:interface"},
};

std::string outlineOf(const Method& m, Foreign foreign, HRESULT* result, kit::Calls* calls)
{
    Run wrong = runOnce(m, Fill::WrongType, foreign);
    Run empty = runOnce(m, Fill::Empty, foreign);
    EXPECT_EQ(wrong.result, empty.result) << m.qualified;
    EXPECT_EQ(wrong.calls, empty.calls) << m.qualified;
    *result = empty.result;
    *calls = empty.calls;
    return outline(wrong.records, empty.records);
}

// What a refused call leaves: the records up to the forward (out-arguments logged before it stay).
std::string beforeForward(std::string tokens)
{
    for (size_t p = tokens.rfind(" ->"); p != std::string::npos && tokens.find(' ', p + 1) == std::string::npos;
         p = tokens.rfind(" ->"))
        tokens.erase(p);
    if (tokens.rfind("->", 0) == 0) tokens.clear();
    return tokens;
}

std::string andThen(const std::string& tokens, const char* last)
{
    return tokens.empty() ? last : tokens + " " + last;
}

} // namespace

TEST(ThermoMethods, EachLogsItsArgumentsAndChecksInItsOwnOrderAndIsForwarded)
{
    for (const Row& row : kRows) {
        HRESULT result;
        kit::Calls calls;
        EXPECT_EQ(outlineOf(findMethod(row.method), Foreign::Full, &result, &calls), row.records) << row.method;
        EXPECT_EQ(result, S_OK) << row.method;
        EXPECT_EQ(calls, kit::Calls{row.method});
    }
}

TEST(ThermoMethods, RefusalsComeAfterAllChecksAndCloseTheRecordWithSuccess)
{
    for (const Row& row : kRows) {
        const Method& m = findMethod(row.method);
        HRESULT result;
        kit::Calls calls;
        EXPECT_EQ(outlineOf(m, Foreign::Emptied, &result, &calls), andThen(beforeForward(row.records), "NOTCREATED"))
            << row.method;
        EXPECT_EQ(result, E_UNEXPECTED) << row.method;
        EXPECT_TRUE(calls.empty()) << row.method;

        EXPECT_EQ(outlineOf(m, Foreign::Missing, &result, &calls), andThen(beforeForward(row.records), "NOTEXPOSED"))
            << row.method;
        EXPECT_EQ(result, E_NOINTERFACE) << row.method;
    }
}

// --- The material's version lock -----------------------------------------------------------------

namespace {

struct Step {
    int proxy;             // which of the scenario's two proxies is called
    const char* method;
    HRESULT result;
    const char* checks;    // the check records of the call
    bool forwarded;
};

struct Scenario {
    const char* what;
    Material kit;
    int version;           // what the factory passed
    std::vector<Step> steps;
    int finalVersion;      // the first proxy's lock at the end
};

} // namespace

TEST(VersionLock, TheFirstCallDecidesPerProxyAndWrongGenerationCallsAreReportedAndForwarded)
{
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
         {{0, "ICapeIdentification::get_ComponentName", S_OK, "", true},
          {0, clear, S_OK, "", true},
          {0, getProp, S_OK, "VER10", true},
          {0, overall, S_OK, "", true}}, 1},
        {"undecided, 1.0 first", Material::Both, -1,
         {{0, getProp, S_OK, "", true}, {0, clear, S_OK, "VER11", true}}, 0},
        {"undecided, 1.0 material", Material::Object10, -1,
         {{0, getProp, S_OK, "", true}, {0, clear, E_NOINTERFACE, "VER11 NOTEXPOSED", false}}, 0},
        {"undecided, decided by a refused call", Material::Material11, -1,
         {{0, components, E_NOINTERFACE, "NOTEXPOSED", false}, {0, clear, S_OK, "VER11", true}}, 0},
        {"two proxies of one material lock apart", Material::Both, -1,
         {{0, getProp, S_OK, "", true},
          {1, clear, S_OK, "", true},
          {1, getProp, S_OK, "VER10", true},
          {0, clear, S_OK, "VER11", true}}, 0},
    };
    const ProxyClassInfo& material = proxyClasses()[0];
    for (const Scenario& s : scenarios) {
        SCOPED_TRACE(s.what);
        LogCapture capture;
        auto kitObject = makeMaterial(s.kit);
        NoLeaks leaks{kitObject.get()};
        ComPtr<IDispatch> proxies[] = {material.make(kitObject.get(), capture.log(), s.version, 0),
                                       material.make(kitObject.get(), capture.log(), s.version, 0)};
        // Queries for either generation take no part in the lock.
        proxies[0].query<ICapeThermoMaterialObject>();
        proxies[0].query<ICapeThermoMaterial>();
        for (const Step& step : s.steps) {
            kitObject->clearCalls();
            size_t before = capture.records().size();
            Call call(findMethod(step.method), Fill::Values);
            IUnknown* facet = material.facet(proxies[step.proxy].get(), findMethod(step.method).iid);
            EXPECT_EQ(call.byVtable(facet), step.result) << step.method;
            EXPECT_EQ(checksOf(capture.records().substr(before)), step.checks) << step.method;
            EXPECT_EQ(kitObject->callCount(step.method), step.forwarded ? 1u : 0u) << step.method;
        }
        EXPECT_EQ(materialOf(proxies[0].get())->materialVersion, s.finalVersion);
    }
}

// --- Arguments the log chooses by value ----------------------------------------------------------

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
        ComPtr<ICapeThermoPropertyRoutine> proxy =
            tarv::createMaterialProxy(kitObject.get(), capture.log(), 1, nullptr, 0).query<ICapeThermoPropertyRoutine>();
        tarv::Variant lnPhi, dT, dP, dn;
        tarv::Variant moles = tarv::makeDoubleArray({1, 2});
        EXPECT_EQ(proxy->CalcAndGetLnPhi(Bstr(L"Vapor").get(), 300, 1e5, moles.get(), c.flags, lnPhi.ptr(), dT.ptr(),
                                         dP.ptr(), dn.ptr()),
                  c.result);
        EXPECT_EQ(received, c.flags);
        std::string records = capture.records();
        EXPECT_NE(records.find(std::string("<arg name=\"fFlags\" direc=\"in\" type=\"int\">\n  <argval value=\"") +
                               c.shown + "\"/>"),
                  std::string::npos)
            << records;
        std::vector<std::string> outs;
        for (const Item& item : parseRecords(records))
            if (item.kind == Item::Arg && item.direction == "out") outs.push_back(item.name);
        EXPECT_EQ(outs, c.outs);
    }
}

TEST(MaterialObject, ADeprecatedMethodIsReportedAtEveryCallAndEveryCallGoesOn)
{
    LogCapture capture;
    auto kitObject = makeMaterial(Material::Object10);
    NoLeaks leaks{kitObject.get()};
    {
        auto object = tarv::createMaterialProxy(kitObject.get(), capture.log(), 0, nullptr, 0)
                          .query<ICapeThermoMaterialObject>();
        tarv::Variant compIds = tarv::makeStringArray({L"water"}), relList;
        for (int i = 0; i < 2; ++i) EXPECT_EQ(object->ValidityCheck(compIds.get(), relList.ptr()), S_OK);
        EXPECT_EQ(testsupport::occurrences(capture.records(), "ValidityCheck should not be used"), 2u);
    }
    EXPECT_EQ(kitObject->callCount("ICapeThermoMaterialObject::ValidityCheck"), 2u);
}
