#include "support/proxy_harness.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <iostream>
#include <stdexcept>

namespace testsupport {

using tarv::ComPtr;

NoLeaks::NoLeaks(std::initializer_list<kit::Object*> objects) : locks_(serverLocks())
{
    for (kit::Object* o : objects) {
        ULONG count = o->refCount();
        baseline_.emplace_back(ComPtr<kit::Object>(o), count);
    }
}

NoLeaks::~NoLeaks()
{
    // Less the reference this check holds itself.
    for (auto& [object, count] : baseline_)
        EXPECT_EQ(object->refCount() - 1, count) << "kit object " << tarv::toNarrow(object->name()) << " leaked";
    EXPECT_EQ(serverLocks(), locks_) << "a proxy outlived its test";
}

IUnknown* originalOf(IUnknown* proxy)
{
    ComPtr<IOriginalObject64> o;
    if (!proxy || FAILED(proxy->QueryInterface(IID_IOriginalObject64, o.putVoid()))) return nullptr;
    ComPtr<IUnknown> foreign;
    o->GetOriginalObject(foreign.put());
    return foreign.get();
}

std::string withoutAddresses(std::string records)
{
    for (size_t p = records.find(" (address 0x"); p != std::string::npos; p = records.find(" (address 0x", p))
        records.erase(p, records.find(')', p) + 1 - p);
    return records;
}

namespace {

// Enumerations are user-defined types (through a typedef) that travel as 32-bit integers.
VARTYPE resolved(ITypeInfo* info, const TYPEDESC& t)
{
    if (t.vt != VT_USERDEFINED) return t.vt;
    ComPtr<ITypeInfo> ref;
    if (FAILED(info->GetRefTypeInfo(t.hreftype, ref.put()))) return t.vt;
    TYPEATTR* attr = nullptr;
    ref->GetTypeAttr(&attr);
    VARTYPE vt = attr->typekind == TKIND_ENUM    ? static_cast<VARTYPE>(VT_I4)
                 : attr->typekind == TKIND_ALIAS ? resolved(ref.get(), attr->tdescAlias)
                                                 : static_cast<VARTYPE>(VT_USERDEFINED);
    ref->ReleaseTypeAttr(attr);
    return vt;
}

} // namespace

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
            Param param{resolved(info.get(), byRef ? *e.tdesc.lptdesc : e.tdesc), byRef,
                        (flags & PARAMFLAG_FOUT) != 0, (flags & PARAMFLAG_FRETVAL) != 0};
            m.params.push_back(param);
        }
        info->ReleaseFuncDesc(fd);
        methods.push_back(std::move(m));
    }
    info->ReleaseTypeAttr(attr);
    return methods;
}

void* Call::Slot::storage()
{
    switch (param.vt) {
    case VT_VARIANT: return &outVariant;
    case VT_BSTR: return &out.bstrVal;
    case VT_I4: return &out.lVal;
    case VT_BOOL: return &out.boolVal;
    case VT_R8: return &out.dblVal;
    case VT_DISPATCH: return &out.pdispVal;
    default: throw std::invalid_argument("argument type the tests do not build");
    }
}

