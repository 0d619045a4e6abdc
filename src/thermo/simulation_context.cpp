#include "thermo/simulation_context.h"

#include "thermo/material_template.h"

#include <utility>

namespace tarv {
namespace {

using namespace expect;

// CreateMaterialTemplate: the foreign call writes into the caller's location; after a success a
// non-null template is replaced there by a proxy that belongs to this context's owner and takes
// over the context's read-only flag.
struct WrapTemplate {
    IDispatch** out;
    IDispatch* foreign = nullptr;   // the caller's reference to the foreign template, until replaced
    HandedOut handed{};

    void afterForward(ProxyCall& c)
    {
        if (FAILED(c.result) || !*out) return;
        foreign = *out;
        *out = handed.hand(out, createMaterialTemplateProxy(foreign, c.log, c.self.owner(), c.self.readOnly()));
        std::exchange(foreign, nullptr)->Release();
    }
    void after(ProxyCall& c) const { c.log->argInterface("MaterialTemplate", 0, *out); }
    // A fault leaves the caller nothing: neither the proxy nor the foreign template it replaced.
    void onFault(ProxyCall&)
    {
        handed.takeBack();
        if (!foreign) return;
        if (*out == foreign) *out = nullptr;
        std::exchange(foreign, nullptr)->Release();
    }
};

} // namespace

ComPtr<IDispatch> createSimulationContextProxy(IDispatch* foreign, CallLog* log, ExposedObjectBase* owner,
                                               int readOnly)
{
    return createProxy<CSimulationContext>(foreign, log, owner, readOnly, [](CSimulationContext&) {});
}

void registerThermoProxyFactories()
{
    proxyFactories().simulationContext = &createSimulationContextProxy;
}

CSimulationContext::CSimulationContext()
{
    isInput_ = 0;
    type_ = "Simulation Context";
}

void CSimulationContext::releaseInterfaces()
{
    coseUtilities_.reset();
    diagnostic_.reset();
    materialTemplateSystem_.reset();
    CapeOpenBase::releaseInterfaces();
}

HRESULT CSimulationContext::get_NamedValueList(VARIANT* NamedValues)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeCOSEUtilities::get_NamedValueList", coseUtilities_,
        [&](ICapeCOSEUtilities* i) { return i->get_NamedValueList(NamedValues); },
        OutVariant{"NamedValues", NamedValues, strings, mayBeEmpty});
}

HRESULT CSimulationContext::get_NamedValue(BSTR name, VARIANT* NamedValue)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeCOSEUtilities::get_NamedValue", coseUtilities_,
        [&](ICapeCOSEUtilities* i) { return i->get_NamedValue(name, NamedValue); }, InString{"name", name},
        OutVariant{"NamedValue", NamedValue, any, mayBeEmpty});
}

HRESULT CSimulationContext::PopUpMessage(BSTR message)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeDiagnostic::PopUpMessage", diagnostic_,
        [&](ICapeDiagnostic* i) { return i->PopUpMessage(message); }, InString{"message", message});
}

HRESULT CSimulationContext::LogMessage(BSTR message)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeDiagnostic::LogMessage", diagnostic_,
        [&](ICapeDiagnostic* i) { return i->LogMessage(message); }, InString{"message", message});
}

HRESULT CSimulationContext::get_MaterialTemplates(VARIANT* TemplateNames)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeMaterialTemplateSystem::get_MaterialTemplates",
        materialTemplateSystem_, [&](ICapeMaterialTemplateSystem* i) { return i->get_MaterialTemplates(TemplateNames); },
        OutVariant{"TemplateNames", TemplateNames, strings, mayBeEmpty});
}

HRESULT CSimulationContext::CreateMaterialTemplate(BSTR materialTemplateName, IDispatch** MaterialTemplate)
{
    return proxyCall<LogMode::Assumed>(*this, "ICapeMaterialTemplateSystem::CreateMaterialTemplate",
        materialTemplateSystem_,
        [&](ICapeMaterialTemplateSystem* i) { return i->CreateMaterialTemplate(materialTemplateName, MaterialTemplate); },
        InString{"materialTemplateName", materialTemplateName}, WrapTemplate{MaterialTemplate});
}

} // namespace tarv
