#include "figures/meanestimate.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

namespace {

using kzstatprogram::EstimateOfRuns;
using kzstatprogram::EstimateOfSlices;
using kzstatprogram::MeanEstimate;
using kzstatprogram::SliceSample;
using kzstatprogram::WelchProbability;
using testing::DoubleNear;
using testing::Optional;

/// Each slice with the same weight.
std::vector<SliceSample> Slices(std::size_t count, const std::function<double(double)>& value) {
    std::vector<SliceSample> slices;
    for (std::size_t i = 0; i < count; ++i) slices.push_back({value(static_cast<double>(i)), 1});
    return slices;
}

double ProbabilityOf(const std::vector<SliceSample>& a, const std::vector<SliceSample>& b) {
    return WelchProbability(EstimateOfSlices(a), EstimateOfSlices(b)).value();
}

TEST(WelchProbability, AgreesWithTheIntegralOfTheDistribution) {
    // t is 2.96179 at 27.99943 degrees of freedom; both tails were integrated numerically.
    EXPECT_THAT(
        WelchProbability({20.82, 7.867428571 / 15, 14}, {23.846666667, 7.796952381 / 15, 14}),
        Optional(DoubleNear(0.006173085, 1e-8)));
}

TEST(WelchProbability, OfEqualMeansIsOne) {
    EXPECT_THAT(WelchProbability({5, 1, 9}, {5, 2, 19}), Optional(1.0));
    EXPECT_THAT(WelchProbability({5, 0, 9}, {5, 0, 19}), Optional(1.0));
}

TEST(WelchProbability, OfDifferentConstantsIsZero) {
    EXPECT_THAT(WelchProbability({5, 0, 9}, {6, 0, 19}), Optional(0.0));
}

TEST(WelchProbability, OfWhatIsUnknownIsNone) {
    EXPECT_FALSE(WelchProbability({5, 1, 0}, {6, 1, 19}));
    EXPECT_FALSE(WelchProbability({5, 1, 9}, {std::nan(""), 1, 19}));
    EXPECT_FALSE(WelchProbability({5, 1, 9}, {6, std::numeric_limits<double>::infinity(), 19}));
}

TEST(EstimateOfRuns, IsThatOfIndependentSamples) {
    const MeanEstimate estimate = EstimateOfRuns({1, 2, 6});
    EXPECT_DOUBLE_EQ(3, estimate.mean);
    EXPECT_DOUBLE_EQ(7.0 / 3, estimate.variance);
    EXPECT_EQ(2, estimate.freedom);
    EXPECT_EQ(3, estimate.effectiveSamples);
}

TEST(EstimateOfRuns, KnowsNoVarianceOfOne) {
    EXPECT_EQ(0, EstimateOfRuns({1}).freedom);
    EXPECT_EQ(1, EstimateOfRuns({1}).mean);
    EXPECT_EQ(0U, EstimateOfRuns({}).samples);
}

TEST(EstimateOfSlices, FollowsItsFormula) {
    // By hand from the formula, for (7 i) mod 10 of 40 slices: r(1) is negative, so r is 0.
    const MeanEstimate estimate =
        EstimateOfSlices(Slices(40, [](double i) { return std::fmod(7 * i, 10); }));
    double power = 0;
    for (int j = 1; j <= 7; ++j) {
        double sum = 0;
        for (int i = 0; i < 39; ++i)
            sum += (std::fmod(7.0 * (i + 1), 10) - 4.5) * std::cos(M_PI * j * (i + 0.5) / 39);
        power += 2.0 / 39 * sum * sum;
    }
    EXPECT_EQ(4.5, estimate.mean);
    EXPECT_EQ(7, estimate.freedom);
    EXPECT_NEAR(power / 7 / 40, estimate.variance, 1e-12);
}

TEST(EstimateOfSlices, WeighsEachByItsValues) {
    std::vector<SliceSample> slices(30, {100, 1});
    slices.push_back({30 * 300.0, 30});
    EXPECT_DOUBLE_EQ(200, EstimateOfSlices(slices).mean);
    // The heavy one counts as its influence on the mean, not as what is left beside itself.
    EXPECT_GT(std::sqrt(EstimateOfSlices(slices).variance), 30);
}

TEST(EstimateOfSlices, KnowsNoVarianceOfTooFew) {
    const MeanEstimate estimate = EstimateOfSlices(Slices(29, [](double i) { return i; }));
    EXPECT_EQ(14, estimate.mean);
    EXPECT_EQ(0, estimate.freedom);
    EXPECT_EQ(29U, estimate.samples);
    EXPECT_LT(0, EstimateOfSlices(Slices(30, [](double i) { return i; })).freedom);
    EXPECT_EQ(0U, EstimateOfSlices({}).samples);
}

TEST(EstimateOfSlices, OfAConstantHasNoVariance) {
    for (const double value : {0.0, 5.0}) {
        const MeanEstimate estimate = EstimateOfSlices(Slices(60, [&](double) { return value; }));
        EXPECT_EQ(value, estimate.mean);
        EXPECT_EQ(0, estimate.variance);
        EXPECT_EQ(60, estimate.effectiveSamples);
    }
}

TEST(EstimateOfSlices, IsNotSureOfOneOutlier) {
    const auto constant = Slices(60, [](double) { return 10; });
    const auto spiked = Slices(60, [](double i) { return i == 20 ? 1e6 : 10; });
    EXPECT_GT(ProbabilityOf(constant, spiked), 0.1);
    EXPECT_GT(ProbabilityOf(spiked, constant), 0.1);
}

TEST(EstimateOfSlices, IsNotSureWhereMostSlicesAreEmpty) {
    const auto none = Slices(30, [](double) { return 0; });
    EXPECT_GT(ProbabilityOf(none, Slices(30, [](double i) { return i == 3 ? 8 : 0; })), 0.1);
}

TEST(EstimateOfSlices, TakesATrendForWhatItIs) {
    const auto ramp = [](double first) { return Slices(60, [=](double i) { return first + i; }); };
    EXPECT_LT(EstimateOfSlices(ramp(0)).effectiveSamples, 12);
    EXPECT_GT(ProbabilityOf(ramp(0), ramp(10)), 0.01);
    EXPECT_LT(ProbabilityOf(ramp(0), ramp(1000)), 0.01);
}

TEST(EstimateOfSlices, IsNotSureOfAStepInOneRun) {
    const auto steady = Slices(60, [](double i) { return 10 + std::fmod(i, 2); });
    const auto stepped = Slices(60, [](double i) { return (i < 30 ? 10 : 14) + std::fmod(i, 2); });
    EXPECT_GT(ProbabilityOf(steady, stepped), 0.01);
}

TEST(EstimateOfSlices, GivesNoMoreSamplesThanItHas) {
    const auto alternating = [](double more) {
        return Slices(60, [=](double i) { return more + 10 * std::fmod(i, 2); });
    };
    EXPECT_EQ(60, EstimateOfSlices(alternating(0)).effectiveSamples);
    EXPECT_EQ(1, ProbabilityOf(alternating(0), alternating(0)));
    // A slice more or less of an alternation is half of it.
    const auto shorter = Slices(59, [](double i) { return 10 * std::fmod(i, 2); });
    EXPECT_GT(ProbabilityOf(alternating(0), shorter), 0.1);
}

TEST(EstimateOfSlices, OfWhatIsNoNumberIsNone) {
    const auto broken = Slices(60, [](double i) { return i == 3 ? std::nan("") : 1; });
    EXPECT_FALSE(WelchProbability(EstimateOfSlices(broken), EstimateOfSlices(broken)));
    const auto huge = Slices(60, [](double i) { return i == 3 ? 1e308 : 1; });
    EXPECT_FALSE(WelchProbability(EstimateOfSlices(huge), EstimateOfSlices(broken)));
}

/// A series that resembles itself from slice to slice.
std::vector<SliceSample> Correlated(std::size_t count, double correlation,
                                    std::mt19937_64& random) {
    std::normal_distribution<double> normal;
    double state = normal(random);
    return Slices(count, [&](double) {
        const double value = state;
        state = correlation * state + std::sqrt(1 - correlation * correlation) * normal(random);
        return 100 + 10 * value;
    });
}

TEST(EstimateOfSlices, TellsEqualRunsApartAsSeldomAsItSays) {
    for (const double correlation : {0.0, 0.5, 0.8})
        for (const std::size_t count : {30U, 60U}) {
            std::mt19937_64 random(7);
            int marked = 0;
            for (int i = 0; i < 1000; ++i) {
                const auto before = Correlated(count, correlation, random);
                if (ProbabilityOf(before, Correlated(count, correlation, random)) < 0.01) ++marked;
            }
            EXPECT_LE(2, marked) << count << " slices, correlation " << correlation;
            EXPECT_GE(24, marked) << count << " slices, correlation " << correlation;
        }
}

}  // namespace
