#pragma once
// Proxy of the reaction object that a simulator hands to a reaction package or a unit operation:
// the real component calls it, so its records go out from the server to the simulator's object.
// It exists only with a log. The material it is given passes through unwrapped.
#include "params/reaction_chemistry.h"

namespace tarv {

class CReactionObject
    : public ReactionProxyClass<CReactionObject, CapeOpenBase, LogMode::Assumed, ICapeReactionChemistry,
                                ICapeReactionChemistry, ICapeReactionProperties, ICapeReactionsRoutine,
                                ICapeThermoMaterialContext, ICapeThermoContext10> {
public:
    CReactionObject();

    // ICapeReactionChemistry
    HRESULT STDMETHODCALLTYPE GetReactionParameters(BSTR reacID, IDispatch** ParameterCollection) override;
    // ICapeReactionProperties
    HRESULT STDMETHODCALLTYPE GetReactionProp(BSTR property, BSTR phase, VARIANT reacIds, BSTR basis,
                                              VARIANT* propVals) override;
    HRESULT STDMETHODCALLTYPE SetReactionProp(BSTR property, BSTR phase, VARIANT reacIds, BSTR basis,
                                              VARIANT propVals) override;
    // ICapeThermoMaterialContext
    HRESULT STDMETHODCALLTYPE SetMaterial(IDispatch* material) override;
    HRESULT STDMETHODCALLTYPE UnsetMaterial() override;
    // ICapeThermoContext10
    HRESULT STDMETHODCALLTYPE SetMaterial(IDispatch** materialObject) override;

    void releaseInterfaces() override;

private:
    ComPtr<ICapeReactionProperties> reactionProperties_;
    ComPtr<ICapeThermoMaterialContext> materialContext_;
    ComPtr<ICapeThermoContext10> materialContext10_;
};

ComPtr<IDispatch> createReactionObjectProxy(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner, int readOnly);

} // namespace tarv
