#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "kzstatpoint.h"
#include "support/capturing_log.h"
#include "support/literally.h"
#include "support/points.h"

namespace {

using Types = CKZStatPointTypeEnum;
using Item = MeasurementArrayItem;
using Texts = std::vector<std::string>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

const std::type_info& ClassOf(const CKZStatPoint& point) {
    return typeid(point);
}

template <class Kind>
constexpr bool kIsMadeLikeEveryKind =
    std::is_base_of_v<CKZStatPoint, Kind> && sizeof(Kind) == sizeof(CKZStatPoint) &&
    std::is_default_constructible_v<Kind>&& std::is_constructible_v<Kind, Item>&& std::
        is_constructible_v<Kind, const CKZStatPoint&>&& std::is_copy_constructible_v<
            Kind>&& std::is_copy_assignable_v<Kind>;

static_assert(kIsMadeLikeEveryKind<CKZStatPointMeasurement>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointTimer>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointCounter>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointAccumulator>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointLoadSize>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointTransactionCounter>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointTransactionTimer>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointTransactionReasonCounter>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointMeasurementPerSec>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointCounterPerSec>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointPerfMon>);
static_assert(kIsMadeLikeEveryKind<CKZStatPointAccumulatorPerSec>);

// -------------------------------------------------------------------------------- every kind

class EveryPointKind : public testing::TestWithParam<PointKind> {
protected:
    static PointOwner Make(const Item& record) { return GetParam().make(record); }
};

INSTANTIATE_TEST_SUITE_P(Kind, EveryPointKind, testing::ValuesIn(kPointKinds),
                         testing::PrintToStringParamName());

TEST_P(EveryPointKind, HasTheNameOfItsClass) {
    EXPECT_STREQ(Make(kFullRecord)->nameOf(), GetParam().name);
}

TEST_P(EveryPointKind, TellsItsType) {
    const PointOwner point = Make(kFullRecord);
    Types::PointType type = Types::NotSet;
    point->GetType(type);
    EXPECT_EQ(point->GetType(), GetParam().type);
    EXPECT_EQ(type, GetParam().type);
}

TEST_P(EveryPointKind, HasItsMask) {
    EXPECT_EQ(Make(kFullRecord)->GetMask(), GetParam().mask);
}

TEST_P(EveryPointKind, HasItsCurrentStatistic) {
    const PointOwner point = Make(kFullRecord);
    const double value = GetParam().current == StatLastSum ? 18 : 4.5;
    EXPECT_EQ(point->GetCurrentValueIndex(), GetParam().current);
    EXPECT_EQ(point->GetCurrentValue(), value);
    EXPECT_EQ(point->GetValueByType(GetParam().current), value);
    EXPECT_EQ(point->GetValueByType(StatCurrentValue), value);
}

TEST_P(EveryPointKind, HasItsCurrentStatisticInItsMask) {
    const PointOwner point = Make(kFullRecord);
    EXPECT_NE(point->GetMask() & (1 << point->GetCurrentValueIndex()), 0);
}

TEST_P(EveryPointKind, IsEmptyAtFirst) {
    EXPECT_EQ(GetParam().makeEmpty()->GetValues(), kEmptyRecord);
}

TEST_P(EveryPointKind, TakesTheValuesOfARecord) {
    EXPECT_EQ(Make(kNumberedRecord)->GetValues(), kNumberedRecord);
}

TEST_P(EveryPointKind, TakesTheValuesOfAPointOfAnyKind) {
    for (const PointKind& other : kPointKinds) {
        const PointOwner converted = GetParam().convert(*other.make(kNumberedRecord));
        EXPECT_EQ(converted->GetValues(), kNumberedRecord) << other;
        EXPECT_EQ(converted->GetType(), GetParam().type) << other;
    }
}

TEST_P(EveryPointKind, StaysWhatItIsWhenAPointOfAnotherKindIsAssigned) {
    for (const PointKind& other : kPointKinds) {
        const PointOwner point = Make(kFullRecord);
        *point = *other.make(kNumberedRecord);
        EXPECT_EQ(point->GetValues(), kNumberedRecord) << other;
        EXPECT_EQ(point->GetType(), GetParam().type) << other;
    }
}

TEST_P(EveryPointKind, ClonesToADistinctPointOfItsClass) {
    const PointOwner point = Make(kNumberedRecord);
    const PointOwner clone(point->Clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_NE(clone, point);
    EXPECT_EQ(ClassOf(*clone), *GetParam().classInfo);
    EXPECT_EQ(clone->GetValues(), kNumberedRecord);
}

TEST_P(EveryPointKind, KeepsACloneApartFromItself) {
    const PointOwner point = Make(kNumberedRecord);
    const PointOwner clone(point->Clone());
    clone->SetEmpty();
    EXPECT_EQ(point->GetValues(), kNumberedRecord);
}

TEST_P(EveryPointKind, ClonesAveragesThatBreakTheirRule) {
    const Item broken = With(With(kFullRecord, &Item::average, -5), &Item::lastAverage, -0.5);
    EXPECT_EQ(PointOwner(Make(broken)->Clone())->GetValues(), broken);
}

TEST_P(EveryPointKind, HasTheClassIdentifierOfTheCollectable) {
    EXPECT_EQ(Make(kFullRecord)->isA(), RWCollectable::kClassId);
}

TEST_P(EveryPointKind, MakesPlainCollectablesAsNewSpeciesAndAsCopy) {
    const PointOwner point = Make(kFullRecord);
    const std::unique_ptr<RWCollectable> species(point->newSpecies());
    const std::unique_ptr<RWCollectable> copied(point->copy());
    const RWCollectable& speciesObject = *species;
    const RWCollectable& copiedObject = *copied;
    EXPECT_EQ(typeid(speciesObject), typeid(RWCollectable));
    EXPECT_EQ(typeid(copiedObject), typeid(RWCollectable));
}

TEST_P(EveryPointKind, IsEqualToPointsOfItsOwnKindOnly) {
    const PointOwner point = Make(kFullRecord);
    for (const PointKind& other : kPointKinds) {
        const PointOwner same = other.make(kFullRecord);
        EXPECT_EQ(point->isEqual(same.get()), other.type == GetParam().type) << other;
    }
}

TEST_P(EveryPointKind, IsEqualAcrossTimesAndStandardDeviations) {
    const PointOwner point = Make(kFullRecord);
    for (const auto field : {&Item::time, &Item::stdev, &Item::lastStdev})
        EXPECT_TRUE(point->isEqual(Make(With(kFullRecord, field, 99)).get()));
}

TEST_P(EveryPointKind, ComesAfterAPointOfAnotherKindAtItsTime) {
    const PointOwner point = Make(kFullRecord);
    for (const PointKind& other : kPointKinds) {
        const PointOwner same = other.make(kFullRecord);
        EXPECT_EQ(point->compareTo(same.get()), other.type == GetParam().type ? 0 : 1) << other;
    }
}

TEST_P(EveryPointKind, TakesAWholeRecordWhileItIsEmpty) {
    const PointOwner point = GetParam().makeEmpty();
    point->AddValues(kNumberedRecord);
    EXPECT_EQ(point->GetValues(), kNumberedRecord);
}

TEST_P(EveryPointKind, MergesByTheSameRules) {
    const PointOwner point = Make(kFullRecord);
    EXPECT_EQ(&(*point + *Make(kFurtherRecord)), point.get());
    EXPECT_EQ(point->GetValues(), kFullAndFurther);
}

TEST_P(EveryPointKind, MergesAPointOfAnyKind) {
    for (const PointKind& other : kPointKinds) {
        const PointOwner point = Make(kFullRecord);
        *point + *other.make(kFurtherRecord);
        EXPECT_EQ(point->GetValues(), kFullAndFurther) << other;
        EXPECT_EQ(point->GetType(), GetParam().type) << other;
    }
}

TEST_P(EveryPointKind, CountsAPointThatIsMergedIntoAnEmptyOneTwice) {
    const PointOwner point = GetParam().makeEmpty();
    *point + *Make(kFullRecord);
    EXPECT_EQ(point->GetCount(), 16);
    EXPECT_EQ(point->GetSum(), 80);
    EXPECT_EQ(point->GetAverage(), 5);
}

TEST_P(EveryPointKind, AddsAndDividesByTheSameRules) {
    const PointOwner point = Make(kFullRecord);
    *point&* Make(kFullRecord);
    *point / 2;
    EXPECT_EQ(point->GetValues(), kFullRecord);
}

class EveryPointKindDeathTest : public EveryPointKind {
protected:
    EveryPointKindDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

INSTANTIATE_TEST_SUITE_P(Kind, EveryPointKindDeathTest, testing::ValuesIn(kPointKinds),
                         testing::PrintToStringParamName());

TEST_P(EveryPointKindDeathTest, RefusesToMergeAnEmptyPoint) {
    const PointOwner point = Make(kFullRecord);
    EXPECT_DEATH(
        *point + *GetParam().makeEmpty(),
        Literally("Assertion `0 && \"Attempting to add an invalid CKZStatPoint with time == -1\"'"
                  " failed"));
}

// ------------------------------------------------------------ which kind has which statistics

/// The kinds whose mask has the bit of a statistic.
Texts KindsWith(StatisticsDataType statistic) {
    Texts names;
    for (const PointKind& kind : kPointKinds)
        if ((kind.makeEmpty()->GetMask() & (1 << statistic)) != 0) names.push_back(kind.name);
    return names;
}

TEST(PointKinds, AllHaveMinimumMaximumAndAverage) {
    for (const StatisticsDataType statistic : {StatMin, StatMax, StatAverage})
        EXPECT_EQ(KindsWith(statistic).size(), 12U) << statistic;
}

TEST(PointKinds, HaveACountWhereTheyAreTimers) {
    EXPECT_EQ(KindsWith(StatCount), (Texts{"CKZStatPointTimer", "CKZStatPointTransactionTimer"}));
}

TEST(PointKinds, HaveASumWhereTheyCountWithoutARate) {
    EXPECT_EQ(KindsWith(StatSum),
              (Texts{"CKZStatPointCounter", "CKZStatPointAccumulator",
                     "CKZStatPointTransactionCounter", "CKZStatPointTransactionReasonCounter"}));
}

TEST(PointKinds, HaveEitherTheLastSumOrTheLastAverage) {
    EXPECT_EQ(KindsWith(StatLastSum).size(), 7U);
    EXPECT_EQ(KindsWith(StatLastAverage).size(), 5U);
}

TEST(PointKinds, HaveNoneOfTheOtherStatistics) {
    for (const StatisticsDataType statistic :
         {StatSTDev, StatLastMin, StatLastMax, StatLastCount, StatLastSTDev, StatCurrentValue})
        EXPECT_EQ(KindsWith(statistic), Texts{}) << statistic;
}

TEST(PointKinds, CopyAndAssignWithinAKind) {
    const CKZStatPointTimer timer(kNumberedRecord);
    const CKZStatPointTimer copy = timer;
    CKZStatPointTimer assigned;
    assigned = timer;
    EXPECT_EQ(copy.GetValues(), kNumberedRecord);
    EXPECT_EQ(assigned.GetValues(), kNumberedRecord);
}

TEST(PointKinds, TurnATimerIntoACounter) {
    const CKZStatPointTimer timer(kNumberedRecord);
    CKZStatPointCounter counter(timer);
    EXPECT_EQ(counter.GetValues(), kNumberedRecord);
    EXPECT_EQ(counter.GetType(), Types::Counter);
    EXPECT_EQ(counter.GetCurrentValue(), kNumberedRecord.lastSum);
}

// ----------------------------------------------------------------------- folding, by the kind

std::vector<PointKind> KindsThatFoldSamples() {
    std::vector<PointKind> kinds;
    for (const PointKind& kind : kPointKinds)
        if (kind.type != Types::LoadSize) kinds.push_back(kind);
    return kinds;
}

class SampledPointKind : public EveryPointKind {};

INSTANTIATE_TEST_SUITE_P(Kind, SampledPointKind, testing::ValuesIn(KindsThatFoldSamples()),
                         testing::PrintToStringParamName());

TEST_P(SampledPointKind, FoldsARecordAsFurtherSamples) {
    const PointOwner point = Make(kFullRecord);
    point->AddValues(kFurtherRecord);
    EXPECT_EQ(point->GetValues(), kFullAndFurther);
}

TEST(PointKinds, FoldSamplesInAllButTheLoadSize) {
    int folding = 0;
    for (const PointKind& kind : kPointKinds) {
        const PointOwner point = kind.make(kFullRecord);
        point->AddValues(kFurtherRecord);
        folding += point->GetValues() == kFullAndFurther;
    }
    EXPECT_EQ(folding, 11);
}

/// A load size of `own` after it has taken in `record`.
Item FoldedLevel(const Item& own, const Item& record) {
    CKZStatPointLoadSize point(own);
    point.AddValues(record);
    return point.GetValues();
}

/// What becomes of one value of a full load size when a record with nothing but that value comes
/// in.
double FoldedLevel(double Item::*field, double own, double addend) {
    return FoldedLevel(With(kFullRecord, field, own), With(kEmptyRecord, field, addend)).*field;
}

TEST(LoadSizePoint, FoldsARecordIntoSumsThatTheAveragesCarryToo) {
    EXPECT_EQ(
        FoldedLevel(kFullRecord, kFurtherRecord),
        RecordOf(10, {.min = 1, .max = 12, .count = 10, .sum = 50, .average = 50, .stdev = 1.5},
                 {.min = 2, .max = 8, .count = 5, .sum = 25, .average = 25, .stdev = 0.5}));
}

TEST(LoadSizePoint, TakesAWholeRecordByItsEmptyTimeAlone) {
    EXPECT_EQ(FoldedLevel(With(kFullRecord, &Item::time, -1), kNumberedRecord), kNumberedRecord);
    EXPECT_NE(FoldedLevel(With(kEmptyRecord, &Item::time, 10), kNumberedRecord), kNumberedRecord);
}

TEST(LoadSizePoint, KeepsItsTime) {
    for (const double time : {-1.0, 0.0, 5.0, 20.0})
        EXPECT_EQ(FoldedLevel(kFullRecord, With(kNumberedRecord, &Item::time, time)).time, 10)
            << time;
}

TEST(LoadSizePoint, AddsSumsAndCountsWhateverTheirSign) {
    for (const auto field : {&Item::sum, &Item::count, &Item::lastSum, &Item::lastCount}) {
        EXPECT_EQ(FoldedLevel(field, 10, 2.5), 12.5);
        EXPECT_EQ(FoldedLevel(field, 10, 0), 10);
        EXPECT_EQ(FoldedLevel(field, 10, -1), 9);
        EXPECT_EQ(FoldedLevel(field, 10, -25), -15);
    }
}

TEST(LoadSizePoint, LowersSumsAndCountsByOneForAnEmptyRecord) {
    EXPECT_EQ(FoldedLevel(kFullRecord, kEmptyRecord),
              RecordOf(10, {.min = 2, .max = 9, .count = 7, .sum = 39, .average = 39, .stdev = 1.5},
                       {.min = 3, .max = 7, .count = 3, .sum = 17, .average = 17, .stdev = 0.5}));
}

TEST(LoadSizePoint, CarriesSumsInItsAveragesThatTheSettersWouldRefuse) {
    const Item negative = With(With(kEmptyRecord, &Item::sum, -50), &Item::lastSum, -50);
    EXPECT_EQ(FoldedLevel(kFullRecord, negative).average, -10);
    EXPECT_EQ(FoldedLevel(kFullRecord, negative).lastAverage, -32);
    EXPECT_EQ(FoldedLevel(kFullRecord, With(kEmptyRecord, &Item::sum, kInfinity)).average,
              kInfinity);
}

TEST(LoadSizePoint, TakesTheSmallerMinimumZeroIncluded) {
    EXPECT_EQ(FoldedLevel(&Item::min, 3, 2), 2);
    EXPECT_EQ(FoldedLevel(&Item::min, 3, 4), 3);
    EXPECT_EQ(FoldedLevel(&Item::min, 3, 0), 0);
    EXPECT_EQ(FoldedLevel(&Item::min, 3, -1), 3);
}

TEST(LoadSizePoint, FillsAnEmptyMinimum) {
    EXPECT_EQ(FoldedLevel(&Item::min, -1, 5), 5);
}

TEST(LoadSizePoint, TakesTheSmallerLastMinimumZeroIncluded) {
    EXPECT_EQ(FoldedLevel(&Item::lastMin, 3, 2), 2);
    EXPECT_EQ(FoldedLevel(&Item::lastMin, 3, 4), 3);
    EXPECT_EQ(FoldedLevel(&Item::lastMin, 3, 0), 0);
    EXPECT_EQ(FoldedLevel(&Item::lastMin, 3, -1), 3);
}

TEST(LoadSizePoint, DoesNotFillAnEmptyLastMinimum) {
    EXPECT_EQ(FoldedLevel(&Item::lastMin, -1, 5), -1);
}

TEST(LoadSizePoint, TakesTheGreaterMaximumOfTheRunAndOfTheSlice) {
    for (const auto maximum : {&Item::max, &Item::lastMax}) {
        EXPECT_EQ(FoldedLevel(maximum, 3, 4), 4);
        EXPECT_EQ(FoldedLevel(maximum, 3, 2), 3);
        EXPECT_EQ(FoldedLevel(maximum, 3, -1), 3);
        EXPECT_EQ(FoldedLevel(maximum, -1, 0), 0);
    }
}

// -------------------------------------------------------- the stand-in for the later totals

/// What the stand-in of a point of `kFullRecord`, whose time is 10, holds at time 20.
Item FakeOfFullAtTwenty(FakePoint fake) {
    switch (fake) {
        case FakePoint::Range:
            return RecordOf(20, {.min = 2, .max = 9, .count = 8, .sum = 40});
        case FakePoint::LastMinimum:
            return RecordOf(20, {.min = 2, .count = 8, .sum = 40}, {.min = 3});
        case FakePoint::LoadSize:
            return RecordOf(20, {.min = 2, .max = 9, .sum = 20});
        case FakePoint::None:
            break;
    }
    return kEmptyRecord;
}

PointOwner FakeOf(CKZStatPoint& point, double time) {
    return PointOwner(point.CloneFakeForTotal(time));
}

PointOwner FakeOf(const PointKind& kind, const Item& record, double time) {
    return FakeOf(*kind.make(record), time);
}

std::vector<PointKind> KindsThatFake(bool wanted) {
    std::vector<PointKind> kinds;
    for (const PointKind& kind : kPointKinds)
        if ((kind.fake != FakePoint::None) == wanted) kinds.push_back(kind);
    return kinds;
}

class PointKindWithAFake : public EveryPointKind {};
class PointKindWithoutAFake : public EveryPointKind {};

INSTANTIATE_TEST_SUITE_P(Kind, PointKindWithAFake, testing::ValuesIn(KindsThatFake(true)),
                         testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(Kind, PointKindWithoutAFake, testing::ValuesIn(KindsThatFake(false)),
                         testing::PrintToStringParamName());

TEST(PointKinds, FakeTotalsInEightKinds) {
    int faking = 0;
    for (const PointKind& kind : kPointKinds) faking += FakeOf(kind, kFullRecord, 20) != nullptr;
    EXPECT_EQ(faking, 8);
}

TEST_P(PointKindWithAFake, FakesADistinctPointOfItsClassWithItsTotals) {
    const PointOwner point = Make(kFullRecord);
    const PointOwner fake = FakeOf(*point, 20);
    ASSERT_NE(fake, nullptr);
    EXPECT_NE(fake, point);
    EXPECT_EQ(ClassOf(*fake), *GetParam().classInfo);
    EXPECT_EQ(fake->GetValues(), FakeOfFullAtTwenty(GetParam().fake));
    EXPECT_EQ(point->GetValues(), kFullRecord);
}

TEST_P(PointKindWithAFake, FakesNothingAtItsOwnTimeOrBefore) {
    EXPECT_EQ(FakeOf(GetParam(), kFullRecord, 10), nullptr);
    EXPECT_EQ(FakeOf(GetParam(), kFullRecord, 9.999), nullptr);
    EXPECT_EQ(FakeOf(GetParam(), kFullRecord, -1), nullptr);
}

TEST_P(PointKindWithAFake, FakesRightAfterItsOwnTime) {
    EXPECT_NE(FakeOf(GetParam(), kFullRecord, std::nextafter(10, 11)), nullptr);
}

TEST_P(PointKindWithAFake, FakesWhereEitherTimeIsNoNumber) {
    EXPECT_NE(FakeOf(GetParam(), With(kFullRecord, &Item::time, kNaN), 20), nullptr);
    EXPECT_NE(FakeOf(GetParam(), kFullRecord, kNaN), nullptr);
    EXPECT_NE(FakeOf(GetParam(), With(kFullRecord, &Item::time, kNaN), kNaN), nullptr);
}

TEST_P(PointKindWithAFake, TakesOverAveragesOfNeitherRunNorSlice) {
    const Item broken = With(With(kFullRecord, &Item::average, -5), &Item::lastAverage, -0.5);
    EXPECT_EQ(FakeOf(GetParam(), broken, 20)->GetAverage(), -1);
    EXPECT_EQ(FakeOf(GetParam(), broken, 20)->GetLastAverage(), -1);
}

TEST_P(PointKindWithoutAFake, FakesNothingWhateverTheTimes) {
    for (const double time : {20.0, 10.0, 1.0, kInfinity, kNaN})
        EXPECT_EQ(FakeOf(GetParam(), kFullRecord, time), nullptr) << time;
}

TEST_P(EveryPointKind, TracesAFakeOnlyWhereItIsALoadSize) {
    CapturingLog log(RyPLogLevel::PerformanceDetail);
    FakeOf(GetParam(), kFullRecord, 20);
    EXPECT_EQ(log.Texts().size(), GetParam().type == Types::LoadSize ? 1U : 0U);
}

TEST(LastMinimumFake, HasTheLastMinimumInPlaceOfTheMaximum) {
    CKZStatPointTransactionTimer point(
        RecordOf(10, {.min = 1, .max = 9, .count = 10, .sum = 50}, {.min = 4}));
    EXPECT_EQ(FakeOf(point, 20)->GetValues(),
              RecordOf(20, {.min = 1, .count = 10, .sum = 50}, {.min = 4}));
}

TEST(RangeFake, HasTheMaximumAndNoLastMinimum) {
    CKZStatPointTimer point(RecordOf(10, {.min = 1, .max = 9, .count = 10, .sum = 50}, {.min = 4}));
    EXPECT_EQ(FakeOf(point, 20)->GetValues(),
              RecordOf(20, {.min = 1, .max = 9, .count = 10, .sum = 50}));
}

double FakedLoadSum(double time, double sum, double later) {
    CKZStatPointLoadSize point(RecordOf(time, {.sum = sum}));
    return FakeOf(point, later)->GetSum();
}

TEST(LoadSizeFake, ScalesTheSumDownToTheLongerSpan) {
    EXPECT_EQ(FakedLoadSum(10, 30, 20), 15);
    EXPECT_EQ(FakedLoadSum(10, 30, 40), 7.5);
    EXPECT_EQ(FakedLoadSum(0, 30, 20), 0);
}

TEST(LoadSizeFake, MultipliesBeforeItDivides) {
    EXPECT_EQ(FakedLoadSum(10, 1e308, 20), kInfinity);
}

TEST(LoadSizeFake, ScalesAnEmptySumLikeAnyOther) {
    EXPECT_EQ(FakedLoadSum(10, -1, 20), -0.5);
}

TEST(LoadSizeFake, HasNoCount) {
    CKZStatPointLoadSize point(kFullRecord);
    EXPECT_EQ(FakeOf(point, 20)->GetCount(), -1);
}

/// What is traced while a load size at `time` is faked for a later one.
Texts TracesOfFake(double time, double later) {
    CapturingLog log(RyPLogLevel::PerformanceDetail);
    CKZStatPointLoadSize point(With(kFullRecord, &Item::time, time));
    FakeOf(point, later);
    return log.Texts();
}

Texts OneTraceWith(const std::string& time) {
    return {" Clone Fake point for Total LoadSize time = %d \t" + time + "\t"};
}

TEST(LoadSizeFake, TracesTheLaterTimeTruncatedTowardZero) {
    EXPECT_EQ(TracesOfFake(10, 20), OneTraceWith("20"));
    EXPECT_EQ(TracesOfFake(10, 20.9), OneTraceWith("20"));
    EXPECT_EQ(TracesOfFake(-10, -5.9), OneTraceWith("-5"));
}

TEST(LoadSizeFake, TracesTheNearestIntForATimePastTheRangeAndZeroForNoNumber) {
    EXPECT_EQ(TracesOfFake(10, 1e300), OneTraceWith("2147483647"));
    EXPECT_EQ(TracesOfFake(10, kInfinity), OneTraceWith("2147483647"));
    EXPECT_EQ(TracesOfFake(-1e300, -1e299), OneTraceWith("-2147483648"));
    EXPECT_EQ(TracesOfFake(10, kNaN), OneTraceWith("0"));
}

TEST(LoadSizeFake, TracesNothingWhereItFakesNothing) {
    EXPECT_EQ(TracesOfFake(10, 10), Texts{});
    EXPECT_EQ(TracesOfFake(10, 5), Texts{});
}

TEST(LoadSizeFake, TracesUnderTheLibrarysScopeAndItsOwnFile) {
    CapturingLog log(RyPLogLevel::Trace);
    CKZStatPointLoadSize point(kFullRecord);
    FakeOf(point, 20);
    ASSERT_EQ(log.Records().size(), 1U);
    const auto record = log.Records().front();
    EXPECT_EQ(record.level, RyPLogLevel::Trace);
    EXPECT_EQ(record.scope, "KZStatisticGenerator");
    EXPECT_EQ(record.file, "kzstatpoint.cpp");
}

TEST(LoadSizeFake, IsMadeWhereTracesAreHeldBackToo) {
    CapturingLog log(RyPLogLevel::Incomplete);
    CKZStatPointLoadSize point(kFullRecord);
    EXPECT_EQ(FakeOf(point, 20)->GetSum(), 20);
    EXPECT_EQ(log.Texts(), Texts{});
}

}  // namespace
