#include "reaction/kinetics.h"

#include "ideal/cape_error.h"
#include "ideal/ideal_model.h"
#include "ideal/properties.h"

#include <cmath>

namespace samples::reaction {

using ideal::kGasConstant;

const std::vector<ReactionSet>& reactionSets()
{
    // Second-order steps: k0 in m3/(mol s). The pairs are set so that the equilibrium constant
    // of each reversible reaction, k forward / k back, is 0.2 at every temperature.
    static const std::vector<ReactionSet> sets{
        {L"Toluene Disproportionation", L"Gas-phase toluene disproportionation, power-law kinetics",
         {{L"Disproportionation", L"2 toluene -> benzene + o-xylene", {L"Toluene", L"Benzene", L"o-Xylene"},
           {-2.0, 1.0, 1.0}, L"Toluene", 5.0e4, 120000.0},
          {L"Transalkylation", L"benzene + o-xylene -> 2 toluene", {L"Benzene", L"o-Xylene", L"Toluene"},
           {-1.0, -1.0, 2.0}, L"Benzene", 2.5e5, 120000.0}}},
        {L"Hexane Disproportionation", L"Gas-phase n-hexane disproportionation, power-law kinetics",
         {{L"Disproportionation", L"2 n-hexane -> n-pentane + n-heptane", {L"n-Hexane", L"n-Pentane", L"n-Heptane"},
           {-2.0, 1.0, 1.0}, L"n-Hexane", 2.0e5, 140000.0},
          {L"Comproportionation", L"n-pentane + n-heptane -> 2 n-hexane", {L"n-Pentane", L"n-Heptane", L"n-Hexane"},
           {-1.0, -1.0, 2.0}, L"n-Pentane", 1.0e6, 140000.0}}},
    };
    return sets;
}

const ReactionSet* findReactionSet(const std::wstring& name)
{
    for (const ReactionSet& s : reactionSets())
        if (ideal::sameId(s.name, name)) return &s;
    return nullptr;
}

double rateConstant(const Reaction& r, double temperature)
{
    return r.preExponentialFactor * std::exp(-r.activationEnergy / (kGasConstant * temperature));
}

double reactionRate(const Reaction& r, double temperature, double pressure, const std::vector<std::wstring>& compounds,
                    const std::vector<double>& fractions)
{
    if (!(temperature > 0) || !(pressure > 0))
        ideal::raise(ideal::kCapeInvalidArgument, L"Temperature and pressure must be positive");
    const double total = pressure / (kGasConstant * temperature);
    double rate = rateConstant(r, temperature);
    for (size_t k = 0; k < r.compounds.size(); ++k) {
        if (r.coefficients[k] >= 0) continue;
        size_t i = 0;
        while (i < compounds.size() && !ideal::sameId(compounds[i], r.compounds[k])) ++i;
        if (i == compounds.size() || i >= fractions.size())
            ideal::raise(ideal::kCapeInvalidArgument,
                              L"The material carries no " + r.compounds[k] + L", a reactant of " + r.id);
        rate *= std::pow(fractions[i] * total, -r.coefficients[k]);
    }
    return rate;
}

} // namespace samples::reaction
