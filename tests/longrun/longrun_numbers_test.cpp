#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "kzstatgenmeasurementdictionary.h"
#include "kzstatisticsgenerator.h"
#include "ryp/testclock.h"
#include "support/fields.h"

// The numbers that only a long run reaches: large counts, and the ends of late slices.

namespace {

using Types = CKZStatPointTypeEnum;

constexpr int kLargestInt = std::numeric_limits<int>::max();

// ---------------------------------------------------------------------------------- large counts

/// One timer "n" that took the value 1 so many times.
class LargeCount : public testing::Test {
protected:
    LargeCount() { dictionary.AddLast("n", 1, Types::Timer); }

    CKZStatGenMeasurement& Timer() { return *dictionary.GetMeasurement("n"); }

    /// Merges what was counted so far into itself: 2^times as many values.
    void Double(int times) {
        for (int i = 0; i < times; ++i) {
            const CKZStatGenMeasurement soFar(Timer());
            Timer().AddValues(soFar, AddForDump);
        }
    }

    std::string Dump() {
        RWCString text;
        dictionary.DumpDict(text);
        return BytesOf(text);
    }

    /// The dump where totals and lasts are alike.
    static std::string DumpOfCount(const std::string& count, const std::string& sum) {
        const std::string part = "1.000|1.000|" + count + "|" + sum + "|" + sum + "|1.000|";
        return Fields("n|2|" + part + part);
    }

    CKZStatGenMeasurementDictionary dictionary;
};

TEST_F(LargeCount, IsDumpedWholeBeyondAnInt) {
    Double(31);
    EXPECT_EQ(Dump(), DumpOfCount("2147483648", "2147483648.000"));
    Double(9);
    EXPECT_EQ(Dump(), DumpOfCount("1099511627776", "1099511627776.000"));
}

TEST_F(LargeCount, GoesOnByOneBeyondAnInt) {
    Double(31);
    dictionary.AddLast("n", 1, Types::Timer);
    EXPECT_EQ(Dump(), DumpOfCount("2147483649", "2147483649.000"));
}

TEST_F(LargeCount, IsTheLargestIntInQueriesBeyondIt) {
    Double(30);
    EXPECT_EQ(dictionary.GetCount("n"), 1 << 30);
    EXPECT_EQ(dictionary.GetLastsCount("n"), 1 << 30);
    Double(1);
    EXPECT_EQ(dictionary.GetCount("n"), kLargestInt);
    EXPECT_EQ(dictionary.GetLastsCount("n"), kLargestInt);
    Double(40);
    EXPECT_EQ(dictionary.GetCount("n"), kLargestInt);
    EXPECT_EQ(dictionary.GetLastsCount("n"), kLargestInt);
}

TEST_F(LargeCount, KeepsSumAndAverageExactBeyondAnInt) {
    Double(40);
    EXPECT_EQ(dictionary.GetSum("n"), std::ldexp(1, 40));
    EXPECT_EQ(dictionary.GetAverage("n"), 1);
    EXPECT_EQ(dictionary.GetLastsSum("n"), std::ldexp(1, 40));
}

TEST_F(LargeCount, IsMergedWholeIntoAnotherDictionary) {
    Double(33);
    RWCString text;
    CKZStatGenMeasurementDictionary merged;
    merged.AddValuesOfDict(&dictionary, AddForDump);
    merged.AddLast("n", 1, Types::Timer);
    merged.DumpDict(text);
    EXPECT_EQ(BytesOf(text), DumpOfCount("8589934593", "8589934593.000"));
}

TEST_F(LargeCount, CountsTheLastOneBelowTwoToThe53rd) {
    Double(53);
    EXPECT_EQ(Dump(), DumpOfCount("9007199254740992", "9007199254740992.000"));
}

// A double holds whole numbers up to there only; a run does not live to see it.
TEST_F(LargeCount, LosesASingleValueSilentlyFromTwoToThe53rd) {
    Double(53);
    dictionary.AddLast("n", 1, Types::Timer);
    EXPECT_EQ(Dump(), DumpOfCount("9007199254740992", "9007199254740992.000"));
}

TEST_F(LargeCount, TakesMergedValuesBeyondTwoToThe53rd) {
    Double(53);
    const CKZStatGenMeasurement soFar(Timer());
    Timer().AddValues(soFar, AddFromSlice);
    EXPECT_EQ(Dump(), DumpOfCount("18014398509481984", "18014398509481984.000"));
}

TEST_F(LargeCount, IsDumpedWholeUpToTwoToThe62nd) {
    Double(62);
    EXPECT_EQ(Dump(), DumpOfCount("4611686018427387904", "4611686018427387904.000"));
}

TEST_F(LargeCount, IsDumpedAsTheLargestWholeNumberFromTwoToThe63rd) {
    Double(63);
    EXPECT_EQ(Dump(), DumpOfCount("9223372036854775807", "9223372036854775808.000"));
    Double(7);
    EXPECT_EQ(Dump(), DumpOfCount("9223372036854775807", "1180591620717411303424.000"));
}

// ------------------------------------------------------------------------------------ late slices

constexpr double kStart = 1.7e9;
constexpr int kSlices = 10000;

/// Notes the end of each slice. Owned by the thread that packs.
class EndRecorder : public CKZStatGenMain {
public:
    EndRecorder() : CKZStatGenMain("ends") {}

