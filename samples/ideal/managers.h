#pragma once
// The containers of the ideal packages: a CAPE-OPEN 1.1 property package manager and a 1.0
// thermo system, each offering every configuration of configurations.h. A Behaviour makes a
// container misbehave in one documented way, for failure tests of package resolution.
#include "ideal/component.h"

namespace samples::ideal {

struct ContainerBehaviour {
    bool utilities = true;                // exposes ICapeUtilities
    bool nullPackage = false;             // resolving any name succeeds with a null package
};

class PackageManager11 final : public CapeComponent<ICapeThermoPropertyPackageManager> {
public:
    PackageManager11(std::wstring name, const ContainerBehaviour& behaviour);

    // The configurations' names as an array of strings.
    HRESULT STDMETHODCALLTYPE GetPropertyPackageList(VARIANT* PackageNames) override;
    // A new IdealPackage11 of the named configuration; an unknown name fails with
    // ECapeInvalidArgument.
    HRESULT STDMETHODCALLTYPE GetPropertyPackage(BSTR PackageName, IDispatch** Package) override;

private:
    ContainerBehaviour behaviour_;
};

class ThermoSystem10 final : public CapeComponent<ICapeThermoSystem> {
public:
    ThermoSystem10(std::wstring name, const ContainerBehaviour& behaviour);

    HRESULT STDMETHODCALLTYPE GetPropertyPackages(VARIANT* propPackageList) override;
    // A new IdealPackage10 of the named configuration.
    HRESULT STDMETHODCALLTYPE ResolvePropertyPackage(BSTR propertyPackage, IDispatch** propPackObject) override;

private:
    ContainerBehaviour behaviour_;
};

} // namespace samples::ideal
