#include "packages/property_package.h"

#include "thermo/material_object.h"

namespace tarv {

using namespace expect;

// --- CPropertyPackage10 --------------------------------------------------------------------------

CPropertyPackage10::CPropertyPackage10()
{
    type_ = "Property Package 1.0";
    thermoVersion_ = 0;
}

void CPropertyPackage10::releaseInterfaces()
{
    thermoPackage_.reset();
    ExposedObjectBase::releaseInterfaces();
}

#define TARV_PP10(method) "ICapeThermoPropertyPackage::" method

HRESULT CPropertyPackage10::GetPhaseList(VARIANT* phases)
{
    return proxyCall<LogMode::Checked>(*this, TARV_PP10("GetPhaseList"), thermoPackage_,
        [&](ICapeThermoPropertyPackage* i) { return i->GetPhaseList(phases); }, OutVariant{"phases", phases, strings});
}

HRESULT CPropertyPackage10::GetComponentList(VARIANT* compIds, VARIANT* formulae, VARIANT* name, VARIANT* boilTemps,
                                             VARIANT* molwt, VARIANT* casno)
{
    return proxyCall<LogMode::Checked>(*this, TARV_PP10("GetComponentList"), thermoPackage_,
        [&](ICapeThermoPropertyPackage* i) { return i->GetComponentList(compIds, formulae, name, boilTemps, molwt, casno); },
        OutVariant{"compIds", compIds, strings, mayBeEmpty}, OutVariant{"formulae", formulae, strings, mayBeEmpty},
        OutVariant{"name", name, strings, mayBeEmpty}, OutVariant{"boilTemps", boilTemps, doubles, mayBeEmpty},
        OutVariant{"molwt", molwt, doubles, mayBeEmpty}, OutVariant{"casno", casno, strings, mayBeEmpty});
}

HRESULT CPropertyPackage10::GetUniversalConstant(IDispatch* materialObject, VARIANT props, VARIANT* propVals)
{
    WrapMaterial wrap{materialObject, 0, this, false};
    return proxyCall<LogMode::Checked>(*this, TARV_PP10("GetUniversalConstant"), thermoPackage_,
        [&](ICapeThermoPropertyPackage* i) { return i->GetUniversalConstant(wrap.forwarded(), props, propVals); },
        InInterface{"materialObject", materialObject}, InVariant{"props", props, strings}, wrap,
        OutVariant{"propVals", propVals, variants});
}

HRESULT CPropertyPackage10::GetComponentConstant(IDispatch* materialObject, VARIANT props, VARIANT* propVals)
{
    WrapMaterial wrap{materialObject, 0, this, false};
    return proxyCall<LogMode::Checked>(*this, TARV_PP10("GetComponentConstant"), thermoPackage_,
        [&](ICapeThermoPropertyPackage* i) { return i->GetComponentConstant(wrap.forwarded(), props, propVals); },
        InInterface{"materialObject", materialObject}, InVariant{"props", props, strings}, wrap,
        OutVariant{"propVals", propVals, variants});
}

HRESULT CPropertyPackage10::CalcProp(IDispatch* materialObject, VARIANT props, VARIANT phases, BSTR calcType)
{
    WrapMaterial wrap{materialObject, 0, this, false};
    return proxyCall<LogMode::Checked>(*this, TARV_PP10("CalcProp"), thermoPackage_,
        [&](ICapeThermoPropertyPackage* i) { return i->CalcProp(wrap.forwarded(), props, phases, calcType); },
        InInterface{"materialObject", materialObject}, InVariant{"props", props, strings},
        InVariant{"phases", phases, strings}, InString{"calcType", calcType}, wrap);
}

HRESULT CPropertyPackage10::CalcEquilibrium(IDispatch* materialObject, BSTR flashType, VARIANT props)
{
    WrapMaterial wrap{materialObject, 0, this, false};
    return proxyCall<LogMode::Checked>(*this, TARV_PP10("CalcEquilibrium"), thermoPackage_,
        [&](ICapeThermoPropertyPackage* i) { return i->CalcEquilibrium(wrap.forwarded(), flashType, props); },
        InInterface{"materialObject", materialObject}, InString{"flashType", flashType},
        InVariant{"props", props, strings, mayBeEmpty}, wrap);
}

HRESULT CPropertyPackage10::PropCheck(IDispatch* materialObject, VARIANT props, VARIANT* valid)
{
    WrapMaterial wrap{materialObject, 0, this, false};
    return proxyCall<LogMode::Checked>(*this, TARV_PP10("PropCheck"), thermoPackage_,
        [&](ICapeThermoPropertyPackage* i) { return i->PropCheck(wrap.forwarded(), props, valid); },
        InInterface{"materialObject", materialObject}, InVariant{"props", props, strings}, wrap,
        OutVariant{"valid", valid, bools});
}

HRESULT CPropertyPackage10::ValidityCheck(IDispatch* materialObject, VARIANT props, VARIANT* valid)
{
    WrapMaterial wrap{materialObject, 0, this, false};
    return proxyCall<LogMode::Checked>(*this, TARV_PP10("ValidityCheck"), thermoPackage_,
        [&](ICapeThermoPropertyPackage* i) { return i->ValidityCheck(wrap.forwarded(), props, valid); },
        InInterface{"materialObject", materialObject}, InVariant{"props", props, strings},
        ErrorRecord{"ValidityCheck should not be used"}, wrap, OutVariant{"valid", valid, any, mayBeEmpty});
}

HRESULT CPropertyPackage10::GetPropList(VARIANT* props)
{
    return proxyCall<LogMode::Checked>(*this, TARV_PP10("GetPropList"), thermoPackage_,
        [&](ICapeThermoPropertyPackage* i) { return i->GetPropList(props); },
        OutVariant{"props", props, strings, mayBeEmpty});
}

#undef TARV_PP10

// --- CPropertyPackage11 --------------------------------------------------------------------------

CPropertyPackage11::CPropertyPackage11()
{
    type_ = "Property Package 1.1";
    thermoVersion_ = 1;
}

void CPropertyPackage11::releaseInterfaces()
{
    thermoCompounds_.reset();
    thermoEquilibriumRoutine_.reset();
    thermoMaterialContext_.reset();
    thermoPhases_.reset();
    thermoPropertyRoutine_.reset();
    thermoUniversalConstant_.reset();
    ExposedObjectBase::releaseInterfaces();
}

HRESULT CPropertyPackage11::GetCompoundConstant(VARIANT props, VARIANT compIds, VARIANT* propVals)
{
    return call("ICapeThermoCompounds::GetCompoundConstant", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetCompoundConstant(props, compIds, propVals); },
        InVariant{"props", props, strings}, InVariant{"compIds", compIds, strings, mayBeEmpty},
        OutVariant{"propVals", propVals, variants});
}

