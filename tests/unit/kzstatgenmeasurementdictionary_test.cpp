#include "kzstatgenmeasurementdictionary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <future>
#include <iostream>
#include <limits>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "kzstatisticsgenerator.h"
#include "rw/collint.h"
#include "rw/cstring.h"
#include "ryp/clock.h"
#include "ryp/collectablestring.h"
#include "ryp/testclock.h"
#include "support/capturing_log.h"
#include "support/concurrently.h"
#include "support/decimal_comma_locale.h"
#include "support/environment.h"
#include "support/fields.h"
#include "support/quietening_log.h"
#include "support/recordinggenerator.h"
#include "support/testpeer.h"

namespace {

using Dictionary = CKZStatGenMeasurementDictionary;
using Peer = CKZStatGenTestPeer;
using Types = CKZStatPointTypeEnum;
using Texts = std::vector<std::string>;
using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kLargestInt = std::numeric_limits<int>::max();
constexpr int kSmallestInt = std::numeric_limits<int>::min();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const std::string kRule = " ----------------- \t";
/// Minimum, maximum, count, sum, sum of squares and average of no value at all, and of a single 5.
const std::string kEmptyPart = "-1.000|-1.000|0|0.000|0.000|-1.000|";
const std::string kFivePart = "5.000|5.000|1|5.000|25.000|5.000|";

std::string DumpOf(Dictionary& dictionary) {
    RWCString text;
    dictionary.DumpDict(text);
    return BytesOf(text);
}

std::string LastsDumpOf(Dictionary& dictionary) {
    RWCString text;
    dictionary.DumpLasts(text);
    return BytesOf(text);
}

std::string PrintOf(Dictionary& dictionary) {
    testing::internal::CaptureStdout();
    dictionary.Print();
    return testing::internal::GetCapturedStdout();
}

/// Minimum 1, maximum 5, count 3 and sum 9 for the totals; 2, 4, 2 and 7 for the lasts.
void SetUnlike(Dictionary& dictionary, const char* name) {
    dictionary.SetValues(name, 1, 5, 3, 9, 999, 2, 4, 2, 7, Types::Timer);
}

/// `value` for every statistic of the totals and the lasts except their counts.
void SetAlike(Dictionary& dictionary, const char* name, double value, int count) {
    dictionary.SetValues(name, value, value, count, value, 0, value, value, count, value,
                         Types::Timer);
}

/// A dictionary of an open slice. Its generator reads its settings when it is made.
struct SliceDictionary {
    explicit SliceDictionary(const char* cacheSize = nullptr)
        : setting("LGStatsCacheSize", cacheSize) {}

    int CachedCount() const { return Peer::CachedCount(dictionary); }
    /// As the pack loop does. The dictionary is not filed in the slice and stays as it is.
    void CloseSlice() {
        generator.Start(100.0, 10.0);
        generator.SendSlice(&slice);
    }

