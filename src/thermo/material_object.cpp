#include "thermo/material_object.h"

namespace tarv {
namespace {

using namespace expect;

// The first call through either generation decides an undecided proxy; a call of the other
// generation is reported and forwarded all the same.
template <int Version>
struct VersionLock {
    int& materialVersion;
    void before(ProxyCall& c) const
    {
        if (materialVersion == -1) materialVersion = Version;
        if (materialVersion == Version) return;
        c.log->writeError(Version == 1
                              ? "Invalid usage of version 1.1 material object interfaces (wrong thermo version)"
                              : "Invalid usage of version 1.0 material object interfaces (wrong thermo version)");
    }
};
using Version11 = VersionLock<1>;
using Version10 = VersionLock<0>;

bool isEmpty(BSTR s) { return SysStringLen(s) == 0; }

struct PhaseLabelCheck {
    BSTR phaseLabel;
    void before(ProxyCall& c) const { if (isEmpty(phaseLabel)) c.log->writeError("Phase label cannot be empty"); }
};

struct PhaseCheck {
    BSTR phase;
    void before(ProxyCall& c) const { if (isEmpty(phase)) c.log->writeError("Phase cannot be empty"); }
};

// CalcAndGetLnPhi returns only what its flags asked for, and only that is logged.
struct LnPhiResults {
    int flags;
    VARIANT* lnPhi;
    VARIANT* lnPhiDT;
    VARIANT* lnPhiDP;
    VARIANT* lnPhiDn;
    void after(ProxyCall& c) const
    {
        if (flags & 1) c.log->argVariant("lnPhi", 0, *lnPhi, doubles, 0);
        if (flags & 2) c.log->argVariant("lnPhiDT", 0, *lnPhiDT, doubles, 0);
        if (flags & 4) c.log->argVariant("lnPhiDP", 0, *lnPhiDP, doubles, 0);
        if (flags & 8) c.log->argVariant("lnPhiDn", 0, *lnPhiDn, doubles, 0);
    }
};

// CopyFromMaterial: a source that is one of this server's proxies has the object behind it fetched
// and held over the call; the foreign call still receives the source as it came.
struct HoldOriginalSource {
    IDispatch** source;
    ComPtr<IUnknown> original;
    void prepare(ProxyCall&)
    {
        if (!source || !*source) return;
        ComPtr<IOriginalObject64> proxy;
        if (SUCCEEDED((*source)->QueryInterface(IID_IOriginalObject64, proxy.putVoid())))
            proxy->GetOriginalObject(original.put());
    }
    void afterForward(ProxyCall&) { original.reset(); }
};

} // namespace

ComPtr<IDispatch> createMaterialProxy(IUnknown* foreign, CallLog* log, int version, ExposedObjectBase* owner,
                                      int readOnly)
{
    return createProxy<CMaterialObject>(foreign, log, owner, readOnly,
                                        [version](CMaterialObject& m) { m.materialVersion = version; });
}

CMaterialObject::CMaterialObject()
{
    isInput_ = 0;
    type_ = "Material Object";
}

void CMaterialObject::releaseInterfaces()
{
    thermoCompounds_.reset();
    thermoEquilibriumRoutine_.reset();
    thermoPhases_.reset();
    thermoPropertyRoutine_.reset();
    thermoUniversalConstant_.reset();
    thermoMaterialObject_.reset();
    thermoMaterial_.reset();
    CapeOpenBase::releaseInterfaces();
}

// --- ICapeThermoCompounds ------------------------------------------------------------------------

HRESULT CMaterialObject::GetCompoundConstant(VARIANT props, VARIANT compIds, VARIANT* propVals)
{
    return call("ICapeThermoCompounds::GetCompoundConstant", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetCompoundConstant(props, compIds, propVals); },
        InVariant{"props", props, strings}, InVariant{"compIds", compIds, strings, mayBeEmpty},
        Version11{materialVersion}, OutVariant{"propVals", propVals, variants});
}

