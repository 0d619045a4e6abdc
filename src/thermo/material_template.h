#pragma once
// Proxy of a material template of the simulator: a material made through it comes back as a
// material proxy of the same tree, locked to the tree's thermo version.
#include "proxy/factory.h"
#include "proxy/proxy_class.h"

namespace tarv {

class CMaterialTemplate
    : public ProxyClass<CMaterialTemplate, CapeOpenBase, ICapeThermoMaterialTemplate, ICapeThermoMaterialTemplate> {
public:
    CMaterialTemplate();

    HRESULT STDMETHODCALLTYPE CreateMaterialObject(IDispatch** materialObject) override;
    HRESULT STDMETHODCALLTYPE SetProp(BSTR property, VARIANT values) override;

    void releaseInterfaces() override;

private:
    ComPtr<ICapeThermoMaterialTemplate> thermoMaterialTemplate_;
};

ComPtr<IDispatch> createMaterialTemplateProxy(IUnknown* foreign, CallLog* log, ExposedObjectBase* owner,
                                              int readOnly);

} // namespace tarv
