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

using Types = CKZStatPointTypeEnum;

/// A run with one name, whose values or slices are `sample`.
kzstatprogram::ComparedRun RunOf(Types::PointType type, const kzstatprogram::Sample& sample) {
    kzstatprogram::Statistics row;
    row.name = "login";
    row.type = type;
    return {{row}, {sample}};
}

TEST(Comparison, TestsWhatTheKindOfANameHasSamplesOf) {
    const auto tested = [](Types::PointType type) {
        return TestedIn(RunOf(type, {}).statistics.front());
    };
    EXPECT_EQ(kzstatprogram::Tested::Values, tested(Types::Timer));
    EXPECT_EQ(kzstatprogram::Tested::Levels, tested(Types::LoadSize));
    EXPECT_EQ(kzstatprogram::Tested::Rates, tested(Types::Counter));
}

TEST(Comparison, TakesNoRateForAMean) {
    const auto timed = RunOf(Types::Timer, {10, 110, 1});
    const auto counted = RunOf(Types::Counter, {10, 7, 1});
    const auto difference = Compare(timed, counted).front();
    EXPECT_EQ(110, MeanOf(difference.sampleBefore));
    EXPECT_FALSE(MeanOf(difference.sampleAfter));
    EXPECT_FALSE(IsSignificant(difference));
}

}  // namespace
