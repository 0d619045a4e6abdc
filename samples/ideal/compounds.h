#pragma once
// Pure-compound data of the ideal packages: constants, Antoine vapour pressure, ideal-gas heat
// capacity and a reference liquid density.
#include <string_view>
#include <vector>

namespace samples::ideal {

struct Compound {
    const wchar_t* id;             // compound identifier the packages use
    const wchar_t* name;           // IUPAC name
    const wchar_t* formula;
    const wchar_t* casNumber;
    double molecularWeight;        // g/mol
    double normalBoilingPoint;     // K
    double criticalTemperature;    // K
    double criticalPressure;       // Pa
    double acentricFactor;
    double liquidDensity20C;       // kg/m3 at 293.15 K and 1 atm
    double antoine[3];             // log10(Psat / mmHg) = A - B / (t / degC + C)
    double cp[4];                  // ideal-gas Cp / (J/(mol K)) = a + b T + c T^2 + d T^3, T in K
};

// Every compound the kit knows, in a fixed order.
const std::vector<Compound>& compoundDatabase();
// The compound with this identifier (case-insensitive), or null.
const Compound* findCompound(std::wstring_view id);

} // namespace samples::ideal
