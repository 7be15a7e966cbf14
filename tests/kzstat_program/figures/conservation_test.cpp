#include "figures/conservation.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <random>

#include "kzstat_program/figures/violationof.h"
#include "kzstat_program/memoryruns.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Types = CKZStatPointTypeEnum;
using Values = std::vector<double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// One name, "n", in a run of slices of a tenth of a second.
class Conservation : public testing::Test {
protected:
    std::string CheckValues(const Values& values) {
        return ViolationOf(conservation, Next(values));
    }
    kzjournal::Slice Next(const Values& values) {
        return SliceOf(slices.NextSlice({{"n", Types::Timer, values}}));
    }
    /// With the distribution of some values, and percentiles, beside others.
    std::string CheckDistributed(const Values& values, const Values& distributed,
                                 const Values& ofPercentiles) {
        kzjournal::Slice slice = Next(values);
        std::string form;
        DistributionOf(distributed).Encode(form);
        slice.distributions.Add(form, kzjournal::PercentilesOf(DistributionOf(ofPercentiles)));
        return ViolationOf(conservation, slice);
    }
    static CKZStatDistribution DistributionOf(const Values& values) {
        CKZStatDistribution distribution;
        for (const double value : values) distribution.Add(value);
        return distribution;
    }
    /// A slice without records that ends then, after pauses that took so long.
    std::string CheckEnd(double elapsed, double paused = 0) {
        return ViolationOf(conservation, {++sliceId, elapsed, 1000 + elapsed + paused, {}, {}});
    }
    /// The first violation of a run in which each slice has `values` in random order, with random
    /// signs where `isSigned`.
    std::string CheckShuffled(Values values, int count, bool isSigned) {
        std::mt19937 random(1);
        for (int i = 0; i < count; ++i) {
            std::shuffle(values.begin(), values.end(), random);
            if (isSigned)
                for (double& value : values) value = random() % 2 == 0 ? value : -value;
            if (const std::string violation = CheckValues(values); !violation.empty())
                return violation;
        }
        return {};
    }

    SliceMaker slices{"load", 0.1};
    kzstatprogram::Conservation conservation{0.1};
    int sliceId = 0;
};

TEST_F(Conservation, HoldsForDistributionsOfTheSameValues) {
    EXPECT_EQ("", CheckDistributed({1, 2, 300}, {1, 2, 300}, {1, 2, 300}));
    EXPECT_EQ("", CheckDistributed({}, {}, {}));
    EXPECT_EQ("", CheckDistributed({kNaN}, {kNaN}, {kNaN}));
}

TEST_F(Conservation, ADistributionHasAsManyValuesAsTheSlice) {
    EXPECT_EQ("slice 1: the distribution of n has 2 values, but its count is 3",
              CheckDistributed({1, 2, 300}, {1, 2}, {1, 2}));
}

TEST_F(Conservation, PercentilesAreThoseOfTheDistribution) {
    EXPECT_EQ("slice 1: p50 of n is 1, but 2 by its distribution",
              CheckDistributed({2, 2, 2}, {2, 2, 2}, {1, 1, 1}));
}

TEST_F(Conservation, ThereAreNoPercentilesWithoutADistribution) {
    kzjournal::Slice slice = Next({1});
    slice.distributions.Add({}, {1, 1, 1, 1, 1});
    EXPECT_EQ("slice 1: p50 of n is 1, but nan by its distribution",
              ViolationOf(conservation, slice));
}

TEST_F(Conservation, ADistributionThatCannotBeDecodedIsNamed) {
    kzjournal::Slice slice = Next({1});
    slice.distributions.Add("?", {});
    EXPECT_EQ("slice 1: the distribution of n cannot be decoded", ViolationOf(conservation, slice));
}

TEST_F(Conservation, HoldsForARun) {
    for (int i = 0; i < 100; ++i) EXPECT_EQ("", CheckValues({0.1 * i, 1e6 / 3, -7}));
    EXPECT_EQ("", CheckValues({}));
}

TEST_F(Conservation, HoldsForValuesThatCancel) {
    EXPECT_EQ("", CheckShuffled({1e16, 1, -1e16, 1.0 / 3, 1e8, -1e8}, 1000, false));
}

