#pragma once
// The CAPE-OPEN 1.1 ideal property package. It works on the material set with SetMaterial:
// reads conditions through ICapeThermoMaterial (GetOverallTPFraction, GetPresentPhases,
// GetOverallProp, GetSinglePhaseProp, GetTPFraction) and writes results back (SetPresentPhases,
// SetSinglePhaseProp, SetTwoPhaseProp, SetOverallProp).
//
// Equilibrium specs are [property, basis, phase] arrays, in either order:
//   TP flash:  ["temperature", "", "Overall"] and ["pressure", "", "Overall"]; the phases the
//              material lists as present are the ones allowed (none listed: all).
//   PVF, TVF:  ["pressure" or "temperature", "", "Overall"] and ["phaseFraction", "mole",
//              "Vapor" or "Liquid"], the fraction read from that phase of the material; the
//              temperature or pressure found is set overall. Fractions 0 and 1 are bubble and
//              dew points, reported with both phases present.
// Solution type "Unspecified" or "Normal".
#include "ideal/component.h"
#include "ideal/configurations.h"
#include "ideal/ideal_model.h"
#include "ideal/parameters.h"

namespace samples::ideal {

class IdealPackage11 final
    : public CapeComponent<ICapeThermoPropertyRoutine, ICapeThermoEquilibriumRoutine, ICapeThermoCompounds,
                           ICapeThermoPhases, ICapeThermoUniversalConstant, ICapeThermoMaterialContext> {
public:
    explicit IdealPackage11(const PackageConfiguration& config);

    const IdealModel& model() const noexcept { return model_; }

    // ICapeThermoPropertyRoutine
    HRESULT STDMETHODCALLTYPE CalcAndGetLnPhi(BSTR phaseLabel, double temperature, double pressure,
                                              VARIANT moleNumbers, int fFlags, VARIANT* lnPhi, VARIANT* lnPhiDT,
                                              VARIANT* lnPhiDP, VARIANT* lnPhiDn) override;
    HRESULT STDMETHODCALLTYPE CalcSinglePhaseProp(VARIANT props, BSTR phaseLabel) override;
    HRESULT STDMETHODCALLTYPE CalcTwoPhaseProp(VARIANT props, VARIANT phaseLabels) override;
    HRESULT STDMETHODCALLTYPE CheckSinglePhasePropSpec(BSTR property, BSTR phaseLabel, VARIANT_BOOL* valid) override;
    HRESULT STDMETHODCALLTYPE CheckTwoPhasePropSpec(BSTR property, VARIANT phaseLabels, VARIANT_BOOL* valid) override;
    HRESULT STDMETHODCALLTYPE GetSinglePhasePropList(VARIANT* props) override;
    HRESULT STDMETHODCALLTYPE GetTwoPhasePropList(VARIANT* props) override;

    // ICapeThermoEquilibriumRoutine
    HRESULT STDMETHODCALLTYPE CalcEquilibrium(VARIANT specification1, VARIANT specification2,
                                              BSTR solutionType) override;
    HRESULT STDMETHODCALLTYPE CheckEquilibriumSpec(VARIANT specification1, VARIANT specification2,
                                                   BSTR solutionType, VARIANT_BOOL* isSupported) override;

    // ICapeThermoCompounds
    HRESULT STDMETHODCALLTYPE GetCompoundConstant(VARIANT props, VARIANT compIds, VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE GetCompoundList(VARIANT* compIds, VARIANT* formulae, VARIANT* names,
                                              VARIANT* boilTemps, VARIANT* molwts, VARIANT* casnos) override;
    HRESULT STDMETHODCALLTYPE GetConstPropList(VARIANT* props) override;
    HRESULT STDMETHODCALLTYPE GetNumCompounds(LONG* num) override;
    HRESULT STDMETHODCALLTYPE GetPDependentProperty(VARIANT props, double pressure, VARIANT compIds,
                                                    VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE GetPDependentPropList(VARIANT* props) override;
    HRESULT STDMETHODCALLTYPE GetTDependentProperty(VARIANT props, double temperature, VARIANT compIds,
                                                    VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE GetTDependentPropList(VARIANT* props) override;

    // ICapeThermoPhases
    HRESULT STDMETHODCALLTYPE GetNumPhases(LONG* num) override;
    HRESULT STDMETHODCALLTYPE GetPhaseInfo(BSTR phaseLabel, BSTR phaseAttribute, VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE GetPhaseList(VARIANT* phaseLabels, VARIANT* stateOfAggregation,
                                           VARIANT* keyCompoundId) override;

    // ICapeThermoUniversalConstant
    HRESULT STDMETHODCALLTYPE GetUniversalConstant(BSTR constantId, VARIANT* constantValue) override;
    HRESULT STDMETHODCALLTYPE GetUniversalConstantList(VARIANT* constantId) override;

    // ICapeThermoMaterialContext
    HRESULT STDMETHODCALLTYPE SetMaterial(IDispatch* material) override;
    HRESULT STDMETHODCALLTYPE UnsetMaterial() override;

private:
    void terminate() override;
    ICapeThermoMaterial& material(const wchar_t* operation);
    // A failed call on the material becomes this package's failure, with the material's text.
    void check(HRESULT hr, const wchar_t* call);
    std::vector<size_t> compoundIndices(const VARIANT& compIds);

    tarv::ComPtr<IDispatch> parameterCollection() override { return parameters_.collection; }

    PackageParameters parameters_;
    IdealModel model_;
    tarv::ComPtr<ICapeThermoMaterial> material_;
};

// The model of a configuration's compounds.
IdealModel modelOf(const PackageConfiguration& config);

} // namespace samples::ideal
