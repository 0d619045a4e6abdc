#pragma once
// The property packages the kit's managers offer: a name, a description and a compound set.
#include <string_view>
#include <vector>

namespace samples::ideal {

struct PackageConfiguration {
    const wchar_t* name;
    const wchar_t* description;
    std::vector<const wchar_t*> compounds;   // compound identifiers, in the packages' order
};

// "Ideal Alkanes" (n-pentane, n-hexane, n-heptane) and "Ideal Aromatics" (benzene, toluene,
// o-xylene). The stand-alone packages are "Ideal Alkanes".
const std::vector<PackageConfiguration>& packageConfigurations();
// The configuration of this name (case-insensitive), or null.
const PackageConfiguration* findConfiguration(std::wstring_view name);

} // namespace samples::ideal
