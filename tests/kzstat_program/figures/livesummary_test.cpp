#include "figures/livesummary.h"

#include <gmock/gmock.h>

#include "figures/levels.h"
#include "kzstat_program/memoryruns.h"

namespace {

using kzstatprogram::LiveSummary;
using kzstatprogram::SliceRange;
using Types = CKZStatPointTypeEnum;

/// A run that goes on, in slices of one second.
class LiveSummaryTest : public testing::Test {
protected:
    void Append(const std::vector<Reported>& reported, bool hasDistributions = true) {
        run.Add(SliceOf(slices.NextSlice(reported), hasDistributions));
    }
    void AppendLogins(const std::vector<double>& times, bool hasDistributions = true) {
        Append({{"login", Types::Timer, times}}, hasDistributions);
    }

    void ExpectWhatTheReaderSays(const SliceRange& range = {}) {
        summary.Update(*reader, range);
        const auto expected = SummaryWithLevels(*reader, range);
        ASSERT_EQ(expected.size(), summary.Names().size());
        for (const kzjournal::NameSummary& each : expected) {
            const auto& known = summary.Names().at(std::string(each.record.name.view()));
            EXPECT_EQ(each.record.totals.count, known.record.totals.count);
            EXPECT_EQ(each.record.totals.sum, known.record.totals.sum);
            EXPECT_EQ(each.record.lasts.sum, known.record.lasts.sum);
            EXPECT_EQ(each.record.type, known.record.type);
            EXPECT_EQ(each.distribution, known.distribution);
        }
    }
    bool HasLogins() { return summary.Names().at("login").distribution.has_value(); }

    MemoryRuns runs;
    MemoryRun& run = runs.Make("run");
    const std::unique_ptr<kzstatprogram::RunReader> reader = runs.Open("run", 0);
    SliceMaker slices;
    LiveSummary summary;
};

TEST_F(LiveSummaryTest, OfARunWithoutSlicesIsEmpty) {
    ExpectWhatTheReaderSays();
    EXPECT_TRUE(summary.Names().empty());
}

TEST_F(LiveSummaryTest, SaysTheSameAsTheReaderAfterEachSlice) {
    for (int i = 1; i < 5; ++i) {
        Append({{"login", Types::Timer, {i * 10.0, 3.5}}, {"logins", Types::Counter, {1}}});
        ExpectWhatTheReaderSays();
        ExpectWhatTheReaderSays();
    }
}

TEST_F(LiveSummaryTest, SaysTheSameOfALoadThatBeginsAndEnds) {
    const std::vector<kzjournal::LoadSpan> loads = {{1.5, {}},   {1.5, {}}, {1.5, {}}, {1.5, 3.25},
                                                    {1.5, 3.25}, {1.5, {}}, {1.5, 6.5}};
    for (const kzjournal::LoadSpan& load : loads) {
        run.SetLoad(load);
        Append({{"login", Types::Timer, {10, 1.0 * slices.SliceId()}},
                {"clients", Types::LoadSize, {1.0 * slices.SliceId()}}});
        ExpectWhatTheReaderSays(SlicesOfTheLoad(*reader));
    }
}

TEST_F(LiveSummaryTest, SaysTheSameOfLevels) {
    for (const bool hasDistributions : {true, true, false}) {
        Append({{"clients", Types::LoadSize, {30, 30}}}, hasDistributions);
        ExpectWhatTheReaderSays();
        EXPECT_EQ(60, summary.Names().at("clients").record.totals.Average());
    }
    Append({}, false);
    ExpectWhatTheReaderSays(kzjournal::TimeRange{1, 9});
}

TEST_F(LiveSummaryTest, ReadsAnewWhereTheLoadTurnsOutToHaveEnded) {
    for (int i = 1; i < 4; ++i) AppendLogins({1.0 * i});
    ExpectWhatTheReaderSays(kzjournal::TimeRange{0, 9});
    ExpectWhatTheReaderSays(kzjournal::TimeRange{0, 2});
    ExpectWhatTheReaderSays(kzjournal::TimeRange{0, 9});
}

TEST_F(LiveSummaryTest, TakesNamesThatComeLater) {
    AppendLogins({1});
    ExpectWhatTheReaderSays();
    Append({{"logout", Types::Timer, {7}}});
    ExpectWhatTheReaderSays();
    EXPECT_TRUE(summary.Names().at("logout").distribution);
}

TEST_F(LiveSummaryTest, HasNoDistributionOnceAValueWasMissed) {
    AppendLogins({1});
    ExpectWhatTheReaderSays();
    AppendLogins({2}, false);
    ExpectWhatTheReaderSays();
    EXPECT_FALSE(HasLogins());
    AppendLogins({3});
    ExpectWhatTheReaderSays();
    EXPECT_FALSE(HasLogins());
}

TEST_F(LiveSummaryTest, MissesNothingInASliceWithoutValues) {
    AppendLogins({1});
    ExpectWhatTheReaderSays();
    Append({}, false);
    AppendLogins({3});
    summary.Update(*reader);
    EXPECT_TRUE(HasLogins());
}

TEST_F(LiveSummaryTest, KeepsToTheRange) {
    for (int i = 1; i < 6; ++i) {
        AppendLogins({1.0 * i});
        ExpectWhatTheReaderSays(kzjournal::TimeRange{1, 4});
    }
    EXPECT_EQ(3, summary.Names().at("login").record.totals.count);
}

TEST_F(LiveSummaryTest, ReadsAnewWhereTheRangeBeginsElsewhere) {
    for (int i = 1; i < 6; ++i) AppendLogins({1.0 * i});
    for (const double from : {2.0, 0.0, 3.0, 9.0, 1.0})
        ExpectWhatTheReaderSays(kzjournal::TimeRange{from, 10});
}

}  // namespace
