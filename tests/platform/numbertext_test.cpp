#include "ryp/numbertext.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <thread>

#include "rw/cstring.h"
#include "support/decimal_comma_locale.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::string TextOf(double value, int precision) {
    RWCString text = "before";
    RyPDoubleToString(value, text, precision);
    return {text.data(), text.length()};
}

std::string TextOf(long long value) {
    RWCString text = "before";
    RyPIntToString(value, text);
    return {text.data(), text.length()};
}

/// The same by the C library, which rounds correctly too. Under the "C" locale only.
std::string Printed(double value, int precision) {
    char buffer[1024];
    std::snprintf(buffer, sizeof buffer, "%.*f", precision, value);
    return buffer;
}

TEST(DoubleToString, WritesExactlyTheDecimalsAskedFor) {
    EXPECT_EQ(TextOf(3.14159, 0), "3");
    EXPECT_EQ(TextOf(3.14159, 1), "3.1");
    EXPECT_EQ(TextOf(3.14159, 3), "3.142");
    EXPECT_EQ(TextOf(3.25, 6), "3.250000");
    EXPECT_EQ(TextOf(-2.0, 2), "-2.00");
}

TEST(DoubleToString, TakesANegativePrecisionForZero) {
    EXPECT_EQ(TextOf(3.75, -1), "4");
    EXPECT_EQ(TextOf(3.75, INT_MIN), "4");
}

TEST(DoubleToString, RoundsTiesToEven) {
    EXPECT_EQ(TextOf(0.5, 0), "0");
    EXPECT_EQ(TextOf(1.5, 0), "2");
    EXPECT_EQ(TextOf(2.5, 0), "2");
    EXPECT_EQ(TextOf(0.125, 2), "0.12");
    EXPECT_EQ(TextOf(0.375, 2), "0.38");
}

TEST(DoubleToString, RoundsByTheExactValueAndNotByItsShortestDecimals) {
    EXPECT_EQ(TextOf(0.0005, 3), "0.001");  // the double lies above 0.0005
    EXPECT_EQ(TextOf(1.0005, 3), "1.000");  // and this one below 1.0005
    EXPECT_EQ(TextOf(0.00049999, 3), "0.000");
    EXPECT_EQ(TextOf(0.9995, 3), Printed(0.9995, 3));
    EXPECT_EQ(TextOf(1e23, 0), "99999999999999991611392");
}

TEST(DoubleToString, CarriesIntoTheWholePart) {
    EXPECT_EQ(TextOf(9.9999, 3), "10.000");
    EXPECT_EQ(TextOf(-0.9999, 2), "-1.00");
}

TEST(DoubleToString, KeepsTheSignOfZero) {
    EXPECT_EQ(TextOf(0.0, 2), "0.00");
    EXPECT_EQ(TextOf(-0.0, 2), "-0.00");
    EXPECT_EQ(TextOf(-0.001, 2), "-0.00");
}

TEST(DoubleToString, WritesTheEndsOfTheRangeInFull) {
    for (const double value : {DBL_MAX, -DBL_MAX, DBL_MIN,
                               std::numeric_limits<double>::denorm_min(), 1e308, -1e308, 1e-308})
        for (const int precision : {0, 1, 6, 20, 64, 65, 300, 700})
            EXPECT_EQ(TextOf(value, precision), Printed(value, precision));
}

TEST(DoubleToString, WritesThousandsOfDecimals) {
    EXPECT_EQ(TextOf(0.5, 5000), "0.5" + std::string(4999, '0'));
}

TEST(DoubleToString, NamesWhatIsNoNumber) {
    EXPECT_EQ(TextOf(kNaN, 3), "nan");
    EXPECT_EQ(TextOf(std::copysign(kNaN, -1.0), 3), "nan");
    EXPECT_EQ(TextOf(kInfinity, 3), "inf");
    EXPECT_EQ(TextOf(-kInfinity, 3), "-inf");
    EXPECT_EQ(TextOf(-kInfinity, 300), "-inf");
}

TEST(DoubleToString, AgreesWithTheCLibraryOnRandomBitPatterns) {
    std::mt19937_64 random(20240611);
    for (int i = 0; i < 2000; ++i) {
        const std::uint64_t bits = random();
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        if (!std::isfinite(value)) continue;
        for (int precision = 0; precision <= 20; ++precision)
            ASSERT_EQ(TextOf(value, precision), Printed(value, precision)) << "pattern " << bits;
        ASSERT_EQ(TextOf(value, 300), Printed(value, 300)) << "pattern " << bits;
    }
}

TEST(DoubleToString, AgreesWithTheCLibraryOnRandomSubnormals) {
    std::mt19937_64 random(7);
    for (int i = 0; i < 200; ++i) {
        const std::uint64_t bits = random() >> 12;  // exponent 0
        double value = 0;
        std::memcpy(&value, &bits, sizeof value);
        for (const int precision : {0, 17, 300, 330})
            ASSERT_EQ(TextOf(value, precision), Printed(value, precision)) << "pattern " << bits;
    }
}

TEST(DoubleToString, AgreesWithTheCLibraryOnRandomTimings) {
    std::mt19937 random(99);
    for (int i = 0; i < 2000; ++i) {
        const double value = static_cast<double>(random()) / 1e4;
        for (int precision = 0; precision <= 20; ++precision)
            ASSERT_EQ(TextOf(value, precision), Printed(value, precision));
    }
}

