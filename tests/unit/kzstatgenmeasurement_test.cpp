#include "kzstatgenmeasurement.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "rw/cstring.h"
#include "support/capturing_log.h"
#include "support/decimal_comma_locale.h"
#include "support/fields.h"
#include "support/quietening_log.h"

namespace {

using Types = CKZStatPointTypeEnum;
using Texts = std::vector<std::string>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr int kLargestInt = std::numeric_limits<int>::max();

const std::string kRule = " ----------------- \t";
/// Minimum, maximum, count, sum, sum of squares and average of no value at all.
const std::string kEmptyPart = "-1.000|-1.000|0|0.000|0.000|-1.000|";
/// The same of a single 5.
const std::string kFivePart = "5.000|5.000|1|5.000|25.000|5.000|";

static_assert(sizeof(AddType) == 4 && std::is_convertible_v<AddType, int>);
static_assert(AddForDump == 0 && AddFromSlice == 1);
static_assert(!std::is_default_constructible_v<CKZStatGenMeasurement>);
static_assert(std::is_convertible_v<CKZStatGenMeasurement*, RWCollectable*>);

std::string DumpOf(CKZStatGenMeasurement& measurement, const char* name = "n") {
    RWCString text;
    measurement.AppendDump(text, name);
    return BytesOf(text);
}

std::string LastsDumpOf(CKZStatGenMeasurement& measurement, const char* name = "n") {
    RWCString text;
    measurement.DumpLasts(text, name);
    return BytesOf(text);
}

std::string PrintOf(CKZStatGenMeasurement& measurement) {
    testing::internal::CaptureStdout();
    measurement.Print();
    return testing::internal::GetCapturedStdout();
}

/// The dump of a timer "n" with these six fields of the totals and of the lasts.
std::string TimerDump(const std::string& totals, const std::string& lasts) {
    return Fields("n|2|" + totals + lasts);
}

/// A timer, and shorter forms of the calls with many arguments.
class Measurement : public testing::Test {
protected:
    void AddLast(const std::vector<double>& values) {
        for (const double value : values) measurement.AddLast(value);
    }

    struct Part {
        double minimum, maximum;
        int count;
        double sum, sumSqr;
    };
    static constexpr Part kNone = {-1, -1, 0, 0, 0};

    void Add(const Part& totals, const Part& lasts, AddType addType = AddForDump) {
        measurement.AddValues(totals.minimum, totals.maximum, totals.count, totals.sum,
                              totals.sumSqr, lasts.minimum, lasts.maximum, lasts.count, lasts.sum,
                              lasts.sumSqr, addType);
    }

    void Set(const Part& totals, const Part& lasts, Types::PointType type = Types::Timer) {
        measurement.SetValues(totals.minimum, totals.maximum, totals.count, totals.sum,
                              totals.sumSqr, lasts.minimum, lasts.maximum, lasts.count, lasts.sum,
                              lasts.sumSqr, type);
    }