HRESULT CMaterialObject::GetCompoundList(VARIANT* compIds, VARIANT* formulae, VARIANT* names, VARIANT* boilTemps,
                                         VARIANT* molwts, VARIANT* casnos)
{
    return call("ICapeThermoCompounds::GetCompoundList", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetCompoundList(compIds, formulae, names, boilTemps, molwts, casnos); },
        Version11{materialVersion}, OutVariant{"compIds", compIds, strings, mayBeEmpty},
        OutVariant{"formulae", formulae, strings, mayBeEmpty}, OutVariant{"names", names, strings, mayBeEmpty},
        OutVariant{"boilTemps", boilTemps, doubles, mayBeEmpty}, OutVariant{"molwts", molwts, doubles, mayBeEmpty},
        OutVariant{"casnos", casnos, strings, mayBeEmpty});
}

HRESULT CMaterialObject::GetConstPropList(VARIANT* props)
{
    return call("ICapeThermoCompounds::GetConstPropList", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetConstPropList(props); }, Version11{materialVersion},
        OutVariant{"props", props, strings, mayBeEmpty});
}

HRESULT CMaterialObject::GetNumCompounds(LONG* num)
{
    return call("ICapeThermoCompounds::GetNumCompounds", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetNumCompounds(num); }, Version11{materialVersion},
        OutLong{"num", num});
}

HRESULT CMaterialObject::GetPDependentProperty(VARIANT props, double pressure, VARIANT compIds, VARIANT* propVals)
{
    return call("ICapeThermoCompounds::GetPDependentProperty", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetPDependentProperty(props, pressure, compIds, propVals); },
        Version11{materialVersion}, InVariant{"props", props, strings}, InDouble{"pressure", pressure},
        InVariant{"compIds", compIds, strings}, OutVariant{"propVals", propVals, doubles});
}

HRESULT CMaterialObject::GetPDependentPropList(VARIANT* props)
{
    return call("ICapeThermoCompounds::GetPDependentPropList", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetPDependentPropList(props); }, Version11{materialVersion},
        OutVariant{"props", props, strings, mayBeEmpty});
}

HRESULT CMaterialObject::GetTDependentProperty(VARIANT props, double temperature, VARIANT compIds, VARIANT* propVals)
{
    return call("ICapeThermoCompounds::GetTDependentProperty", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetTDependentProperty(props, temperature, compIds, propVals); },
        InVariant{"props", props, strings}, InDouble{"temperature", temperature},
        InVariant{"compIds", compIds, strings}, Version11{materialVersion},
        OutVariant{"propVals", propVals, doubles});
}

HRESULT CMaterialObject::GetTDependentPropList(VARIANT* props)
{
    return call("ICapeThermoCompounds::GetTDependentPropList", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetTDependentPropList(props); }, Version11{materialVersion},
        OutVariant{"props", props, strings, mayBeEmpty});
}

// --- ICapeThermoEquilibriumRoutine ---------------------------------------------------------------

HRESULT CMaterialObject::CalcEquilibrium(VARIANT specification1, VARIANT specification2, BSTR solutionType)
{
    return call("ICapeThermoEquilibriumRoutine::CalcEquilibrium", thermoEquilibriumRoutine_,
        [&](ICapeThermoEquilibriumRoutine* i) { return i->CalcEquilibrium(specification1, specification2, solutionType); },
        InVariant{"specification1", specification1, strings}, InVariant{"specification2", specification2, strings},
        InString{"solutionType", solutionType}, ReadOnlyCheck{}, Version11{materialVersion});
}

