// The ideal-mixture model against values worked out by hand from the Antoine, Cp and Rackett
// data (independently of this code), and against the balances every flash must satisfy.
#include "kit/ideal/cape_error.h"
#include "kit/ideal/ideal_model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

using namespace kit::ideal;

namespace {

IdealModel alkanes()
{
    return IdealModel::fromIds({L"n-Pentane", L"n-Hexane", L"n-Heptane"});
}

IdealModel aromatics()
{
    return IdealModel::fromIds({L"Benzene", L"Toluene", L"o-Xylene"});
}

constexpr double kAtm = 101325.0;

HRESULT errorOf(const std::function<void()>& f)
{
    try {
        f();
    } catch (const CapeError& e) {
        return e.code;
    }
    return S_OK;
}

} // namespace

TEST(IdealModel, VapourPressureIsOneAtmosphereAtEachNormalBoilingPoint)
{
    // Antoine constants are for mmHg and degC: a unit slip shows up as a factor of 133 or a
    // shift of 273 K.
    for (const IdealModel& m : {alkanes(), aromatics()})
        for (size_t i = 0; i < m.size(); ++i)
            EXPECT_NEAR(m.vaporPressure(i, m.compound(i).normalBoilingPoint) / kAtm, 1.0, 2e-3) << m.compound(i).id;
}

TEST(IdealModel, PureCompoundDataMatchHandbookValues)
{
    const IdealModel m = aromatics();
    EXPECT_NEAR(m.idealGasCp(0, 298.15), 82.44, 0.01);             // benzene, J/(mol K)
    EXPECT_NEAR(m.heatOfVaporization(0, 353.24), 31956.5, 1.0);    // Clausius-Clapeyron on Antoine
    EXPECT_NEAR(78.114e-3 / m.liquidMolarVolume(0, 293.15), 876.5, 1e-6);   // fitted point
    EXPECT_NEAR(78.114e-3 / m.liquidMolarVolume(0, 353.15), 814.09, 0.01);  // Rackett, Z = 0.2698
    EXPECT_NEAR(m.boilingTemperature(1, kAtm), 383.775, 1e-3);               // toluene
    EXPECT_DOUBLE_EQ(m.idealGasEnthalpy(2, kReferenceTemperature), 0.0);
}

TEST(IdealModel, BenzeneTolueneBubbleAndDewPointsAtOneAtmosphere)
{
    const IdealModel m = IdealModel::fromIds({L"Benzene", L"Toluene"});
    const std::vector<double> z{0.5, 0.5};
    const double bubble = m.bubbleTemperature(kAtm, z);
    const double dew = m.dewTemperature(kAtm, z);
    EXPECT_NEAR(bubble, 365.2617, 1e-3);   // the textbook 92 degC
    EXPECT_NEAR(dew, 371.9228, 1e-3);      // and 99 degC
    EXPECT_NEAR(m.bubblePressure(bubble, z), kAtm, 1e-6 * kAtm);
    EXPECT_NEAR(m.dewPressure(dew, z), kAtm, 1e-6 * kAtm);
}

TEST(IdealModel, TwoPhaseFlashMatchesHandCalculationAndBalances)
{
    const IdealModel m = alkanes();
    const std::vector<double> z{1.0 / 3, 1.0 / 3, 1.0 / 3};
    const FlashResult r = m.flashTP(340.0, kAtm, z);
    ASSERT_TRUE(r.vapor && r.liquid);
    EXPECT_NEAR(r.vaporFraction, 0.4238082921, 1e-9);
    const double x[] = {0.2000650498, 0.3417015530, 0.4582333972};
    const double y[] = {0.5145192170, 0.3219562582, 0.1635245248};
    double sx = 0, sy = 0;
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(r.x[i], x[i], 1e-9);
        EXPECT_NEAR(r.y[i], y[i], 1e-9);
        // Component balance and Raoult's law.
        EXPECT_NEAR(r.vaporFraction * r.y[i] + (1 - r.vaporFraction) * r.x[i], z[i], 1e-12);
        EXPECT_NEAR(r.y[i] * kAtm, r.x[i] * m.vaporPressure(i, 340.0), 1e-9 * kAtm);
        sx += r.x[i];
        sy += r.y[i];
    }
    EXPECT_NEAR(sx, 1.0, 1e-12);
    EXPECT_NEAR(sy, 1.0, 1e-12);
}

