#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "journal/journalfixture.h"
#include "ryp/testclock.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Writer : public JournalTest {};

TEST_F(Writer, KeepsASliceBeforeAppendReturns) {
    EXPECT_EQ("", Open());
    EXPECT_EQ("", AppendLogins({10, 30}));
    EXPECT_EQ(40, Summary("login.time").lasts.sum);
}

TEST_F(Writer, KeepsASliceThatIsWrittenTwiceOnce) {
    Open();
    const MadeSlice slice = slices.NextSlice({{"logins", Types::Counter, {1}}});
    EXPECT_EQ("", AppendSlice(slice));
    EXPECT_EQ("", AppendSlice(slice));
    AppendLogins({10});
    EXPECT_EQ("", Close());
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2));
    EXPECT_EQ(2, kzjournal::Reader(path).ExpectedSlices());
    EXPECT_EQ(0, writer.LostSlices());
}

TEST_F(Writer, ASliceThatComesAgainAfterItsChunkHasMovedChangesNothing) {
    const RyPTestClock clock(1000);  // stands still: no write takes too long
    Open();
    const MadeSlice first = slices.NextSlice({{"logins", Types::Counter, {1}}});
    AppendSlice(first);
    for (int i = 0; i < 239; ++i) AppendLogins({10});
    EXPECT_EQ("", AppendSlice(first));
    for (int i = 0; i < 241; ++i) AppendLogins({10});
    EXPECT_EQ("", AppendLogins({10}));
    EXPECT_EQ("", Close());
    EXPECT_EQ(482u, SliceIds().size());
    EXPECT_EQ("1|240|\n241|241|\n482|1|\n", Rows("SELECT chunk, slices FROM chunks"));
}

TEST_F(Writer, AnotherSliceUnderAnIdIsLostAndTold) {
    Open();
    AppendLogins({10});
    AppendLogins({20});
    MadeSlice other = SliceMaker("load", 1, 1.7e9).NextSlice({{"login.time", Types::Timer, {11}}});
    EXPECT_EQ("cannot keep slice 1 in " + path + ": another slice with this id is in it",
              AppendSlice(other));
    EXPECT_EQ(kzjournal::SliceState::Lost, state);
    EXPECT_EQ("", AppendLogins({30}));
    EXPECT_EQ("1 of 4 slices are lost: cannot keep slice 1 in " + path +
                  ": another slice with this id is in it",
              Close());
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2, 3));
    EXPECT_EQ(10, Summary("login.time", {0, 1}).lasts.sum);
}

TEST_F(Writer, LeavesOneFileWhenTheRunHasEnded) {
    Open();
    AppendLogins({10});
    EXPECT_EQ("", Close());
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path("")))
        files += entry.is_regular_file() ? 1 : 0;
    EXPECT_EQ(1, files);
    EXPECT_TRUE(kzjournal::Reader(path).HasEnded());
}

TEST_F(Writer, HasAllInOneFileWhenTheRunHasEndedAlsoWhileSomebodyHasItOpen) {
    Open();
    AppendLogins({10});
    kzjournal::Reader reader(path);
    EXPECT_EQ(1, reader.LastSliceId());
    AppendLogins({20});
    EXPECT_EQ("", Close());
    const std::string copy = folder.Path("copy.kzj");
    std::filesystem::copy_file(path, copy);
    EXPECT_EQ(2, kzjournal::Reader(copy).LastSliceId());
    EXPECT_TRUE(kzjournal::Reader(copy).HasEnded());
}

TEST_F(Writer, TellsWhenAReaderKeepsTheFileFromStandingAlone) {
    const RyPTestClock clock(1000);  // stands still: closing does not take too long
    Open();
    AppendLogins({10});
    sqlite3* other = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &other));
    sqlite3_exec(other, "BEGIN; SELECT count(*) FROM slices", nullptr, nullptr, nullptr);
    AppendLogins({20});
    EXPECT_EQ("another program reads " + path + "; " + path +
                  "-wal belongs to it: copy and move both together",
              Close());
    EXPECT_EQ(0, writer.LostSlices());
    sqlite3_close(other);
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2));
}

TEST_F(Writer, TellsOnceThatAReaderMakesTheLogTooLong) {
    const RyPTestClock clock(1000);  // stands still: no write takes too long
    Open();
    AppendLogins({10});
    sqlite3* other = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &other));
    sqlite3_exec(other, "BEGIN; SELECT count(*) FROM slices", nullptr, nullptr, nullptr);
    const RWCString message(std::string(std::size_t{60} << 20, 'm').c_str());
    std::vector<std::string> lines;
    for (int i = 0; i < 7; ++i) {
        MadeSlice slice = slices.NextSlice({});
        slice.message = message;
        if (i > 4) slice.message = "short";
        const std::string line = AppendSlice(slice);
        if (!line.empty()) lines.push_back(line);
    }
    sqlite3_close(other);
    EXPECT_EQ("", Close());
    EXPECT_THAT(lines,
                ElementsAre(path + "-wal takes more than 256 MB, since another program reads " +
                            path + " all the time; end that program"));
}

