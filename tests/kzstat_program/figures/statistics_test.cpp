#include "figures/statistics.h"

#include <gmock/gmock.h>

#include "support/slicemaker.h"

namespace {

using testing::Eq;
using testing::Optional;
using Types = CKZStatPointTypeEnum;

/// The record of values that the library added up.
CKZStatMessageRecord RecordOf(const std::vector<double>& values,
                              Types::PointType type = Types::Timer) {
    return SliceMaker().NextSlice({{"name", type, values}}).records.front();
}

TEST(Statistics, OfATimerAreThoseThatItsKindDeclares) {
    const kzstatprogram::Statistics row = kzstatprogram::StatisticsOf(RecordOf({10, 20, 60}), 2);
    EXPECT_STREQ("ms", row.unit);
    EXPECT_THAT(row.count, Optional(3.0));
    EXPECT_THAT(row.rate, Optional(1.5));
    EXPECT_THAT(row.minimum, Optional(10.0));
    EXPECT_THAT(row.average, Optional(30.0));
    EXPECT_THAT(row.maximum, Optional(60.0));
    EXPECT_THAT(row.current, Optional(30.0));
    EXPECT_TRUE(row.deviation);
    EXPECT_FALSE(row.sum);
}

TEST(Statistics, OfACounterAreItsSums) {
    const kzstatprogram::Statistics row =
        kzstatprogram::StatisticsOf(RecordOf({1, 1, 4}, Types::Counter), 2);
    EXPECT_THAT(row.sum, Optional(6.0));
    EXPECT_THAT(row.rate, Optional(3.0));
    EXPECT_THAT(row.current, Optional(6.0));
    EXPECT_FALSE(row.count);
    EXPECT_FALSE(row.deviation);
}

TEST(Statistics, OfALoadSizeHaveNoRate) {
    const kzstatprogram::Statistics row =
        kzstatprogram::StatisticsOf(RecordOf({20}, Types::LoadSize), 2);
    EXPECT_THAT(row.current, Optional(20.0));
    EXPECT_FALSE(row.rate);
    EXPECT_FALSE(row.count);
}

TEST(Statistics, KnowsTheReadingOfEachType) {
    EXPECT_TRUE(kzstatprogram::IsSampled(Types::Timer));
    EXPECT_FALSE(kzstatprogram::IsSampled(Types::Counter));
    EXPECT_TRUE(kzstatprogram::IsLevel(Types::LoadSize));
    EXPECT_FALSE(kzstatprogram::IsLevel(Types::Counter));
    EXPECT_FALSE(kzstatprogram::IsSampled(Types::NotSet));
    EXPECT_FALSE(kzstatprogram::IsLevel(Types::NotSet));
}

TEST(Statistics, OfValuesThatAreAllTheSameHaveNoDeviation) {
    const std::vector<double> same(1000, 12.3456789);
    const auto row = kzstatprogram::StatisticsOf(RecordOf(same), 2);
    EXPECT_EQ(row.deviation->value, 0);
    EXPECT_FALSE(kzstatprogram::BoundOfDeviation(*row.deviation));
}

TEST(Statistics, TellABoundOfTheDeviationOfWhichRoundingHasLeftNothing) {
    const auto row = kzstatprogram::StatisticsOf(RecordOf({1e12, 1e12 + 1e-3}), 2);
    EXPECT_GT(kzstatprogram::BoundOfDeviation(*row.deviation), 5e-4);
    const auto spread = kzstatprogram::StatisticsOf(RecordOf({10, 20}), 2);
    EXPECT_FALSE(kzstatprogram::BoundOfDeviation(*spread.deviation));
}

TEST(Statistics, WithoutValuesAreNone) {
    const kzstatprogram::Statistics row = kzstatprogram::StatisticsOf(RecordOf({}), 2);
    EXPECT_FALSE(row.minimum);
    EXPECT_FALSE(row.average);
    EXPECT_FALSE(row.deviation);
    EXPECT_FALSE(row.current);
    EXPECT_THAT(row.rate, Optional(0.0));
}

}  // namespace
