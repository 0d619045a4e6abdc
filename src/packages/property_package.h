#pragma once
// The exposed property packages: what a simulator holds after resolving a package through the
// server. Each forwards the package's interfaces to the real package in the server's process;
// with a log, the material that a package works on is wrapped so its traffic is logged too.
#include "proxy/factory.h"
#include "proxy/proxy_class.h"

namespace tarv {

// A CAPE-OPEN 1.0 package: every calculating method takes the material, wrapped for that call.
class CPropertyPackage10
    : public ProxyClass<CPropertyPackage10, ExposedObjectBase, ICapeThermoPropertyPackage, ICapeThermoPropertyPackage> {
public:
    CPropertyPackage10();

    HRESULT STDMETHODCALLTYPE GetPhaseList(VARIANT* phases) override;
    HRESULT STDMETHODCALLTYPE GetComponentList(VARIANT* compIds, VARIANT* formulae, VARIANT* name, VARIANT* boilTemps,
                                               VARIANT* molwt, VARIANT* casno) override;
    HRESULT STDMETHODCALLTYPE GetUniversalConstant(IDispatch* materialObject, VARIANT props, VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE GetComponentConstant(IDispatch* materialObject, VARIANT props, VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE CalcProp(IDispatch* materialObject, VARIANT props, VARIANT phases, BSTR calcType) override;
    HRESULT STDMETHODCALLTYPE CalcEquilibrium(IDispatch* materialObject, BSTR flashType, VARIANT props) override;
    HRESULT STDMETHODCALLTYPE PropCheck(IDispatch* materialObject, VARIANT props, VARIANT* valid) override;
    HRESULT STDMETHODCALLTYPE ValidityCheck(IDispatch* materialObject, VARIANT props, VARIANT* valid) override;
    HRESULT STDMETHODCALLTYPE GetPropList(VARIANT* props) override;

    void releaseInterfaces() override;

private:
    ComPtr<ICapeThermoPropertyPackage> thermoPackage_;
};

// A CAPE-OPEN 1.1 package: the simulator sets the material once, through SetMaterial.
class CPropertyPackage11
    : public ProxyClass<CPropertyPackage11, ExposedObjectBase, ICapeThermoPropertyRoutine, ICapeThermoCompounds,
                        ICapeThermoEquilibriumRoutine, ICapeThermoMaterialContext, ICapeThermoPhases,
                        ICapeThermoPropertyRoutine, ICapeThermoUniversalConstant> {
public:
    CPropertyPackage11();

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
    // ICapeThermoEquilibriumRoutine
    HRESULT STDMETHODCALLTYPE CalcEquilibrium(VARIANT specification1, VARIANT specification2,
                                              BSTR solutionType) override;
    HRESULT STDMETHODCALLTYPE CheckEquilibriumSpec(VARIANT specification1, VARIANT specification2,
                                                   BSTR solutionType, VARIANT_BOOL* isSupported) override;
    // ICapeThermoMaterialContext
    HRESULT STDMETHODCALLTYPE SetMaterial(IDispatch* material) override;
    HRESULT STDMETHODCALLTYPE UnsetMaterial() override;
    // ICapeThermoPhases
    HRESULT STDMETHODCALLTYPE GetNumPhases(LONG* num) override;
    HRESULT STDMETHODCALLTYPE GetPhaseInfo(BSTR phaseLabel, BSTR phaseAttribute, VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE GetPhaseList(VARIANT* phaseLabels, VARIANT* stateOfAggregation,
                                           VARIANT* keyCompoundId) override;
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
    // ICapeThermoUniversalConstant
    HRESULT STDMETHODCALLTYPE GetUniversalConstant(BSTR constantId, VARIANT* constantValue) override;
    HRESULT STDMETHODCALLTYPE GetUniversalConstantList(VARIANT* constantId) override;

    void releaseInterfaces() override;

private:
    template <class I, class F, class... S>
    HRESULT call(const char* method, ComPtr<I>& cached, F&& forward, S&&... steps)
    {
        return proxyCall<LogMode::Checked>(*this, method, cached, std::forward<F>(forward), std::forward<S>(steps)...);
    }

    ComPtr<ICapeThermoCompounds> thermoCompounds_;
    ComPtr<ICapeThermoEquilibriumRoutine> thermoEquilibriumRoutine_;
    ComPtr<ICapeThermoMaterialContext> thermoMaterialContext_;
    ComPtr<ICapeThermoPhases> thermoPhases_;
    ComPtr<ICapeThermoPropertyRoutine> thermoPropertyRoutine_;
    ComPtr<ICapeThermoUniversalConstant> thermoUniversalConstant_;
};

} // namespace tarv
