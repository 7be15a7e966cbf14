#include "kzstatpoint.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <ostream>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "rw/collint.h"
#include "support/literally.h"
#include "support/points.h"
#include "support/virtual_slots.h"

namespace {

using Types = CKZStatPointTypeEnum;
using Item = MeasurementArrayItem;
using Field = double Item::*;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

static_assert(sizeof(Item) == 13 * sizeof(double) && std::is_trivially_copyable_v<Item>);
static_assert(offsetof(Item, time) == 0 && offsetof(Item, min) == 8 && offsetof(Item, max) == 16 &&
              offsetof(Item, count) == 24 && offsetof(Item, sum) == 32 &&
              offsetof(Item, average) == 40 && offsetof(Item, stdev) == 48 &&
              offsetof(Item, lastMin) == 56 && offsetof(Item, lastMax) == 64 &&
              offsetof(Item, lastCount) == 72 && offsetof(Item, lastSum) == 80 &&
              offsetof(Item, lastAverage) == 88 && offsetof(Item, lastStdev) == 96);
static_assert(sizeof(StatisticsDataType) == 4 && std::is_convertible_v<StatisticsDataType, int>);
static_assert(std::is_abstract_v<CKZStatPoint> && std::has_virtual_destructor_v<CKZStatPoint>);
static_assert(std::is_convertible_v<CKZStatPoint*, RWCollectable*>);
static_assert(sizeof(CKZStatPoint) == sizeof(RWCollectable) + sizeof(Item), "no further state");

/// A point with nothing but what a kind has to say.
class BarePoint : public CKZStatPoint {
public:
    BarePoint() = default;
    explicit BarePoint(const Item& item) : CKZStatPoint(item) {}

