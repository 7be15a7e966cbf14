// What was appended comes back as it was: from the recent records while the run goes on, and from
// the chunks once it has ended.

#include <gmock/gmock.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <map>

#include "journal/journalfixture.h"
#include "kzjournalbulkwriter.h"

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The numbers of an aggregate as bits; a NaN is any NaN.
std::vector<std::uint64_t> Bits(const CKZStatAggregate& aggregate) {
    std::vector<std::uint64_t> bits;
    for (const double number :
         {aggregate.minimum, aggregate.maximum, aggregate.count, aggregate.sum, aggregate.sumSqr})
        bits.push_back(std::bit_cast<std::uint64_t>(std::isnan(number) ? kNan : number));
    return bits;
}

class ExactValues : public JournalTest {
protected:
    void SetUp() override { ASSERT_EQ("", Open()); }

    /// A slice of one record, appended.
    MadeSlice AppendRecord(const std::string& name, const CKZStatAggregate& totals,
                           const CKZStatAggregate& lasts) {
        MadeSlice slice = slices.NextSlice({});
        slice.records = {{RWCString(name.data(), name.size()), Types::Timer, totals, lasts}};
        EXPECT_EQ("", AppendSlice(slice));
        return slice;
    }

    /// Fails unless the last slice in the file is `expected`, read as a whole and by name.
    void ExpectLastSlice(const MadeSlice& expected) {
        kzjournal::Reader reader(path);
        const auto slice = reader.LastSlice();
        ASSERT_TRUE(slice);
        EXPECT_EQ(expected.facts.sliceId, slice->id);
        EXPECT_EQ(expected.facts.elapsed, slice->elapsed);
        EXPECT_EQ(expected.facts.endTime, slice->endTime);
        EXPECT_EQ(expected.Text(), slice->message);
        ASSERT_EQ(expected.records.size(), slice->records.size());
        for (std::size_t i = 0; i < slice->records.size(); ++i)
            ExpectRecord(expected.records[i], slice->records[i]);
        for (const CKZStatMessageRecord& record : expected.records) ExpectPoint(reader, record);
    }

    void ExpectInBothForms(const MadeSlice& expected) {
        ExpectLastSlice(expected);
        EXPECT_EQ("", Close());
        ExpectLastSlice(expected);
    }

private:
    static void ExpectRecord(const CKZStatMessageRecord& expected,
                             const CKZStatMessageRecord& actual) {
        EXPECT_EQ(expected.name, actual.name);
        EXPECT_EQ(expected.type, actual.type);
        EXPECT_EQ(Bits(expected.totals), Bits(actual.totals));
        EXPECT_EQ(Bits(expected.lasts), Bits(actual.lasts));
    }

    static void ExpectPoint(kzjournal::Reader& reader, const CKZStatMessageRecord& record) {
        std::vector<std::uint64_t> lasts;
        reader.ForEachPoint(
            {record.name.data(), record.name.length()}, {},
            [&](const kzjournal::SeriesPoint& point) { lasts = Bits(point.lasts); });
        EXPECT_EQ(Bits(record.lasts), lasts);
    }
};

TEST_F(ExactValues, ComeBackToTheBit) {
    ExpectInBothForms(AppendRecord("odd", {5e-324, 1e300, 4e9, 0.1 + 0.2, 1.0 / 3},
                                   {-1.0 / 3, 2.5, 9007199254740991, 1e-300, -5e-324}));
}

TEST_F(ExactValues, TakeNumbersThatAreNone) {
    ExpectInBothForms(AppendRecord("wild", {-kInfinity, kInfinity, 3, kNan, kInfinity},
                                   {kNan, kNan, kNan, -kInfinity, kNan}));
}

TEST_F(ExactValues, TakeCountsThatOnlySetValuesMakes) {
    ExpectInBothForms(AppendRecord("set", {1, 2, -4e9, -3, 5}, {7, 8, 0.5, 9, 10}));
}

TEST_F(ExactValues, KeepWhatIsBesideACountOfZero) {
    ExpectInBothForms(AppendRecord("none", {-1, -1, 0, 0, 0}, {3, 4, 0, 5, 6}));
}

TEST_F(ExactValues, TakeNamesThatMessagesCannotHold) {
    const CKZStatAggregate one{1, 1, 1, 1, 1};
    ExpectInBothForms(AppendRecord(std::string("a\001b\0c\0", 6), one, one));
}

