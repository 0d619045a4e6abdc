#pragma once
// The simulator's material: a property store seen through both generations' interfaces.
//
// CAPE-OPEN 1.1 (ICapeThermoMaterial): overall properties, the present phases with their status,
// single-phase and two-phase properties. Values are kept per property, phase and basis as given
// (no basis conversion); temperature, pressure and other basis-free properties ignore the basis.
// A phase's properties may only be set while the phase is present, and setting the present
// phases drops the values of phases that left the list.
//
// CAPE-OPEN 1.0 (ICapeThermoMaterialObject): the same store, phase "Overall" standing for the
// overall properties; SetProp of a phaseFraction makes a phase present (> 0) or absent (0). The
// calculation methods (CalcEquilibrium, CalcProp, GetComponentConstant, ...) are passed on to
// the 1.0 property package attached with attachPackage10, with this material as argument.
#include "ideal/component.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace sim {

class Material final : public samples::ideal::CapeComponent<ICapeThermoMaterial, ICapeThermoMaterialObject> {
public:
    static tarv::ComPtr<Material> create(std::vector<std::wstring> compounds, std::vector<std::wstring> phases,
                                         std::wstring name = L"Material");

    const std::vector<std::wstring>& compounds() const noexcept { return compounds_; }
    const std::vector<std::wstring>& phases() const noexcept { return phases_; }
    void attachPackage10(ICapeThermoPropertyPackage* package) { package10_ = tarv::ComPtr<ICapeThermoPropertyPackage>(package); }

    // Direct access for the owner, without going through COM. `phase` is a phase label or
    // "Overall"; a two-phase property's phase is the two labels joined by "+".
    void setValue(const std::wstring& property, const std::wstring& phase, const std::wstring& basis,
                  std::vector<double> values);
    std::optional<std::vector<double>> value(const std::wstring& property, const std::wstring& phase,
                                             const std::wstring& basis) const;
    const std::vector<std::wstring>& presentPhases() const noexcept { return present_; }
    const std::vector<LONG>& phaseStatus() const noexcept { return status_; }
    // The 1.1 way: lists the phases that may be present before an equilibrium calculation.
    void setPresentPhases(const std::vector<std::wstring>& labels, const std::vector<LONG>& status);

    // ICapeThermoMaterial
    HRESULT STDMETHODCALLTYPE ClearAllProps() override;
    HRESULT STDMETHODCALLTYPE CopyFromMaterial(IDispatch** source) override;
    HRESULT STDMETHODCALLTYPE CreateMaterial(IDispatch** materialObject) override;
    HRESULT STDMETHODCALLTYPE GetOverallProp(BSTR property, BSTR basis, VARIANT* results) override;
    HRESULT STDMETHODCALLTYPE GetOverallTPFraction(double* temperature, double* pressure, VARIANT* composition) override;
    HRESULT STDMETHODCALLTYPE GetPresentPhases(VARIANT* phaseLabels, VARIANT* phaseStatus) override;
    HRESULT STDMETHODCALLTYPE GetSinglePhaseProp(BSTR property, BSTR phaseLabel, BSTR basis, VARIANT* results) override;
    HRESULT STDMETHODCALLTYPE GetTPFraction(BSTR phaseLabel, double* temperature, double* pressure,
                                            VARIANT* composition) override;
    HRESULT STDMETHODCALLTYPE GetTwoPhaseProp(BSTR property, VARIANT phaseLabels, BSTR basis, VARIANT* results) override;
    HRESULT STDMETHODCALLTYPE SetOverallProp(BSTR property, BSTR basis, VARIANT values) override;
    HRESULT STDMETHODCALLTYPE SetPresentPhases(VARIANT phaseLabels, VARIANT phaseStatus) override;
    HRESULT STDMETHODCALLTYPE SetSinglePhaseProp(BSTR property, BSTR phaseLabel, BSTR basis, VARIANT values) override;
    HRESULT STDMETHODCALLTYPE SetTwoPhaseProp(BSTR property, VARIANT phaseLabels, BSTR basis, VARIANT values) override;

    // ICapeThermoMaterialObject
    HRESULT STDMETHODCALLTYPE get_ComponentIds(VARIANT* compIds) override;
    HRESULT STDMETHODCALLTYPE get_PhaseIds(VARIANT* PhaseIds) override;
    HRESULT STDMETHODCALLTYPE GetUniversalConstant(VARIANT props, VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE GetComponentConstant(VARIANT props, VARIANT compIds, VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE CalcProp(VARIANT props, VARIANT phases, BSTR calcType) override;
    HRESULT STDMETHODCALLTYPE GetProp(BSTR property, BSTR phase, VARIANT compIds, BSTR calcType, BSTR basis,
                                      VARIANT* results) override;
    HRESULT STDMETHODCALLTYPE SetProp(BSTR property, BSTR phase, VARIANT compIds, BSTR calcType, BSTR basis,
                                      VARIANT values) override;
    HRESULT STDMETHODCALLTYPE CalcEquilibrium(BSTR flashType, VARIANT props) override;
    HRESULT STDMETHODCALLTYPE SetIndependentVar(VARIANT indVars, VARIANT values) override;
    HRESULT STDMETHODCALLTYPE GetIndependentVar(VARIANT indVars, VARIANT* values) override;
    HRESULT STDMETHODCALLTYPE PropCheck(VARIANT props, VARIANT* valid) override;
    HRESULT STDMETHODCALLTYPE AvailableProps(VARIANT* props) override;
    HRESULT STDMETHODCALLTYPE RemoveResults(VARIANT props) override;
    HRESULT STDMETHODCALLTYPE CreateMaterialObject(IDispatch** materialObject) override;
    HRESULT STDMETHODCALLTYPE Duplicate(IDispatch** clone) override;
    HRESULT STDMETHODCALLTYPE ValidityCheck(VARIANT props, VARIANT* relList) override;
    HRESULT STDMETHODCALLTYPE GetPropList(VARIANT* props) override;
    HRESULT STDMETHODCALLTYPE GetNumComponents(LONG* numComp) override;

private:
    Material(std::vector<std::wstring> compounds, std::vector<std::wstring> phases, std::wstring name);
    ~Material() override;

    struct Stored {
        std::wstring property, phase, basis;   // as first given, for AvailableProps
        std::vector<double> values;
    };
    static std::wstring key(const std::wstring& property, const std::wstring& phase, const std::wstring& basis);
    std::wstring knownPhase(const std::wstring& label) const;   // canonical label, or raises
    void requirePresent(const std::wstring& label) const;
    std::vector<double> checkedValues(const std::wstring& property, const VARIANT& values) const;
    const std::vector<double>& stored(const std::wstring& property, const std::wstring& phase,
                                      const std::wstring& basis) const;
    void dropPhase(const std::wstring& label);
    ICapeThermoPropertyPackage& package(const wchar_t* operation) const;
    void checkPackage(HRESULT hr, const wchar_t* operation) const;
    tarv::ComPtr<Material> copy(bool withValues) const;

    std::vector<std::wstring> compounds_;
    std::vector<std::wstring> phases_;
    std::map<std::wstring, Stored> values_;
    std::vector<std::wstring> present_;
    std::vector<LONG> status_;
    tarv::ComPtr<ICapeThermoPropertyPackage> package10_;
};

} // namespace sim
