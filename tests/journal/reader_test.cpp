#include <gmock/gmock.h>

#include <fstream>

#include "journal/journalfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Reader : public JournalTest {
protected:
    void SetUp() override { ASSERT_EQ("", Open()); }

    /// Slices 1 to 4.
    void AppendFourSlices() {
        AppendLogins({10, 30});
        AppendLogins({5});
        AppendLogins({});
        AppendLogins({70});
    }

    std::string ErrorOnOpening() {
        try {
            kzjournal::Reader reader(path);
        } catch (const kzjournal::Error& error) {
            return error.what();
        }
        return "";
    }
};

TEST_F(Reader, KnowsTheFactsOfTheRun) {
    kzjournal::Reader reader(path);
    EXPECT_EQ(run.id, reader.Facts().id);
    EXPECT_EQ("load", reader.Facts().generator);
    EXPECT_EQ(1.7e9, reader.Facts().startTime);
    EXPECT_EQ(1, reader.Facts().sliceLength);
    EXPECT_EQ(run.host, reader.Facts().host);
    EXPECT_EQ(run.commandLine, reader.Facts().commandLine);
    EXPECT_FALSE(reader.HasEnded());
    EXPECT_EQ(0, reader.LostSlices());
    EXPECT_EQ(0, reader.ExpectedSlices());
    EXPECT_THAT(reader.Sources(), IsEmpty());
}

TEST_F(Reader, SeesARunWithoutSlices) {
    kzjournal::Reader reader(path);
    EXPECT_EQ(0, reader.LastSliceId());
    EXPECT_EQ(0, reader.CountSlices());
    EXPECT_FALSE(reader.LastSlice());
    EXPECT_THAT(reader.Names(), IsEmpty());
    EXPECT_THAT(reader.Summary(), IsEmpty());
}

TEST_F(Reader, SeesSlicesThatComeWhileItIsOpen) {
    kzjournal::Reader reader(path);
    AppendLogins({10});
    EXPECT_EQ(1, reader.LastSliceId());
    AppendLogins({20});
    EXPECT_EQ(2, reader.LastSliceId());
    std::vector<int> ids;
    reader.ForEachSliceAfter(1, [&](const kzjournal::Slice& slice) { ids.push_back(slice.id); });
    EXPECT_THAT(ids, ElementsAre(2));
}

TEST_F(Reader, ChoosesTheSlicesThatLieInTheRangeAsAWhole) {
    AppendFourSlices();
    EXPECT_THAT(SliceIds({1, 3}), ElementsAre(2, 3));
    EXPECT_THAT(SliceIds({0.9, 3.1}), ElementsAre(2, 3));
    EXPECT_THAT(SliceIds({1.1, 2.9}), IsEmpty());
    EXPECT_THAT(SliceIds({3}), ElementsAre(4));
    EXPECT_EQ(2, kzjournal::Reader(path).CountSlices({1, 3}));
    EXPECT_EQ(3, kzjournal::Reader(path).LastSlice({1, 3})->id);
}

TEST_F(Reader, HoldsNothingOfTheFileWhileASliceIsVisited) {
    AppendFourSlices();
    kzjournal::Reader reader(path);
    reader.ForEachSlice({}, [&](const kzjournal::Slice&) {
        EXPECT_EQ("0|0|0|\n", Rows("PRAGMA wal_checkpoint(TRUNCATE)"));
    });
    reader.ForEachPoint("login.time", {}, [&](const kzjournal::SeriesPoint&) {
        EXPECT_EQ("0|0|0|\n", Rows("PRAGMA wal_checkpoint(TRUNCATE)"));
    });
}

TEST_F(Reader, StopsInTheMidstOfItsWork) {
    for (int i = 0; i < 100; ++i) AppendLogins({10});
    kzjournal::Reader reader(path);
    reader.StopWhen([] { return true; });
    try {
        reader.ForEachSlice({}, [](const kzjournal::Slice&) {});
        ADD_FAILURE() << "all was read";
    } catch (const kzjournal::Error& error) {
        EXPECT_EQ("cannot read " + path + ": stopped", error.what());
    }
}

TEST_F(Reader, SumsUpTheWholeRun) {
    AppendFourSlices();
    const CKZStatMessageRecord record = Summary("login.time");
    EXPECT_EQ(Types::Timer, record.type);
    EXPECT_EQ(4, record.totals.count);
    EXPECT_EQ(5, record.totals.minimum);
    EXPECT_EQ(70, record.lasts.sum);
}

TEST_F(Reader, SumsUpTheSlicesOfARangeOnly) {
    AppendFourSlices();
    const CKZStatMessageRecord record = Summary("login.time", {1, 3});
    EXPECT_EQ(1, record.totals.count);
    EXPECT_EQ(5, record.totals.minimum);
    EXPECT_EQ(5, record.totals.maximum);
    EXPECT_EQ(25, record.totals.sumSqr);
    EXPECT_EQ(5, record.totals.Average());
    EXPECT_EQ(0, record.lasts.count);
}