HRESULT CMaterialObject::CheckEquilibriumSpec(VARIANT specification1, VARIANT specification2, BSTR solutionType,
                                              VARIANT_BOOL* isSupported)
{
    return call("ICapeThermoEquilibriumRoutine::CheckEquilibriumSpec", thermoEquilibriumRoutine_,
        [&](ICapeThermoEquilibriumRoutine* i) {
            return i->CheckEquilibriumSpec(specification1, specification2, solutionType, isSupported);
        },
        InVariant{"specification1", specification1, strings}, InVariant{"specification2", specification2, strings},
        InString{"solutionType", solutionType}, Version11{materialVersion},
        OutVariantBool{"isSupported", isSupported});
}

// --- ICapeThermoMaterial -------------------------------------------------------------------------

HRESULT CMaterialObject::ClearAllProps()
{
    return call("ICapeThermoMaterial::ClearAllProps", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->ClearAllProps(); }, ReadOnlyCheck{}, Version11{materialVersion});
}

HRESULT CMaterialObject::CopyFromMaterial(IDispatch** source)
{
    HoldOriginalSource hold{source, {}};
    return call("ICapeThermoMaterial::CopyFromMaterial", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->CopyFromMaterial(source); }, InInterface{"source", source ? *source : nullptr},
        ReadOnlyCheck{}, Version11{materialVersion}, hold);
}

HRESULT CMaterialObject::CreateMaterial(IDispatch** materialObject)
{
    WrapResult wrap{"materialObject", materialObject, [this](IDispatch* made) {
        return createMaterialProxy(made, log_, 1, owner_, 0);
    }};
    return call("ICapeThermoMaterial::CreateMaterial", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->CreateMaterial(wrap.slot()); }, Version11{materialVersion}, wrap);
}

HRESULT CMaterialObject::GetOverallProp(BSTR property, BSTR basis, VARIANT* results)
{
    return call("ICapeThermoMaterial::GetOverallProp", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->GetOverallProp(property, basis, results); },
        InString{"property", property}, InString{"basis", basis}, Version11{materialVersion},
        OutVariant{"results", results, doubles});
}

HRESULT CMaterialObject::GetOverallTPFraction(double* temperature, double* pressure, VARIANT* composition)
{
    return call("ICapeThermoMaterial::GetOverallTPFraction", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->GetOverallTPFraction(temperature, pressure, composition); },
        Version11{materialVersion}, OutDouble{"temperature", temperature}, OutDouble{"pressure", pressure},
        OutVariant{"composition", composition, doubles});
}

HRESULT CMaterialObject::GetPresentPhases(VARIANT* phaseLabels, VARIANT* phaseStatus)
{
    return call("ICapeThermoMaterial::GetPresentPhases", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->GetPresentPhases(phaseLabels, phaseStatus); },
        Version11{materialVersion}, OutVariant{"phaseLabels", phaseLabels, strings, mayBeEmpty},
        OutVariant{"phaseStatus", phaseStatus, any, mayBeEmpty});
}

HRESULT CMaterialObject::GetSinglePhaseProp(BSTR property, BSTR phaseLabel, BSTR basis, VARIANT* results)
{
    return call("ICapeThermoMaterial::GetSinglePhaseProp", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->GetSinglePhaseProp(property, phaseLabel, basis, results); },
        InString{"property", property}, InString{"phaseLabel", phaseLabel}, PhaseLabelCheck{phaseLabel},
        InString{"basis", basis}, Version11{materialVersion}, OutVariant{"results", results, doubles});
}

HRESULT CMaterialObject::GetTPFraction(BSTR phaseLabel, double* temperature, double* pressure, VARIANT* composition)
{
    return call("ICapeThermoMaterial::GetTPFraction", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->GetTPFraction(phaseLabel, temperature, pressure, composition); },
        InString{"phaseLabel", phaseLabel}, PhaseLabelCheck{phaseLabel}, Version11{materialVersion},
        OutDouble{"temperature", temperature}, OutDouble{"pressure", pressure},
        OutVariant{"composition", composition, doubles});
}