    EnvironmentVariable setting;
    RecordingGenerator generator;
    CKZStatGenSlice slice{1, 110.0, &generator, true};
    Dictionary dictionary{&slice};
};

class MeasurementDictionary : public testing::Test, protected SliceDictionary {
protected:
    /// Reports the values 1 to `count` of `name`.
    void AddLasts(const char* name, int count) {
        for (int value = 1; value <= count; ++value) dictionary.AddLast(name, value, Types::Timer);
    }
};

class FreeStandingDictionary : public testing::Test {
protected:
    Dictionary dictionary;
};

// ---------------------------------------------------------------------------------------- cache

TEST_F(MeasurementDictionary, StartsEmpty) {
    EXPECT_TRUE(dictionary.isEmpty());
    EXPECT_EQ(CachedCount(), 0);
    EXPECT_EQ(Peer::SliceOf(dictionary), &slice);
    EXPECT_EQ(Peer::OwnerOf(dictionary), nullptr);
}

TEST_F(MeasurementDictionary, OnlyCachesNineteenValues) {
    AddLasts("a", 19);
    EXPECT_EQ(CachedCount(), 19);
    EXPECT_TRUE(dictionary.isEmpty());
    EXPECT_EQ(dictionary.GetMeasurement("a"), nullptr);
}

TEST_F(MeasurementDictionary, AggregatesTwentyValuesAtTheTwentieth) {
    AddLasts("a", 20);
    EXPECT_EQ(CachedCount(), 0);
    EXPECT_EQ(dictionary.GetCount("a"), 20);
    EXPECT_EQ(dictionary.GetSum("a"), 210.0);
    EXPECT_EQ(dictionary.GetLastsCount("a"), 20);
}

TEST_F(MeasurementDictionary, CachesAgainAfterAFullCache) {
    AddLasts("a", 21);
    EXPECT_EQ(CachedCount(), 1);
    EXPECT_EQ(dictionary.GetCount("a"), 20);
}

TEST_F(MeasurementDictionary, AcceptsAValueWhetherItIsCachedOrAggregated) {
    for (int value = 1; value <= 21; ++value)
        EXPECT_EQ(dictionary.AddLast("a", value, Types::Timer), 1) << value;
}

TEST_F(MeasurementDictionary, AggregatesInTheOrderOfArrival) {
    for (int value = 1; value <= 20; ++value)
        dictionary.AddLast(value % 2 == 0 ? "even" : "odd", value, Types::Timer);
    CapturingLog log(RyPLogLevel::Trace);
    Texts expected;
    for (int value = 1; value <= 20; ++value) {
        dictionary.AddLast(value % 2 == 0 ? "even" : "odd", value, Types::Timer);
        expected.push_back(std::string("Adding stat: %s=%f\t") +
                           (value % 2 == 0 ? "even\t" : "odd\t") + std::to_string(value) + "\t");
    }
    Texts added;
    for (const std::string& text : log.Texts())
        if (text.starts_with("Adding stat")) added.push_back(text);
    EXPECT_EQ(added, expected);
}

TEST_F(MeasurementDictionary, AggregatesEveryValueOfAFlushWhoseTraceIsCutOff) {
    AddLasts("a", 3);
    const QuieteningLog log(3);
    dictionary.FlushStatsCache();
    EXPECT_EQ(log.Written(), 3);
    EXPECT_EQ(dictionary.GetCount("a"), 3);
    EXPECT_EQ(dictionary.GetSum("a"), 6.0);
}

TEST_F(MeasurementDictionary, AggregatesInTheOrderThatTheEmptyMarkDependsOn) {
    for (const double value : {7.0, -1.0, 3.0}) dictionary.AddLast("a", value, Types::Timer);
    dictionary.FlushStatsCache();
    // The 3 replaces the -1; in any other order of the three the 7 or the -1 would stand.
    EXPECT_EQ(dictionary.GetMinimum("a"), 3.0);
    EXPECT_EQ(dictionary.GetMaximum("a"), 7.0);
}

TEST_F(MeasurementDictionary, FlushesOnDemand) {
    AddLasts("a", 3);
    EXPECT_EQ(dictionary.FlushStatsCache(), 1);
    EXPECT_EQ(CachedCount(), 0);
    EXPECT_EQ(dictionary.GetCount("a"), 3);
}

TEST_F(MeasurementDictionary, FlushesEachValueOnce) {
    AddLasts("a", 3);
    dictionary.FlushStatsCache();
    dictionary.FlushStatsCache();
    EXPECT_EQ(dictionary.GetCount("a"), 3);
}

TEST_F(MeasurementDictionary, TakesTwentyMoreAfterAFlushOnDemand) {
    AddLasts("a", 5);
    dictionary.FlushStatsCache();
    AddLasts("a", 19);
    EXPECT_EQ(CachedCount(), 19);
    AddLasts("a", 1);
    EXPECT_EQ(dictionary.GetCount("a"), 25);
}

TEST_F(MeasurementDictionary, AnswersOneToAFlushOfAnEmptyCache) {
    EXPECT_EQ(dictionary.FlushStatsCache(), 1);
    EXPECT_TRUE(dictionary.isEmpty());
}

TEST_F(MeasurementDictionary, AggregatesValuesAsTheyCome) {
    dictionary.AddLast("not a number", kNaN, Types::Timer);
    dictionary.AddLast("negative zero", -0.0, Types::Timer);
    dictionary.AddLast("large", 1e308, Types::Timer);
    dictionary.AddLast("small", -1e308, Types::Timer);
    dictionary.FlushStatsCache();
    EXPECT_TRUE(std::isnan(dictionary.GetMaximum("not a number")));
    EXPECT_TRUE(std::signbit(dictionary.GetMaximum("negative zero")));
    EXPECT_EQ(dictionary.GetMaximum("large"), 1e308);
    EXPECT_EQ(dictionary.GetMaximum("small"), -1e308);
}

struct CacheSizeRow {
    const char* setting;
    int reported;
    int cached;
};

std::ostream& operator<<(std::ostream& out, const CacheSizeRow& row) {
    return out << (row.setting == nullptr ? "unset" : row.setting) << " after " << row.reported;
}

class CacheOfSize : public testing::TestWithParam<CacheSizeRow> {};

TEST_P(CacheOfSize, HoldsValuesBelowItsSize) {
    SliceDictionary tested(GetParam().setting);
    for (int value = 0; value < GetParam().reported; ++value)
        ASSERT_EQ(tested.dictionary.AddLast("a", value, Types::Timer), 1);
    EXPECT_EQ(tested.CachedCount(), GetParam().cached);
    const int aggregated = GetParam().reported - GetParam().cached;
    EXPECT_EQ(tested.dictionary.GetCount("a"), aggregated == 0 ? -1 : aggregated);
}

INSTANTIATE_TEST_SUITE_P(NothingIsCached, CacheOfSize,
                         testing::Values(CacheSizeRow{"1", 1, 0}, CacheSizeRow{"1", 3, 0},
                                         CacheSizeRow{"0", 1, 0}, CacheSizeRow{"-7", 1, 0},
                                         CacheSizeRow{"none", 1, 0}));
INSTANTIATE_TEST_SUITE_P(BelowTheLargest, CacheOfSize,
                         testing::Values(CacheSizeRow{"2", 1, 1}, CacheSizeRow{"2", 2, 0},
                                         CacheSizeRow{"5", 4, 4}, CacheSizeRow{"5", 5, 0},
                                         CacheSizeRow{"5", 12, 2}, CacheSizeRow{"19", 18, 18},
                                         CacheSizeRow{"19", 19, 0}));
INSTANTIATE_TEST_SUITE_P(TheLargest, CacheOfSize,
                         testing::Values(CacheSizeRow{"20", 19, 19}, CacheSizeRow{"20", 20, 0},
                                         CacheSizeRow{"21", 19, 19}, CacheSizeRow{"21", 20, 0},
                                         CacheSizeRow{"100000", 19, 19},
                                         CacheSizeRow{"100000", 20, 0},
                                         CacheSizeRow{nullptr, 19, 19},
                                         CacheSizeRow{nullptr, 20, 0}));

// -------------------------------------------------------------------------------- free-standing

TEST_F(FreeStandingDictionary, StartsEmptyWithoutASlice) {
    EXPECT_TRUE(dictionary.isEmpty());
    EXPECT_EQ(Peer::CachedCount(dictionary), 0);
    EXPECT_EQ(Peer::SliceOf(dictionary), nullptr);
    EXPECT_EQ(Peer::OwnerOf(dictionary), nullptr);
}

TEST_F(FreeStandingDictionary, AggregatesEveryValueAtOnce) {
    for (int value = 1; value <= 3; ++value) {
        EXPECT_EQ(dictionary.AddLast("a", 5, Types::Timer), 1);
        EXPECT_EQ(dictionary.GetCount("a"), value);
        EXPECT_EQ(Peer::CachedCount(dictionary), 0);
    }
}

TEST(DictionaryOfANullSlice, IsFreeStanding) {
    Dictionary dictionary(nullptr);
    EXPECT_EQ(dictionary.AddLast("a", 5, Types::Timer), 1);
    EXPECT_EQ(dictionary.GetCount("a"), 1);
    EXPECT_EQ(Peer::SliceOf(dictionary), nullptr);
}

// --------------------------------------------------------------------------------- closed slice

TEST_F(MeasurementDictionary, RefusesValuesOnceItsSliceIsClosed) {
    CloseSlice();
    CapturingLog log(RyPLogLevel::Trace);
    EXPECT_EQ(dictionary.AddLast("a", 5, Types::Timer), 0);
    EXPECT_EQ(CachedCount(), 0);
    EXPECT_TRUE(dictionary.isEmpty());
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(MeasurementDictionary, KeepsWhatItCachedBeforeItsSliceWasClosed) {
    AddLasts("a", 19);
    CloseSlice();
    EXPECT_EQ(dictionary.AddLast("a", 5, Types::Timer), 0);
    EXPECT_EQ(CachedCount(), 19);
}

TEST_F(MeasurementDictionary, FlushesWhatItCachedBeforeItsSliceWasClosed) {
    AddLasts("a", 3);
    CloseSlice();
    EXPECT_EQ(dictionary.FlushStatsCache(), 1);
    EXPECT_EQ(dictionary.GetCount("a"), 3);
}

TEST_F(MeasurementDictionary, DoesNotSetValuesOnceItsSliceIsClosed) {
    SetUnlike(dictionary, "a");
    const std::string before = DumpOf(dictionary);
    CloseSlice();
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.SetValues("a", 7, 7, 1, 7, 49, 7, 7, 1, 7, Types::Counter);
    dictionary.SetValues("b", 7, 7, 1, 7, 49, 7, 7, 1, 7, Types::Counter);
    EXPECT_THAT(log.Texts(), IsEmpty());
    EXPECT_EQ(DumpOf(dictionary), before);
}

TEST_F(MeasurementDictionary, StillMergesAndResetsOnceItsSliceIsClosed) {
    Dictionary source;
    source.AddLast("a", 5, Types::Timer);
    CloseSlice();
    dictionary.AddValuesOfDict(&source, AddFromSlice);
    EXPECT_EQ(dictionary.GetCount("a"), 1);
    dictionary.Reset("a");
    EXPECT_EQ(dictionary.GetCount("a"), 0);
}

// ---------------------------------------------------------------------------------------- names

class NameOfLength : public testing::TestWithParam<std::size_t> {
protected:
    const std::string name = std::string(GetParam(), 'n');
    const std::string kept = name.substr(0, 256);
};

TEST_P(NameOfLength, IsKeptUpTo256BytesByTheCache) {
    SliceDictionary cached;
    cached.dictionary.AddLast(name.c_str(), 5, Types::Timer);
    cached.dictionary.FlushStatsCache();
    EXPECT_EQ(DumpOf(cached.dictionary), Fields(kept + "|2|" + kFivePart + kFivePart));
    EXPECT_EQ(cached.dictionary.GetCount(kept.c_str()), 1);
}

TEST_P(NameOfLength, IsKeptUpTo256BytesWithoutASlice) {
    Dictionary dictionary;
    dictionary.AddLast(name.c_str(), 5, Types::Timer);
    EXPECT_EQ(LastsDumpOf(dictionary), Fields(kept + "|2|5.000|5.000|1|5.000|25.000|"));
}

INSTANTIATE_TEST_SUITE_P(UpToTheLongest, NameOfLength, testing::Values(0, 1, 255, 256));
INSTANTIATE_TEST_SUITE_P(Longer, NameOfLength, testing::Values(257, 300));

TEST_F(FreeStandingDictionary, AggregatesNamesWithEqualBeginningsOf256BytesAsOne) {
    const std::string beginning(256, 'n');
    dictionary.AddLast((beginning + "a").c_str(), 1, Types::Timer);
    dictionary.AddLast((beginning + "b").c_str(), 2, Types::Timer);
    dictionary.AddLast(beginning.c_str(), 3, Types::Timer);
    EXPECT_EQ(dictionary.entries(), 1U);
    EXPECT_EQ(dictionary.GetSum(beginning.c_str()), 6.0);
}

TEST_F(FreeStandingDictionary, TellsNamesApartByTheirLastOf256Bytes) {
    const std::string beginning(255, 'n');
    dictionary.AddLast((beginning + "a").c_str(), 1, Types::Timer);
    dictionary.AddLast((beginning + "b").c_str(), 2, Types::Timer);
    dictionary.AddLast(beginning.c_str(), 3, Types::Timer);
    EXPECT_EQ(dictionary.entries(), 3U);
}

TEST_F(FreeStandingDictionary, TellsNamesApartByCaseAndBlanks) {
    for (const char* const name : {"a", "A", "a ", " a", ""})
        dictionary.AddLast(name, 1, Types::Timer);
    EXPECT_EQ(dictionary.entries(), 5U);
    EXPECT_EQ(dictionary.GetCount("a"), 1);
}

TEST_F(FreeStandingDictionary, CutsALongNameWithoutAMessage) {
    CapturingLog log(RyPLogLevel::Execution);
    dictionary.AddLast(std::string(300, 'n').c_str(), 5, Types::Timer);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(MeasurementDictionary, CopiesTheNameIntoItsCache) {
    std::string name = "first";
    dictionary.AddLast(name.c_str(), 5, Types::Timer);
    name.replace(0, 5, "other");
    dictionary.FlushStatsCache();
    EXPECT_EQ(dictionary.GetCount("first"), 1);
    EXPECT_EQ(dictionary.GetCount("other"), -1);
}

TEST_F(MeasurementDictionary, KeepsItsOwnNamesWhenTheCacheIsUsedAgain) {
    dictionary.AddLast("a long name", 5, Types::Timer);
    dictionary.FlushStatsCache();
    dictionary.AddLast("short", 7, Types::Timer);
    dictionary.FlushStatsCache();
    EXPECT_EQ(dictionary.GetSum("a long name"), 5.0);
    EXPECT_EQ(dictionary.GetSum("short"), 7.0);
    EXPECT_EQ(dictionary.entries(), 2U);
}

TEST_F(FreeStandingDictionary, CopiesNamesThatAreSet) {
    std::string name = "first";
    SetAlike(dictionary, name.data(), 5, 1);
    name.replace(0, 5, "other");
    EXPECT_EQ(dictionary.GetCount("first"), 1);
}

TEST_F(FreeStandingDictionary, CopiesNamesThatAreMerged) {
    {
        Dictionary source;
        source.AddLast("a name that is longer than a short string", 5, Types::Timer);
        dictionary.AddValuesOfDict(&source, AddForDump);
    }
    EXPECT_EQ(dictionary.GetCount("a name that is longer than a short string"), 1);
}

// ---------------------------------------------------------------------------------------- types

TEST_F(FreeStandingDictionary, KeepsTheTypeUnderWhichANameWasFirstReported) {
    dictionary.AddLast("a", 2, Types::LoadSize);
    dictionary.AddLast("a", 4, Types::Timer);
    const std::string part = "2.000|4.000|2|6.000|20.000|3.000|";
    EXPECT_EQ(DumpOf(dictionary), Fields("a|16|" + part + part));
}

TEST_F(MeasurementDictionary, TakesTheTypeOfTheFirstOfSeveralCachedValues) {
    dictionary.AddLast("a", 2, Types::LoadSize);
    dictionary.AddLast("a", 4, Types::Timer);
    dictionary.FlushStatsCache();
    EXPECT_THAT(DumpOf(dictionary), testing::StartsWith(Fields("a|16|")));
}

TEST_F(FreeStandingDictionary, ReplacesTheTypeOfANameThatIsSet) {
    dictionary.AddLast("a", 5, Types::LoadSize);
    dictionary.SetValues("a", 5, 5, 1, 5, 25, 5, 5, 1, 5, Types::Counter);
    EXPECT_EQ(DumpOf(dictionary), Fields("a|4|" + kFivePart + kFivePart));
}

TEST_F(FreeStandingDictionary, KeepsTheTypeThatWasSet) {
    dictionary.SetValues("a", 5, 5, 1, 5, 25, 5, 5, 1, 5, Types::Counter);
    dictionary.AddLast("a", 5, Types::LoadSize);
    EXPECT_THAT(DumpOf(dictionary), testing::StartsWith(Fields("a|4|")));
}

TEST_F(FreeStandingDictionary, KeepsItsOwnTypeOfANameThatIsMerged) {
    Dictionary source;
    source.AddLast("a", 5, Types::Timer);
    source.AddLast("new", 5, Types::CounterPerSec);
    dictionary.AddLast("a", 5, Types::LoadSize);
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_THAT(DumpOf(dictionary), HasSubstr(Fields("a|16|5.000|5.000|2|")));
    EXPECT_THAT(DumpOf(dictionary), HasSubstr(Fields("new|512|5.000|5.000|1|")));
}

TEST_F(FreeStandingDictionary, TakesATypePastTheTablesForNotSet) {
    dictionary.AddLast("a", 5, static_cast<Types::PointType>(4096));
    EXPECT_EQ(DumpOf(dictionary), Fields("a|0|" + kFivePart + kFivePart));
}

// ----------------------------------------------------------------------------------- set values

TEST_F(MeasurementDictionary, StoresTheSquaresOfTheSumsThatAreSet) {
    dictionary.SetValues("a", 1, 5, 3, 9, 999, 1, 5, 3, 9, Types::Timer);
    const std::string part = "1.000|5.000|3|9.000|81.000|3.000|";
    EXPECT_EQ(DumpOf(dictionary), Fields("a|2|" + part + part));
}

TEST_F(MeasurementDictionary, IgnoresTheSumOfSquaresThatIsSet) {
    for (const double sumSqr : {0.0, 35.0, -1.0, 1e308, kNaN}) {
        dictionary.SetValues("a", 1, 5, 3, 9, sumSqr, 1, 5, 3, 8, Types::Timer);
        EXPECT_EQ(dictionary.GetSumSqr("a"), 81.0) << sumSqr;
        EXPECT_EQ(dictionary.GetLastsSumSqr("a"), 64.0) << sumSqr;
    }
}

TEST_F(MeasurementDictionary, OverwritesWhatWasAggregated) {
    AddLasts("a", 20);
    SetUnlike(dictionary, "a");
    EXPECT_EQ(DumpOf(dictionary), Fields("a|2|1.000|5.000|3|9.000|81.000|3.000"
                                         "|2.000|4.000|2|7.000|49.000|3.500|"));
}

TEST_F(MeasurementDictionary, SetsValuesPastItsCache) {
    AddLasts("b", 1);
    SetUnlike(dictionary, "a");
    EXPECT_EQ(dictionary.GetCount("a"), 3);
    EXPECT_EQ(CachedCount(), 1);
}

TEST_F(MeasurementDictionary, AddsCachedValuesOnTopOfThoseThatWereSet) {
    dictionary.AddLast("a", 7, Types::Timer);
    SetUnlike(dictionary, "a");
    dictionary.FlushStatsCache();
    EXPECT_EQ(DumpOf(dictionary), Fields("a|2|1.000|7.000|4|16.000|130.000|4.000"
                                         "|2.000|7.000|3|14.000|98.000|4.667|"));
}

// ---------------------------------------------------------------------------------------- merge

TEST_F(FreeStandingDictionary, AddsEveryMeasurementOfAnother) {
    Dictionary source;
    source.AddLast("both", 4, Types::Timer);
    source.AddLast("theirs", 6, Types::Timer);
    dictionary.AddLast("both", 2, Types::Timer);
    dictionary.AddLast("mine", 8, Types::Timer);
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_EQ(dictionary.entries(), 3U);
    EXPECT_EQ(dictionary.GetSum("both"), 6.0);
    EXPECT_EQ(dictionary.GetSum("theirs"), 6.0);
    EXPECT_EQ(dictionary.GetSum("mine"), 8.0);
}

TEST_F(FreeStandingDictionary, AddsTotalsAndLastsOfAnother) {
    Dictionary source;
    source.SetValues("a", 1, 5, 3, 9, 0, 2, 4, 2, 7, Types::Timer);
    dictionary.AddLast("a", 3, Types::Timer);
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_EQ(DumpOf(dictionary), Fields("a|2|1.000|5.000|4|12.000|90.000|3.000"
                                         "|2.000|4.000|3|10.000|58.000|3.333|"));
}

TEST_F(FreeStandingDictionary, AddsAlikeForADumpAndFromASlice) {
    Dictionary source;
    SetUnlike(source, "a");
    Dictionary fromSlice;
    dictionary.AddValuesOfDict(&source, AddForDump);
    fromSlice.AddValuesOfDict(&source, AddFromSlice);
    EXPECT_EQ(DumpOf(dictionary), DumpOf(source));
    EXPECT_EQ(DumpOf(fromSlice), DumpOf(source));
}

/// Longer than what a measurement tells of its name.
TEST_F(FreeStandingDictionary, AddsLongNamesThatDifferAtTheirEndApart) {
    const std::string common(600, 'x');
    Dictionary source;
    for (const char* end : {"a", "b"}) SetUnlike(source, (common + end).c_str());
    for (int time = 0; time < 2; ++time) dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_EQ(dictionary.entries(), 2U);
    for (const char* end : {"a", "b"})
        EXPECT_EQ(dictionary.GetCount((common + end).c_str()),
                  2 * source.GetCount((common + end).c_str()));
}

TEST_F(FreeStandingDictionary, LeavesTheOtherAsItWas) {
    Dictionary source;
    SetUnlike(source, "a");
    const std::string before = DumpOf(source);
    dictionary.AddLast("a", 3, Types::Timer);
    dictionary.AddLast("b", 3, Types::Timer);
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_EQ(DumpOf(source), before);
}

TEST_F(MeasurementDictionary, DoesNotHandOnWhatItCaches) {
    SetUnlike(dictionary, "a");
    AddLasts("a", 1);
    AddLasts("b", 1);
    Dictionary merged;
    merged.AddValuesOfDict(&dictionary, AddForDump);
    EXPECT_EQ(merged.GetCount("a"), 3);
    EXPECT_EQ(merged.GetMeasurement("b"), nullptr);
    EXPECT_EQ(CachedCount(), 2);
}

TEST_F(FreeStandingDictionary, TakesOverNamesWithoutValues) {
    Dictionary source;
    source.AddLast("a", 5, Types::LoadSize);
    source.Reset("a");
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_EQ(DumpOf(dictionary), Fields("a|16|" + kEmptyPart + kEmptyPart));
}

TEST_F(FreeStandingDictionary, DoesNotFillAnEmptyMaximumByAMergeBelowTheMark) {
    Dictionary source;
    source.AddLast("a", -5, Types::Timer);
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_EQ(dictionary.GetMinimum("a"), -5.0);
    EXPECT_EQ(dictionary.GetMaximum("a"), -1.0);
}

TEST_F(FreeStandingDictionary, StopsMergingAtANameWithoutAMeasurement) {
    Dictionary source;
    source.AddLast("before", 5, Types::Timer);
    source.insertKeyAndValue(new CKZCollectableString("without", true), nullptr);
    source.AddLast("after", 5, Types::Timer);
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_EQ(dictionary.GetCount("before"), 1);
    EXPECT_EQ(dictionary.entries(), 1U);
}

TEST_F(FreeStandingDictionary, IsUnchangedByAnEmptyOne) {
    Dictionary source;
    SetUnlike(dictionary, "a");
    const std::string before = DumpOf(dictionary);
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_EQ(DumpOf(dictionary), before);
}

TEST_F(FreeStandingDictionary, DoublesWhenItIsMergedIntoItself) {
    SetUnlike(dictionary, "a");
    dictionary.AddLast("b", 5, Types::Timer);
    dictionary.AddValuesOfDict(&dictionary, AddForDump);
    EXPECT_EQ(dictionary.entries(), 2U);
    EXPECT_THAT(DumpOf(dictionary), HasSubstr(Fields("a|2|1.000|5.000|6|18.000|162.000|3.000"
                                                     "|2.000|4.000|4|14.000|98.000|3.500|")));
    EXPECT_EQ(dictionary.GetCount("b"), 2);
}

TEST_F(FreeStandingDictionary, MergesManyNames) {
    Dictionary source;
    for (int name = 0; name < 1000; ++name)
        source.AddLast(std::to_string(name).c_str(), name, Types::Timer);
    dictionary.AddValuesOfDict(&source, AddForDump);
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_EQ(dictionary.entries(), 1000U);
    for (int name = 0; name < 1000; ++name)
        ASSERT_EQ(dictionary.GetSum(std::to_string(name).c_str()), 2.0 * name);
}

// ----------------------------------------------------------------- counts past the range of int

TEST_F(FreeStandingDictionary, WritesCountsPastTheRangeOfAnIntInWhole) {
    Dictionary source;
    SetAlike(source, "a", 1, kLargestInt);
    for (int time = 0; time < 3; ++time) dictionary.AddValuesOfDict(&source, AddForDump);
    const std::string part = "1.000|1.000|6442450941|3.000|3.000|0.000|";
    EXPECT_EQ(DumpOf(dictionary), Fields("a|2|" + part + part));
}

TEST_F(FreeStandingDictionary, AnswersTheLargestIntForLargerCounts) {
    SetAlike(dictionary, "a", 1, kLargestInt);
    EXPECT_EQ(dictionary.GetCount("a"), kLargestInt);
    dictionary.AddLast("a", 1, Types::Timer);
    EXPECT_EQ(dictionary.GetCount("a"), kLargestInt);
    EXPECT_EQ(dictionary.GetLastsCount("a"), kLargestInt);
}

TEST_F(FreeStandingDictionary, AnswersTheSmallestIntForSmallerCounts) {
    SetAlike(dictionary, "a", 1, kSmallestInt);
    dictionary.AddValuesOfDict(&dictionary, AddForDump);
    EXPECT_EQ(dictionary.GetCount("a"), kSmallestInt);
    EXPECT_EQ(dictionary.GetLastsCount("a"), kSmallestInt);
}

TEST_F(FreeStandingDictionary, HandsOnCountsPastTheRangeOfAnIntInWhole) {
    SetAlike(dictionary, "a", 1, kLargestInt);
    dictionary.AddValuesOfDict(&dictionary, AddForDump);
    Dictionary merged;
    merged.AddValuesOfDict(&dictionary, AddForDump);
    EXPECT_EQ(DumpOf(merged), DumpOf(dictionary));
    EXPECT_THAT(DumpOf(merged), HasSubstr(Fields("|4294967294|")));
}

// ---------------------------------------------------------------------------------------- reset

TEST_F(FreeStandingDictionary, EmptiesOneMeasurementAndKeepsItsType) {
    dictionary.AddLast("a", 5, Types::LoadSize);
    dictionary.Reset("a");
    EXPECT_EQ(DumpOf(dictionary), Fields("a|16|" + kEmptyPart + kEmptyPart));
}

TEST_F(FreeStandingDictionary, LeavesOtherMeasurementsWhenOneIsReset) {
    dictionary.AddLast("a", 5, Types::Timer);
    dictionary.AddLast("b", 7, Types::Timer);
    dictionary.Reset("a");
    EXPECT_EQ(dictionary.GetCount("a"), 0);
    EXPECT_EQ(dictionary.GetCount("b"), 1);
}

TEST_F(FreeStandingDictionary, DoesNothingToResetAnUnknownName) {
    dictionary.AddLast("a", 5, Types::Timer);
    const std::string before = DumpOf(dictionary);
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.Reset("b");
    EXPECT_THAT(log.Texts(), IsEmpty());
    EXPECT_EQ(DumpOf(dictionary), before);
}

TEST_F(MeasurementDictionary, AddsCachedValuesAfterAReset) {
    dictionary.AddLast("a", 5, Types::Timer);
    dictionary.FlushStatsCache();
    dictionary.AddLast("a", 7, Types::Timer);
    dictionary.Reset("a");
    dictionary.FlushStatsCache();
    EXPECT_EQ(dictionary.GetCount("a"), 1);
    EXPECT_EQ(dictionary.GetSum("a"), 7.0);
}

TEST_F(FreeStandingDictionary, EmptiesTheLastsOfAllMeasurements) {
    dictionary.AddLast("a", 5, Types::Timer);
    dictionary.AddLast("b", 5, Types::Timer);
    dictionary.ResetLasts();
    const std::string parts = "|2|" + kFivePart + kEmptyPart;
    EXPECT_THAT(DumpOf(dictionary),
                AnyOf(Fields("a" + parts + "b" + parts), Fields("b" + parts + "a" + parts)));
    EXPECT_TRUE(dictionary.GetMeasurement("a")->IsResetLasts());
}

TEST_F(FreeStandingDictionary, DoesNothingToResetTheLastsOfNoMeasurement) {
    dictionary.ResetLasts();
    EXPECT_TRUE(dictionary.isEmpty());
}

// ----------------------------------------------------------------------------------------- dump

TEST_F(FreeStandingDictionary, DumpsItsOnlyMeasurementAsItsRecord) {
    dictionary.AddLast("a", 5, Types::Timer);
    EXPECT_EQ(DumpOf(dictionary), Fields("a|2|" + kFivePart + kFivePart));
    EXPECT_EQ(LastsDumpOf(dictionary), Fields("a|2|5.000|5.000|1|5.000|25.000|"));
}

TEST_F(FreeStandingDictionary, DumpsNothingBetweenItsRecords) {
    dictionary.AddLast("a", 5, Types::Timer);
    dictionary.AddLast("b", 5, Types::Timer);
    const std::string record = "|2|" + kFivePart + kFivePart;
    EXPECT_THAT(DumpOf(dictionary),
                AnyOf(Fields("a" + record + "b" + record), Fields("b" + record + "a" + record)));
}

TEST_F(FreeStandingDictionary, DumpsLastsRecordsWithoutAnAverage) {
    SetUnlike(dictionary, "a");
    SetUnlike(dictionary, "b");
    const std::string record = "|2|2.000|4.000|2|7.000|49.000|";
    EXPECT_THAT(LastsDumpOf(dictionary),
                AnyOf(Fields("a" + record + "b" + record), Fields("b" + record + "a" + record)));
}

TEST_F(FreeStandingDictionary, DumpsEveryOneOfManyMeasurements) {
    std::size_t length = 0;
    for (int name = 1000; name < 2000; ++name) {
        dictionary.AddLast(std::to_string(name).c_str(), 5, Types::Timer);
        length += Fields(std::to_string(name) + "|2|" + kFivePart + kFivePart).length();
    }
    const std::string dump = DumpOf(dictionary);
    EXPECT_EQ(dump.length(), length);
    for (int name = 1000; name < 2000; ++name)
        ASSERT_NE(dump.find(Fields(std::to_string(name) + "|2|" + kFivePart)), std::string::npos)
            << name;
}

TEST_F(FreeStandingDictionary, ReplacesTheTextByItsDump) {
    dictionary.AddLast("a", 5, Types::Timer);
    RWCString text("before");
    dictionary.DumpDict(text);
    EXPECT_EQ(BytesOf(text), Fields("a|2|" + kFivePart + kFivePart));
}

TEST_F(FreeStandingDictionary, ReplacesTheTextByItsLastsDump) {
    dictionary.AddLast("a", 5, Types::Timer);
    RWCString text("before");
    dictionary.DumpLasts(text);
    EXPECT_EQ(BytesOf(text), Fields("a|2|5.000|5.000|1|5.000|25.000|"));
}

TEST_F(FreeStandingDictionary, EmptiesTheTextWhenItIsEmpty) {
    RWCString text("before");
    dictionary.DumpDict(text);
    EXPECT_EQ(BytesOf(text), "");
    text = "before";
    dictionary.DumpLasts(text);
    EXPECT_EQ(BytesOf(text), "");
}

TEST_F(FreeStandingDictionary, GivesBackTheCapacityThatItsDumpDoesNotUse) {
    dictionary.AddLast("a", 5, Types::Timer);
    RWCString text(std::string(10000, 'x').c_str());
    dictionary.DumpDict(text);
    EXPECT_LT(text.capacity(), 128U);
    dictionary.DumpLasts(text);
    EXPECT_LT(text.capacity(), 64U);
}

TEST_F(FreeStandingDictionary, GivesBackTheCapacityOfATextThatItEmpties) {
    RWCString text(std::string(10000, 'x').c_str());
    dictionary.DumpDict(text);
    EXPECT_LT(text.capacity(), 64U);
}

TEST_F(MeasurementDictionary, DumpsNoCachedValues) {
    AddLasts("a", 1);
    EXPECT_EQ(DumpOf(dictionary), "");
    EXPECT_EQ(LastsDumpOf(dictionary), "");
    EXPECT_EQ(CachedCount(), 1);
}

TEST_F(FreeStandingDictionary, DumpsAndMergesUnderALocaleWithACommaToo) {
    const DecimalCommaLocale comma;
    ASSERT_TRUE(comma.IsInForce()) << comma.Problem();
    Dictionary source;
    source.SetValues("a", 0.5, 2.5, 1234, 1000.5, 0, 0.5, 2.5, 1, 0.5, Types::Timer);
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_EQ(DumpOf(dictionary), Fields("a|2|0.500|2.500|1234|1000.500|1001000.250|0.811"
                                         "|0.500|2.500|1|0.500|0.250|0.500|"));
    EXPECT_EQ(LastsDumpOf(dictionary), Fields("a|2|0.500|2.500|1|0.500|0.250|"));
}

// ---------------------------------------------------------------------------------------- print

TEST_F(FreeStandingDictionary, PrintsTheNameInFrontOfAMeasurement) {
    SetUnlike(dictionary, "a");
    EXPECT_EQ(PrintOf(dictionary),
              "a: Type 2 minimum = 1 maximum = 5 count = 3 sum = 9\n"
              "lasts: minimum = 2 maximum = 4 count = 2 sum = 7\n");
}

TEST_F(FreeStandingDictionary, PrintsEveryMeasurement) {
    SetUnlike(dictionary, "a");
    SetUnlike(dictionary, "b");
    const std::string lines =
        ": Type 2 minimum = 1 maximum = 5 count = 3 sum = 9\n"
        "lasts: minimum = 2 maximum = 4 count = 2 sum = 7\n";
    EXPECT_THAT(PrintOf(dictionary), AnyOf("a" + lines + "b" + lines, "b" + lines + "a" + lines));
}

TEST_F(MeasurementDictionary, PrintsNothingOfItsCache) {
    AddLasts("a", 1);
    EXPECT_EQ(PrintOf(dictionary), "");
}

// -------------------------------------------------------------------------------------- queries

struct QueryRow {
    const char* name;
    std::function<double(Dictionary&, const char*)> ask;
    double known;
    double empty;
};

std::ostream& operator<<(std::ostream& out, const QueryRow& row) {
    return out << row.name;
}

#define KZ_QUERY(operation, known, empty)                                                      \
    QueryRow {                                                                                 \
#operation, [](Dictionary & d,                                                         \
                       const char* name) -> double { return d.operation(name); }, known, empty \
    }

class Query : public testing::TestWithParam<QueryRow> {
protected:
    double Ask(const char* name) { return GetParam().ask(dictionary, name); }
    Dictionary dictionary;
};

class GuardedQuery : public Query {};

TEST_P(Query, AnswersTheStatisticOfAKnownName) {
    SetUnlike(dictionary, "other");
    SetUnlike(dictionary, "a");
    dictionary.Reset("other");
    EXPECT_EQ(Ask("a"), GetParam().known);
}

TEST_P(Query, AnswersTheEmptyStatisticOfANameWithoutValues) {
    SetUnlike(dictionary, "a");
    dictionary.Reset("a");
    EXPECT_EQ(Ask("a"), GetParam().empty);
}

TEST_P(GuardedQuery, AnswersMinusOneForAnUnknownName) {
    EXPECT_EQ(Ask("a"), -1.0);
    SetUnlike(dictionary, "a");
    for (const char* const unknown : {"", "A", "aa", "a "})
        EXPECT_EQ(Ask(unknown), -1.0) << unknown;
}

TEST_P(GuardedQuery, LeavesAnUnknownNameUnknown) {
    Ask("a");
    EXPECT_TRUE(dictionary.isEmpty());
}

const QueryRow kGuardedQueries[] = {
    KZ_QUERY(GetMaximum, 5, -1),      KZ_QUERY(GetCount, 3, 0),
    KZ_QUERY(GetSum, 9, 0),           KZ_QUERY(GetSumSqr, 81, 0),
    KZ_QUERY(GetStddev, 0, 0),        KZ_QUERY(GetAverage, 3, -1),
    KZ_QUERY(GetLastsMinimum, 2, -1), KZ_QUERY(GetLastsMaximum, 4, -1),
    KZ_QUERY(GetLastsCount, 2, 0),    KZ_QUERY(GetLastsSum, 7, 0),
    KZ_QUERY(GetLastsSumSqr, 49, 0),  KZ_QUERY(GetLastsAverage, 3.5, -1),
};

INSTANTIATE_TEST_SUITE_P(Minimum, Query, testing::Values(KZ_QUERY(GetMinimum, 1, -1)),
                         testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(Guarded, Query, testing::ValuesIn(kGuardedQueries),
                         testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(Guarded, GuardedQuery, testing::ValuesIn(kGuardedQueries),
                         testing::PrintToStringParamName());

#undef KZ_QUERY

template <class Operation>
constexpr bool kAsksAConstDictionary =
    std::is_invocable_v<Operation, const Dictionary&, const char*>;

static_assert(kAsksAConstDictionary<decltype(&Dictionary::GetMeasurement)>);
static_assert(kAsksAConstDictionary<decltype(&Dictionary::GetMinimum)>);
static_assert(kAsksAConstDictionary<decltype(&Dictionary::GetMaximum)>);
static_assert(kAsksAConstDictionary<decltype(&Dictionary::GetCount)>);
static_assert(!kAsksAConstDictionary<decltype(&Dictionary::GetSum)>);
static_assert(!kAsksAConstDictionary<decltype(&Dictionary::GetSumSqr)>);
static_assert(!kAsksAConstDictionary<decltype(&Dictionary::GetStddev)>);
static_assert(kAsksAConstDictionary<decltype(&Dictionary::GetAverage)>);
static_assert(kAsksAConstDictionary<decltype(&Dictionary::GetLastsMinimum)>);
static_assert(kAsksAConstDictionary<decltype(&Dictionary::GetLastsMaximum)>);
static_assert(kAsksAConstDictionary<decltype(&Dictionary::GetLastsCount)>);
static_assert(!kAsksAConstDictionary<decltype(&Dictionary::GetLastsSum)>);
static_assert(!kAsksAConstDictionary<decltype(&Dictionary::GetLastsSumSqr)>);
static_assert(kAsksAConstDictionary<decltype(&Dictionary::GetLastsAverage)>);

TEST_F(FreeStandingDictionary, TakesANullNameForTheEmptyOne) {
    EXPECT_EQ(dictionary.GetSum(nullptr), -1.0);
    SetUnlike(dictionary, nullptr);
    EXPECT_EQ(dictionary.GetSum(nullptr), 9.0);
    EXPECT_EQ(dictionary.GetSum(""), 9.0);
}

TEST_F(FreeStandingDictionary, AnswersNullForTheMeasurementOfAnUnknownName) {
    EXPECT_EQ(dictionary.GetMeasurement("a"), nullptr);
    dictionary.AddLast("a", 5, Types::Timer);
    EXPECT_EQ(dictionary.GetMeasurement("b"), nullptr);
}

TEST_F(FreeStandingDictionary, AnswersTheSameMeasurementOfANameEachTime) {
    dictionary.AddLast("a", 5, Types::Timer);
    CKZStatGenMeasurement* const measurement = dictionary.GetMeasurement("a");
    ASSERT_NE(measurement, nullptr);
    dictionary.AddLast("a", 7, Types::Timer);
    EXPECT_EQ(dictionary.GetMeasurement("a"), measurement);
    measurement->Reset();
    EXPECT_EQ(dictionary.GetCount("a"), 0);
}

TEST_F(FreeStandingDictionary, NeverComputesAStandardDeviation) {
    for (const double value : {1.0, 5.0, 9.0}) dictionary.AddLast("a", value, Types::Timer);
    EXPECT_EQ(dictionary.GetStddev("a"), 0.0);
    SetUnlike(dictionary, "a");
    EXPECT_EQ(dictionary.GetStddev("a"), 0.0);
    EXPECT_EQ(dictionary.GetStddev("b"), -1.0);
}

TEST_F(FreeStandingDictionary, HasNoAverageWhereTheCountIsBelowZero) {
    dictionary.SetValues("a", 1, 5, -3, 9, 0, 1, 5, -1, 9, Types::Timer);
    EXPECT_EQ(dictionary.GetAverage("a"), -1.0);
    EXPECT_EQ(dictionary.GetLastsAverage("a"), -1.0);
    EXPECT_EQ(dictionary.GetCount("a"), -3);
}

// --------------------------------------------------------------------------------------- traces

const Texts kFirstFiveAdded = {"Adding stat: %s=%f\ta\t5\t", kRule,
                               " CKZStatGenMeasurement::AddLast ( %d )\t5\t",
                               " tsum = %d    tsumSqr = %d\\n\t5\t25\t", kRule};

Texts WithFirstFiveAdded(Texts before) {
    before.insert(before.end(), kFirstFiveAdded.begin(), kFirstFiveAdded.end());
    return before;
}

TEST_F(MeasurementDictionary, TracesAValueThatItCaches) {
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.AddLast("a%d", 2.5, Types::Timer);
    EXPECT_THAT(log.Texts(), ElementsAre("Caching stat: %s=%f\ta%d\t2.5\t"));
}

TEST_F(MeasurementDictionary, TracesTheWholeOfALongNameThatItCachesAndItsCutForm) {
    const std::string name(300, 'n');
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.AddLast(name.c_str(), 5, Types::Timer);
    dictionary.FlushStatsCache();
    EXPECT_EQ(log.Texts().front(), "Caching stat: %s=%f\t" + name + "\t5\t");
    EXPECT_EQ(log.Texts()[2], "Adding stat: %s=%f\t" + name.substr(0, 256) + "\t5\t");
}

TEST_F(MeasurementDictionary, TracesAFlushOnDemand) {
    dictionary.AddLast("a", 5, Types::Timer);
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.FlushStatsCache();
    EXPECT_EQ(log.Texts(), WithFirstFiveAdded({"In FlushStatsCache\t"}));
}

TEST_F(MeasurementDictionary, TracesAFlushOfAnEmptyCache) {
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.FlushStatsCache();
    EXPECT_THAT(log.Texts(), ElementsAre("In FlushStatsCache\t", "Nothing to flush\t"));
}

TEST(DictionaryWithAFullCache, TracesWhyItFlushes) {
    SliceDictionary tested("1");
    CapturingLog log(RyPLogLevel::Trace);
    tested.dictionary.AddLast("a", 5, Types::Timer);
    EXPECT_EQ(log.Texts(),
              WithFirstFiveAdded({"Caching stat: %s=%f\ta\t5\t",
                                  "Flushing stats due to cache full\t", "In FlushStatsCache\t"}));
}

TEST_F(FreeStandingDictionary, TracesItsFlushWithoutAReason) {
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.AddLast("a", 5, Types::Timer);
    EXPECT_EQ(log.Texts(),
              WithFirstFiveAdded({"Caching stat: %s=%f\ta\t5\t", "In FlushStatsCache\t"}));
}

TEST_F(MeasurementDictionary, TracesValuesThatAreSetAroundTheMeasurement) {
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.SetValues("a", 1, 5, 3, -9.5, 999, 1, 5, 3, 9, Types::Timer);
    EXPECT_THAT(log.Texts(), ElementsAre(kRule, " CKZStatGenMeasurementDictionary::SetValues \t",
                                         kRule, " CKZStatGenMeasurement::SetValues \t",
                                         " After Set, the values are :\t",
                                         " array[tsum] = %d    array[tsumSqr] = %d\\n\t-9\t90\t",
                                         kRule, "Sum =  %d     SumSqr = %d \t-9\t90\t", kRule));
}

TEST_F(MeasurementDictionary, TracesUnderTheLibrarysScopeAndItsOwnFile) {
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.AddLast("a", 5, Types::Timer);
    dictionary.FlushStatsCache();
    dictionary.FlushStatsCache();
    for (const CapturingLog::Record& record : log.Records()) {
        const bool ofTheMeasurement = record.text.find("tsum") != std::string::npos ||
                                      record.text.find("Measurement") != std::string::npos ||
                                      record.text == kRule;
        EXPECT_EQ(record.level, RyPLogLevel::Trace) << record.text;
        EXPECT_EQ(record.scope, "KZStatisticGenerator") << record.text;
        EXPECT_EQ(record.file, ofTheMeasurement ? "kzstatgenmeasurement.cpp"
                                                : "kzstatgenmeasurementdictionary.cpp")
            << record.text;
    }
    EXPECT_EQ(log.Records().size(), 1U + 6U + 2U);
}

TEST_F(FreeStandingDictionary, TracesOnlyItsMeasurementsWhenItIsMerged) {
    Dictionary source;
    source.AddLast("a", 5, Types::Timer);
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.AddValuesOfDict(&source, AddForDump);
    EXPECT_THAT(
        log.Texts(),
        ElementsAre(kRule, " CKZStatGenMeasurement::AddValues (sum = %d  sSqr = %d)\\n\t5\t25\t",
                    " After Add, the values are :\t",
                    " array[tsum] = %d    array[tsumSqr] = %d\\n\t5\t25\t"));
}

TEST_F(FreeStandingDictionary, TracesOnlyItsMeasurementsWhenItIsDumped) {
    dictionary.AddLast("a", 5, Types::Timer);
    CapturingLog log(RyPLogLevel::Trace);
    const std::string dump = DumpOf(dictionary);
    EXPECT_THAT(log.Texts(), ElementsAre(kRule, " AppendDump NAME = %s \ta\t",
                                         " array[tsum] = %d    array[tsumSqr] = %d\\n\t5\t25\t",
                                         " String = %s \t" + dump + "\t", kRule));
}

TEST_F(FreeStandingDictionary, TracesNothingElse) {
    SetUnlike(dictionary, "a");
    CapturingLog log(RyPLogLevel::PerformanceDetail);
    LastsDumpOf(dictionary);
    PrintOf(dictionary);
    dictionary.Reset("a");
    dictionary.ResetLasts();
    dictionary.GetCount("a");
    dictionary.GetCount("unknown");
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST_F(MeasurementDictionary, TracesNothingBelowTheTraceLevel) {
    CapturingLog log(RyPLogLevel::Incomplete);
    AddLasts("a", 20);
    SetUnlike(dictionary, "a");
    DumpOf(dictionary);
    EXPECT_THAT(log.Texts(), IsEmpty());
}

// -------------------------------------------------------------------------------------- the end

TEST(DictionaryAtItsEnd, DropsWhatItStillCaches) {
    EnvironmentVariable setting("LGStatsCacheSize", nullptr);
    RecordingGenerator generator;
    CKZStatGenSlice slice(1, 110.0, &generator, true);
    auto dictionary = std::make_unique<Dictionary>(&slice);
    dictionary->AddLast("a", 5, Types::Timer);
    CapturingLog log(RyPLogLevel::Trace);
    dictionary.reset();
    EXPECT_THAT(log.Texts(), IsEmpty());
}

TEST(DictionaryAtItsEnd, IsForgottenByTheClientThatHoldsIt) {
    RyPTestClock clock(100.0);
    RecordingGenerator generator;
    generator.Start(100.0, 10.0);
    CKZStatGenClient client(&generator, 7);
    CKZStatGenClient other(&generator, 8);
    std::unique_ptr<RWCollectable> dictionary(client.GetNewDictionary());
    clock.Set(110.0);
    other.GetNewDictionary();
    const RWCollectableInt id(7);
    const std::unique_ptr<RWCollectable> key(generator.WaitForSlice()->remove(&id));
    ASSERT_EQ(Peer::DictionaryOf(client), dictionary.get());
    dictionary.reset();
    EXPECT_EQ(Peer::DictionaryOf(client), nullptr);
}

// ---------------------------------------------------------------------------------------- locks

/// Standard output that runs `action` once, at the first write to it. A dictionary writes there
/// with its lock held, which is how the tests below hold it.
class ActionAtFirstWrite : public std::streambuf {
public:
    explicit ActionAtFirstWrite(std::function<void()> action)
        : m_action(std::move(action)), m_standardOutput(std::cout.rdbuf(this)) {}
    ~ActionAtFirstWrite() override { std::cout.rdbuf(m_standardOutput); }

protected:
    int overflow(int byte) override {
        RunOnce();
        return traits_type::not_eof(byte);
    }
    std::streamsize xsputn(const char*, std::streamsize length) override {
        RunOnce();
        return length;
    }

private:
    void RunOnce() {
        if (const auto action = std::exchange(m_action, nullptr)) action();
    }

    std::function<void()> m_action;
    std::streambuf* const m_standardOutput;
};

/// Runs `action` on this thread while it holds the lock of `dictionary`, which is not empty.
void WithLockHeld(Dictionary& dictionary, std::function<void()> action) {
    const ActionAtFirstWrite standardOutput(std::move(action));
    dictionary.Print();
}

/// True when another thread gets through `operation` while this one holds the lock. The time-out
/// only bounds how long a failure takes.
bool NeedsNoLock(Dictionary& dictionary, const std::function<void()>& operation) {
    std::future<void> ended;
    bool hasEnded = false;
    WithLockHeld(dictionary, [&] {
        ended = std::async(std::launch::async, operation);
        hasEnded = ended.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
    });
    ended.get();
    return hasEnded;
}

/// A dictionary with one name, so that Print writes something.
class DictionaryLock : public MeasurementDictionary {
protected:
    DictionaryLock() { SetAlike(dictionary, "a", 5, 1); }

    /// Runs `operation` on another thread that starts while this one holds the lock, and adds a
    /// value before it lets go of it: an operation that waits for the lock sees the value.
    void WhileAValueIsAdded(const std::function<void()>& operation) {
        std::future<void> ended;
        WithLockHeld(dictionary, [&] {
            std::promise<void> starting;
            ended = std::async(std::launch::async, [&operation, &starting] {
                starting.set_value();
                operation();
            });
            starting.get_future().wait();
            // Leaves the processor to an operation that does not wait, so that it misses the value.
            for (int turn = 0; turn < 10000; ++turn) std::this_thread::yield();
            dictionary.GetMeasurement("a")->AddLast(5);
        });
        ended.get();
    }
};

TEST_F(DictionaryLock, IsNotTakenToCacheAValue) {
    EXPECT_TRUE(NeedsNoLock(dictionary, [&] { dictionary.AddLast("a", 5, Types::Timer); }));
    EXPECT_EQ(CachedCount(), 1);
}

TEST_F(DictionaryLock, IsNotTakenToRefuseAValue) {
    CloseSlice();
    EXPECT_TRUE(NeedsNoLock(dictionary, [&] { dictionary.AddLast("a", 5, Types::Timer); }));
}

TEST_F(DictionaryLock, IsNotTakenToFlushAnEmptyCache) {
    EXPECT_TRUE(NeedsNoLock(dictionary, [&] { dictionary.FlushStatsCache(); }));
}

TEST_F(DictionaryLock, IsNotTakenToResetLasts) {
    EXPECT_TRUE(NeedsNoLock(dictionary, [&] { dictionary.ResetLasts(); }));
    EXPECT_EQ(dictionary.GetLastsCount("a"), 0);
}

TEST_F(DictionaryLock, IsNotTakenByQueries) {
    for (const QueryRow& query : kGuardedQueries)
        EXPECT_TRUE(NeedsNoLock(dictionary, [&] { query.ask(dictionary, "a"); })) << query;
    EXPECT_TRUE(NeedsNoLock(dictionary, [&] { dictionary.GetMinimum("a"); }));
    EXPECT_TRUE(NeedsNoLock(dictionary, [&] { dictionary.GetMeasurement("a"); }));
}

TEST_F(DictionaryLock, IsNotTakenWhenAnotherIsMergedIntoIt) {
    Dictionary source;
    SetAlike(source, "a", 5, 1);
    EXPECT_TRUE(NeedsNoLock(dictionary, [&] { dictionary.AddValuesOfDict(&source, AddForDump); }));
    EXPECT_EQ(dictionary.GetCount("a"), 2);
}

TEST_F(DictionaryLock, IsNotTakenToMakeTheDictionaryThatFollows) {
    generator.Start(RyPSysTime(), 1e6);
    EXPECT_TRUE(NeedsNoLock(dictionary, [&] { generator.GetNewDictionary(5, &dictionary); }));
}

TEST_F(DictionaryLock, IsTakenWhenItIsMergedIntoAnother) {
    Dictionary merged;
    WhileAValueIsAdded([&] { merged.AddValuesOfDict(&dictionary, AddForDump); });
    EXPECT_EQ(merged.GetCount("a"), 2);
}

TEST_F(DictionaryLock, IsTakenToFlush) {
    dictionary.AddLast("a", -1, Types::Timer);
    WhileAValueIsAdded([&] { dictionary.FlushStatsCache(); });
    // A -1 that is flushed too early is replaced by the value that is added.
    EXPECT_EQ(dictionary.GetMinimum("a"), -1.0);
    EXPECT_EQ(dictionary.GetCount("a"), 3);
}

TEST_F(DictionaryLock, IsTakenToSetValues) {
    WhileAValueIsAdded([&] { SetAlike(dictionary, "a", 7, 4); });
    EXPECT_EQ(dictionary.GetCount("a"), 4);
    EXPECT_EQ(dictionary.GetSum("a"), 7.0);
}

TEST_F(DictionaryLock, IsTakenToReset) {
    WhileAValueIsAdded([&] { dictionary.Reset("a"); });
    EXPECT_EQ(dictionary.GetCount("a"), 0);
}

TEST_F(DictionaryLock, IsTakenToDump) {
    std::string dump;
    WhileAValueIsAdded([&] { dump = DumpOf(dictionary); });
    EXPECT_THAT(dump, testing::StartsWith(Fields("a|2|5.000|5.000|2|10.000|")));
}

TEST_F(DictionaryLock, IsTakenToDumpLasts) {
    std::string dump;
    WhileAValueIsAdded([&] { dump = LastsDumpOf(dictionary); });
    EXPECT_THAT(dump, testing::StartsWith(Fields("a|2|5.000|5.000|2|10.000|")));
}

TEST_F(DictionaryLock, IsTakenAgainByTheThreadThatHoldsIt) {
    std::string dump;
    AddLasts("a", 1);
    dictionary.FlushStatsCache();
    WithLockHeld(dictionary, [&] {
        dictionary.AddValuesOfDict(&dictionary, AddForDump);
        dump = DumpOf(dictionary);
    });
    EXPECT_THAT(dump, testing::StartsWith(Fields("a|2|1.000|5.000|4|12.000|")));
}

// -------------------------------------------------------------------------------------- threads

/// Swallows what is printed, so that Print can run beside other operations.
class SilentStandardOutput : ActionAtFirstWrite {
public:
    SilentStandardOutput() : ActionAtFirstWrite([] {}) {}
};

TEST_F(MeasurementDictionary, FlushesEveryValueOnceWhenTwoThreadsFlush) {
    for (int round = 1; round <= 200; ++round) {
        AddLasts("a", 19);
        ConcurrentlyTimes(2, [&] { dictionary.FlushStatsCache(); });
        ASSERT_EQ(CachedCount(), 0);
        ASSERT_EQ(dictionary.GetCount("a"), 19 * round);
    }
}

TEST_F(MeasurementDictionary, HasAllValuesInAfterAFlushWhicheverThreadMovedThem) {
    for (int round = 1; round <= 100; ++round) {
        AddLasts("a", 19);
        std::atomic<int> incomplete = 0;
        ConcurrentlyTimes(2, [&] {
            dictionary.FlushStatsCache();
            incomplete += dictionary.GetCount("a") != 19 * round;
        });
        ASSERT_EQ(incomplete, 0);
    }
}

TEST_F(MeasurementDictionary, DumpsWholeRecordsWhileValuesAreSet) {
    SetAlike(dictionary, "a", 1, 1);
    const std::string ones = DumpOf(dictionary);
    SetAlike(dictionary, "a", 2, 2);
    const std::string twos = DumpOf(dictionary);
    std::atomic<int> torn = 0;
    const auto set = [&] {
        for (int time = 0; time < 500; ++time)
            SetAlike(dictionary, "a", 1 + time % 2, 1 + time % 2);
    };
    const auto dump = [&] {
        for (int time = 0; time < 500; ++time) {
            const std::string text = DumpOf(dictionary);
            torn += text != ones && text != twos;
        }
    };
    Concurrently({set, set, dump, dump});
    EXPECT_EQ(torn, 0);
}

TEST_F(MeasurementDictionary, MergesWholeMeasurementsWhileValuesAreSet) {
    SetAlike(dictionary, "a", 1, 1);
    std::atomic<int> torn = 0;
    const auto set = [&] {
        for (int time = 0; time < 500; ++time)
            SetAlike(dictionary, "a", 1 + time % 2, 1 + time % 2);
    };
    const auto merge = [&] {
        for (int time = 0; time < 500; ++time) {
            Dictionary merged;
            merged.AddValuesOfDict(&dictionary, AddForDump);
            torn += merged.GetSum("a") != merged.GetCount("a") ||
                    merged.GetLastsSum("a") != merged.GetCount("a");
        }
    };
    Concurrently({set, merge, merge});
    EXPECT_EQ(torn, 0);
}

TEST_F(MeasurementDictionary, IsDumpedSetAndResetWhileOneThreadReports) {
    constexpr int kValues = 2000;
    const auto report = [&] { AddLasts("reported", kValues); };
    const auto other = [&] {
        for (int time = 0; time < 200; ++time) {
            SetAlike(dictionary, std::to_string(time).c_str(), 1, 1);
            dictionary.Reset(std::to_string(time / 2).c_str());
            DumpOf(dictionary);
            LastsDumpOf(dictionary);
        }
    };
    Concurrently({report, other});
    dictionary.FlushStatsCache();
    EXPECT_EQ(dictionary.GetCount("reported"), kValues);
    EXPECT_EQ(dictionary.entries(), 201U);
}

TEST_F(MeasurementDictionary, TakesEveryOperationThatLocksAtTheSameTime) {
    const SilentStandardOutput silent;
    AddLasts("cached", 19);
    Dictionary merged;
    const auto repeat = [](const std::function<void(const char*)>& operation) {
        return [operation] {
            for (int time = 0; time < 200; ++time) operation(std::to_string(time % 50).c_str());
        };
    };
    Concurrently({repeat([&](const char* name) { SetAlike(dictionary, name, 5, 1); }),
                  repeat([&](const char* name) { dictionary.Reset(name); }),
                  repeat([&](const char*) { dictionary.FlushStatsCache(); }),
                  repeat([&](const char*) { dictionary.FlushStatsCache(); }),
                  repeat([&](const char*) { DumpOf(dictionary); }),
                  repeat([&](const char*) { LastsDumpOf(dictionary); }),
                  repeat([&](const char*) { dictionary.Print(); }),
                  repeat([&](const char*) { merged.AddValuesOfDict(&dictionary, AddForDump); })});
    EXPECT_EQ(dictionary.entries(), 51U);
    EXPECT_EQ(dictionary.GetCount("cached"), 19);
}

TEST_F(FreeStandingDictionary, AnswersQueriesOfSeveralThreads) {
    SetUnlike(dictionary, "a");
    std::atomic<int> wrong = 0;
    ConcurrentlyTimes(3, [&] {
        for (int time = 0; time < 200; ++time) {
            for (const QueryRow& query : kGuardedQueries) {
                wrong += query.ask(dictionary, "a") != query.known;
                wrong += query.ask(dictionary, "b") != -1.0;
            }
            wrong += dictionary.GetMeasurement("a") == nullptr;
        }
    });
    EXPECT_EQ(wrong, 0);
}

}  // namespace
