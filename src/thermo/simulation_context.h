#pragma once
// Proxy of the simulation context that a simulator gives a component: named values, diagnostics
// and material templates of the simulator, called from the component outward.
#include "proxy/factory.h"
#include "proxy/proxy_class.h"

namespace tarv {

class CSimulationContext
    : public ProxyClass<CSimulationContext, CapeOpenBase, ICapeSimulationContext, ICapeCOSEUtilities,
                        ICapeDiagnostic, ICapeMaterialTemplateSystem, ICapeSimulationContext> {
public:
    CSimulationContext();

    // ICapeCOSEUtilities
    HRESULT STDMETHODCALLTYPE get_NamedValueList(VARIANT* NamedValues) override;
    HRESULT STDMETHODCALLTYPE get_NamedValue(BSTR name, VARIANT* NamedValue) override;
    // ICapeDiagnostic
    HRESULT STDMETHODCALLTYPE PopUpMessage(BSTR message) override;
    HRESULT STDMETHODCALLTYPE LogMessage(BSTR message) override;
    // ICapeMaterialTemplateSystem
    HRESULT STDMETHODCALLTYPE get_MaterialTemplates(VARIANT* TemplateNames) override;
    HRESULT STDMETHODCALLTYPE CreateMaterialTemplate(BSTR materialTemplateName, IDispatch** MaterialTemplate) override;

    void releaseInterfaces() override;

private:
    ComPtr<ICapeCOSEUtilities> coseUtilities_;
    ComPtr<ICapeDiagnostic> diagnostic_;
    ComPtr<ICapeMaterialTemplateSystem> materialTemplateSystem_;
};

ComPtr<IDispatch> createSimulationContextProxy(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner,
                                               int readOnly);

// Installs the thermo proxies' factories for the exposed objects.
void registerThermoProxyFactories();

} // namespace tarv
