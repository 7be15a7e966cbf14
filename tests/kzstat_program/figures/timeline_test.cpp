#include "figures/timeline.h"

#include <gmock/gmock.h>

#include <cmath>
#include <vector>

namespace {

using kzstatprogram::Bucket;
using kzstatprogram::Course;
using kzstatprogram::Drawn;
using kzstatprogram::Grid;
using testing::ElementsAre;

Drawn SliceOf(double minimum, double maximum, double count, double sum, double flow) {
    return {{minimum, maximum, count, sum, 0}, flow};
}

Drawn SliceWithoutValues() {
    return {{}, 0};
}

/// A grid of slices of a second from the start of the run.
Grid GridOf(std::size_t mostBuckets) {
    return Grid(1, 0, {mostBuckets, mostBuckets});
}

TEST(Course, KeepsTheExtremesOfAllSlicesOfABucket) {
    Course course;
    course.Add(0, SliceOf(5, 9, 2, 14, 2));
    course.Add(0, SliceOf(1, 3, 4, 8, 4));
    course.Add(0, SliceOf(4, 80, 3, 90, 3));
    const Bucket bucket = course.Buckets().front();
    EXPECT_EQ(1, bucket.minimum);
    EXPECT_EQ(80, bucket.maximum);
    EXPECT_EQ(9, bucket.count);
    EXPECT_EQ(112, bucket.sum);
    EXPECT_EQ(9, bucket.flow);
    EXPECT_EQ(2, bucket.leastFlow);
    EXPECT_EQ(4, bucket.mostFlow);
    EXPECT_EQ(3, bucket.slices);
}

TEST(Course, HasNoExtremesWhereNothingWasReported) {
    Course course;
    course.Add(0, SliceWithoutValues());
    EXPECT_TRUE(std::isnan(course.Buckets().front().minimum));
    EXPECT_TRUE(std::isnan(course.Buckets().front().maximum));
    EXPECT_EQ(0, course.Buckets().front().leastFlow);
}

TEST(Course, TakesTheExtremesFromThoseSlicesThatHaveSome) {
    Course course;
    course.Add(0, SliceWithoutValues());
    course.Add(0, SliceOf(7, 8, 2, 15, 2));
    EXPECT_EQ(7, course.Buckets().front().minimum);
    EXPECT_EQ(8, course.Buckets().front().maximum);
    EXPECT_EQ(0, course.Buckets().front().leastFlow);
}

TEST(Grid, GivesEachSliceABucketWhileThereIsRoom) {
    Grid grid = GridOf(4);
    EXPECT_TRUE(grid.HasRoomFor(4));
    EXPECT_EQ(0u, grid.PlaceOf(1).bucket);
    EXPECT_EQ(3u, grid.PlaceOf(4).bucket);
}

TEST(Grid, WidensItsBucketsUntilTheRunFits) {
    Grid grid = GridOf(4);
    EXPECT_FALSE(grid.HasRoomFor(5));
    grid.WidenFor(5);
    EXPECT_EQ(2, grid.Width());
    EXPECT_EQ(0u, grid.PlaceOf(2).bucket);
    EXPECT_EQ(1u, grid.PlaceOf(3).bucket);
    grid.WidenFor(32);
    EXPECT_EQ(8, grid.Width());
    EXPECT_EQ(3u, grid.PlaceOf(32).bucket);
}

TEST(Grid, HasBucketsOfWholeMinutesAndHoursOfSlicesWhereTheyAreWide) {
    Grid grid = GridOf(1);
    std::vector<double> widths;
    for (double end = 1; end < 10000; end = grid.Width() + 1) {
        grid.WidenFor(end);
        widths.push_back(grid.Width());
    }
    EXPECT_THAT(widths,
                ElementsAre(1, 2, 4, 8, 15, 30, 60, 120, 240, 480, 900, 1800, 3600, 7200, 14400));
}

TEST(Grid, JoinsColumnsInPairsUntilTheBucketsFit) {
    Grid grid(1, 0, {100, 10});
    EXPECT_EQ(0, grid.WidenColumnsFor(10));
    EXPECT_EQ(9u, grid.PlaceOf(10).column);
    EXPECT_EQ(3, grid.WidenColumnsFor(41));
    EXPECT_EQ(8u, grid.ColumnWidth());
    EXPECT_EQ(5u, grid.PlaceOf(41).column);
}

TEST(Grid, BeginsWhereTheRangeBegins) {
    Grid grid(0.5, 10, {100, 10});
    EXPECT_FALSE(grid.Holds(10));
    EXPECT_TRUE(grid.Holds(10.5));
    EXPECT_EQ(0u, grid.PlaceOf(10.5).bucket);
    EXPECT_EQ(2u, grid.PlaceOf(11.5).bucket);
}

TEST(Grid, HoldsNothingThatEndsAtNoTime) {
    EXPECT_FALSE(GridOf(4).Holds(std::nan("")));
    EXPECT_FALSE(GridOf(4).Holds(HUGE_VAL));
}

TEST(Grid, IsNotOutgrownByARunOfAgesOfTime) {
    Grid grid = GridOf(1000);
    grid.WidenFor(1e15);
    EXPECT_LT(grid.PlaceOf(1e15).bucket, 1000u);
}

}  // namespace
