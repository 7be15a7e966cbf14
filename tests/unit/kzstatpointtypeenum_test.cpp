#include "kzstatpointtypeenum.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <iterator>
#include <limits>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "rw/cstring.h"
#include "support/capturing_log.h"
#include "support/concurrently.h"

namespace {

using Types = CKZStatPointTypeEnum;
using PointType = CKZStatPointTypeEnum::PointType;

static_assert(sizeof(PointType) == 4, "the width of the enumeration is part of the interface");
static_assert(std::is_convertible_v<PointType, int>, "types are combined to masks");
static_assert(std::is_default_constructible_v<Types>);
static_assert(std::has_virtual_destructor_v<Types>);
static_assert(sizeof(Types) == sizeof(void*), "no data members");

struct TypeRow {
    PointType type;
    int value;
    const char* typeName;
    const char* text;
};

constexpr TypeRow kNotSetRow = {Types::NotSet, 0, "0", "NotSet"};

/// In the order of the exported tables.
constexpr TypeRow kSetTypes[] = {
    {Types::Measurement, 1, "1", "Measurement"},
    {Types::Timer, 2, "2", "Timer"},
    {Types::Counter, 4, "4", "Counter"},
    {Types::Accumulator, 8, "8", "Accumulator"},
    {Types::LoadSize, 16, "16", "LoadSize"},
    {Types::TransactionCounter, 32, "32", "TransactionCounter"},
    {Types::TransactionTimer, 64, "64", "TransactionTimer"},
    {Types::TransactionReasonCounter, 128, "128", "TransactionReasonCounter"},
    {Types::MeasurementPerSec, 256, "256", "MeasurementPerSec"},
    {Types::CounterPerSec, 512, "512", "CounterPerSec"},
    {Types::NTPerformance, 1024, "1024", "NTPerformance"},
    {Types::AccumulatorPerSec, 2048, "2048", "AccumulatorPerSec"},
};

std::ostream& operator<<(std::ostream& out, const TypeRow& row) {
    return out << row.text;
}

PointType Parsed(const RWCString& text, PointType before) {
    PointType type = before;
    Types::GetEnumTypeFromString(text, type);
    return type;
}

// ------------------------------------------------------------------------------- every type

class EveryPointType : public testing::TestWithParam<TypeRow> {};

TEST_P(EveryPointType, HasItsValue) {
    EXPECT_EQ(static_cast<int>(GetParam().type), GetParam().value);
}

TEST_P(EveryPointType, HasItsDecimalName) {
    EXPECT_STREQ(Types::GetTypeName(GetParam().type), GetParam().typeName);
}

TEST_P(EveryPointType, HasItsReadableForm) {
    EXPECT_STREQ(Types::GetStringFromEnumType(GetParam().type), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(NotSet, EveryPointType, testing::Values(kNotSetRow),
                         testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(Set, EveryPointType, testing::ValuesIn(kSetTypes),
                         testing::PrintToStringParamName());

class EverySetPointType : public testing::TestWithParam<TypeRow> {};

TEST_P(EverySetPointType, SurvivesTheWayToItsReadableFormAndBack) {
    const PointType type = GetParam().type;
    EXPECT_EQ(Parsed(Types::GetStringFromEnumType(type), Types::NotSet), type);
}

INSTANTIATE_TEST_SUITE_P(Set, EverySetPointType, testing::ValuesIn(kSetTypes),
                         testing::PrintToStringParamName());

class BitPosition : public testing::TestWithParam<std::size_t> {};

TEST_P(BitPosition, IsTheIndexOfATypeInBothTables) {
    const TypeRow& row = kSetTypes[GetParam()];
    EXPECT_EQ(row.value, 1 << GetParam());
    EXPECT_STREQ(MeasurementTypeNames[GetParam()], row.typeName);
    EXPECT_STREQ(MeasurementTypeStringNames[GetParam()], row.text);
}

TEST_P(BitPosition, IsAnsweredWithTheTextOfTheTableItself) {
    const PointType type = kSetTypes[GetParam()].type;
    const void* const name = MeasurementTypeNames[GetParam()];
    const void* const text = MeasurementTypeStringNames[GetParam()];
    EXPECT_EQ(Types::GetTypeName(type), name);
    EXPECT_EQ(Types::GetStringFromEnumType(type), text);
}

INSTANTIATE_TEST_SUITE_P(All, BitPosition, testing::Range<std::size_t>(0, 12));

static_assert(std::size(kSetTypes) == 12 && std::size(MeasurementTypeNames) == 12 &&
              std::size(MeasurementTypeStringNames) == 12);

// --------------------------------------------------------------------------- accepted forms

struct AcceptedRow {
    const char* text;
    PointType type;
};

std::ostream& operator<<(std::ostream& out, const AcceptedRow& row) {
    return out << row.text;
}

class AcceptedForm : public testing::TestWithParam<AcceptedRow> {};

TEST_P(AcceptedForm, SetsItsTypeAndLogsNothing) {
    CapturingLog log(RyPLogLevel::Trace);
    EXPECT_EQ(Parsed(GetParam().text, Types::NotSet), GetParam().type);
    EXPECT_EQ(log.Texts().size(), 0U);
}

TEST_P(AcceptedForm, ReplacesTheTypeThatWasThere) {
    const PointType before = GetParam().type == Types::Timer ? Types::LoadSize : Types::Timer;
    EXPECT_EQ(Parsed(GetParam().text, before), GetParam().type);
}

INSTANTIATE_TEST_SUITE_P(
    All, AcceptedForm,
    testing::Values(AcceptedRow{"Timer", Types::Timer}, AcceptedRow{"Counter", Types::Counter},
                    AcceptedRow{"Stat", Types::Counter}, AcceptedRow{"LoadSize", Types::LoadSize},
                    AcceptedRow{"Measurement", Types::Measurement},
                    AcceptedRow{"NTPerformance", Types::NTPerformance},
                    AcceptedRow{"CounterPerSec", Types::CounterPerSec},
                    AcceptedRow{"MeasurementPerSec", Types::MeasurementPerSec},
                    AcceptedRow{"TransactionCounter", Types::TransactionCounter},
                    AcceptedRow{"TransactionTimer", Types::TransactionTimer},
                    AcceptedRow{"TransactionReasonCounter", Types::TransactionReasonCounter},
                    AcceptedRow{"Accumulator", Types::Accumulator},
                    AcceptedRow{"AccumulatorPerSec", Types::AccumulatorPerSec}),
    testing::PrintToStringParamName());

TEST(PointType, GivesTheSecondFormOfCounterNoWayBack) {
    EXPECT_STREQ(Types::GetStringFromEnumType(Parsed("Stat", Types::NotSet)), "Counter");
}

// --------------------------------------------------------------------------- rejected forms

struct RejectedRow {
    const char* why;
    RWCString text;
};

std::ostream& operator<<(std::ostream& out, const RejectedRow& row) {
    return out << row.why;
}

class RejectedForm : public testing::TestWithParam<RejectedRow> {};

TEST_P(RejectedForm, LeavesTheTypeAlone) {
    CapturingLog log(RyPLogLevel::Error);
    EXPECT_EQ(Parsed(GetParam().text, Types::NotSet), Types::NotSet);
    EXPECT_EQ(Parsed(GetParam().text, Types::LoadSize), Types::LoadSize);
}

TEST_P(RejectedForm, LogsOneErrorWithoutText) {
    CapturingLog log(RyPLogLevel::Trace);
    Parsed(GetParam().text, Types::NotSet);
    EXPECT_EQ(log.Texts(), std::vector<std::string>{""});
}

INSTANTIATE_TEST_SUITE_P(
    All, RejectedForm,
    testing::Values(RejectedRow{"Empty", ""}, RejectedRow{"NotSet", "NotSet"},
                    RejectedRow{"TrailingBlank", "Counter "},
                    RejectedRow{"LeadingBlank", " Counter"}, RejectedRow{"LowerCase", "counter"},
                    RejectedRow{"UpperCase", "COUNTER"}, RejectedRow{"LowerCaseStat", "stat"},
                    RejectedRow{"DecimalOfOneDigit", "4"},
                    RejectedRow{"DecimalOfSeveralDigits", "1024"}, RejectedRow{"Zero", "0"},
                    RejectedRow{"OnlyTheBeginning", "Count"},
                    RejectedRow{"OneByteShort", "CounterPerSe"},
                    RejectedRow{"OneByteMore", "Timers"}, RejectedRow{"Unknown", "Histogram"},
                    RejectedRow{"BytesBehindANul", RWCString("Counter\0", 8)}),
    testing::PrintToStringParamName());

TEST(PointType, LogsAnUnknownTextUnderTheLibrarysScopeAndItsOwnFile) {
    CapturingLog log(RyPLogLevel::Error);
    Parsed("Counter ", Types::NotSet);
    ASSERT_EQ(log.Records().size(), 1U);
    const auto record = log.Records().front();
    EXPECT_EQ(record.level, RyPLogLevel::Error);
    EXPECT_EQ(record.scope, "KZStatisticGenerator");
    EXPECT_EQ(record.file, "kzstatpointtypeenum.cpp");
    EXPECT_EQ(record.text, "");
}

TEST(PointType, LogsEachUnknownTextAnew) {
    CapturingLog log(RyPLogLevel::Error);
    for (const char* const text : {"Counter ", "counter", "4", "NotSet"})
        Parsed(text, Types::NotSet);
    EXPECT_EQ(log.Texts().size(), 4U);
}

// ----------------------------------------------------------- values that are no single bit

struct RoundedRow {
    int value;
    const char* typeName;
    const char* text;
};

std::ostream& operator<<(std::ostream& out, const RoundedRow& row) {
    return out << row.value;
}

class RoundedValue : public testing::TestWithParam<RoundedRow> {};

TEST_P(RoundedValue, IsNamedAsTheNearestBitOnTheLogarithmicScale) {
    const auto type = static_cast<PointType>(GetParam().value);
    EXPECT_STREQ(Types::GetTypeName(type), GetParam().typeName);
    EXPECT_STREQ(Types::GetStringFromEnumType(type), GetParam().text);
}

// Half-way between bits 10 and 11 lies 2^10.5 = 1448.15, between 11 and 12 2^11.5 = 2896.31.
INSTANTIATE_TEST_SUITE_P(
    BetweenBits, RoundedValue,
    testing::Values(RoundedRow{3, "4", "Counter"}, RoundedRow{5, "4", "Counter"},
                    RoundedRow{6, "8", "Accumulator"}, RoundedRow{11, "8", "Accumulator"},
                    RoundedRow{12, "16", "LoadSize"}, RoundedRow{1448, "1024", "NTPerformance"},
                    RoundedRow{1449, "2048", "AccumulatorPerSec"},
                    RoundedRow{2896, "2048", "AccumulatorPerSec"}));

INSTANTIATE_TEST_SUITE_P(
    PastTheTables, RoundedValue,
    testing::Values(RoundedRow{2897, "0", "NotSet"}, RoundedRow{4096, "0", "NotSet"},
                    RoundedRow{1 << 30, "0", "NotSet"},
                    RoundedRow{std::numeric_limits<int>::max(), "0", "NotSet"},
                    RoundedRow{-1, "0", "NotSet"},
                    RoundedRow{std::numeric_limits<int>::min(), "0", "NotSet"}));

TEST(PointType, LogsNothingForAValuePastTheTables) {
    CapturingLog log(RyPLogLevel::Trace);
    Types::GetTypeName(static_cast<PointType>(4096));
    Types::GetStringFromEnumType(static_cast<PointType>(-1));
    EXPECT_EQ(log.Texts().size(), 0U);
}

// ------------------------------------------------------------------------ class and threads

TEST(PointType, EndsADerivedObjectThroughItsBase) {
    struct Derived : CKZStatPointTypeEnum {
        explicit Derived(bool& ended) : m_ended(ended) {}
        ~Derived() override { m_ended = true; }
        bool& m_ended;
    };
    bool ended = false;
    const CKZStatPointTypeEnum* const base = new Derived(ended);
    delete base;
    EXPECT_TRUE(ended);
}

TEST(PointType, ConvertsOnSeveralThreadsAtOnce) {
    std::atomic<int> wrong = 0;
    ConcurrentlyTimes(4, [&] {
        for (int round = 0; round < 50; ++round) {
            for (const TypeRow& row : kSetTypes) {
                wrong += std::string(Types::GetTypeName(row.type)) != row.typeName;
                wrong += Parsed(Types::GetStringFromEnumType(row.type), Types::NotSet) != row.type;
            }
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST(PointType, LogsEveryUnknownTextOfSeveralThreads) {
    CapturingLog log(RyPLogLevel::Error);
    ConcurrentlyTimes(4, [] {
        for (int round = 0; round < 25; ++round) Parsed("stat", Types::NotSet);
    });
    EXPECT_EQ(log.Texts().size(), 100U);
}

}  // namespace