HRESULT CPropertyPackage11::GetCompoundList(VARIANT* compIds, VARIANT* formulae, VARIANT* names, VARIANT* boilTemps,
                                            VARIANT* molwts, VARIANT* casnos)
{
    return call("ICapeThermoCompounds::GetCompoundList", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetCompoundList(compIds, formulae, names, boilTemps, molwts, casnos); },
        OutVariant{"compIds", compIds, strings, mayBeEmpty}, OutVariant{"formulae", formulae, strings, mayBeEmpty},
        OutVariant{"names", names, strings, mayBeEmpty}, OutVariant{"boilTemps", boilTemps, doubles, mayBeEmpty},
        OutVariant{"molwts", molwts, doubles, mayBeEmpty}, OutVariant{"casnos", casnos, strings, mayBeEmpty});
}

HRESULT CPropertyPackage11::GetConstPropList(VARIANT* props)
{
    return call("ICapeThermoCompounds::GetConstPropList", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetConstPropList(props); },
        OutVariant{"props", props, strings, mayBeEmpty});
}

HRESULT CPropertyPackage11::GetNumCompounds(LONG* num)
{
    return call("ICapeThermoCompounds::GetNumCompounds", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetNumCompounds(num); }, OutLong{"num", num});
}

HRESULT CPropertyPackage11::GetPDependentProperty(VARIANT props, double pressure, VARIANT compIds, VARIANT* propVals)
{
    return call("ICapeThermoCompounds::GetPDependentProperty", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetPDependentProperty(props, pressure, compIds, propVals); },
        InVariant{"props", props, strings}, InDouble{"pressure", pressure}, InVariant{"compIds", compIds, strings},
        OutVariant{"propVals", propVals, doubles});
}

HRESULT CPropertyPackage11::GetPDependentPropList(VARIANT* props)
{
    return call("ICapeThermoCompounds::GetPDependentPropList", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetPDependentPropList(props); },
        OutVariant{"props", props, strings, mayBeEmpty});
}

