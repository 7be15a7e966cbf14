// What ranges of slices add up to, from sums that were made while the run went on.

#include <gmock/gmock.h>

#include <cmath>
#include <map>
#include <random>

#include "journal/journalfixture.h"
#include "kzjournalbulkwriter.h"
#include "ryp/testclock.h"

namespace {

constexpr int kSlicesOfASum = 60;
constexpr int kSlicesOfALargeSum = 3600;

/// What slices say of one name.
struct Sum {
    CKZStatAggregate lasts;
    CKZStatDistribution distribution;
    bool lacksOne = false;
    int type = 0;

    bool operator==(const Sum& other) const {
        return lasts.minimum == other.lasts.minimum && lasts.maximum == other.lasts.maximum &&
               lasts.count == other.lasts.count && lasts.sum == other.lasts.sum &&
               lasts.sumSqr == other.lasts.sumSqr && lacksOne == other.lacksOne &&
               type == other.type && (lacksOne || distribution == other.distribution);
    }
};

using Sums = std::map<std::string, Sum>;  // by name

void Add(const kzjournal::Slice& slice, Sums& sums) {
    for (std::size_t i = 0; i < slice.records.size(); ++i) {
        const CKZStatMessageRecord& record = slice.records[i];
        Sum& sum = sums[std::string(record.name.view())];
        sum.type = record.type;
        sum.lasts.Add(record.lasts);
        CKZStatDistribution distribution;
        if (slice.ReadDistribution(i, distribution))
            sum.distribution.Add(distribution);
        else if (record.lasts.count != 0)
            sum.lacksOne = true;
    }
}

/// Whole values, so that sums are exact, however they are grouped.
class StoredSums : public JournalTest {
protected:
    using GroupOf = std::function<long long(double)>;

    static long long OneGroup(double) { return 0; }

    MadeSlice NextSlice() { return NextSlice(slices); }
    MadeSlice NextSlice(SliceMaker& maker) {
        std::uniform_int_distribution<int> number(0, 1000);
        const auto values = [&](int count) {
            std::vector<double> all;
            for (int i = 0; i < count; ++i) all.push_back(number(random));
            return all;
        };
        std::vector<Reported> reported = {{"login.time", Types::Timer, values(number(random) % 4)},
                                          {"logins", Types::Counter, values(1)}};
        if (maker.SliceId() % 7 > 2) reported.push_back({"late", Types::Timer, values(2)});
        return maker.NextSlice(reported);
    }
    static CKZStatSliceValues ViewOf(const MadeSlice& slice,
                                     std::vector<const CKZStatDistribution*>& shown) {
        shown.clear();
        for (std::size_t i = 0; i < slice.records.size(); ++i)
            shown.push_back(slice.records[i].name == "logins" ? nullptr : &slice.distributions[i]);
        return {slice.facts, slice.message, slice.records, shown};
    }
    /// A run of so many slices.
    void Make(
        int count, const std::function<void(MadeSlice&)>& change = [](MadeSlice&) {}) {
        kzjournal::BulkWriter bulk(path, run);
        SliceMaker maker("load", 1, 1.7e9);
        std::vector<const CKZStatDistribution*> shown;
        for (int i = 0; i < count; ++i) {
            MadeSlice slice = NextSlice(maker);
            change(slice);
            bulk.Append(ViewOf(slice, shown));
        }
        bulk.Close(1.7e9 + count, 0);
    }
    std::string AppendShown(const MadeSlice& slice) {
        std::vector<const CKZStatDistribution*> shown;
        return TextOf(writer.Append(ViewOf(slice, shown)).problem);
    }

    int CountOf(int level) {
        return std::stoi(Rows("SELECT count(*) FROM sums WHERE level = " + std::to_string(level)));
    }