TEST_F(Writer, RefusesAFileThatHoldsARun) {
    Open();
    AppendLogins({10});
    EXPECT_EQ("", Close());
    kzjournal::Writer second;
    EXPECT_EQ("cannot keep a run in " + path + ": it is in use already; choose another path",
              TextOf(second.Open(path, run)));
    EXPECT_EQ("", TextOf(second.Append(slices.NextSlice({}).View()).problem));
    EXPECT_EQ(kzjournal::SliceState::Lost, second.Append(slices.NextSlice({}).View()).state);
    EXPECT_EQ("", TextOf(second.Close()));
    EXPECT_THAT(SliceIds(), ElementsAre(1));
}

TEST_F(Writer, RefusesAFileThatIsNoJournal) {
    std::ofstream(path) << "These are notes, and nobody may write over them.\n";
    EXPECT_EQ("cannot open " + path + ": it is not a journal", Open());
}

TEST_F(Writer, RefusesAFolderThatIsNotThere) {
    path = folder.Path("nowhere/run.kzj");
    EXPECT_EQ("cannot open " + path + ": No such file or directory", Open());
}

TEST_F(Writer, RefusesAFolder) {
    path = folder.Path("");
    EXPECT_EQ("cannot open " + path + ": it is a folder", Open());
}

TEST_F(Writer, RefusesASliceWithoutAMomentAndKeepsTheOthers) {
    Open();
    MadeSlice slice = slices.NextSlice({{"logins", Types::Counter, {1}}});
    slice.facts.endTime = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ("cannot keep slice 1 in " + path + ": its end is no moment in time",
              AppendSlice(slice));
    slice.facts.endTime = run.startTime + 1;
    EXPECT_EQ("", AppendSlice(slice));
    EXPECT_THAT(Close(), HasSubstr("1 of 2 slices are lost: "));
    EXPECT_EQ(1, writer.LostSlices());
    EXPECT_EQ(1, kzjournal::Reader(path).LostSlices());
    EXPECT_EQ(2, kzjournal::Reader(path).ExpectedSlices());
}

TEST_F(Writer, RefusesASliceThatHasANameTwice) {
    Open();
    MadeSlice slice = slices.NextSlice({{"logins", Types::Counter, {1}}});
    slice.records.push_back(slice.records.front());
    EXPECT_EQ("cannot keep slice 1 in " + path + ": it has two records of logins",
              AppendSlice(slice));
    EXPECT_EQ("", AppendLogins({10}));
    EXPECT_THAT(SliceIds(), ElementsAre(2));
}

TEST_F(Writer, RefusesASliceWhoseIdNoReaderWouldFind) {
    Open();
    MadeSlice slice = slices.NextSlice({{"logins", Types::Counter, {1}}});
    slice.facts.sliceId = 0;
    EXPECT_EQ("cannot keep slice 0 in " + path + ": ids of slices begin at 1", AppendSlice(slice));
    EXPECT_EQ("", AppendLogins({10}));
    EXPECT_THAT(SliceIds(), ElementsAre(2));
    EXPECT_THAT(Close(), HasSubstr("1 of 2 slices are lost: "));
}

TEST_F(Writer, RefusesAnotherGeneratorsSlice) {
    Open();
    SliceMaker others("other");
    EXPECT_EQ("cannot keep a slice of the generator other in " + path + ": it holds a run of load",
              AppendSlice(others.NextSlice({})));
}

TEST_F(Writer, TakesNamesOfAnyBytes) {
    Open();
    const std::string name = "caf\xe9 \"quoted\", 100%\n\xff'; DROP TABLE records; --";
    Append({{name, Types::Counter, {3}}});
    EXPECT_EQ(3, Summary(name).totals.sum);
}

TEST_F(Writer, TakesValuesThatAreNoNumbers) {
    Open();
    Append({{"wild", Types::Measurement, {1, std::numeric_limits<double>::quiet_NaN()}}});
    Append({{"wild", Types::Measurement, {std::numeric_limits<double>::infinity()}}});
    std::vector<double> sums;
    kzjournal::Reader(path).ForEachPoint(
        "wild", {}, [&](const kzjournal::SeriesPoint& point) { sums.push_back(point.lasts.sum); });
    EXPECT_THAT(sums, ElementsAre(testing::IsNan(), std::numeric_limits<double>::infinity()));
}

}  // namespace
