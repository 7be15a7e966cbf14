#include "figures/runhistory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "kzstat_program/memoryruns.h"

namespace {

using kzstatprogram::BucketPercentiles;
using kzstatprogram::HeatMap;
using kzstatprogram::RunHistory;

constexpr int kMaxBuckets = 1000;

/// The values of "wait" in the slices, by slice.
using Slices = std::vector<std::vector<double>>;

/// Values that spread, a few of them in each slice but some.
Slices SpreadOver(int slices) {
    Slices all;
    for (int slice = 0; slice < slices; ++slice) {
        all.emplace_back();
        if (slice % 5 == 4) continue;
        all.back() = {5.0 + slice % 13, 40.0 + slice % 7, slice % 977 == 0 ? 1000.0 : 60.0};
    }
    return all;
}

CKZStatDistribution DistributionOf(const Slices& slices, std::size_t begin, std::size_t end) {
    CKZStatDistribution distribution;
    for (std::size_t i = begin; i < std::min(end, slices.size()); ++i)
        for (const double value : slices[i]) distribution.Add(value);
    return distribution;
}

std::uint64_t CountIn(const HeatMap& map) {
    std::uint64_t count = 0;
    for (const HeatMap::Column& column : map.Columns())
        for (const HeatMap::Cell& cell : column) count += cell.count;
    return count;
}

class RunHistoryTest : public testing::Test {
protected:
    /// The name of a run of slices of a second. `Lacking` is the index of a slice that does not
    /// show its distributions.
    std::string Keep(const Slices& slices, int lacking = -1) {
        const std::string name = std::to_string(++m_number);
        MemoryRun& run = m_runs.Make(name);
        SliceMaker maker;
        for (const std::vector<double>& values : slices) {
            const MadeSlice slice =
                maker.NextSlice({{"wait", CKZStatPointTypeEnum::Timer, values}});
            run.Add(SliceOf(slice, slice.facts.sliceId != lacking + 1));
        }
        run.End();
        return name;
    }
    RunHistory HistoryOf(const Slices& slices, const kzjournal::TimeRange& range = {}) {
        return {m_runs, Keep(slices), {range, kzstatprogram::SliceRange(range)}};
    }

    static const RunHistory::Entry& WaitIn(const RunHistory& history) {
        return history.Names().at("wait");
    }

    /// Asserts that each bucket has the percentiles of its slices, which begin with `first`.
    static void ExpectPercentilesOf(const Slices& slices, std::size_t first,
                                    const RunHistory& history) {
        const auto width = static_cast<std::size_t>(history.TimeGrid().Width());
        const auto& percentiles = WaitIn(history).distributions.Percentiles();
        for (std::size_t i = 0; i < percentiles.size(); ++i) {
            const std::size_t begin = first + i * width;
            const CKZStatDistribution expected = DistributionOf(slices, begin, begin + width);
            if (expected.GetCount() == 0) {
                EXPECT_TRUE(std::isnan(percentiles[i].p50));
                continue;
            }
            EXPECT_EQ(expected.Quantile(0.50), percentiles[i].p50) << i;
            EXPECT_EQ(expected.Quantile(0.95), percentiles[i].p95) << i;
            EXPECT_EQ(expected.Quantile(0.99), percentiles[i].p99) << i;
        }
    }

    /// Asserts that the history says of all slices what these values are.
    static void ExpectAll(const Slices& slices, std::size_t first, const RunHistory& history) {
        const CKZStatDistribution expected = DistributionOf(slices, first, slices.size());
        const RunHistory::Entry& wait = WaitIn(history);
        ASSERT_NE(nullptr, RunHistory::DistributionOf(wait));
        EXPECT_TRUE(expected == *RunHistory::DistributionOf(wait));
        EXPECT_EQ(expected.GetCount(), CountIn(wait.distributions.Map()));
        ExpectPercentilesOf(slices, first, history);
    }

    /// Asserts that the figures are those of the slices from `first` up to `end`.
    static void ExpectFiguresOf(const Slices& slices, std::size_t first, std::size_t end,
                                const RunHistory& history) {
        const CKZStatDistribution expected = DistributionOf(slices, first, end);
        const kzjournal::NameSummary& figures = history.Figures().at("wait");
        EXPECT_EQ(expected.GetCount(), figures.record.totals.count);
        EXPECT_TRUE(expected == figures.distribution);
    }

