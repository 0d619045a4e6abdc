#include "ideal/properties.h"

#include "ideal/cape_error.h"
#include "ideal/values.h"

#include <windows.h>

#include <cmath>

namespace samples::ideal {

bool sameId(std::wstring_view a, std::wstring_view b)
{
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(), static_cast<int>(b.size()), TRUE) ==
           CSTR_EQUAL;
}

namespace {

const PropertyInfo* findIn(const std::vector<PropertyInfo>& list, std::wstring_view id)
{
    for (const PropertyInfo& p : list)
        if (sameId(p.id, id)) return &p;
    return nullptr;
}

[[noreturn]] void notAvailable(std::wstring_view kind, std::wstring_view id)
{
    raise(kCapeThrmPropertyNotAvailable, std::wstring(kind) + L" \"" + std::wstring(id) + L"\" is not available");
}

} // namespace

const std::vector<PropertyInfo>& singlePhaseProperties()
{
    static const std::vector<PropertyInfo> list{
        {L"fugacityCoefficient", L"", true, L""},
        {L"logFugacityCoefficient", L"", true, L""},
        {L"fugacity", L"", true, L"Pa"},
        {L"molecularWeight", L"", false, L"g/mol"},
        {L"density", L"mole", false, L"mol/m3"},
        {L"volume", L"mole", false, L"m3/mol"},
        {L"enthalpy", L"mole", false, L"J/mol"},
        {L"entropy", L"mole", false, L"J/(mol K)"},
        {L"gibbsEnergy", L"mole", false, L"J/mol"},
        {L"heatCapacityCp", L"mole", false, L"J/(mol K)"},
        {L"compressibilityFactor", L"", false, L""},
    };
    return list;
}

const PropertyInfo* findSinglePhaseProperty(std::wstring_view id)
{
    return findIn(singlePhaseProperties(), id);
}

std::vector<double> calcSinglePhase(const IdealModel& m, const PropertyInfo& prop, Phase phase, double T, double P,
                                    const std::vector<double>& composition)
{
    const std::wstring_view id = prop.id;
    const std::vector<double> x = m.normalized(composition);
    if (id == L"fugacityCoefficient" || id == L"logFugacityCoefficient" || id == L"fugacity") {
        std::vector<double> v = m.lnFugacityCoefficients(phase, T, P);
        if (id == L"logFugacityCoefficient") return v;
        for (size_t i = 0; i < v.size(); ++i) {
            v[i] = std::exp(v[i]);
            if (id == L"fugacity") v[i] *= x[i] * P;
        }
        return v;
    }
    if (id == L"molecularWeight") return {m.molecularWeight(x)};
    if (id == L"density") return {1.0 / m.molarVolume(phase, T, P, x)};
    if (id == L"volume") return {m.molarVolume(phase, T, P, x)};
    if (id == L"enthalpy") return {m.enthalpy(phase, T, x)};
    if (id == L"entropy") return {m.entropy(phase, T, P, x)};
    if (id == L"gibbsEnergy") return {m.enthalpy(phase, T, x) - T * m.entropy(phase, T, P, x)};
    if (id == L"heatCapacityCp") return {m.heatCapacityCp(phase, T, x)};
    if (id == L"compressibilityFactor") return {P * m.molarVolume(phase, T, P, x) / (kGasConstant * T)};
    notAvailable(L"Property", id);
}

const std::vector<PropertyInfo>& twoPhaseProperties()
{
    static const std::vector<PropertyInfo> list{
        {L"kvalue", L"", true, L""},
        {L"logKvalue", L"", true, L""},
    };
    return list;
}

const PropertyInfo* findTwoPhaseProperty(std::wstring_view id)
{
    return findIn(twoPhaseProperties(), id);
}

std::vector<double> calcTwoPhase(const IdealModel& m, const PropertyInfo& prop, Phase first, Phase second, double T,
                                 double P)
{
    // At equilibrium x_first phi_first = x_second phi_second.
    const std::vector<double> a = m.lnFugacityCoefficients(first, T, P);
    const std::vector<double> b = m.lnFugacityCoefficients(second, T, P);
    std::vector<double> v(a.size());
    for (size_t i = 0; i < v.size(); ++i) {
        v[i] = b[i] - a[i];
        if (std::wstring_view(prop.id) == L"kvalue") v[i] = std::exp(v[i]);
    }
    return v;
}

