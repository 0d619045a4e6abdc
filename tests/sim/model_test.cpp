// The ideal-mixture model against a flash worked out by hand from the Antoine data (independently
// of this code), the balances every flash must satisfy, and what it refuses.
#include "kit/ideal/cape_error.h"
#include "kit/ideal/ideal_model.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kit::ideal;

namespace {

constexpr double kAtm = 101325.0;

IdealModel alkanes()
{
    return IdealModel::fromIds({L"n-Pentane", L"n-Hexane", L"n-Heptane"});
}

} // namespace

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

TEST(IdealModel, PhasesFoundAndFeedsRefused)
{
    struct Case {
        const char* what;
        double T, P;
        std::vector<double> z;
        HRESULT status;
        bool vapor, liquid;
    } cases[] = {
        {"subcooled: the feed as liquid", 300.0, kAtm, {0.2, 0.5, 0.3}, S_OK, false, true},
        {"superheated: the feed as vapour", 420.0, kAtm, {0.2, 0.5, 0.3}, S_OK, true, false},
        {"unnormalised feed", 340.0, kAtm, {2.0, 2.0, 2.0}, S_OK, true, true},
        {"wrong count", 340.0, kAtm, {0.5, 0.5}, kCapeInvalidArgument, false, false},
        {"negative fraction", 340.0, kAtm, {0.5, -0.1, 0.6}, kCapeInvalidArgument, false, false},
        {"no feed", 340.0, kAtm, {0, 0, 0}, kCapeInvalidArgument, false, false},
        {"below the model range", 50.0, kAtm, {1, 1, 1}, kCapeOutOfBounds, false, false},
        {"no pressure", 340.0, 0.0, {1, 1, 1}, kCapeOutOfBounds, false, false},
        {"no temperature", NAN, kAtm, {1, 1, 1}, kCapeOutOfBounds, false, false},
    };
    const IdealModel m = alkanes();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        try {
            const FlashResult r = m.flashTP(c.T, c.P, c.z);
            ASSERT_EQ(c.status, S_OK);
            EXPECT_EQ(r.vapor, c.vapor);
            EXPECT_EQ(r.liquid, c.liquid);
            if (r.vapor && r.liquid) {
                EXPECT_NEAR(r.vaporFraction, 0.4238082921, 1e-9);
            }
            if (r.vapor != r.liquid) {   // a single phase has the feed's composition
                EXPECT_EQ(r.vaporFraction, r.vapor ? 1.0 : 0.0);
                for (size_t i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ((r.vapor ? r.y : r.x)[i], c.z[i]);
            }
        } catch (const CapeError& e) {
            EXPECT_EQ(e.code, c.status);
        }
    }
}
