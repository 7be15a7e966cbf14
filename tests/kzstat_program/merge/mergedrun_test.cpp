#include "merge/mergedrun.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "kzstat_program/merge/mergefixture.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

/// Runs of slices of one second that report logins.
class MergedRun : public MergeTest {
protected:
    void AddRun(double startTime, const std::vector<std::vector<double>>& times) {
        paths.push_back(MakeLogins(startTime, times));
    }

    struct Seen {
        int id;
        std::size_t runs;
        CKZStatAggregate totals;
        CKZStatAggregate lasts;
    };
    std::vector<Seen> Merge() const {
        kzstatprogram::MergedRun run(opener, kzstatprogram::MergeInputsOf(opener, paths));
        std::vector<Seen> seen;
        for (kzstatprogram::MergedSlice slice; run.Next(slice);) {
            const CKZStatMessageRecord& record = slice.records.front();
            seen.push_back(
                {slice.facts.sliceId, slice.Sources().size(), record.totals, record.lasts});
        }
        return seen;
    }

    std::vector<std::string> paths;
};

TEST_F(MergedRun, AddsSlicesOfOneMoment) {
    AddRun(1000, {{10, 30}, {50}});
    AddRun(1000, {{20}, {90, 100}});
    const auto seen = Merge();
    ASSERT_THAT(seen, SizeIs(2));
    EXPECT_EQ(2u, seen[0].runs);
    EXPECT_EQ(3, seen[0].lasts.count);
    EXPECT_EQ(60, seen[0].lasts.sum);
    EXPECT_EQ(10, seen[0].lasts.minimum);
    EXPECT_EQ(30, seen[0].lasts.maximum);
    EXPECT_EQ(100 + 900 + 400, seen[0].lasts.sumSqr);
    EXPECT_EQ(6, seen[1].totals.count);
    EXPECT_EQ(300, seen[1].totals.sum);
    EXPECT_EQ(50, seen[1].totals.Average());
}

TEST_F(MergedRun, AlignsSlicesByTheWallClock) {
    AddRun(1000, {{1}, {1}, {1}});
    AddRun(1001.4, {{2}, {2}});
    const auto seen = Merge();
    ASSERT_THAT(seen, SizeIs(3));
    EXPECT_EQ(1u, seen[0].runs);
    EXPECT_EQ(2u, seen[1].runs);
    EXPECT_EQ(2, seen[1].lasts.count);
    EXPECT_EQ(2u, seen[2].runs);
}

TEST_F(MergedRun, KeepsSlicesThatComeWhenTheOthersHaveEnded) {
    AddRun(1000, {{1}});
    AddRun(1000, {{2}, {4}});
    const auto seen = Merge();
    ASSERT_THAT(seen, SizeIs(2));
    EXPECT_EQ(1u, seen[1].runs);
    EXPECT_EQ(1, seen[1].lasts.count);
    EXPECT_EQ(3, seen[1].totals.count);
    EXPECT_EQ(7, seen[1].totals.sum);
}

TEST_F(MergedRun, BeginsWithTheFirstRunThatHasSlices) {
    AddRun(1000, {});
    AddRun(1010, {{2}, {4}});
    const auto seen = Merge();
    ASSERT_THAT(seen, SizeIs(2));
    EXPECT_EQ(1, seen[0].id);
    EXPECT_EQ(2, seen[1].id);
}

TEST_F(MergedRun, OfRunsWithoutSlicesIsEmpty) {
    AddRun(1000, {});
    AddRun(1001, {});
    EXPECT_THAT(Merge(), SizeIs(0));
}

TEST_F(MergedRun, KeepsValuesOfAnySign) {
    AddRun(1000, {{-5, 0}});
    AddRun(1000, {{-7}});
    const auto seen = Merge();
    EXPECT_EQ(-7, seen[0].totals.minimum);
    EXPECT_EQ(0, seen[0].totals.maximum);
    EXPECT_EQ(-12, seen[0].lasts.sum);
    EXPECT_EQ(-4, seen[0].lasts.Average());
}

TEST_F(MergedRun, KeepsAMinimumOfZero) {
    AddRun(1000, {{5}});
    AddRun(1000, {{0}});
    const auto seen = Merge();
    EXPECT_EQ(0, seen[0].totals.minimum);
    EXPECT_EQ(0, seen[0].lasts.minimum);
}

