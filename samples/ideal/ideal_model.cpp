#include "ideal/ideal_model.h"

#include "ideal/cape_error.h"

#include <algorithm>
#include <cmath>

namespace samples::ideal {
namespace {

constexpr double kMmHg = 133.322368;      // Pa
constexpr double kLn10 = 2.302585092994046;
constexpr double kCelsiusZero = 273.15;
constexpr double kMinTemperature = 100.0;   // K: below it the Antoine forms lose meaning
constexpr double kMaxTemperature = 1000.0;  // K: upper end of the heat-capacity polynomials
constexpr double kDensityReferenceT = 293.15;

// Rackett: V = (R Tc / Pc) Z^(1 + (1 - Tr)^(2/7)); above 0.99 Tc the hypothetical liquid keeps
// the volume of 0.99 Tc.
double rackettExponent(double T, double Tc)
{
    const double tr = std::min(T / Tc, 0.99);
    return 1.0 + std::pow(1.0 - tr, 2.0 / 7.0);
}

bool isFiniteNumber(double v)
{
    return std::isfinite(v);
}

} // namespace

const wchar_t* labelOf(Phase p)
{
    return p == Phase::Vapor ? L"Vapor" : L"Liquid";
}

std::optional<Phase> phaseFromLabel(std::wstring_view label)
{
    for (Phase p : {Phase::Vapor, Phase::Liquid})
        if (CompareStringOrdinal(labelOf(p), -1, label.data(), static_cast<int>(label.size()), TRUE) == CSTR_EQUAL)
            return p;
    return std::nullopt;
}

IdealModel::IdealModel(std::vector<const Compound*> compounds)
    : compounds_(std::move(compounds)), settings_(std::make_shared<const ModelSettings>())
{
    for (const Compound* c : compounds_) {
        const double v20 = c->molecularWeight * 1e-3 / c->liquidDensity20C;
        const double scale = kGasConstant * c->criticalTemperature / c->criticalPressure;
        rackettZ_.push_back(std::exp(std::log(v20 / scale) / rackettExponent(kDensityReferenceT, c->criticalTemperature)));
    }
}

IdealModel IdealModel::fromIds(const std::vector<std::wstring>& ids)
{
    std::vector<const Compound*> compounds;
    for (const std::wstring& id : ids) {
        const Compound* c = findCompound(id);
        if (!c) raise(kCapeInvalidArgument, L"Unknown compound \"" + id + L"\"");
        compounds.push_back(c);
    }
    return IdealModel(std::move(compounds));
}

std::vector<std::wstring> IdealModel::ids() const
{
    std::vector<std::wstring> out;
    for (const Compound* c : compounds_) out.emplace_back(c->id);
    return out;
}

int IdealModel::indexOf(std::wstring_view id) const
{
    for (size_t i = 0; i < compounds_.size(); ++i)
        if (CompareStringOrdinal(compounds_[i]->id, -1, id.data(), static_cast<int>(id.size()), TRUE) == CSTR_EQUAL)
            return static_cast<int>(i);
    return -1;
}

// --- Validation ------------------------------------------------------------------------------

void IdealModel::checkTemperature(double T) const
{
    if (!isFiniteNumber(T) || T < kMinTemperature || T > kMaxTemperature)
        raise(kCapeOutOfBounds, L"Temperature " + numberText(T) + L" K is outside the range of the model (" +
                                    numberText(kMinTemperature) + L" to " + numberText(kMaxTemperature) + L" K)");
}

void IdealModel::checkPressure(double P) const
{
    if (!isFiniteNumber(P) || P <= 0.0)
        raise(kCapeOutOfBounds, L"Pressure " + numberText(P) + L" Pa is not a positive pressure");
}

std::vector<double> IdealModel::normalized(const std::vector<double>& z, const wchar_t* what) const
{
    if (z.size() != size())
        raise(kCapeInvalidArgument, std::wstring(L"The ") + what + L" has " + std::to_wstring(z.size()) +
                                        L" values; the package has " + std::to_wstring(size()) + L" compounds");
    double sum = 0.0;
    for (double v : z) {
        if (!isFiniteNumber(v) || v < 0.0)
            raise(kCapeInvalidArgument, std::wstring(L"The ") + what + L" holds the invalid mole fraction " + numberText(v));
        sum += v;
    }
    if (sum <= 0.0) raise(kCapeInvalidArgument, std::wstring(L"The ") + what + L" is all zero");
    if (!settings_->normaliseCompositions && std::fabs(sum - 1.0) > 1e-6)
        raise(kCapeInvalidArgument, std::wstring(L"The ") + what + L" sums to " + numberText(sum) +
                                        L", not 1, and compositions are not normalised");
    std::vector<double> out(z);
    for (double& v : out) v /= sum;
    return out;
}

// --- Pure compounds --------------------------------------------------------------------------

double IdealModel::vaporPressure(size_t i, double T) const
{
    const double* a = compounds_[i]->antoine;
    return kMmHg * std::pow(10.0, a[0] - a[1] / (T - kCelsiusZero + a[2]));
}

double IdealModel::dLnVaporPressuredT(size_t i, double T) const
{
    const double* a = compounds_[i]->antoine;
    const double d = T - kCelsiusZero + a[2];
    return kLn10 * a[1] / (d * d);
}

double IdealModel::heatOfVaporization(size_t i, double T) const
{
    return kGasConstant * T * T * dLnVaporPressuredT(i, T);
}

double IdealModel::dHeatOfVaporizationdT(size_t i, double T) const
{
    const double* a = compounds_[i]->antoine;
    const double d = T - kCelsiusZero + a[2];
    return kGasConstant * kLn10 * a[1] * (2.0 * T / (d * d) - 2.0 * T * T / (d * d * d));
}

double IdealModel::idealGasCp(size_t i, double T) const
{
    const double* c = compounds_[i]->cp;
    return c[0] + T * (c[1] + T * (c[2] + T * c[3]));
}

double IdealModel::idealGasEnthalpy(size_t i, double T) const
{
    const double* c = compounds_[i]->cp;
    auto primitive = [c](double t) { return t * (c[0] + t * (c[1] / 2 + t * (c[2] / 3 + t * c[3] / 4))); };
    return primitive(T) - primitive(settings_->referenceTemperature);
}

double IdealModel::idealGasEntropy(size_t i, double T) const
{
    const double* c = compounds_[i]->cp;
    auto primitive = [c](double t) { return c[0] * std::log(t) + t * (c[1] + t * (c[2] / 2 + t * c[3] / 3)); };
    return primitive(T) - primitive(settings_->referenceTemperature);
}

double IdealModel::liquidMolarVolume(size_t i, double T) const
{
    const Compound& c = *compounds_[i];
    if (settings_->liquidDensity == LiquidDensity::Constant) return c.molecularWeight * 1e-3 / c.liquidDensity20C;
    return kGasConstant * c.criticalTemperature / c.criticalPressure *
           std::pow(rackettZ_[i], rackettExponent(T, c.criticalTemperature));
}

double IdealModel::boilingTemperature(size_t i, double P) const
{
    checkPressure(P);
    const double* a = compounds_[i]->antoine;
    const double denominator = a[0] - std::log10(P / kMmHg);
    if (denominator <= 0.0)
        raise(kCapeOutOfBounds, L"Pressure " + numberText(P) + L" Pa is beyond the vapour pressure correlation of " +
                                    compounds_[i]->id);
    const double T = a[1] / denominator - a[2] + kCelsiusZero;
    checkTemperature(T);
    return T;
}

// --- Phase equilibrium -----------------------------------------------------------------------

namespace {

void checkVaporFraction(double v)
{
    if (!std::isfinite(v) || v < 0.0 || v > 1.0)
        raise(kCapeOutOfBounds, L"Vapour fraction " + numberText(v) + L" is not between 0 and 1");
}

// The split of z at vapour fraction b and K-values k (Rachford-Rice satisfied by the caller).
void split(FlashResult& r, const std::vector<double>& z, const std::vector<double>& k, double b)
{
    r.x.assign(z.size(), 0.0);
    r.y.assign(z.size(), 0.0);
    double sx = 0.0, sy = 0.0;
    for (size_t i = 0; i < z.size(); ++i) {
        r.x[i] = z[i] / (1.0 + b * (k[i] - 1.0));
        r.y[i] = k[i] * r.x[i];
        sx += r.x[i];
        sy += r.y[i];
    }
    for (size_t i = 0; i < z.size(); ++i) {
        r.x[i] /= sx;
        r.y[i] /= sy;
    }
    r.vapor = r.liquid = true;
    r.vaporFraction = b;
}

double rachfordRice(const std::vector<double>& z, const std::vector<double>& k, double b)
{
    double s = 0.0;
    for (size_t i = 0; i < z.size(); ++i) s += z[i] * (k[i] - 1.0) / (1.0 + b * (k[i] - 1.0));
    return s;
}

// Bisection of an increasing function on [lo, hi] where it changes sign.
template <class F>
double bisect(double lo, double hi, F f)
{
    for (int iter = 0; iter < 200 && hi - lo > 1e-13 * std::max(1.0, std::fabs(hi)); ++iter) {
        const double mid = 0.5 * (lo + hi);
        (f(mid) < 0.0 ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
}

} // namespace

FlashResult IdealModel::flashTP(double T, double P, const std::vector<double>& feed, bool vaporAllowed,
                                bool liquidAllowed) const
{
    checkTemperature(T);
    checkPressure(P);
    const std::vector<double> z = normalized(feed, L"feed composition");
    if (!vaporAllowed && !liquidAllowed) raise(kCapeInvalidArgument, L"No phase is allowed to be present");

    FlashResult r;
    r.temperature = T;
    r.pressure = P;
    r.x = z;
    r.y = z;
    std::vector<double> k(size());
    double sumZK = 0.0, sumZOverK = 0.0;
    for (size_t i = 0; i < size(); ++i) {
        k[i] = vaporPressure(i, T) / P;
        sumZK += z[i] * k[i];
        sumZOverK += z[i] / k[i];
    }
    // At or below the bubble point the feed stays liquid; at or above the dew point it is vapour.
    if (!vaporAllowed || (liquidAllowed && sumZK <= 1.0)) {
        r.liquid = true;
        return r;
    }
    if (!liquidAllowed || sumZOverK <= 1.0) {
        r.vapor = true;
        r.vaporFraction = 1.0;
        return r;
    }

    // Rachford-Rice: f(b) = sum z (K - 1) / (1 + b (K - 1)) falls from f(0) > 0 to f(1) < 0.
    auto f = [&](double b, double& df) {
        double s = 0.0;
        df = 0.0;
        for (size_t i = 0; i < size(); ++i) {
            const double km1 = k[i] - 1.0;
            const double d = 1.0 + b * km1;
            s += z[i] * km1 / d;
            df -= z[i] * km1 * km1 / (d * d);
        }
        return s;
    };
    double lo = 0.0, hi = 1.0, b = 0.5;
    bool converged = false;
    for (int iter = 0; iter < settings_->flashIterations; ++iter) {
        double df;
        const double v = f(b, df);
        if (v > 0) lo = b; else hi = b;
        double next = b - v / df;
        if (!(next > lo && next < hi)) next = 0.5 * (lo + hi);   // Newton left the bracket: bisect
        if (std::fabs(next - b) < 1e-14 || hi - lo < 1e-15) {
            b = next;
            converged = true;
            break;
        }
        b = next;
    }
    if (!converged) raise(kCapeSolvingError, L"The Rachford-Rice equation did not converge");

    split(r, z, k, b);
    return r;
}

FlashResult IdealModel::flashPVF(double P, double vaporFraction, const std::vector<double>& feed) const
{
    checkPressure(P);
    checkVaporFraction(vaporFraction);
    const std::vector<double> z = normalized(feed, L"feed composition");
    // Between the bubble and the dew point the Rachford-Rice function rises with temperature.
    const double lo = bubbleTemperature(P, z), hi = dewTemperature(P, z);
    auto kAt = [&](double T) {
        std::vector<double> k(size());
        for (size_t i = 0; i < size(); ++i) k[i] = vaporPressure(i, T) / P;
        return k;
    };
    const double T = vaporFraction == 0.0 ? lo
                     : vaporFraction == 1.0 ? hi
                                            : bisect(lo, hi, [&](double t) { return rachfordRice(z, kAt(t), vaporFraction); });
    FlashResult r;
    r.temperature = T;
    r.pressure = P;
    split(r, z, kAt(T), vaporFraction);
    return r;
}

FlashResult IdealModel::flashTVF(double T, double vaporFraction, const std::vector<double>& feed) const
{
    checkTemperature(T);
    checkVaporFraction(vaporFraction);
    const std::vector<double> z = normalized(feed, L"feed composition");
    // In ln P the Rachford-Rice function falls with pressure: bisect its negative.
    const double lo = std::log(dewPressure(T, z)), hi = std::log(bubblePressure(T, z));
    auto kAt = [&](double lnP) {
        std::vector<double> k(size());
        for (size_t i = 0; i < size(); ++i) k[i] = vaporPressure(i, T) / std::exp(lnP);
        return k;
    };
    const double lnP = vaporFraction == 0.0 ? hi
                       : vaporFraction == 1.0 ? lo
                                              : bisect(lo, hi, [&](double l) { return -rachfordRice(z, kAt(l), vaporFraction); });
    FlashResult r;
    r.temperature = T;
    r.pressure = vaporFraction == 0.0 ? bubblePressure(T, z) : vaporFraction == 1.0 ? dewPressure(T, z) : std::exp(lnP);
    split(r, z, kAt(std::log(r.pressure)), vaporFraction);
    return r;
}

double IdealModel::bubblePressure(double T, const std::vector<double>& feed) const
{
    checkTemperature(T);
    const std::vector<double> z = normalized(feed);
    double p = 0.0;
    for (size_t i = 0; i < size(); ++i) p += z[i] * vaporPressure(i, T);
    return p;
}

double IdealModel::dewPressure(double T, const std::vector<double>& feed) const
{
    checkTemperature(T);
    const std::vector<double> z = normalized(feed);
    double s = 0.0;
    for (size_t i = 0; i < size(); ++i) s += z[i] / vaporPressure(i, T);
    return 1.0 / s;
}

namespace {

// Newton on g(T) = 0 from a start inside the model's range, steps limited to 50 K.
template <class G>
double solveTemperature(const IdealModel& m, double start, G g)
{
    double T = start;
    for (int iter = 0; iter < 100; ++iter) {
        double dg;
        const double v = g(T, dg);
        double step = -v / dg;
        step = std::clamp(step, -50.0, 50.0);
        T = std::clamp(T + step, 100.0, 1000.0);
        if (std::fabs(step) < 1e-10) {
            m.checkTemperature(T);
            return T;
        }
    }
    raise(kCapeSolvingError, L"The saturation temperature did not converge");
}

} // namespace

double IdealModel::bubbleTemperature(double P, const std::vector<double>& feed) const
{
    checkPressure(P);
    const std::vector<double> z = normalized(feed);
    double start = 0.0;
    for (size_t i = 0; i < size(); ++i) start += z[i] * boilingTemperature(i, P);
    return solveTemperature(*this, start, [&](double T, double& dg) {
        double s = 0.0, ds = 0.0;
        for (size_t i = 0; i < size(); ++i) {
            const double p = z[i] * vaporPressure(i, T);
            s += p;
            ds += p * dLnVaporPressuredT(i, T);
        }
        dg = ds / s;
        return std::log(s / P);
    });
}

double IdealModel::dewTemperature(double P, const std::vector<double>& feed) const
{
    checkPressure(P);
    const std::vector<double> z = normalized(feed);
    double start = 0.0;
    for (size_t i = 0; i < size(); ++i) start += z[i] * boilingTemperature(i, P);
    return solveTemperature(*this, start, [&](double T, double& dg) {
        double s = 0.0, ds = 0.0;
        for (size_t i = 0; i < size(); ++i) {
            const double q = z[i] / vaporPressure(i, T);
            s += q;
            ds -= q * dLnVaporPressuredT(i, T);
        }
        dg = ds / s;
        return std::log(s * P);
    });
}

// --- One phase -------------------------------------------------------------------------------

std::vector<double> IdealModel::lnFugacityCoefficients(Phase p, double T, double P) const
{
    checkTemperature(T);
    checkPressure(P);
    std::vector<double> out(size(), 0.0);
    if (p == Phase::Liquid)
        for (size_t i = 0; i < size(); ++i) out[i] = std::log(vaporPressure(i, T) / P);
    return out;
}

std::vector<double> IdealModel::dLnFugacityCoefficientsdT(Phase p, double T, double P) const
{
    checkTemperature(T);
    checkPressure(P);
    std::vector<double> out(size(), 0.0);
    if (p == Phase::Liquid)
        for (size_t i = 0; i < size(); ++i) out[i] = dLnVaporPressuredT(i, T);
    return out;
}

std::vector<double> IdealModel::dLnFugacityCoefficientsdP(Phase p, double T, double P) const
{
    checkTemperature(T);
    checkPressure(P);
    return std::vector<double>(size(), p == Phase::Liquid ? -1.0 / P : 0.0);
}

double IdealModel::molecularWeight(const std::vector<double>& feed) const
{
    const std::vector<double> x = normalized(feed);
    double mw = 0.0;
    for (size_t i = 0; i < size(); ++i) mw += x[i] * compounds_[i]->molecularWeight;
    return mw;
}

double IdealModel::molarVolume(Phase p, double T, double P, const std::vector<double>& feed) const
{
    checkTemperature(T);
    checkPressure(P);
    const std::vector<double> x = normalized(feed);
    if (p == Phase::Vapor) return kGasConstant * T / P;
    double v = 0.0;
    for (size_t i = 0; i < size(); ++i) v += x[i] * liquidMolarVolume(i, T);
    return v;
}

double IdealModel::enthalpy(Phase p, double T, const std::vector<double>& feed) const
{
    checkTemperature(T);
    const std::vector<double> x = normalized(feed);
    double h = 0.0;
    for (size_t i = 0; i < size(); ++i) {
        double hi = idealGasEnthalpy(i, T);
        if (p == Phase::Liquid) hi -= heatOfVaporization(i, T);
        h += x[i] * hi;
    }
    return h;
}

double IdealModel::entropy(Phase p, double T, double P, const std::vector<double>& feed) const
{
    checkTemperature(T);
    checkPressure(P);
    const std::vector<double> x = normalized(feed);
    double s = 0.0;
    for (size_t i = 0; i < size(); ++i) {
        if (x[i] <= 0.0) continue;
        double si = idealGasEntropy(i, T) - kGasConstant * std::log(x[i]);
        if (p == Phase::Vapor)
            si -= kGasConstant * std::log(P / kReferencePressure);
        else   // the pure liquid at its vapour pressure; pressure has no effect on the liquid
            si -= kGasConstant * std::log(vaporPressure(i, T) / kReferencePressure) + heatOfVaporization(i, T) / T;
        s += x[i] * si;
    }
    return s;
}

double IdealModel::heatCapacityCp(Phase p, double T, const std::vector<double>& feed) const
{
    checkTemperature(T);
    const std::vector<double> x = normalized(feed);
    double cp = 0.0;
    for (size_t i = 0; i < size(); ++i) {
        double ci = idealGasCp(i, T);
        if (p == Phase::Liquid) ci -= dHeatOfVaporizationdT(i, T);
        cp += x[i] * ci;
    }
    return cp;
}

} // namespace samples::ideal
