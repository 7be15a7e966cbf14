#include "kzstataggregate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "support/aggregates.h"

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::nan("");

void ExpectEqual(const CKZStatAggregate& a, const CKZStatAggregate& b) {
    EXPECT_EQ(a.minimum, b.minimum);
    EXPECT_EQ(a.maximum, b.maximum);
    EXPECT_EQ(a.count, b.count);
    EXPECT_EQ(a.sum, b.sum);
    EXPECT_EQ(a.sumSqr, b.sumSqr);
}

TEST(Aggregate, IsEmptyAtFirst) {
    const CKZStatAggregate empty;
    EXPECT_FALSE(empty.HasValues());
    ExpectEqual(empty, {-1, -1, 0, 0, 0});
    EXPECT_EQ(empty.Average(), -1);
    EXPECT_EQ(empty.Deviation().value, -1);
    EXPECT_EQ(empty.Deviation().error, 0);
}

TEST(Aggregate, TakesValues) {
    ExpectEqual(Of({3, 1, 5}), {1, 5, 3, 9, 35});
    EXPECT_EQ(Of({3, 1, 5}).Average(), 3);
}

TEST(Aggregate, TakesMinusOneForAValue) {
    ExpectEqual(Of({-1}), {-1, -1, 1, -1, 1});
    ExpectEqual(Of({-1, 7}), {-1, 7, 2, 6, 50});
    ExpectEqual(Of({-5, -1}), {-5, -1, 2, -6, 26});
}

TEST(Aggregate, TakesZeroAndNegativeValues) {
    ExpectEqual(Of({0}), {0, 0, 1, 0, 0});
    ExpectEqual(Of({5, 0, -3}), {-3, 5, 3, 2, 34});
}

TEST(Aggregate, CountsANaNAndPassesItOverInTheExtremes) {
    for (const auto& values : {std::vector{kNaN, 3.0}, std::vector{3.0, kNaN}}) {
        const CKZStatAggregate aggregate = Of(values);
        EXPECT_EQ(aggregate.minimum, 3);
        EXPECT_EQ(aggregate.maximum, 3);
        EXPECT_EQ(aggregate.count, 2);
        EXPECT_TRUE(std::isnan(aggregate.sum));
        EXPECT_TRUE(std::isnan(aggregate.Average()));
        EXPECT_TRUE(std::isnan(aggregate.Deviation().value));
    }
    EXPECT_TRUE(std::isnan(Of({kNaN}).minimum));
}

TEST(Aggregate, TakesInfinities) {
    const CKZStatAggregate aggregate = Of({kInfinity, 1});
    EXPECT_EQ(aggregate.minimum, 1);
    EXPECT_EQ(aggregate.maximum, kInfinity);
    EXPECT_EQ(aggregate.sum, kInfinity);
    EXPECT_TRUE(std::isnan(Of({kInfinity, -kInfinity}).sum));
}

TEST(Aggregate, AddsAnother) {
    CKZStatAggregate sum = Of({3, 1});
    sum.Add(Of({5, -1}));
    ExpectEqual(sum, Of({3, 1, 5, -1}));
}

TEST(Aggregate, GoesByTheCountOfTheOther) {
    CKZStatAggregate sum = Of({3, 1});
    sum.Add({-7, 99, 0, 5, 5});
    ExpectEqual(sum, Of({3, 1}));

    CKZStatAggregate empty;
    empty.Add(Of({-4}));
    ExpectEqual(empty, Of({-4}));
}

TEST(Aggregate, AddsNegativeCountsWithoutExtremes) {
    CKZStatAggregate sum = Of({3, 1, 5});
    sum.Add({-7, 99, -2, -4, -10});
    ExpectEqual(sum, {1, 5, 1, 5, 25});
}

TEST(Aggregate, HasNoExtremesOnceItsValuesAreTakenAway) {
    CKZStatAggregate sum = Of({2, 9});
    sum.Add({-1, -1, -2, -11, -85});
    ExpectEqual(sum, {-1, -1, 0, 0, 0});
    sum.Add(Of({5}));
    ExpectEqual(sum, Of({5}));
}

TEST(Aggregate, CountsBeyondAnInt) {
    CKZStatAggregate sum{1, 1, 2e9, 2e9, 2e9};
    sum.Add({1, 1, 2e9, 2e9, 2e9});
    EXPECT_EQ(sum.count, 4e9);
}

/// By Welford's method in extended precision, which never takes large squares from one another.
double DeviationByWelford(const std::vector<double>& values) {
    long double mean = 0;
    long double squares = 0;
    long double count = 0;
    for (const double value : values) {
        count += 1;
        const long double step = value - mean;
        mean += step / count;
        squares += step * (value - mean);
    }
    return static_cast<double>(std::sqrt(squares / count));
}

std::vector<double> RandomValues(double mean, double deviation, int count) {
    std::mt19937_64 random(7);
    std::normal_distribution<double> distribution(mean, deviation);
    std::vector<double> values;
    for (int i = 0; i < count; ++i) values.push_back(distribution(random));
    return values;
}

void ExpectWithinItsError(const std::vector<double>& values) {
    const CKZStatDeviation deviation = Of(values).Deviation();
    EXPECT_GE(deviation.value, 0);
    EXPECT_LE(std::abs(deviation.value - DeviationByWelford(values)), deviation.error);
}

TEST(AggregateDeviation, OfFourValues) {
    EXPECT_NEAR(std::sqrt(2), Of({2, 4, 4, 6}).Deviation().value,
                Of({2, 4, 4, 6}).Deviation().error);
}

TEST(AggregateDeviation, IsExactToTenDigitsOnValuesThatSpread) {
    const std::vector<double> values = RandomValues(100, 20, 10000);
    const CKZStatDeviation deviation = Of(values).Deviation();
    EXPECT_LT(deviation.error, deviation.value * 1e-10);
    ExpectWithinItsError(values);
}

TEST(AggregateDeviation, StaysWithinItsErrorWhereTheTermsCancelOut) {
    ExpectWithinItsError({1e9 + 4, 1e9 + 7, 1e9 + 13, 1e9 + 16});
    ExpectWithinItsError(std::vector<double>(100000, 0.1));
    ExpectWithinItsError({1e15, 1e15 + 1, 1e15 + 2});
    ExpectWithinItsError({1e16, 3, -1e16, 4});
    for (const double mean : {-1e8, 1e3, 1e6, 1e9})
        for (const double spread : {1e-4, 1e-2, 1.0, 100.0})
            ExpectWithinItsError(RandomValues(mean, spread, 5000));
}

TEST(AggregateDeviation, StaysWithinItsErrorWhereSquaresUnderflow) {
    ExpectWithinItsError({1e-170, 3e-170});
    ExpectWithinItsError({1e-162, 3e-162});
    ExpectWithinItsError({5e-324, 0, 1e-160});
}

TEST(AggregateDeviation, HasAnInfiniteErrorWhereATermOverflows) {
    EXPECT_EQ(Of({1e308, -1e308}).Deviation().error, kInfinity);
    EXPECT_EQ(Of({kInfinity, 1}).Deviation().error, kInfinity);
    EXPECT_EQ(Of({kNaN, 1}).Deviation().error, kInfinity);
}

TEST(AggregateDeviation, IsNeverBelowZero) {
    // Sums whose difference is negative.
    const CKZStatAggregate rounded{1e6, 1e6, 3, 3000000.001, 2999999999999.999};
    EXPECT_EQ(0, rounded.Deviation().value);
    EXPECT_GT(rounded.Deviation().error, 0);
}

}  // namespace
