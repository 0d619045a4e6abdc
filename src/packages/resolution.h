#pragma once
// Turning an exported name into a live object: find the record, create the real component in this
// process, open a call log if the record asks for one, wrap the real object in the proxy of its
// generation, and hand the proxy over. One procedure for three families, which differ only in the
// data of their PackageFamily.
#include "packages/package_store.h"
#include "proxy/factory.h"

namespace tarv {

// The last failure of an exposed manager, as ECapeUser and ECapeRoot tell it to the simulator.
struct ResolutionErrors {
    std::wstring description;
    std::wstring scope;
    std::wstring interfaceName;
};

struct PackageFamily {
    PackageKind containerKind;
    PackageKind standaloneKind;
    const IID* containerInterface;
    const char* createFailure;
    const char* initializeFailure;
    const char* standaloneFailure;
    const char* nullResult;
    const wchar_t* scope;
    const wchar_t* interfaceName;
    const char* objectType;
    const wchar_t* removeQuestion;
    bool clearsOutFirst;                     // the front method nulls its out-pointer before the search
    // The container's resolving method.
    HRESULT (*resolveInContainer)(IUnknown* container, BSTR name, IDispatch** package);
    // Makes the family's exposed proxy over the real package (the real reference passes to it).
    ComPtr<IDispatch> (*expose)(IDispatch* real, CallLog* log, const char* logName);
    const char* newPackageTitle;             // title of the new-package method's dialog
    bool reloadsBeforeAdding;                // the new-package method reloads the list before adding
};

extern const PackageFamily propertyPackage10Family;
extern const PackageFamily propertyPackage11Family;
extern const PackageFamily reactionPackage10Family;

// Makes the object of one record. On failure the error fields say why and the status is
// ECapeUnknownHR; on success *out holds the proxy's IDispatch.
HRESULT resolvePackage(ResolutionErrors& errors, const PackageFamily& family, const ExportedPackage& record,
                       IDispatch** out);

// The front method of the exposed managers: the first record of the family whose display name
// equals `name` ignoring case; a failed resolution asks the user whether to remove the record.
HRESULT resolvePackageByName(ResolutionErrors& errors, const PackageFamily& family, BSTR name, IDispatch** out);

// The list method: the display names of the family's records as an array of strings, or an empty
// VARIANT when there are none.
void listPackages(const PackageFamily& family, VARIANT* names);

// The message the status 0x80040501 and these literals stand for.
constexpr HRESULT kResolutionFailed = static_cast<HRESULT>(0x80040501);

} // namespace tarv
