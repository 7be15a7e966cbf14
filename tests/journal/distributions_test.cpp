// What a journal keeps of the distributions that a view shows.

#include <gmock/gmock.h>

#include <cmath>
#include <optional>
#include <random>

#include "journal/journalfixture.h"
#include "journal/journalofschema4.h"
#include "kzjournalbulkwriter.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Values = std::vector<double>;

class Distributions : public JournalTest {
protected:
    /// A slice in which only `login.time` has a distribution.
    std::string AppendWithDistribution(const Values& times) {
        MadeSlice slice = slices.NextSlice(
            {{"login.time", Types::Timer, times}, {"logins", Types::Counter, {1}}});
        return AppendShown(slice, {&slice.distributions[0], nullptr});
    }
    std::string AppendShown(const MadeSlice& slice,
                            const std::vector<const CKZStatDistribution*>& shown) {
        const CKZStatSliceValues view(slice.facts, slice.message, slice.records, shown);
        const kzjournal::AppendResult result = writer.Append(view);
        state = result.state;
        return TextOf(result.problem);
    }
    static CKZStatDistribution DistributionOf(const Values& values) {
        CKZStatDistribution distribution;
        for (const double value : values) distribution.Add(value);
        return distribution;
    }
    static std::string FormOf(const CKZStatDistribution& distribution) {
        std::string form;
        distribution.Encode(form);
        return form;
    }
    std::vector<kzjournal::Slice> ReadSlices() {
        std::vector<kzjournal::Slice> read;
        kzjournal::Reader(path, source).ForEachSlice({}, [&](const kzjournal::Slice& slice) {
            read.push_back(slice);
        });
        return read;
    }
    static std::size_t PositionOf(const kzjournal::Slice& slice, const std::string& name) {
        std::size_t position = 0;
        while (slice.records[position].name != name.c_str()) ++position;
        return position;
    }
    static CKZStatDistribution ReadFrom(const kzjournal::Slice& slice, const std::string& name) {
        CKZStatDistribution distribution;
        EXPECT_TRUE(slice.ReadDistribution(PositionOf(slice, name), distribution));
        return distribution;
    }
    /// Stores something else as the distribution of slice 1, as if it had been written so.
    void StoreForm(const std::string& name, const std::string& form) {
        const kzjournal::Slice slice = ReadSlices().at(0);
        const auto at = PositionOf(slice, name);
        kzjournal::RecordDistributions distributions;
        for (std::size_t i = 0; i < slice.records.size(); ++i)
            distributions.Add(i == at ? form : slice.distributions.FormOf(i),
                              slice.distributions.PercentilesOf(i));
        kzjournal::Slice changed = slice;
        changed.distributions = distributions;
        path = folder.Path("changed.kzj");
        kzjournal::BulkWriter bulk(path, kzjournal::RunOfThisProcess("merged", 1.7e9, 1));
        source = bulk.AddSource(run, 0, false);
        bulk.AppendToSource(source, changed);
        bulk.CloseSource(source, 1.7e9 + 1, 0, 1);
        bulk.Close(1.7e9 + 1, 0);
    }

    void MakeOfSchema4() {
        Execute(kSchema4);
        Execute(kRunOfSchema4);
    }
    /// The schema before percentiles.
    void MakeOfSchema3() {
        Execute(kSchema4);
        Execute(kRunWithoutDistributions);
        const std::string view = Rows(
            "SELECT replace(sql, ', last_p50, last_p90, last_p95, last_p99, last_p999', '')"
            " FROM sqlite_master WHERE name = 'statistics'");
        Execute("DROP VIEW statistics");
        for (const char* const table : {"records", "recent_records"})
            for (const char* const column :
                 {"last_p50", "last_p90", "last_p95", "last_p99", "last_p999"})
                Execute(std::string("ALTER TABLE ") + table + " DROP COLUMN " + column);
        Execute(view.substr(0, view.rfind('|')));
        Execute("PRAGMA user_version = 3");
    }

    int source = 0;  // of the file that is read
};

