#include "figures/timeline.h"

#include <gmock/gmock.h>

#include <cmath>

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
    return Grid(1, 0, mostBuckets);
}

TEST(Course, KeepsTheExtremesOfAllSlicesOfABucket) {
    Course course;
    course.Add(0, SliceOf(5, 9, 2, 14, 2));
    course.Add(0, SliceOf(1, 3, 4, 8, 4));
    course.Add(0, SliceOf(4, 80, 3, 90, 3));
    const Bucket bucket = course.At(0);
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
    EXPECT_TRUE(std::isnan(course.At(0).minimum));
    EXPECT_TRUE(std::isnan(course.At(0).maximum));
    EXPECT_EQ(0, course.At(0).leastFlow);
}

TEST(Course, TakesTheExtremesFromThoseSlicesThatHaveSome) {
    Course course;
    course.Add(0, SliceWithoutValues());
    course.Add(0, SliceOf(7, 8, 2, 15, 2));
    EXPECT_EQ(7, course.At(0).minimum);
    EXPECT_EQ(8, course.At(0).maximum);
    EXPECT_EQ(0, course.At(0).leastFlow);
}

TEST(Course, HalvedHoldsAllThatItHeld) {
    Course course;
    for (std::size_t i = 0; i < 5; ++i) {
        const double value = i == 3 ? 99 : 10 + static_cast<double>(i);
        course.Add(i, SliceOf(value, value, 1, value, 1));
    }
    course.Halve();
    std::vector<double> maxima;
    std::vector<int> slices;
    for (const Bucket& bucket : course.Buckets()) {
        maxima.push_back(bucket.maximum);
        slices.push_back(bucket.slices);
    }
    EXPECT_THAT(maxima, ElementsAre(11, 99, 14));
    EXPECT_THAT(slices, ElementsAre(2, 2, 1));
}

TEST(Grid, GivesEachSliceABucketWhileThereIsRoom) {
    Grid grid = GridOf(4);
    EXPECT_EQ(0, grid.WidenFor(4));
    EXPECT_EQ(0u, grid.BucketOf(1));
    EXPECT_EQ(3u, grid.BucketOf(4));
}

TEST(Grid, DoublesItsBucketsUntilTheRunFits) {
    Grid grid = GridOf(4);
    EXPECT_EQ(1, grid.WidenFor(5));
    EXPECT_EQ(2, grid.Width());
    EXPECT_EQ(0u, grid.BucketOf(2));
    EXPECT_EQ(1u, grid.BucketOf(3));
    EXPECT_EQ(2, grid.WidenFor(32));
    EXPECT_EQ(8, grid.Width());
    EXPECT_EQ(3u, grid.BucketOf(32));
}

TEST(Grid, BeginsWhereTheRangeBegins) {
    Grid grid(0.5, 10, 100);
    EXPECT_FALSE(grid.Holds(10));
    EXPECT_TRUE(grid.Holds(10.5));
    EXPECT_EQ(0u, grid.BucketOf(10.5));
    EXPECT_EQ(2u, grid.BucketOf(11.5));
}

TEST(Grid, HoldsNothingThatEndsAtNoTime) {
    EXPECT_FALSE(GridOf(4).Holds(std::nan("")));
    EXPECT_FALSE(GridOf(4).Holds(HUGE_VAL));
}

TEST(Grid, IsNotOutgrownByARunOfAgesOfTime) {
    Grid grid = GridOf(1000);
    grid.WidenFor(1e15);
    EXPECT_LT(grid.BucketOf(1e15), 1000u);
}

}  // namespace
