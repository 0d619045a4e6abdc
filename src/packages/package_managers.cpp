#include "packages/package_managers.h"

#include "com/bstr.h"
#include "host/add_package_dlg.h"
#include "host/module.h"

#include <algorithm>
#include <new>

namespace tarv {
namespace {

HRESULT copyOut(BSTR* out, const std::wstring& text)
{
    if (!out) return E_POINTER;
    *out = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return *out ? S_OK : E_OUTOFMEMORY;
}

} // namespace

template <class Manager>
PackageManagerBase<Manager>::PackageManagerBase(IUnknown* outer, const PackageFamily& family, const wchar_t* name,
                                                const wchar_t* description)
    : outer_(outer ? outer : &inner_), family_(family), componentName_(name), componentDescription_(description)
{
    inner_.self = this;
    CTARVModule::lock();
    loadPackages();
}

template <class Manager>
PackageManagerBase<Manager>::~PackageManagerBase()
{
    CTARVModule::unlock();
}

template <class Manager>
template <class C>
HRESULT PackageManagerBase<Manager>::createInstance(IUnknown* outer, REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    if (outer && iid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
    C* object = new (std::nothrow) C(outer);
    if (!object) return E_OUTOFMEMORY;
    Inner& inner = object->inner_;
    inner.AddRef();
    HRESULT hr = inner.QueryInterface(iid, out);
    inner.Release();
    return hr;
}

template <class Manager>
HRESULT STDMETHODCALLTYPE PackageManagerBase<Manager>::Inner::QueryInterface(REFIID iid, void** out)
{
    if (!out) return E_POINTER;
    IUnknown* p = nullptr;
    if (iid == IID_IUnknown) p = this;
    else if (iid == IID_IDispatch || iid == __uuidof(Manager)) p = static_cast<DualImpl<Manager>*>(self);
    else if (iid == IID_ECapeRoot) p = static_cast<DualImpl<ECapeRoot>*>(self);
    else if (iid == IID_ECapeUnknown) p = static_cast<DualImpl<ECapeUnknown>*>(self);
    else if (iid == IID_ECapeUser) p = static_cast<DualImpl<ECapeUser>*>(self);
    else if (iid == IID_ICapeIdentification) p = static_cast<DualImpl<ICapeIdentification>*>(self);
    else if (iid == IID_ICapeThermoNewPropertyPackage)
        p = static_cast<DualImpl<ICapeThermoNewPropertyPackage, TypeLib::Tarv>*>(self);
    *out = p;
    if (!p) return E_NOINTERFACE;
    p->AddRef();
    return S_OK;
}

template <class Manager>
ULONG STDMETHODCALLTYPE PackageManagerBase<Manager>::Inner::Release()
{
    LONG count = --refs;
    if (count == 0) delete self;
    return static_cast<ULONG>(count);
}

template <class Manager>
HRESULT PackageManagerBase<Manager>::list(VARIANT* names)
{
    if (!names) return E_POINTER;
    listPackages(family_, names);
    return S_OK;
}

template <class Manager>
HRESULT PackageManagerBase<Manager>::resolve(BSTR name, IDispatch** package)
{
    if (!package) return E_POINTER;
    return resolvePackageByName(errors_, family_, name, package);
}

template <class Manager>
HRESULT PackageManagerBase<Manager>::get_name(BSTR* name) { return copyOut(name, errors_.description); }
template <class Manager>
HRESULT PackageManagerBase<Manager>::get_code(LONG* code)
{
    if (!code) return E_POINTER;
    *code = 0;
    return S_OK;
}
template <class Manager>
HRESULT PackageManagerBase<Manager>::get_description(BSTR* d) { return copyOut(d, errors_.description); }
template <class Manager>
HRESULT PackageManagerBase<Manager>::get_scope(BSTR* scope) { return copyOut(scope, errors_.scope); }
template <class Manager>
HRESULT PackageManagerBase<Manager>::get_interfaceName(BSTR* n) { return copyOut(n, errors_.interfaceName); }
template <class Manager>
HRESULT PackageManagerBase<Manager>::get_operation(BSTR* op) { return copyOut(op, L"operation not available"); }
template <class Manager>
HRESULT PackageManagerBase<Manager>::get_moreInfo(BSTR* info) { return copyOut(info, L"more information not available"); }
template <class Manager>
HRESULT PackageManagerBase<Manager>::get_ComponentName(BSTR* name) { return copyOut(name, componentName_); }
template <class Manager>
HRESULT PackageManagerBase<Manager>::get_ComponentDescription(BSTR* d) { return copyOut(d, componentDescription_); }

template <class Manager>
HRESULT PackageManagerBase<Manager>::put_ComponentName(BSTR name)
{
    if (!name) return E_POINTER;
    componentName_.assign(name, SysStringLen(name));
    return S_OK;
}

template <class Manager>
HRESULT PackageManagerBase<Manager>::put_ComponentDescription(BSTR desc)
{
    if (!desc) return E_POINTER;
    componentDescription_.assign(desc, SysStringLen(desc));
    return S_OK;
}

template <class Manager>
HRESULT PackageManagerBase<Manager>::NewPropertyPackage(IDispatch** package)
{
    if (!package) return E_POINTER;
    *package = nullptr;
    CAddPackageDlg dialog;
    dialog.title = family_.newPackageTitle;
    dialog.hideProperty11 = family_.containerKind != PropertyPackageManager11;
    dialog.hideProperty10 = family_.containerKind != ThermoSystem10;
    dialog.hideReaction = family_.containerKind != ReactionPackageManager10;
    if (dialog.showModal(GetActiveWindow()) != IDOK) return S_OK;
    const ExportedPackage record = dialog.result;
    if (family_.reloadsBeforeAdding) loadPackages();
    ExportedPackageList& list = exportedPackages();
    // Unlike the manager window, names that differ in case only are different packages here.
    const bool exported = std::any_of(list.begin(), list.end(),
                                      [&](const auto& p) { return p->displayName == record.displayName; });
    if (!exported) {
        list.push_back(std::make_unique<ExportedPackage>(record));
        savePackages();
    }
    // The dialog's record, not the list's: its logging box decides for this object.
    resolvePackage(errors_, family_, record, package);
    return S_OK;
}

template class PackageManagerBase<ICapeThermoSystem>;
template class PackageManagerBase<ICapeThermoPropertyPackageManager>;
template class PackageManagerBase<ICapeReactionsPackageManager>;

HRESULT CThermoSystem::create(IUnknown* outer, REFIID iid, void** out)
{
    return createInstance<CThermoSystem>(outer, iid, out);
}

HRESULT CPropertyPackageManager::create(IUnknown* outer, REFIID iid, void** out)
{
    return createInstance<CPropertyPackageManager>(outer, iid, out);
}

HRESULT CReactionPackageManager::create(IUnknown* outer, REFIID iid, void** out)
{
    return createInstance<CReactionPackageManager>(outer, iid, out);
}

CThermoSystem::CThermoSystem(IUnknown* outer)
    : PackageManagerBase(outer, propertyPackage10Family, L"TARV Thermo System", L"TARV Thermo Host; Thermo System")
{
}

CPropertyPackageManager::CPropertyPackageManager(IUnknown* outer)
    : PackageManagerBase(outer, propertyPackage11Family, L"TARV Property Package Manager",
                         L"TARV Thermo Host; Property Package Manager")
{
}

CReactionPackageManager::CReactionPackageManager(IUnknown* outer)
    : PackageManagerBase(outer, reactionPackage10Family, L"TARV Reaction Package Manager",
                         L"TARV Thermo Host; Reaction Package Manager")
{
}

} // namespace tarv
