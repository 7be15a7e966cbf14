#include "kzstatdistribution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Limits = std::numeric_limits<double>;
using Values = std::vector<double>;

constexpr double kInfinity = Limits::infinity();
const double kNaN = std::nan("");
constexpr double kSmallestNormal = Limits::min();
constexpr double kLargest = Limits::max();
constexpr double kDenormal = Limits::denorm_min();

CKZStatDistribution DistributionOf(const Values& values) {
    CKZStatDistribution distribution;
    for (const double value : values) distribution.Add(value);
    return distribution;
}

std::string EncodedOf(const CKZStatDistribution& distribution) {
    std::string bytes;
    distribution.Encode(bytes);
    return bytes;
}

/// `count` values, by doubling.
CKZStatDistribution Many(double value, std::uint64_t count) {
    CKZStatDistribution many;
    CKZStatDistribution power = DistributionOf({value});
    for (; count > 0; count /= 2) {
        if (count % 2 == 1) many.Add(power);
        if (count > 1) power.Add(power);
    }
    return many;
}

struct Bucket {
    double low;
    double high;
    std::uint64_t count;

    bool operator==(const Bucket& other) const {
        return low == other.low && high == other.high && count == other.count;
    }
};

std::vector<Bucket> BucketsOf(const CKZStatDistribution& distribution) {
    std::vector<Bucket> buckets;
    distribution.ForEachBucket([&](double low, double high, std::uint64_t count) {
        buckets.push_back({low, high, count});
    });
    return buckets;
}

TEST(Distribution, IsEmptyAtFirst) {
    const CKZStatDistribution empty;
    EXPECT_EQ(empty.GetCount(), 0U);
    EXPECT_EQ(empty.GetNaNCount(), 0U);
    EXPECT_TRUE(std::isnan(empty.GetMinimum()));
    EXPECT_TRUE(std::isnan(empty.GetMaximum()));
    EXPECT_TRUE(std::isnan(empty.Quantile(0.5)));
    EXPECT_EQ(empty.CountBelow(kInfinity), 0U);
    EXPECT_TRUE(BucketsOf(empty).empty());
    EXPECT_EQ(empty.GetMemorySize(), 0U);
}

TEST(Distribution, HasExactExtremes) {
    const CKZStatDistribution distribution = DistributionOf({3.25, -1, 0.1, 1e9});
    EXPECT_EQ(distribution.GetCount(), 4U);
    EXPECT_EQ(distribution.GetMinimum(), -1);
    EXPECT_EQ(distribution.GetMaximum(), 1e9);
    EXPECT_EQ(distribution.Quantile(0), -1);
    EXPECT_EQ(distribution.Quantile(1), 1e9);
}

TEST(Distribution, CountsMinusOneLikeAnyOtherValue) {
    const CKZStatDistribution distribution = DistributionOf({-1});
    EXPECT_EQ(distribution.GetMinimum(), -1);
    EXPECT_EQ(distribution.GetMaximum(), -1);
    EXPECT_EQ(distribution.Quantile(0.5), -1);
}

TEST(Distribution, Has128BucketsOfEqualWidthPerPowerOfTwo) {
    CKZStatDistribution distribution;
    for (int i = 0; i < 128; ++i) distribution.Add(64 + 0.5 * i);
    const std::vector<Bucket> buckets = BucketsOf(distribution);
    ASSERT_EQ(buckets.size(), 128U);
    double low = 64;
    for (const Bucket& bucket : buckets) {
        EXPECT_EQ(bucket, (Bucket{low, low + 0.5, 1}));
        low += 0.5;
    }
}

TEST(Distribution, PutsAPositiveBoundIntoTheBucketAboveAndANegativeOneBelow) {
    const double below = std::nextafter(64.5, 0);
    EXPECT_EQ(BucketsOf(DistributionOf({64, below})), (std::vector<Bucket>{{64, 64.5, 2}}));
    EXPECT_EQ(BucketsOf(DistributionOf({64.5})), (std::vector<Bucket>{{64.5, 65, 1}}));
    EXPECT_EQ(BucketsOf(DistributionOf({-64, -below})), (std::vector<Bucket>{{-64.5, -64, 2}}));
    EXPECT_EQ(BucketsOf(DistributionOf({-64.5})), (std::vector<Bucket>{{-65, -64.5, 1}}));
}

TEST(Distribution, VisitsBucketsInAscendingOrder) {
    const std::vector<Bucket> buckets =
        BucketsOf(DistributionOf({kInfinity, 2, 0, -kInfinity, kNaN, -2, 1, -1, 1}));
    EXPECT_EQ(buckets, (std::vector<Bucket>{{-kInfinity, -kInfinity, 1},
                                            {-2 - 1.0 / 64, -2, 1},
                                            {-1 - 1.0 / 128, -1, 1},
                                            {0, 0, 1},
                                            {1, 1 + 1.0 / 128, 2},
                                            {2, 2 + 1.0 / 64, 1},
                                            {kInfinity, kInfinity, 1}}));
}

TEST(Distribution, HasBucketsUpToTheEndsOfTheNumbers) {
    const double top = std::ldexp(255, 1016);
    EXPECT_EQ(BucketsOf(DistributionOf({kLargest})), (std::vector<Bucket>{{top, kInfinity, 1}}));
    EXPECT_EQ(BucketsOf(DistributionOf({-kLargest})), (std::vector<Bucket>{{-kInfinity, -top, 1}}));
    EXPECT_EQ(BucketsOf(DistributionOf({kSmallestNormal})),
              (std::vector<Bucket>{{kSmallestNormal, kSmallestNormal * (1 + 1.0 / 128), 1}}));
}

