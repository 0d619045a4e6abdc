#include "thermo/harness.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "packages/property_package.h"

#include <gtest/gtest.h>

#include <cstring>
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

ULONG serverLocks()
{
    ULONG n = CoAddRefServerProcess();
    CoReleaseServerProcess();
    return n - 1;
}

NoLeaks::NoLeaks(std::initializer_list<Object*> objects) : locks_(serverLocks())
{
    for (Object* o : objects) {
        ULONG count = o->refCount();
        baseline_.emplace_back(ComPtr<Object>(o), count);
    }
}

NoLeaks::~NoLeaks()
{
    // Less the reference this check holds itself.
    for (auto& [object, count] : baseline_)
        EXPECT_EQ(object->refCount() - 1, count) << "kit object " << tarv::toNarrow(object->name()) << " leaked";
    EXPECT_EQ(serverLocks(), locks_) << "a proxy outlived its test";
}

namespace {

template <class C>
Package expose(Object* real, tarv::CallLog* log, const char* name)
{
    C* package = new C();
    package->attachObject(ComPtr<IUnknown>(real).detach());
    package->attachLog(log, name);
    Package result{{}, package};
    package->QueryInterface(IID_IDispatch, result.dispatch.putVoid());
    return result;
}

} // namespace

Package exposePackage11(Object* real, tarv::CallLog* log, const char* name)
{
    return expose<tarv::CPropertyPackage11>(real, log, name);
}