HRESULT CMaterialObject::GetTwoPhaseProp(BSTR property, VARIANT phaseLabels, BSTR basis, VARIANT* results)
{
    return call("ICapeThermoMaterial::GetTwoPhaseProp", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->GetTwoPhaseProp(property, phaseLabels, basis, results); },
        InString{"property", property}, InVariant{"phaseLabels", phaseLabels, strings}, InString{"basis", basis},
        Version11{materialVersion}, OutVariant{"results", results, doubles});
}

HRESULT CMaterialObject::SetOverallProp(BSTR property, BSTR basis, VARIANT values)
{
    return call("ICapeThermoMaterial::SetOverallProp", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->SetOverallProp(property, basis, values); }, ReadOnlyCheck{},
        InString{"property", property}, InString{"basis", basis}, InVariant{"values", values, doubles},
        Version11{materialVersion});
}

HRESULT CMaterialObject::SetPresentPhases(VARIANT phaseLabels, VARIANT phaseStatus)
{
    return call("ICapeThermoMaterial::SetPresentPhases", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->SetPresentPhases(phaseLabels, phaseStatus); }, ReadOnlyCheck{},
        InVariant{"phaseLabels", phaseLabels, strings, mayBeEmpty},
        InVariant{"phaseStatus", phaseStatus, any, mayBeEmpty}, Version11{materialVersion});
}

HRESULT CMaterialObject::SetSinglePhaseProp(BSTR property, BSTR phaseLabel, BSTR basis, VARIANT values)
{
    return call("ICapeThermoMaterial::SetSinglePhaseProp", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->SetSinglePhaseProp(property, phaseLabel, basis, values); },
        ReadOnlyCheck{}, PhaseLabelCheck{phaseLabel}, InString{"property", property},
        InString{"phaseLabel", phaseLabel}, InString{"basis", basis}, InVariant{"values", values, doubles},
        Version11{materialVersion});
}

HRESULT CMaterialObject::SetTwoPhaseProp(BSTR property, VARIANT phaseLabels, BSTR basis, VARIANT values)
{
    return call("ICapeThermoMaterial::SetTwoPhaseProp", thermoMaterial_,
        [&](ICapeThermoMaterial* i) { return i->SetTwoPhaseProp(property, phaseLabels, basis, values); },
        ReadOnlyCheck{}, InString{"property", property}, InVariant{"phaseLabels", phaseLabels, strings},
        InString{"basis", basis}, InVariant{"values", values, doubles}, Version11{materialVersion});
}

// --- ICapeThermoPhases ---------------------------------------------------------------------------

HRESULT CMaterialObject::GetNumPhases(LONG* num)
{
    return call("ICapeThermoPhases::GetNumPhases", thermoPhases_,
        [&](ICapeThermoPhases* i) { return i->GetNumPhases(num); }, Version11{materialVersion}, OutLong{"num", num});
}

HRESULT CMaterialObject::GetPhaseInfo(BSTR phaseLabel, BSTR phaseAttribute, VARIANT* value)
{
    return call("ICapeThermoPhases::GetPhaseInfo", thermoPhases_,
        [&](ICapeThermoPhases* i) { return i->GetPhaseInfo(phaseLabel, phaseAttribute, value); },
        InString{"phaseLabel", phaseLabel}, InString{"phaseAttribute", phaseAttribute}, Version11{materialVersion},
        OutVariant{"value", value, any, mayBeEmpty});
}

HRESULT CMaterialObject::GetPhaseList(VARIANT* phaseLabels, VARIANT* stateOfAggregation, VARIANT* keyCompoundId)
{
    return call("ICapeThermoPhases::GetPhaseList", thermoPhases_,
        [&](ICapeThermoPhases* i) { return i->GetPhaseList(phaseLabels, stateOfAggregation, keyCompoundId); },
        Version11{materialVersion}, OutVariant{"phaseLabels", phaseLabels, strings},
        OutVariant{"stateOfAggregation", stateOfAggregation, strings},
        OutVariant{"keyCompoundId", keyCompoundId, strings});
}

