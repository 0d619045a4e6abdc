#include "params/reaction_package.h"

#include "params/parameter_collection.h"
#include "params/reaction_object.h"
#include "thermo/material_object.h"

namespace tarv {
namespace {

// SetReactionObject: with a log the real package gets a reaction object proxy of this tree in a
// local slot, whose address it is given in place of the caller's reference; what stands in that
// slot after the record is closed is released. The caller's own pointer stays untouched.
struct WrapReactionObject {
    IDispatch** reference;
    ExposedObjectBase* owner;
    IDispatch* local = nullptr;
    bool made = false;

    IDispatch** forwarded() { return made ? &local : reference; }
    void prepare(ProxyCall& c)
    {
        if (!c.log || !reference || !*reference) return;
        local = createReactionObjectProxy(*reference, c.log, owner, 0).detach();
        made = true;
    }
    void finish(ProxyCall&)
    {
        if (made && local) local->Release();
        local = nullptr;
    }
    void onFault(ProxyCall& c) { finish(c); }
};

} // namespace

CReactionPackage10::CReactionPackage10()
{
    type_ = "Reaction Package 1.0";
}

void CReactionPackage10::releaseInterfaces()
{
    reactionsRoutine_.reset();
    kineticContext_.reset();
    reactionChemistry_.reset();
    materialContext_.reset();
    materialContext10_.reset();
    electrolyteContext_.reset();
    ExposedObjectBase::releaseInterfaces();
}

void CReactionPackage10::extraInterfaceRows(std::vector<InterfaceEntry>& rows)
{
    rows.push_back({&IID_ICapeElectrolyteReactionContext, &CRPElectrolyteContext::make<CRPElectrolyteContext>});
}

template <class Context>
HRESULT CReactionPackage10::setReactionObject(const char* method, ComPtr<Context>& cached, IDispatch** reactionsObject)
{
    WrapReactionObject wrap{reactionsObject, this};
    return call(method, cached, [&](Context* i) { return i->SetReactionObject(wrap.forwarded()); }, ReadOnlyCheck{},
        InInterface{"reactionsObject", reactionsObject ? *reactionsObject : nullptr}, wrap);
}

HRESULT CReactionPackage10::SetReactionObject(IDispatch** reactionsObject)
{
    return setReactionObject("ICapeKineticReactionContext::SetReactionObject", kineticContext_, reactionsObject);
}

HRESULT CReactionPackage10::setElectrolyteReactionObject(IDispatch** reactionsObject)
{
    return setReactionObject("ICapeElectrolyteReactionContext::SetReactionObject", electrolyteContext_,
                             reactionsObject);
}

// The reaction's identifier is logged ahead of the interface's fetch; the parameters are inputs
// of the simulator's.
HRESULT CReactionPackage10::GetReactionParameters(BSTR reacID, IDispatch** ParameterCollection)
{
    WrapResult wrap{"ParameterCollection", ParameterCollection, [this](IDispatch* raw) {
        return createParameterCollectionProxy(raw, log_, this, 1, readOnly_);
    }, false, ResultShown::Foreign};
    return call("ICapeReactionChemistry::GetReactionParameters", reactionChemistry_,
        [&](ICapeReactionChemistry* i) { return i->GetReactionParameters(reacID, wrap.slot()); },
        InString{"reacID", reacID}, wrap);
}

HRESULT CReactionPackage10::SetMaterial(IDispatch* material)
{
    WrapMaterial wrap{material, -1, this, true};
    return call("ICapeThermoMaterialContext::SetMaterial", materialContext_,
        [&](ICapeThermoMaterialContext* i) { return i->SetMaterial(wrap.forwarded()); }, ReadOnlyCheck{},
        InInterface{"material", material}, wrap,
        ErrorWhenNull{material, "Cannot pass NULL to SetMaterial; use UnsetMaterial instead"});
}

// Only forwarded: the proxy that SetMaterial made lives as long as the real package holds it.
HRESULT CReactionPackage10::UnsetMaterial()
{
    return call("ICapeThermoMaterialContext::UnsetMaterial", materialContext_,
        [&](ICapeThermoMaterialContext* i) { return i->UnsetMaterial(); }, ReadOnlyCheck{});
}

HRESULT CReactionPackage10::SetMaterial(IDispatch** materialObject)
{
    WrapMaterialInSlot wrap{materialObject, this};
    return call("ICapeThermoMaterialContext(v1.0)::SetMaterial", materialContext10_,
        [&](ICapeThermoContext10* i) { return i->SetMaterial(materialObject); }, ReadOnlyCheck{},
        InInterface{"material", materialObject ? *materialObject : nullptr}, wrap);
}

} // namespace tarv