TEST(Distribution, CountsDenormalNumbersAsZeroButKeepsThemAsExtremes) {
    const double largest = std::nextafter(kSmallestNormal, 0);
    const CKZStatDistribution distribution =
        DistributionOf({0, -0.0, kDenormal, -kDenormal, largest, -largest});
    EXPECT_EQ(BucketsOf(distribution), (std::vector<Bucket>{{0, 0, 6}}));
    EXPECT_EQ(distribution.GetMinimum(), -largest);
    EXPECT_EQ(distribution.GetMaximum(), largest);
    EXPECT_EQ(distribution.Quantile(0.5), 0);
    EXPECT_EQ(DistributionOf({kDenormal, kDenormal, kDenormal}).Quantile(0.5), kDenormal);
}

TEST(Distribution, HasNoNegativeZeroAmongItsExtremes) {
    for (const Values& values : {Values{-0.0}, {-0.0, 0.0}, {0.0, -0.0}, {-3, -0.0}, {3, -0.0}}) {
        const CKZStatDistribution distribution = DistributionOf(values);
        EXPECT_FALSE(distribution.GetMaximum() == 0 && std::signbit(distribution.GetMaximum()));
        EXPECT_FALSE(distribution.GetMinimum() == 0 && std::signbit(distribution.GetMinimum()));
    }
}

TEST(Distribution, CountsNaNApart) {
    const CKZStatDistribution distribution = DistributionOf({kNaN, 1, -kNaN, 2, 3});
    EXPECT_EQ(distribution.GetCount(), 5U);
    EXPECT_EQ(distribution.GetNaNCount(), 2U);
    EXPECT_EQ(distribution.GetMinimum(), 1);
    EXPECT_EQ(distribution.GetMaximum(), 3);
    EXPECT_NEAR(distribution.Quantile(0.5), 2, 2 * 0.004);
    EXPECT_EQ(distribution.CountBelow(kInfinity), 3U);
}

TEST(Distribution, HasNoExtremesIfAllValuesAreNaN) {
    const CKZStatDistribution distribution = DistributionOf({kNaN});
    EXPECT_EQ(distribution.GetCount(), 1U);
    EXPECT_TRUE(std::isnan(distribution.GetMinimum()));
    EXPECT_TRUE(std::isnan(distribution.GetMaximum()));
    EXPECT_TRUE(std::isnan(distribution.Quantile(0)));
    EXPECT_EQ(distribution.CountBelow(kInfinity), 0U);
    EXPECT_TRUE(BucketsOf(distribution).empty());
}

TEST(Distribution, TakesInfinities) {
    const CKZStatDistribution distribution =
        DistributionOf({-kInfinity, kInfinity, 1, kInfinity, -kInfinity});
    EXPECT_EQ(distribution.GetMinimum(), -kInfinity);
    EXPECT_EQ(distribution.GetMaximum(), kInfinity);
    EXPECT_EQ(distribution.Quantile(0.4), -kInfinity);
    EXPECT_NEAR(distribution.Quantile(0.6), 1, 0.004);
    EXPECT_EQ(distribution.Quantile(0.8), kInfinity);
    EXPECT_EQ(distribution.CountBelow(0), 2U);
    EXPECT_EQ(distribution.CountBelow(kInfinity), 3U);
    EXPECT_EQ(DistributionOf({kInfinity}).GetMinimum(), kInfinity);
    EXPECT_EQ(DistributionOf({-kInfinity}).GetMaximum(), -kInfinity);
}

TEST(Distribution, GrowsWithAnyCount) {
    CKZStatDistribution distribution;
    for (int i = 1; i <= 70000; ++i) {
        distribution.Add(100);
        if (i % 1000 != 0 && i != 255 && i != 256) continue;
        ASSERT_EQ(BucketsOf(distribution),
                  (std::vector<Bucket>{{100, 100.5, static_cast<std::uint64_t>(i)}}));
    }
    EXPECT_EQ(distribution, Many(100, 70000));
}

// Quantiles.

TEST(DistributionQuantile, HasTheRankThatTheDecimalSays) {
    CKZStatDistribution hundred;
    for (int i = 1; i <= 100; ++i) hundred.Add(i);
    for (int percent = 1; percent <= 100; ++percent) {
        EXPECT_NEAR(hundred.Quantile(percent / 100.0), percent, 0.004 * percent);
        EXPECT_NEAR(hundred.Quantile(percent * 0.01), percent, 0.004 * percent);
        EXPECT_NEAR(hundred.Quantile((percent - 0.5) / 100), percent, 0.004 * percent);
    }
    EXPECT_NEAR(hundred.Quantile(0.07), 7, 0.028);
    EXPECT_NEAR(hundred.Quantile(0.0700001), 8, 0.032);
}

/// Values 1, 2 and 3, so that the quantile tells the rank from its neighbours.
CKZStatDistribution AroundRank(std::uint64_t rank, std::uint64_t n) {
    CKZStatDistribution distribution = Many(1, rank - 1);
    distribution.Add(2);
    distribution.Add(Many(3, n - rank));
    return distribution;
}

void ExpectRank(double q, std::uint64_t rank, std::uint64_t n) {
    EXPECT_NEAR(AroundRank(rank, n).Quantile(q), 2, 0.008) << q << " of " << n;
}

