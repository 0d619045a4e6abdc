#pragma once
// Proxy of a material object of the simulator while a foreign package works on it. It presents
// both generations of the material (the 1.0 ICapeThermoMaterialObject and the 1.1 family of six)
// without converting between them, and reports a package that mixes the two through a version lock.
// Calls go out from the server to the simulator's object: records show direc "out".
#include "proxy/factory.h"
#include "proxy/proxy_class.h"

namespace tarv {

class CMaterialObject
    : public ProxyClass<CMaterialObject, CapeOpenBase, ICapeThermoMaterialObject, ICapeThermoCompounds,
                        ICapeThermoEquilibriumRoutine, ICapeThermoMaterial, ICapeThermoMaterialObject,
                        ICapeThermoPhases, ICapeThermoPropertyRoutine, ICapeThermoUniversalConstant> {
public:
    CMaterialObject();

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

    // ICapeThermoMaterial
    HRESULT STDMETHODCALLTYPE ClearAllProps() override;
    HRESULT STDMETHODCALLTYPE CopyFromMaterial(IDispatch** source) override;
    HRESULT STDMETHODCALLTYPE CreateMaterial(IDispatch** materialObject) override;
    HRESULT STDMETHODCALLTYPE GetOverallProp(BSTR property, BSTR basis, VARIANT* results) override;
    HRESULT STDMETHODCALLTYPE GetOverallTPFraction(double* temperature, double* pressure,
                                                   VARIANT* composition) override;
    HRESULT STDMETHODCALLTYPE GetPresentPhases(VARIANT* phaseLabels, VARIANT* phaseStatus) override;
    HRESULT STDMETHODCALLTYPE GetSinglePhaseProp(BSTR property, BSTR phaseLabel, BSTR basis,
                                                 VARIANT* results) override;
    HRESULT STDMETHODCALLTYPE GetTPFraction(BSTR phaseLabel, double* temperature, double* pressure,
                                            VARIANT* composition) override;
    HRESULT STDMETHODCALLTYPE GetTwoPhaseProp(BSTR property, VARIANT phaseLabels, BSTR basis,
                                              VARIANT* results) override;
    HRESULT STDMETHODCALLTYPE SetOverallProp(BSTR property, BSTR basis, VARIANT values) override;
    HRESULT STDMETHODCALLTYPE SetPresentPhases(VARIANT phaseLabels, VARIANT phaseStatus) override;
    HRESULT STDMETHODCALLTYPE SetSinglePhaseProp(BSTR property, BSTR phaseLabel, BSTR basis,
                                                 VARIANT values) override;
    HRESULT STDMETHODCALLTYPE SetTwoPhaseProp(BSTR property, VARIANT phaseLabels, BSTR basis,
                                              VARIANT values) override;

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

    // The version lock: -1 undecided, 0 version 1.0, 1 version 1.1. Set by the factory; the first
    // call through either generation decides an undecided proxy.
    int materialVersion = -1;

private:
    template <class I, class F, class... S>
    HRESULT call(const char* method, ComPtr<I>& cached, F&& forward, S&&... steps)
    {
        return proxyCall<LogMode::Assumed>(*this, method, cached, std::forward<F>(forward),
                                           std::forward<S>(steps)...);
    }

    ComPtr<ICapeThermoCompounds> thermoCompounds_;
    ComPtr<ICapeThermoEquilibriumRoutine> thermoEquilibriumRoutine_;
    ComPtr<ICapeThermoPhases> thermoPhases_;
    ComPtr<ICapeThermoPropertyRoutine> thermoPropertyRoutine_;
    ComPtr<ICapeThermoUniversalConstant> thermoUniversalConstant_;
    ComPtr<ICapeThermoMaterialObject> thermoMaterialObject_;
    ComPtr<ICapeThermoMaterial> thermoMaterial_;
};

// A new material proxy over `foreign` on `log`, locked to `version` (-1 leaves it undecided).
ComPtr<IDispatch> createMaterialProxy(IUnknown* foreign, CallLog* log, int version, ExposedObjectBase* owner,
                                      int readOnly);

// Step of a method that hands a material to a foreign package: with a log the package gets a
// material proxy of this tree, locked to `version` and made afresh for each call (or each
// SetMaterial). The server's own reference to it goes after the call, or once the record is
// closed (`releaseAfterRecord`); a package that keeps the proxy is its only holder then.
struct WrapMaterial {
    IDispatch* material;
    int version;
    ExposedObjectBase* owner;
    bool releaseAfterRecord;
    ComPtr<IDispatch> proxy{};

    IDispatch* forwarded() const { return proxy ? proxy.get() : material; }
    void prepare(ProxyCall& c)
    {
        if (c.log && material) proxy = createMaterialProxy(material, c.log, version, owner, 0);
    }
    void afterForward(ProxyCall&)
    {
        if (!releaseAfterRecord) proxy.reset();
    }
    void finish(ProxyCall&) { proxy.reset(); }
};

// The same for a material that comes by reference (the 1.0 thermo context): the proxy, undecided
// in its generation, replaces the pointer in the caller's own slot. Whoever holds the slot releases
// what stands there after the call (the stub of a call from another process does), so the proxy's
// reference passes to the slot, and the reference that stood there is released once the record
// is closed.
struct WrapMaterialInSlot {
    IDispatch** slot;
    ExposedObjectBase* owner;
    ComPtr<IDispatch> replaced{};

    void prepare(ProxyCall& c)
    {
        if (!c.log || !slot || !*slot) return;
        ComPtr<IDispatch> proxy = createMaterialProxy(*slot, c.log, -1, owner, 0);
        replaced = ComPtr<IDispatch>::attach(*slot);
        *slot = proxy.detach();
    }
    void finish(ProxyCall&) { replaced.reset(); }
    // A fault after the exchange gives the caller its own pointer back.
    void onFault(ProxyCall&)
    {
        if (!replaced) return;
        ComPtr<IDispatch>::attach(*slot).reset();
        *slot = replaced.detach();
    }
};

} // namespace tarv