    /// Sees that sums over the range are those of its slices; returns how many were visited.
    int Check(kzjournal::Reader& reader, const kzjournal::TimeRange& range,
              const GroupOf& groupOf = OneGroup) {
        std::map<long long, Sums> expected;
        std::vector<double> ends;
        reader.ForEachSlice(range, [&](const kzjournal::Slice& slice) {
            Add(slice, expected[groupOf(slice.elapsed)]);
            ends.push_back(slice.elapsed);
        });
        std::map<long long, Sums> found;
        std::vector<double> sumEnds;
        reader.ForEachSum(range, groupOf, [&](const kzjournal::Slice& sum) {
            EXPECT_EQ("", sum.message);
            for (const CKZStatMessageRecord& record : sum.records)
                EXPECT_EQ(0, record.totals.count);
            Add(sum, found[groupOf(sum.elapsed)]);
            sumEnds.push_back(sum.elapsed);
        });
        EXPECT_TRUE(expected == found) << range.from << " to " << range.to;
        EXPECT_TRUE(std::is_sorted(sumEnds.begin(), sumEnds.end()));
        EXPECT_EQ(ends.empty(), sumEnds.empty());
        EXPECT_EQ(ends.empty() ? 0 : ends.back(), sumEnds.empty() ? 0 : sumEnds.back());
        return static_cast<int>(sumEnds.size());
    }
    int Check(const kzjournal::TimeRange& range = {}, const GroupOf& groupOf = OneGroup) {
        kzjournal::Reader reader(path);
        return Check(reader, range, groupOf);
    }

    std::mt19937 random{1};
};

TEST_F(StoredSums, AreThoseOfTheSlices) {
    Make(kSlicesOfALargeSum + 130);
    EXPECT_EQ(62, CountOf(1));
    EXPECT_EQ(1, CountOf(2));
    EXPECT_EQ(1 + 2 + 10, Check());
    EXPECT_EQ(59 + 59 + 2 + 10, Check({1, 1e9}));
    EXPECT_EQ(1 + 59, Check({0, kSlicesOfALargeSum + 59}));
    kzjournal::Reader(path).CheckSums();
}

/// As if their writer had computed them wrongly.
TEST_F(StoredSums, ThatAreNotThoseOfTheirSlicesAreFound) {
    Make(130);
    const std::string other = std::exchange(path, folder.Path("this.kzj"));
    Make(130);
    Execute("ATTACH '" + other +
            "' AS other; DELETE FROM sums;"
            "INSERT INTO sums SELECT * FROM other.sums");
    try {
        kzjournal::Reader(path).CheckSums();
        ADD_FAILURE() << "not found";
    } catch (const kzjournal::Error& error) {
        EXPECT_EQ("the sum of slices 1 to 60 is not what they add up to",
                  std::string(error.what()));
    }
}

/// Each slice is in one sum of a level: a file in which many share their slices would be checked
/// without end.
TEST_F(StoredSums, ThatShareSlicesAreFound) {
    // So that names have the same ids in both files.
    const auto keepTwoNames = [](MadeSlice& slice) {
        slice.records.erase(slice.records.begin(), slice.records.end() - 2);
        slice.distributions.erase(slice.distributions.begin(), slice.distributions.end() - 2);
    };
    Make(130, keepTwoNames);
    const std::string other = std::exchange(path, folder.Path("this.kzj"));
    random.seed(1);
    kzjournal::BulkWriter bulk(path, run);
    std::vector<const CKZStatDistribution*> shown;
    for (int i = 1; i <= 130; ++i) {
        MadeSlice slice = NextSlice();
        keepTwoNames(slice);
        if (i > 30) bulk.Append(ViewOf(slice, shown));
    }
    bulk.Close(1.7e9 + 130, 0);
    const std::string shifted = std::exchange(path, other);
    Execute("ATTACH '" + shifted +
            "' AS other; DELETE FROM sums WHERE number = 1;"
            "INSERT INTO sums SELECT * FROM other.sums");
    EXPECT_EQ("31|90|\n61|120|\n",
              Rows("SELECT first_slice_id, last_slice_id FROM sums ORDER BY first_slice_id"));
    try {
        kzjournal::Reader(path).CheckSums();
        ADD_FAILURE() << "not found";
    } catch (const kzjournal::Error& error) {
        EXPECT_EQ("slice 61 is in two sums", std::string(error.what()));
    }
}

TEST_F(StoredSums, AreThoseOfTheSlicesOverAnyRange) {
    Make(1000);
    kzjournal::Reader reader(path);
    for (int i = 0; i < 60; ++i) {
        std::uniform_int_distribution<int> moment(-10, 1010);
        const auto [from, to] = std::minmax({moment(random), moment(random)});
        Check(reader, {1.0 * from, 1.0 * to});
    }
}

TEST_F(StoredSums, AreThoseOfTheSlicesInAnyGroups) {
    Make(400);
    kzjournal::Reader reader(path);
    for (const double width : {1.0, 7.0, 60.0, 90.0, 120.0, 399.0})
        Check(reader, {30, 380},
              [&](double elapsed) { return std::llround(std::ceil(elapsed / width)); });
    EXPECT_EQ(6 + 40,
              Check({}, [&](double elapsed) { return std::llround(std::ceil(elapsed / 60)); }));
}

TEST_F(StoredSums, AreThereWhileTheRunGoesOn) {
    const RyPTestClock clock(1000);  // stands still: no write takes too long
    Open();
    kzjournal::Reader early(path);
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ("", AppendShown(NextSlice()));
        if (i % 37 == 0) Check(early, {});
    }
    // The last one may be in the making.
    EXPECT_LE(Check(early, {0, 240}), 3 + kSlicesOfASum);
    EXPECT_EQ("", Close());
    EXPECT_EQ(5, Check(early, {}));
}