    CKZStatGenMeasurement measurement{Types::Timer};
};

// ------------------------------------------------------------------------- empty and emptied

TEST_F(Measurement, IsEmptyAtFirst) {
    EXPECT_EQ(DumpOf(measurement), TimerDump(kEmptyPart, kEmptyPart));
}

TEST_F(Measurement, HasEmptyLastsAtFirst) {
    EXPECT_TRUE(measurement.IsResetLasts());
}

TEST_F(Measurement, IsEmptyAgainAfterReset) {
    AddLast({5, 6});
    measurement.Reset();
    EXPECT_EQ(DumpOf(measurement), TimerDump(kEmptyPart, kEmptyPart));
    EXPECT_TRUE(measurement.IsResetLasts());
}

TEST_F(Measurement, KeepsItsTypeWhenReset) {
    Set({1, 1, 1, 1, 1}, kNone, Types::LoadSize);
    measurement.Reset();
    EXPECT_EQ(DumpOf(measurement), Fields("n|16|" + kEmptyPart + kEmptyPart));
}

TEST_F(Measurement, KeepsTotalsAndTypeWhenItsLastsAreReset) {
    AddLast({5});
    measurement.ResetLasts();
    EXPECT_EQ(DumpOf(measurement), TimerDump("5.000|5.000|1|5.000|25.000|5.000|", kEmptyPart));
}

TEST_F(Measurement, CountsItsLastsAnewAfterTheirReset) {
    AddLast({5});
    measurement.ResetLasts();
    AddLast({7});
    EXPECT_EQ(DumpOf(measurement),
              TimerDump("5.000|7.000|2|12.000|74.000|6.000|", "7.000|7.000|1|7.000|49.000|7.000|"));
}

TEST_F(Measurement, HasNoEmptyLastsAfterAnyValue) {
    for (const double value : {5.0, -1.0, 0.0, -0.0, kNaN}) {
        measurement.Reset();
        measurement.AddLast(value);
        EXPECT_FALSE(measurement.IsResetLasts()) << value;
    }
}

TEST_F(Measurement, HasEmptyLastsAfterTheirReset) {
    AddLast({5});
    measurement.ResetLasts();
    EXPECT_TRUE(measurement.IsResetLasts());
}

TEST_F(Measurement, HasEmptyLastsWhateverItsTotals) {
    Set({1, 5, 3, 9, 35}, kNone);
    EXPECT_TRUE(measurement.IsResetLasts());
}

TEST_F(Measurement, HasNoEmptyLastsWhenOneOfTheFiveIsSet) {
    const Part oneSet[] = {{0, -1, 0, 0, 0},    {-1, 0, 0, 0, 0},     {-1, -1, 1, 0, 0},
                           {-1, -1, 0, 1, 0},   {-1, -1, 0, 0, 1},    {kNaN, -1, 0, 0, 0},
                           {-1, kNaN, 0, 0, 0}, {-1, -1, 0, kNaN, 0}, {-1, -1, 0, 0, kNaN}};
    for (const Part& lasts : oneSet) {
        Set(kNone, lasts);
        EXPECT_FALSE(measurement.IsResetLasts()) << &lasts - oneSet;
    }
}

TEST_F(Measurement, TakesNegativeZeroSumsForEmptyOnes) {
    Set(kNone, {-1, -1, 0, -0.0, -0.0});
    EXPECT_TRUE(measurement.IsResetLasts());
}

// ------------------------------------------------------------------------------ single values

TEST_F(Measurement, TakesItsFirstValueAsMinimumAndMaximum) {
    AddLast({5});
    const std::string part = "5.000|5.000|1|5.000|25.000|5.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, AggregatesSeveralValues) {
    AddLast({3, 1.5, 6});
    const std::string part = "1.500|6.000|3|10.500|47.250|3.500|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, AggregatesZero) {
    AddLast({0});
    const std::string part = "0.000|0.000|1|0.000|0.000|0.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, AggregatesNegativeValues) {
    AddLast({-3, -5});
    const std::string part = "-5.000|-3.000|2|-8.000|34.000|-4.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, TakesMinusOneForNoValueYet) {
    AddLast({-1});
    const std::string minusOne = "-1.000|-1.000|1|-1.000|1.000|-1.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(minusOne, minusOne));
    AddLast({7});
    const std::string seven = "7.000|7.000|2|6.000|50.000|3.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(seven, seven));
}

TEST_F(Measurement, ReplacesAMaximumOfMinusOneByALowerValue) {
    AddLast({-1, -5});
    const std::string part = "-5.000|-5.000|2|-6.000|26.000|-3.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, ReplacesAMinimumOfMinusOneThatCameLater) {
    AddLast({7, -1, 3});
    const std::string part = "3.000|7.000|3|9.000|59.000|3.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, KeepsExtremesThatOnlyLieNearMinusOne) {
    AddLast({-1.5, -0.5, 2});
    const std::string part = "-1.500|2.000|3|0.000|6.500|0.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, KeepsItsExtremesWhenNaNComes) {
    AddLast({5, kNaN});
    const std::string part = "5.000|5.000|2|nan|nan|nan|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, NeverLeavesNaNExtremesOfItsFirstValue) {
    AddLast({kNaN, 5});
    const std::string part = "nan|nan|2|nan|nan|nan|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, KeepsTheSignOfAZeroExtreme) {
    AddLast({-0.0, 0.0});
    const std::string part = "-0.000|-0.000|2|0.000|0.000|0.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, WritesEveryDigitOfAVeryLargeValue) {
    AddLast({1e308});
    char digits[400];
    std::snprintf(digits, sizeof digits, "%.3f|", 1e308);
    const std::string large = digits;
    const std::string part = large + large + "1|" + large + "inf|" + large;
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, OverflowsItsSumToInfinity) {
    AddLast({-1e308, -1e308});
    char digits[400];
    std::snprintf(digits, sizeof digits, "%.3f|", -1e308);
    const std::string large = digits;
    const std::string part = large + large + "2|-inf|inf|-inf|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, HoldsBothEndsOfTheRangeOfDoubles) {
    AddLast({-1e308, 1e308});
    EXPECT_EQ(PrintOf(measurement),
              " Type 2 minimum = -1e+308 maximum = 1e+308 count = 2 sum = 0\n"
              "lasts: minimum = -1e+308 maximum = 1e+308 count = 2 sum = 0\n");
}

TEST_F(Measurement, AggregatesInfinities) {
    AddLast({kInfinity, -kInfinity});
    const std::string part = "-inf|inf|2|nan|inf|nan|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST(MeasurementOfAnyType, AggregatesAlike) {
    for (const int type : {0, 1, 2, 4, 8, 16, 32, 64, 128, 256, 512, 1024, 2048}) {
        CKZStatGenMeasurement measurement(static_cast<Types::PointType>(type));
        measurement.AddLast(5);
        EXPECT_EQ(DumpOf(measurement), Fields("n|" + std::to_string(type) +
                                              "|5.000|5.000|1|5.000|25.000|5.000"
                                              "|5.000|5.000|1|5.000|25.000|5.000|"));
    }
}

// --------------------------------------------------------------------------------- aggregates

TEST_F(Measurement, TakesAggregatesWhenItIsEmpty) {
    Add({2, 4, 3, 9, 29}, {3, 4, 2, 7, 25});
    EXPECT_EQ(DumpOf(measurement),
              TimerDump("2.000|4.000|3|9.000|29.000|3.000|", "3.000|4.000|2|7.000|25.000|3.500|"));
}

TEST_F(Measurement, AddsAggregatesToItsOwn) {
    AddLast({3});
    Add({1, 8, 2, 9, 65}, {8, 8, 1, 8, 64});
    EXPECT_EQ(DumpOf(measurement), TimerDump("1.000|8.000|3|12.000|74.000|4.000|",
                                             "3.000|8.000|2|11.000|73.000|5.500|"));
}

TEST_F(Measurement, KeepsItsExtremesWhenTheAddedOnesLieInside) {
    AddLast({1, 9});
    Add({2, 8, 2, 10, 68}, {2, 8, 2, 10, 68});
    const std::string part = "1.000|9.000|4|20.000|150.000|5.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, AddsNothingWhereTheCountIsZeroDespiteALastsCount) {
    AddLast({5});
    const std::string before = DumpOf(measurement);
    Add({1, 9, 0, 100, 1000}, {1, 9, 4, 20, 120});
    EXPECT_EQ(DumpOf(measurement), before);
}

TEST_F(Measurement, StaysEmptyWhereTheCountIsZeroDespiteALastsCount) {
    Add({1, 9, 0, 100, 1000}, {1, 9, 4, 20, 120});
    EXPECT_EQ(DumpOf(measurement), TimerDump(kEmptyPart, kEmptyPart));
}

TEST_F(Measurement, LeavesTheLastsAloneWhereTheLastsCountIsZero) {
    Add({2, 4, 3, 9, 29}, {1, 9, 0, 100, 1000});
    EXPECT_EQ(DumpOf(measurement), TimerDump("2.000|4.000|3|9.000|29.000|3.000|", kEmptyPart));
    EXPECT_TRUE(measurement.IsResetLasts());
}

TEST_F(Measurement, LeavesFilledLastsAloneWhereTheLastsCountIsZero) {
    AddLast({3});
    Add({2, 4, 3, 9, 29}, {1, 9, 0, 100, 1000});
    EXPECT_EQ(DumpOf(measurement),
              TimerDump("2.000|4.000|4|12.000|38.000|3.000|", "3.000|3.000|1|3.000|9.000|3.000|"));
}

TEST_F(Measurement, DoesNotFillAnEmptyMaximumWithAnAggregateBelowTheMark) {
    Add({-5, -4, 2, -9, 41}, {-5, -4, 2, -9, 41});
    const std::string part = "-5.000|-1.000|2|-9.000|41.000|-4.500|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, FillsAnEmptyMaximumWithAnAggregateJustAboveTheMark) {
    Add({-0.5, -0.5, 1, -0.5, 0.25}, {-0.5, -0.5, 1, -0.5, 0.25});
    const std::string part = "-0.500|-0.500|1|-0.500|0.250|-0.500|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, ReplacesAMinimumOfMinusOneByAnyAddedOne) {
    AddLast({-1});
    Add({7, 8, 2, 15, 113}, {7, 8, 2, 15, 113});
    const std::string part = "7.000|8.000|3|14.000|114.000|4.667|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, TakesAnAddedMinimumOfMinusOneAsAValue) {
    AddLast({5});
    Add({-1, 5, 2, 4, 26}, {-1, 5, 2, 4, 26});
    const std::string part = "-1.000|5.000|3|9.000|51.000|3.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, KeepsItsExtremesWhenAddedOnesAreNaN) {
    AddLast({5});
    Add({kNaN, kNaN, 1, kNaN, kNaN}, {kNaN, kNaN, 1, kNaN, kNaN});
    const std::string part = "5.000|5.000|2|nan|nan|nan|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, AddsANegativeCount) {
    AddLast({5, 5});
    Add({5, 5, -1, -5, -25}, kNone);
    EXPECT_EQ(DumpOf(measurement),
              TimerDump("5.000|5.000|1|5.000|25.000|5.000|", "5.000|5.000|2|10.000|50.000|5.000|"));
}

TEST_F(Measurement, AddsAlikeForADumpAndFromASlice) {
    for (const AddType addType : {AddForDump, AddFromSlice, static_cast<AddType>(7)}) {
        measurement.Reset();
        AddLast({3});
        Add({-5, 8, 2, 3, 89}, {8, 8, 1, 8, 64}, addType);
        EXPECT_EQ(DumpOf(measurement), TimerDump("-5.000|8.000|3|6.000|98.000|2.000|",
                                                 "3.000|8.000|2|11.000|73.000|5.500|"))
            << addType;
    }
}

TEST_F(Measurement, AddsAnotherMeasurementAndLeavesItAsItWas) {
    CKZStatGenMeasurement source(Types::LoadSize);
    source.AddLast(8);
    const std::string before = DumpOf(source);
    AddLast({4});
    measurement.AddValues(source, AddFromSlice);
    const std::string part = "4.000|8.000|2|12.000|80.000|6.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
    EXPECT_EQ(DumpOf(source), before);
}

TEST_F(Measurement, AddsAnotherMeasurementWithoutLastsToItsTotalsOnly) {
    CKZStatGenMeasurement source(Types::Timer);
    source.AddLast(8);
    source.ResetLasts();
    measurement.AddValues(source, AddForDump);
    EXPECT_EQ(DumpOf(measurement), TimerDump("8.000|8.000|1|8.000|64.000|8.000|", kEmptyPart));
}

TEST_F(Measurement, AddsNothingOfAnEmptyMeasurement) {
    AddLast({4});
    const std::string before = DumpOf(measurement);
    measurement.AddValues(CKZStatGenMeasurement(Types::Timer), AddForDump);
    EXPECT_EQ(DumpOf(measurement), before);
}

TEST_F(Measurement, DoublesWhenItIsAddedToItself) {
    AddLast({2, 6});
    measurement.AddValues(measurement, AddForDump);
    const std::string part = "2.000|6.000|4|16.000|80.000|4.000|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
}

TEST_F(Measurement, WritesCountsPastTheRangeOfAnIntInWhole) {
    Set({1, 1, kLargestInt, 4, 4}, {1, 1, kLargestInt, 4, 4});
    CKZStatGenMeasurement merged(Types::Timer);
    for (int time = 0; time < 4; ++time) merged.AddValues(measurement, AddForDump);
    const std::string part = "1.000|1.000|8589934588|16.000|16.000|0.000|";
    EXPECT_EQ(DumpOf(merged), TimerDump(part, part));
    EXPECT_EQ(LastsDumpOf(merged), Fields("n|2|1.000|1.000|8589934588|16.000|16.000|"));
}

TEST_F(Measurement, HandsOnACountPastTheRangeOfAnIntInWhole) {
    Set({1, 1, kLargestInt, 4, 4}, kNone);
    Add({1, 1, kLargestInt, 4, 4}, kNone);
    CKZStatGenMeasurement merged(Types::Timer);
    merged.AddValues(measurement, AddForDump);
    EXPECT_EQ(DumpOf(merged), TimerDump("1.000|1.000|4294967294|8.000|8.000|0.000|", kEmptyPart));
}

// ---------------------------------------------------------------------------------- overwriting

TEST_F(Measurement, IsOverwrittenWithoutAnyComparison) {
    AddLast({1, 9});
    Set({7, 3, 2, 10, 58}, {6, 4, 1, 5, 25}, Types::Counter);
    EXPECT_EQ(DumpOf(measurement), Fields("n|4|7.000|3.000|2|10.000|58.000|5.000"
                                          "|6.000|4.000|1|5.000|25.000|5.000|"));
}

TEST_F(Measurement, IsOverwrittenEvenWithEmptyParts) {
    AddLast({1, 9});
    Set(kNone, kNone, Types::NotSet);
    EXPECT_EQ(DumpOf(measurement), Fields("n|0|" + kEmptyPart + kEmptyPart));
}

TEST_F(Measurement, TakesOverBothEndsOfTheRangeOfCounts) {
    Set({1, 1, kLargestInt, 4, 4}, {1, 1, std::numeric_limits<int>::min(), 4, 4});
    EXPECT_EQ(DumpOf(measurement), TimerDump("1.000|1.000|2147483647|4.000|4.000|0.000|",
                                             "1.000|1.000|-2147483648|4.000|4.000|-1.000|"));
}

TEST_F(Measurement, HasNoAverageWhereItsCountIsZeroOrBelow) {
    Set({1, 5, 0, 9, 35}, {1, 5, -2, 9, 35});
    EXPECT_EQ(DumpOf(measurement), TimerDump("1.000|5.000|0|9.000|35.000|-1.000|",
                                             "1.000|5.000|-2|9.000|35.000|-1.000|"));
}

// ---------------------------------------------------------------------------------------- dump

TEST_F(Measurement, EndsEveryFieldOfItsRecordWithOneByteTheLastOneToo) {
    AddLast({5});
    EXPECT_EQ(DumpOf(measurement),
              "n\x01"
              "2\x01"
              "5.000\x01"
              "5.000\x01"
              "1\x01"
              "5.000\x01"
              "25.000\x01"
              "5.000\x01"
              "5.000\x01"
              "5.000\x01"
              "1\x01"
              "5.000\x01"
              "25.000\x01"
              "5.000\x01");
}

TEST_F(Measurement, AppendsItsRecordToTheTextThatIsThere) {
    RWCString text("before");
    measurement.AppendDump(text, "n");
    EXPECT_EQ(BytesOf(text), "before" + TimerDump(kEmptyPart, kEmptyPart));
}

TEST_F(Measurement, WritesTheNameAsItIs) {
    const std::string values = "2|" + kEmptyPart + kEmptyPart;
    EXPECT_EQ(DumpOf(measurement, ""), Fields("|" + values));
    EXPECT_EQ(DumpOf(measurement, " a b\n%d"), " a b\n%d" + Fields("|" + values));
    EXPECT_EQ(DumpOf(measurement, "a\x01z\xff"), "a\x01z\xff" + Fields("|" + values));
}

TEST_F(Measurement, RoundsToThreeDecimals) {
    AddLast({2.0004, 2.0006});
    EXPECT_EQ(DumpOf(measurement).substr(0, 16), Fields("n|2|2.000|2.001|"));
}

TEST_F(Measurement, WritesADecimalPointUnderALocaleWithACommaToo) {
    const DecimalCommaLocale comma;
    ASSERT_TRUE(comma.IsInForce()) << comma.Problem();
    AddLast({2.5});
    const std::string part = "2.500|2.500|1|2.500|6.250|2.500|";
    EXPECT_EQ(DumpOf(measurement), TimerDump(part, part));
    EXPECT_EQ(LastsDumpOf(measurement), Fields("n|2|2.500|2.500|1|2.500|6.250|"));
}

TEST_F(Measurement, WritesLargeCountsWithoutGroupsUnderALocaleThatHasThem) {
    const DecimalCommaLocale comma;
    ASSERT_TRUE(comma.IsInForce()) << comma.Problem();
    Set({1000, 1000, 1234567, 1000, 1000}, kNone);
    EXPECT_EQ(DumpOf(measurement),
              TimerDump("1000.000|1000.000|1234567|1000.000|1000.000|0.001|", kEmptyPart));
}

TEST_F(Measurement, WritesATypePastTheTablesAsNotSet) {
    for (const int type : {4096, -1}) {
        Set(kNone, kNone, static_cast<Types::PointType>(type));
        EXPECT_EQ(DumpOf(measurement), Fields("n|0|" + kEmptyPart + kEmptyPart)) << type;
        EXPECT_EQ(LastsDumpOf(measurement), Fields("n|0|-1.000|-1.000|0|0.000|0.000|")) << type;
    }
}

TEST_F(Measurement, WritesATypeBetweenTwoBitsAsTheNearestOne) {
    Set(kNone, kNone, static_cast<Types::PointType>(3));
    EXPECT_EQ(DumpOf(measurement), Fields("n|4|" + kEmptyPart + kEmptyPart));
}

TEST_F(Measurement, WritesItsLastsWithoutAnAverage) {
    AddLast({5});
    measurement.ResetLasts();
    AddLast({2, 4});
    EXPECT_EQ(LastsDumpOf(measurement), Fields("n|2|2.000|4.000|2|6.000|20.000|"));
}

TEST_F(Measurement, WritesEmptyLasts) {
    AddLast({5});
    measurement.ResetLasts();
    EXPECT_EQ(LastsDumpOf(measurement), Fields("n|2|-1.000|-1.000|0|0.000|0.000|"));
}

TEST_F(Measurement, AppendsItsLastsToTheTextThatIsThere) {
    RWCString text("before");
    measurement.DumpLasts(text, "");
    EXPECT_EQ(BytesOf(text), "before" + Fields("|2|-1.000|-1.000|0|0.000|0.000|"));
}

// --------------------------------------------------------------------------------------- print

TEST_F(Measurement, PrintsItselfOnTwoLinesWithoutSumsOfSquares) {
    AddLast({0.5});
    measurement.ResetLasts();
    AddLast({2.25, 1});
    EXPECT_EQ(PrintOf(measurement),
              " Type 2 minimum = 0.5 maximum = 2.25 count = 3 sum = 3.75\n"
              "lasts: minimum = 1 maximum = 2.25 count = 2 sum = 3.25\n");
}

TEST_F(Measurement, PrintsEmptyValuesAsTheyAreHeld) {
    EXPECT_EQ(PrintOf(measurement),
              " Type 2 minimum = -1 maximum = -1 count = 0 sum = 0\n"
              "lasts: minimum = -1 maximum = -1 count = 0 sum = 0\n");
}

TEST_F(Measurement, PrintsItsTypeAsAnyIntegerThatItIs) {
    Set(kNone, kNone, static_cast<Types::PointType>(-4096));
    EXPECT_EQ(PrintOf(measurement).substr(0, 12), " Type -4096 ");
}

TEST_F(Measurement, PrintsDoublesAsTheStreamDoesByDefault) {
    Set({1234567, 0.123456789, kLargestInt, kNaN, 1}, {-0.0, kInfinity, 1, 1e6, 1});
    EXPECT_EQ(PrintOf(measurement),
              " Type 2 minimum = 1.23457e+06 maximum = 0.123457 count = 2.14748e+09 sum = nan\n"
              "lasts: minimum = -0 maximum = inf count = 1 sum = 1e+06\n");
}

TEST_F(Measurement, FlushesEachLineItPrints) {
    struct : std::stringbuf {
        int sync() override {
            flushed.push_back(str());
            return 0;
        }
        Texts flushed;
    } buffer;
    std::streambuf* const standardOutput = std::cout.rdbuf(&buffer);
    measurement.Print();
    std::cout.rdbuf(standardOutput);
    const std::string first = " Type 2 minimum = -1 maximum = -1 count = 0 sum = 0\n";
    EXPECT_EQ(buffer.flushed,
              (Texts{first, first + "lasts: minimum = -1 maximum = -1 count = 0 sum = 0\n"}));
}

// --------------------------------------------------------------------------------------- traces

TEST_F(Measurement, TracesASingleValueAroundTheTotals) {
    AddLast({2.5});
    CapturingLog log(RyPLogLevel::Trace);
    AddLast({-4.75});
    EXPECT_EQ(log.Texts(), (Texts{kRule, " CKZStatGenMeasurement::AddLast ( %d )\t-4\t",
                                  " tsum = %d    tsumSqr = %d\\n\t-2\t28\t", kRule}));
}

TEST_F(Measurement, TracesUnderTheLibrarysScopeAndItsOwnFile) {
    CapturingLog log(RyPLogLevel::Trace);
    AddLast({5});
    Add({1, 1, 1, 1, 1}, {1, 1, 1, 1, 1});
    Set(kNone, kNone);
    DumpOf(measurement);
    ASSERT_EQ(log.Records().size(), 4U + 4U + 5U + 5U);
    for (const CapturingLog::Record& record : log.Records()) {
        EXPECT_EQ(record.level, RyPLogLevel::Trace) << record.text;
        EXPECT_EQ(record.scope, "KZStatisticGenerator") << record.text;
        EXPECT_EQ(record.file, "kzstatgenmeasurement.cpp") << record.text;
    }
}

TEST_F(Measurement, TracesNumbersThatNoIntegerHolds) {
    CapturingLog log(RyPLogLevel::Trace);
    AddLast({kNaN});
    Add({1e308, 1e308, 1, 1e308, -1e308}, kNone);
    EXPECT_EQ(log.Texts()[1], " CKZStatGenMeasurement::AddLast ( %d )\t0\t");
    EXPECT_EQ(log.Texts()[5],
              " CKZStatGenMeasurement::AddValues (sum = %d  sSqr = %d)\\n"
              "\t9223372036854775807\t-9223372036854775808\t");
}

TEST_F(Measurement, TracesAddedAggregatesBeforeAndAfter) {
    AddLast({2});
    CapturingLog log(RyPLogLevel::Trace);
    Add({1, 1, 1, 3.9, -5.9}, {1, 1, 1, 1, 1});
    EXPECT_EQ(log.Texts(),
              (Texts{kRule, " CKZStatGenMeasurement::AddValues (sum = %d  sSqr = %d)\\n\t3\t-5\t",
                     " After Add, the values are :\t",
                     " array[tsum] = %d    array[tsumSqr] = %d\\n\t5\t-1\t"}));
}

TEST_F(Measurement, TracesAddedAggregatesWithoutLastsAlike) {
    CapturingLog log(RyPLogLevel::Trace);
    Add({1, 1, 1, 3, 5}, kNone);
    EXPECT_EQ(log.Texts(),
              (Texts{kRule, " CKZStatGenMeasurement::AddValues (sum = %d  sSqr = %d)\\n\t3\t5\t",
                     " After Add, the values are :\t",
                     " array[tsum] = %d    array[tsumSqr] = %d\\n\t3\t5\t"}));
}

TEST_F(Measurement, TracesOnlyTheBeginningWhereThereIsNothingToAdd) {
    CapturingLog log(RyPLogLevel::Trace);
    Add({1, 1, 0, 3, 5}, {1, 1, 1, 1, 1});
    EXPECT_EQ(log.Texts(),
              (Texts{kRule, " CKZStatGenMeasurement::AddValues (sum = %d  sSqr = %d)\\n\t3\t5\t"}));
}

TEST_F(Measurement, TracesAnotherMeasurementThatIsAddedAlike) {
    CKZStatGenMeasurement source(Types::Timer);
    source.AddLast(3);
    CapturingLog log(RyPLogLevel::Trace);
    measurement.AddValues(source, AddFromSlice);
    EXPECT_EQ(log.Texts(),
              (Texts{kRule, " CKZStatGenMeasurement::AddValues (sum = %d  sSqr = %d)\\n\t3\t9\t",
                     " After Add, the values are :\t",
                     " array[tsum] = %d    array[tsumSqr] = %d\\n\t3\t9\t"}));
}

TEST_F(Measurement, TracesThatItIsOverwritten) {
    CapturingLog log(RyPLogLevel::Trace);
    Set({1, 5, 3, 9.5, 35.5}, {2, 4, 2, 6, 20});
    EXPECT_EQ(log.Texts(), (Texts{kRule, " CKZStatGenMeasurement::SetValues \t",
                                  " After Set, the values are :\t",
                                  " array[tsum] = %d    array[tsumSqr] = %d\\n\t9\t35\t", kRule}));
}

TEST_F(Measurement, TracesItsDumpWithTheWholeTextSoFar) {
    AddLast({2.5});
    CapturingLog log(RyPLogLevel::Trace);
    RWCString text("before");
    measurement.AppendDump(text, "n%s");
    EXPECT_EQ(log.Texts(), (Texts{kRule, " AppendDump NAME = %s \tn%s\t",
                                  " array[tsum] = %d    array[tsumSqr] = %d\\n\t2\t6\t",
                                  " String = %s \t" + BytesOf(text) + "\t", kRule}));
}

TEST_F(Measurement, CountsAValueWhoseTraceIsCutOff) {
    for (int records = 1; records <= 3; ++records) {
        measurement.Reset();
        const QuieteningLog log(records);
        AddLast({5});
        EXPECT_EQ(log.Written(), records);
        EXPECT_EQ(DumpOf(measurement), TimerDump(kFivePart, kFivePart)) << records;
    }
}

TEST_F(Measurement, AddsAggregatesWhoseTraceIsCutOff) {
    for (int records = 1; records <= 3; ++records) {
        measurement.Reset();
        const QuieteningLog log(records);
        Add({5, 5, 1, 5, 25}, {5, 5, 1, 5, 25});
        EXPECT_EQ(log.Written(), records);
        EXPECT_EQ(DumpOf(measurement), TimerDump(kFivePart, kFivePart)) << records;
    }
}

TEST_F(Measurement, TracesNothingElse) {
    AddLast({2.5});
    CapturingLog log(RyPLogLevel::PerformanceDetail);
    LastsDumpOf(measurement);
    PrintOf(measurement);
    measurement.IsResetLasts();
    measurement.ResetLasts();
    measurement.Reset();
    const CKZStatGenMeasurement another(Types::Counter);
    EXPECT_EQ(log.Texts(), Texts{});
}

TEST_F(Measurement, TracesNothingBelowTheTraceLevel) {
    CapturingLog log(RyPLogLevel::Incomplete);
    AddLast({2.5});
    Add({1, 1, 1, 3, 5}, {1, 1, 1, 3, 5});
    Set(kNone, kNone);
    DumpOf(measurement);
    EXPECT_EQ(log.Texts(), Texts{});
}

TEST_F(Measurement, LogsNoErrorForATypePastTheTables) {
    CapturingLog log(RyPLogLevel::Error);
    Set(kNone, kNone, static_cast<Types::PointType>(4096));
    DumpOf(measurement);
    EXPECT_EQ(log.Texts(), Texts{});
}

// ------------------------------------------------------------------------------------ collection

TEST_F(Measurement, BehavesInACollectionAsAnyObjectWithoutIdentity) {
    const CKZStatGenMeasurement twin(Types::Timer);
    EXPECT_EQ(measurement.isA(), RWCollectable::kClassId);
    EXPECT_EQ(measurement.binaryStoreSize(), 0U);
    EXPECT_TRUE(measurement.isEqual(&measurement));
    EXPECT_FALSE(measurement.isEqual(&twin));
    EXPECT_EQ(measurement.compareTo(&measurement), 0);
    EXPECT_NE(measurement.compareTo(&twin), 0);
}

}  // namespace