/// Values around the multiples of a half of the last decimal, where rounding turns.
TEST(DoubleToString, AgreesWithTheCLibraryWhereRoundingTurns) {
    std::mt19937_64 random(5);
    for (int i = 0; i < 5000; ++i) {
        const int digits = static_cast<int>(random() % 16);
        const double half = static_cast<double>(random() % 100000) * 0.0005;
        const double near = half * std::pow(10.0, digits);
        for (const double value :
             {std::nextafter(near, 0.0), near, std::nextafter(near, kInfinity)})
            for (int precision = 0; precision <= 4; ++precision)
                ASSERT_EQ(TextOf(value, precision), Printed(value, precision));
    }
}

TEST(DoubleToString, AgreesWithTheCLibraryAtEveryPowerOfTwo) {
    for (int exponent = -80; exponent <= 80; ++exponent) {
        const double power = std::ldexp(1.0, exponent);
        for (const double value : {power, -power, power * 1.5, std::nextafter(power, 0.0)})
            for (int precision = 0; precision <= 4; ++precision)
                ASSERT_EQ(TextOf(value, precision), Printed(value, precision)) << "2^" << exponent;
    }
}

TEST(DoubleToString, WritesAPointUnderADecimalCommaLocale) {
    const DecimalCommaLocale locale;
    ASSERT_TRUE(locale.IsInForce()) << locale.Problem();
    EXPECT_EQ(Printed(0.5, 1), "0,5");
    EXPECT_EQ(TextOf(1234567.25, 2), "1234567.25");
    EXPECT_EQ(TextOf(-0.001, 3), "-0.001");
    EXPECT_EQ(TextOf(kNaN, 3), "nan");
    EXPECT_EQ(TextOf(1234567LL), "1234567");
}

TEST(IntToString, WritesDecimals) {
    EXPECT_EQ(TextOf(0LL), "0");
    EXPECT_EQ(TextOf(42LL), "42");
    EXPECT_EQ(TextOf(-1LL), "-1");
}

TEST(IntToString, WritesTheEndsOfTheRange) {
    EXPECT_EQ(TextOf(LLONG_MAX), "9223372036854775807");
    EXPECT_EQ(TextOf(LLONG_MIN), "-9223372036854775808");
}

TEST(StringToDouble, ReadsNumbers) {
    EXPECT_EQ(RyPStringToDouble("0.25"), 0.25);
    EXPECT_EQ(RyPStringToDouble("-17"), -17.0);
    EXPECT_EQ(RyPStringToDouble("+1.5e3"), 1500.0);
    EXPECT_EQ(RyPStringToDouble(".5"), 0.5);
}

TEST(StringToDouble, SkipsLeadingBlanks) {
    EXPECT_EQ(RyPStringToDouble(" \t\n 2.5"), 2.5);
}

TEST(StringToDouble, IgnoresWhatFollowsTheNumber) {
    EXPECT_EQ(RyPStringToDouble("2.5 seconds"), 2.5);
    EXPECT_EQ(RyPStringToDouble("2,5"), 2.0);
    EXPECT_EQ(RyPStringToDouble("1e"), 1.0);
}

TEST(StringToDouble, MakesZeroOfTextWithoutANumber) {
    EXPECT_EQ(RyPStringToDouble(""), 0.0);
    EXPECT_EQ(RyPStringToDouble("   "), 0.0);
    EXPECT_EQ(RyPStringToDouble("seconds"), 0.0);
    EXPECT_EQ(RyPStringToDouble("-"), 0.0);
    EXPECT_EQ(RyPStringToDouble(","), 0.0);
}

TEST(StringToDouble, ReadsHexadecimals) {
    EXPECT_EQ(RyPStringToDouble("0x10"), 16.0);
    EXPECT_EQ(RyPStringToDouble("0x1.8p1"), 3.0);
}

TEST(StringToDouble, ReadsNamesOfWhatIsNoNumber) {
    EXPECT_TRUE(std::isnan(RyPStringToDouble("nan")));
    EXPECT_EQ(RyPStringToDouble("inf"), kInfinity);
    EXPECT_EQ(RyPStringToDouble("-infinity"), -kInfinity);
}

TEST(StringToDouble, TakesWhatIsTooLargeForInfinityAndWhatIsTooSmallForZero) {
    EXPECT_EQ(RyPStringToDouble("1e999"), kInfinity);
    EXPECT_EQ(RyPStringToDouble("-1e999"), -kInfinity);
    EXPECT_EQ(RyPStringToDouble("1e-999"), 0.0);
}

TEST(StringToDouble, ReadsAPointUnderADecimalCommaLocale) {
    const DecimalCommaLocale locale;
    ASSERT_TRUE(locale.IsInForce()) << locale.Problem();
    EXPECT_EQ(std::strtod("0,5", nullptr), 0.5);
    EXPECT_EQ(RyPStringToDouble("0.25"), 0.25);
    EXPECT_EQ(RyPStringToDouble("0,25"), 0.0);
    EXPECT_EQ(RyPStringToDouble("1.234,5"), 1.234);
}

TEST(StringToDouble, ReadsBackWhatWasWritten) {
    std::mt19937_64 random(3);
    for (int i = 0; i < 500; ++i) {
        const double value = static_cast<double>(random() >> 11) / 1e9;
        ASSERT_EQ(RyPStringToDouble(TextOf(value, 30).c_str()), value);
    }
}

TEST(NumberText, ServesTwoThreadsAtOnce) {
    const auto roundTrips = [](long long first, int& right) {
        for (long long i = first; i < first + 500; ++i) {
            const double value = static_cast<double>(i) + 0.5;
            if (RyPStringToDouble(TextOf(value, 1).c_str()) == value &&
                TextOf(i) == std::to_string(i))
                ++right;
        }
    };
    int right[2] = {0, 0};
    std::thread other(roundTrips, 0, std::ref(right[0]));
    roundTrips(1000000, right[1]);
    other.join();
    EXPECT_EQ(right[0], 500);
    EXPECT_EQ(right[1], 500);
}

}  // namespace
