#include "figures/levels.h"

#include <gtest/gtest.h>

#include <cmath>

#include "kzstat_program/memoryruns.h"

namespace {

using Types = CKZStatPointTypeEnum;

CKZStatAggregate Reports(const std::vector<double>& values) {
    CKZStatAggregate aggregate;
    for (const double value : values) aggregate.Add(value);
    return aggregate;
}

TEST(Level, OfASliceIsTheSumOfWhatWasReported) {
    EXPECT_EQ(60, kzstatprogram::LevelOf(Reports({30, 30})));
    EXPECT_EQ(0, kzstatprogram::LevelOf(Reports({0})));
    EXPECT_TRUE(std::isnan(kzstatprogram::LevelOf({})));
}

/// The levels that were reported in slices, by all generators.
class LevelsOfARun : public testing::Test {
protected:
    kzjournal::NameSummary Of(const std::vector<std::vector<double>>& reports,
                              const kzjournal::TimeRange& range = {}) {
        MemoryRun& run = runs.Make("run");
        SliceMaker maker;
        for (const std::vector<double>& each : reports)
            run.Add(SliceOf(maker.NextSlice({{"clients", Types::LoadSize, each}}), true));
        return SummaryWithLevels(*runs.Open("run", 0), range).at(0);
    }

    MemoryRuns runs;
};

TEST_F(LevelsOfARun, AreAddedOverGeneratorsAndAveragedOverTime) {
    const kzjournal::NameSummary clients = Of({{30}, {30, 30}, {30, 30}, {30}});
    EXPECT_EQ(30, clients.record.totals.minimum);
    EXPECT_EQ(45, clients.record.totals.Average());
    EXPECT_EQ(60, clients.record.totals.maximum);
    EXPECT_EQ(4, clients.record.totals.count);
    EXPECT_EQ(30, clients.record.lasts.sum);
}

TEST_F(LevelsOfARun, AreThoseOfTheRange) {
    EXPECT_EQ(60, Of({{30}, {30, 30}, {30, 30}, {30}}, {1, 3}).record.totals.Average());
}

TEST_F(LevelsOfARun, AreNotThoseOfSlicesWithoutReports) {
    const kzjournal::NameSummary clients = Of({{30, 30}, {}, {30, 30}});
    EXPECT_EQ(60, clients.record.totals.minimum);
    EXPECT_EQ(60, clients.record.totals.Average());
}

TEST_F(LevelsOfARun, HaveTheDistributionOfSlices) {
    const kzjournal::NameSummary clients = Of({{30, 30}, {}, {30, 30}});
    ASSERT_TRUE(clients.distribution);
    EXPECT_EQ(2, clients.distribution->GetCount());
    EXPECT_NEAR(60, clients.distribution->Quantile(0.5), 0.3);
}

}  // namespace
