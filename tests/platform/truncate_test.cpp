#include "ryp/truncate.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kTwoTo63 = 9223372036854775808.0;

/// Converts at run time: the compiler folds constants by rules of its own.
template <class Integer>
Integer Truncated(double value) {
    const volatile double atRunTime = value;
    return RyPTruncate<Integer>(atRunTime);
}

TEST(Truncate, CutsFractionsTowardZero) {
    EXPECT_EQ(Truncated<int>(2.999), 2);
    EXPECT_EQ(Truncated<int>(0.999), 0);
    EXPECT_EQ(Truncated<int>(-0.999), 0);
    EXPECT_EQ(Truncated<int>(-2.999), -2);
}

TEST(Truncate, KeepsWholeNumbers) {
    EXPECT_EQ(Truncated<int>(-0.0), 0);
    EXPECT_EQ(Truncated<int>(123456.0), 123456);
    EXPECT_EQ(Truncated<long long>(-9007199254740992.0), -9007199254740992LL);
}

TEST(Truncate, MakesZeroOfNaN) {
    EXPECT_EQ(Truncated<int>(kNaN), 0);
    EXPECT_EQ(Truncated<long long>(-kNaN), 0);
    EXPECT_EQ(Truncated<unsigned>(kNaN), 0U);
}

TEST(Truncate, TakesInfinitiesToTheEndsOfTheRange) {
    EXPECT_EQ(Truncated<int>(kInfinity), INT_MAX);
    EXPECT_EQ(Truncated<int>(-kInfinity), INT_MIN);
    EXPECT_EQ(Truncated<long long>(kInfinity), LLONG_MAX);
    EXPECT_EQ(Truncated<long long>(-kInfinity), LLONG_MIN);
}

TEST(Truncate, KeepsIntsJustInsideTheRange) {
    EXPECT_EQ(Truncated<int>(2147483646.0), INT_MAX - 1);
    EXPECT_EQ(Truncated<int>(2147483646.9), INT_MAX - 1);
    EXPECT_EQ(Truncated<int>(2147483647.0), INT_MAX);
    EXPECT_EQ(Truncated<int>(-2147483647.0), INT_MIN + 1);
    EXPECT_EQ(Truncated<int>(-2147483648.0), INT_MIN);
}

TEST(Truncate, TakesIntsJustOutsideTheRangeToItsEnds) {
    EXPECT_EQ(Truncated<int>(2147483647.5), INT_MAX);
    EXPECT_EQ(Truncated<int>(2147483648.0), INT_MAX);
    EXPECT_EQ(Truncated<int>(-2147483648.5), INT_MIN);
    EXPECT_EQ(Truncated<int>(-2147483649.0), INT_MIN);
}

TEST(Truncate, KeepsLongLongsJustInsideTheRange) {
    EXPECT_EQ(Truncated<long long>(std::nextafter(kTwoTo63, 0.0)), LLONG_MAX - 1023);
    EXPECT_EQ(Truncated<long long>(std::nextafter(-kTwoTo63, 0.0)), LLONG_MIN + 1024);
    EXPECT_EQ(Truncated<long long>(-kTwoTo63), LLONG_MIN);
}

TEST(Truncate, TakesLongLongsJustOutsideTheRangeToItsEnds) {
    EXPECT_EQ(Truncated<long long>(kTwoTo63), LLONG_MAX);
    EXPECT_EQ(Truncated<long long>(std::nextafter(-kTwoTo63, -kInfinity)), LLONG_MIN);
    EXPECT_EQ(Truncated<long long>(1e300), LLONG_MAX);
    EXPECT_EQ(Truncated<long long>(-1e300), LLONG_MIN);
}

TEST(Truncate, TakesNegativesToZeroForUnsigned) {
    EXPECT_EQ(Truncated<unsigned>(-0.5), 0U);
    EXPECT_EQ(Truncated<unsigned>(-1.0), 0U);
    EXPECT_EQ(Truncated<unsigned long long>(-kInfinity), 0ULL);
}

TEST(Truncate, TakesLargeUnsignedToTheUpperEnd) {
    EXPECT_EQ(Truncated<unsigned>(4294967294.5), UINT_MAX - 1);
    EXPECT_EQ(Truncated<unsigned>(4294967295.0), UINT_MAX);
    EXPECT_EQ(Truncated<unsigned>(4294967296.0), UINT_MAX);
    EXPECT_EQ(Truncated<unsigned long long>(2 * kTwoTo63), ULLONG_MAX);
}

TEST(Truncate, ServesNarrowIntegers) {
    EXPECT_EQ(Truncated<std::int8_t>(127.9), 127);
    EXPECT_EQ(Truncated<std::int8_t>(-200.0), -128);
    EXPECT_EQ(Truncated<std::uint16_t>(70000.0), 65535);
}

TEST(Truncate, IsThereAtCompileTime) {
    static_assert(RyPTruncate<int>(1e10) == INT_MAX);
    constexpr int cut = RyPTruncate<int>(-7.5);
    EXPECT_EQ(cut, -7);
}

}  // namespace
