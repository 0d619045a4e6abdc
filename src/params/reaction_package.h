#pragma once
// The exposed CAPE-OPEN 1.0 reaction package: what a simulator holds after resolving a reaction
// package through the server. It forwards the reaction interfaces to the real package and exists
// with or without a log. With one, the material and the reaction object that the simulator sets
// reach the real package as proxies of this tree, so the package's calls back to them are logged.
#include "params/reaction_chemistry.h"
#include "proxy/tear_off.h"

namespace tarv {

class CReactionPackage10
    : public ReactionProxyClass<CReactionPackage10, ExposedObjectBase, LogMode::Checked, ICapeReactionsRoutine,
                                ICapeKineticReactionContext, ICapeReactionChemistry, ICapeReactionsRoutine,
                                ICapeThermoMaterialContext, ICapeThermoContext10> {
public:
    CReactionPackage10();

    // ICapeKineticReactionContext
    HRESULT STDMETHODCALLTYPE SetReactionObject(IDispatch** reactionsObject) override;
    // ICapeReactionChemistry
    HRESULT STDMETHODCALLTYPE GetReactionParameters(BSTR reacID, IDispatch** ParameterCollection) override;
    // ICapeThermoMaterialContext
    HRESULT STDMETHODCALLTYPE SetMaterial(IDispatch* material) override;
    HRESULT STDMETHODCALLTYPE UnsetMaterial() override;
    // ICapeThermoContext10
    HRESULT STDMETHODCALLTYPE SetMaterial(IDispatch** materialObject) override;

    // ICapeElectrolyteReactionContext::SetReactionObject, served by the tear-off.
    HRESULT setElectrolyteReactionObject(IDispatch** reactionsObject);

    void releaseInterfaces() override;

    // ICapeElectrolyteReactionContext is answered by a new tear-off at each query.
    static void extraInterfaceRows(std::vector<InterfaceEntry>& rows);

private:
    template <class Context>
    HRESULT setReactionObject(const char* method, ComPtr<Context>& cached, IDispatch** reactionsObject);

    ComPtr<ICapeKineticReactionContext> kineticContext_;
    ComPtr<ICapeThermoMaterialContext> materialContext_;
    ComPtr<ICapeThermoContext10> materialContext10_;
    ComPtr<ICapeElectrolyteReactionContext> electrolyteContext_;
};

// ICapeElectrolyteReactionContext of a reaction package. Its SetReactionObject has the signature
// of ICapeKineticReactionContext's and needs its own log name and foreign interface.
class CRPElectrolyteContext final : public TearOff<CReactionPackage10, ICapeElectrolyteReactionContext> {
public:
    using TearOff::TearOff;
    HRESULT STDMETHODCALLTYPE SetReactionObject(IDispatch** reactionsObject) override
    {
        return owner().setElectrolyteReactionObject(reactionsObject);
    }
};

} // namespace tarv