    void SendClientDictionary(CKZStatGenMeasurementDictionary*, int, double sliceEnd) override {
        ends.push_back(sliceEnd);
    }
    void SendTotalDictionary(CKZStatGenMeasurementDictionary*, double, double totalTime) override {
        elapsed.push_back(totalTime);
    }

    std::vector<double> ends;
    std::vector<double> elapsed;
};

/// Packs `kSlices` slices of this length; all of them pass in one silence.
void PackAll(EndRecorder& host, double sliceLength) {
    RyPTestClock clock(kStart);
    host.Start(kStart, sliceLength);
    CKZStatGenClient client(&host, 1);
    client.AddLast("n", 1, Types::Counter);
    clock.Set(kStart + (kSlices + 2) * sliceLength);
    client.GetNewDictionary();
    for (int slice = 0; slice < kSlices; ++slice) {
        CKZStatGenSlice* const finished = host.WaitForSlice();
        host.SendSlice(finished);
        host.RemoveSlice(finished);
    }
}

/// Half of the distance to the next double: the most by which one addition can be off.
double HalfUlp(double value) {
    return (std::nextafter(value, std::numeric_limits<double>::infinity()) - value) / 2;
}

// Each end is the one before plus the length, rounded once.
TEST(LateSlice, EndsWithinHalfAnUlpPerSliceOfItsDueTime) {
    EndRecorder host;
    constexpr double kLength = 0.1;
    PackAll(host, kLength);
    ASSERT_EQ(host.ends.size(), static_cast<std::size_t>(kSlices));
    for (int n = 1; n <= kSlices; ++n) {
        const double end = host.ends[static_cast<std::size_t>(n - 1)];
        const long double due =
            static_cast<long double>(kStart) + n * static_cast<long double>(kLength);
        ASSERT_LE(std::fabs(end - due), n * static_cast<long double>(HalfUlp(end)))
            << "slice " << n;
    }
}

TEST(LateSlice, HasAnElapsedTimeThatIsItsEndLessTheStart) {
    EndRecorder host;
    PackAll(host, 0.1);
    ASSERT_EQ(host.elapsed.size(), host.ends.size());
    for (std::size_t i = 0; i < host.ends.size(); ++i)
        ASSERT_EQ(host.elapsed[i], host.ends[i] - kStart) << "slice " << i + 1;
}

TEST(LateSlice, EndsExactlyWhenDueWhereTheLengthIsASumOfPowersOfTwo) {
    EndRecorder host;
    constexpr double kLength = 0.625;
    PackAll(host, kLength);
    ASSERT_EQ(host.ends.size(), static_cast<std::size_t>(kSlices));
    for (int n = 1; n <= kSlices; ++n) {
        const std::size_t i = static_cast<std::size_t>(n - 1);
        ASSERT_EQ(host.ends[i], kStart + n * kLength) << "slice " << n;
        ASSERT_EQ(host.elapsed[i], n * kLength) << "slice " << n;
    }
}

}  // namespace