HRESULT CPropertyPackage11::GetTDependentProperty(VARIANT props, double temperature, VARIANT compIds,
                                                  VARIANT* propVals)
{
    return call("ICapeThermoCompounds::GetTDependentProperty", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetTDependentProperty(props, temperature, compIds, propVals); },
        InVariant{"props", props, strings}, InDouble{"temperature", temperature},
        InVariant{"compIds", compIds, strings}, OutVariant{"propVals", propVals, doubles});
}

HRESULT CPropertyPackage11::GetTDependentPropList(VARIANT* props)
{
    return call("ICapeThermoCompounds::GetTDependentPropList", thermoCompounds_,
        [&](ICapeThermoCompounds* i) { return i->GetTDependentPropList(props); },
        OutVariant{"props", props, strings, mayBeEmpty});
}

HRESULT CPropertyPackage11::CalcEquilibrium(VARIANT specification1, VARIANT specification2, BSTR solutionType)
{
    return call("ICapeThermoEquilibriumRoutine::CalcEquilibrium", thermoEquilibriumRoutine_,
        [&](ICapeThermoEquilibriumRoutine* i) { return i->CalcEquilibrium(specification1, specification2, solutionType); },
        InVariant{"specification1", specification1, strings}, InVariant{"specification2", specification2, strings},
        InString{"solutionType", solutionType});
}

HRESULT CPropertyPackage11::CheckEquilibriumSpec(VARIANT specification1, VARIANT specification2, BSTR solutionType,
                                                 VARIANT_BOOL* isSupported)
{
    return call("ICapeThermoEquilibriumRoutine::CheckEquilibriumSpec", thermoEquilibriumRoutine_,
        [&](ICapeThermoEquilibriumRoutine* i) {
            return i->CheckEquilibriumSpec(specification1, specification2, solutionType, isSupported);
        },
        InVariant{"specification1", specification1, strings}, InVariant{"specification2", specification2, strings},
        InString{"solutionType", solutionType}, OutVariantBool{"isSupported", isSupported});
}

HRESULT CPropertyPackage11::SetMaterial(IDispatch* material)
{
    WrapMaterial wrap{material, 1, this, true};
    return call("ICapeThermoMaterialContext::SetMaterial", thermoMaterialContext_,
        [&](ICapeThermoMaterialContext* i) { return i->SetMaterial(wrap.forwarded()); }, ReadOnlyCheck{},
        InInterface{"material", material},
        ErrorWhenNull{material, "Cannot pass NULL pointer to SetMateriall; use UnsetMaterial instead"}, wrap);
}

HRESULT CPropertyPackage11::UnsetMaterial()
{
    return call("ICapeThermoMaterialContext::UnsetMaterial", thermoMaterialContext_,
        [&](ICapeThermoMaterialContext* i) { return i->UnsetMaterial(); });
}

HRESULT CPropertyPackage11::GetNumPhases(LONG* num)
{
    return call("ICapeThermoPhases::GetNumPhases", thermoPhases_,
        [&](ICapeThermoPhases* i) { return i->GetNumPhases(num); }, OutLong{"num", num});
}

HRESULT CPropertyPackage11::GetPhaseInfo(BSTR phaseLabel, BSTR phaseAttribute, VARIANT* value)
{
    return call("ICapeThermoPhases::GetPhaseInfo", thermoPhases_,
        [&](ICapeThermoPhases* i) { return i->GetPhaseInfo(phaseLabel, phaseAttribute, value); },
        InString{"phaseLabel", phaseLabel}, InString{"phaseAttribute", phaseAttribute},
        OutVariant{"value", value, any, mayBeEmpty});
}

HRESULT CPropertyPackage11::GetPhaseList(VARIANT* phaseLabels, VARIANT* stateOfAggregation, VARIANT* keyCompoundId)
{
    return call("ICapeThermoPhases::GetPhaseList", thermoPhases_,
        [&](ICapeThermoPhases* i) { return i->GetPhaseList(phaseLabels, stateOfAggregation, keyCompoundId); },
        OutVariant{"phaseLabels", phaseLabels, strings}, OutVariant{"stateOfAggregation", stateOfAggregation, strings},
        OutVariant{"keyCompoundId", keyCompoundId, strings});
}

