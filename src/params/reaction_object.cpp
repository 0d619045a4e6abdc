#include "params/reaction_object.h"

#include "params/parameter_collection.h"

namespace tarv {

using namespace expect;

ComPtr<IDispatch> createReactionObjectProxy(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner, int readOnly)
{
    return createProxy<CReactionObject>(foreign, log, owner, readOnly, [](CReactionObject&) {});
}

CReactionObject::CReactionObject()
{
    isInput_ = 0;
    type_ = "Reaction Object";
}

void CReactionObject::releaseInterfaces()
{
    reactionChemistry_.reset();
    reactionProperties_.reset();
    reactionsRoutine_.reset();
    materialContext_.reset();
    materialContext10_.reset();
    CapeOpenBase::releaseInterfaces();
}

// The reaction's identifier is logged once the interface is in hand, and the collection keeps the
// outward direction of this object's calls.
HRESULT CReactionObject::GetReactionParameters(BSTR reacID, IDispatch** ParameterCollection)
{
    WrapResult wrap{"ParameterCollection", ParameterCollection, [this](IDispatch* raw) {
        return createParameterCollectionProxy(raw, log_, owner_, 0, readOnly_);
    }, false, ResultShown::Foreign};
    return call("ICapeReactionChemistry::GetReactionParameters", reactionChemistry_,
        [&](ICapeReactionChemistry* i) { return i->GetReactionParameters(reacID, wrap.slot()); },
        AfterFetch<InString>{{"reacID", reacID}}, wrap);
}

HRESULT CReactionObject::GetReactionProp(BSTR property, BSTR phase, VARIANT reacIds, BSTR basis, VARIANT* propVals)
{
    return call("ICapeReactionProperties::GetReactionProp", reactionProperties_,
        [&](ICapeReactionProperties* i) { return i->GetReactionProp(property, phase, reacIds, basis, propVals); },
        InString{"property", property}, InString{"phase", phase}, InVariant{"reacIds", reacIds, strings},
        InString{"basis", basis}, OutVariant{"propVals", propVals, doubles, mayBeEmpty});
}

HRESULT CReactionObject::SetReactionProp(BSTR property, BSTR phase, VARIANT reacIds, BSTR basis, VARIANT propVals)
{
    return call("ICapeReactionProperties::SetReactionProp", reactionProperties_,
        [&](ICapeReactionProperties* i) { return i->SetReactionProp(property, phase, reacIds, basis, propVals); },
        ReadOnlyCheck{}, InString{"property", property}, InString{"phase", phase},
        InVariant{"reacIds", reacIds, strings}, InString{"basis", basis},
        InVariant{"propVals", propVals, doubles, mayBeEmpty});
}

HRESULT CReactionObject::SetMaterial(IDispatch* material)
{
    return call("ICapeThermoMaterialContext::SetMaterial", materialContext_,
        [&](ICapeThermoMaterialContext* i) { return i->SetMaterial(material); }, ReadOnlyCheck{},
        InInterface{"material", material},
        ErrorWhenNull{material, "Cannot pass NULL pointer to SetMaterial; use UnsetMaterial instead"});
}

HRESULT CReactionObject::UnsetMaterial()
{
    return call("ICapeThermoMaterialContext::UnsetMaterial", materialContext_,
        [&](ICapeThermoMaterialContext* i) { return i->UnsetMaterial(); }, ReadOnlyCheck{});
}

HRESULT CReactionObject::SetMaterial(IDispatch** materialObject)
{
    return call("ICapeThermoMaterialContext(v1.0)::SetMaterial", materialContext10_,
        [&](ICapeThermoContext10* i) { return i->SetMaterial(materialObject); }, ReadOnlyCheck{},
        InInterface{"material", materialObject ? *materialObject : nullptr});
}

} // namespace tarv
