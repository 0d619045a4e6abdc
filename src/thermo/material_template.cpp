#include "thermo/material_template.h"

#include "thermo/material_object.h"

namespace tarv {

ComPtr<IDispatch> createMaterialTemplateProxy(IUnknown* foreign, CallLog* log, ExposedObjectBase* owner,
                                              int readOnly)
{
    return createProxy<CMaterialTemplate>(foreign, log, owner, readOnly, [](CMaterialTemplate&) {});
}

CMaterialTemplate::CMaterialTemplate()
{
    isInput_ = 0;
    type_ = "Material Template";
}

void CMaterialTemplate::releaseInterfaces()
{
    thermoMaterialTemplate_.reset();
    CapeOpenBase::releaseInterfaces();
}

// The material follows the thermo version of the template's tree; a template without an owner
// makes undecided ones. After a failure the caller's location is left as it was.
HRESULT CMaterialTemplate::CreateMaterialObject(IDispatch** materialObject)
{
    WrapResult wrap{"materialObject", materialObject, [this](IDispatch* made) {
        int version = owner_ ? owner_->thermoVersion() : -1;
        return createMaterialProxy(made, log_, version, owner_, 0);
    }, false};
    return proxyCall<LogMode::Assumed>(*this, "ICapeThermoMaterialTemplate::CreateMaterialObject",
        thermoMaterialTemplate_, [&](ICapeThermoMaterialTemplate* i) { return i->CreateMaterialObject(wrap.slot()); },
        wrap);
}

HRESULT CMaterialTemplate::SetProp(BSTR property, VARIANT values)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeThermoMaterialTemplate::SetProp", thermoMaterialTemplate_,
        [&](ICapeThermoMaterialTemplate* i) { return i->SetProp(property, values); }, ReadOnlyCheck{},
        InString{"property", property}, InVariant{"values", values, expect::doubles});
}

} // namespace tarv
