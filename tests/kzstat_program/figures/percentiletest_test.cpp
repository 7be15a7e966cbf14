#include "figures/percentiletest.h"

#include <gmock/gmock.h>

namespace {

using kzstatprogram::DistributionSamples;
using kzstatprogram::EstimateOfQuantiles;
using kzstatprogram::MeanEstimate;
using kzstatprogram::PercentileEstimates;
using kzstatprogram::SharesAbove;
using testing::DoubleEq;
using testing::Optional;
using Values = std::vector<double>;

std::string FormOf(const Values& values) {
    CKZStatDistribution distribution;
    for (const double value : values) distribution.Add(value);
    std::string form;
    distribution.Encode(form);
    return form;
}

DistributionSamples Slices(int slices, const Values& values) {
    return DistributionSamples(static_cast<std::size_t>(slices), FormOf(values));
}

PercentileEstimates SharesOf(const DistributionSamples& before, const DistributionSamples& after,
                             double quantile) {
    return SharesAbove(before, after).Of(quantile);
}

std::optional<double> ProbabilityOf(const PercentileEstimates& estimates) {
    return WelchProbability(estimates.before, estimates.after);
}

TEST(PercentileTest, ComparesTheSharesAboveOneBound) {
    const PercentileEstimates shares =
        SharesOf(Slices(40, {1, 2, 3, 4}), Slices(40, {1, 3, 4, 5}), 0.5);
    EXPECT_DOUBLE_EQ(0.5, shares.before.mean);
    EXPECT_DOUBLE_EQ(0.75, shares.after.mean);
    EXPECT_EQ(40U, shares.before.samples);
}

TEST(PercentileTest, TellsAGreaterPercentileFromChance) {
    EXPECT_LT(ProbabilityOf(SharesOf(Slices(40, Values(5, 100)), Slices(40, Values(5, 110)), 0.95)),
              0.001);
}

TEST(PercentileTest, TakesEqualValuesForEqual) {
    const DistributionSamples slices = Slices(40, Values(5, 100));
    EXPECT_THAT(ProbabilityOf(SharesOf(slices, slices, 0.95)), Optional(DoubleEq(1)));
}

// By the limit below a large bucket all values would lie above on both sides.
TEST(PercentileTest, TakesTheLimitOfABucketThatIsNextToThePercentile) {
    const Values mostlySame(19, 10);
    Values before = mostlySame;
    before.push_back(20);
    const PercentileEstimates shares = SharesOf(Slices(40, before), Slices(40, mostlySame), 0.95);
    EXPECT_DOUBLE_EQ(0.05, shares.before.mean);
    EXPECT_DOUBLE_EQ(0, shares.after.mean);
}

TEST(PercentileTest, ComparesValuesBelowZero) {
    const PercentileEstimates shares =
        SharesOf(Slices(40, {-4, -3, 0, 1}), Slices(40, {-4, 0, 0, 1}), 0.25);
    EXPECT_DOUBLE_EQ(0.75, shares.before.mean);
    EXPECT_DOUBLE_EQ(0.75, shares.after.mean);
}

TEST(PercentileTest, NeverTakesAShareForSurerThanThatOfIndependentValues) {
    const PercentileEstimates shares =
        SharesOf(Slices(40, {1, 1, 1, 2}), Slices(40, {1, 1, 2, 2}), 0.6);
    EXPECT_DOUBLE_EQ(0.375 * 0.625 / 160, shares.before.variance);
    EXPECT_DOUBLE_EQ(0.375 * 0.625 / 160, shares.after.variance);
}

// Of 60 values none need lie above a percentile that 1 of 100 exceeds.
TEST(PercentileTest, DoesNotTestFewerThanTenValuesBeyondThePercentileOfASide) {
    Values many(99, 1);
    many.push_back(2);
    const DistributionSamples before = Slices(40, many);
    EXPECT_FALSE(ProbabilityOf(SharesOf(before, Slices(30, {1, 1}), 0.99)));
    EXPECT_FALSE(ProbabilityOf(SharesOf(before, Slices(37, Values(27, 1)), 0.99)));
    EXPECT_TRUE(ProbabilityOf(SharesOf(before, Slices(40, Values(25, 1)), 0.99)));
    EXPECT_FALSE(ProbabilityOf(SharesOf(before, Slices(37, Values(27, 1)), 0.01)));
}

TEST(PercentileTest, DoesNotTestFewSlices) {
    const DistributionSamples before = Slices(40, Values(100, 1));
    EXPECT_FALSE(ProbabilityOf(SharesOf(before, Slices(29, Values(100, 1)), 0.5)));
    EXPECT_EQ(0U, SharesOf(before, {}, 0.5).after.samples);
    EXPECT_EQ(0U, SharesOf({}, {}, 0.5).after.samples);
}

TEST(PercentileTest, TakesThePercentileOfEachRunForASample) {
    const DistributionSamples runs = {FormOf(Values(20, 128)), FormOf(Values(2000, 256))};
    const MeanEstimate estimate = EstimateOfQuantiles(runs, 0.5);
    EXPECT_DOUBLE_EQ(192, estimate.mean);
    EXPECT_EQ(1, estimate.freedom);
    EXPECT_EQ(0, EstimateOfQuantiles(runs, 0.95).freedom);
}

}  // namespace