TEST_F(Distributions, AreKeptByteForByte) {
    Open();
    EXPECT_EQ("", AppendWithDistribution({3, -1, 3.5, 1e300, 0}));
    EXPECT_EQ("", AppendWithDistribution({}));
    EXPECT_EQ("", Close());
    const std::vector<kzjournal::Slice> read = ReadSlices();
    ASSERT_THAT(read, SizeIs(2));
    const std::size_t login = PositionOf(read[0], "login.time");
    EXPECT_EQ(FormOf(DistributionOf({3, -1, 3.5, 1e300, 0})), read[0].distributions.FormOf(login));
    EXPECT_EQ(DistributionOf({3, -1, 3.5, 1e300, 0}), ReadFrom(read[0], "login.time"));
    EXPECT_EQ(CKZStatDistribution(), ReadFrom(read[1], "login.time"));
}

TEST_F(Distributions, AreReadWhileTheRunIsActive) {
    Open();
    EXPECT_EQ("", AppendWithDistribution({3, 4}));
    EXPECT_EQ(kzjournal::SliceState::OnDisk, state);
    EXPECT_EQ(DistributionOf({3, 4}), ReadFrom(ReadSlices().at(0), "login.time"));
}

TEST_F(Distributions, ANameWithoutOneHasNone) {
    Open();
    EXPECT_EQ("", AppendWithDistribution({3}));
    EXPECT_EQ("", Close());
    const kzjournal::Slice slice = ReadSlices().at(0);
    const std::size_t counter = PositionOf(slice, "logins");
    CKZStatDistribution distribution = DistributionOf({7});
    EXPECT_FALSE(slice.ReadDistribution(counter, distribution));
    EXPECT_EQ(DistributionOf({7}), distribution);
    EXPECT_THAT(slice.distributions.FormOf(counter), IsEmpty());
    EXPECT_THAT(slice.distributions.PercentilesOf(counter), Each(testing::IsNan()));
}

TEST_F(Distributions, ARunWithoutThemHasNone) {
    Open();
    EXPECT_EQ("", AppendLogins({1, 2}));
    EXPECT_EQ("", Close());
    EXPECT_EQ("-|-|\n", Rows("SELECT last_p50, last_p999 FROM records"));
    EXPECT_EQ("0|\n", Rows("SELECT count(*) FROM distribution_blocks"));
}

TEST_F(Distributions, PercentilesAreColumns) {
    Open();
    Values times;
    for (int i = 1; i <= 1000; ++i) times.push_back(i % 128);
    EXPECT_EQ("", AppendWithDistribution(times));
    EXPECT_EQ("", AppendWithDistribution({}));
    EXPECT_EQ("", AppendWithDistribution({std::nan("")}));
    EXPECT_EQ("", Close());
    EXPECT_EQ(
        "62.125|113.25|120.25|126.25|127.0|\n"
        "-|-|-|-|-|\n"
        "-|-|-|-|-|\n",
        Rows("SELECT last_p50, last_p90, last_p95, last_p99, last_p999 FROM statistics"
             " WHERE name = 'login.time' ORDER BY slice_id"));
    const kzjournal::Slice slice = ReadSlices().at(0);
    const CKZStatDistribution distribution = DistributionOf(times);
    EXPECT_THAT(slice.distributions.PercentilesOf(PositionOf(slice, "login.time")),
                ElementsAre(distribution.Quantile(0.5), distribution.Quantile(0.9),
                            distribution.Quantile(0.95), distribution.Quantile(0.99),
                            distribution.Quantile(0.999)));
}

TEST_F(Distributions, SurviveTheMoveOfAChunk) {
    Open();
    for (int i = 0; i < 300; ++i) ASSERT_EQ("", AppendWithDistribution({1.0 * i, 2.0 * i}));
    EXPECT_EQ("", Close());
    int id = 0;
    for (const kzjournal::Slice& slice : ReadSlices()) {
        EXPECT_EQ(DistributionOf({1.0 * id, 2.0 * id}), ReadFrom(slice, "login.time"));
        ++id;
    }
    EXPECT_EQ(300, id);
}

TEST_F(Distributions, AreKeptOfASliceOfASourceUnchanged) {
    Open();
    EXPECT_EQ("", AppendWithDistribution({3, 4, 5}));
    EXPECT_EQ("", Close());
    const kzjournal::Slice slice = ReadSlices().at(0);
    path = folder.Path("merged.kzj");
    kzjournal::BulkWriter bulk(path, kzjournal::RunOfThisProcess("merged", 1.7e9, 1));
    source = bulk.AddSource(run, 0, false);
    bulk.AppendToSource(source, slice);
    bulk.CloseSource(source, 1.7e9 + 1, 0, 1);
    bulk.Close(1.7e9 + 1, 0);
    const kzjournal::Slice copy = ReadSlices().at(0);
    EXPECT_EQ(slice.message, copy.message);
    EXPECT_EQ(slice.endTime, copy.endTime);
    EXPECT_EQ(DistributionOf({3, 4, 5}), ReadFrom(copy, "login.time"));
}

