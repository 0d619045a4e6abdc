#pragma once
// What the thermo proxies' tests share: kit materials of both generations, the three proxy
// classes over kit objects, and the check records of a log as tokens.
#include "kit/kit.h"
#include "packages/property_package.h"
#include "support/log_capture.h"
#include "support/proxy_harness.h"
#include "thermo/material_object.h"
#include "thermo/material_template.h"
#include "thermo/simulation_context.h"

#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace thermotest {

using kit::Object;
using tarv::ComPtr;
using testsupport::Call;
using testsupport::LogCapture;
using testsupport::Method;
using testsupport::NoLeaks;
using testsupport::withoutAddresses;

inline const std::vector<IID> kMaterial11 = {IID_ICapeThermoCompounds, IID_ICapeThermoEquilibriumRoutine,
                                             IID_ICapeThermoMaterial, IID_ICapeThermoPhases,
                                             IID_ICapeThermoPropertyRoutine, IID_ICapeThermoUniversalConstant};

inline ComPtr<Object> kitWith(std::vector<IID> interfaces, const wchar_t* name)
{
    interfaces.push_back(IID_ICapeIdentification);
    return Object::create(interfaces, name);
}

// What a kit material exposes besides ICapeIdentification.
enum class Material { Full11, Material11, Object10, Both };
inline ComPtr<Object> makeMaterial(Material kind, const wchar_t* name = L"Stream")
{
    std::vector<IID> both = kMaterial11;
    both.push_back(IID_ICapeThermoMaterialObject);
    return kitWith(kind == Material::Full11       ? kMaterial11
                   : kind == Material::Material11 ? std::vector<IID>{IID_ICapeThermoMaterial}
                   : kind == Material::Object10   ? std::vector<IID>{IID_ICapeThermoMaterialObject}
                                                  : both,
                   name);
}

// The factories hand out each class's default dispatch interface.
inline tarv::CMaterialObject* materialOf(IUnknown* proxy)
{
    return static_cast<tarv::CMaterialObject*>(static_cast<ICapeThermoMaterialObject*>(proxy));
}
inline tarv::CMaterialTemplate* templateOf(IUnknown* proxy)
{
    return static_cast<tarv::CMaterialTemplate*>(static_cast<ICapeThermoMaterialTemplate*>(proxy));
}
inline tarv::CSimulationContext* contextOf(IUnknown* proxy)
{
    return static_cast<tarv::CSimulationContext*>(static_cast<ICapeSimulationContext*>(proxy));
}

// The material proxy's own implementation of `iid`, reached without a query.
inline IUnknown* materialFacet(IDispatch* proxy, REFIID iid)
{
    tarv::CMaterialObject* m = materialOf(proxy);
    if (iid == IID_ICapeThermoCompounds) return static_cast<ICapeThermoCompounds*>(m);
    if (iid == IID_ICapeThermoEquilibriumRoutine) return static_cast<ICapeThermoEquilibriumRoutine*>(m);
    if (iid == IID_ICapeThermoMaterial) return static_cast<ICapeThermoMaterial*>(m);
    if (iid == IID_ICapeThermoMaterialObject) return static_cast<ICapeThermoMaterialObject*>(m);
    if (iid == IID_ICapeThermoPhases) return static_cast<ICapeThermoPhases*>(m);
    if (iid == IID_ICapeThermoPropertyRoutine) return static_cast<ICapeThermoPropertyRoutine*>(m);
    if (iid == IID_ICapeThermoUniversalConstant) return static_cast<ICapeThermoUniversalConstant*>(m);
    return static_cast<ICapeIdentification*>(m);
}

// The three proxy classes over fresh kit objects offering all their interfaces.
inline const std::vector<testsupport::ProxiedInterfaces>& proxyClasses()
{
    static const std::vector<testsupport::ProxiedInterfaces> classes = {
        {"Material Object",
         [] { std::vector<IID> all = kMaterial11; all.push_back(IID_ICapeThermoMaterialObject); return all; }(),
         [] { return makeMaterial(Material::Both); },
         [](IUnknown* foreign, tarv::CallLog* log) { return tarv::createMaterialProxy(foreign, log, -1, nullptr, 1); }},
        {"Material Template", {IID_ICapeThermoMaterialTemplate},
         [] { return kitWith({IID_ICapeThermoMaterialTemplate}, L"Stream"); },
         [](IUnknown* foreign, tarv::CallLog* log) { return tarv::createMaterialTemplateProxy(foreign, log, nullptr, 1); }},
        {"Simulation Context",
         {IID_ICapeCOSEUtilities, IID_ICapeDiagnostic, IID_ICapeMaterialTemplateSystem, IID_ICapeSimulationContext},
         [] { return kitWith({IID_ICapeCOSEUtilities, IID_ICapeDiagnostic, IID_ICapeMaterialTemplateSystem}, L"Stream"); },
         [](IUnknown* foreign, tarv::CallLog* log) {
             ComPtr<IDispatch> context;
             foreign->QueryInterface(IID_IDispatch, context.putVoid());
             return tarv::createSimulationContextProxy(context.get(), log, nullptr, 1);
         }},
    };
    return classes;
}

// A method of the thermo proxies' interfaces or of ICapeIdentification by its qualified name.
inline const Method& findMethod(const std::string& qualified)
{
    static const std::map<std::string, Method> all = [] {
        std::map<std::string, Method> m;
        std::vector<IID> interfaces = proxyClasses()[0].interfaces;
        interfaces.push_back(IID_ICapeIdentification);
        for (const IID& iid : interfaces)
            for (Method& method : testsupport::methodsOf(iid)) m.emplace(method.qualified, std::move(method));
        return m;
    }();
    auto it = all.find(qualified);
    if (it == all.end()) throw std::invalid_argument("no such method: " + qualified);
    return it->second;
}

inline std::string attribute(const std::string& line, const char* name)
{
    const std::string key = std::string(" ") + name + "=\"";
    const size_t start = line.find(key);
    return start == std::string::npos ? std::string() : line.substr(start + key.size(), line.find('"', start + key.size()) - start - key.size());
}

// The check records among some records as tokens: VER10 and VER11 for the wrong thermo version,
// NOTEXPOSED, others in brackets. Notes inside an argument (bounds, values) belong to it.
inline std::string checksOf(const std::string& records)
{
    static const std::map<std::string, std::string> tokens = {
        {"Invalid usage of version 1.0 material object interfaces (wrong thermo version)", "VER10"},
        {"Invalid usage of version 1.1 material object interfaces (wrong thermo version)", "VER11"},
        {"Interface not exposed by object", "NOTEXPOSED"}};
    std::string out;
    bool inArg = false;
    std::istringstream in(records);
    for (std::string line; std::getline(in, line);) {
        line.erase(0, line.find_first_not_of(' '));
        if (line.rfind("<arg ", 0) == 0 || line == "</arg>") inArg = line != "</arg>";
        if (inArg || !(line.rfind("<error ", 0) == 0 || line.rfind("<warning ", 0) == 0 || line.rfind("<info ", 0) == 0))
            continue;
        const std::string text = attribute(line, "value");
        auto it = tokens.find(text);
        out += (out.empty() ? "" : " ") + (it != tokens.end() ? it->second : "[" + text + "]");
    }
    return out;
}

} // namespace thermotest
