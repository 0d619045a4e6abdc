#pragma once
// What the ideal packages calculate, by CAPE-OPEN property identifier: single-phase and two-phase
// properties, compound constants, temperature- and pressure-dependent compound properties and
// universal constants. Shared by the 1.0 and 1.1 packages; identifiers compare case-insensitively.
#include "ideal/ideal_model.h"

#include <windows.h>
#include <ole2.h>

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace samples::ideal {

struct PropertyInfo {
    const wchar_t* id;
    const wchar_t* basis;     // basis of the values set on a material: L"mole" or L"" (none)
    bool perCompound;         // one value per compound, else one value
    const wchar_t* unit;
};

// Single-phase properties: fugacityCoefficient, logFugacityCoefficient, fugacity,
// molecularWeight, density, volume, enthalpy, entropy, gibbsEnergy, heatCapacityCp,
// compressibilityFactor.
const std::vector<PropertyInfo>& singlePhaseProperties();
const PropertyInfo* findSinglePhaseProperty(std::wstring_view id);
std::vector<double> calcSinglePhase(const IdealModel& m, const PropertyInfo& prop, Phase phase, double T, double P,
                                    const std::vector<double>& x);

// Two-phase properties: kvalue and logKvalue, the ratio of a compound's mole fractions in the
// first phase over the second.
const std::vector<PropertyInfo>& twoPhaseProperties();
const PropertyInfo* findTwoPhaseProperty(std::wstring_view id);
std::vector<double> calcTwoPhase(const IdealModel& m, const PropertyInfo& prop, Phase first, Phase second, double T,
                                 double P);

// Compound constants: numbers or text.
using ConstantValue = std::variant<double, std::wstring>;
const std::vector<std::wstring>& constantProperties();
// Raises ECapeThrmPropertyNotAvailable for an unknown identifier.
ConstantValue compoundConstant(const Compound& c, std::wstring_view id);

// Temperature-dependent (vaporPressure, idealGasHeatCapacity, idealGasEnthalpy, idealGasEntropy,
// heatOfVaporization, liquidDensity) and pressure-dependent (boilingPointTemperature) properties.
const std::vector<std::wstring>& temperatureDependentProperties();
const std::vector<std::wstring>& pressureDependentProperties();
double temperatureDependent(const IdealModel& m, size_t i, std::wstring_view id, double T);
double pressureDependent(const IdealModel& m, size_t i, std::wstring_view id, double P);

// Universal constants (SI).
const std::vector<std::wstring>& universalConstants();
double universalConstant(std::wstring_view id);

bool sameId(std::wstring_view a, std::wstring_view b);

// The compound list both package generations return: ids, formulae, names, normal boiling points,
// molecular weights and CAS numbers, into VARIANTs the caller has checked.
void writeCompoundList(const IdealModel& m, VARIANT* ids, VARIANT* formulae, VARIANT* names, VARIANT* boilTemps,
                       VARIANT* molwts, VARIANT* casnos);

} // namespace samples::ideal
