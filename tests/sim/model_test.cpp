// The ideal-mixture model against a flash worked out by hand from the Antoine data (independently
// of this code), and the balances every flash must satisfy.
#include "ideal/ideal_model.h"

#include <gtest/gtest.h>

using namespace samples::ideal;

TEST(IdealModel, TwoPhaseFlashMatchesHandCalculationAndBalances)
{
    constexpr double kAtm = 101325.0;
    const IdealModel m = IdealModel::fromIds({L"n-Pentane", L"n-Hexane", L"n-Heptane"});
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
