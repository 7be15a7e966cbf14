#include "kzstatpointbuilder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "support/capturing_log.h"
#include "support/concurrently.h"
#include "support/points.h"

namespace {

using Types = CKZStatPointTypeEnum;
using Texts = std::vector<std::string>;

static_assert(std::is_empty_v<CKZStatPointBuilder>);

const std::type_info& ClassOf(const CKZStatPoint& point) {
    return typeid(point);
}

PointOwner Built(int type, const MeasurementArrayItem& item) {
    return PointOwner(CKZStatPointBuilder::BuildPoint(static_cast<Types::PointType>(type), item));
}

PointOwner Built(int type) {
    return PointOwner(CKZStatPointBuilder::BuildPoint(static_cast<Types::PointType>(type)));
}

// ------------------------------------------------------------------------ types with a kind

class BuiltPoint : public testing::TestWithParam<PointKind> {};

INSTANTIATE_TEST_SUITE_P(Kind, BuiltPoint, testing::ValuesIn(kPointKinds),
                         testing::PrintToStringParamName());

TEST_P(BuiltPoint, IsOfTheClassOfItsType) {
    const PointOwner point = Built(GetParam().type, kNumberedRecord);
    ASSERT_NE(point, nullptr);
    EXPECT_EQ(ClassOf(*point), *GetParam().classInfo);
    EXPECT_EQ(point->GetType(), GetParam().type);
}

TEST_P(BuiltPoint, HasTheValuesOfTheRecord) {
    EXPECT_EQ(Built(GetParam().type, kNumberedRecord)->GetValues(), kNumberedRecord);
}

TEST_P(BuiltPoint, IsEmptyWithoutARecord) {
    const PointOwner point = Built(GetParam().type);
    ASSERT_NE(point, nullptr);
    EXPECT_EQ(ClassOf(*point), *GetParam().classInfo);
    EXPECT_EQ(point->GetValues(), kEmptyRecord);
}

TEST_P(BuiltPoint, IsAnotherOneEachTime) {
    const PointOwner first = Built(GetParam().type, kNumberedRecord);
    const PointOwner second = Built(GetParam().type, kNumberedRecord);
    EXPECT_NE(first, second);
    first->SetEmpty();
    EXPECT_EQ(second->GetValues(), kNumberedRecord);
}

TEST_P(BuiltPoint, TakesAveragesThatBreakTheirRule) {
    const MeasurementArrayItem broken = With(kNumberedRecord, &MeasurementArrayItem::average, -5);
    EXPECT_EQ(Built(GetParam().type, broken)->GetValues(), broken);
}

TEST_P(BuiltPoint, IsNotLogged) {
    CapturingLog log(RyPLogLevel::PerformanceDetail);
    Built(GetParam().type, kNumberedRecord);
    Built(GetParam().type);
    EXPECT_EQ(log.Texts(), Texts{});
}

TEST(PointBuilder, BuildsThePointOfAPerformanceMonitorUnderItsOwnName) {
    const PointOwner point = Built(1024, kNumberedRecord);
    ASSERT_NE(point, nullptr);
    EXPECT_STREQ(point->nameOf(), "CKZStatPointPerfMon");
    EXPECT_EQ(static_cast<int>(point->GetType()), 1024);
}

// --------------------------------------------------------------------- types without a kind

class UnknownPointType : public testing::TestWithParam<int> {};

INSTANTIATE_TEST_SUITE_P(Value, UnknownPointType,
                         testing::Values(0, 3, 5, 2049, 4095, 4096, 4097, INT_MAX, -1, -2,
                                         INT_MIN));

TEST_P(UnknownPointType, GivesNoPoint) {
    CapturingLog log(RyPLogLevel::Error);
    EXPECT_EQ(Built(GetParam(), kNumberedRecord), nullptr);
    EXPECT_EQ(Built(GetParam()), nullptr);
}

TEST_P(UnknownPointType, IsLoggedOnceForEachCall) {
    const std::string text = "BuildPoint - unknown type: " + std::to_string(GetParam());
    CapturingLog log(RyPLogLevel::PerformanceDetail);
    Built(GetParam(), kNumberedRecord);
    EXPECT_EQ(log.Texts(), Texts{text});
    Built(GetParam());
    EXPECT_EQ(log.Texts(), (Texts{text, text}));
}

TEST(PointBuilder, LogsAnUnknownTypeAsAnErrorUnderTheLibrarysScopeAndItsOwnFile) {
    CapturingLog log(RyPLogLevel::Error);
    Built(Types::NotSet);
    ASSERT_EQ(log.Records().size(), 1U);
    const auto record = log.Records().front();
    EXPECT_EQ(record.level, RyPLogLevel::Error);
    EXPECT_EQ(record.scope, "KZStatisticGenerator");
    EXPECT_EQ(record.file, "kzstatpointbuilder.cpp");
    EXPECT_EQ(record.text, "BuildPoint - unknown type: 0");
}

// ----------------------------------------------------------------------------------- threads

TEST(PointBuilder, BuildsOnSeveralThreadsAtOnce) {
    std::atomic<int> wrong = 0;
    ConcurrentlyTimes(4, [&] {
        for (int round = 0; round < 50; ++round) {
            for (const PointKind& kind : kPointKinds) {
                const PointOwner point = Built(kind.type, kNumberedRecord);
                wrong += ClassOf(*point) != *kind.classInfo;
                wrong += !(point->GetValues() == kNumberedRecord);
            }
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST(PointBuilder, LogsEveryUnknownTypeOfSeveralThreads) {
    CapturingLog log(RyPLogLevel::Error);
    ConcurrentlyTimes(4, [] {
        for (int round = 0; round < 25; ++round) Built(4096);
    });
    EXPECT_EQ(log.Texts(), Texts(100, "BuildPoint - unknown type: 4096"));
}

}  // namespace