    CKZStatPoint* Clone() override { return new BarePoint(GetValues()); }
    CKZStatPoint* CloneFakeForTotal(double) override { return nullptr; }
    double GetCurrentValue() override { return 4711; }
    StatisticsDataType GetCurrentValueIndex() override { return StatMin; }
    int GetMask() override { return 1; }
    void GetType(PointType& type) override { type = Types::Timer; }
    PointType GetType() override { return Types::Timer; }
};

// --------------------------------------------------------------------- making and assigning

TEST(StatPoint, IsEmptyAtFirst) {
    EXPECT_EQ(BarePoint().GetValues(), kEmptyRecord);
}

TEST(StatPoint, TakesTheValuesOfARecord) {
    EXPECT_EQ(BarePoint(kNumberedRecord).GetValues(), kNumberedRecord);
}

TEST(StatPoint, TakesARecordWhoseAveragesBreakTheirRule) {
    const Item broken = With(With(kFullRecord, &Item::average, -5), &Item::lastAverage, -0.5);
    EXPECT_EQ(BarePoint(broken).GetValues(), broken);
}

TEST(StatPoint, CopiesAllValues) {
    const BarePoint point(kNumberedRecord);
    const BarePoint copy(point);
    EXPECT_EQ(copy.GetValues(), kNumberedRecord);
}

TEST(StatPoint, KeepsACopyApartFromItsSource) {
    const BarePoint point(kNumberedRecord);
    BarePoint copy(point);
    copy.SetEmpty();
    EXPECT_EQ(point.GetValues(), kNumberedRecord);
}

TEST(StatPoint, TakesAllValuesByAssignmentAndReturnsItself) {
    BarePoint point;
    const BarePoint other(kNumberedRecord);
    CKZStatPoint& assigned = static_cast<CKZStatPoint&>(point) = other;
    EXPECT_EQ(point.GetValues(), kNumberedRecord);
    EXPECT_EQ(&assigned, &point);
}

TEST(StatPoint, SurvivesAssignmentToItself) {
    BarePoint point(kNumberedRecord);
    const CKZStatPoint& same = point;
    static_cast<CKZStatPoint&>(point) = same;
    EXPECT_EQ(point.GetValues(), kNumberedRecord);
}

TEST(StatPoint, IsEmptiedWithItsTime) {
    BarePoint point(kNumberedRecord);
    point.SetEmpty();
    EXPECT_EQ(point.GetValues(), kEmptyRecord);
}

TEST(StatPoint, IsSetToZeroWithItsTime) {
    BarePoint point(kNumberedRecord);
    point.SetToZero();
    EXPECT_EQ(point.GetValues(), FilledRecord(0));
}

TEST(StatPoint, HasANameForClassesWithoutOneOfTheirOwn) {
    EXPECT_STREQ(BarePoint().nameOf(), "CKZStatPoint");
}

// -------------------------------------------------------------------------------- accessors

struct Accessor {
    const char* name;
    Field field;
    double (CKZStatPoint::*get)() const;
    void (CKZStatPoint::*set)(double);
};

constexpr Accessor kAccessors[] = {
    {"Time", &Item::time, &CKZStatPoint::GetTime, &CKZStatPoint::SetTime},
    {"Min", &Item::min, &CKZStatPoint::GetMin, &CKZStatPoint::SetMin},
    {"Max", &Item::max, &CKZStatPoint::GetMax, &CKZStatPoint::SetMax},
    {"Count", &Item::count, &CKZStatPoint::GetCount, &CKZStatPoint::SetCount},
    {"Sum", &Item::sum, &CKZStatPoint::GetSum, &CKZStatPoint::SetSum},
    {"Average", &Item::average, &CKZStatPoint::GetAverage, &CKZStatPoint::SetAverage},
    {"STDev", &Item::stdev, &CKZStatPoint::GetSTDev, &CKZStatPoint::SetSTDev},
    {"LastMin", &Item::lastMin, &CKZStatPoint::GetLastMin, &CKZStatPoint::SetLastMin},
    {"LastMax", &Item::lastMax, &CKZStatPoint::GetLastMax, &CKZStatPoint::SetLastMax},
    {"LastCount", &Item::lastCount, &CKZStatPoint::GetLastCount, &CKZStatPoint::SetLastCount},
    {"LastSum", &Item::lastSum, &CKZStatPoint::GetLastSum, &CKZStatPoint::SetLastSum},
    {"LastAverage", &Item::lastAverage, &CKZStatPoint::GetLastAverage,
     &CKZStatPoint::SetLastAverage},
    {"LastSTDev", &Item::lastStdev, &CKZStatPoint::GetLastSTDev, &CKZStatPoint::SetLastSTDev},
};
static_assert(std::size(kAccessors) == 13);

std::ostream& operator<<(std::ostream& out, const Accessor& accessor) {
    return out << accessor.name;
}

class StatPointAccessor : public testing::TestWithParam<Accessor> {};

TEST_P(StatPointAccessor, ReadsItsValueOfTheRecord) {
    const BarePoint point(kNumberedRecord);
    EXPECT_EQ((point.*GetParam().get)(), kNumberedRecord.*GetParam().field);
}

TEST_P(StatPointAccessor, SetsItsValueAlone) {
    BarePoint point(kNumberedRecord);
    (point.*GetParam().set)(99.5);
    EXPECT_EQ(point.GetValues(), With(kNumberedRecord, GetParam().field, 99.5));
}

TEST_P(StatPointAccessor, SetsZeroAndTheEmptyMark) {
    BarePoint point(kNumberedRecord);
    for (const double value : {0.0, -1.0}) {
        (point.*GetParam().set)(value);
        EXPECT_EQ((point.*GetParam().get)(), value);
    }
}

INSTANTIATE_TEST_SUITE_P(Every, StatPointAccessor, testing::ValuesIn(kAccessors),
                         testing::PrintToStringParamName());

bool IsAverage(const Accessor& accessor) {
    return accessor.field == &Item::average || accessor.field == &Item::lastAverage;
}

TEST(StatPoint, StoresAnyValueButAnAverageUnchanged) {
    for (const Accessor& accessor : kAccessors) {
        if (IsAverage(accessor)) continue;
        BarePoint point;
        for (const double value : {-7.5, kInfinity, -kInfinity}) {
            (point.*accessor.set)(value);
            EXPECT_EQ((point.*accessor.get)(), value) << accessor;
        }
        (point.*accessor.set)(kNaN);
        EXPECT_TRUE(std::isnan((point.*accessor.get)())) << accessor;
    }
}

TEST(StatPoint, AcceptsFiniteAveragesThatAreNotNegative) {
    BarePoint point;
    for (const double value : {0.0, -0.0, 1e-300, 5.0, 1e308}) {
        point.SetAverage(value);
        EXPECT_EQ(point.GetAverage(), value);
        point.SetLastAverage(value);
        EXPECT_EQ(point.GetLastAverage(), value);
    }
}

TEST(StatPoint, SetLastAverageLetsInfinityPass) {
    BarePoint point;
    point.SetLastAverage(kInfinity);
    EXPECT_EQ(point.GetLastAverage(), kInfinity);
}

// -------------------------------------------------------------------------------- selectors

struct Selector {
    StatisticsDataType selector;
    int number;
    Field field;
};

constexpr Selector kSelectors[] = {
    {StatMin, 0, &Item::min},
    {StatMax, 1, &Item::max},
    {StatCount, 2, &Item::count},
    {StatSum, 3, &Item::sum},
    {StatAverage, 4, &Item::average},
    {StatSTDev, 5, &Item::stdev},
    {StatLastMin, 6, &Item::lastMin},
    {StatLastMax, 7, &Item::lastMax},
    {StatLastCount, 8, &Item::lastCount},
    {StatLastSum, 9, &Item::lastSum},
    {StatLastAverage, 10, &Item::lastAverage},
    {StatLastSTDev, 11, &Item::lastStdev},
};
static_assert(std::size(kSelectors) == 12);

std::ostream& operator<<(std::ostream& out, const Selector& selector) {
    return out << selector.number;
}

class StatPointSelector : public testing::TestWithParam<Selector> {};

TEST_P(StatPointSelector, HasItsNumber) {
    EXPECT_EQ(static_cast<int>(GetParam().selector), GetParam().number);
}

TEST_P(StatPointSelector, SelectsItsValue) {
    BarePoint point(kNumberedRecord);
    EXPECT_EQ(point.GetValueByType(static_cast<StatisticsDataType>(GetParam().number)),
              kNumberedRecord.*GetParam().field);
}

INSTANTIATE_TEST_SUITE_P(Every, StatPointSelector, testing::ValuesIn(kSelectors),
                         testing::PrintToStringParamName());

TEST(StatPoint, AsksItsKindForTheCurrentValue) {
    BarePoint point(kNumberedRecord);
    EXPECT_EQ(static_cast<int>(StatCurrentValue), 12);
    EXPECT_EQ(point.GetValueByType(StatCurrentValue), 4711);
}

TEST(StatPoint, AnswersMinusOneForANumberThatIsNoSelector) {
    BarePoint point(kNumberedRecord);
    for (const int number : {13, 14, 1024, INT_MAX, -1, -2, INT_MIN})
        EXPECT_EQ(point.GetValueByType(static_cast<StatisticsDataType>(number)), -1) << number;
}

// ----------------------------------------------------------------------- folding a record in

/// A point of `own` after it has taken in `record`.
Item Folded(const Item& own, const Item& record) {
    BarePoint point(own);
    point.AddValues(record);
    return point.GetValues();
}

/// What becomes of one value of a full point when a record with nothing but that value comes in.
double Folded(Field field, double own, double addend) {
    return Folded(With(kFullRecord, field, own), With(kEmptyRecord, field, addend)).*field;
}

TEST(StatPointAddValues, TakesTheWholeRecordWhileThePointIsEmpty) {
    EXPECT_EQ(Folded(kEmptyRecord, kNumberedRecord), kNumberedRecord);
}

TEST(StatPointAddValues, KnowsAnEmptyPointByItsTimeAlone) {
    EXPECT_EQ(Folded(With(kFullRecord, &Item::time, -1), kNumberedRecord), kNumberedRecord);
    EXPECT_NE(Folded(With(kEmptyRecord, &Item::time, 10), kNumberedRecord), kNumberedRecord);
}

TEST(StatPointAddValues, TakesARecordWithoutATimeWholeToo) {
    const Item timeless = With(kNumberedRecord, &Item::time, -1);
    EXPECT_EQ(Folded(kEmptyRecord, timeless), timeless);
}

TEST(StatPointAddValues, KeepsTheTimeOfAPointThatIsNotEmpty) {
    for (const double time : {-1.0, 0.0, 5.0, 20.0})
        EXPECT_EQ(Folded(kFullRecord, With(kNumberedRecord, &Item::time, time)).time, 10) << time;
}

TEST(StatPointAddValues, FoldsEveryValueOfARecord) {
    EXPECT_EQ(Folded(kFullRecord, kFurtherRecord), kFullAndFurther);
}

TEST(StatPointAddValues, ChangesNothingForAnEmptyRecord) {
    EXPECT_EQ(Folded(kFullRecord, kEmptyRecord), kFullRecord);
}

TEST(StatPointAddValues, TakesTheSmallerMinimum) {
    EXPECT_EQ(Folded(&Item::min, 3, 2), 2);
    EXPECT_EQ(Folded(&Item::min, 3, 4), 3);
    EXPECT_EQ(Folded(&Item::min, 3, -5), -5);
}

TEST(StatPointAddValues, TakesAMinimumOfZero) {
    EXPECT_EQ(Folded(&Item::min, 3, 0), 0);
}

TEST(StatPointAddValues, PassesOverAnEmptyMinimum) {
    EXPECT_EQ(Folded(&Item::min, 3, -1), 3);
}

TEST(StatPointAddValues, FillsAnEmptyMinimum) {
    EXPECT_EQ(Folded(&Item::min, -1, 5), 5);
}

TEST(StatPointAddValues, DoesNotFillAnEmptyLastMinimum) {
    EXPECT_EQ(Folded(&Item::lastMin, -1, 5), -1);
    EXPECT_EQ(Folded(&Item::lastMin, -1, 0), -1);
}

TEST(StatPointAddValues, TakesTheSmallerLastMinimum) {
    EXPECT_EQ(Folded(&Item::lastMin, 3, 2), 2);
    EXPECT_EQ(Folded(&Item::lastMin, 3, 4), 3);
    EXPECT_EQ(Folded(&Item::lastMin, 3, 0), 0);
    EXPECT_EQ(Folded(&Item::lastMin, -1, -5), -5);
}

TEST(StatPointAddValues, PassesOverAnEmptyLastMinimum) {
    EXPECT_EQ(Folded(&Item::lastMin, 3, -1), 3);
}

TEST(StatPointAddValues, TakesTheGreaterMaximumOfTheRunAndOfTheSlice) {
    for (const Field maximum : {&Item::max, &Item::lastMax}) {
        EXPECT_EQ(Folded(maximum, 3, 4), 4);
        EXPECT_EQ(Folded(maximum, 3, 2), 3);
        EXPECT_EQ(Folded(maximum, 3, -1), 3);
        EXPECT_EQ(Folded(maximum, -1, 0), 0);
        EXPECT_EQ(Folded(maximum, -1, -5), -1);
    }
}

/// The values that are added up.
constexpr PointField kAddedUp[] = {
    {"sum", &Item::sum},         {"stdev", &Item::stdev},         {"count", &Item::count},
    {"lastSum", &Item::lastSum}, {"lastStdev", &Item::lastStdev}, {"lastCount", &Item::lastCount},
};

TEST(StatPointAddValues, AddsUpSumsCountsAndStandardDeviations) {
    for (const PointField& field : kAddedUp)
        EXPECT_EQ(Folded(field.value, 10, 2.5), 12.5) << field.name;
}

TEST(StatPointAddValues, PassesOverSumsCountsAndStandardDeviationsThatAreNotAboveZero) {
    for (const PointField& field : kAddedUp)
        for (const double addend : {0.0, -1.0, -2.5, kNaN})
            EXPECT_EQ(Folded(field.value, 10, addend), 10) << field.name << ' ' << addend;
}

TEST(StatPointAddValues, AddsOntoAnEmptySumCountOrStandardDeviationAsOntoMinusOne) {
    for (const PointField& field : kAddedUp) EXPECT_EQ(Folded(field.value, -1, 5), 4) << field.name;
}

/// The averages are worked out anew even where nothing is added.
TEST(StatPointAddValues, DividesSumsByCounts) {
    const Item own = RecordOf(10, {.count = 4, .sum = 10, .average = 77},
                              {.count = 8, .sum = 36, .average = 88});
    EXPECT_EQ(Folded(own, kEmptyRecord).average, 2.5);
    EXPECT_EQ(Folded(own, kEmptyRecord).lastAverage, 4.5);
}

TEST(StatPointAddValues, LeavesTheAveragesEmptyWithoutACount) {
    for (const double count : {0.0, -1.0}) {
        const Item own = RecordOf(10, {.count = count, .sum = 10, .average = 77},
                                  {.count = count, .sum = 36, .average = 88});
        EXPECT_EQ(Folded(own, kEmptyRecord).average, -1) << count;
        EXPECT_EQ(Folded(own, kEmptyRecord).lastAverage, -1) << count;
    }
}

TEST(StatPointAddValues, StoresAveragesThatTheSettersWouldRefuse) {
    const Item negative = RecordOf(10, {.count = 2, .sum = -5}, {.count = 2, .sum = -7});
    EXPECT_EQ(Folded(negative, kEmptyRecord).average, -2.5);
    EXPECT_EQ(Folded(negative, kEmptyRecord).lastAverage, -3.5);
    const Item infinite = With(kEmptyRecord, &Item::sum, kInfinity);
    EXPECT_EQ(Folded(kFullRecord, infinite).average, kInfinity);
}

// ----------------------------------------------------------------------------------- merging

/// A point of `own` after `other` has been merged into it.
Item Merged(const Item& own, const Item& other) {
    BarePoint point(own);
    point + BarePoint(other);
    return point.GetValues();
}

/// What becomes of one value of a full point when a point with nothing but that value is merged.
double Merged(Field field, double own, double other) {
    const Item timed = With(kEmptyRecord, &Item::time, 20);
    return Merged(With(kFullRecord, field, own), With(timed, field, other)).*field;
}

/// The latest slice's values after a merge of two points that have no totals.
Item MergedLasts(const PointLasts& own, const PointLasts& other) {
    return Merged(RecordOf(10, {}, own), RecordOf(20, {}, other));
}

/// What a merge makes of `MergedLasts`' points.
Item OnlyLasts(const PointLasts& lasts) {
    return RecordOf(10, {}, lasts);
}

TEST(StatPointMerge, MergesEveryValueAndKeepsItsTime) {
    EXPECT_EQ(Merged(kFullRecord, kFurtherRecord), kFullAndFurther);
}

TEST(StatPointMerge, ReturnsThePointItselfAndLeavesTheOtherAlone) {
    BarePoint point(kFullRecord);
    const BarePoint other(kFullRecord);
    EXPECT_EQ(&(point + other), &point);
    EXPECT_EQ(other.GetValues(), kFullRecord);
}

TEST(StatPointMerge, CountsAPointThatIsMergedIntoAnEmptyOneTwice) {
    EXPECT_EQ(Merged(kEmptyRecord, kFullRecord),
              RecordOf(10, {.min = 2, .max = 9, .count = 16, .sum = 80, .average = 5, .stdev = 3},
                       {.min = 3, .max = 7, .count = 8, .sum = 36, .average = 4.5, .stdev = 1}));
}

TEST(StatPointMerge, CountsTotalsWithoutLastsIntoAnEmptyPointTwice) {
    EXPECT_EQ(Merged(kEmptyRecord, RecordOf(10, {.min = 2, .max = 9, .count = 8, .sum = 40})),
              RecordOf(10, {.min = 2, .max = 9, .count = 16, .sum = 80, .average = 5}));
}

TEST(StatPointMerge, KnowsAnEmptyPointByItsTimeAlone) {
    EXPECT_EQ(Merged(With(kNumberedRecord, &Item::time, -1), kFullRecord),
              Merged(kEmptyRecord, kFullRecord));
    EXPECT_EQ(Merged(With(kEmptyRecord, &Item::time, 5), kFullRecord).count, 8);
}

TEST(StatPointMerge, MergesAPointWithItself) {
    BarePoint point(kFullRecord);
    point + point;
    EXPECT_EQ(point.GetValues(), Merged(kFullRecord, kFullRecord));
}

TEST(StatPointMerge, TakesTheSmallerMinimum) {
    EXPECT_EQ(Merged(&Item::min, 3, 2), 2);
    EXPECT_EQ(Merged(&Item::min, 3, 4), 3);
}

TEST(StatPointMerge, NeverTakesAMinimumOfZeroUnlikeAddValues) {
    EXPECT_EQ(Merged(&Item::min, 3, 0), 3);
    EXPECT_EQ(Merged(&Item::min, 3, -1), 3);
    EXPECT_EQ(Merged(&Item::min, 3, -5), 3);
}

TEST(StatPointMerge, NeverFillsAnEmptyMinimumUnlikeAddValues) {
    EXPECT_EQ(Merged(&Item::min, -1, 5), -1);
}

TEST(StatPointMerge, TakesTheGreaterMaximum) {
    EXPECT_EQ(Merged(&Item::max, 3, 4), 4);
    EXPECT_EQ(Merged(&Item::max, 3, 2), 3);
    EXPECT_EQ(Merged(&Item::max, -1, 0), 0);
    EXPECT_EQ(Merged(&Item::max, 3, -1), 3);
}

constexpr PointField kMergedTotals[] = {
    {"count", &Item::count}, {"sum", &Item::sum}, {"stdev", &Item::stdev}};

TEST(StatPointMerge, AddsCountSumAndStandardDeviation) {
    for (const PointField& field : kMergedTotals) {
        EXPECT_EQ(Merged(field.value, 10, 2.5), 12.5) << field.name;
        EXPECT_EQ(Merged(field.value, 0, 2.5), 2.5) << field.name;
        EXPECT_EQ(Merged(field.value, 10, 0), 10) << field.name;
    }
}

TEST(StatPointMerge, TakesAMissingCountSumOrStandardDeviationFromTheOther) {
    for (const PointField& field : kMergedTotals) {
        EXPECT_EQ(Merged(field.value, -1, 5), 5) << field.name;
        EXPECT_EQ(Merged(field.value, -2.5, 0), 0) << field.name;
    }
    EXPECT_EQ(Merged(&Item::stdev, -2.5, -7), -7);
}

TEST(StatPointMerge, PassesOverANegativeCountSumOrStandardDeviationOfTheOther) {
    for (const PointField& field : kMergedTotals) {
        for (const double other : {-1.0, -2.5}) {
            EXPECT_EQ(Merged(field.value, 10, other), 10) << field.name << ' ' << other;
            EXPECT_EQ(Merged(field.value, 0, other), 0) << field.name << ' ' << other;
        }
    }
}

TEST(StatPointMerge, DividesTheMergedSumByTheMergedCount) {
    EXPECT_EQ(Merged(RecordOf(10, {.count = 3, .sum = 10, .average = 77}),
                     RecordOf(20, {.count = 1, .sum = 8, .average = 88}))
                  .average,
              4.5);
}

TEST(StatPointMerge, LeavesTheAverageEmptyWithoutACount) {
    for (const double count : {0.0, -1.0})
        EXPECT_EQ(Merged(RecordOf(10, {.count = count, .sum = 10, .average = 77}),
                         RecordOf(20, {.count = count, .sum = 8, .average = 88}))
                      .average,
                  -1)
            << count;
}

TEST(StatPointMergeLasts, StayAsTheyAreWhereTheOtherHasNone) {
    const PointLasts own = {.min = 3, .max = 7, .count = 4, .sum = 18, .average = 77, .stdev = 1};
    const PointLasts none = {.count = 5, .sum = 6, .average = 7, .stdev = 8};
    EXPECT_EQ(MergedLasts(own, none), OnlyLasts(own));
}

TEST(StatPointMergeLasts, AreCopiedWholeWhereThePointHasNone) {
    const PointLasts none = {.count = 50, .sum = 60, .average = 70, .stdev = 80};
    const PointLasts other = {.min = 3, .max = 7, .count = 4, .sum = 18, .average = 77, .stdev = 1};
    EXPECT_EQ(MergedLasts(none, other), OnlyLasts(other));
}

TEST(StatPointMergeLasts, AreCopiedWhereTheOtherHasOnlyOneOfMinimumAndMaximum) {
    const PointLasts onlyMaximum = {.max = 0, .count = 0};
    const PointLasts onlyMinimum = {.min = 0, .count = 0};
    EXPECT_EQ(MergedLasts({}, onlyMaximum), OnlyLasts(onlyMaximum));
    EXPECT_EQ(MergedLasts({}, onlyMinimum), OnlyLasts(onlyMinimum));
}

/// Lasts that a merge accepts beside any minimum and maximum that fit together.
PointLasts LastsBetween(double minimum, double maximum) {
    return {.min = minimum, .max = maximum, .count = 1, .sum = 1};
}

double MergedLastMinimum(double own, double other) {
    return MergedLasts(LastsBetween(own, 9), LastsBetween(other, 9)).lastMin;
}

double MergedLastMaximum(double own, double other) {
    return MergedLasts(LastsBetween(0, own), LastsBetween(0, other)).lastMax;
}

TEST(StatPointMergeLasts, HaveTheSmallerMinimumZeroIncluded) {
    EXPECT_EQ(MergedLastMinimum(3, 2), 2);
    EXPECT_EQ(MergedLastMinimum(3, 4), 3);
    EXPECT_EQ(MergedLastMinimum(3, 0), 0);
}

TEST(StatPointMergeLasts, FillAnEmptyMinimum) {
    EXPECT_EQ(MergedLastMinimum(-1, 4), 4);
}

TEST(StatPointMergeLasts, HaveTheGreaterMaximum) {
    EXPECT_EQ(MergedLastMaximum(3, 4), 4);
    EXPECT_EQ(MergedLastMaximum(3, 2), 3);
    EXPECT_EQ(MergedLastMaximum(3, -1), 3);
}

TEST(StatPointMergeLasts, FillAnEmptyMaximumEvenWithASmallerOne) {
    EXPECT_EQ(MergedLastMaximum(-1, 4), 4);
    EXPECT_EQ(MergedLastMaximum(-1, -5), -5);
}

TEST(StatPointMergeLasts, AddCountSumAndStandardDeviationWhateverTheirSign) {
    const PointLasts own = {.min = 3, .max = 7, .count = 4, .sum = 18, .average = 77, .stdev = 1};
    const PointLasts other = {.min = 3, .max = 7};
    EXPECT_EQ(
        MergedLasts(own, other),
        OnlyLasts({.min = 3, .max = 7, .count = 3, .sum = 17, .average = 17.0 / 3, .stdev = 0}));
}

TEST(StatPointMergeLasts, AcceptAnInfiniteAverageOfASumWithoutACount) {
    const PointLasts counted = {.min = 3, .max = 7, .count = 1, .sum = 18};
    const PointLasts empty = {.min = 3, .max = 7, .count = -1, .sum = -1};
    EXPECT_EQ(MergedLasts(counted, empty).lastCount, 0);
    EXPECT_EQ(MergedLasts(counted, empty).lastAverage, kInfinity);
}

TEST(StatPointMergeLasts, AreConsistentWhileAMissingOneStandsBesideNothingAboveZero) {
    for (const PointLasts& lasts :
         {PointLasts{.min = -1, .max = 0, .count = 0}, PointLasts{.min = 0, .max = -1, .count = 0},
          PointLasts{.min = -5, .max = -1, .count = -1},
          PointLasts{.min = 0, .max = 0, .count = 9}})
        EXPECT_EQ(MergedLasts({}, lasts), OnlyLasts(lasts));
}

// ---------------------------------------------------------------------- adding and dividing

Item Added(const Item& own, const Item& other) {
    BarePoint point(own);
    point& BarePoint(other);
    return point.GetValues();
}

Item Divided(const Item& own, int n) {
    BarePoint point(own);
    point / n;
    return point.GetValues();
}

/// `FilledRecord` that keeps a time apart.
Item FilledAt(double time, double value) {
    return With(FilledRecord(value), &Item::time, time);
}

TEST(StatPointAdd, AddsEveryValueButTheTime) {
    EXPECT_EQ(Added(kNumberedRecord, With(kNumberedRecord, &Item::time, 500)),
              (Item{1, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26}));
}

TEST(StatPointAdd, ReturnsThePointItselfAndLeavesTheOtherAlone) {
    BarePoint point(kFullRecord);
    const BarePoint other(kFullRecord);
    EXPECT_EQ(&(point & other), &point);
    EXPECT_EQ(other.GetValues(), kFullRecord);
}

TEST(StatPointAdd, AddsEmptyValuesOfEitherSideAsMinusOne) {
    EXPECT_EQ(Added(FilledAt(10, 5), FilledAt(20, -1)), FilledAt(10, 4));
    EXPECT_EQ(Added(FilledAt(10, -1), FilledAt(20, 5)), FilledAt(10, 4));
}

TEST(StatPointAdd, IsNotStoppedByAnEmptyPointOnItsLeft) {
    EXPECT_EQ(Added(kEmptyRecord, FilledAt(20, 5)), FilledAt(-1, 4));
}

TEST(StatPointAdd, ChangesNothingForAnEmptyOther) {
    EXPECT_EQ(Added(kFullRecord, kEmptyRecord), kFullRecord);
    EXPECT_EQ(Added(kFullRecord, With(kNumberedRecord, &Item::time, -1)), kFullRecord);
}

TEST(StatPointAdd, LeavesABrokenAverageAloneForAnEmptyOther) {
    const Item broken = With(kFullRecord, &Item::average, -5);
    EXPECT_EQ(Added(broken, kEmptyRecord), broken);
}

TEST(StatPointAdd, DoublesAPointThatIsAddedToItself) {
    BarePoint point(FilledAt(10, 3));
    point& point;
    EXPECT_EQ(point.GetValues(), FilledAt(10, 6));
}

TEST(StatPointAdd, AcceptsAnInfiniteLastAverage) {
    EXPECT_EQ(Added(kFullRecord, With(kFullRecord, &Item::lastAverage, kInfinity)).lastAverage,
              kInfinity);
}

TEST(StatPointDivide, DividesEveryValueButTheTime) {
    EXPECT_EQ(Divided(kNumberedRecord, 2),
              (Item{1, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5, 5.5, 6, 6.5}));
}

TEST(StatPointDivide, ReturnsThePointItself) {
    BarePoint point(kFullRecord);
    EXPECT_EQ(&(point / 2), &point);
    EXPECT_EQ(&(point / 0), &point);
}

TEST(StatPointDivide, ChangesNothingByOne) {
    EXPECT_EQ(Divided(kFullRecord, 1), kFullRecord);
    EXPECT_EQ(Divided(kEmptyRecord, 1), kEmptyRecord);
}

TEST(StatPointDivide, ChangesNothingByZero) {
    EXPECT_EQ(Divided(kFullRecord, 0), kFullRecord);
    EXPECT_EQ(Divided(kEmptyRecord, 0), kEmptyRecord);
}

TEST(StatPointDivide, LeavesABrokenAverageAloneByZero) {
    const Item broken = With(With(kFullRecord, &Item::average, -5), &Item::lastAverage, kNaN);
    EXPECT_EQ(Divided(broken, 0).average, -5);
    EXPECT_TRUE(std::isnan(Divided(broken, 0).lastAverage));
}

TEST(StatPointDivide, DividesEmptyValuesLikeAnyOther) {
    const Item withoutValuesButAverages =
        With(With(FilledAt(10, -1), &Item::average, 0), &Item::lastAverage, 0);
    EXPECT_EQ(Divided(withoutValuesButAverages, 4).min, -0.25);
    EXPECT_EQ(Divided(withoutValuesButAverages, 4).lastStdev, -0.25);
    EXPECT_EQ(Divided(FilledAt(10, -1), -1), FilledAt(10, 1));
}

// ------------------------------------------------------------------- comparing and hashing

bool AreEqual(const CKZStatPoint& a, const CKZStatPoint& b) {
    return a.isEqual(&b);
}

int Compared(const CKZStatPoint& a, const CKZStatPoint& b) {
    return a.compareTo(&b);
}

/// Names itself with a text of its own.
class NamedPoint : public BarePoint {
public:
    NamedPoint(std::string name, const Item& item) : BarePoint(item), m_name(std::move(name)) {}
    const char* nameOf() const override { return m_name.c_str(); }

private:
    const std::string m_name;
};

TEST(StatPointEquality, HoldsForEqualValues) {
    EXPECT_TRUE(AreEqual(BarePoint(kFullRecord), BarePoint(kFullRecord)));
    EXPECT_TRUE(AreEqual(BarePoint(), BarePoint()));
    EXPECT_TRUE(AreEqual(BarePoint(FilledRecord(0.0)), BarePoint(FilledRecord(-0.0))));
}

TEST(StatPointEquality, DoesNotCountTheTimeAndTheStandardDeviations) {
    for (const Field field : {&Item::time, &Item::stdev, &Item::lastStdev})
        EXPECT_TRUE(AreEqual(BarePoint(kFullRecord), BarePoint(With(kFullRecord, field, 99))));
}

TEST(StatPointEquality, CountsEachOfTheOtherTenValues) {
    for (const Accessor& accessor : kAccessors) {
        if (accessor.field == &Item::time || accessor.field == &Item::stdev ||
            accessor.field == &Item::lastStdev)
            continue;
        EXPECT_FALSE(
            AreEqual(BarePoint(kFullRecord), BarePoint(With(kFullRecord, accessor.field, 99))))
            << accessor;
    }
}

TEST(StatPointEquality, FailsForNaNEvenAgainstThePointItself) {
    const BarePoint point(With(kFullRecord, &Item::sum, kNaN));
    EXPECT_FALSE(AreEqual(point, point));
}

TEST(StatPointEquality, GoesByTheTextOfTheClassName) {
    const NamedPoint point("name", kFullRecord);
    EXPECT_TRUE(AreEqual(point, NamedPoint("name", kFullRecord)));
    EXPECT_FALSE(AreEqual(point, NamedPoint("names", kFullRecord)));
    EXPECT_FALSE(AreEqual(point, BarePoint(kFullRecord)));
}

TEST(StatPointOrder, PutsEqualPointsTogetherWhateverTheirTimes) {
    EXPECT_EQ(Compared(BarePoint(kFullRecord), BarePoint(With(kFullRecord, &Item::time, 99))), 0);
    EXPECT_EQ(Compared(BarePoint(kFullRecord), BarePoint(With(kFullRecord, &Item::time, 1))), 0);
}

TEST(StatPointOrder, SortsUnequalPointsByTheirTimes) {
    const BarePoint early(With(kNumberedRecord, &Item::time, 9.5));
    const BarePoint late(kFullRecord);
    EXPECT_EQ(Compared(early, late), -1);
    EXPECT_EQ(Compared(late, early), 1);
}

TEST(StatPointOrder, PutsUnequalPointsOfOneTimeEachAfterTheOther) {
    const BarePoint point(kFullRecord);
    const BarePoint other(With(kFullRecord, &Item::sum, 99));
    EXPECT_EQ(Compared(point, other), 1);
    EXPECT_EQ(Compared(other, point), 1);
}

TEST(StatPointOrder, AsksTheClassWhetherPointsAreEqual) {
    struct EqualToAll : BarePoint {
        using BarePoint::BarePoint;
        bool isEqual(const RWCollectable*) const override { return true; }
    };
    EXPECT_EQ(Compared(EqualToAll(kFullRecord), BarePoint(kNumberedRecord)), 0);
    EXPECT_EQ(Compared(BarePoint(kNumberedRecord), EqualToAll(kFullRecord)), -1);
}

unsigned HashAt(double time) {
    return BarePoint(With(kFullRecord, &Item::time, time)).hash();
}

unsigned HashOf(int number) {
    return RWCollectableInt(number).hash();
}

TEST(StatPointHash, IsThatOfTheTimeTruncatedTowardZero) {
    EXPECT_EQ(HashAt(12), HashOf(12));
    EXPECT_EQ(HashAt(12.9), HashOf(12));
    EXPECT_EQ(HashAt(-12.9), HashOf(-12));
    EXPECT_EQ(HashAt(-0.9), HashOf(0));
    EXPECT_EQ(HashAt(-1), HashOf(-1));
}

TEST(StatPointHash, DiffersBetweenTwoSeconds) {
    EXPECT_NE(HashAt(12), HashAt(13));
}

TEST(StatPointHash, DependsOnNothingButTheTime) {
    EXPECT_EQ(BarePoint(With(kNumberedRecord, &Item::time, 12)).hash(), HashAt(12));
}

TEST(StatPointHash, TakesTheNearestIntForATimePastTheRange) {
    EXPECT_EQ(HashAt(2147483647.0), HashOf(INT_MAX));
    EXPECT_EQ(HashAt(2147483648.0), HashOf(INT_MAX));
    EXPECT_EQ(HashAt(1e300), HashOf(INT_MAX));
    EXPECT_EQ(HashAt(kInfinity), HashOf(INT_MAX));
    EXPECT_EQ(HashAt(-2147483649.0), HashOf(INT_MIN));
    EXPECT_EQ(HashAt(-kInfinity), HashOf(INT_MIN));
}

TEST(StatPointHash, TakesZeroForATimeThatIsNoNumber) {
    EXPECT_EQ(HashAt(kNaN), HashOf(0));
}

// ---------------------------------------------------------------------- ends of the process

const std::string kAverageRule =
    "(average >= 0 || average == -1) && !std::isinf(average) && !std::isnan(average)";
const std::string kLastAverageRule = "lastAverage >= 0 || lastAverage == -1";
const std::string kEmptyOther =
    "0 && \"Attempting to add an invalid CKZStatPoint with time == -1\"";

// GCC and Clang differ in the blanks around the reference sign.
const std::string kInSetAverage = Literally("void CKZStatPoint::SetAverage(double)");
const std::string kInSetLastAverage = Literally("void CKZStatPoint::SetLastAverage(double)");
const std::string kInMerge =
    "virtual CKZStatPoint ?& ?CKZStatPoint::operator\\+\\(const CKZStatPoint ?&\\)";
const std::string kInAnOperation = "[^\n]*CKZStatPoint::[^\n]*";

/// What a failed assertion writes: the bare source file, the line, the function and its text.
std::string Failed(const std::string& function, const std::string& text) {
    return ": kzstatpoint\\.cpp:[0-9]+: " + function +
           Literally(": Assertion `" + text + "' failed");
}

/// Starts the program anew for the part that dies, so that a tool's own threads do no harm.
class StatPointEndsTheProcess : public testing::Test {
protected:
    StatPointEndsTheProcess() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    /// Writes the values of `point`, as they are then, when the process is ended.
    static void ShowAtTheEnd(const CKZStatPoint& point) {
        s_shown = &point;
        s_formerHandler = std::signal(SIGABRT, [](int signal) {
            std::fputs("at the end:", stderr);
            for (const PointField& field : kPointFields)
                std::fprintf(stderr, " %g", s_shown->GetValues().*field.value);
            std::fputs(";\n", stderr);
            if (s_formerHandler != SIG_DFL) s_formerHandler(signal);
        });
    }