TEST(DistributionQuantile, HasTheRankThatTheDecimalSaysOfAnyNumber) {
    ExpectRank(0.5, 1, 2);
    ExpectRank(0.5, 2, 3);
    ExpectRank(0.001, 2, 2000);
    ExpectRank(0.001, 3, 2001);
    ExpectRank(0.07, 7, 100);
    ExpectRank(0.29, 29, 100);
    ExpectRank(0.57, 57, 100);
    ExpectRank(0.95, 19, 20);
    ExpectRank(99.9 / 100, 999, 1000);
    ExpectRank(0.999, 999, 1000);
    ExpectRank(0.999, 1000, 1001);
    ExpectRank(2.0 / 3, 2, 3);
    ExpectRank(0.99999, 99999, 100000);
    ExpectRank(0.999, 999000000, 1000000000);
    ExpectRank(0.999, 999000001, 1000000001);
    ExpectRank(0.999999, 999999000000, 1000000000000);
}

TEST(DistributionQuantile, OfEveryShortDecimalOfEverySmallNumber) {
    for (std::uint64_t n = 1; n <= 40; ++n) {
        CKZStatDistribution distribution;
        for (std::uint64_t i = 1; i <= n; ++i) distribution.Add(static_cast<double>(i));
        for (std::uint64_t thousandths = 1; thousandths <= 1000; ++thousandths) {
            const std::uint64_t rank = (thousandths * n + 999) / 1000;
            ASSERT_NEAR(distribution.Quantile(static_cast<double>(thousandths) / 1000),
                        static_cast<double>(rank), 0.004 * static_cast<double>(rank))
                << thousandths << " of " << n;
        }
    }
}

TEST(DistributionQuantile, IsAnExtremeAtTheEndsAndBeyond) {
    const CKZStatDistribution distribution = DistributionOf({1.001, 5, 9.999});
    for (const double q : {-kInfinity, -1.0, -0.0, 0.0, kDenormal, 1e-300, 0.33})
        EXPECT_EQ(distribution.Quantile(q), 1.001) << q;
    for (const double q : {0.67, 1 - Limits::epsilon() / 2, 1.0, 1.5, kInfinity})
        EXPECT_EQ(distribution.Quantile(q), 9.999) << q;
    EXPECT_TRUE(std::isnan(distribution.Quantile(kNaN)));
}

TEST(DistributionQuantile, StaysWithinTheExtremes) {
    const CKZStatDistribution low = DistributionOf({100.49, 100.49, 100.49});
    EXPECT_EQ(low.Quantile(0.5), 100.49);
    const CKZStatDistribution high = DistributionOf({100.01, 100.01, 100.02});
    EXPECT_EQ(high.Quantile(0.5), 100.02);
}

/// Compares quantiles with the sorted values themselves.
void ExpectQuantilesNearThoseOf(Values values) {
    const CKZStatDistribution distribution = DistributionOf(values);
    std::sort(values.begin(), values.end());
    const std::uint64_t n = values.size();
    for (std::uint64_t tenThousandths = 0; tenThousandths <= 10000; tenThousandths += 5) {
        const std::uint64_t rank = std::max<std::uint64_t>(1, (tenThousandths * n + 9999) / 10000);
        const double truth = values[static_cast<std::size_t>(rank) - 1];
        const double q = static_cast<double>(tenThousandths) / 10000;
        ASSERT_LE(std::abs(distribution.Quantile(q) - truth), std::abs(truth) / 256) << q;
    }
}

template <class Distribution>
Values Drawn(Distribution distribution, int count = 20000) {
    std::mt19937_64 random(7);
    Values values;
    for (int i = 0; i < count; ++i) values.push_back(distribution(random));
    return values;
}