    MemoryRuns m_runs;
    int m_number = 0;
};

TEST_F(RunHistoryTest, HasThePercentilesOfEachSliceOfAShortRun) {
    const Slices slices = SpreadOver(100);
    const RunHistory history = HistoryOf(slices);
    EXPECT_EQ(1, history.TimeGrid().Width());
    ExpectAll(slices, 0, history);
}

TEST_F(RunHistoryTest, HasThePercentilesOfAllSlicesOfABucket) {
    const Slices slices = SpreadOver(3 * kMaxBuckets);
    const RunHistory history = HistoryOf(slices);
    EXPECT_EQ(4, history.TimeGrid().Width());
    ExpectAll(slices, 0, history);
}

TEST_F(RunHistoryTest, HasThePercentilesOfBucketsOfMinutes) {
    const Slices slices = SpreadOver(30 * kMaxBuckets + 100);
    const RunHistory history = HistoryOf(slices);
    EXPECT_EQ(60, history.TimeGrid().Width());
    ExpectAll(slices, 0, history);
    EXPECT_EQ(60, WaitIn(history).course.Buckets().front().slices);
}

TEST_F(RunHistoryTest, HasThePercentilesOfARange) {
    const Slices slices = SpreadOver(200);
    const RunHistory history = HistoryOf(slices, {50, 200});
    ExpectAll(slices, 50, history);
}

TEST_F(RunHistoryTest, IsTheSameReadAtOnceAndSliceBySlice) {
    Slices slices = SpreadOver(450);
    slices[300] = {1e-5, 1e5};
    const std::string name = Keep(slices);
    RunHistory history = HistoryOf({slices.begin(), slices.begin() + 10});
    const RunHistory::News news = RunHistory::NewsSince(*m_runs.Open(name, 0), 10);
    ASSERT_TRUE(history.CanAdd(news));
    history.Add(news);
    ExpectAll(slices, 0, history);

    const RunHistory whole(m_runs, name, {});
    EXPECT_EQ(whole.TimeGrid().ColumnWidth(), history.TimeGrid().ColumnWidth());
    const HeatMap& expected = WaitIn(whole).distributions.Map();
    const HeatMap& map = WaitIn(history).distributions.Map();
    EXPECT_EQ(expected.RowHeight(), map.RowHeight());
    EXPECT_EQ(expected.Columns().size(), map.Columns().size());
    EXPECT_EQ(301, WaitIn(history).lastRowsId);
    EXPECT_EQ(449, WaitIn(history).lastValuesId);
}

TEST_F(RunHistoryTest, ReadAtOnceDoesNotKnowWhichSliceChangedWhat) {
    const RunHistory history = HistoryOf(SpreadOver(10));
    EXPECT_EQ(10, WaitIn(history).lastValuesId);
    EXPECT_EQ(10, WaitIn(history).lastRowsId);
}

TEST_F(RunHistoryTest, HasNoRoomForMoreSlicesThanBuckets) {
    const Slices slices = SpreadOver(kMaxBuckets + 1);
    const RunHistory history = HistoryOf({slices.begin(), slices.end() - 1});
    const auto run = m_runs.Open(Keep(slices), 0);
    EXPECT_FALSE(history.CanAdd(RunHistory::NewsSince(*run, kMaxBuckets)));
    EXPECT_TRUE(history.CanAdd({{}, true, 0, {}}));
}

TEST_F(RunHistoryTest, HasTheFiguresOfTheLoad) {
    const Slices slices = SpreadOver(20);
    const std::string name = Keep(slices);
    m_runs.Find(name).SetLoad({3.0, 15.5});
    const RunHistory history(m_runs, name, {});
    ExpectAll(slices, 0, history);
    ExpectFiguresOf(slices, 3, 20, history);
    EXPECT_EQ(12.5, history.Seconds());
    EXPECT_EQ(3, history.Facts().loadBegin);
}

TEST_F(RunHistoryTest, AddsLevelsOfGeneratorsUp) {
    MemoryRun& run = m_runs.Make("merged");
    SliceMaker maker;
    for (const std::vector<double>& clients : {std::vector<double>{30, 30}, {}, {30, 30}})
        run.Add(
            SliceOf(maker.NextSlice({{"clients", CKZStatPointTypeEnum::LoadSize, clients}}), true));
    const RunHistory history(m_runs, "merged", {});
    EXPECT_EQ(60, history.Figures().at("clients").record.totals.Average());
    const RunHistory::Entry& clients = history.Names().at("clients");
    EXPECT_TRUE(clients.distributions.IsEmpty());
    const auto& buckets = clients.course.Buckets();
    EXPECT_EQ(60, buckets.at(0).MeanFlow());
    EXPECT_TRUE(std::isnan(buckets.at(1).MeanFlow()));
    EXPECT_EQ(60, history.Load().Buckets().at(2).MeanFlow());
}

TEST_F(RunHistoryTest, KeepsTheFiguresUpToDate) {
    const Slices slices = SpreadOver(20);
    const std::string name = Keep({slices.begin(), slices.begin() + 10});
    m_runs.Find(name).SetLoad({0.0, {}});
    RunHistory history(m_runs, name, {});
    const std::string later = Keep(slices);
    m_runs.Find(later).SetLoad({0.0, 17.75});
    const RunHistory::News news = RunHistory::NewsSince(*m_runs.Open(later, 0), 10);
    ASSERT_TRUE(history.CanAdd(news));
    history.Add(news);
    ExpectFiguresOf(slices, 0, 20, history);
    EXPECT_EQ(17.75, history.Seconds());
    EXPECT_EQ(17.75, history.Facts().loadEnd);
}

TEST_F(RunHistoryTest, LearnsOfInterruptionsAsTheRunGoesOn) {
    MemoryRun& run = m_runs.Make("run");
    SliceMaker maker;
    const auto add = [&](double measured) {
        kzjournal::Slice slice = SliceOf(maker.NextSlice({}));
        slice.cost.emplace().measured = measured;
        run.Add(slice);
    };
    add(4);
    RunHistory history(m_runs, "run", {});
    ASSERT_EQ(1U, history.Interruptions().size());
    EXPECT_EQ(4, history.Interruptions()[0].to);
    maker.NextSlice({});
    add(3);
    history.Add(RunHistory::NewsSince(*m_runs.Open("run", 0), history.LastSliceId()));
    ASSERT_EQ(3U, history.Interruptions().size());
    EXPECT_EQ(kzstatprogram::Interruption::Missing, history.Interruptions()[1].kind);
    EXPECT_EQ(5, history.Interruptions()[2].to);
}

TEST_F(RunHistoryTest, HasInterruptionsThatReachIntoWhatIsDrawn) {
    MemoryRun& run = m_runs.Make("run");
    SliceMaker maker;
    for (int id = 1; id <= 10; ++id) {
        const MadeSlice made = maker.NextSlice({});
        if (id == 7) continue;
        kzjournal::Slice slice = SliceOf(made);
        slice.cost.emplace().measured = id == 2 ? 4 : 1;
        run.Add(slice);
    }
    const auto endsIn = [&](double from, double to) {
        std::vector<double> ends;
        for (const auto& each : RunHistory(m_runs, "run", {{from, to}, {}}).Interruptions())
            ends.push_back(each.to);
        return ends;
    };
    using Ends = std::vector<double>;
    EXPECT_EQ((Ends{5, 7}), endsIn(0, 10));
    EXPECT_EQ(Ends{5}, endsIn(4, 6));
    EXPECT_EQ(Ends{7}, endsIn(6, 7));
    EXPECT_EQ(Ends(), endsIn(7.3, 10));
}

TEST_F(RunHistoryTest, CannotAddALoadThatIsNotWhatItSeemedToBe) {
    const std::string name = Keep(SpreadOver(10));
    const RunHistory withoutLoad(m_runs, name, {});
    m_runs.Find(name).SetLoad({0.0, 6.0});
    const RunHistory ended(m_runs, name, {});
    m_runs.Find(name).SetLoad({2.0, {}});
    const RunHistory::News begun = RunHistory::NewsSince(*m_runs.Open(name, 0), 10);
    EXPECT_FALSE(withoutLoad.CanAdd(begun));
    EXPECT_FALSE(ended.CanAdd(begun));
    m_runs.Find(name).SetLoad({0.0, {}});
    const RunHistory::News wentOn = RunHistory::NewsSince(*m_runs.Open(name, 0), 10);
    EXPECT_FALSE(ended.CanAdd(wentOn));
    EXPECT_TRUE(withoutLoad.CanAdd(wentOn));
}

TEST_F(RunHistoryTest, HasNoPercentilesWhereASliceLacksItsDistribution) {
    const Slices slices = SpreadOver(20);
    const RunHistory history(m_runs, Keep(slices, 7), {});
    EXPECT_EQ(nullptr, RunHistory::DistributionOf(WaitIn(history)));
    const auto& percentiles = WaitIn(history).distributions.Percentiles();
    EXPECT_FALSE(std::isnan(percentiles[6].p50));
    EXPECT_TRUE(std::isnan(percentiles[7].p50));
    EXPECT_FALSE(std::isnan(percentiles[8].p50));
    EXPECT_EQ(20u, WaitIn(history).course.Size());
}

TEST_F(RunHistoryTest, EndsToReadOnceAStopIsRequested) {
    const std::string name = Keep(SpreadOver(2000));
    EXPECT_THROW(RunHistory(m_runs, name, {}, [] { return true; }), kzjournal::Error);
}

}  // namespace