    static std::string AtTheEnd(const std::string& values) {
        return Literally("at the end: " + values + ";");
    }

private:
    static inline const CKZStatPoint* s_shown = nullptr;
    static inline void (*s_formerHandler)(int) = SIG_DFL;
};

class StatPointAverageDeathTest : public StatPointEndsTheProcess,
                                  public testing::WithParamInterface<double> {};

TEST_P(StatPointAverageDeathTest, BreaksTheRule) {
    BarePoint point;
    EXPECT_DEATH(point.SetAverage(GetParam()), Failed(kInSetAverage, kAverageRule));
}

INSTANTIATE_TEST_SUITE_P(EachWay, StatPointAverageDeathTest,
                         testing::Values(-0.5, -1.0000001, -2, kInfinity, -kInfinity, kNaN));

class StatPointLastAverageDeathTest : public StatPointEndsTheProcess,
                                      public testing::WithParamInterface<double> {};

TEST_P(StatPointLastAverageDeathTest, BreaksTheRule) {
    BarePoint point;
    EXPECT_DEATH(point.SetLastAverage(GetParam()), Failed(kInSetLastAverage, kLastAverageRule));
}

INSTANTIATE_TEST_SUITE_P(EachWay, StatPointLastAverageDeathTest,
                         testing::Values(-0.5, -1.0000001, -2, -kInfinity, kNaN));

using StatPointSettersDeathTest = StatPointEndsTheProcess;

TEST_F(StatPointSettersDeathTest, StoreABrokenAverageBeforeTheyEndTheProcess) {
    BarePoint point(FilledRecord(0));
    EXPECT_DEATH(
        {
            ShowAtTheEnd(point);
            point.SetAverage(-0.5);
        },
        AtTheEnd("0 0 0 0 0 -0.5 0 0 0 0 0 0 0"));
}

TEST_F(StatPointSettersDeathTest, StoreABrokenLastAverageBeforeTheyEndTheProcess) {
    BarePoint point(FilledRecord(0));
    EXPECT_DEATH(
        {
            ShowAtTheEnd(point);
            point.SetLastAverage(-0.5);
        },
        AtTheEnd("0 0 0 0 0 0 0 0 0 0 0 -0.5 0"));
}

class StatPointMergeDeathTest : public StatPointEndsTheProcess {
protected:
    static void Merge(const Item& own, const Item& other) {
        BarePoint point(own);
        ShowAtTheEnd(point);
        point + BarePoint(other);
    }

