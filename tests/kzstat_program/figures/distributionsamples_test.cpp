#include "figures/distributionsamples.h"

#include <gmock/gmock.h>

#include "kzstat_program/memoryruns.h"
#include "kzstatdistribution.h"

namespace {

using kzstatprogram::DistributionSamples;
using kzstatprogram::ReadDistributionSamples;
using kzstatprogram::SlicesPerSample;
using testing::ElementsAre;
using Types = CKZStatPointTypeEnum;

std::vector<unsigned> CountsIn(const DistributionSamples& samples) {
    std::vector<unsigned> counts;
    for (const std::string& form : samples) {
        CKZStatDistribution distribution;
        EXPECT_TRUE(distribution.Decode(form));
        counts.push_back(static_cast<unsigned>(distribution.GetCount()));
    }
    return counts;
}

/// A run whose slice number i has i + 1 logins.
MemoryRun& MakeRun(MemoryRuns& runs, int slices) {
    MemoryRun& run = runs.Make("run");
    SliceMaker maker;
    for (std::size_t i = 0; i < static_cast<std::size_t>(slices); ++i)
        run.Add(SliceOf(maker.NextSlice({{"login", Types::Timer, std::vector<double>(i + 1, 5)},
                                         {"logins", Types::Counter, {1}}}),
                        true));
    return run;
}

TEST(DistributionSamples, AreThoseOfEachSlice) {
    MemoryRuns runs;
    MakeRun(runs, 4);
    const auto samples = ReadDistributionSamples(*runs.Open("run", 0), {});
    ASSERT_EQ(1U, samples.size());
    EXPECT_THAT(CountsIn(samples.at("login")), ElementsAre(1U, 2U, 3U, 4U));
}

TEST(DistributionSamples, AreOfTheRangeAlone) {
    MemoryRuns runs;
    MakeRun(runs, 4);
    const auto samples = ReadDistributionSamples(*runs.Open("run", 0), {1, 3});
    EXPECT_THAT(CountsIn(samples.at("login")), ElementsAre(2U, 3U));
}

TEST(DistributionSamples, AreOfGroupsOfSlicesInLongRuns) {
    MemoryRuns runs;
    MemoryRun& run = runs.Make("run");
    SliceMaker maker;
    for (int i = 0; i < 601; ++i)
        run.Add(SliceOf(maker.NextSlice({{"login", Types::Timer, {5}}}), true));
    const auto samples = ReadDistributionSamples(*runs.Open("run", 0), {});
    const std::vector<unsigned> counts = CountsIn(samples.at("login"));
    ASSERT_EQ(301U, counts.size());
    EXPECT_EQ(2U, counts.front());
    EXPECT_EQ(1U, counts.back());
}

TEST(DistributionSamples, LeaveOutSlicesWithoutValues) {
    MemoryRuns runs;
    MemoryRun& run = runs.Make("run");
    SliceMaker maker;
    for (int i = 0; i < 6; ++i) {
        const std::vector<double> values(i % 2 == 0 ? 1 : 0, 5);
        run.Add(SliceOf(maker.NextSlice({{"login", Types::Timer, values}}), true));
    }
    const auto samples = ReadDistributionSamples(*runs.Open("run", 0), {});
    EXPECT_THAT(CountsIn(samples.at("login")), ElementsAre(1U, 1U, 1U));
}

TEST(DistributionSamples, AreNoneWhereASliceHasValuesWithoutThem) {
    MemoryRuns runs;
    MemoryRun& run = runs.Make("run");
    SliceMaker maker;
    for (int i = 0; i < 6; ++i)
        run.Add(SliceOf(maker.NextSlice({{"login", Types::Timer, {5}}}), i != 3));
    EXPECT_TRUE(ReadDistributionSamples(*runs.Open("run", 0), {}).empty());
}

TEST(DistributionSamples, AreNoneOfARunOfVeryManyNames) {
    MemoryRuns runs;
    MemoryRun& run = runs.Make("run");
    std::vector<Reported> reported;
    reported.reserve(10001);
    for (int i = 0; i < 10001; ++i)
        reported.push_back({"login" + std::to_string(i), Types::Timer, {5}});
    SliceMaker maker;
    run.Add(SliceOf(maker.NextSlice(reported), true));
    EXPECT_TRUE(ReadDistributionSamples(*runs.Open("run", 0), {}).empty());
}

TEST(DistributionSamples, AreOfWholeStoredSumsInLongRuns) {
    EXPECT_EQ(1, SlicesPerSample(0, 0));
    EXPECT_EQ(1, SlicesPerSample(599, 50));
    EXPECT_EQ(11, SlicesPerSample(3599, 50));
    EXPECT_EQ(60, SlicesPerSample(3600, 50));
    EXPECT_EQ(240, SlicesPerSample(86400, 50));
    EXPECT_EQ(1440, SlicesPerSample(86400, 10000));
    EXPECT_EQ(5, SlicesPerSample(300, 10000));
}

}  // namespace
