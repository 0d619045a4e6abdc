#include "packages/resolution.h"

#include "com/bstr.h"
#include "com/variant.h"
#include "log/log_file.h"
#include "packages/property_package.h"
#include "params/reaction_package.h"

#include <algorithm>

namespace tarv {
namespace {

constexpr DWORD kAnyContext = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER |
                              CLSCTX_REMOTE_SERVER;

HRESULT resolveInThermoSystem(IUnknown* container, BSTR name, IDispatch** package)
{
    return static_cast<ICapeThermoSystem*>(container)->ResolvePropertyPackage(name, package);
}

HRESULT resolveInPackageManager(IUnknown* container, BSTR name, IDispatch** package)
{
    return static_cast<ICapeThermoPropertyPackageManager*>(container)->GetPropertyPackage(name, package);
}

HRESULT resolveInReactionManager(IUnknown* container, BSTR name, IDispatch** package)
{
    return static_cast<ICapeReactionsPackageManager*>(container)->ResolveReactionsPackage(name, package);
}

template <class C>
ComPtr<IDispatch> exposeAs(IDispatch* real, CallLog* log, const char* logName)
{
    C* proxy = new C();
    proxy->attachObject(real);
    if (log) proxy->attachLog(log, logName);
    ComPtr<IDispatch> result;
    proxy->QueryInterface(IID_IDispatch, result.putVoid());
    return result;
}

bool sameName(const std::wstring& displayName, BSTR name)
{
    return lstrcmpiW(displayName.c_str(), name ? name : L"") == 0;
}

HRESULT fail(ResolutionErrors& errors, const PackageFamily& family, const std::wstring& text)
{
    errors.description = text;
    errors.scope = family.scope;
    errors.interfaceName = family.interfaceName;
    return kResolutionFailed;
}

} // namespace

const PackageFamily propertyPackage10Family{
    ThermoSystem10, PropertyPackage10, &IID_ICapeThermoSystem,
    "Failed to create thermo system: ", "thermo system failed to initialize: ",
    "Failed to create stand-alone property package: ", "NULL pointer is returned for property package",
    L"ResolvePropertyPackage", L"ICapeThermoSystem", "CAPE-OPEN version 1.0 Physical Property Package",
    L"\r\nRemove from list of exported property packages?", false, &resolveInThermoSystem,
    &exposeAs<CPropertyPackage10>, "TARV version 1.0 Property Package:", false};

const PackageFamily propertyPackage11Family{
    PropertyPackageManager11, PropertyPackage11, &IID_ICapeThermoPropertyPackageManager,
    "Failed to create property package manager: ", "property package manager failed to initialize: ",
    "Failed to create stand-alone property package: ", "NULL pointer is returned for property package",
    L"GetPropertyPackage", L"ICapeThermoPropertyPackageManager", "CAPE-OPEN version 1.1 Physical Property Package",
    L"\r\nRemove from list of exported property packages?", true, &resolveInPackageManager,
    &exposeAs<CPropertyPackage11>, "TARV version 1.1 Property Package:", true};

const PackageFamily reactionPackage10Family{
    ReactionPackageManager10, ReactionPackage10, &IID_ICapeReactionsPackageManager,
    "Failed to create reaction package manager: ", "reaction package manager failed to initialize: ",
    "Failed to create stand-alone reacion package: ", "NULL pointer is returned for reaction package",
    L"ResolveReactionsPackage", L"ICapeReactionsPackageManager", "CAPE-OPEN version 1.0 Reaction Package",
    L"\r\nRemove from list of exported packages?", false, &resolveInReactionManager,
    &exposeAs<CReactionPackage10>, "TARV version 1.0 Reaction Package:", false};

HRESULT resolvePackage(ResolutionErrors& errors, const PackageFamily& family, const ExportedPackage& record,
                       IDispatch** out)
{
    *out = nullptr;
    ComPtr<IDispatch> real;
    if (record.kind == family.containerKind) {
        // The container lives only for the length of this resolution.
        ComPtr<IUnknown> container;
        HRESULT hr = CoCreateInstance(record.clsid, nullptr, kAnyContext, *family.containerInterface,
                                      container.putVoid());
        if (FAILED(hr)) return fail(errors, family, toWide(family.createFailure) + systemErrorText(hr));
        ComPtr<ICapeUtilities> utilities = container.query<ICapeUtilities>(IID_ICapeUtilities);
        if (utilities && FAILED(hr = utilities->Initialize()))
            return fail(errors, family, toWide(family.initializeFailure) + capeErrorText(utilities.get(), hr));
        Bstr name(std::wstring_view(record.packageName));
        hr = family.resolveInContainer(container.get(), name.get(), real.put());
        if (utilities) utilities->Terminate();
        if (FAILED(hr)) return fail(errors, family, capeErrorText(container.get(), hr));
    } else if (record.kind == family.standaloneKind) {
        HRESULT hr = CoCreateInstance(record.clsid, nullptr, kAnyContext, IID_IDispatch, real.putVoid());
        if (FAILED(hr)) return fail(errors, family, toWide(family.standaloneFailure) + systemErrorText(hr));
    } else {
        return fail(errors, family, L"internal error");
    }
    if (!real) return fail(errors, family, toWide(family.nullResult));

    // The package takes the exported name.
    if (ComPtr<ICapeIdentification> id = real.query<ICapeIdentification>(IID_ICapeIdentification))
        id->put_ComponentName(Bstr(std::wstring_view(record.displayName)).get());

    std::string displayName = toNarrow(record.displayName);
    CallLog* log = nullptr;
    if (record.loggingEnabled) {
        std::string title = "Create log for " + displayName + ":";
        log = createLogFile(title.c_str(), displayName.c_str(), family.objectType);
    }
    ComPtr<IDispatch> proxy = family.expose(real.detach(), log, displayName.c_str());
    *out = proxy.detach();
    return S_OK;
}

HRESULT resolvePackageByName(ResolutionErrors& errors, const PackageFamily& family, BSTR name, IDispatch** out)
{
    if (family.clearsOutFirst) *out = nullptr;
    ExportedPackageList& list = exportedPackages();
    size_t index = 0;
    for (; index < list.size(); ++index) {
        const ExportedPackage& p = *list[index];
        if ((p.kind == family.containerKind || p.kind == family.standaloneKind) && sameName(p.displayName, name)) break;
    }
    if (index == list.size()) {
        std::wstring shown = name ? std::wstring(name) : L"NULL";
        return fail(errors, family, L"Package with name \"" + shown + L"\" is not available");
    }
    // The component's own calls and the question below let the apartment serve other clients,
    // and a manager made meanwhile reloads the list: resolution works on a copy of the record,
    // and the removal finds the record it asked about again, wherever it now stands.
    const ExportedPackage record = *list[index];
    HRESULT hr = resolvePackage(errors, family, record, out);
    if (FAILED(hr)) {
        std::wstring text = errors.description + family.removeQuestion;
        if (MessageBoxW(nullptr, text.c_str(), L"TARV:", MB_YESNO | MB_ICONQUESTION | MB_TOPMOST) == IDYES) {
            auto same = std::find_if(list.begin(), list.end(), [&](const auto& p) { return *p == record; });
            if (same != list.end()) {
                list.erase(same);
                savePackages();
                notifyPackageListChanged();
            }
        }
    }
    return hr;
}

void listPackages(const PackageFamily& family, VARIANT* names)
{
    VariantClear(names);
    std::vector<std::wstring> shown;
    for (const auto& p : exportedPackages())
        if (p->kind == family.containerKind || p->kind == family.standaloneKind) shown.push_back(p->displayName);
    if (shown.empty()) return;
    makeStringArray(shown).detachTo(names);
}

} // namespace tarv