Call::Call(const Method& method) : method_(method)
{
    for (const Param& p : method.params) {
        // Values differ by position, so that arguments that changed places would show.
        const size_t n = slots_.size();
        Slot s{p};
        s.out.vt = p.vt == VT_INT ? static_cast<VARTYPE>(VT_I4) : p.vt;   // an out-argument starts empty, a value as described
        if (p.byRef) {
        } else if (p.vt == VT_BSTR) {
            tarv::Variant::fromString(L"P" + std::to_wstring(n)).detachTo(&s.value);
        } else if (p.vt == VT_R8) {
            tarv::Variant::fromDouble(0.5 + static_cast<double>(n)).detachTo(&s.value);
        } else if (p.vt == VT_INT || p.vt == VT_I4) {
            tarv::Variant::fromLong(15).detachTo(&s.value);
        } else if (p.vt == VT_BOOL) {
            tarv::Variant::fromBool(true).detachTo(&s.value);
        } else if (p.vt == VT_VARIANT) {
            tarv::makeStringArray({L"a" + std::to_wstring(n), L"b"}).detachTo(&s.value);
        } else if (p.vt == VT_DISPATCH) {
            s.value.vt = VT_DISPATCH;
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
        if (s.out.vt != VT_VARIANT) VariantClear(&s.out);
    }
}

// A by-reference argument for `s`, whose storage it points at.
static VARIANTARG reference(Call::Slot& s)
{
    VARIANTARG a{};
    a.vt = VT_BYREF | s.param.vt;
    a.byref = s.storage();
    return a;
}

HRESULT Call::byVtable(IUnknown* facet)
{
    std::vector<VARIANT> refs(slots_.size());
    std::vector<VARTYPE> types;
    std::vector<VARIANTARG*> args;
    for (size_t i = 0; i < slots_.size(); ++i) {
        Slot& s = slots_[i];
        // A VARIANT goes by value, which the x64 convention passes as a pointer to it.
        refs[i] = s.param.byRef ? reference(s) : s.value;
        types.push_back(s.param.byRef || s.param.vt != VT_VARIANT ? refs[i].vt : static_cast<VARTYPE>(VT_VARIANT));
        args.push_back(s.param.byRef ? &refs[i] : &s.value);
    }
    VARIANT result{};
    if (FAILED(DispCallFunc(facet, method_.vtableOffset, CC_STDCALL, VT_ERROR, static_cast<UINT>(args.size()), types.data(),
                            args.data(), &result)))
        throw std::runtime_error("DispCallFunc failed");
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
        if (slots_[i].param.retval)
            hasResult = true;
        else
            args.push_back(slots_[i].param.byRef ? reference(slots_[i]) : slots_[i].value);   // borrowed: Invoke frees nothing
    }
    DISPPARAMS params{args.data(), nullptr, static_cast<UINT>(args.size()), 0};
    DISPID put = DISPID_PROPERTYPUT;
    if (method_.kind == INVOKE_PROPERTYPUT) {
        params.rgdispidNamedArgs = &put;
        params.cNamedArgs = 1;
    }
    VARIANT result;
    VariantInit(&result);
    EXCEPINFO excep{};
    UINT argErr = 0;
    WORD flags = method_.kind == INVOKE_PROPERTYGET   ? DISPATCH_PROPERTYGET
                 : method_.kind == INVOKE_PROPERTYPUT ? DISPATCH_PROPERTYPUT
                                                      : DISPATCH_METHOD;
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

int checkEveryMethodBothWays(const std::vector<ProxiedInterfaces>& classes)
{
    int covered = 0;
    for (const ProxiedInterfaces& cls : classes) {
        int ofClass = 0;
        for (const IID& iid : cls.interfaces) {
            for (const Method& m : methodsOf(iid)) {
                SCOPED_TRACE(m.qualified);
                LogCapture direct, byName;
                ComPtr<kit::Object> kitA = cls.kit(), kitB = cls.kit();
                HRESULT viaVtable = S_OK, viaName = S_OK;
                {
                    NoLeaks leaks{kitA.get(), kitB.get()};
                    ComPtr<IDispatch> a = cls.proxy(kitA.get(), direct.log());
                    ComPtr<IDispatch> b = cls.proxy(kitB.get(), byName.log());
                    ComPtr<IDispatch> facetA, facetB;
                    EXPECT_EQ(a->QueryInterface(iid, facetA.putVoid()), S_OK);
                    EXPECT_EQ(b->QueryInterface(iid, facetB.putVoid()), S_OK);
                    if (!facetA || !facetB) continue;
                    kitA->clearCalls();
                    kitB->clearCalls();
                    Call first(m), second(m);
                    viaVtable = first.byVtable(facetA.get());
                    viaName = second.byName(facetB.get());
                    if (cls.beforeRelease) {
                        cls.beforeRelease(a.get());
                        cls.beforeRelease(b.get());
                    }
                }
                EXPECT_EQ(viaVtable, viaName);
                EXPECT_EQ(withoutAddresses(direct.records()), withoutAddresses(byName.records()));
                auto renamed = cls.loggedAs.find(m.qualified);
                const std::string logged = renamed == cls.loggedAs.end() ? m.qualified : renamed->second;
                EXPECT_NE(direct.records().find("<func name=\"" + logged + "\""), std::string::npos);
                EXPECT_EQ(kitA->calls(), kitB->calls());
                EXPECT_EQ(kitA->callCount(m.qualified), 1u);
                ++ofClass;
            }
        }
        std::cout << "[ covered  ] " << cls.name << ": " << ofClass << " methods\n";
        covered += ofClass;
    }
    std::cout << "[ covered  ] " << covered << " methods, each by vtable and by name\n";
    return covered;
}

} // namespace testsupport