// --- ICapeThermoPropertyRoutine ------------------------------------------------------------------

HRESULT CMaterialObject::CalcAndGetLnPhi(BSTR phaseLabel, double temperature, double pressure, VARIANT moleNumbers,
                                         int fFlags, VARIANT* lnPhi, VARIANT* lnPhiDT, VARIANT* lnPhiDP,
                                         VARIANT* lnPhiDn)
{
    return call("ICapeThermoPropertyRoutine::CalcAndGetLnPhi", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) {
            return i->CalcAndGetLnPhi(phaseLabel, temperature, pressure, moleNumbers, fFlags, lnPhi, lnPhiDT,
                                      lnPhiDP, lnPhiDn);
        },
        InString{"phaseLabel", phaseLabel}, InDouble{"temperature", temperature}, InDouble{"pressure", pressure},
        InVariant{"moleNumbers", moleNumbers, doubles}, InCalculationFlags{"fFlags", fFlags},
        Version11{materialVersion}, LnPhiResults{fFlags, lnPhi, lnPhiDT, lnPhiDP, lnPhiDn});
}

HRESULT CMaterialObject::CalcSinglePhaseProp(VARIANT props, BSTR phaseLabel)
{
    return call("ICapeThermoPropertyRoutine::CalcSinglePhaseProp", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->CalcSinglePhaseProp(props, phaseLabel); }, ReadOnlyCheck{},
        InVariant{"props", props, strings}, InString{"phaseLabel", phaseLabel}, Version11{materialVersion});
}

HRESULT CMaterialObject::CalcTwoPhaseProp(VARIANT props, VARIANT phaseLabels)
{
    return call("ICapeThermoPropertyRoutine::CalcTwoPhaseProp", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->CalcTwoPhaseProp(props, phaseLabels); }, ReadOnlyCheck{},
        InVariant{"props", props, strings}, InVariant{"phaseLabels", phaseLabels, strings},
        Version11{materialVersion});
}

HRESULT CMaterialObject::CheckSinglePhasePropSpec(BSTR property, BSTR phaseLabel, VARIANT_BOOL* valid)
{
    return call("ICapeThermoPropertyRoutine::CheckSinglePhasePropSpec", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->CheckSinglePhasePropSpec(property, phaseLabel, valid); },
        InString{"property", property}, InString{"phaseLabel", phaseLabel}, Version11{materialVersion},
        OutVariantBool{"valid", valid});
}

HRESULT CMaterialObject::CheckTwoPhasePropSpec(BSTR property, VARIANT phaseLabels, VARIANT_BOOL* valid)
{
    return call("ICapeThermoPropertyRoutine::CheckTwoPhasePropSpec", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->CheckTwoPhasePropSpec(property, phaseLabels, valid); },
        InString{"property", property}, InVariant{"phaseLabels", phaseLabels, strings}, Version11{materialVersion},
        OutVariantBool{"valid", valid});
}

HRESULT CMaterialObject::GetSinglePhasePropList(VARIANT* props)
{
    return call("ICapeThermoPropertyRoutine::GetSinglePhasePropList", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->GetSinglePhasePropList(props); }, Version11{materialVersion},
        OutVariant{"props", props, strings, mayBeEmpty});
}

HRESULT CMaterialObject::GetTwoPhasePropList(VARIANT* props)
{
    return call("ICapeThermoPropertyRoutine::GetTwoPhasePropList", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->GetTwoPhasePropList(props); }, Version11{materialVersion},
        OutVariant{"props", props, strings, mayBeEmpty});
}

// --- ICapeThermoUniversalConstant ----------------------------------------------------------------