Values Joined(Values a, const Values& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Values Scaled(Values values, double factor) {
    for (double& value : values) value *= factor;
    return values;
}

Values Pareto(int count) {
    Values values = Drawn(std::uniform_real_distribution<double>(0, 1), count);
    for (double& value : values) value = std::pow(1 - value, -1 / 1.2);
    return values;
}

/// Named data sets of all kinds.
std::map<std::string, Values> DataSets() {
    const Values normal = Drawn(std::normal_distribution<double>(100, 20));
    const Values exponential = Drawn(std::exponential_distribution<double>(0.01));
    return {{"normal", normal},
            {"around one mean", Drawn(std::normal_distribution<double>(100, 2))},
            {"exponential", exponential},
            {"Pareto", Pareto(20000)},
            {"bimodal", Joined(normal, Drawn(std::normal_distribution<double>(5000, 50)))},
            {"constant", Values(5000, 0.1)},
            {"one value", {42.5}},
            {"two values", {1, 1e6}},
            {"tiny", Scaled(exponential, 1e-302)},
            {"huge", Scaled(exponential, 1e300)},
            {"negative", Scaled(exponential, -1)},
            {"mixed sign", Drawn(std::normal_distribution<double>(0, 1000))},
            {"with zeros", Joined(normal, Values(3000, 0))},
            {"whole numbers", Drawn([](auto& random) {
                 return static_cast<double>(std::uniform_int_distribution<int>(-50, 400)(random));
             })}};
}

TEST(DistributionQuantile, IsWithin1Part256OfTheTrueOneOnAnyData) {
    for (const auto& [name, values] : DataSets()) {
        SCOPED_TRACE(name);
        ExpectQuantilesNearThoseOf(values);
    }
}

TEST(DistributionQuantile, IsWithin1Part256AtTheEndsOfTheNumbers) {
    ExpectQuantilesNearThoseOf(
        {kSmallestNormal, kLargest, -kSmallestNormal, -kLargest, 1e-300, -1e300, 1, 0});
}

TEST(DistributionQuantile, RisesWithItsRank) {
    for (const auto& [name, values] : DataSets()) {
        const CKZStatDistribution distribution = DistributionOf(values);
        double former = -kInfinity;
        for (int i = 0; i <= 1000; ++i) {
            const double quantile = distribution.Quantile(i / 1000.0);
            ASSERT_GE(quantile, former) << name;
            former = quantile;
        }
    }
}

// Counts below a value.

TEST(DistributionCountBelow, IsExactAtBoundsOfPositiveBuckets) {
    const Values values = Joined(Drawn(std::normal_distribution<double>(100, 40)), {64, 100, 128});
    const CKZStatDistribution distribution = DistributionOf(values);
    for (const double bound : {32.0, 64.0, 64.5, 100.0, 128.0, 129.0, 1024.0})
        EXPECT_EQ(distribution.CountBelow(bound),
                  static_cast<std::uint64_t>(std::count_if(
                      values.begin(), values.end(), [&](double value) { return value < bound; })))
            << bound;
}

TEST(DistributionCountBelow, LeavesOutTheBucketOfTheValue) {
    const CKZStatDistribution distribution = DistributionOf({-3, -2, 0, 100, 100.2, 100.4, 101});
    EXPECT_EQ(distribution.CountBelow(100.3), 3U);
    EXPECT_EQ(distribution.CountBelow(100.5), 6U);
    EXPECT_EQ(distribution.CountBelow(-2), 1U);
    EXPECT_EQ(distribution.CountBelow(kDenormal), 2U);
}

TEST(DistributionCountBelow, KnowsTheExtremes) {
    const CKZStatDistribution distribution = DistributionOf({kNaN, 100.1, 100.2});
    EXPECT_EQ(distribution.CountBelow(100.1), 0U);
    EXPECT_EQ(distribution.CountBelow(100.2), 0U);
    EXPECT_EQ(distribution.CountBelow(100.21), 2U);
    EXPECT_EQ(distribution.CountBelow(kInfinity), 2U);
    EXPECT_EQ(distribution.CountBelow(-kInfinity), 0U);
    EXPECT_EQ(distribution.CountBelow(kNaN), 0U);
}

// Merging.

void ExpectSame(const CKZStatDistribution& a, const CKZStatDistribution& b) {
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    EXPECT_EQ(EncodedOf(a), EncodedOf(b));
    EXPECT_EQ(BucketsOf(a), BucketsOf(b));
}

TEST(DistributionMerge, OfAnySplitInAnyOrderEqualsTheWhole) {
    std::mt19937_64 random(8);
    for (const auto& [name, values] : DataSets()) {
        SCOPED_TRACE(name);
        Values all = Joined(values, {kNaN, kInfinity, -kInfinity, 0, -0.0, kDenormal, kNaN});
        const CKZStatDistribution whole = DistributionOf(all);
        std::shuffle(all.begin(), all.end(), random);
        for (const std::size_t parts : {1U, 2U, 7U, 50U}) {
            std::uniform_int_distribution<std::size_t> part(0, parts - 1);
            std::vector<CKZStatDistribution> split(parts);
            for (const double value : all) split[part(random)].Add(value);
            CKZStatDistribution forwards;
            for (const auto& one : split) forwards.Add(one);
            CKZStatDistribution backwards;
            std::for_each(split.rbegin(), split.rend(), [&](auto& one) { backwards.Add(one); });
            ExpectSame(forwards, whole);
            ExpectSame(backwards, whole);
        }
    }
}

TEST(DistributionMerge, IsAssociative) {
    const CKZStatDistribution a = DistributionOf({1, 2, -0.0});
    const CKZStatDistribution b = DistributionOf({0, -5, kNaN});
    const CKZStatDistribution c = DistributionOf({1e300, 2});
    CKZStatDistribution left = a;
    left.Add(b);
    left.Add(c);
    CKZStatDistribution right = b;
    right.Add(c);
    CKZStatDistribution sum = a;
    sum.Add(right);
    ExpectSame(left, sum);
}

TEST(DistributionMerge, OfAnEmptyOneChangesNothing) {
    CKZStatDistribution distribution = DistributionOf({1, kNaN});
    distribution.Add(CKZStatDistribution());
    ExpectSame(distribution, DistributionOf({1, kNaN}));
    CKZStatDistribution empty;
    empty.Add(CKZStatDistribution());
    EXPECT_EQ(empty.GetMemorySize(), 0U);
    empty.Add(distribution);
    ExpectSame(empty, distribution);
}

TEST(DistributionMerge, TakesItself) {
    CKZStatDistribution distribution = DistributionOf({1, 2, 3, 1e9, kNaN});
    for (int i = 0; i < 20; ++i) distribution.Add(distribution);
    EXPECT_EQ(distribution.GetCount(), 5U << 20);
    EXPECT_EQ(distribution.GetNaNCount(), 1U << 20);
    for (const Bucket& bucket : BucketsOf(distribution)) EXPECT_EQ(bucket.count, 1U << 20);
}

TEST(DistributionMerge, AddsCountsOfDifferentWidths) {
    const std::uint64_t counts[] = {1, 255, 256, 65535, 65536, 0xFFFFFFFF, 0x100000000, 1ULL << 62};
    for (const std::uint64_t a : counts)
        for (const std::uint64_t b : counts) {
            CKZStatDistribution sum = Many(7, a);
            sum.Add(Many(7, b));
            EXPECT_EQ(sum.GetCount(), a + b);
            EXPECT_EQ(BucketsOf(sum).at(0).count, a + b);
        }
}

TEST(Distribution, CountsBeyond16BitsOneByOne) {
    const double values[] = {-700, -5.5, -5, 0, 5e-324, -1e-310, 2, 5, 512, kInfinity};
    constexpr std::uint64_t kTimes = 70000;
    CKZStatDistribution distribution;
    for (std::uint64_t i = 0; i < kTimes; ++i)
        for (const double value : values) distribution.Add(value);
    const std::vector<Bucket> buckets = BucketsOf(distribution);
    ASSERT_EQ(buckets.size(), 8U);  // zero and the denormal numbers share one
    for (const Bucket& bucket : buckets)
        EXPECT_EQ(bucket.count, bucket.low == 0 ? 3 * kTimes : kTimes) << bucket.low;
    EXPECT_EQ(distribution.CountBelow(-5), 2 * kTimes);
    EXPECT_EQ(distribution.CountBelow(0), 3 * kTimes);
    EXPECT_EQ(distribution.CountBelow(5), 7 * kTimes);
    EXPECT_NEAR(distribution.Quantile(0.15), -5.5, 5.5 / 256);

    CKZStatDistribution decoded;
    EXPECT_TRUE(decoded.Decode(EncodedOf(distribution)));
    ExpectSame(decoded, distribution);
    CKZStatDistribution sum = distribution;
    sum.Add(distribution);
    EXPECT_TRUE(decoded.AddEncoded(EncodedOf(distribution)));
    ExpectSame(decoded, sum);
}

/// The bound next to zero of the bucket of a value, by arithmetic on the value instead of its bits.
double BoundNextToZero(double value) {
    if (std::isinf(value)) return value;
    if (std::abs(value) < kSmallestNormal) return 0;
    int exponent = 0;
    const double mantissa = std::frexp(std::abs(value), &exponent);
    return std::copysign(std::ldexp(std::floor(mantissa * 256), exponent - 8), value);
}

/// A value of any kind; mostly from a few powers of two around one that the generator draws first.
class AnyValue {
public:
    explicit AnyValue(unsigned seed) : m_random(seed) {
        // One in four begins among the denormal numbers.
        m_exponent =
            seed % 4 == 0 ? -1030 : std::uniform_int_distribution<int>(-1000, 1000)(m_random);
        m_spread = std::uniform_int_distribution<int>(1, seed % 3 == 0 ? 90 : 24)(m_random);
    }

    double operator()() {
        static const Values kSpecial = {0,      -0.0,      kDenormal, -kDenormal, kSmallestNormal,
                                        1,      kInfinity, -kLargest, kLargest,   -kSmallestNormal,
                                        1e-310, -kInfinity};
        const unsigned kind = std::uniform_int_distribution<unsigned>(0, 99)(m_random);
        if (kind < 10) return kSpecial[m_random() % kSpecial.size()];
        const int exponent = std::uniform_int_distribution<int>(0, m_spread)(m_random) + m_exponent;
        // Whole numbers of 1/16 are bounds; the one before is in the bucket below.
        const double mantissa = 1 + static_cast<double>(m_random() % 16) / 16;
        const double value = std::ldexp(mantissa, std::min(exponent, 1023));
        const double chosen = kind < 50 ? std::nextafter(value, 0) : value;
        return kind < 20 ? -chosen : chosen;
    }

private:
    std::mt19937 m_random;
    int m_exponent = 0;
    int m_spread = 0;
};

TEST(Distribution, CountsEachValueInItsBucketWhateverCameBefore) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        CKZStatDistribution distribution;
        for (unsigned round = 0; round < 4; ++round) {
            // Every other time from the same powers as before.
            AnyValue value(seed + round / 2 * 1000);
            std::map<double, std::uint64_t> expected;
            double least = kInfinity;
            double greatest = -kInfinity;
            for (int i = 0; i < 300; ++i) {
                const double added = value();
                distribution.Add(added);
                ++expected[BoundNextToZero(added)];
                least = std::min(least, added);
                greatest = std::max(greatest, added);
                ASSERT_EQ(distribution.GetMinimum(), least) << "seed " << seed;
                ASSERT_EQ(distribution.GetMaximum(), greatest) << "seed " << seed;
            }
            std::map<double, std::uint64_t> counted;
            distribution.ForEachBucket([&](double low, double high, std::uint64_t count) {
                counted[low < 0 ? high : low] += count;
            });
            ASSERT_EQ(counted, expected) << "seed " << seed << ", round " << round;
            distribution.Clear();
        }
    }
}

