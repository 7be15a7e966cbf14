#include "figures/distributioncourse.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>

namespace {

using kzstatprogram::BucketPercentiles;
using kzstatprogram::DistributionCourse;
using kzstatprogram::Place;

CKZStatDistribution DistributionOf(std::initializer_list<double> values) {
    CKZStatDistribution distribution;
    for (const double value : values) distribution.Add(value);
    return distribution;
}

void Add(DistributionCourse& course, std::size_t bucket, std::initializer_list<double> values) {
    course.Add({bucket, bucket / 2}, static_cast<double>(values.size()))
        .Add(DistributionOf(values));
}

void AddWithoutDistribution(DistributionCourse& course, std::size_t bucket, double count) {
    course.Add({bucket, bucket / 2}, count);
}

TEST(DistributionCourse, HasThePercentilesOfAllValuesOfABucket) {
    DistributionCourse course;
    Add(course, 0, {1, 2, 3});
    Add(course, 0, {100});
    Add(course, 1, {7});
    course.Settle();
    ASSERT_EQ(2u, course.Percentiles().size());
    EXPECT_EQ(DistributionOf({1, 2, 3, 100}).Quantile(0.5), course.Percentiles()[0].p50);
    EXPECT_EQ(100, course.Percentiles()[0].p99);
    EXPECT_EQ(7, course.Percentiles()[1].p95);
}

TEST(DistributionCourse, IsTheSameHoweverOftenItIsSettled) {
    DistributionCourse often, once;
    for (const double value : {5.0, 80.0, 6.0, 7.0, 9.0}) {
        Add(often, 0, {value});
        often.Settle();
        often.Settle();
        Add(once, 0, {value});
    }
    once.Settle();
    EXPECT_EQ(once.Percentiles()[0].p50, often.Percentiles()[0].p50);
    EXPECT_EQ(once.Percentiles()[0].p95, often.Percentiles()[0].p95);
    EXPECT_TRUE(*once.OfAll(5) == *often.OfAll(5));
    EXPECT_EQ(once.Map().Columns()[0].size(), often.Map().Columns()[0].size());
}

TEST(DistributionCourse, HasNoPercentilesWhereNothingWasReported) {
    DistributionCourse course;
    Add(course, 0, {1});
    Add(course, 1, {});
    Add(course, 2, {3});
    course.Settle();
    EXPECT_TRUE(std::isnan(course.Percentiles()[1].p50));
    EXPECT_EQ(3, course.Percentiles()[2].p50);
}

TEST(DistributionCourse, HasNoPercentilesOfABucketThatLacksADistribution) {
    DistributionCourse course;
    Add(course, 0, {1});
    Add(course, 1, {1, 2});
    AddWithoutDistribution(course, 1, 3);
    Add(course, 2, {4});
    course.Settle();
    EXPECT_EQ(1, course.Percentiles()[0].p50);
    EXPECT_TRUE(std::isnan(course.Percentiles()[1].p50));
    EXPECT_EQ(4, course.Percentiles()[2].p50);
    EXPECT_EQ(nullptr, course.OfAll(7));
}

TEST(DistributionCourse, LosesThePercentilesOfABucketThatGoesOnWithoutDistribution) {
    DistributionCourse course;
    Add(course, 0, {1});
    course.Settle();
    AddWithoutDistribution(course, 0, 2);
    course.Settle();
    EXPECT_TRUE(std::isnan(course.Percentiles()[0].p50));
}

TEST(DistributionCourse, HasNoPercentilesOfABucketThatComesBackAfterALaterOne) {
    DistributionCourse course;
    Add(course, 0, {1});
    Add(course, 1, {2});
    Add(course, 0, {3});
    course.Settle();
    EXPECT_TRUE(std::isnan(course.Percentiles()[0].p50));
    EXPECT_EQ(2, course.Percentiles()[1].p50);
    EXPECT_TRUE(*course.OfAll(3) == DistributionOf({1, 2, 3}));
}

TEST(DistributionCourse, IsEmptyWithoutDistributions) {
    DistributionCourse course;
    AddWithoutDistribution(course, 0, 3);
    AddWithoutDistribution(course, 1, 0);
    course.Settle();
    EXPECT_TRUE(course.IsEmpty());
    EXPECT_TRUE(course.Map().Columns().empty());
}

TEST(DistributionCourse, CountsValuesThatAreNotNumbers) {
    DistributionCourse course;
    Add(course, 0, {std::nan(""), std::nan("")});
    course.Settle();
    EXPECT_TRUE(std::isnan(course.Percentiles()[0].p50));
    EXPECT_NE(nullptr, course.OfAll(2));
}

}  // namespace