TEST_F(MergedRun, KeepsTheLatestTotalsOfANameThatARunForgets) {
    SliceMaker maker;
    std::vector<MadeSlice> slices;
    slices.push_back(maker.NextSlice({{"login.time", Types::Timer, {7}}}));
    slices.push_back(maker.NextSlice({{"login.time", Types::Timer, {}}}));
    slices.back().records.clear();
    paths.push_back(Keep(1000, slices));
    AddRun(1000, {{1}, {1}});
    const auto seen = Merge();
    ASSERT_THAT(seen, SizeIs(2));
    EXPECT_EQ(9, seen[1].totals.sum);
    EXPECT_EQ(1, seen[1].lasts.sum);
}

TEST_F(MergedRun, AlignsSlicesByTheWallClockAfterAPause) {
    SliceMaker maker;
    std::vector<MadeSlice> slices;
    for (const double time : {10.0, 20.0, 40.0})
        slices.push_back(maker.NextSlice({{"login.time", Types::Timer, {time}}}));
    slices[1].facts.elapsed -= 1;
    slices[2].facts.elapsed -= 1;
    paths.push_back(Keep(1000, slices));
    AddRun(1000, {{1}, {1}, {1}});
    const auto seen = Merge();
    ASSERT_THAT(seen, SizeIs(3));
    EXPECT_EQ(11, seen[0].lasts.sum);
    EXPECT_EQ(21, seen[1].lasts.sum);
    EXPECT_EQ(41, seen[2].lasts.sum);
}

TEST_F(MergedRun, KeepsSlicesApartWhoseMiddlesLieOnTheEdges) {
    sliceLength = 0.1;
    AddRun(1.7e9, std::vector<std::vector<double>>(200, {1}));
    AddRun(1.7e9 + 0.75, std::vector<std::vector<double>>(200, {1}));
    const auto seen = Merge();
    int id = 0;
    for (const Seen& slice : seen) EXPECT_EQ(++id, slice.id);
    // No slice of a run shares its merged slice with another one of that run.
    const auto both = std::count_if(seen.begin(), seen.end(),
                                    [](const Seen& slice) { return slice.lasts.count == 2; });
    const auto isWhole = [](const Seen& slice) {
        return slice.lasts.count == static_cast<double>(slice.runs);
    };
    EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), isWhole));
    EXPECT_EQ(400, static_cast<std::ptrdiff_t>(seen.size()) + both);
    EXPECT_EQ(400, seen.back().totals.count);
}

TEST_F(MergedRun, KeepsSlicesApartWhoseEndsDriftAsAddingDoublesExplains) {
    sliceLength = 0.1;
    const double start = 2.5e11;
    SliceMaker maker("load", sliceLength, start);
    std::vector<MadeSlice> slices;
    double end = start;
    for (int i = 0; i < 12000; ++i) {
        slices.push_back(maker.NextSlice({{"login.time", Types::Timer, {1}}}));
        slices.back().facts.endTime = end += sliceLength;
        slices.back().facts.elapsed = end - start;
    }
    ASSERT_GT(std::abs(end - start - 1200), sliceLength / 2);
    paths.push_back(Keep(start, slices));
    AddRun(start, {{1}});
    EXPECT_THAT(Merge(), SizeIs(12000));
}

TEST_F(MergedRun, RefusesRunsTooFarApart) {
    AddRun(1000, {{1}});
    AddRun(2.5e11, {{1}});
    EXPECT_EQ("cannot merge: slice 1 of " + paths[1] +
                  " ends too far from the start of the merged run at 1970-01-01 00:16:40 UTC",
              ComplaintOf(paths));
}

TEST_F(MergedRun, RefusesATypeThatChangesWithinARun) {
    const std::string one = MakeRun(1000, {{{"a", Types::Counter, {1}}}});
    SliceMaker maker;
    std::vector<MadeSlice> slices;
    for (int i = 0; i < 6; ++i) slices.push_back(maker.NextSlice({{"b", Types::Timer, {1}}}));
    slices.back().records.front().type = Types::Counter;
    const std::string two = Keep(1000, slices);
    EXPECT_EQ("cannot merge: b is of type Timer and, from slice 6, of type Counter in " + two,
              ComplaintOf({one, two}));
}