TEST(Distribution, GoesOnCountingOneByOneAfterAMerge) {
    // Powers of two come in below, within and above those that it has.
    for (const double other : {0.001, 0.7, 3.0, 50.0, 1e9, -5.0, 0.0}) {
        CKZStatDistribution distribution = DistributionOf({1, 8, 2, 4, 6});
        distribution.Add(DistributionOf({other}));
        for (const double value : {1.0, 6.0, 8.0, 2.5}) distribution.Add(value);
        ExpectSame(distribution, DistributionOf({1, 1, 2, 2.5, 4, 6, 6, 8, 8, other}));
    }
}

TEST(DistributionMerge, RefusesToCountBeyond64Bits) {
    CKZStatDistribution full = Many(1, ~std::uint64_t{0} - 1);
    full.Add(kNaN);
    EXPECT_EQ(full.GetCount(), ~std::uint64_t{0});
    const std::string before = EncodedOf(full);
    EXPECT_THROW(full.Add(1), std::overflow_error);
    EXPECT_THROW(full.Add(-1), std::overflow_error);
    EXPECT_THROW(full.Add(kNaN), std::overflow_error);
    EXPECT_THROW(full.Add(full), std::overflow_error);
    EXPECT_THROW(full.Add(DistributionOf({5})), std::overflow_error);
    EXPECT_EQ(EncodedOf(full), before);
    CKZStatDistribution one = DistributionOf({5});
    EXPECT_THROW(one.Add(full), std::overflow_error);
    ExpectSame(one, DistributionOf({5}));
    full.Add(CKZStatDistribution());
}