TEST_F(Conservation, HoldsForValuesOfRandomSigns) {
    Values values;
    for (int i = 0; i < 30; ++i) values.push_back(std::pow(10, i / 3.0 - 5));
    EXPECT_EQ("", CheckShuffled(values, 1000, true));
}

TEST_F(Conservation, HoldsForARunWhoseSumsAreNearZero) {
    for (int i = 0; i < 1000; ++i) {
        const double value = std::sin(i) * 1e9;
        ASSERT_EQ("", CheckValues({value, 0.1}));
        ASSERT_EQ("", CheckValues({-value, -0.1}));
    }
}

TEST_F(Conservation, HoldsForManySlices) {
    for (int i = 0; i < 100000; ++i) ASSERT_EQ("", CheckValues({0.1, 1.0 / 3}));
}

TEST_F(Conservation, HoldsForValuesOfAnySize) {
    for (const double size : {5e-324, 1e-310, 1e-170, 1e100, 1e160, 1e300})
        for (int i = 0; i < 10; ++i)
            EXPECT_EQ("", CheckValues({size, size / 3, -size / 7})) << size;
}

TEST_F(Conservation, HoldsWhereTheMarkHasReplacedAnExtreme) {
    // A minimum of -1 gives way to the next value.
    for (int i = 0; i < 10; ++i) EXPECT_EQ("", CheckValues({-1, 1e-9, -1, 2e-9}));
}

TEST_F(Conservation, HoldsForValuesThatAreNoNumbers) {
    EXPECT_EQ("", CheckValues({1, kInfinity}));
    EXPECT_EQ("", CheckValues({1}));
    EXPECT_EQ("", CheckValues({-kInfinity}));
    EXPECT_EQ("", CheckValues({1, std::nan("")}));
}

TEST_F(Conservation, HoldsForATotalThatOverflows) {
    EXPECT_EQ("", CheckValues({1e308}));
    EXPECT_EQ("", CheckValues({1e308, -1.5e308}));
    EXPECT_EQ("", CheckValues({-1e308}));
}

TEST_F(Conservation, SeesASumThatIsNoNumber) {
    for (const double sum : {kInfinity, std::nan("")}) {
        kzstatprogram::Conservation fresh(0.1);
        kzstatprogram::Conservation another(0.1);
        SliceMaker maker("load", 0.1);
        kzjournal::Slice slice = SliceOf(maker.NextSlice({{"n", Types::Timer, {1}}}));
        slice.records.front().totals.sum = sum;
        EXPECT_THAT(ViolationOf(fresh, slice), HasSubstr("the sum of n is "));
        slice.records.front().lasts.sum = -kInfinity;
        EXPECT_THAT(ViolationOf(another, slice), HasSubstr("the sum of n is "));
    }
}

TEST_F(Conservation, SeesAGapInTheIds) {
    CheckValues({1});
    Next({});
    EXPECT_EQ("slice 3: it comes after slice 1", CheckValues({1}));
}

TEST_F(Conservation, HoldsForAGapInTheIdsOfAMergedRun) {
    kzstatprogram::Conservation merged(0.1, true);
    EXPECT_EQ("", ViolationOf(merged, {1, 0.1, 1000.1, {}, {}}));
    EXPECT_EQ("", ViolationOf(merged, {5, 0.5, 1000.5, {}, {}}));
    EXPECT_EQ(2, merged.Slices());
    kzstatprogram::Conservation another = merged;
    EXPECT_EQ("slice 9: it ends at 1 s instead of 0.9 s",
              ViolationOf(another, {9, 1, 1001, {}, {}}));
    EXPECT_EQ("slice 4: it comes after slice 5", ViolationOf(merged, {4, 0.4, 1000.4, {}, {}}));
}

TEST_F(Conservation, SeesALostValue) {
    kzjournal::Slice slice = Next({1, 1});
    slice.records.front().lasts = {1, 1, 1, 1, 1};
    EXPECT_EQ("slice 1: the count of n is 2 for the run, but its slices add up to 1",
              ViolationOf(conservation, slice));
}

TEST_F(Conservation, SeesADoubledValue) {
    CheckValues({1, 2});
    kzjournal::Slice slice = Next({3});
    slice.records.front().totals.Add(3);
    EXPECT_EQ("slice 2: the count of n is 4 for the run, but its slices add up to 3",
              ViolationOf(conservation, slice));
}