HRESULT CPropertyPackage11::CalcAndGetLnPhi(BSTR phaseLabel, double temperature, double pressure, VARIANT moleNumbers,
                                            int fFlags, VARIANT* lnPhi, VARIANT* lnPhiDT, VARIANT* lnPhiDP,
                                            VARIANT* lnPhiDn)
{
    return call("ICapeThermoPropertyRoutine::CalcAndGetLnPhi", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) {
            return i->CalcAndGetLnPhi(phaseLabel, temperature, pressure, moleNumbers, fFlags, lnPhi, lnPhiDT, lnPhiDP,
                                      lnPhiDn);
        },
        InString{"phaseLabel", phaseLabel}, InDouble{"temperature", temperature}, InDouble{"pressure", pressure},
        InVariant{"moleNumbers", moleNumbers, doubles}, InCalculationFlags{"fFlags", fFlags},
        OutVariant{"lnPhi", lnPhi, doubles}, OutVariant{"lnPhiDT", lnPhiDT, doubles},
        OutVariant{"lnPhiDP", lnPhiDP, doubles}, OutVariant{"lnPhiDn", lnPhiDn, doubles});
}

HRESULT CPropertyPackage11::CalcSinglePhaseProp(VARIANT props, BSTR phaseLabel)
{
    return call("ICapeThermoPropertyRoutine::CalcSinglePhaseProp", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->CalcSinglePhaseProp(props, phaseLabel); },
        InVariant{"props", props, strings}, InString{"phaseLabel", phaseLabel});
}

HRESULT CPropertyPackage11::CalcTwoPhaseProp(VARIANT props, VARIANT phaseLabels)
{
    return call("ICapeThermoPropertyRoutine::CalcTwoPhaseProp", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->CalcTwoPhaseProp(props, phaseLabels); },
        InVariant{"props", props, strings}, InVariant{"phaseLabels", phaseLabels, strings});
}

HRESULT CPropertyPackage11::CheckSinglePhasePropSpec(BSTR property, BSTR phaseLabel, VARIANT_BOOL* valid)
{
    return call("ICapeThermoPropertyRoutine::CheckSinglePhasePropSpec", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->CheckSinglePhasePropSpec(property, phaseLabel, valid); },
        InString{"property", property}, InString{"phaseLabel", phaseLabel}, OutVariantBool{"valid", valid});
}

HRESULT CPropertyPackage11::CheckTwoPhasePropSpec(BSTR property, VARIANT phaseLabels, VARIANT_BOOL* valid)
{
    return call("ICapeThermoPropertyRoutine::CheckTwoPhasePropSpec", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->CheckTwoPhasePropSpec(property, phaseLabels, valid); },
        InString{"property", property}, InVariant{"phaseLabels", phaseLabels, strings}, OutVariantBool{"valid", valid});
}

HRESULT CPropertyPackage11::GetSinglePhasePropList(VARIANT* props)
{
    return call("ICapeThermoPropertyRoutine::GetSinglePhasePropList", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->GetSinglePhasePropList(props); },
        OutVariant{"props", props, strings, mayBeEmpty});
}

HRESULT CPropertyPackage11::GetTwoPhasePropList(VARIANT* props)
{
    return call("ICapeThermoPropertyRoutine::GetTwoPhasePropList", thermoPropertyRoutine_,
        [&](ICapeThermoPropertyRoutine* i) { return i->GetTwoPhasePropList(props); },
        OutVariant{"props", props, strings, mayBeEmpty});
}

HRESULT CPropertyPackage11::GetUniversalConstant(BSTR constantId, VARIANT* constantValue)
{
    return call("ICapeThermoUniversalConstant::GetUniversalConstant", thermoUniversalConstant_,
        [&](ICapeThermoUniversalConstant* i) { return i->GetUniversalConstant(constantId, constantValue); },
        InString{"constantId", constantId}, OutVariant{"constantValue", constantValue, any, mayBeEmpty});
}

HRESULT CPropertyPackage11::GetUniversalConstantList(VARIANT* constantId)
{
    return call("ICapeThermoUniversalConstant::GetUniversalConstantList", thermoUniversalConstant_,
        [&](ICapeThermoUniversalConstant* i) { return i->GetUniversalConstantList(constantId); },
        OutVariant{"constantId", constantId, strings, mayBeEmpty});
}

} // namespace tarv