HRESULT CMaterialObject::GetUniversalConstant(BSTR constantId, VARIANT* constantValue)
{
    return call("ICapeThermoUniversalConstant::GetUniversalConstant", thermoUniversalConstant_,
        [&](ICapeThermoUniversalConstant* i) { return i->GetUniversalConstant(constantId, constantValue); },
        InString{"constantId", constantId}, Version11{materialVersion},
        OutVariant{"constantValue", constantValue, any, mayBeEmpty});
}

HRESULT CMaterialObject::GetUniversalConstantList(VARIANT* constantId)
{
    return call("ICapeThermoUniversalConstant::GetUniversalConstantList", thermoUniversalConstant_,
        [&](ICapeThermoUniversalConstant* i) { return i->GetUniversalConstantList(constantId); },
        Version11{materialVersion}, OutVariant{"constantId", constantId, strings, mayBeEmpty});
}

// --- ICapeThermoMaterialObject -------------------------------------------------------------------

HRESULT CMaterialObject::get_ComponentIds(VARIANT* compIds)
{
    return call("ICapeThermoMaterialObject::get_ComponentIds", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->get_ComponentIds(compIds); }, Version10{materialVersion},
        OutVariant{"compIds", compIds, strings, mayBeEmpty});
}

HRESULT CMaterialObject::get_PhaseIds(VARIANT* PhaseIds)
{
    return call("ICapeThermoMaterialObject::get_PhaseIds", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->get_PhaseIds(PhaseIds); }, Version10{materialVersion},
        OutVariant{"PhaseIds", PhaseIds, strings, mayBeEmpty});
}

HRESULT CMaterialObject::GetUniversalConstant(VARIANT props, VARIANT* propVals)
{
    return call("ICapeThermoMaterialObject::GetUniversalConstant", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->GetUniversalConstant(props, propVals); },
        InVariant{"props", props, strings}, Version10{materialVersion}, OutVariant{"propVals", propVals, variants});
}

HRESULT CMaterialObject::GetComponentConstant(VARIANT props, VARIANT compIds, VARIANT* propVals)
{
    return call("ICapeThermoMaterialObject::GetComponentConstant", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->GetComponentConstant(props, compIds, propVals); },
        InVariant{"props", props, strings}, InVariant{"compIds", compIds, strings, mayBeEmpty},
        Version10{materialVersion}, OutVariant{"propVals", propVals, variants});
}

HRESULT CMaterialObject::CalcProp(VARIANT props, VARIANT phases, BSTR calcType)
{
    return call("ICapeThermoMaterialObject::CalcProp", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->CalcProp(props, phases, calcType); }, ReadOnlyCheck{},
        InVariant{"props", props, strings}, InVariant{"phases", phases, strings}, InString{"calcType", calcType},
        Version10{materialVersion});
}

HRESULT CMaterialObject::GetProp(BSTR property, BSTR phase, VARIANT compIds, BSTR calcType, BSTR basis,
                                 VARIANT* results)
{
    return call("ICapeThermoMaterialObject::GetProp", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->GetProp(property, phase, compIds, calcType, basis, results); },
        InString{"property", property}, InString{"phase", phase}, InVariant{"compIds", compIds, strings, mayBeEmpty},
        InString{"calcType", calcType}, InString{"basis", basis}, PhaseCheck{phase}, Version10{materialVersion},
        OutVariant{"results", results, doubles});
}

// `values` is an in-argument that the log shows with direction "out".
HRESULT CMaterialObject::SetProp(BSTR property, BSTR phase, VARIANT compIds, BSTR calcType, BSTR basis,
                                 VARIANT values)
{
    return call("ICapeThermoMaterialObject::SetProp", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->SetProp(property, phase, compIds, calcType, basis, values); },
        ReadOnlyCheck{}, InString{"property", property}, InString{"phase", phase},
        InVariant{"compIds", compIds, strings, mayBeEmpty}, InString{"calcType", calcType},
        InString{"basis", basis}, InVariantShownAsOut{"values", values, doubles}, PhaseCheck{phase},
        Version10{materialVersion});
}

