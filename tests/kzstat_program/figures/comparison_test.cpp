#include "figures/comparison.h"

#include <gmock/gmock.h>

namespace {

using testing::Optional;

TEST(WelchProbability, AgreesWithTheIntegralOfTheDistribution) {
    // t is 2.96179 at 27.99943 degrees of freedom; both tails were integrated numerically.
    EXPECT_THAT(
        kzstatprogram::WelchProbability({15, 20.82, 7.867428571}, {15, 23.846666667, 7.796952381}),
        Optional(testing::DoubleNear(0.006173085, 1e-8)));
}

TEST(WelchProbability, OfEqualSamplesIsOne) {
    EXPECT_THAT(kzstatprogram::WelchProbability({10, 5, 1}, {20, 5, 2}), Optional(1.0));
    EXPECT_THAT(kzstatprogram::WelchProbability({10, 5, 0}, {20, 5, 0}), Optional(1.0));
}

TEST(WelchProbability, OfDifferentConstantsIsZero) {
    EXPECT_THAT(kzstatprogram::WelchProbability({10, 5, 0}, {20, 6, 0}), Optional(0.0));
}

TEST(WelchProbability, NeedsTwoValuesEach) {
    EXPECT_FALSE(kzstatprogram::WelchProbability({1, 5, 0}, {20, 6, 1}));
    EXPECT_FALSE(kzstatprogram::WelchProbability({0, 0, 0}, {0, 0, 0}));
}

}  // namespace