TEST_F(Conservation, SeesAWrongSum) {
    kzjournal::Slice slice = Next({4});
    slice.records.front().totals.sum = 5;
    EXPECT_EQ("slice 1: the sum of n is 5 for the run, but its slices add up to 4",
              ViolationOf(conservation, slice));
}

TEST_F(Conservation, SeesASmallValueMissingInASumOfManyLargeOnes) {
    const Values values(10000, 1e3);
    for (int i = 1; i < 100; ++i) ASSERT_EQ("", CheckValues(values));
    kzjournal::Slice slice = Next(values);
    slice.records.front().totals.sum -= 1;
    EXPECT_EQ(
        "slice 100: the sum of n is 999999999 for the run, but its slices add up to 1000000000",
        ViolationOf(conservation, slice));
}

TEST_F(Conservation, SeesAValueMissingInASumThatCancels) {
    kzjournal::Slice slice = Next({1e6, 0.001, -1e6});
    slice.records.front().totals.sum -= 0.001;
    EXPECT_THAT(ViolationOf(conservation, slice), StartsWith("slice 1: the sum of n is "));
}

TEST_F(Conservation, SeesAWrongSumOfSquares) {
    for (int i = 0; i < 100; ++i) ASSERT_EQ("", CheckValues({0.1, 4}));
    kzjournal::Slice slice = Next({0.1, 4});
    slice.records.front().totals.sumSqr *= 1 + 1e-12;
    EXPECT_THAT(ViolationOf(conservation, slice),
                StartsWith("slice 101: the sum of squares of n is "));
}

TEST_F(Conservation, SeesATimeOffTheGrid) {
    EXPECT_EQ("slice 1: it ends at 0.15 s instead of 0.1 s", CheckEnd(0.15));
}

TEST_F(Conservation, SeesATimeThatIsNoNumber) {
    EXPECT_EQ("slice 1: it ends at nan s instead of 0.1 s", CheckEnd(std::nan("")));
}

TEST_F(Conservation, HoldsForTimesThatDriftAsAddingDoublesExplains) {
    const double start = 1.7e9;
    double end = start;
    for (int id = 1; id <= 10000; ++id) {
        end += 0.1;
        ASSERT_EQ("", ViolationOf(conservation, {id, end - start, end, {}, {}}));
    }
    EXPECT_THAT(ViolationOf(conservation, {10001, end + 0.100002 - start, end, {}, {}}),
                HasSubstr(" instead of "));
}

TEST_F(Conservation, TakesAPauseForWhatItIs) {
    EXPECT_EQ("", CheckEnd(0.1));
    EXPECT_EQ("", CheckEnd(0.15, 0.05));
    EXPECT_EQ("", CheckEnd(0.25, 0.05));
    EXPECT_EQ("slice 4: it ends at 0.4 s instead of 0.35 s", CheckEnd(0.4, 0.05));
}

TEST_F(Conservation, SeesASliceThatEndsTooEarly) {
    EXPECT_EQ("", CheckEnd(0.1));
    EXPECT_EQ("slice 2: it takes 0.050 s on the wall clock instead of 0.1 s", CheckEnd(0.15));
}

TEST_F(Conservation, SeesATypeThatChanges) {
    CheckValues({1});
    kzjournal::Slice slice = Next({1});
    slice.records.front().type = Types::Counter;
    EXPECT_EQ("slice 2: n is of type Counter, but was of type Timer before",
              ViolationOf(conservation, slice));
}

TEST_F(Conservation, SeesATypeThatIsUnknown) {
    kzjournal::Slice slice = Next({1});
    slice.records.front().type = Types::PointType{3};
    EXPECT_EQ("slice 1: n is of the unknown type 3", ViolationOf(conservation, slice));
}

TEST_F(Conservation, HoldsForANameWithoutAType) {
    kzjournal::Slice slice = Next({1});
    slice.records.front().type = Types::NotSet;
    EXPECT_EQ("", ViolationOf(conservation, slice));
}

TEST_F(Conservation, SeesANameThatIsForgotten) {
    CheckValues({1});
    sliceId = 1;
    EXPECT_EQ("slice 2: n is missing", CheckEnd(0.2));
}

}  // namespace