Package exposePackage10(Object* real, tarv::CallLog* log, const char* name)
{
    return expose<tarv::CPropertyPackage10>(real, log, name);
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

std::string withoutAddresses(std::string records)
{
    for (size_t p = records.find(" (address 0x"); p != std::string::npos; p = records.find(" (address 0x", p))
        records.erase(p, records.find(')', p) + 1 - p);
    return records;
}

// --- Calls described by the type library ---------------------------------------------------------

std::vector<Method> methodsOf(REFIID iid)
{
    ComPtr<ITypeLib> lib;
    if (FAILED(LoadRegTypeLib(LIBID_CAPEOPEN110, 1, 1, 0, lib.put()))) throw std::runtime_error("library not registered");
    ComPtr<ITypeInfo> info;
    lib->GetTypeInfoOfGuid(iid, info.put());
    TYPEATTR* attr = nullptr;
    info->GetTypeAttr(&attr);
    if (attr->typekind == TKIND_DISPATCH) {
        // The vtable half of a dual interface.
        HREFTYPE ref;
        info->GetRefTypeOfImplType(-1, &ref);
        ComPtr<ITypeInfo> vtable;
        info->GetRefTypeInfo(ref, vtable.put());
        info->ReleaseTypeAttr(attr);
        info = vtable;
        info->GetTypeAttr(&attr);
    }
    BSTR interfaceName = nullptr;
    info->GetDocumentation(MEMBERID_NIL, &interfaceName, nullptr, nullptr, nullptr);
    std::string prefix = tarv::toNarrow(interfaceName) + "::";
    SysFreeString(interfaceName);

    std::vector<Method> methods;
    for (UINT f = 0; f < attr->cFuncs; ++f) {
        FUNCDESC* fd = nullptr;
        info->GetFuncDesc(f, &fd);
        BSTR name = nullptr;
        UINT count = 0;
        info->GetNames(fd->memid, &name, 1, &count);
        Method m{iid, prefix, name, fd->invkind, fd->oVft, {}};
        m.qualified += (fd->invkind == INVOKE_PROPERTYGET ? "get_" : fd->invkind == INVOKE_PROPERTYPUT ? "put_" : "") +
                       tarv::toNarrow(name);
        SysFreeString(name);
        for (SHORT p = 0; p < fd->cParams; ++p) {
            const ELEMDESC& e = fd->lprgelemdescParam[p];
            USHORT flags = e.paramdesc.wParamFlags;
            bool byRef = e.tdesc.vt == VT_PTR;
            Param param{byRef ? e.tdesc.lptdesc->vt : e.tdesc.vt, byRef, (flags & PARAMFLAG_FOUT) != 0,
                        (flags & PARAMFLAG_FRETVAL) != 0};
            m.params.push_back(param);
        }
        info->ReleaseFuncDesc(fd);
        methods.push_back(std::move(m));
    }
    info->ReleaseTypeAttr(attr);
    return methods;
}

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

void* Call::Slot::storage()
{
    switch (param.vt) {
    case VT_VARIANT: return &outVariant;
    case VT_BSTR: return &outString;
    case VT_I4: return &outLong;
    case VT_BOOL: return &outBool;
    case VT_R8: return &outDouble;
    case VT_DISPATCH: return &outDispatch;
    default: throw std::invalid_argument("argument type the tests do not build");
    }
}

Call::Call(const Method& method) : method_(method)
{
    for (const Param& p : method.params) {
        // Values differ by position, so that arguments that changed places would show.
        std::wstring position = std::to_wstring(slots_.size());
        Slot s;
        s.param = p;
        if (p.byRef) {
            // an out-argument: starts empty
        } else if (p.vt == VT_BSTR) {
            s.value.vt = VT_BSTR;
            s.value.bstrVal = SysAllocString((L"P" + position).c_str());
        } else if (p.vt == VT_R8) {
            s.value.vt = VT_R8;
            s.value.dblVal = 0.5 + static_cast<double>(slots_.size());
        } else if (p.vt == VT_INT || p.vt == VT_I4) {
            s.value.vt = VT_I4;
            s.value.lVal = 15;
        } else if (p.vt == VT_VARIANT) {
            tarv::makeStringArray({L"a" + position, L"b"}).detachTo(&s.value);
        } else {
            throw std::invalid_argument("argument type the tests do not build");
        }
        slots_.push_back(s);
    }
}

Call::~Call()
{
    for (Slot& s : slots_) {
        VariantClear(&s.value);
        VariantClear(&s.outVariant);
        SysFreeString(s.outString);
        if (s.outDispatch) s.outDispatch->Release();
    }
}

HRESULT Call::byVtable(IUnknown* facet)
{
    std::vector<VARIANT> refs(slots_.size());
    std::vector<VARTYPE> types;
    std::vector<VARIANTARG*> args;
    for (size_t i = 0; i < slots_.size(); ++i) {
        Slot& s = slots_[i];
        if (s.param.byRef) {
            refs[i].vt = VT_BYREF | s.param.vt;
            refs[i].byref = s.storage();
            types.push_back(refs[i].vt);
            args.push_back(&refs[i]);
        } else {
            // A VARIANT goes by value, which the x64 convention passes as a pointer to it.
            types.push_back(s.param.vt == VT_VARIANT ? static_cast<VARTYPE>(VT_VARIANT) : s.value.vt);
            args.push_back(&s.value);
        }
    }
    VARIANT result{};
    HRESULT hr = DispCallFunc(facet, method_.vtableOffset, CC_STDCALL, VT_ERROR, static_cast<UINT>(args.size()),
                              types.data(), args.data(), &result);
    if (FAILED(hr)) throw std::runtime_error("DispCallFunc failed");
    return result.scode;
}

HRESULT Call::byName(IDispatch* facet)
{
    LPOLESTR name = const_cast<LPOLESTR>(method_.dispName.c_str());
    DISPID id = DISPID_UNKNOWN;
    if (FAILED(facet->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id)))
        throw std::runtime_error("name not known: " + method_.qualified);
    // Arguments go right to left; the return value comes back in `result`.
    std::vector<VARIANTARG> args;
    bool hasResult = false;
    for (size_t i = slots_.size(); i-- > 0;) {
        Slot& s = slots_[i];
        if (s.param.retval) {
            hasResult = true;
            continue;
        }
        VARIANTARG a{};
        if (s.param.byRef) {
            a.vt = VT_BYREF | s.param.vt;
            a.byref = s.storage();
        } else {
            a = s.value;   // borrowed: Invoke does not free its arguments
        }
        args.push_back(a);
    }
    DISPPARAMS params{args.data(), nullptr, static_cast<UINT>(args.size()), 0};
    VARIANT result;
    VariantInit(&result);
    EXCEPINFO excep{};
    UINT argErr = 0;
    WORD flags = method_.kind == INVOKE_PROPERTYGET ? DISPATCH_PROPERTYGET : DISPATCH_METHOD;
    HRESULT hr = facet->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, hasResult ? &result : nullptr,
                               &excep, &argErr);
    VariantClear(&result);
    if (hr == DISP_E_EXCEPTION) {
        hr = excep.scode;
        SysFreeString(excep.bstrSource);
        SysFreeString(excep.bstrDescription);
        SysFreeString(excep.bstrHelpFile);
    }
    return hr;
}

} // namespace thermotest
