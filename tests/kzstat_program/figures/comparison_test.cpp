#include "figures/comparison.h"

#include <gmock/gmock.h>

#include "figures/failcondition.h"

namespace {

using kzstatprogram::FailCondition;
using testing::Optional;

/// A run in which the mean of "login time" is `mean`.
kzstatprogram::ComparedRun RunWithMean(double mean) {
    kzstatprogram::Statistics row;
    row.name = "login time";
    row.average = mean;
    return {{row}, {{}}};
}

std::optional<std::string> Check(const std::string& condition, double before, double after) {
    return FailCondition(condition).Check(RunWithMean(before), RunWithMean(after));
}

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

TEST(FailCondition, TakesNoMoreThanItsShareUpwards) {
    EXPECT_FALSE(Check("login time mean +10%", 100, 110));
    EXPECT_THAT(Check("login time mean +10%", 100, 111),
                Optional(std::string("login time mean +10%: 100 became 111")));
    EXPECT_FALSE(Check("login time mean +10%", 100, 1));
}

TEST(FailCondition, TakesNoMoreThanItsShareDownwards) {
    EXPECT_FALSE(Check("login time mean -10%", 100, 90));
    EXPECT_TRUE(Check("login time mean -10%", 100, 89));
    EXPECT_FALSE(Check("login time mean -10%", 100, 1000));
}

TEST(FailCondition, TakesValuesAsTheyAre) {
    EXPECT_FALSE(Check("login time mean +2.5", 10, 12.5));
    EXPECT_TRUE(Check("login time mean +2.5", 10, 12.6));
    EXPECT_TRUE(Check("login time mean -0", 10, 9.9));
}

TEST(FailCondition, OfAShareOfAValueBelowZeroLooksUpwards) {
    EXPECT_FALSE(Check("login time mean +10%", -100, -90));
    EXPECT_TRUE(Check("login time mean +10%", -100, -89));
}

TEST(FailCondition, RefusesWhatIsNone) {
    for (const char* const text :
         {"", "mean +10%", "login mean", "login mean 10%", "login avg +1%", "login mean +",
          "login mean +x%", "login mean +-1", "login mean +nan"})
        EXPECT_THROW(FailCondition condition(text), kzjournal::Error) << text;
}

TEST(FailCondition, RefusesARunWithoutTheName) {
    EXPECT_THROW(Check("logout mean +10%", 1, 1), kzjournal::Error);
    EXPECT_THROW(Check("login time max +10%", 1, 1), kzjournal::Error);
}

}  // namespace
