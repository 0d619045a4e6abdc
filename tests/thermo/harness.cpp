#include "thermo/harness.h"

#include "packages/property_package.h"

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

namespace thermotest {
namespace {

const std::vector<IID> kMaterial11 = {IID_ICapeThermoCompounds, IID_ICapeThermoEquilibriumRoutine,
                                      IID_ICapeThermoMaterial, IID_ICapeThermoPhases,
                                      IID_ICapeThermoPropertyRoutine, IID_ICapeThermoUniversalConstant};

template <class... I, class C>
IUnknown* facetAmong(C* c, REFIID iid)
{
    IUnknown* found = nullptr;
    ((found = found ? found : iid == __uuidof(I) ? static_cast<I*>(c) : nullptr), ...);
    return found;
}

ComPtr<Object> kitWith(std::vector<IID> interfaces, const wchar_t* name)
{
    interfaces.push_back(IID_ICapeIdentification);
    return Object::create(interfaces, name);
}

} // namespace

ComPtr<Object> makeMaterial(Material kind, const wchar_t* name)
{
    switch (kind) {
    case Material::Full11: return kitWith(kMaterial11, name);
    case Material::Material11: return kitWith({IID_ICapeThermoMaterial}, name);
    case Material::Object10: return kitWith({IID_ICapeThermoMaterialObject}, name);
    case Material::Both: {
        std::vector<IID> all = kMaterial11;
        all.push_back(IID_ICapeThermoMaterialObject);
        return kitWith(all, name);
    }
    }
    return kitWith(kMaterial11, name);
}

// The factories hand out each class's default dispatch interface.
tarv::CMaterialObject* materialOf(IUnknown* proxy)
{
    return static_cast<tarv::CMaterialObject*>(static_cast<ICapeThermoMaterialObject*>(proxy));
}

tarv::CMaterialTemplate* templateOf(IUnknown* proxy)
{
    return static_cast<tarv::CMaterialTemplate*>(static_cast<ICapeThermoMaterialTemplate*>(proxy));
}

tarv::CSimulationContext* contextOf(IUnknown* proxy)
{
    return static_cast<tarv::CSimulationContext*>(static_cast<ICapeSimulationContext*>(proxy));
}

const std::vector<ProxyClassInfo>& proxyClasses()
{
    static const std::vector<ProxyClassInfo> classes = {
        {"Material Object",
         {IID_ICapeThermoCompounds, IID_ICapeThermoEquilibriumRoutine, IID_ICapeThermoMaterial, IID_ICapeThermoPhases,
          IID_ICapeThermoPropertyRoutine, IID_ICapeThermoUniversalConstant, IID_ICapeThermoMaterialObject},
         [](const wchar_t* name) { return makeMaterial(Material::Both, name); },
         [](IUnknown* foreign, tarv::CallLog* log, int version, int readOnly) {
             return tarv::createMaterialProxy(foreign, log, version, nullptr, readOnly);
         },
         [](IDispatch* proxy, REFIID iid) {
             return facetAmong<ICapeThermoCompounds, ICapeThermoEquilibriumRoutine, ICapeThermoMaterial,
                               ICapeThermoMaterialObject, ICapeThermoPhases, ICapeThermoPropertyRoutine,
                               ICapeThermoUniversalConstant, ICapeIdentification>(materialOf(proxy), iid);
         }},
        {"Material Template",
         {IID_ICapeThermoMaterialTemplate},
         [](const wchar_t* name) { return kitWith({IID_ICapeThermoMaterialTemplate}, name); },
         [](IUnknown* foreign, tarv::CallLog* log, int, int readOnly) {
             return tarv::createMaterialTemplateProxy(foreign, log, nullptr, readOnly);
         },
         [](IDispatch* proxy, REFIID iid) {
             return facetAmong<ICapeThermoMaterialTemplate>(templateOf(proxy), iid);
         }},
        {"Simulation Context",
         {IID_ICapeCOSEUtilities, IID_ICapeDiagnostic, IID_ICapeMaterialTemplateSystem, IID_ICapeSimulationContext},
         [](const wchar_t* name) {
             return kitWith({IID_ICapeCOSEUtilities, IID_ICapeDiagnostic, IID_ICapeMaterialTemplateSystem}, name);
         },
         [](IUnknown* foreign, tarv::CallLog* log, int, int readOnly) {
             ComPtr<IDispatch> context;
             foreign->QueryInterface(IID_IDispatch, context.putVoid());
             return tarv::createSimulationContextProxy(context.get(), log, nullptr, readOnly);
         },
         [](IDispatch* proxy, REFIID iid) {
             return facetAmong<ICapeCOSEUtilities, ICapeDiagnostic, ICapeMaterialTemplateSystem>(contextOf(proxy), iid);
         }},
    };
    return classes;
}

Package exposePackage11(Object* real, tarv::CallLog* log, const char* name)
{
    return testsupport::expose<tarv::CPropertyPackage11>(real, log, name);
}

Package exposePackage10(Object* real, tarv::CallLog* log, const char* name)
{
    return testsupport::expose<tarv::CPropertyPackage10>(real, log, name);
}

// --- Checks ---------------------------------------------------------------------------------------

namespace {

std::string attribute(const std::string& line, const char* name)
{
    std::string key = std::string(name) + "=\"";
    size_t start = line.find(key);
    if (start == std::string::npos) return {};
    start += key.size();
    return line.substr(start, line.find('"', start) - start);
}

std::string checkToken(const std::string& text)
{
    static const std::map<std::string, std::string> tokens = {
        {"Invalid usage of version 1.0 material object interfaces (wrong thermo version)", "VER10"},
        {"Invalid usage of version 1.1 material object interfaces (wrong thermo version)", "VER11"},
        {"Interface not exposed by object", "NOTEXPOSED"}};
    auto it = tokens.find(text);
    return it != tokens.end() ? it->second : "[" + text + "]";
}

} // namespace

std::vector<Item> parseRecords(const std::string& records)
{
    std::vector<Item> items;
    bool inArg = false;
    size_t start = 0;
    while (start < records.size()) {
        size_t end = records.find('\n', start);
        if (end == std::string::npos) end = records.size();
        std::string line = records.substr(start, end - start);
        start = end + 1;
        size_t first = line.find_first_not_of(' ');
        if (first == std::string::npos) continue;
        line.erase(0, first);
        if (line.rfind("<func ", 0) == 0) {
            items.push_back({Item::Func, attribute(line, "name"), attribute(line, "direc")});
        } else if (line == "</func>") {
            items.push_back({Item::EndFunc, {}, {}});
        } else if (line.rfind("<arg ", 0) == 0) {
            items.push_back({Item::Arg, attribute(line, "name"), attribute(line, "direc")});
            inArg = true;
        } else if (line == "</arg>") {
            inArg = false;
        } else if (!inArg && (line.rfind("<error ", 0) == 0 || line.rfind("<warning ", 0) == 0 ||
                              line.rfind("<info ", 0) == 0)) {
            // Notes inside an argument (bounds, values) belong to it.
            items.push_back({Item::Check, attribute(line, "value"), {}});
        }
    }
    return items;
}

std::string checksOf(const std::string& records)
{
    std::string out;
    for (const Item& item : parseRecords(records)) {
        if (item.kind != Item::Check) continue;
        if (!out.empty()) out += ' ';
        out += checkToken(item.name);
    }
    return out;
}

// --- Calls described by the type library ---------------------------------------------------------

const Method& findMethod(const std::string& qualified)
{
    static std::map<std::string, Method> all = [] {
        std::map<std::string, Method> m;
        for (const ProxyClassInfo& c : proxyClasses())
            for (const IID& iid : c.interfaces)
                for (Method& method : methodsOf(iid)) m.emplace(method.qualified, std::move(method));
        for (Method& method : methodsOf(IID_ICapeIdentification)) m.emplace(method.qualified, std::move(method));
        return m;
    }();
    auto it = all.find(qualified);
    if (it == all.end()) throw std::invalid_argument("no such method: " + qualified);
    return it->second;
}

} // namespace thermotest
