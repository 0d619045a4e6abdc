#include "ideal/managers.h"

#include "ideal/configurations.h"
#include "ideal/package10.h"
#include "ideal/package11.h"

namespace samples::ideal {
namespace {

std::vector<std::wstring> configurationNames()
{
    std::vector<std::wstring> names;
    for (const PackageConfiguration& c : packageConfigurations()) names.emplace_back(c.name);
    return names;
}

const PackageConfiguration& configurationNamed(BSTR name)
{
    const std::wstring wanted = text(name);
    if (const PackageConfiguration* c = findConfiguration(wanted)) return *c;
    std::wstring known;
    for (const std::wstring& n : configurationNames()) known += (known.empty() ? L"\"" : L", \"") + n + L"\"";
    raise(kCapeInvalidArgument, L"There is no property package named \"" + wanted + L"\"; available: " + known);
}

// Hands out a new package of class P for the configuration, or null for a container that does so.
template <class P, class... A>
void resolve(const ContainerBehaviour& b, BSTR name, IDispatch** out, A... args)
{
    *out = nullptr;
    if (b.nullPackage) return;
    const PackageConfiguration& config = configurationNamed(name);
    HRESULT hr = createAndQuery<P>(IID_IDispatch, reinterpret_cast<void**>(out), config, args...);
    if (FAILED(hr)) raise(kCapeNoMemory, L"The property package could not be created");
}

} // namespace

PackageManager11::PackageManager11(std::wstring name, const ContainerBehaviour& behaviour)
    : CapeComponent(std::move(name), L"Ideal-mixture property packages (CAPE-OPEN 1.1) of the test kit"),
      behaviour_(behaviour)
{
    if (!behaviour_.utilities) hide(IID_ICapeUtilities);
}

HRESULT PackageManager11::GetPropertyPackageList(VARIANT* PackageNames)
{
    return guard(L"ICapeThermoPropertyPackageManager", L"GetPropertyPackageList",
                 [&] { setStrings(out(PackageNames), configurationNames()); });
}

HRESULT PackageManager11::GetPropertyPackage(BSTR PackageName, IDispatch** Package)
{
    return guard(L"ICapeThermoPropertyPackageManager", L"GetPropertyPackage",
                 [&] { resolve<IdealPackage11>(behaviour_, PackageName, out(Package)); });
}

ThermoSystem10::ThermoSystem10(std::wstring name, const ContainerBehaviour& behaviour)
    : CapeComponent(std::move(name), L"Ideal-mixture property packages (CAPE-OPEN 1.0) of the test kit"),
      behaviour_(behaviour)
{
    if (!behaviour_.utilities) hide(IID_ICapeUtilities);
}

HRESULT ThermoSystem10::GetPropertyPackages(VARIANT* propPackageList)
{
    return guard(L"ICapeThermoSystem", L"GetPropertyPackages",
                 [&] { setStrings(out(propPackageList), configurationNames()); });
}

HRESULT ThermoSystem10::ResolvePropertyPackage(BSTR propertyPackage, IDispatch** propPackObject)
{
    return guard(L"ICapeThermoSystem", L"ResolvePropertyPackage",
                 [&] { resolve<IdealPackage10>(behaviour_, propertyPackage, out(propPackObject)); });
}

} // namespace samples::ideal
