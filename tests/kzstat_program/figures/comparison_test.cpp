#include "figures/comparison.h"

#include <gmock/gmock.h>

#include <functional>

#include "kzstat_program/memoryruns.h"

namespace {

using kzstatprogram::ComparedRun;
using kzstatprogram::Difference;
using kzstatprogram::Finding;
using kzstatprogram::Percentile;
using kzstatprogram::Sampling;
using kzstatprogram::SideOf;
using kzstatprogram::Tested;
using testing::DoubleEq;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;
using Types = CKZStatPointTypeEnum;

constexpr double kLeast = 0.03;
const std::vector<Percentile> kPercentiles = {{"p50", 0.5}, {"p95", 0.95}, {"p99", 0.99}};

/// What slice number i reports.
using SliceMaking = std::function<std::vector<Reported>(int)>;

ComparedRun Read(int slices, const SliceMaking& making, bool hasDistributions = false) {
    MemoryRuns runs;
    MemoryRun& run = runs.Make("run");
    SliceMaker maker;
    for (int i = 0; i < slices; ++i) run.Add(SliceOf(maker.NextSlice(making(i)), hasDistributions));
    run.End();
    return ReadForComparison(*runs.Open("run", 0), {});
}

/// Logins whose time is `time` on average, two in each slice.
ComparedRun Logins(double time, int slices = 40) {
    return Read(slices, [=](int i) -> std::vector<Reported> {
        return {{"login", Types::Timer, {time + i % 3, time - i % 3}}};
    });
}

ComparedRun Errors(int slices, const std::function<double(int)>& errors) {
    return Read(slices, [=](int i) -> std::vector<Reported> {
        return {{"errors", Types::Counter, {errors(i)}}};
    });
}

/// Of runs of other names, which do not change.
ComparedRun Empty(int slices = 40) {
    return Read(slices, [](int) { return std::vector<Reported>(); });
}

Difference OnlyDifference(const ComparedRun& before, const ComparedRun& after,
                          double least = kLeast) {
    const std::vector<Difference> differences = Compare(before, after, least);
    EXPECT_EQ(1U, differences.size());
    return differences.at(0);
}

TEST(Comparison, MarksWhatIsLikelyAndLarge) {
    const ComparedRun before = Logins(100);
    const ComparedRun after = Logins(110);
    const Difference difference = OnlyDifference(before, after);
    EXPECT_EQ(Finding::Marked, difference.finding);
    EXPECT_EQ(Tested::Means, difference.tested);
    EXPECT_THAT(MeanOf(difference.meanBefore), Optional(DoubleEq(100)));
    EXPECT_THAT(MeanOf(difference.meanAfter), Optional(DoubleEq(110)));
}

TEST(Comparison, MarksNothingBelowTheLeastDifference) {
    const ComparedRun before = Logins(100);
    const ComparedRun below = Logins(102);
    const ComparedRun least = Logins(103);
    EXPECT_EQ(Finding::BelowLeast, OnlyDifference(before, below).finding);
    EXPECT_EQ(Finding::Marked, OnlyDifference(before, least).finding);
    EXPECT_EQ(Finding::Marked, OnlyDifference(before, below, 0).finding);
    EXPECT_EQ(Finding::Unclear, OnlyDifference(before, before, 0).finding);
}

TEST(Comparison, MarksNothingOfFewSlices) {
    const ComparedRun before = Logins(100);
    const ComparedRun few = Logins(200, 29);
    EXPECT_EQ(Finding::TooFewSamples, OnlyDifference(before, few).finding);
    EXPECT_THAT(ReasonWhyNothingIsTested(before, few),
                Optional(std::string("nothing is marked: that takes at least 30 slices a side, and"
                                     " there are 40 and 29")));
    EXPECT_FALSE(ReasonWhyNothingIsTested(before, before));
    const ComparedRun enough = Logins(200, 30);
    EXPECT_EQ(Finding::Marked, OnlyDifference(before, enough).finding);
}

TEST(Comparison, LeavesOutSlicesWithoutValues) {
    const auto sometimes = [](double time) {
        return Read(60, [=](int i) -> std::vector<Reported> {
            return {{"login", Types::Timer,
                     i % 2 == 0 ? std::vector<double>{time + i % 3} : std::vector<double>()}};
        });
    };
    const ComparedRun before = sometimes(100);
    EXPECT_EQ(30U, OnlyDifference(before, before).meanBefore.samples);
    EXPECT_EQ(Finding::Marked, OnlyDifference(before, sometimes(110)).finding);
}

TEST(Comparison, ComparesMeansOfAllValues) {
    const ComparedRun run = Read(40, [](int i) -> std::vector<Reported> {
        return {{"login", Types::Timer, std::vector<double>(i == 0 ? 39 : 1, i == 0 ? 300 : 100)}};
    });
    EXPECT_THAT(MeanOf(OnlyDifference(run, run).meanBefore), Optional(DoubleEq(200)));
}

TEST(Comparison, ComparesRatesOfCounters) {
    const ComparedRun before = Errors(40, [](int i) { return 10 + i % 3; });
    const ComparedRun after = Errors(40, [](int i) { return 20 + i % 3; });
    const Difference difference = OnlyDifference(before, after);
    EXPECT_EQ(Tested::Rates, difference.tested);
    EXPECT_THAT(MeanOf(difference.meanBefore), Optional(DoubleEq(439 / 40.0)));
    EXPECT_EQ(Finding::Marked, difference.finding);
}

TEST(Comparison, SamplesTheSlicesUnderLoad) {
    MemoryRuns runs;
    MemoryRun& run = runs.Make("run");
    run.SetLoad({0.25, 39.75});
    for (SliceMaker maker; maker.SliceId() < 42;)
        run.Add(SliceOf(maker.NextSlice({{"errors", Types::Counter, {2}}})));
    const auto reader = runs.Open("run", 0);
    const ComparedRun compared = ReadForComparison(*reader, SlicesOfTheLoad(*reader));
    EXPECT_EQ(40U, compared.samples);
    EXPECT_THAT(compared.statistics.at(0).rate, Optional(DoubleEq(84 / 39.5)));
    EXPECT_THAT(MeanOf(compared.estimates.at(0).flow), Optional(DoubleEq(80 / 39.5)));
}

TEST(Comparison, CountsSlicesBeforeACounterAsZero) {
    const ComparedRun run = Read(40, [](int i) -> std::vector<Reported> {
        if (i < 10) return {};
        return {{"errors", Types::Counter, {4}}};
    });
    EXPECT_THAT(MeanOf(OnlyDifference(run, run).meanBefore), Optional(DoubleEq(3)));
    EXPECT_EQ(40U, OnlyDifference(run, run).meanBefore.samples);
}

TEST(Comparison, ComparesLevelsOfSlicesThatHaveOne) {
    const auto clients = [](double level) {
        return Read(40, [=](int i) -> std::vector<Reported> {
            if (i < 10) return {};
            return {{"clients", Types::LoadSize, {level}}};
        });
    };
    const Difference difference = OnlyDifference(clients(10), clients(11));
    EXPECT_EQ(Tested::Levels, difference.tested);
    EXPECT_THAT(MeanOf(difference.meanAfter), Optional(DoubleEq(11)));
    EXPECT_EQ(Finding::Marked, difference.finding);
}

TEST(Comparison, TakesNoRateForAMean) {
    const ComparedRun timed = Logins(100);
    const ComparedRun counted = Read(40, [](int) -> std::vector<Reported> {
        return {{"login", Types::Counter, {7}}};
    });
    const Difference difference = OnlyDifference(timed, counted);
    EXPECT_THAT(MeanOf(difference.meanBefore), Optional(DoubleEq(100)));
    EXPECT_FALSE(MeanOf(difference.meanAfter));
    EXPECT_EQ(Finding::NotComparable, difference.finding);
}

TEST(Comparison, MarksNewErrors) {
    ComparedRun before = Empty();
    const ComparedRun after = Errors(40, [](int i) { return 1 + i % 2; });
    EXPECT_THAT(OnlyIn(after, before), ElementsAre("errors"));
    AddMissingNames(before, after);
    const Difference difference = OnlyDifference(before, after);
    EXPECT_EQ(0, difference.meanBefore.mean);
    EXPECT_EQ(Finding::Marked, difference.finding);
    EXPECT_EQ(Finding::Marked, OnlyDifference(after, before).finding);
}

TEST(Comparison, DoesNotMarkASingleNewError) {
    ComparedRun before = Empty();
    const ComparedRun after = Errors(40, [](int i) { return i == 20 ? 1 : 0; });
    AddMissingNames(before, after);
    EXPECT_EQ(Finding::Unclear, OnlyDifference(before, after).finding);
}

TEST(Comparison, ComparesRatesOfValuesWhereASideHasNoMean) {
    ComparedRun before = Empty();
    const ComparedRun after = Logins(100);
    AddMissingNames(before, after);
    const Difference difference = OnlyDifference(before, after);
    EXPECT_EQ(Tested::RatesOfValues, difference.tested);
    EXPECT_THAT(MeanOf(difference.meanAfter), Optional(DoubleEq(2)));
    EXPECT_EQ(Finding::Marked, difference.finding);
}

TEST(Comparison, HasNoLevelThatNobodyReported) {
    ComparedRun before = Empty();
    const ComparedRun after = Read(40, [](int) -> std::vector<Reported> {
        return {{"clients", Types::LoadSize, {10}}};
    });
    AddMissingNames(before, after);
    const Difference difference = OnlyDifference(before, after);
    EXPECT_FALSE(MeanOf(difference.meanBefore));
    EXPECT_EQ(Finding::NotComparable, difference.finding);
}

TEST(Comparison, HasNothingButZerosOfAMissingName) {
    ComparedRun run = Empty();
    AddMissingNames(run, Read(1, [](int) -> std::vector<Reported> {
                        return {{"a", Types::Timer, {1}},
                                {"b", Types::Counter, {1}},
                                {"c", Types::LoadSize, {1}}};
                    }));
    const auto& rows = run.statistics;
    ASSERT_EQ(3U, rows.size());
    EXPECT_THAT(rows[0].count, Optional(0));
    EXPECT_THAT(rows[0].rate, Optional(0));
    EXPECT_FALSE(rows[0].sum);
    EXPECT_FALSE(rows[0].average);
    EXPECT_THAT(rows[1].sum, Optional(0));
    EXPECT_THAT(rows[1].rate, Optional(0));
    EXPECT_FALSE(rows[1].count);
    EXPECT_FALSE(rows[2].rate);
    EXPECT_FALSE(rows[2].current);
}

TEST(Comparison, KeepsNamesInOrder) {
    ComparedRun run = Logins(100);
    AddMissingNames(run, Read(1, [](int) -> std::vector<Reported> {
                        return {{"a", Types::Counter, {1}},
                                {"login", Types::Timer, {1}},
                                {"z", Types::Counter, {1}}};
                    }));
    std::vector<std::string> names;
    for (const auto& row : run.statistics) names.push_back(row.name);
    EXPECT_THAT(names, ElementsAre("a", "login", "z"));
    EXPECT_EQ(40U, run.estimates[1].mean.samples);
}

TEST(Comparison, TakesSeveralRunsAsSamples) {
    // Slices would tell these apart: runs differ as much on one side as from side to side.
    const ComparedRun before = SideOf({Logins(100), Logins(120), Logins(140)});
    const ComparedRun after = SideOf({Logins(110), Logins(130), Logins(150)});
    const Difference difference = OnlyDifference(before, after);
    EXPECT_EQ(3U, difference.meanBefore.samples);
    EXPECT_THAT(MeanOf(difference.meanBefore), Optional(DoubleEq(120)));
    EXPECT_EQ(Finding::Unclear, difference.finding);
    const ComparedRun slower = SideOf({Logins(300), Logins(320), Logins(340)});
    EXPECT_EQ(Finding::Marked, OnlyDifference(before, slower).finding);
}

TEST(Comparison, TakesRunsOfFewSlices) {
    const ComparedRun before = SideOf({Logins(100, 3), Logins(101, 3)});
    const ComparedRun after = SideOf({Logins(200, 3), Logins(201, 3)});
    EXPECT_EQ(Finding::Marked, OnlyDifference(before, after).finding);
    EXPECT_FALSE(ReasonWhyNothingIsTested(before, after));
}

TEST(Comparison, NeedsTwoRunsASide) {
    const ComparedRun before = SideOf({Logins(100), Logins(101)});
    const ComparedRun after = SideOf({Logins(200)});
    EXPECT_EQ(Finding::TooFewSamples, OnlyDifference(before, after).finding);
    EXPECT_THAT(ReasonWhyNothingIsTested(before, after), Optional(HasSubstr("2 runs a side")));
}

TEST(Comparison, CountsZeroInARunOfASideThatLacksAName) {
    const auto errors = [] { return Errors(40, [](int) { return 4; }); };
    const ComparedRun side = SideOf({Empty(), errors(), errors(), errors()});
    EXPECT_THAT(MeanOf(OnlyDifference(side, side).meanBefore), Optional(DoubleEq(3)));
    EXPECT_THAT(side.Find("errors")->sum, Optional(DoubleEq(120)));
    ComparedRun none = SideOf({Empty(), Empty()});
    AddMissingNames(none, side);
    EXPECT_EQ(2U, OnlyDifference(none, side).meanBefore.samples);
}

TEST(Comparison, HasThePercentilesOfAllRunsOfASide) {
    const auto logins = [](double time) {
        return Read(
            1,
            [=](int) -> std::vector<Reported> {
                return {{"login", Types::Timer, std::vector<double>(10, time)}};
            },
            true);
    };
    const ComparedRun side = SideOf({logins(128), logins(512)});
    const auto& row = side.statistics.at(0);
    ASSERT_TRUE(row.distribution);
    EXPECT_EQ(20U, row.distribution->GetCount());
    EXPECT_THAT(row.average, Optional(DoubleEq(320)));
    EXPECT_FALSE(SideOf({logins(128), Logins(512)}).statistics.at(0).distribution);
}

/// 20 values in each of 40 slices, whose upper half is multiplied by `factor`.
ComparedRun Spread(double factor, bool isTested = true) {
    MemoryRuns runs;
    MemoryRun& run = runs.Make("run");
    SliceMaker maker;
    for (int i = 0; i < 40; ++i) {
        std::vector<double> values;
        for (int j = 0; j < 20; ++j)
            values.push_back((100 + 10 * j + i % 3) * (j < 12 ? 1 : factor));
        run.Add(SliceOf(maker.NextSlice({{"login", Types::Timer, values}}), true));
    }
    const auto reader = runs.Open("run", 0);
    const auto percentiles = isTested ? kPercentiles : std::vector<Percentile>();
    return ReadForComparison(*reader, {}, Sampling::Slices, percentiles);
}

std::vector<Finding> PercentileFindings(const ComparedRun& before, const ComparedRun& after,
                                        double least = kLeast) {
    std::vector<Finding> findings;
    const auto differences = Compare(before, after, least, kPercentiles);
    for (const auto& each : differences.at(0).percentiles) findings.push_back(each.finding);
    return findings;
}

TEST(Comparison, MarksPercentilesThatChanged) {
    // 800 values say nothing of a p99.
    EXPECT_THAT(PercentileFindings(Spread(1), Spread(1.5)),
                ElementsAre(Finding::Unclear, Finding::Marked, Finding::TooFewSamples));
    EXPECT_THAT(PercentileFindings(Spread(1), Spread(1.5), 0.6),
                ElementsAre(Finding::Unclear, Finding::BelowLeast, Finding::TooFewSamples));
    EXPECT_THAT(PercentileFindings(Spread(1), Spread(1)),
                ElementsAre(Finding::Unclear, Finding::Unclear, Finding::TooFewSamples));
}

TEST(Comparison, TestsNoPercentilesWithoutTheDistributionsOfSlices) {
    EXPECT_THAT(PercentileFindings(Spread(1, false), Spread(1.5, false)),
                Each(Finding::NotComparable));
}

TEST(Comparison, HasNoPercentilesOfANameThatIsMissing) {
    ComparedRun before = Empty();
    const ComparedRun after = Spread(1);
    AddMissingNames(before, after);
    EXPECT_THAT(PercentileFindings(before, after), Each(Finding::NotComparable));
    EXPECT_THAT(PercentileFindings(Logins(100), Logins(110)), testing::IsEmpty());
}

TEST(Comparison, TakesThePercentilesOfSeveralRunsAsSamples) {
    const ComparedRun before = SideOf({Spread(1, false), Spread(1.2, false)});
    const ComparedRun after = SideOf({Spread(1.1, false), Spread(1.3, false)});
    EXPECT_THAT(PercentileFindings(before, after),
                ElementsAre(Finding::Unclear, Finding::Unclear, Finding::TooFewSamples));
    const ComparedRun slower = SideOf({Spread(9, false), Spread(9.2, false)});
    EXPECT_THAT(PercentileFindings(before, slower),
                ElementsAre(Finding::Unclear, Finding::Marked, Finding::TooFewSamples));
}

TEST(Comparison, RefusesASideWithARunTwice) {
    const ComparedRun run = Logins(100);
    EXPECT_THROW(SideOf({run, Logins(100), run}), kzjournal::Error);
}

TEST(Comparison, RefusesASideWithDifferentTypesOfAName) {
    const auto counted = Read(1, [](int) -> std::vector<Reported> {
        return {{"login", Types::Counter, {1}}};
    });
    EXPECT_THROW(SideOf({Logins(100), counted}), kzjournal::Error);
}

}  // namespace
