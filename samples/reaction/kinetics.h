#pragma once
// Power-law kinetics of gas-phase reactions among the sample compounds. A reaction's rate is
//
//   r = k0 exp(-Ea / (R T)) * product over its reactants of C_i ^ order_i      [mol/(m3 s)]
//
// with C_i = y_i P / (R T) the molar concentration of an ideal gas [mol/m3] and each reactant's
// order its stoichiometric coefficient, as for an elementary step. A reversible reaction is two
// kinetic reactions, one each way.
#include <memory>
#include <string>
#include <vector>

namespace samples::reaction {

struct Reaction {
    std::wstring id;
    std::wstring description;
    std::vector<std::wstring> compounds;     // compound identifiers of the sample compound data
    std::vector<double> coefficients;        // stoichiometric, negative for reactants
    std::wstring baseReactant;
    double preExponentialFactor;             // k0, in the units that make r mol/(m3 s)
    double activationEnergy;                 // Ea, J/mol
};

inline constexpr wchar_t kPhase[] = L"Vapor";
inline constexpr wchar_t kConcentrationBasis[] = L"Molar concentration";

// The reaction packages on offer: a name, a description and their reactions.
struct ReactionSet {
    const wchar_t* name;
    const wchar_t* description;
    std::vector<Reaction> reactions;
};

// "Toluene Disproportionation" (toluene to benzene and o-xylene and back) and "Hexane
// Disproportionation" (n-hexane to n-pentane and n-heptane and back). The stand-alone package is
// the first.
const std::vector<ReactionSet>& reactionSets();
// The set of this name (case-insensitive), or null.
const ReactionSet* findReactionSet(const std::wstring& name);

// The rate constant k0 exp(-Ea / (R T)) at temperature T [K].
double rateConstant(const Reaction& r, double temperature);

// The rate of `r` at temperature T [K] and pressure P [Pa] of a gas of composition `fractions`,
// mole fractions of the compounds `compounds`; a reactant missing there raises
// ECapeInvalidArgument.
double reactionRate(const Reaction& r, double temperature, double pressure, const std::vector<std::wstring>& compounds,
                    const std::vector<double>& fractions);

} // namespace samples::reaction