TEST_F(Reader, ShowsANameThatWasSilentInTheRangeAsEmpty) {
    AppendFourSlices();
    const CKZStatMessageRecord record = Summary("login.time", {2, 3});
    EXPECT_EQ(0, record.totals.count);
    EXPECT_EQ(-1, record.totals.minimum);
    EXPECT_EQ(-1, record.totals.Average());
}

TEST_F(Reader, GivesTheSeriesOfAName) {
    AppendFourSlices();
    std::vector<double> maxima;
    std::vector<double> counts;
    kzjournal::Reader(path).ForEachPoint("login.time", {},
                                         [&](const kzjournal::SeriesPoint& point) {
                                             maxima.push_back(point.lasts.maximum);
                                             counts.push_back(point.lasts.count);
                                         });
    EXPECT_THAT(maxima, ElementsAre(30, 5, -1, 70));
    EXPECT_THAT(counts, ElementsAre(2, 1, 0, 1));
}

TEST_F(Reader, GivesTheSameSeriesAfterManySlicesAndAfterTheEnd) {
    std::vector<int> expected;
    for (int i = 1; i <= 600; ++i) {
        AppendLogins({1.0 * i});
        expected.push_back(i);
    }
    const auto ids = [&] {
        std::vector<int> seen;
        kzjournal::Reader(path).ForEachPoint(
            "login.time", {},
            [&](const kzjournal::SeriesPoint& point) { seen.push_back(point.sliceId); });
        return seen;
    };
    EXPECT_EQ(expected, ids());
    EXPECT_EQ("", Close());
    EXPECT_EQ(expected, ids());
    EXPECT_EQ(200, Summary("login.time", {100, 300}).totals.count);
}

TEST_F(Reader, NamesAreSortedAndCarryTheirTypes) {
    Append({{"b", Types::Counter, {1}}, {"a", Types::LoadSize, {1}}});
    const auto names = kzjournal::Reader(path).Names();
    ASSERT_EQ(2u, names.size());
    EXPECT_EQ("a", names[0].name);
    EXPECT_EQ(Types::LoadSize, names[0].type);
    EXPECT_EQ("b", names[1].name);
}

TEST_F(Reader, RefusesAFileThatIsNotThere) {
    path = folder.Path("nowhere.kzj");
    EXPECT_EQ("cannot read " + path + ": No such file or directory", ErrorOnOpening());
}

TEST_F(Reader, RefusesAFolder) {
    path = folder.Path("");
    EXPECT_EQ("cannot read " + path + ": it is a folder", ErrorOnOpening());
}

TEST_F(Reader, RefusesAFileThatIsNoJournal) {
    path = folder.Path("notes.txt");
    std::ofstream(path) << "These are notes. They are long enough to be looked at by a database.\n";
    EXPECT_EQ("cannot read " + path + ": it is not a journal", ErrorOnOpening());
}

TEST_F(Reader, RefusesADatabaseOfAnotherProgram) {
    path = folder.Path("other.db");
    Execute("CREATE TABLE things (thing)");
    EXPECT_EQ("cannot read " + path + ": it is not a journal", ErrorOnOpening());
}

TEST_F(Reader, RefusesOlderAndNewerSchemas) {
    Execute("PRAGMA user_version = 2");
    EXPECT_EQ("cannot read " + path +
                  ": its schema 2 is older than 3; read it with the release that wrote it",
              ErrorOnOpening());
    Execute("PRAGMA user_version = 6");
    EXPECT_EQ(
        "cannot read " + path + ": its schema 6 is newer than 5; read it with a newer release",
        ErrorOnOpening());
}

TEST_F(Reader, RefusesADamagedFile) {
    AppendFourSlices();
    EXPECT_EQ("", Close());
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    constexpr int kHeader = 100;  // which still says what the file is
    file.seekp(kHeader);
    file << std::string(20000, 'x');
    file.close();
    EXPECT_EQ("cannot read " + path + ": it is damaged (database disk image is malformed)",
              ErrorOnOpening());
}

TEST_F(Reader, PlainSqlGivesTheStatistics) {
    AppendFourSlices();
    EXPECT_EQ(
        "load|2|2.0|2|3|15.0|1|5.0|5.0|\n"
        "load|3|3.0|2|3|15.0|0|-|-|\n"
        "load|4|4.0|2|4|28.75|1|70.0|70.0|\n",
        Rows("SELECT generator, slice_id, elapsed, type, count, average, last_count,"
             " last_minimum, last_average FROM statistics"
             " WHERE name = 'login.time' AND elapsed > 1.5 ORDER BY elapsed"));
}

}  // namespace
