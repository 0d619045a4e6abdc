// The thermo proxies' methods read through their logs: which arguments and checks each writes in
// which order, the material's version lock, the refusals, and the out-arguments chosen by flags.
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
