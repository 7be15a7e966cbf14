#include "figures/runhistory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "journal/temporaryfolder.h"
#include "kzjournalbulkwriter.h"
#include "support/slicemaker.h"

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
    /// The path of a run of slices of a second. `Lacking` is the index of a slice that does not
    /// show its distributions.
    std::string Keep(const Slices& slices, int lacking = -1) {
        const std::string path = m_folder.Path(std::to_string(++m_runs) + ".kzj");
        SliceMaker maker("load", 1, 1000);
        kzjournal::BulkWriter writer(path, kzjournal::RunOfThisProcess("load", 1000, 1));
        for (const std::vector<double>& values : slices) {
            const MadeSlice slice =
                maker.NextSlice({{"wait", CKZStatPointTypeEnum::Timer, values}});
            const bool isShown = maker.SliceId() != lacking + 1;
            const std::vector<const CKZStatDistribution*> shown{
                isShown ? &slice.distributions.front() : nullptr};
            writer.Append({slice.facts, slice.message, slice.records, shown});
        }
        writer.Close(1000 + static_cast<double>(slices.size()), 0);
        return path;
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

    TemporaryFolder m_folder;
    int m_runs = 0;
};

TEST_F(RunHistoryTest, HasThePercentilesOfEachSliceOfAShortRun) {
    const Slices slices = SpreadOver(100);
    const RunHistory history(Keep(slices), {});
    EXPECT_EQ(1, history.TimeGrid().Width());
    ExpectAll(slices, 0, history);
}

TEST_F(RunHistoryTest, HasThePercentilesOfAllSlicesOfABucket) {
    const Slices slices = SpreadOver(3 * kMaxBuckets);
    const RunHistory history(Keep(slices), {});
    EXPECT_EQ(4, history.TimeGrid().Width());
    ExpectAll(slices, 0, history);
}

TEST_F(RunHistoryTest, HasThePercentilesOfBucketsOfMinutes) {
    const Slices slices = SpreadOver(30 * kMaxBuckets + 100);
    const RunHistory history(Keep(slices), {});
    EXPECT_EQ(60, history.TimeGrid().Width());
    ExpectAll(slices, 0, history);
    EXPECT_EQ(60, WaitIn(history).course.Buckets().front().slices);
}

TEST_F(RunHistoryTest, HasThePercentilesOfARange) {
    const Slices slices = SpreadOver(200);
    const RunHistory history(Keep(slices), {50, 200});
    ExpectAll(slices, 50, history);
}

TEST_F(RunHistoryTest, IsTheSameReadAtOnceAndSliceBySlice) {
    Slices slices = SpreadOver(450);
    slices[300] = {1e-5, 1e5};
    const std::string path = Keep(slices);
    RunHistory history(Keep({slices.begin(), slices.begin() + 10}), {});
    kzjournal::Reader journal(path);
    const RunHistory::News news = RunHistory::NewsSince(journal, 10);
    ASSERT_TRUE(history.HasRoomFor(news));
    history.Add(news);
    ExpectAll(slices, 0, history);

    const RunHistory whole(path, {});
    EXPECT_EQ(whole.TimeGrid().ColumnWidth(), history.TimeGrid().ColumnWidth());
    const HeatMap& expected = WaitIn(whole).distributions.Map();
    const HeatMap& map = WaitIn(history).distributions.Map();
    EXPECT_EQ(expected.RowHeight(), map.RowHeight());
    EXPECT_EQ(expected.Columns().size(), map.Columns().size());
    EXPECT_EQ(301, WaitIn(history).lastRowsId);
    EXPECT_EQ(449, WaitIn(history).lastValuesId);
}

TEST_F(RunHistoryTest, ReadAtOnceDoesNotKnowWhichSliceChangedWhat) {
    const RunHistory history(Keep(SpreadOver(10)), {});
    EXPECT_EQ(10, WaitIn(history).lastValuesId);
    EXPECT_EQ(10, WaitIn(history).lastRowsId);
}

TEST_F(RunHistoryTest, HasNoRoomForMoreSlicesThanBuckets) {
    const Slices slices = SpreadOver(kMaxBuckets + 1);
    const RunHistory history(Keep({slices.begin(), slices.end() - 1}), {});
    kzjournal::Reader journal(Keep(slices));
    EXPECT_FALSE(history.HasRoomFor(RunHistory::NewsSince(journal, kMaxBuckets)));
    EXPECT_TRUE(history.HasRoomFor({{}, true, 0, {}}));
}

TEST_F(RunHistoryTest, HasNoPercentilesWhereASliceLacksItsDistribution) {
    const Slices slices = SpreadOver(20);
    const RunHistory history(Keep(slices, 7), {});
    EXPECT_EQ(nullptr, RunHistory::DistributionOf(WaitIn(history)));
    const auto& percentiles = WaitIn(history).distributions.Percentiles();
    EXPECT_FALSE(std::isnan(percentiles[6].p50));
    EXPECT_TRUE(std::isnan(percentiles[7].p50));
    EXPECT_FALSE(std::isnan(percentiles[8].p50));
    EXPECT_EQ(20u, WaitIn(history).course.Size());
}

TEST_F(RunHistoryTest, EndsToReadOnceAStopIsRequested) {
    const std::string path = Keep(SpreadOver(2000));
    EXPECT_THROW(RunHistory(path, {}, [] { return true; }), kzjournal::Error);
}

}  // namespace
