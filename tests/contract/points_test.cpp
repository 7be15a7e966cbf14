#include <gtest/gtest.h>

#include <memory>

#include "kzstatpoint.h"
#include "kzstatpointbuilder.h"

// What a host that is linked against the shared library does with points: make, derive, copy and
// destroy every kind.

namespace {

using Types = CKZStatPointTypeEnum;

constexpr MeasurementArrayItem kRecord = {10, 1, 9, 10, 50, 5, 2, 2, 8, 4, 20, 5, 1};

template <class Kind>
class PointOfEveryKind : public testing::Test {};

using Kinds =
    testing::Types<CKZStatPointMeasurement, CKZStatPointTimer, CKZStatPointCounter,
                   CKZStatPointAccumulator, CKZStatPointLoadSize, CKZStatPointTransactionCounter,
                   CKZStatPointTransactionTimer, CKZStatPointTransactionReasonCounter,
                   CKZStatPointMeasurementPerSec, CKZStatPointCounterPerSec, CKZStatPointPerfMon,
                   CKZStatPointAccumulatorPerSec>;
TYPED_TEST_SUITE(PointOfEveryKind, Kinds);

TYPED_TEST(PointOfEveryKind, IsMadeCopiedAndConverted) {
    const TypeParam fromRecord = kRecord;
    const TypeParam copy = fromRecord;
    const CKZStatPointTimer timer = kRecord;
    const TypeParam fromTimer = timer;
    TypeParam assigned;
    assigned = fromRecord;
    EXPECT_TRUE(copy.isEqual(&fromRecord));
    EXPECT_TRUE(fromTimer.isEqual(&fromRecord));
    EXPECT_TRUE(assigned.isEqual(&fromRecord));
}

TYPED_TEST(PointOfEveryKind, IsBuiltAgainFromItsType) {
    TypeParam point = kRecord;
    const std::unique_ptr<CKZStatPoint> built(
        CKZStatPointBuilder::BuildPoint(point.GetType(), kRecord));
    EXPECT_NE(dynamic_cast<TypeParam*>(built.get()), nullptr);
    EXPECT_TRUE(built->isEqual(&point));
}

TYPED_TEST(PointOfEveryKind, ClonesInAHostsOwnCollectionAndIsDeletedThroughItsBase) {
    TypeParam point = kRecord;
    const std::unique_ptr<RWCollectable> clone(point.Clone());
    EXPECT_TRUE(clone->isEqual(&point));
}

/// A host's own kind.
class Weighted : public CKZStatPointTimer {
public:
    using CKZStatPointTimer::CKZStatPointTimer;
    const char* nameOf() const override { return "Weighted"; }
};

TEST(PointOfAHost, DerivesFromAKind) {
    Weighted weighted(kRecord);
    const CKZStatPointTimer timer(kRecord);
    EXPECT_FALSE(weighted.isEqual(&timer));
    weighted + timer;
    EXPECT_EQ(weighted.GetCount(), 20);
}

}  // namespace