TEST(DistributionMerge, RefusesToCountOneByOneBeyond64Bits) {
    CKZStatDistribution full = DistributionOf({1, 2, 4});
    full.Add(Many(1, ~std::uint64_t{0} - 5));
    full.Add(2);
    full.Add(2);
    EXPECT_EQ(full.GetCount(), ~std::uint64_t{0});
    EXPECT_THROW(full.Add(2), std::overflow_error);
    EXPECT_EQ(full.GetCount(), ~std::uint64_t{0});
    EXPECT_EQ(BucketsOf(full).at(1).count, 3U);
}

// Life of an object.

TEST(Distribution, ComparesValues) {
    EXPECT_TRUE(CKZStatDistribution() == CKZStatDistribution());
    EXPECT_TRUE(DistributionOf({1, 2}) == DistributionOf({2, 1}));
    EXPECT_FALSE(DistributionOf({1, 2}) == DistributionOf({1, 1, 2}));
    EXPECT_FALSE(DistributionOf({1, 1, 5}) == DistributionOf({1, 5, 5}));
    EXPECT_FALSE(DistributionOf({1, 3, 5}) == DistributionOf({1, 2, 5}));
    EXPECT_FALSE(DistributionOf({100.1}) == DistributionOf({100.2}));
    EXPECT_FALSE(DistributionOf({100.1, 100.2}) == DistributionOf({100.1, 100.3}));
    EXPECT_FALSE(DistributionOf({1, kNaN}) == DistributionOf({1, 1}));
    EXPECT_FALSE(DistributionOf({1}) == CKZStatDistribution());
}

TEST(Distribution, IsEmptyAfterClear) {
    CKZStatDistribution distribution = DistributionOf({1, -2, 1e300, kNaN, 0});
    const std::size_t memory = distribution.GetMemorySize();
    distribution.Clear();
    ExpectSame(distribution, CKZStatDistribution());
    EXPECT_TRUE(std::isnan(distribution.GetMinimum()));
    EXPECT_EQ(distribution.GetMemorySize(), memory);
    distribution.Add(5);
    ExpectSame(distribution, DistributionOf({5}));
    distribution = CKZStatDistribution();
    EXPECT_EQ(distribution.GetMemorySize(), 0U);
    distribution.Clear();
}

TEST(Distribution, TakesNoTraceOfWhatItHadBefore) {
    CKZStatDistribution reused = Many(1000, 100000);
    reused.Add(-3);
    reused.Clear();
    for (const double value : {1.0, 1000.0}) reused.Add(value);
    const CKZStatDistribution fresh = DistributionOf({1, 1000});
    ExpectSame(reused, fresh);
    CKZStatDistribution sum;
    sum.Add(reused);
    CKZStatDistribution sumOfFresh;
    sumOfFresh.Add(fresh);
    EXPECT_EQ(sum.GetMemorySize(), sumOfFresh.GetMemorySize());
}

TEST(Distribution, Copies) {
    const CKZStatDistribution original = DistributionOf({1, 2, kNaN});
    CKZStatDistribution copy = original;
    ExpectSame(copy, original);
    copy.Add(3);
    ExpectSame(original, DistributionOf({1, 2, kNaN}));
    copy = original;
    ExpectSame(copy, original);
    const CKZStatDistribution& itself = copy;
    copy = itself;
    ExpectSame(copy, original);
}

TEST(Distribution, IsEmptyAfterAMove) {
    CKZStatDistribution original = DistributionOf({1, 2, kNaN});
    CKZStatDistribution moved = std::move(original);
    ExpectSame(moved, DistributionOf({1, 2, kNaN}));
    EXPECT_EQ(original.GetCount(), 0U);  // NOLINT(bugprone-use-after-move): it is empty
    original.Add(4);
    moved = std::move(original);
    ExpectSame(moved, DistributionOf({4}));
}

TEST(Distribution, TakesLittleMemoryForASlice) {
    const CKZStatDistribution slice =
        DistributionOf(Drawn(std::normal_distribution<double>(100, 10), 1000));
    EXPECT_LT(slice.GetMemorySize(), 800U);
    EXPECT_LE(sizeof slice, sizeof(void*));
}

TEST(Distribution, TakesMemoryBetweenTwoMeansOnlyIfTheyAreNear) {
    const std::size_t near = DistributionOf({1, 0x1p16}).GetMemorySize();
    EXPECT_GT(near, 17U * 256);
    EXPECT_LT(near, 17U * 270 + 130);
    EXPECT_LT(DistributionOf({1, 0x1p17}).GetMemorySize(), 2U * 270 + 130);
    EXPECT_LT(DistributionOf({-1, 0, 1}).GetMemorySize(), 3U * 270 + 130);
    CKZStatDistribution sum = DistributionOf({1});
    sum.Add(DistributionOf({0x1p16}));
    EXPECT_LT(sum.GetMemorySize(), 2U * 270 + 130);
}

TEST(Distribution, TakesNoMoreMemoryThanPromised) {
    CKZStatDistribution everywhere;
    for (int exponent = -1022; exponent <= 1023; ++exponent)
        for (const int sign : {-1, 1}) everywhere.Add(std::ldexp(sign, exponent));
    for (const double value : {0.0, kInfinity, -kInfinity}) everywhere.Add(value);
    for (int i = 0; i < 33; ++i) everywhere.Add(everywhere);
    EXPECT_EQ(everywhere.Quantile(0.5), 0);
    EXPECT_LT(everywhere.GetMemorySize(), 4300000U);
}

// The encoded form.

std::string Bytes(std::initializer_list<int> bytes) {
    return std::string(bytes.begin(), bytes.end());
}

std::string LittleEndian(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    std::string bytes;
    for (int i = 0; i < 8; ++i) bytes += static_cast<char>(bits >> (8 * i));
    return bytes;
}

