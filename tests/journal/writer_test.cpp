#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "journal/journalfixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Writer : public JournalTest {};

TEST_F(Writer, KeepsASliceBeforeAppendReturns) {
    EXPECT_EQ("", Open());
    EXPECT_EQ("", AppendLogins({10, 30}));
    EXPECT_EQ(40, Summary("login.time").lasts.sum);
}

TEST_F(Writer, KeepsTheMessageAsItWasSent) {
    Open();
    const std::string sent = messages.NextSlice({{"login.time", Types::Timer, {10, 30.5}}});
    writer.Append(sent);
    const auto slice = kzjournal::Reader(path).LastSlice();
    ASSERT_TRUE(slice);
    EXPECT_EQ(1, slice->GetSliceId());
    EXPECT_EQ(40.5, slice->FindRecord("login.time")->totals.sum);
}

TEST_F(Writer, KeepsASliceThatIsWrittenTwiceOnce) {
    Open();
    const std::string slice = messages.NextSlice({{"logins", Types::Counter, {1}}});
    EXPECT_EQ("", writer.Append(slice));
    EXPECT_EQ("", writer.Append(slice));
    AppendLogins({10});
    EXPECT_EQ("", writer.Close());
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2));
    EXPECT_EQ(0, writer.LostSlices());
}

TEST_F(Writer, LeavesOneFileWhenTheRunHasEnded) {
    Open();
    AppendLogins({10});
    writer.Close();
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path("")))
        files += entry.is_regular_file() ? 1 : 0;
    EXPECT_EQ(1, files);
    EXPECT_TRUE(kzjournal::Reader(path).HasEnded());
}

TEST_F(Writer, HasAllInOneFileWhenTheRunHasEndedAlsoWhileSomebodyReads) {
    Open();
    AppendLogins({10});
    kzjournal::Reader reader(path);
    EXPECT_EQ(1, reader.LastSliceId());
    AppendLogins({20});
    EXPECT_EQ("", writer.Close());
    const std::string copy = folder.Path("copy.kzj");
    std::filesystem::copy_file(path, copy);
    EXPECT_EQ(2, kzjournal::Reader(copy).LastSliceId());
    EXPECT_TRUE(kzjournal::Reader(copy).HasEnded());
}

TEST_F(Writer, RefusesAFileThatHoldsARun) {
    Open();
    AppendLogins({10});
    writer.Close();
    kzjournal::Writer second;
    EXPECT_EQ("cannot keep a run in " + path + ": it is in use already; choose another path",
              second.Open(path, run));
    EXPECT_EQ("", second.Append("anything"));
    EXPECT_EQ("", second.Close());
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

TEST_F(Writer, RefusesADamagedMessageAndKeepsTheOthers) {
    Open();
    const std::string whole = messages.NextSlice({{"logins", Types::Counter, {1}}});
    EXPECT_THAT(writer.Append(whole.substr(0, whole.size() - 1)),
                HasSubstr("its message is damaged at byte "));
    EXPECT_EQ("", writer.Append(whole));
    EXPECT_THAT(writer.Close(), HasSubstr("1 of 2 slices are lost: "));
    EXPECT_EQ(1, writer.LostSlices());
    EXPECT_EQ(1, kzjournal::Reader(path).LostSlices());
}

TEST_F(Writer, RefusesAnotherGeneratorsMessage) {
    Open();
    MessageMaker others("other");
    EXPECT_EQ("cannot keep a slice of the generator other in " + path + ": it holds a run of load",
              writer.Append(others.NextSlice({})));
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