TEST_F(Distributions, ASliceThatComesAgainWithAnotherOneIsRefused) {
    Open();
    MadeSlice slice = slices.NextSlice({{"login.time", Types::Timer, {1, 2}}});
    EXPECT_EQ("", AppendShown(slice, {&slice.distributions[0]}));
    EXPECT_EQ("", AppendShown(slice, {&slice.distributions[0]}));
    const CKZStatDistribution other = DistributionOf({1, 2.5});
    EXPECT_EQ("cannot keep slice 1 in " + path + ": another slice with this id is in it",
              AppendShown(slice, {&other}));
}

TEST_F(Distributions, AFileOfTheSchemaBeforePercentilesIsReadWithoutThem) {
    MakeOfSchema3();
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2, 3));
    EXPECT_EQ(18, Summary("login.time").totals.sum);
    CKZStatDistribution distribution;
    EXPECT_FALSE(ReadSlices().at(0).ReadDistribution(0, distribution));
}

TEST_F(Distributions, AreReadFromAFileOfTheSchemaBeforeBlocks) {
    MakeOfSchema4();
    const std::vector<kzjournal::Slice> read = ReadSlices();
    ASSERT_THAT(read, SizeIs(3));
    EXPECT_EQ(DistributionOf({1, 2, 4}), ReadFrom(read[0], "login.time"));
    EXPECT_THAT(read[2].message, testing::HasSubstr("login.time"));
    int points = 0;
    kzjournal::Reader(path).ForEachPoint("login.time", {}, [&](const auto&) { ++points; });
    EXPECT_EQ(3, points);
}

TEST_F(Distributions, AreReadFromAFileOfTheSchemaBeforeBlocksWhoseRunWasKilled) {
    MakeOfSchema4();
    Execute(
        "INSERT INTO recent_records SELECT * FROM records;"
        "DELETE FROM records; DELETE FROM chunks");
    EXPECT_EQ(DistributionOf({3, 8}), ReadFrom(ReadSlices().at(2), "login.time"));
}

TEST_F(Distributions, AFileOfAnEarlierSchemaHasAllSlicesUnderAnUnknownLoad) {
    MakeOfSchema3();
    kzjournal::Reader reader(path);
    EXPECT_FALSE(reader.Load().IsKnown());
    EXPECT_THAT(reader.SliceEnds(reader.Load().SlicesUnderLoad(1)), SizeIs(3));
}

/// Percentiles of 1,000 random values, over ranges of slices with 100 each.
class DistributionSummary : public Distributions {
protected:
    /// What a new reader has of the name over the range.
    std::optional<CKZStatDistribution> Sum(const std::string& name,
                                           const kzjournal::TimeRange& range = {}) {
        for (const kzjournal::NameSummary& each :
             kzjournal::Reader(path, source).SummaryWithDistributions(range))
            if (each.record.name == name.c_str()) return each.distribution;
        ADD_FAILURE() << "no " << name;
        return {};
    }
    Values RandomValues(int count) {
        std::lognormal_distribution<double> times(3, 1);
        Values values;
        for (int i = 0; i < count; ++i) values.push_back(times(random));
        return values;
    }

    std::mt19937 random{1};
};

TEST_F(DistributionSummary, IsThatOfAllValuesOfTheRange) {
    Open();
    CKZStatDistribution all;
    CKZStatDistribution middle;
    for (int second = 1; second <= 10; ++second) {
        const Values values = RandomValues(100);
        EXPECT_EQ("", AppendWithDistribution(values));
        all.Add(DistributionOf(values));
        if (second > 3 && second <= 7) middle.Add(DistributionOf(values));
    }
    EXPECT_EQ("", Close());
    EXPECT_EQ(FormOf(all), FormOf(Sum("login.time").value()));
    EXPECT_EQ(FormOf(middle), FormOf(Sum("login.time", {3, 7}).value()));
    EXPECT_EQ(std::nullopt, Sum("logins"));
}

