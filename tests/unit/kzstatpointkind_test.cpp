#include "kzstatpointkind.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using Types = CKZStatPointTypeEnum;
using Kind = CKZStatPointKind;

TEST(PointKind, IsFoundByEachOfTheTwelveTypes) {
    int type = 1;
    for (const Kind& kind : Kind::All()) {
        EXPECT_EQ(kind.type, type);
        EXPECT_EQ(Kind::Find(kind.type), &kind);
        type *= 2;
    }
    EXPECT_EQ(type, 4096);
}

TEST(PointKind, IsMissingForWhatIsNoType) {
    for (const int type : {0, 3, 4096, -1, 1 << 30, static_cast<int>(0x80000000)})
        EXPECT_EQ(Kind::Find(static_cast<Types::PointType>(type)), nullptr) << type;
}

TEST(PointKind, HasItsName) {
    const char* const names[] = {"Measurement",       "Timer",
                                 "Counter",           "Accumulator",
                                 "LoadSize",          "TransactionCounter",
                                 "TransactionTimer",  "TransactionReasonCounter",
                                 "MeasurementPerSec", "CounterPerSec",
                                 "NTPerformance",     "AccumulatorPerSec"};
    for (std::size_t i = 0; i < 12; ++i) {
        EXPECT_STREQ(Kind::All()[i].name, names[i]);
        EXPECT_STREQ(MeasurementTypeStringNames[i], names[i]);
    }
}

TEST(PointKind, TakesTheValueOfASliceFromItsReading) {
    EXPECT_EQ(Kind::Find(Types::Timer)->CurrentValueIndex(), StatLastAverage);
    EXPECT_EQ(Kind::Find(Types::MeasurementPerSec)->CurrentValueIndex(), StatLastAverage);
    EXPECT_EQ(Kind::Find(Types::Counter)->CurrentValueIndex(), StatLastSum);
    EXPECT_EQ(Kind::Find(Types::LoadSize)->CurrentValueIndex(), StatLastSum);
}

TEST(PointKind, MeasuresDurationsInMilliseconds) {
    for (const Kind& kind : Kind::All()) {
        const bool isTimer = kind.type == Types::Timer || kind.type == Types::TransactionTimer;
        EXPECT_EQ(kind.isDuration, isTimer) << kind.name;
        EXPECT_STREQ(kind.unit, isTimer ? "ms" : "") << kind.name;
    }
}

TEST(PointKind, HasOneLevel) {
    for (const Kind& kind : Kind::All())
        EXPECT_EQ(kind.reading == Kind::Level, kind.type == Types::LoadSize) << kind.name;
}

TEST(PointKind, CountsTimersAndAddsUpSums) {
    const CKZStatAggregate values{1, 9, 4, 20, 120};
    EXPECT_EQ(Kind::Find(Types::Timer)->Flow(values), 4);
    EXPECT_EQ(Kind::Find(Types::Counter)->Flow(values), 20);
    EXPECT_EQ(Kind::Find(Types::MeasurementPerSec)->Flow(values), 20);
    EXPECT_EQ(Kind::Find(Types::LoadSize)->Flow(values), 20);
    EXPECT_TRUE(std::isnan(Kind::Find(Types::Measurement)->Flow(values)));
    EXPECT_TRUE(std::isnan(Kind::Find(Types::NTPerformance)->Flow(values)));
}

}  // namespace