TEST_F(ExactValues, TakeAMessageByteForByteAndAnEndApartFromElapsed) {
    MadeSlice slice = slices.NextSlice({{"login.time", Types::Timer, {10, 30.5}}});
    slice.message = RWCString("no \0 message \001\xff", 15);
    slice.facts.endTime = 1.7e9 + 1.0 / 3;
    slice.facts.elapsed = 1.0 / 3;
    EXPECT_EQ("", AppendSlice(slice));
    ExpectInBothForms(slice);
}

TEST_F(ExactValues, TakeASliceWithoutRecords) {
    const MadeSlice slice = slices.NextSlice({});
    EXPECT_EQ("", AppendSlice(slice));
    ExpectInBothForms(slice);
}

TEST_F(ExactValues, ShowCountsAsWholeNumbersToSql) {
    AppendRecord("many", {1, 2, 4e9, 3, 5}, {1, 2, 2, 3, 5});
    const std::string sql = "SELECT count, last_count, sum FROM statistics";
    EXPECT_EQ("4000000000|2|3.0|\n", Rows(sql));
    EXPECT_EQ("", Close());
    EXPECT_EQ("4000000000|2|3.0|\n", Rows(sql));
}

/// Two chunks and a bit, made without waiting for the disk.
class Chunks : public JournalTest {
protected:
    static constexpr int kSlices = 600;

    /// Ids from 1001, in chunks of 240.
    void Make(const std::function<double(int)>& elapsedOf, bool isClosed = true) {
        kzjournal::BulkWriter bulk(path, run);
        for (int i = 1; i <= kSlices; ++i) {
            MadeSlice slice =
                slices.NextSlice({{"a", Types::Timer, {i / 3.0}},
                                  {"b" + std::to_string(i % 5), Types::Counter, {1}}});
            slice.facts.sliceId += 1000;
            slice.message = RWCString();  // which names the other id
            slice.facts.elapsed = elapsedOf(i);
            bulk.Append(slice.View());
            m_byTime.emplace(slice.facts.elapsed, slice);
        }
        if (!isClosed) ExpectAllInOrderOfTime();
        bulk.Close(1.7e9 + kSlices, 0);
    }

    void ExpectAllInOrderOfTime() {
        kzjournal::Reader reader(path);
        auto expected = m_byTime.begin();
        reader.ForEachSlice({}, [&](const kzjournal::Slice& slice) {
            ASSERT_EQ(expected->second.facts.sliceId, slice.id);
            EXPECT_EQ(expected->second.records.size(), slice.records.size());
            ++expected;
        });
        EXPECT_EQ(m_byTime.end(), expected);
        expected = m_byTime.begin();
        reader.ForEachPoint("a", {}, [&](const kzjournal::SeriesPoint& point) {
            ASSERT_EQ(expected->second.facts.sliceId, point.sliceId);
            EXPECT_EQ(Bits(expected->second.records.front().lasts), Bits(point.lasts));
            ++expected;
        });
        EXPECT_EQ(m_byTime.end(), expected);
    }

private:
    std::multimap<double, MadeSlice> m_byTime;
};

TEST_F(Chunks, GiveEverySliceAndPointInTheOrderOfTime) {
    Make([](int i) { return i; });
    ExpectAllInOrderOfTime();
}

TEST_F(Chunks, AndRecentRecordsAreOne) {
    Make([](int i) { return i; }, false);
}

TEST_F(Chunks, StayInTheOrderOfTimeWhereAPauseHasSetItBack) {
    Make([](int i) { return i <= 400 ? i : i - 300.5; });
    ExpectAllInOrderOfTime();
}

TEST_F(Chunks, GiveTheSlicesAfterOneInTheOrderOfTheirIds) {
    Make([](int i) { return i <= 400 ? i : i - 300.5; });
    std::vector<int> ids;
    kzjournal::Reader(path).ForEachSliceAfter(
        1254, [&](const kzjournal::Slice& slice) { ids.push_back(slice.id); }, 4);
    EXPECT_THAT(ids, testing::ElementsAre(1255, 1256, 1257, 1258));
}

TEST_F(Chunks, GiveASliceAloneByLookingItUp) {
    Make([](int i) { return i; });
    const auto slice = kzjournal::Reader(path).LastSlice({0, 300});
    ASSERT_TRUE(slice);
    EXPECT_EQ(1300, slice->id);
    EXPECT_EQ(6u, slice->records.size());
}

TEST_F(Chunks, AreFoundByNameWithoutReadingTheOthers) {
    Make([](int i) { return i; });
    const std::string plan =
        Rows("EXPLAIN QUERY PLAN SELECT last_sum FROM statistics WHERE name = 'a'");
    EXPECT_THAT(plan, testing::HasSubstr("(run_number=? AND chunk=? AND name_id=?)"));
}

}  // namespace
