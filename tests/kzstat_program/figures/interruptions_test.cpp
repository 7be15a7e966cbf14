#include "figures/interruptions.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "kzstat_program/memoryruns.h"

namespace kzstatprogram {
namespace {

CKZStatSliceCost Measured(double seconds) {
    CKZStatSliceCost cost;
    cost.measured = seconds;
    return cost;
}

class Interruptions : public testing::Test {
protected:
    /// A slice of a second.
    static void Add(MemoryRun& run, int id, double measured = 1) {
        kzjournal::Slice slice;
        slice.id = id;
        slice.elapsed = id;
        slice.cost = Measured(measured);
        run.Add(slice);
    }
    static std::vector<std::string> TextsOf(const std::vector<Interruption>& interruptions) {
        std::vector<std::string> texts;
        for (const Interruption& each : interruptions) texts.push_back(InterruptionText(each));
        return texts;
    }

    MemoryRuns runs;
};

using Texts = std::vector<std::string>;

TEST_F(Interruptions, AreSlicesThatAreMissing) {
    MemoryRun& run = runs.Make("run");
    for (const int id : {2, 3, 7, 8, 10}) Add(run, id);
    EXPECT_EQ((Texts{"no slices from 0:00 to 0:01", "no slices from 0:03 to 0:06",
                     "no slices from 0:08 to 0:09"}),
              TextsOf(FindInterruptions(*runs.Open("run", 0), runs, "run")));
}

TEST_F(Interruptions, OfARangeReachIntoItAndAreWhole) {
    MemoryRun& run = runs.Make("run");
    for (const int id : {1, 2, 3, 7, 8}) Add(run, id);
    Add(run, 9, 5);
    for (int id = 10; id <= 13; ++id) Add(run, id, 0);
    Add(run, 14);
    const auto textsIn = [&](double from, double to) {
        return TextsOf(FindInterruptions(*runs.Open("run", 0), runs, "run", {from, to}));
    };
    const Texts gap{"no slices from 0:03 to 0:06"};
    const Texts standstill{"the generator stood still from 0:09 to 0:13"};
    EXPECT_EQ(gap, textsIn(2, 8));
    EXPECT_EQ(gap, textsIn(2, 5));
    EXPECT_EQ(gap, textsIn(3, 6));
    EXPECT_EQ(gap, textsIn(5.5, 9));
    EXPECT_EQ(standstill, textsIn(10, 12));
    EXPECT_EQ(standstill, textsIn(12.5, 20));
    for (const auto& [from, to] : {std::pair(0.3, 3.0), std::pair(6.0, 9.0), std::pair(13.0, 20.0)})
        EXPECT_EQ(Texts(), textsIn(from, to)) << from;
}

TEST_F(Interruptions, OfLessThanHalfASliceAreNone) {
    InterruptionFinder finder(1);
    for (const double end : {1.5, 3.0, 4.51, 5.5}) finder.AddEnd(end);
    EXPECT_EQ(Texts{"no slices from 0:03 to 0:03.5"}, TextsOf(finder.Get()));
}

TEST_F(Interruptions, OfLessThanASecondMayBeABusyMachine) {
    InterruptionFinder finder(0.1);
    finder.AddCost("", {1, 0.1, Measured(1.09)});
    EXPECT_TRUE(finder.Get().empty());
    finder.AddCost("", {2, 0.2, Measured(1.11)});
    EXPECT_EQ(1U, finder.Get().size());
}

TEST_F(Interruptions, AreNotLookedForInWhatIsUnknown) {
    InterruptionFinder finder(1);
    finder.AddCost("", {1, 1, CKZStatSliceCost()});
    EXPECT_TRUE(finder.Get().empty());
}

TEST_F(Interruptions, OfManyTheLongestAreInTheOrderOfTime) {
    std::vector<Interruption> all;
    for (const double seconds : {1.0, 7.0, 2.0, 5.0})
        all.push_back({Interruption::Missing, 10 * seconds, 11 * seconds});
    EXPECT_EQ((Texts{"no slices from 0:50 to 0:55", "no slices from 1:10 to 1:17"}),
              TextsOf(LongestOf(all, 2)));
    EXPECT_EQ(4U, LongestOf(all, 4).size());
}

TEST_F(Interruptions, AreSlicesWhoseEndsTheProcessDidNotSee) {
    MemoryRun& run = runs.Make("run");
    Add(run, 1, 1.99);
    Add(run, 2, 31);
    for (int id = 3; id <= 33; ++id) Add(run, id, 0);
    EXPECT_EQ(Texts{"the generator stood still from 0:02 to 0:32"},
              TextsOf(FindInterruptions(*runs.Open("run", 0), runs, "run")));
}

TEST_F(Interruptions, AreNoSlicesOfAProcessThatWorkedMeanwhile) {
    InterruptionFinder finder(1);
    kzjournal::SliceCost slice{1, 1, Measured(3)};
    slice.cost.busiestThread = 2.5;
    finder.AddCost("", slice);
    EXPECT_TRUE(finder.Get().empty());
}

/// The process used so much processor time.
kzjournal::SliceCost LateTimer(double elapsed, double measured, double lateness,
                               double busiestThread = 0) {
    kzjournal::SliceCost slice{1, elapsed, Measured(measured)};
    slice.cost.timerLateness = lateness;
    slice.cost.busiestThread = busiestThread;
    return slice;
}

TEST_F(Interruptions, AreTimersThatWokeLateInTheMiddleOfASlice) {
    InterruptionFinder finder(10);
    finder.AddCost("", LateTimer(10, 10.01, 3.979, 0.03));
    finder.AddCost("", LateTimer(20, 10, 0.9));
    EXPECT_EQ(Texts{"the generator stood still from 0:05 to 0:09"}, TextsOf(finder.Get()));
}

TEST_F(Interruptions, OfTheEndOfASliceBeginWhereItsTimerWasDue) {
    InterruptionFinder finder(1);
    finder.AddCost("middle", LateTimer(1, 5.3, 4.8));
    finder.AddCost("end", LateTimer(1, 5.3, 4.299));
    EXPECT_EQ(
        (Texts{"middle stood still from 0:00.5 to 0:05.3", "end stood still from 0:01 to 0:05.3"}),
        TextsOf(finder.Get()));
}

TEST_F(Interruptions, MayBeTwoInASlice) {
    InterruptionFinder finder(10);
    finder.AddCost("", LateTimer(10, 12, 3));
    EXPECT_EQ((Texts{"the generator stood still from 0:05 to 0:08",
                     "the generator stood still from 0:10 to 0:12"}),
              TextsOf(finder.Get()));
}

TEST_F(Interruptions, BehindAnotherOneAreWhereTheTimerWasDue) {
    InterruptionFinder finder(10);
    finder.AddCost("", LateTimer(10, 15, 5));
    finder.AddCost("", LateTimer(20, 6.5, 1.5));
    EXPECT_EQ((Texts{"the generator stood still from 0:10 to 0:15",
                     "the generator stood still from 0:20 to 0:21.5"}),
              TextsOf(finder.Get()));
}

TEST_F(Interruptions, AreNoTimersThatWokeLateWhileAThreadWorked) {
    InterruptionFinder finder(10);
    finder.AddCost("", LateTimer(10, 10, 3, 7.5));
    // The lateness of the slice before, which was told late.
    finder.AddCost("", LateTimer(20, 0.002, 4));
    finder.AddCost("", LateTimer(30, 10, 3, CKZStatSliceCost::kUnknown));
    EXPECT_TRUE(finder.Get().empty());
}

TEST_F(Interruptions, AreFoundAsTheRunGoesOn) {
    MemoryRun& run = runs.Make("run");
    const auto reader = runs.Open("run", 0);
    InterruptionFinder finder(1);
    for (const int id : {1, 2, 5}) {
        Add(run, id, id == 1 ? 3 : 1);
        finder.Update(*reader);
    }
    EXPECT_EQ((Texts{"the generator stood still from 0:01 to 0:03", "no slices from 0:02 to 0:04"}),
              TextsOf(finder.Get()));
}

TEST_F(Interruptions, OfAMergedRunAreThoseOfItsSources) {
    MemoryRun& merged = runs.Make("run");
    kzjournal::Run facts = kzjournal::RunOfThisProcess("load", 1002, 1);
    facts.host = "host";
    merged.sources.push_back({1, 0, facts, false});
    MemoryRun& source = runs.Make("run", 1);
    source.facts = facts;
    Add(source, 1, 5);
    EXPECT_EQ(Texts{"load on host stood still from 0:03 to 0:07"},
              TextsOf(FindInterruptions(*runs.Open("run", 0), runs, "run")));
}

}  // namespace
}  // namespace kzstatprogram