    static void MergeLasts(const PointLasts& own, const PointLasts& other) {
        Merge(RecordOf(10, {}, own), RecordOf(20, {}, other));
    }

    /// What the check of the lasts leaves: one record in the log, next the failed assertion.
    static std::string Inconsistent(const std::string& record) {
        return Literally("[error] KZStatisticGenerator kzstatpoint.cpp:") + "[0-9]+ " +
               Literally(record) + "\n[^\n]*" + Failed(kInAnOperation, "0");
    }
};

TEST_F(StatPointMergeDeathTest, RefusesAnEmptyOther) {
    EXPECT_DEATH(Merge(kFullRecord, kEmptyRecord), Failed(kInMerge, kEmptyOther));
    EXPECT_DEATH(Merge(kFullRecord, With(kFullRecord, &Item::time, -1)),
                 Failed(kInMerge, kEmptyOther));
}

TEST_F(StatPointMergeDeathTest, RefusesAnEmptyOtherOnTheSideOfAnEmptyPointToo) {
    EXPECT_DEATH(Merge(kEmptyRecord, kEmptyRecord), Failed(kInMerge, kEmptyOther));
}

TEST_F(StatPointMergeDeathTest, ChangesNothingBeforeItRefusesAnEmptyOther) {
    EXPECT_DEATH(Merge(kNumberedRecord, With(kFullRecord, &Item::time, -1)),
                 AtTheEnd("1 2 3 4 5 6 7 8 9 10 11 12 13"));
}

TEST_F(StatPointMergeDeathTest, EndsAtANegativeAverage) {
    EXPECT_DEATH(Merge(RecordOf(10, {.count = 2}), RecordOf(20, {.sum = -5})),
                 Failed(kInSetAverage, kAverageRule));
}

TEST_F(StatPointMergeDeathTest, EndsAtAnInfiniteAverage) {
    EXPECT_DEATH(Merge(kFullRecord, With(kFullRecord, &Item::sum, kInfinity)),
                 Failed(kInSetAverage, kAverageRule));
}

TEST_F(StatPointMergeDeathTest, HasMergedTheTotalsButNotTheLastsWhenTheAverageBreaksItsRule) {
    EXPECT_DEATH(
        Merge(With(kFullRecord, &Item::sum, -1),
              RecordOf(20, {.min = 1, .max = 12, .count = 2, .sum = -5, .stdev = 2}, {.min = 1})),
        AtTheEnd("10 1 12 10 -5 -0.5 3.5 3 7 4 18 4.5 0.5"));
}

TEST_F(StatPointMergeDeathTest, EndsAtALastCountOfZeroWithALastSumOfZero) {
    EXPECT_DEATH(MergeLasts({.min = 0, .max = 0, .count = 0, .sum = 0},
                            {.min = 0, .max = 0, .count = 0, .sum = 0}),
                 Failed(kInSetLastAverage, kLastAverageRule));
}

TEST_F(StatPointMergeDeathTest, EndsAtANegativeLastAverage) {
    EXPECT_DEATH(MergeLasts({.min = 1, .max = 2, .count = 2, .sum = -4},
                            {.min = 1, .max = 2, .count = 2, .sum = -4}),
                 Failed(kInSetLastAverage, kLastAverageRule));
}

TEST_F(StatPointMergeDeathTest, EndsWhenACopiedLastAverageBreaksItsRule) {
    EXPECT_DEATH(MergeLasts({}, {.min = 1, .max = 2, .count = 2, .sum = 3, .average = -0.5}),
                 Failed(kInSetLastAverage, kLastAverageRule));
}

TEST_F(StatPointMergeDeathTest, ChecksTheLastsOnlyOnceTheirAverageIsWorkedOut) {
    EXPECT_DEATH(MergeLasts({.min = 3, .count = 1, .sum = 0}, {.min = 3, .count = -1, .sum = 0}),
                 Failed(kInSetLastAverage, kLastAverageRule));
}

TEST_F(StatPointMergeDeathTest, LogsALastMaximumWithoutALastMinimum) {
    EXPECT_DEATH(MergeLasts({}, {.max = 5, .count = 0}),
                 Inconsistent("Assertion failed: last_min == -1 && last_max > 0"
                              " | last_min: -1 | last_max: 5 | last_count: 0"));
}

TEST_F(StatPointMergeDeathTest, LogsALastCountWithoutALastMinimum) {
    EXPECT_DEATH(MergeLasts({}, {.max = 0, .count = 3}),
                 Inconsistent("Assertion failed: last_count > 0 && last_min == -1"
                              " | last_min: -1 | last_max: 0 | last_count: 3"));
}

TEST_F(StatPointMergeDeathTest, LogsALastMinimumWithoutALastMaximum) {
    EXPECT_DEATH(MergeLasts({}, {.min = 2.5, .count = 0}),
                 Inconsistent("Assertion failed: last_min > 0 && last_max == -1"
                              " | last_min: 2.5 | last_max: -1 | last_count: 0"));
}

TEST_F(StatPointMergeDeathTest, LogsALastCountWithoutALastMaximum) {
    EXPECT_DEATH(MergeLasts({}, {.min = 0, .count = 3}),
                 Inconsistent("Assertion failed: last_count > 0 && last_max == -1"
                              " | last_min: 0 | last_max: -1 | last_count: 3"));
}

TEST_F(StatPointMergeDeathTest, ComplainsOfTheLastMaximumBeforeTheLastCountBesideNoMinimum) {
    EXPECT_DEATH(MergeLasts({}, {.max = 5, .count = 3}),
                 Inconsistent("Assertion failed: last_min == -1 && last_max > 0"
                              " | last_min: -1 | last_max: 5 | last_count: 3"));
}

TEST_F(StatPointMergeDeathTest, ComplainsOfTheLastMinimumBeforeTheLastCountBesideNoMaximum) {
    EXPECT_DEATH(MergeLasts({}, {.min = 2, .count = 3}),
                 Inconsistent("Assertion failed: last_min > 0 && last_max == -1"
                              " | last_min: 2 | last_max: -1 | last_count: 3"));
}

TEST_F(StatPointMergeDeathTest, ChecksTheResultOfTheMergeNotTheParts) {
    EXPECT_DEATH(MergeLasts({.max = 0, .count = 2, .sum = 2}, {.max = 4, .count = 3, .sum = 3}),
                 Inconsistent("Assertion failed: last_min == -1 && last_max > 0"
                              " | last_min: -1 | last_max: 4 | last_count: 5"));
}

TEST_F(StatPointMergeDeathTest, TakesAnEmptyLastMinimumOfTheOtherForTheSmallerOne) {
    EXPECT_DEATH(MergeLasts({.min = 3, .max = 7, .count = 4, .sum = 18}, {.max = 5, .count = 0}),
                 Inconsistent("Assertion failed: last_min == -1 && last_max > 0"
                              " | last_min: -1 | last_max: 7 | last_count: 4"));
}

TEST_F(StatPointMergeDeathTest, ChecksItsOwnLastsWhereTheOtherHasNone) {
    EXPECT_DEATH(MergeLasts({.count = 3}, {}),
                 Inconsistent("Assertion failed: last_count > 0 && last_min == -1"
                              " | last_min: -1 | last_max: -1 | last_count: 3"));
}

class StatPointAddDeathTest : public StatPointEndsTheProcess {
protected:
    static void Add(const Item& own, const Item& other) {
        BarePoint point(own);
        ShowAtTheEnd(point);
        point& BarePoint(other);
    }
};

TEST_F(StatPointAddDeathTest, EndsAtTheSumOfTwoEmptyAverages) {
    EXPECT_DEATH(Add(FilledAt(10, -1), FilledAt(20, -1)), Failed(kInSetAverage, kAverageRule));
}

TEST_F(StatPointAddDeathTest, EndsAtTheSumOfTwoEmptyLastAverages) {
    const Item noLastAverage = With(kFullRecord, &Item::lastAverage, -1);
    EXPECT_DEATH(Add(noLastAverage, noLastAverage), Failed(kInSetLastAverage, kLastAverageRule));
}

TEST_F(StatPointAddDeathTest, HasAddedWhatStandsBeforeTheAverageByThen) {
    EXPECT_DEATH(Add(FilledAt(10, -1), FilledAt(20, -1)),
                 AtTheEnd("10 -2 -2 -2 -2 -2 -2 -1 -1 -1 -1 -1 -1"));
}

TEST_F(StatPointAddDeathTest, HasAddedEverythingElseWhenTheLastAverageBreaksItsRule) {
    const Item noLastAverage = With(FilledAt(10, 1), &Item::lastAverage, -1);
    EXPECT_DEATH(Add(noLastAverage, noLastAverage), AtTheEnd("10 2 2 2 2 2 2 2 2 2 2 -2 2"));
}

class StatPointDivideDeathTest : public StatPointEndsTheProcess {
protected:
    static void Divide(const Item& own, int n) {
        BarePoint point(own);
        ShowAtTheEnd(point);
        point / n;
    }
};

TEST_F(StatPointDivideDeathTest, EndsAtTheHalfOfAnEmptyAverage) {
    EXPECT_DEATH(Divide(With(kFullRecord, &Item::average, -1), 2),
                 Failed(kInSetAverage, kAverageRule));
}

TEST_F(StatPointDivideDeathTest, EndsAtTheHalfOfAnEmptyLastAverage) {
    EXPECT_DEATH(Divide(With(kFullRecord, &Item::lastAverage, -1), 2),
                 Failed(kInSetLastAverage, kLastAverageRule));
}

TEST_F(StatPointDivideDeathTest, EndsAtAnEmptyPointToo) {
    EXPECT_DEATH(Divide(kEmptyRecord, 2), Failed(kInSetAverage, kAverageRule));
}

TEST_F(StatPointDivideDeathTest, EndsForANegativeDivisor) {
    EXPECT_DEATH(Divide(kFullRecord, -2), Failed(kInSetAverage, kAverageRule));
}

TEST_F(StatPointDivideDeathTest, HasDividedWhatStandsBeforeTheAverageByThen) {
    EXPECT_DEATH(Divide(FilledAt(10, -1), 2),
                 AtTheEnd("10 -0.5 -0.5 -0.5 -0.5 -0.5 -0.5 -1 -1 -1 -1 -1 -1"));
}

TEST_F(StatPointDivideDeathTest, HasDividedEverythingElseWhenTheLastAverageBreaksItsRule) {
    EXPECT_DEATH(Divide(With(FilledAt(10, 4), &Item::lastAverage, -1), 2),
                 AtTheEnd("10 2 2 2 2 2 2 2 2 2 2 -0.5 2"));
}

// ---------------------------------------------------------- as a collectable, and its slots
TEST(StatPointAsCollectable, MakesPlainCollectablesAsNewSpeciesAndAsCopy) {
    const BarePoint point(kFullRecord);
    const std::unique_ptr<RWCollectable> species(point.newSpecies());
    const std::unique_ptr<RWCollectable> copied(point.copy());
    const RWCollectable& speciesObject = *species;
    const RWCollectable& copiedObject = *copied;
    EXPECT_EQ(typeid(speciesObject), typeid(RWCollectable));
    EXPECT_EQ(typeid(copiedObject), typeid(RWCollectable));
}

TEST(StatPointAsCollectable, IsItsOwnSelf) {
    BarePoint point;
    const BarePoint& constant = point;
    EXPECT_EQ(point.self(), &point);
    EXPECT_EQ(constant.self(), &point);
}

TEST(StatPointAsCollectable, StoresNothing) {
    BarePoint point(kFullRecord);
    point.saveGuts(SomeStream<RWFile>());
    point.saveGuts(SomeStream<RWvostream>());
    point.restoreGuts(SomeStream<RWFile>());
    point.restoreGuts(SomeStream<RWvistream>());
    EXPECT_EQ(point.binaryStoreSize(), 0U);
    EXPECT_EQ(point.GetValues(), kFullRecord);
}

TEST(StatPointAsCollectable, IsEndedThroughTheCollectable) {
    struct Ended : BarePoint {
        explicit Ended(bool& ended) : m_ended(ended) {}
        ~Ended() override { m_ended = true; }
        bool& m_ended;
    };
    bool ended = false;
    const RWCollectable* const object = new Ended(ended);
    delete object;
    EXPECT_TRUE(ended);
}

}  // namespace
