#include "statistics.h"

#include <gmock/gmock.h>

#include <cmath>
#include <random>

#include "support/messagemaker.h"

namespace {

using kzstat::Deviation;
using testing::Eq;
using testing::Optional;
using Types = CKZStatPointTypeEnum;

/// The record of values that took the way of all values: added up by the library, written into a
/// message and read from it.
CKZStatMessageRecord RecordOf(const std::vector<double>& values,
                              Types::PointType type = Types::Timer) {
    MessageMaker messages;
    const std::string text = messages.NextSlice({{"name", type, values}});
    CKZStatMessage message;
    std::size_t fault = 0;
    EXPECT_TRUE(message.Read(text.data(), text.size(), CKZStatMessage::FullRecords, fault));
    return message.GetRecords().front();
}

/// By Welford's method in extended precision, which never takes large squares from one another.
double DeviationByWelford(const std::vector<double>& values) {
    long double mean = 0;
    long double squares = 0;
    long double count = 0;
    for (const double value : values) {
        count += 1;
        const long double step = value - mean;
        mean += step / count;
        squares += step * (value - mean);
    }
    return static_cast<double>(std::sqrt(squares / count));
}

std::vector<double> RandomValues(double mean, double deviation, int count) {
    std::mt19937_64 random(7);
    std::normal_distribution<double> distribution(mean, deviation);
    std::vector<double> values;
    for (int i = 0; i < count; ++i) values.push_back(distribution(random));
    return values;
}

void ExpectWithinItsError(const std::vector<double>& values) {
    const Deviation deviation = kzstat::StandardDeviation(RecordOf(values).totals);
    EXPECT_GE(deviation.value, 0);
    EXPECT_LE(std::abs(deviation.value - DeviationByWelford(values)), deviation.error);
}

TEST(StandardDeviation, OfFourValues) {
    const Deviation deviation = kzstat::StandardDeviation(RecordOf({2, 4, 4, 6}).totals);
    EXPECT_NEAR(std::sqrt(2), deviation.value, deviation.error);
}

TEST(StandardDeviation, IsExactToThreeDigitsOnValuesThatSpread) {
    const std::vector<double> values = RandomValues(100, 20, 10000);
    const Deviation deviation = kzstat::StandardDeviation(RecordOf(values).totals);
    EXPECT_LT(deviation.error, deviation.value / 1000);
    ExpectWithinItsError(values);
}

TEST(StandardDeviation, StaysWithinItsErrorWhereTheTermsCancelOut) {
    ExpectWithinItsError({1e9 + 4, 1e9 + 7, 1e9 + 13, 1e9 + 16});
    ExpectWithinItsError(std::vector<double>(100000, 0.1));
    ExpectWithinItsError({1e15, 1e15 + 1, 1e15 + 2});
    for (const double mean : {-1e8, 1e3, 1e6, 1e9})
        for (const double spread : {1e-4, 1e-2, 1.0, 100.0})
            ExpectWithinItsError(RandomValues(mean, spread, 5000));
}

TEST(StandardDeviation, IsNeverBelowZeroNorNoNumber) {
    // Rounded sums whose difference is negative.
    const Deviation deviation =
        kzstat::StandardDeviation({1e6, 1e6, 3, 3000000.001, 2999999999999.999, 1e6});
    EXPECT_EQ(0, deviation.value);
    EXPECT_GT(deviation.error, 0);
}

TEST(Statistics, OfATimerAreThoseThatItsKindDeclares) {
    const kzstat::Statistics row = kzstat::StatisticsOf(RecordOf({10, 20, 60}), 2);
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
    const kzstat::Statistics row = kzstat::StatisticsOf(RecordOf({1, 1, 4}, Types::Counter), 2);
    EXPECT_THAT(row.sum, Optional(6.0));
    EXPECT_THAT(row.rate, Optional(3.0));
    EXPECT_THAT(row.current, Optional(6.0));
    EXPECT_FALSE(row.count);
    EXPECT_FALSE(row.deviation);
}

TEST(Statistics, OfALoadSizeHaveNoRate) {
    const kzstat::Statistics row = kzstat::StatisticsOf(RecordOf({20}, Types::LoadSize), 2);
    EXPECT_THAT(row.current, Optional(20.0));
    EXPECT_FALSE(row.rate);
    EXPECT_FALSE(row.count);
}

TEST(Statistics, WithoutValuesAreNone) {
    const kzstat::Statistics row = kzstat::StatisticsOf(RecordOf({}), 2);
    EXPECT_FALSE(row.minimum);
    EXPECT_FALSE(row.average);
    EXPECT_FALSE(row.deviation);
    EXPECT_FALSE(row.current);
    EXPECT_THAT(row.rate, Optional(0.0));
}

}  // namespace
