#include "figures/slicerange.h"

#include <gmock/gmock.h>

#include <cmath>

#include "kzstat_program/memoryruns.h"

namespace {

using kzstatprogram::SliceRange;
using testing::ElementsAre;

/// A run of so many slices of a second.
class SliceRangeTest : public testing::Test {
protected:
    SliceRange RangeUnder(const kzjournal::LoadSpan& load, int count = 5) {
        MemoryRun& run = runs.Make("run");
        run.SetLoad(load);
        for (SliceMaker maker; maker.SliceId() < count;) run.Add(SliceOf(maker.NextSlice({})));
        reader = runs.Open("run", 0);
        return SlicesOfTheLoad(*reader);
    }
    std::vector<double> EndsIn(const SliceRange& range) { return reader->SliceEnds(range); }

    MemoryRuns runs;
    std::unique_ptr<kzstatprogram::RunReader> reader;
};

TEST_F(SliceRangeTest, HasAllSlicesFromTheBeginOfTheLoadOn) {
    const SliceRange range = RangeUnder({1.75, 3.625});
    EXPECT_TRUE(range.isOfLoad);
    EXPECT_THAT(EndsIn(range), ElementsAre(2, 3, 4, 5));
    EXPECT_THAT(EndsIn(range.underLoad), ElementsAre(3, 4));
}

TEST_F(SliceRangeTest, HasTheTimeOfTheLoad) {
    const SliceRange range = RangeUnder({1.75, 3.625});
    EXPECT_EQ(1.875, SecondsOf(*reader, range));
}

TEST_F(SliceRangeTest, BeginsWithTheRunWhereItsFirstSliceIsUnderLoad) {
    const SliceRange range = RangeUnder({0.25, 3});
    EXPECT_LE(range.from, 0);
    EXPECT_EQ(2.75, SecondsOf(*reader, range));
}

TEST_F(SliceRangeTest, GoesOnWithALoadThatHasNotEnded) {
    const SliceRange range = RangeUnder({2.0, {}});
    EXPECT_THAT(EndsIn(range), ElementsAre(3, 4, 5));
    EXPECT_EQ(3, SecondsOf(*reader, range));
}

TEST_F(SliceRangeTest, CutsNothingOffASliceThatIsNotThere) {
    const SliceRange range = RangeUnder({0, 5.75});
    EXPECT_THAT(EndsIn(range), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_EQ(5, SecondsOf(*reader, range));
}

TEST_F(SliceRangeTest, IsThatOfAllSlicesWhereNoLoadIsKnown) {
    const SliceRange range = RangeUnder({});
    EXPECT_FALSE(range.isOfLoad);
    EXPECT_THAT(EndsIn(range), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_EQ(5, SecondsOf(*reader, range));
}

TEST_F(SliceRangeTest, IsThatOfAllSlicesUntilOneIsUnderLoad) {
    const SliceRange range = RangeUnder({5.5, {}});
    EXPECT_FALSE(range.isOfLoad);
    EXPECT_EQ(5, SecondsOf(*reader, range));
}

TEST_F(SliceRangeTest, BeginsAndEndsAsTheUserSays) {
    SliceRange range = RangeUnder({0.25, 3.75});
    range.BeginAt(1);
    EXPECT_FALSE(range.isOfLoad);
    EXPECT_THAT(EndsIn(range), ElementsAre(2, 3, 4, 5));
    EXPECT_THAT(EndsIn(range.underLoad), ElementsAre(2, 3, 4));
    EXPECT_EQ(2.75, SecondsOf(*reader, range));

    range = RangeUnder({0.25, 3.75});
    range.EndAt(5);
    EXPECT_THAT(EndsIn(range), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_EQ(4.75, SecondsOf(*reader, range));
}

TEST_F(SliceRangeTest, IsNotBoundedByALoadOnTheOtherSide) {
    SliceRange range = RangeUnder({1, 3});
    range.BeginAt(3.5);
    EXPECT_THAT(EndsIn(range), ElementsAre(5));
    range = RangeUnder({1, 3});
    range.EndAt(0.5);
    EXPECT_EQ(0, range.from);
}

}  // namespace
