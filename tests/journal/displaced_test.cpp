#include <gmock/gmock.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <thread>

#include "journal/faultydisk.h"
#include "journal/journalfixture.h"
#include "ryp/testclock.h"

namespace {

using kzjournal::SliceState;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

/// A run of two slices whose file others remove or replace. The clock stands still, so that no copy
/// takes too long.
class Displaced : public JournalTest {
protected:
    void SetUp() override {
        ASSERT_EQ("", Open());
        AppendLogins({1});
        AppendLogins({2});
    }

    std::string News(const std::string& displaced, int number) const {
        return displaced + " was removed or replaced while the run was written; the run is in " +
               Recovered(number) + " now";
    }
    std::string Recovered(int number) const {
        return folder.Path("run.kzj.recovered-" + std::to_string(number));
    }

    static void Write(const std::string& file, const std::string& text) {
        std::ofstream(file) << text;
    }
    static std::string TextIn(const std::string& file) {
        std::ifstream stream(file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    std::map<std::string, std::string> Files() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path("")))
            files[entry.path().filename()] = TextIn(entry.path());
        return files;
    }

    void ExpectWholeRunIn(const std::string& file, int slicesInIt) {
        path = file;
        kzjournal::Reader reader(file);
        EXPECT_TRUE(reader.HasEnded());
        EXPECT_EQ(slicesInIt, reader.CountSlices());
        EXPECT_EQ(slicesInIt, reader.ExpectedSlices());
        EXPECT_EQ(0, reader.LostSlices());
        EXPECT_EQ(slicesInIt, static_cast<int>(SliceIds().size()));
        EXPECT_FALSE(std::filesystem::exists(file + "-wal"));
    }

    const RyPTestClock clock{1000};
};

TEST_F(Displaced, ARunWhoseFileWasRemovedGoesOnBesideItAndTellsOnce) {
    std::filesystem::remove(path);
    EXPECT_EQ(News(path, 1), AppendLogins({3}));
    EXPECT_EQ(SliceState::OnDisk, state);
    EXPECT_EQ("", AppendLogins({4}));
    EXPECT_EQ("", Close());
    EXPECT_FALSE(std::filesystem::exists(path));
    ExpectWholeRunIn(Recovered(1), 4);
}

TEST_F(Displaced, TheCopyHasEverySliceBeforeAppendReturns) {
    std::filesystem::remove(path);
    AppendLogins({3});
    path = Recovered(1);
    EXPECT_THAT(SliceIds(), ElementsAre(1, 2, 3));
}

TEST_F(Displaced, NothingOfAStrangerUnderTheOldNamesIsTouched) {
    Write(folder.Path("other.kzj"), "another run");
    std::filesystem::rename(folder.Path("other.kzj"), path);
    for (const char* const companion : {"-wal", "-shm"}) {
        std::filesystem::remove(path + companion);
        Write(path + companion, std::string("a stranger's ") + companion);
    }
    EXPECT_EQ(News(path, 1), AppendLogins({3}));
    EXPECT_EQ("", Close());
    std::map<std::string, std::string> files = Files();
    EXPECT_EQ("another run", files["run.kzj"]);
    EXPECT_EQ("a stranger's -wal", files["run.kzj-wal"]);
    EXPECT_EQ("a stranger's -shm", files["run.kzj-shm"]);
    EXPECT_EQ(4u, files.size());
    ExpectWholeRunIn(Recovered(1), 3);
}

TEST_F(Displaced, AStrangerWhoComesBetweenTheLastSliceAndTheEndIsNotTouchedEither) {
    std::filesystem::remove(path + "-wal");
    Write(path + "-wal", "a stranger's");
    EXPECT_EQ(News(path + "-wal", 1), Close());
    EXPECT_EQ("a stranger's", TextIn(path + "-wal"));
    ExpectWholeRunIn(Recovered(1), 2);
}

/// Closing waits for readers, which takes its time.
TEST_F(Displaced, AFileThatIsRemovedWhileTheRunIsClosedIsNoticed) {
    sqlite3* other = nullptr;
    ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &other));
    ASSERT_EQ(SQLITE_OK,
              sqlite3_exec(other, "BEGIN; SELECT * FROM runs", nullptr, nullptr, nullptr));
    std::string told;
    {
        const std::jthread closing([&] { told = Close(); });
        while (!kzjournal::Reader(path).HasEnded()) std::this_thread::yield();
        std::filesystem::remove(path);
        sqlite3_close(other);
    }
    EXPECT_EQ(News(path, 1), told);
    ExpectWholeRunIn(Recovered(1), 2);
}

