#pragma once
// The ideal-mixture model of the kit's property packages: ideal-gas vapour, ideal liquid solution
// (Raoult's law) with Antoine vapour pressures, ideal-gas heat capacities, heats of vaporisation
// from the Clausius-Clapeyron equation on the Antoine correlation (so that enthalpies, entropies
// and K-values are one consistent model), and Rackett liquid volumes fitted to each compound's
// density at 20 degC.
//
// Reference state: ideal gas at 298.15 K (or the temperature the settings give) and 101325 Pa has
// zero enthalpy and entropy.
// Units are SI: K, Pa, J/mol, J/(mol K), m3/mol; molecular weights in g/mol.
// Invalid input raises CapeError (cape_error.h).
#include "ideal/compounds.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace samples::ideal {

inline constexpr double kGasConstant = 8.314462618;        // J/(mol K)
inline constexpr double kReferenceTemperature = 298.15;    // K
inline constexpr double kReferencePressure = 101325.0;     // Pa

enum class Phase { Vapor, Liquid };

// The phase labels of the packages: "Vapor" and "Liquid".
const wchar_t* labelOf(Phase p);
std::optional<Phase> phaseFromLabel(std::wstring_view label);   // case-insensitive

enum class LiquidDensity {
    Rackett,    // saturated liquid volume, Rackett's equation fitted to the density at 20 degC
    Constant,   // the density at 20 degC at every temperature
};

// What the user of a package may set: the package's parameters write here.
struct ModelSettings {
    double referenceTemperature = kReferenceTemperature;   // K: ideal gas there has zero H and S
    int flashIterations = 200;                             // of the Rachford-Rice solution of a TP flash
    LiquidDensity liquidDensity = LiquidDensity::Rackett;
    bool normaliseCompositions = true;                     // else a composition must sum to one
};

struct FlashResult {
    double temperature = 0.0;        // K
    double pressure = 0.0;           // Pa
    bool vapor = false;              // the vapour phase is present
    bool liquid = false;             // the liquid phase is present
    double vaporFraction = 0.0;      // moles of vapour per mole of feed
    std::vector<double> x;           // liquid mole fractions (feed composition when absent)
    std::vector<double> y;           // vapour mole fractions (feed composition when absent)
};

class IdealModel {
public:
    explicit IdealModel(std::vector<const Compound*> compounds);
    // The model of these compound identifiers; an unknown one raises ECapeInvalidArgument.
    static IdealModel fromIds(const std::vector<std::wstring>& ids);

    // The settings the model follows (defaults until set); shared with whoever changes them.
    void useSettings(std::shared_ptr<const ModelSettings> settings) { settings_ = std::move(settings); }
    const ModelSettings& settings() const noexcept { return *settings_; }

    size_t size() const noexcept { return compounds_.size(); }
    const Compound& compound(size_t i) const { return *compounds_[i]; }
    std::vector<std::wstring> ids() const;
    // Position of a compound identifier (case-insensitive), or -1.
    int indexOf(std::wstring_view id) const;

    // --- Pure compounds. ----------------------------------------------------------------------
    double vaporPressure(size_t i, double T) const;              // Pa
    double dLnVaporPressuredT(size_t i, double T) const;         // 1/K
    double heatOfVaporization(size_t i, double T) const;         // J/mol
    double dHeatOfVaporizationdT(size_t i, double T) const;      // J/(mol K)
    double idealGasCp(size_t i, double T) const;                 // J/(mol K)
    double idealGasEnthalpy(size_t i, double T) const;           // J/mol
    double idealGasEntropy(size_t i, double T) const;            // J/(mol K) at the reference pressure
    double liquidMolarVolume(size_t i, double T) const;          // m3/mol
    double boilingTemperature(size_t i, double P) const;         // K

    // --- Phase equilibrium. -------------------------------------------------------------------
    // Isothermal flash of the feed z (normalised here) at T and P. With one phase allowed, the
    // whole feed is that phase.
    FlashResult flashTP(double T, double P, const std::vector<double>& z, bool vaporAllowed = true,
                        bool liquidAllowed = true) const;
    // The temperature (at P) or pressure (at T) at which the feed splits into the given vapour
    // fraction. Both phases are present, at 0 and 1 too: the incipient phase of a bubble or dew
    // point is part of the answer.
    FlashResult flashPVF(double P, double vaporFraction, const std::vector<double>& z) const;
    FlashResult flashTVF(double T, double vaporFraction, const std::vector<double>& z) const;
    double bubblePressure(double T, const std::vector<double>& z) const;
    double dewPressure(double T, const std::vector<double>& z) const;
    double bubbleTemperature(double P, const std::vector<double>& z) const;
    double dewTemperature(double P, const std::vector<double>& z) const;

    // --- One phase of composition x (mole fractions) at T and P. -------------------------------
    std::vector<double> lnFugacityCoefficients(Phase p, double T, double P) const;
    std::vector<double> dLnFugacityCoefficientsdT(Phase p, double T, double P) const;
    std::vector<double> dLnFugacityCoefficientsdP(Phase p, double T, double P) const;
    double molecularWeight(const std::vector<double>& x) const;
    double molarVolume(Phase p, double T, double P, const std::vector<double>& x) const;
    double enthalpy(Phase p, double T, const std::vector<double>& x) const;
    double entropy(Phase p, double T, double P, const std::vector<double>& x) const;
    double heatCapacityCp(Phase p, double T, const std::vector<double>& x) const;

    // Validation shared by every entry: the temperature lies where every correlation is defined,
    // the pressure is positive, a composition has one non-negative entry per compound and a
    // positive sum. normalized() returns the composition scaled to a sum of one; unless the
    // settings normalise compositions, one whose sum is not one (within 1e-6) is refused.
    void checkTemperature(double T) const;
    void checkPressure(double P) const;
    std::vector<double> normalized(const std::vector<double>& z, const wchar_t* what = L"composition") const;

private:
    std::vector<const Compound*> compounds_;
    std::vector<double> rackettZ_;   // Rackett parameter fitted to the density at 20 degC
    std::shared_ptr<const ModelSettings> settings_;
};

} // namespace samples::ideal