TEST(IdealModel, SinglePhaseCasesAtAndBeyondTheSaturationPoints)
{
    const IdealModel m = alkanes();
    const std::vector<double> z{0.2, 0.5, 0.3};
    const double bubble = m.bubbleTemperature(kAtm, z);
    const double dew = m.dewTemperature(kAtm, z);
    ASSERT_LT(bubble, dew);

    struct Case {
        double T;
        bool vapor, liquid;
    };
    for (const Case& c : {Case{300.0, false, true}, Case{bubble - 1e-6, false, true}, Case{bubble + 0.01, true, true},
                          Case{dew - 0.01, true, true}, Case{dew + 1e-6, true, false}, Case{420.0, true, false}}) {
        const FlashResult r = m.flashTP(c.T, kAtm, z);
        EXPECT_EQ(r.vapor, c.vapor) << c.T;
        EXPECT_EQ(r.liquid, c.liquid) << c.T;
        if (!c.vapor) {
            EXPECT_EQ(r.vaporFraction, 0.0);
        }
        if (!c.liquid) {
            EXPECT_EQ(r.vaporFraction, 1.0);
        }
        if (c.vapor && c.liquid) {
            EXPECT_GT(r.vaporFraction, 0.0);
            EXPECT_LT(r.vaporFraction, 1.0);
        }
        if (c.vapor != c.liquid) {   // a single phase has the feed's composition
            for (size_t i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ((c.vapor ? r.y : r.x)[i], z[i]);
        }
    }
    // Just inside the two-phase region the first bubble is rich in pentane; the vapour fraction
    // grows continuously from zero.
    const FlashResult nearBubble = m.flashTP(bubble + 0.01, kAtm, z);
    EXPECT_LT(nearBubble.vaporFraction, 0.01);
    EXPECT_GT(nearBubble.y[0], 2 * z[0]);
}

TEST(IdealModel, RestrictedPhasesPutTheWholeFeedInTheAllowedPhase)
{
    const IdealModel m = alkanes();
    const std::vector<double> z{0.2, 0.5, 0.3};
    const FlashResult vaporOnly = m.flashTP(340.0, kAtm, z, true, false);
    EXPECT_TRUE(vaporOnly.vapor);
    EXPECT_FALSE(vaporOnly.liquid);
    EXPECT_EQ(vaporOnly.vaporFraction, 1.0);
    const FlashResult liquidOnly = m.flashTP(340.0, kAtm, z, false, true);
    EXPECT_FALSE(liquidOnly.vapor);
    EXPECT_TRUE(liquidOnly.liquid);
    EXPECT_EQ(errorOf([&] { m.flashTP(340.0, kAtm, z, false, false); }), kCapeInvalidArgument);
}

TEST(IdealModel, FeedIsNormalisedAndBadInputRaisesCapeErrors)
{
    const IdealModel m = alkanes();
    const FlashResult scaled = m.flashTP(340.0, kAtm, {2.0, 2.0, 2.0});
    EXPECT_NEAR(scaled.vaporFraction, 0.4238082921, 1e-9);
    EXPECT_EQ(errorOf([&] { m.flashTP(340.0, kAtm, {0.5, 0.5}); }), kCapeInvalidArgument);
    EXPECT_EQ(errorOf([&] { m.flashTP(340.0, kAtm, {0.5, -0.1, 0.6}); }), kCapeInvalidArgument);
    EXPECT_EQ(errorOf([&] { m.flashTP(340.0, kAtm, {0, 0, 0}); }), kCapeInvalidArgument);
    EXPECT_EQ(errorOf([&] { m.flashTP(50.0, kAtm, {1, 1, 1}); }), kCapeOutOfBounds);
    EXPECT_EQ(errorOf([&] { m.flashTP(340.0, 0.0, {1, 1, 1}); }), kCapeOutOfBounds);
    EXPECT_EQ(errorOf([&] { m.flashTP(NAN, kAtm, {1, 1, 1}); }), kCapeOutOfBounds);
    EXPECT_EQ(errorOf([] { IdealModel::fromIds({L"Water"}); }), kCapeInvalidArgument);
}

TEST(IdealModel, PhasePropertiesAreOneConsistentModel)
{
    const IdealModel m = aromatics();
    const std::vector<double> pure{1, 0, 0};
    const double T = 353.24;
    // Vapour minus liquid enthalpy of pure benzene is its heat of vaporisation.
    EXPECT_NEAR(m.enthalpy(Phase::Vapor, T, pure) - m.enthalpy(Phase::Liquid, T, pure), m.heatOfVaporization(0, T), 1e-6);
    // At the vapour pressure both phases of a pure compound have the same Gibbs energy.
    const double p = m.vaporPressure(0, T);
    const double gV = m.enthalpy(Phase::Vapor, T, pure) - T * m.entropy(Phase::Vapor, T, p, pure);
    const double gL = m.enthalpy(Phase::Liquid, T, pure) - T * m.entropy(Phase::Liquid, T, p, pure);
    EXPECT_NEAR(gV, gL, 1e-6);
    // Cp is the temperature derivative of the enthalpy, in both phases.
    const std::vector<double> x{0.2, 0.5, 0.3};
    for (Phase ph : {Phase::Vapor, Phase::Liquid}) {
        const double dh = (m.enthalpy(ph, 380.001, x) - m.enthalpy(ph, 379.999, x)) / 0.002;
        EXPECT_NEAR(m.heatCapacityCp(ph, 380.0, x), dh, 1e-4);
    }
    // Ideal gas: PV = RT; the liquid's fugacity coefficients reproduce Raoult's K-values.
    EXPECT_NEAR(m.molarVolume(Phase::Vapor, 350.0, 2e5, x), kGasConstant * 350.0 / 2e5, 1e-15);
    const std::vector<double> lnPhiL = m.lnFugacityCoefficients(Phase::Liquid, 350.0, 2e5);
    for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(std::exp(lnPhiL[i]), m.vaporPressure(i, 350.0) / 2e5, 1e-12);
}

TEST(IdealModel, VapourFractionFlashesFindBubbleDewAndIntermediatePoints)
{
    const IdealModel m = IdealModel::fromIds({L"Benzene", L"Toluene"});
    const std::vector<double> z{0.5, 0.5};
    const FlashResult bubble = m.flashPVF(kAtm, 0.0, z);
    EXPECT_NEAR(bubble.temperature, 365.2617, 1e-3);
    ASSERT_TRUE(bubble.vapor && bubble.liquid);   // the incipient vapour is part of the answer
    EXPECT_EQ(bubble.x, z);
    EXPECT_NEAR(bubble.y[0], 0.5 * m.vaporPressure(0, bubble.temperature) / kAtm, 1e-9);
    EXPECT_NEAR(bubble.y[0], 0.7136, 1e-4);
    EXPECT_NEAR(m.flashPVF(kAtm, 1.0, z).temperature, 371.9228, 1e-3);

    // An intermediate fraction lies between the two, and a TP flash there gives it back.
    const FlashResult half = m.flashPVF(kAtm, 0.5, z);
    EXPECT_GT(half.temperature, bubble.temperature);
    EXPECT_LT(half.temperature, 371.9228);
    EXPECT_NEAR(m.flashTP(half.temperature, kAtm, z).vaporFraction, 0.5, 1e-9);

    const IdealModel a = alkanes();
    const std::vector<double> third{1.0 / 3, 1.0 / 3, 1.0 / 3};
    EXPECT_NEAR(a.flashTVF(340.0, 1.0, third).pressure, 71483.19, 0.01);    // dew pressure by hand
    EXPECT_NEAR(a.flashTVF(340.0, 0.0, third).pressure, 130737.38, 0.01);   // bubble pressure by hand
    const FlashResult tvf = a.flashTVF(340.0, 0.3, third);
    EXPECT_NEAR(a.flashTP(340.0, tvf.pressure, third).vaporFraction, 0.3, 1e-9);
    EXPECT_EQ(errorOf([&] { a.flashTVF(340.0, 1.5, third); }), kCapeOutOfBounds);
}