TEST(DistributionForm, OfTheDocumentedExample) {
    CKZStatDistribution distribution = DistributionOf({10, 10, 10.1, 12, kNaN});
    distribution.Add(Many(40, 100));
    const std::string form = Bytes({1, 1, 4}) + LittleEndian(10) + LittleEndian(40) +
                             Bytes({0x04, 0x00, 0x03, 0x1B, 0x8F, 0x03, 0xDC, 0x01});
    EXPECT_EQ(EncodedOf(distribution), form);
}

TEST(DistributionForm, OfAnEmptyDistribution) {
    EXPECT_EQ(EncodedOf(CKZStatDistribution()), Bytes({1, 0, 0}));
    EXPECT_EQ(EncodedOf(DistributionOf({kNaN})), Bytes({1, 1, 0}));
}

void ExpectRoundTrip(const CKZStatDistribution& distribution) {
    const std::string form = EncodedOf(distribution);
    CKZStatDistribution fresh;
    ASSERT_TRUE(fresh.Decode(form));
    ExpectSame(fresh, distribution);
    CKZStatDistribution reused = DistributionOf({1, -7, 1e9, kNaN});
    ASSERT_TRUE(reused.Decode(form));
    ExpectSame(reused, distribution);
}

TEST(DistributionForm, IsReadAsItWasWritten) {
    ExpectRoundTrip(CKZStatDistribution());
    ExpectRoundTrip(DistributionOf({kNaN, kNaN}));
    ExpectRoundTrip(DistributionOf({kInfinity, -kInfinity, kLargest, -kLargest, 0, kDenormal}));
    ExpectRoundTrip(DistributionOf({-kDenormal, kDenormal}));
    ExpectRoundTrip(Many(3, ~std::uint64_t{0}));
    for (int bit = 0; bit < 64; ++bit) {
        ExpectRoundTrip(Many(3, std::uint64_t{1} << bit));
        ExpectRoundTrip(Many(3, (std::uint64_t{1} << bit) + 1));
    }
    for (const auto& [name, values] : DataSets()) ExpectRoundTrip(DistributionOf(values));
}

TEST(DistributionForm, ReadsItsGapsOfAnyLength) {
    for (int gap = 0; gap < 400; ++gap) {
        double other = 64;
        for (int i = 0; i < gap; ++i) other += std::ldexp(1.0 / 128, std::ilogb(other));
        ExpectRoundTrip(DistributionOf({64, other}));
    }
}

TEST(DistributionForm, IsAppended) {
    std::string bytes = "before";
    CKZStatDistribution().Encode(bytes);
    EXPECT_EQ(bytes, "before" + Bytes({1, 0, 0}));
}

TEST(DistributionForm, TakesAtMostTwoBytesForABucketOfASlice) {
    for (const int count : {10, 100, 1000, 10000}) {
        const CKZStatDistribution slice =
            DistributionOf(Drawn(std::normal_distribution<double>(100, 20), count));
        EXPECT_LE(EncodedOf(slice).size(), 20 + 2 * BucketsOf(slice).size()) << count;
    }
}

TEST(DistributionForm, IsAddedAsTheDistributionIs) {
    const CKZStatDistribution all[] = {
        {},
        DistributionOf({kNaN}),
        DistributionOf({1, 1.5, -7, 1e9, kNaN, 0}),
        DistributionOf({kInfinity, -kInfinity, kLargest, -kLargest, kDenormal, 1e9}),
        Many(7, 65535),
        Many(7, 0x100000000)};
    for (const CKZStatDistribution& a : all)
        for (const CKZStatDistribution& b : all) {
            CKZStatDistribution expected = a;
            expected.Add(b);
            CKZStatDistribution sum = a;
            ASSERT_TRUE(sum.AddEncoded(EncodedOf(b)));
            ExpectSame(sum, expected);
            sum.Add(7);  // counts in the block that was widened
            expected.Add(7);
            ExpectSame(sum, expected);
        }
}

TEST(DistributionForm, IsNotAddedBeyond64Bits) {
    CKZStatDistribution full = Many(1, ~std::uint64_t{0});
    EXPECT_THROW(full.AddEncoded(EncodedOf(DistributionOf({5}))), std::overflow_error);
    ExpectSame(full, Many(1, ~std::uint64_t{0}));
}

/// Refused, and the distribution that was to become it stays as it was.
void ExpectRefused(const std::string& form) {
    // Of exactly this size, so that the address sanitizer sees a read of the next byte.
    const std::vector<char> bytes(form.begin(), form.end());
    CKZStatDistribution kept = DistributionOf({1, 2, kNaN});
    const std::size_t memory = kept.GetMemorySize();
    EXPECT_FALSE(kept.Decode({bytes.data(), bytes.size()})) << testing::PrintToString(bytes);
    EXPECT_FALSE(kept.AddEncoded({bytes.data(), bytes.size()})) << testing::PrintToString(bytes);
    ExpectSame(kept, DistributionOf({1, 2, kNaN}));
    EXPECT_EQ(kept.GetMemorySize(), memory);
}

TEST(DistributionForm, IsRefusedIfTruncatedOrContinued) {
    CKZStatDistribution distribution = DistributionOf({1, 1.5, -7, 1e9, kNaN, 0, 1e9});
    distribution.Add(Many(1e9, 100000));
    const std::string form = EncodedOf(distribution);
    for (std::size_t size = 0; size < form.size(); ++size) ExpectRefused(form.substr(0, size));
    ExpectRefused(form + '\0');
    ExpectRefused(form + form);
}

TEST(DistributionForm, IsRefusedInAnyOtherVersion) {
    ExpectRefused(Bytes({0, 0, 0}));
    ExpectRefused(Bytes({2, 0, 0}));
}