TEST_F(MergedRun, CountsBeyondTheRangeOfInt) {
    constexpr double kMany = 2e9;
    const CKZStatAggregate values{1, 3, kMany, 2 * kMany, 5 * kMany};
    for (int i = 0; i < 2; ++i) {
        MadeSlice slice = SliceMaker().NextSlice({{"n", Types::Counter, {}}});
        slice.records.front().totals = slice.records.front().lasts = values;
        slice.message = RWCString();
        CKZStatMessageWriter writer(slice.message);
        writer.WriteHeader("load", 1, 1, 1);
        writer.WriteRecord("n", Types::Counter, values, values);
        paths.push_back(Keep(1000, {slice}));
    }
    EXPECT_EQ(2 * kMany, Merge().at(0).totals.count);
    const std::string merged = MergeTest::Merge(paths);
    const kzjournal::Slice slice = SlicesOf(merged).at(0);
    EXPECT_EQ(4e9, slice.records.at(0).totals.count);
    EXPECT_EQ(4e9, slice.records.at(0).lasts.count);
    EXPECT_THAT(slice.message, HasSubstr("\x01"
                                         "4000000000\x01"));
}

TEST_F(MergedRun, SpansTheLoadOfAllRuns) {
    std::vector<kzstatprogram::MergeInput> inputs;
    const auto add = [&](double start, std::optional<double> begin, std::optional<double> end) {
        kzjournal::Run run = kzjournal::RunOfThisProcess("load", start, 1, "shop");
        run.loadBegin = begin;
        run.loadEnd = end;
        inputs.push_back({MakeLogins(start, {{1}}), 0, 0, false, run, 1, 1, 0, 1, std::nullopt});
    };
    add(1000, 5, 60);
    add(1010, 0, 45);
    add(1005, {}, {});
    const kzjournal::Run whole = kzstatprogram::MergedRun(opener, inputs).Facts();
    EXPECT_THAT(whole.loadBegin, testing::Optional(5.0));
    EXPECT_THAT(whole.loadEnd, testing::Optional(60.0));
    EXPECT_EQ("shop", whole.testName);

    add(1000, 3, {});
    inputs.back().lastElapsed = 70;
    inputs.back().run.testName = "other";
    const kzjournal::Run killed = kzstatprogram::MergedRun(opener, inputs).Facts();
    EXPECT_THAT(killed.loadBegin, testing::Optional(3.0));
    EXPECT_THAT(killed.loadEnd, testing::Optional(70.0));
    EXPECT_EQ("", killed.testName);
}

TEST_F(MergedRun, SurvivesTimesThatLeap) {
    SliceMaker maker;
    std::vector<MadeSlice> slices;
    for (const double elapsed : {2.5e11, -2.5e11, 1.0}) {
        slices.push_back(maker.NextSlice({{"login.time", Types::Timer, {1}}}));
        slices.back().facts.elapsed = elapsed;
    }
    paths.push_back(Keep(1000, slices));
    AddRun(1000, {{1}, {1}});
    EXPECT_EQ(5, Merge().back().totals.count);
}

TEST_F(MergedRun, RefusesSlicesOfDifferentLengths) {
    AddRun(1000, {{1}});
    sliceLength = 1.0001;
    AddRun(1000, {{1}});
    EXPECT_THAT(ComplaintOf(paths), HasSubstr("merge runs of one length"));
}

TEST_F(MergedRun, RefusesANameOfTwoTypes) {
    const std::string one = MakeRun(1000, {{{"a", Types::Counter, {1}}}});
    const std::string two =
        MakeRun(1000, {{{"a", Types::Counter, {1}}}, {{"b", Types::Timer, {1}}}});
    const std::string three =
        MakeRun(1000, {{}, {}, {{"b", Types::LoadSize, {1}}, {"a", Types::Counter, {1}}}});
    EXPECT_EQ("", ComplaintOf({one, two}));
    const auto namesAll = AllOf(HasSubstr("cannot merge: b is of type "),
                                HasSubstr("Timer in " + two), HasSubstr("LoadSize in " + three));
    EXPECT_THAT(ComplaintOf({one, two, three}), namesAll);
    EXPECT_THAT(ComplaintOf({three, two, one}), namesAll);
}

}  // namespace
