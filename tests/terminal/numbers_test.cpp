#include "terminal/numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace {

TEST(ReadableNumber, HasAsManyDecimalsAsItsSizeDeserves) {
    EXPECT_EQ("0", kzterminal::ReadableNumber(0));
    EXPECT_EQ("1454", kzterminal::ReadableNumber(1454));
    EXPECT_EQ("0.250", kzterminal::ReadableNumber(0.25));
    EXPECT_EQ("-6.44", kzterminal::ReadableNumber(-6.4412));
    EXPECT_EQ("789.4", kzterminal::ReadableNumber(789.41));
    EXPECT_EQ("12346", kzterminal::ReadableNumber(12345.678));
    EXPECT_EQ("1.000e+18", kzterminal::ReadableNumber(1e18));
    EXPECT_EQ("nan", kzterminal::ReadableNumber(std::nan("")));
}

TEST(ReadableNumber, HasTwoDigitsHoweverSmallItIs) {
    EXPECT_EQ("0.012", kzterminal::ReadableNumber(0.01234));
    EXPECT_EQ("0.0012", kzterminal::ReadableNumber(0.001234));
    EXPECT_EQ("-0.00012", kzterminal::ReadableNumber(-0.0001234));
    EXPECT_EQ("0.0000012", kzterminal::ReadableNumber(1.234e-6));
    EXPECT_EQ("1.234e-07", kzterminal::ReadableNumber(1.234e-7));
    EXPECT_EQ("1.000e-300", kzterminal::ReadableNumber(1e-300));
}

TEST(ExactNumber, ReadsBackToTheSameDouble) {
    for (const double value : {0.1, 1.0 / 3, 1e15 / 7, 5e-324, -2.5, 1e300})
        EXPECT_EQ(value, std::strtod(kzterminal::ExactNumber(value).c_str(), nullptr));
    EXPECT_EQ("0.1", kzterminal::ExactNumber(0.1));
}

TEST(TimeOfRun, IsToATenthOfASecond) {
    EXPECT_EQ("0:00", kzterminal::TimeOfRun(0.04));
    EXPECT_EQ("0:30.5", kzterminal::TimeOfRun(30.46));
    EXPECT_EQ("1:00", kzterminal::TimeOfRun(59.96));
    EXPECT_EQ("10:09", kzterminal::TimeOfRun(609));
    EXPECT_EQ("1:02:03", kzterminal::TimeOfRun(3723));
    EXPECT_EQ("-0:00.5", kzterminal::TimeOfRun(-0.5));
}

}  // namespace