/// The form of distributions with values between two extremes.
std::string Form(double minimum, double maximum, int buckets, std::initializer_list<int> rest) {
    return Bytes({1, 0, buckets}) + LittleEndian(minimum) + LittleEndian(maximum) + Bytes(rest);
}

TEST(DistributionForm, IsRefusedUnlessTheExtremesFitTheBuckets) {
    CKZStatDistribution distribution;
    EXPECT_TRUE(distribution.Decode(Form(1, 1, 1, {0})));
    EXPECT_TRUE(distribution.Decode(Form(1, 1.001, 1, {4})));
    EXPECT_TRUE(distribution.Decode(Form(1, 1.01, 2, {0, 0})));
    EXPECT_TRUE(distribution.Decode(Form(0, 0, 1, {0})));
    EXPECT_TRUE(distribution.Decode(Form(-kDenormal, kDenormal, 1, {4})));

    ExpectRefused(Form(1, 1.001, 1, {0}));     // one value, two extremes
    ExpectRefused(Form(1.001, 1, 1, {4}));     // the wrong way round
    ExpectRefused(Form(1, 1.01, 1, {4}));      // the maximum above the last bucket
    ExpectRefused(Form(1, 1.001, 2, {0, 0}));  // the maximum below it
    ExpectRefused(Form(2, 1, 2, {0, 0}));      // the minimum above all
    ExpectRefused(Form(1, 1.02, 2, {1, 0}));   // a gap before the first bucket
    ExpectRefused(Form(-0.0, 0, 1, {4}));      // a negative zero
    ExpectRefused(Form(kNaN, kNaN, 1, {0}));   // not a number
    ExpectRefused(Form(kDenormal, -kDenormal, 1, {4}));
    ExpectRefused(Bytes({1, 0, 1, 0}));
}

TEST(DistributionForm, IsRefusedIfABucketHoldsNoNumber) {
    // From zero into the denormal numbers, of which none has a bucket of its own.
    EXPECT_TRUE(CKZStatDistribution().Decode(Form(0, kSmallestNormal, 2, {0, 3, 124})));
    ExpectRefused(Form(0, kSmallestNormal, 3, {0, 0, 3, 123}));
    ExpectRefused(Form(-kSmallestNormal, 0, 3, {0, 0, 3, 123}));
}

TEST(DistributionForm, IsRefusedIfANumberIsLongerThanItNeedsToBe) {
    ExpectRefused(Bytes({1, 0x80, 0, 0}));
    ExpectRefused(Bytes({1, 0, 0x80, 0}));
    ExpectRefused(Form(1, 1, 1, {0x80, 0}));          // a rest of 0
    ExpectRefused(Form(1, 1, 1, {0x80, 0x81, 0}));    // a rest of 1 in two bytes
    ExpectRefused(Form(1, 1.5, 2, {0, 3, 0xBC, 0}));  // a gap in two bytes
    EXPECT_TRUE(CKZStatDistribution().Decode(Form(1, 1.5, 2, {0, 3, 0x3C})));
}

TEST(DistributionForm, IsRefusedIfNumbersOverflow) {
    const std::string ones(9, '\xFF');
    // Eleven bytes, then ten with more than 64 bits.
    ExpectRefused(Bytes({1}) + ones + Bytes({0xFF, 0, 0}));
    ExpectRefused(Bytes({1}) + ones + Bytes({2, 0}));
    EXPECT_TRUE(CKZStatDistribution().Decode(Bytes({1}) + ones + Bytes({1, 0})));
    // 2^64 - 1 NaN and one number.
    ExpectRefused(Bytes({1}) + ones + Bytes({1, 1}) + LittleEndian(1) + LittleEndian(1) +
                  Bytes({0}));
    // A bucket of 2^64, and one of 2^64 - 1 beside another value.
    const std::string most = std::string(8, '\xFF') + '\x07';
    ExpectRefused(Form(1, 1, 1, {0xFC}) + most);
    EXPECT_TRUE(CKZStatDistribution().Decode(Form(1, 1, 1, {0xF8}) + most));
    ExpectRefused(Form(1, 1.01, 2, {0xF8}) + most + Bytes({0}));
    // A gap that would lead around.
    ExpectRefused(Form(1, 1.01, 2, {0, 3}) + ones + Bytes({1}));
    // More buckets than there are.
    ExpectRefused(Bytes({1, 0}) + ones + Bytes({1}) + LittleEndian(1) + LittleEndian(1) + '\0');
}

TEST(DistributionForm, IsTheOnlyOneOfItsDistribution) {
    const std::string form = EncodedOf(DistributionOf({1, 1.5, -7, 1e9, kNaN, 0, 1e9}));
    for (std::size_t at = 0; at < form.size(); ++at)
        for (int byte = 0; byte < 256; ++byte) {
            std::string changed = form;
            changed[at] = static_cast<char>(byte);
            CKZStatDistribution distribution;
            if (!distribution.Decode(changed)) continue;
            ASSERT_EQ(EncodedOf(distribution), changed);
        }
}

TEST(DistributionForm, TakesNoMoreMemoryThanItIsWorth) {
    CKZStatDistribution spread;
    for (int exponent = -1000; exponent < 1000; ++exponent) spread.Add(std::ldexp(1, exponent));
    for (int i = 0; i < 34; ++i) {
        const std::string form = EncodedOf(spread);
        CKZStatDistribution decoded;
        ASSERT_TRUE(decoded.Decode(form));
        EXPECT_LE(decoded.GetMemorySize(), 256 * form.size());
        spread.Add(spread);
    }
    EXPECT_LE(DistributionOf({1}).GetMemorySize(), 256 * EncodedOf(DistributionOf({1})).size());
}

}  // namespace