TEST_F(StoredSums, AreOfNoUseWhereSlicesOfOthersLieBetweenTheirs) {
    Make(300, [](MadeSlice& slice) {
        if (slice.facts.sliceId > 150) slice.facts.elapsed -= 100.5;
    });
    EXPECT_EQ(5, CountOf(1));
    EXPECT_EQ(300, Check());
    for (const double from : {1.0, 49.5, 60.0, 100.0}) Check({from, 1e9});
}

TEST_F(StoredSums, AreOfUseWhereTimeGoesBackWithinOne) {
    Make(300, [](MadeSlice& slice) {
        if (slice.facts.sliceId > 150) slice.facts.elapsed -= 20.5;
    });
    EXPECT_EQ(5, Check());
}

TEST_F(StoredSums, AreThereWhereSlicesAreMissing) {
    Make(200, [](MadeSlice& slice) {
        if (slice.facts.sliceId > 100) slice.facts.sliceId += 50, slice.facts.elapsed += 50;
        slice.message = {};
    });
    EXPECT_EQ(3 + 20, Check());
    EXPECT_EQ(1 + 40 + 9, Check({0, 159}));
}

TEST_F(StoredSums, AreLeftOutWhereACountIsNegative) {
    Make(180, [](MadeSlice& slice) {
        if (slice.facts.sliceId == 70) slice.records[1].lasts = {1, 1, -3, -3, -3};
    });
    EXPECT_EQ(2, CountOf(1));
    EXPECT_EQ(1 + kSlicesOfASum + 1, Check());
}

TEST_F(StoredSums, AreLeftOutWhereATypeChanges) {
    Make(180, [](MadeSlice& slice) {
        if (slice.facts.sliceId > 70) slice.records.back().type = Types::Timer;
    });
    EXPECT_EQ(1 + kSlicesOfASum + 1, Check());
}

TEST_F(StoredSums, AreLeftOutWhereDistributionsHaveTooManyValues) {
    CKZStatDistribution half;
    half.Add(1);
    for (int i = 0; i < 63; ++i) half.Add(half);
    Make(180, [&](MadeSlice& slice) {
        const int id = slice.facts.sliceId;
        if (id == 70 || id == 71) slice.distributions[0] = half;
    });
    EXPECT_EQ(2, CountOf(1));
    EXPECT_EQ(180, kzjournal::Reader(path).CountSlices());
}

