#include "ideal/configurations.h"

#include "ideal/properties.h"

namespace samples::ideal {

const std::vector<PackageConfiguration>& packageConfigurations()
{
    static const std::vector<PackageConfiguration> list{
        {L"Ideal Alkanes", L"n-Pentane, n-hexane and n-heptane: ideal gas, ideal liquid solution (Raoult's law)",
         {L"n-Pentane", L"n-Hexane", L"n-Heptane"}},
        {L"Ideal Aromatics", L"Benzene, toluene and o-xylene: ideal gas, ideal liquid solution (Raoult's law)",
         {L"Benzene", L"Toluene", L"o-Xylene"}},
    };
    return list;
}

const PackageConfiguration* findConfiguration(std::wstring_view name)
{
    for (const PackageConfiguration& c : packageConfigurations())
        if (sameId(c.name, name)) return &c;
    return nullptr;
}

} // namespace samples::ideal