TEST_F(Displaced, AFileThatWasMovedAwayStaysAsItIs) {
    const std::string elsewhere = folder.Path("elsewhere.kzj");
    std::filesystem::rename(path, elsewhere);
    const std::string before = TextIn(elsewhere);
    EXPECT_EQ(News(path, 1), AppendLogins({3}));
    EXPECT_EQ("", Close());
    EXPECT_EQ(before, TextIn(elsewhere));
    ExpectWholeRunIn(Recovered(1), 3);
}

TEST_F(Displaced, ALostCompanionIsNoticedToo) {
    for (const char* const companion : {"-wal", "-shm"}) {
        const std::string current = companion == std::string("-wal") ? path : Recovered(1);
        std::filesystem::remove(current + companion);
        EXPECT_THAT(AppendLogins({3}), StartsWith(current + companion + " was removed"));
    }
    EXPECT_EQ("", Close());
    ExpectWholeRunIn(Recovered(2), 4);
}

TEST_F(Displaced, ANumberThatIsTakenIsLeftOut) {
    Write(Recovered(1), "an earlier run");
    std::filesystem::remove(path);
    EXPECT_EQ(News(path, 2), AppendLogins({3}));
    EXPECT_EQ("", Close());
    EXPECT_EQ("an earlier run", TextIn(Recovered(1)));
    ExpectWholeRunIn(Recovered(2), 3);
}

TEST_F(Displaced, ALongRunIsCopiedWithWhatMovesLater) {
    for (int i = 0; i < 300; ++i) AppendLogins({1});
    std::filesystem::remove(path);
    for (int i = 0; i < 300; ++i) AppendLogins({1});
    EXPECT_EQ("", Close());
    ExpectWholeRunIn(Recovered(1), 602);
    EXPECT_EQ("1|241|\n242|240|\n482|121|\n", Rows("SELECT chunk, slices FROM chunks"));
}

TEST_F(Displaced, SlicesWaitWhereNoCopyCanBeMade) {
    const std::string aside = folder.Path("") + "aside";
    std::filesystem::create_directory(folder.Path("sub"));
    path = folder.Path("sub/run.kzj");
    kzjournal::Writer moved;
    ASSERT_EQ("", TextOf(moved.Open(path, run)));
    std::filesystem::rename(folder.Path("sub"), aside);
    SliceMaker maker("load", 1, 1.7e9);
    kzjournal::AppendResult result = moved.Append(maker.NextSlice({}).View());
    EXPECT_EQ(path +
                  " was removed or replaced while the run was written, and a copy beside it "
                  "failed: cannot open " +
                  path + ".recovered-1: No such file or directory",
              TextOf(result.problem));
    EXPECT_EQ(SliceState::Waiting, result.state);
    result = moved.Append(maker.NextSlice({}).View());
    EXPECT_EQ("", TextOf(result.problem));
    EXPECT_EQ(SliceState::Waiting, result.state);
    std::filesystem::create_directory(folder.Path("sub"));
    result = moved.Append(maker.NextSlice({}).View());
    EXPECT_THAT(TextOf(result.problem), HasSubstr("; the run is in " + path + ".recovered-1 now"));
    EXPECT_EQ(SliceState::OnDisk, result.state);
    EXPECT_EQ("", TextOf(moved.Close()));
    ExpectWholeRunIn(path + ".recovered-1", 3);
}

TEST_F(Displaced, ARunThatIsGoneAtItsEndIsLost) {
    std::filesystem::remove_all(folder.Path(""));
    EXPECT_THAT(Close(), StartsWith("2 of 2 slices are lost: " + path + " was removed"));
    EXPECT_EQ(2, writer.LostSlices());
}

TEST_F(Displaced, ACopyThatFillsTheDiskIsMadeAnewWhenThereIsRoom) {
    FaultyDisk disk;
    std::filesystem::remove(path);
    disk.FailAtCheckpoints(ENOSPC);
    EXPECT_THAT(AppendLogins({3}), HasSubstr("recovered-1: the disk is full; make room on it"));
    EXPECT_EQ(SliceState::Waiting, state);
    EXPECT_FALSE(std::filesystem::exists(Recovered(1)));
    disk.Work();
    EXPECT_EQ(News(path, 1), AppendLogins({4}));
    EXPECT_EQ(SliceState::OnDisk, state);
    EXPECT_EQ("", Close());
    ExpectWholeRunIn(Recovered(1), 4);
}

TEST_F(Displaced, AnotherFolderOfTheProcessIsNoOtherPlace) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path(""));
    kzjournal::Writer relative;
    EXPECT_EQ("", TextOf(relative.Open("relative.kzj", run)));
    std::filesystem::current_path(before);
    EXPECT_EQ("", TextOf(relative.Append(SliceMaker().NextSlice({}).View()).problem));
    EXPECT_EQ("", TextOf(relative.Close()));
    ExpectWholeRunIn(folder.Path("relative.kzj"), 1);
}

}  // namespace
