#include "text/numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

namespace {

TEST(ReadableNumber, HasAsManyDecimalsAsItsSizeDeserves) {
    EXPECT_EQ("0", kzstatprogram::ReadableNumber(0));
    EXPECT_EQ("1454", kzstatprogram::ReadableNumber(1454));
    EXPECT_EQ("0.250", kzstatprogram::ReadableNumber(0.25));
    EXPECT_EQ("-6.44", kzstatprogram::ReadableNumber(-6.4412));
    EXPECT_EQ("789.4", kzstatprogram::ReadableNumber(789.41));
    EXPECT_EQ("12346", kzstatprogram::ReadableNumber(12345.678));
    EXPECT_EQ("1.000e+18", kzstatprogram::ReadableNumber(1e18));
    EXPECT_EQ("nan", kzstatprogram::ReadableNumber(std::nan("")));
}

TEST(ReadableNumber, HasTwoDigitsHoweverSmallItIs) {
    EXPECT_EQ("0.012", kzstatprogram::ReadableNumber(0.01234));
    EXPECT_EQ("0.0012", kzstatprogram::ReadableNumber(0.001234));
    EXPECT_EQ("-0.00012", kzstatprogram::ReadableNumber(-0.0001234));
    EXPECT_EQ("0.0000012", kzstatprogram::ReadableNumber(1.234e-6));
    EXPECT_EQ("1.234e-07", kzstatprogram::ReadableNumber(1.234e-7));
    EXPECT_EQ("1.000e-300", kzstatprogram::ReadableNumber(1e-300));
}

TEST(ExactNumber, ReadsBackToTheSameDouble) {
    for (const double value : {0.1, 1.0 / 3, 1e15 / 7, 5e-324, -2.5, 1e300})
        EXPECT_EQ(value, std::strtod(kzstatprogram::ExactNumber(value).c_str(), nullptr));
    EXPECT_EQ("0.1", kzstatprogram::ExactNumber(0.1));
}

}  // namespace