TEST_F(DistributionSummary, GivesTheRecordsOfTheSummary) {
    Open();
    for (int i = 0; i < 4; ++i) EXPECT_EQ("", AppendWithDistribution(RandomValues(3)));
    EXPECT_EQ("", Close());
    kzjournal::Reader reader(path);
    for (const kzjournal::TimeRange range : {kzjournal::TimeRange{}, kzjournal::TimeRange{1, 3}}) {
        const std::vector<CKZStatMessageRecord> expected = reader.Summary(range);
        const std::vector<kzjournal::NameSummary> found = reader.SummaryWithDistributions(range);
        ASSERT_EQ(expected.size(), found.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_EQ(expected[i].name, found[i].record.name);
            EXPECT_EQ(expected[i].totals.sumSqr, found[i].record.totals.sumSqr);
            EXPECT_EQ(expected[i].lasts.sum, found[i].record.lasts.sum);
        }
    }
}

TEST_F(DistributionSummary, IsNoneWhereASliceWithValuesLacksIt) {
    Open();
    EXPECT_EQ("", AppendWithDistribution({1}));
    EXPECT_EQ("", AppendLogins({2}));
    EXPECT_EQ("", AppendLogins({}));
    EXPECT_EQ("", AppendWithDistribution({3}));
    EXPECT_EQ("", Close());
    EXPECT_EQ(std::nullopt, Sum("login.time"));
    EXPECT_EQ(std::nullopt, Sum("login.time", {1, 4}));
    EXPECT_EQ(DistributionOf({3}), Sum("login.time", {2, 4}));
}

TEST_F(DistributionSummary, IsNoneWhereASliceIsNotInTheFile) {
    Open();
    EXPECT_EQ("", AppendWithDistribution({1}));
    slices.NextSlice({{"login.time", Types::Timer, {2}}});
    EXPECT_EQ("", AppendWithDistribution({3}));
    EXPECT_EQ("", Close());
    EXPECT_EQ(std::nullopt, Sum("login.time"));
    EXPECT_EQ(DistributionOf({3}), Sum("login.time", {1, 3}));
}

TEST_F(DistributionSummary, IsNoneInAFileOfTheSchemaBeforePercentiles) {
    MakeOfSchema3();
    EXPECT_EQ(std::nullopt, Sum("login.time"));
}

TEST_F(DistributionSummary, IsThatOfAFileOfTheSchemaBeforeBlocks) {
    MakeOfSchema4();
    EXPECT_EQ(DistributionOf({1, 2, 3, 4, 8}), Sum("login.time"));
    EXPECT_EQ(DistributionOf({3, 8}), Sum("login.time", {1, 3}));
}

TEST_F(DistributionSummary, RefusesADistributionThatCannotBeDecoded) {
    Open();
    EXPECT_EQ("", AppendWithDistribution({1}));
    EXPECT_EQ("", Close());
    StoreForm("login.time", std::string("\1\0", 2));
    try {
        Sum("login.time");
        ADD_FAILURE() << "the damage was not seen";
    } catch (const kzjournal::Error& error) {
        EXPECT_EQ("cannot read " + path +
                      ": slice 1 is damaged: the distribution of login.time cannot be decoded",
                  std::string(error.what()));
    }
}

/// What a slice with distributions holds is covered by its checksum.
class DamagedDistribution : public Distributions,
                            public testing::WithParamInterface<const char*> {};

TEST_P(DamagedDistribution, IsSeenByTheChecksum) {
    Open();
    EXPECT_EQ("", AppendWithDistribution({1, 2, 300}));
    EXPECT_EQ("", Close());
    Execute(std::string("UPDATE records SET ") + GetParam() + " WHERE name_id = 1");
    try {
        ReadSlices();
        ADD_FAILURE() << "the damage was not seen";
    } catch (const kzjournal::Error& error) {
        EXPECT_EQ("cannot read " + path + ": slice 1 is damaged", std::string(error.what()));
    }
}

INSTANTIATE_TEST_SUITE_P(By, DamagedDistribution,
                         testing::Values("last_minimum = 0.5", "last_p50 = 2.5", "last_p999 = NULL",
                                         "last_p90 = last_p50, last_p50 = last_p90",
                                         "last_p50 = NULL, last_p90 = NULL, last_p95 = NULL,"
                                         " last_p99 = NULL, last_p999 = NULL"));

}  // namespace
