#include "figures/livesummary.h"

#include <gmock/gmock.h>

#include "kzstat_program/memoryruns.h"

namespace {

using kzstatprogram::LiveSummary;
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

    void ExpectWhatTheReaderSays(const kzjournal::TimeRange& range = {}) {
        summary.Update(*reader, range);
        const auto expected = reader->SummaryWithDistributions(range);
        EXPECT_EQ(reader->CountSlices(range), summary.Slices());
        ASSERT_EQ(expected.size(), summary.Names().size());
        for (const kzjournal::NameSummary& each : expected) {
            const auto& known = summary.Names().at(std::string(each.record.name.view()));
            EXPECT_EQ(each.record.totals.count, known.record.totals.count);
            EXPECT_EQ(each.record.totals.sum, known.record.totals.sum);
            EXPECT_EQ(each.record.lasts.sum, known.record.lasts.sum);
            EXPECT_EQ(each.record.type, known.record.type);
            const CKZStatDistribution* const distribution = known.Distribution();
            ASSERT_EQ(each.distribution.has_value(), distribution != nullptr);
            if (distribution != nullptr) {
                EXPECT_EQ(*each.distribution, *distribution);
            }
        }
    }
    bool HasLogins() { return summary.Names().at("login").Distribution() != nullptr; }

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

TEST_F(LiveSummaryTest, TakesNamesThatComeLater) {
    AppendLogins({1});
    ExpectWhatTheReaderSays();
    Append({{"logout", Types::Timer, {7}}});
    ExpectWhatTheReaderSays();
    EXPECT_NE(nullptr, summary.Names().at("logout").Distribution());
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
        ExpectWhatTheReaderSays({1, 4});
    }
    EXPECT_EQ(3, summary.Names().at("login").record.totals.count);
}

TEST_F(LiveSummaryTest, ReadsAnewWhereTheRangeBeginsElsewhere) {
    for (int i = 1; i < 6; ++i) AppendLogins({1.0 * i});
    for (const double from : {2.0, 0.0, 3.0, 9.0, 1.0}) ExpectWhatTheReaderSays({from, 10});
}

}  // namespace
