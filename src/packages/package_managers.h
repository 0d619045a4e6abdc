#pragma once
// The server's front door: the three creatable classes through which a simulator sees the exported
// packages, one generation each. They are not proxies and keep no log; logging begins with the
// package. Each may be aggregated, and each creation gives a new object that sees the registry's
// list as it is at that moment.
#include "com/com_ptr.h"
#include "com/dispatch.h"
#include "packages/resolution.h"
#include "tarvlib.h"

namespace tarv {

template <class Manager>
class PackageManagerBase : public DualImpl<ECapeRoot>,
                           public DualImpl<ECapeUnknown>,
                           public DualImpl<ECapeUser>,
                           public DualImpl<ICapeIdentification>,
                           public DualImpl<Manager>,
                           public DualImpl<ICapeThermoNewPropertyPackage, TypeLib::Tarv> {
public:
    // IUnknown of every interface goes to the controlling unknown (the object itself, or its
    // aggregator).
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override { return outer_->QueryInterface(iid, out); }
    ULONG STDMETHODCALLTYPE AddRef() override { return outer_->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return outer_->Release(); }

    // ECapeRoot, ECapeUser: the last failed resolution on this object.
    HRESULT STDMETHODCALLTYPE get_name(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_code(LONG* code) override;
    HRESULT STDMETHODCALLTYPE get_description(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE get_scope(BSTR* scope) override;
    HRESULT STDMETHODCALLTYPE get_interfaceName(BSTR* interfaceName) override;
    HRESULT STDMETHODCALLTYPE get_operation(BSTR* operation) override;
    HRESULT STDMETHODCALLTYPE get_moreInfo(BSTR* moreInfo) override;

    // ICapeIdentification: the object's own name and description.
    HRESULT STDMETHODCALLTYPE get_ComponentName(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE put_ComponentName(BSTR name) override;
    HRESULT STDMETHODCALLTYPE get_ComponentDescription(BSTR* desc) override;
    HRESULT STDMETHODCALLTYPE put_ComponentDescription(BSTR desc) override;

    // ICapeThermoNewPropertyPackage: the add-package dialog, limited to this object's generation;
    // the chosen package is exported (unless its name is there already) and resolved with the
    // dialog's logging choice. Always succeeds; a null package on cancel or failure.
    HRESULT STDMETHODCALLTYPE NewPropertyPackage(IDispatch** package) override;

protected:
    PackageManagerBase(IUnknown* outer, const PackageFamily& family, const wchar_t* name, const wchar_t* description);
    virtual ~PackageManagerBase();

    // Makes an object of class C for a class object: aggregated objects hand out their inner unknown.
    template <class C>
    static HRESULT createInstance(IUnknown* outer, REFIID iid, void** out);

    HRESULT list(VARIANT* names);
    HRESULT resolve(BSTR name, IDispatch** package);

private:
    // The non-delegating unknown: the object's identity when it stands alone, the inner unknown
    // when it is aggregated.
    struct Inner final : IUnknown {
        PackageManagerBase* self;
        LONG refs = 0;
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
        ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++refs); }
        ULONG STDMETHODCALLTYPE Release() override;
    };

    Inner inner_;
    IUnknown* outer_;
    const PackageFamily& family_;
    ResolutionErrors errors_;
    std::wstring componentName_;
    std::wstring componentDescription_;
};

class CThermoSystem final : public PackageManagerBase<ICapeThermoSystem> {
public:
    static HRESULT create(IUnknown* outer, REFIID iid, void** out);
    explicit CThermoSystem(IUnknown* outer);

    HRESULT STDMETHODCALLTYPE GetPropertyPackages(VARIANT* propPackageList) override { return list(propPackageList); }
    HRESULT STDMETHODCALLTYPE ResolvePropertyPackage(BSTR propertyPackage, IDispatch** propPackObject) override
    {
        return resolve(propertyPackage, propPackObject);
    }
};

class CPropertyPackageManager final : public PackageManagerBase<ICapeThermoPropertyPackageManager> {
public:
    static HRESULT create(IUnknown* outer, REFIID iid, void** out);
    explicit CPropertyPackageManager(IUnknown* outer);

    HRESULT STDMETHODCALLTYPE GetPropertyPackageList(VARIANT* PackageNames) override { return list(PackageNames); }
    HRESULT STDMETHODCALLTYPE GetPropertyPackage(BSTR PackageName, IDispatch** Package) override
    {
        return resolve(PackageName, Package);
    }
};

class CReactionPackageManager final : public PackageManagerBase<ICapeReactionsPackageManager> {
public:
    static HRESULT create(IUnknown* outer, REFIID iid, void** out);
    explicit CReactionPackageManager(IUnknown* outer);

    HRESULT STDMETHODCALLTYPE GetListOfReactionsPackages(VARIANT* reactionIDS) override { return list(reactionIDS); }
    HRESULT STDMETHODCALLTYPE ResolveReactionsPackage(BSTR reactionsPkg, IDispatch** reaction) override
    {
        return resolve(reactionsPkg, reaction);
    }
};

} // namespace tarv
