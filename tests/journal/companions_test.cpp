// A file is read together with what a crash, a copy or a backup left beside it.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "journal/journalfixture.h"
#include "kzjournalannotate.h"

namespace {

namespace fs = std::filesystem;

constexpr char kGrowth[] =
    "UPDATE slices SET measured = zeroblob(20000); UPDATE runs SET generator = 'other'";
constexpr char kChange[] = "UPDATE runs SET generator = 'else'";

class Companions : public JournalTest {
protected:
    void SetUp() override {
        ASSERT_EQ("", Open());
        for (int i = 0; i < 3; ++i) AppendLogins({10});
    }

    /// A run that ended, with what was beside the file in the midst of a change of all pages.
    void LeaveAHotRollbackJournal(const std::string& change) {
        ASSERT_EQ("", Close());
        sqlite3* database = nullptr;
        ASSERT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &database));
        const auto execute = [&](const char* sql) {
            ASSERT_EQ(SQLITE_OK, sqlite3_exec(database, sql, nullptr, nullptr, nullptr));
        };
        execute(("BEGIN;" + change).c_str());
        sqlite3_db_cacheflush(database);
        const std::string crashed = folder.Path("crashed.kzj");
        fs::copy(path, crashed);
        fs::copy(path + "-journal", crashed + "-journal");
        sqlite3_close(database);
        path = crashed;
    }

    static std::string IdsIn(const std::string& file) {
        std::string ids;
        try {
            kzjournal::Reader reader(file);
            reader.ForEachSlice(
                {}, [&](const kzjournal::Slice& slice) { ids += std::to_string(slice.id) + " "; });
        } catch (const kzjournal::Error& error) {
            return error.what();
        }
        return ids;
    }

    /// What `tell` returns in a process that may not write the folder, with its own temporary one.
    template <class Tell>
    std::string ToldByAStranger(const std::string& temporaryFolder, Tell tell) {
        constexpr uid_t kNobody = 65534;
        EXPECT_EQ(0, chmod(folder.Path("").c_str(), 0555));
        int ends[2] = {};
        EXPECT_EQ(0, pipe(ends));
        const pid_t process = fork();
        if (process == 0) {
            setenv("TMPDIR", temporaryFolder.c_str(), 1);
            const bool isStranger = geteuid() != 0 || setuid(kNobody) == 0;
            const std::string told = isStranger ? tell() : "no stranger";
            const bool isWritten =
                write(ends[1], told.data(), told.size()) == static_cast<ssize_t>(told.size());
            _exit(isWritten ? 0 : 1);
        }
        close(ends[1]);
        std::string told;
        char bytes[1000];
        for (ssize_t count = 0; (count = read(ends[0], bytes, sizeof bytes)) > 0;)
            told.append(bytes, static_cast<std::size_t>(count));
        close(ends[0]);
        waitpid(process, nullptr, 0);
        chmod(folder.Path("").c_str(), 0755);
        return told;
    }

    std::string IdsInForAStranger(const std::string& temporaryFolder) {
        return ToldByAStranger(temporaryFolder, [&] { return IdsIn(path); });
    }

    /// A run that was killed and whose folder may not be written.
    void LeaveAKilledRun() {
        const std::string copy = folder.Path("copy.kzj");
        fs::copy(path, copy);
        fs::copy(path + "-wal", copy + "-wal");
        path = copy;
        AllowReading();
    }

    static bool IsEmpty(const std::string& path) { return fs::is_empty(path); }

    void AllowReading() {
        for (const auto& file : fs::directory_iterator(folder.Path("")))
            chmod(file.path().c_str(), 0444);
    }
};

TEST_F(Companions, ANoteIsRefusedWhereTheFolderMayNotBeWritten) {
    ASSERT_EQ("", Close());
    chmod(path.c_str(), 0666);
    EXPECT_EQ("cannot write " + path + ": no file may be made in its folder",
              ToldByAStranger("/tmp", [&]() -> std::string {
                  try {
                      kzjournal::AddNote(path, {1.7e9, "x"});
                      return "added";
                  } catch (const kzjournal::Error& error) {
                      return error.what();
                  }
              }));
}

TEST_F(Companions, AHotRollbackJournalIsRolledBack) {
    LeaveAHotRollbackJournal(kChange);
    EXPECT_EQ("1 2 3 ", IdsIn(path));
    EXPECT_FALSE(fs::exists(path + "-journal"));
    EXPECT_EQ("load", kzjournal::Reader(path).Facts().generator);
}

TEST_F(Companions, AHotRollbackJournalIsRolledBackInACopyWhereTheFolderMayNotBeWritten) {
    LeaveAHotRollbackJournal(kGrowth);
    AllowReading();
    const TemporaryFolder temporary;
    chmod(temporary.Path("").c_str(), 0777);
    EXPECT_EQ("1 2 3 ", IdsInForAStranger(temporary.Path("")));
    EXPECT_TRUE(IsEmpty(temporary.Path("")));
    EXPECT_TRUE(fs::exists(path + "-journal"));
}

