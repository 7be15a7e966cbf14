#include "terminal/bytes.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using kzterminal::ReadableBytes;

TEST(Bytes, HaveThreeDigitsAndAUnit) {
    EXPECT_EQ("0 B", ReadableBytes(0));
    EXPECT_EQ("1.50 B", ReadableBytes(1.5));
    EXPECT_EQ("999 B", ReadableBytes(999));
    EXPECT_EQ("1 kB", ReadableBytes(1000));
    EXPECT_EQ("1.23 kB", ReadableBytes(1234));
    EXPECT_EQ("12.3 kB", ReadableBytes(12345));
    EXPECT_EQ("123 MB", ReadableBytes(123456789));
    EXPECT_EQ("-2.50 GB", ReadableBytes(-2.5e9));
    EXPECT_EQ("5000 EB", ReadableBytes(5e21));
}

TEST(Bytes, ChangeTheUnitWhereRoundingWouldGiveAFourthDigit) {
    EXPECT_EQ("999 kB", ReadableBytes(999499));
    EXPECT_EQ("1.00 MB", ReadableBytes(999600));
    EXPECT_EQ("10.0 kB", ReadableBytes(9996));
    EXPECT_EQ("100 kB", ReadableBytes(99960));
}

TEST(Bytes, HaveNoUnitWhereTheyAreNoAmount) {
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ("inf", ReadableBytes(infinity));
}

}  // namespace