/// Damage to a slice must not be covered by the checksum of a sum.
TEST_F(StoredSums, AreLeftOutWhereASliceIsDamaged) {
    const RyPTestClock clock(1000);
    Open();
    for (int i = 0; i < 50; ++i) ASSERT_EQ("", AppendShown(NextSlice()));
    Execute("UPDATE recent_records SET last_sum = last_sum + 1 WHERE slice_id = 7");
    for (int i = 0; i < 70; ++i) ASSERT_EQ("", AppendShown(NextSlice()));
    EXPECT_EQ("", Close());
    EXPECT_EQ(1, CountOf(1));
    EXPECT_THROW(Check(), kzjournal::Error);
}

TEST_F(StoredSums, AreMadeOfEachRunOfAFile) {
    kzjournal::BulkWriter bulk(path, run);
    kzjournal::Run other = run;
    other.id = "other";
    const int source = bulk.AddSource(other, 0, false);
    std::vector<const CKZStatDistribution*> shown;
    for (int i = 0; i < 130; ++i) {
        const MadeSlice slice = NextSlice();
        bulk.Append(ViewOf(slice, shown));
        if (i % 2 == 0) bulk.AppendToSource(source, ViewOf(slice, shown));
    }
    bulk.CloseSource(source, 1.7e9 + 130, 0, 65);
    bulk.Close(1.7e9 + 130, 0);
    EXPECT_EQ(2 + 10, Check());
    kzjournal::Reader reader(path, source);
    EXPECT_EQ(1 + 5, Check(reader, {}));
}

TEST_F(StoredSums, AreNotMissedInAFileWithoutThem) {
    Make(150);
    Execute("DELETE FROM sums");
    EXPECT_EQ(150, Check());
}

TEST_F(StoredSums, GiveTheSummary) {
    Make(500);
    kzjournal::Reader reader(path);
    for (const kzjournal::TimeRange range :
         {kzjournal::TimeRange{}, kzjournal::TimeRange{61, 439}, kzjournal::TimeRange{3, 4}}) {
        Sums expected;
        reader.ForEachSlice(range, [&](const kzjournal::Slice& slice) { Add(slice, expected); });
        for (const kzjournal::NameSummary& each : reader.SummaryWithDistributions(range)) {
            const Sum& sum = expected[std::string(each.record.name.view())];
            EXPECT_EQ(sum.lasts.count, each.record.totals.count);
            EXPECT_EQ(sum.lasts.sumSqr, each.record.totals.sumSqr);
            EXPECT_EQ(!sum.lacksOne, each.distribution.has_value());
            EXPECT_EQ(sum.lacksOne ? CKZStatDistribution() : sum.distribution,
                      each.distribution.value_or(CKZStatDistribution()));
        }
    }
}

class DamagedSum : public StoredSums, public testing::WithParamInterface<const char*> {};

TEST_P(DamagedSum, IsRefusedOrNotTaken) {
    Make(200);
    kzjournal::Reader before(path);
    ASSERT_EQ(3 + 20, Check(before, {}));
    Execute(std::string("UPDATE sums SET ") + GetParam() + " WHERE level = 1 AND number = 2");
    try {
        Check();
    } catch (const kzjournal::Error& error) {
        EXPECT_THAT(error.what(), testing::MatchesRegex("cannot read .*: the sum of slices [0-9]+ "
                                                        "to [0-9]+ is damaged"));
    }
}

INSTANTIATE_TEST_SUITE_P(
    By, DamagedSum,
    testing::Values("slices = 59", "slices = 0", "slices = -1", "slices = 4294967297",
                    "first_slice_id = 62", "first_slice_id = 1", "first_elapsed = 61.5",
                    "last_slice_id = 119", "last_elapsed = 119", "end_time = end_time + 1",
                    "checksum = checksum + 1", "level = 2", "number = 9", "run_number = 3",
                    "block = x''", "block = substr(block, 1, length(block) - 1)",
                    "block = zeroblob(1000)", "block = x'00'", "block = x'0001'",
                    "block = (SELECT block FROM sums WHERE number = 1)"));

}  // namespace