const std::vector<std::wstring>& constantProperties()
{
    static const std::vector<std::wstring> list{
        L"molecularWeight", L"normalBoilingPoint", L"criticalTemperature", L"criticalPressure",
        L"acentricFactor",  L"casRegistryNumber",  L"chemicalFormula",     L"iupacName",
    };
    return list;
}

ConstantValue compoundConstant(const Compound& c, std::wstring_view id)
{
    if (sameId(id, L"molecularWeight")) return c.molecularWeight;
    if (sameId(id, L"normalBoilingPoint")) return c.normalBoilingPoint;
    if (sameId(id, L"criticalTemperature")) return c.criticalTemperature;
    if (sameId(id, L"criticalPressure")) return c.criticalPressure;
    if (sameId(id, L"acentricFactor")) return c.acentricFactor;
    if (sameId(id, L"casRegistryNumber")) return std::wstring(c.casNumber);
    if (sameId(id, L"chemicalFormula")) return std::wstring(c.formula);
    if (sameId(id, L"iupacName")) return std::wstring(c.name);
    notAvailable(L"Compound constant", id);
}

const std::vector<std::wstring>& temperatureDependentProperties()
{
    static const std::vector<std::wstring> list{L"vaporPressure",   L"idealGasHeatCapacity", L"idealGasEnthalpy",
                                                L"idealGasEntropy", L"heatOfVaporization",   L"liquidDensity"};
    return list;
}

const std::vector<std::wstring>& pressureDependentProperties()
{
    static const std::vector<std::wstring> list{L"boilingPointTemperature"};
    return list;
}

double temperatureDependent(const IdealModel& m, size_t i, std::wstring_view id, double T)
{
    m.checkTemperature(T);
    if (sameId(id, L"vaporPressure")) return m.vaporPressure(i, T);
    if (sameId(id, L"idealGasHeatCapacity")) return m.idealGasCp(i, T);
    if (sameId(id, L"idealGasEnthalpy")) return m.idealGasEnthalpy(i, T);
    if (sameId(id, L"idealGasEntropy")) return m.idealGasEntropy(i, T);
    if (sameId(id, L"heatOfVaporization")) return m.heatOfVaporization(i, T);
    if (sameId(id, L"liquidDensity")) return 1.0 / m.liquidMolarVolume(i, T);
    notAvailable(L"Temperature-dependent property", id);
}

double pressureDependent(const IdealModel& m, size_t i, std::wstring_view id, double P)
{
    if (sameId(id, L"boilingPointTemperature")) return m.boilingTemperature(i, P);
    notAvailable(L"Pressure-dependent property", id);
}

const std::vector<std::wstring>& universalConstants()
{
    static const std::vector<std::wstring> list{L"avogadroConstant",     L"boltzmannConstant",
                                                L"idealGasStateReferencePressure", L"molarGasConstant",
                                                L"speedOfLightInVacuum", L"standardAccelerationOfGravity"};
    return list;
}

double universalConstant(std::wstring_view id)
{
    if (sameId(id, L"avogadroConstant")) return 6.02214076e23;
    if (sameId(id, L"boltzmannConstant")) return 1.380649e-23;
    if (sameId(id, L"idealGasStateReferencePressure")) return kReferencePressure;
    if (sameId(id, L"molarGasConstant")) return kGasConstant;
    if (sameId(id, L"speedOfLightInVacuum")) return 299792458.0;
    if (sameId(id, L"standardAccelerationOfGravity")) return 9.80665;
    raise(kCapeInvalidArgument, L"Unknown universal constant \"" + std::wstring(id) + L"\"");
}

void writeCompoundList(const IdealModel& m, VARIANT* ids, VARIANT* formulae, VARIANT* names, VARIANT* boilTemps,
                       VARIANT* molwts, VARIANT* casnos)
{
    std::vector<std::wstring> id, f, n, cas;
    std::vector<double> tb, mw;
    for (size_t i = 0; i < m.size(); ++i) {
        const Compound& c = m.compound(i);
        id.emplace_back(c.id);
        f.emplace_back(c.formula);
        n.emplace_back(c.name);
        cas.emplace_back(c.casNumber);
        tb.push_back(c.normalBoilingPoint);
        mw.push_back(c.molecularWeight);
    }
    setStrings(ids, id);
    setStrings(formulae, f);
    setStrings(names, n);
    setDoubles(boilTemps, tb);
    setDoubles(molwts, mw);
    setStrings(casnos, cas);
}

} // namespace samples::ideal