HRESULT CMaterialObject::CalcEquilibrium(BSTR flashType, VARIANT props)
{
    return call("ICapeThermoMaterialObject::CalcEquilibrium", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->CalcEquilibrium(flashType, props); }, ReadOnlyCheck{},
        InString{"flashType", flashType}, InVariant{"props", props, strings, mayBeEmpty}, Version10{materialVersion});
}

HRESULT CMaterialObject::SetIndependentVar(VARIANT indVars, VARIANT values)
{
    return call("ICapeThermoMaterialObject::SetIndependentVar", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->SetIndependentVar(indVars, values); }, ReadOnlyCheck{},
        InVariant{"indVars", indVars, strings}, InVariant{"values", values, doubles},
        ErrorRecord{"SetIndependentVar should not be used"}, Version10{materialVersion});
}

HRESULT CMaterialObject::GetIndependentVar(VARIANT indVars, VARIANT* values)
{
    return call("ICapeThermoMaterialObject::GetIndependentVar", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->GetIndependentVar(indVars, values); },
        InVariant{"indVars", indVars, strings}, ErrorRecord{"GetIndependentVar should not be used"},
        Version10{materialVersion}, OutVariant{"values", values, doubles});
}

HRESULT CMaterialObject::PropCheck(VARIANT props, VARIANT* valid)
{
    return call("ICapeThermoMaterialObject::PropCheck", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->PropCheck(props, valid); }, InVariant{"props", props, strings},
        Version10{materialVersion}, OutVariant{"valid", valid, bools});
}

HRESULT CMaterialObject::AvailableProps(VARIANT* props)
{
    return call("ICapeThermoMaterialObject::AvailableProps", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->AvailableProps(props); }, Version10{materialVersion},
        OutVariant{"props", props, strings, mayBeEmpty});
}

HRESULT CMaterialObject::RemoveResults(VARIANT props)
{
    return call("ICapeThermoMaterialObject::RemoveResults", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->RemoveResults(props); }, ReadOnlyCheck{},
        InVariant{"props", props, strings, mayBeEmpty}, Version10{materialVersion});
}

HRESULT CMaterialObject::ValidityCheck(VARIANT props, VARIANT* relList)
{
    return call("ICapeThermoMaterialObject::ValidityCheck", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->ValidityCheck(props, relList); },
        InVariant{"props", props, strings}, ErrorRecord{"ValidityCheck should not be used"},
        Version10{materialVersion}, OutVariant{"relList", relList, dispatches});
}

HRESULT CMaterialObject::GetPropList(VARIANT* props)
{
    return call("ICapeThermoMaterialObject::GetPropList", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->GetPropList(props); }, Version10{materialVersion},
        OutVariant{"props", props, strings, mayBeEmpty});
}

HRESULT CMaterialObject::GetNumComponents(LONG* numComp)
{
    return call("ICapeThermoMaterialObject::GetNumComponents", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->GetNumComponents(numComp); }, Version10{materialVersion},
        OutLong{"numComp", numComp});
}

HRESULT CMaterialObject::CreateMaterialObject(IDispatch** materialObject)
{
    WrapResult wrap{"materialObject", materialObject, [this](IDispatch* made) {
        return createMaterialProxy(made, log_, 0, owner_, 0);
    }};
    return call("ICapeThermoMaterialObject::CreateMaterialObject", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->CreateMaterialObject(wrap.slot()); },
        Version10{materialVersion}, wrap);
}

HRESULT CMaterialObject::Duplicate(IDispatch** clone)
{
    WrapResult wrap{"clone", clone, [this](IDispatch* made) { return createMaterialProxy(made, log_, 0, owner_, 0); }};
    return call("ICapeThermoMaterialObject::Duplicate", thermoMaterialObject_,
        [&](ICapeThermoMaterialObject* i) { return i->Duplicate(wrap.slot()); }, Version10{materialVersion}, wrap);
}

} // namespace tarv