TEST_F(Companions, ARunThatWasKilledIsReadInACopyWhereTheFolderMayNotBeWritten) {
    LeaveAKilledRun();
    const TemporaryFolder temporary;
    chmod(temporary.Path("").c_str(), 0777);
    EXPECT_EQ("1 2 3 ", IdsInForAStranger(temporary.Path("")));
    EXPECT_TRUE(IsEmpty(temporary.Path("")));
}

TEST_F(Companions, ACopyIsGoneWhenItsReaderIsKilled) {
    LeaveAKilledRun();
    const TemporaryFolder temporary;
    chmod(temporary.Path("").c_str(), 0777);
    EXPECT_EQ("", ToldByAStranger(temporary.Path(""), [&] {
                  const kzjournal::Reader reader(path);
                  kill(getpid(), SIGKILL);
                  return std::string("not killed");
              }));
    EXPECT_TRUE(IsEmpty(temporary.Path("")));
}

TEST_F(Companions, ACopyThatCannotBeMadeIsAnError) {
    LeaveAHotRollbackJournal(kGrowth);
    AllowReading();
    const std::string error = IdsInForAStranger(folder.Path("nowhere"));
    EXPECT_NE(std::string::npos, error.find("it must be repaired, and it cannot be copied to"))
        << error;
}

TEST_F(Companions, ARollbackJournalOfAnotherFileDestroysNothing) {
    LeaveAHotRollbackJournal(kGrowth);
    const std::string restored = folder.Path("restored.kzj");
    kzjournal::Writer other;
    ASSERT_FALSE(other.Open(restored, kzjournal::RunOfThisProcess("other", 1.7e9, 1)));
    ASSERT_FALSE(other.Close());
    fs::copy(path + "-journal", restored + "-journal");
    const auto size = fs::file_size(restored);
    EXPECT_EQ("cannot read " + restored + ": " + restored +
                  "-journal beside it is of another run; move it elsewhere",
              IdsIn(restored));
    EXPECT_EQ(size, fs::file_size(restored));
    fs::remove(restored + "-journal");
    EXPECT_EQ("", IdsIn(restored));
}

std::string OtherLogError(const std::string& path) {
    return "cannot read " + path + ": " + path + "-wal beside it is of another run; move it and " +
           path + "-shm elsewhere";
}

TEST_F(Companions, ALogOfARunThatCrashedIsNotTakenForThatOfAnEndedOneThatWasRestored) {
    const std::string restored = folder.Path("restored.kzj");
    kzjournal::Writer other;
    ASSERT_FALSE(other.Open(restored, kzjournal::RunOfThisProcess("other", 1.7e9, 1)));
    ASSERT_FALSE(other.Close());
    fs::copy(path + "-wal", restored + "-wal");
    EXPECT_EQ(OtherLogError(restored), IdsIn(restored));
    fs::remove(restored + "-wal");
    EXPECT_EQ("", IdsIn(restored));
}

TEST_F(Companions, ALogOfARunThatCrashedIsNotTakenForThatOfARestoredRunThatCrashedToo) {
    const std::string restored = folder.Path("restored.kzj");
    kzjournal::Writer other;
    ASSERT_FALSE(other.Open(restored, kzjournal::RunOfThisProcess("other", 1.7e9, 1)));
    ASSERT_EQ("", TextOf(other.Append(SliceMaker("other", 1, 1.7e9).NextSlice({}).View()).problem));
    const std::string backup = folder.Path("backup.kzj");
    // Into the file itself, which its log would be enough for otherwise.
    sqlite3* database = nullptr;
    sqlite3_open(restored.c_str(), &database);
    sqlite3_exec(database, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
    fs::copy(restored, backup);
    sqlite3_close(database);
    EXPECT_EQ("1 ", IdsIn(backup));
    fs::remove(backup + "-wal");
    fs::copy(path + "-wal", backup + "-wal");
    EXPECT_EQ(OtherLogError(backup), IdsIn(backup));
}

TEST_F(Companions, APipeIsRefused) {
    path = folder.Path("pipe");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    EXPECT_EQ("cannot read " + path + ": it is a pipe", IdsIn(path));
}

TEST_F(Companions, APipeBesideTheFileIsRefused) {
    ASSERT_EQ("", Close());
    for (const char* const companion : {"-wal", "-shm", "-journal"}) {
        const std::string pipe = path + companion;
        ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
        EXPECT_EQ("cannot read " + path + ": " + pipe + " beside it is a pipe", IdsIn(path));
        fs::remove(pipe);
    }
}

}  // namespace
