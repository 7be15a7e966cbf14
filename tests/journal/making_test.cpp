#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "journal/journalfixture.h"
#include "support/concurrently.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// The mode of new files as a program asks for it.
class OpenUmask {
public:
    OpenUmask() : m_before(umask(0)) {}
    ~OpenUmask() { umask(m_before); }
    OpenUmask(const OpenUmask&) = delete;
    OpenUmask& operator=(const OpenUmask&) = delete;

private:
    const mode_t m_before;
};

/// Notes whether the database opens a rollback journal on the disk. At most one at a time.
class RollbackJournals {
public:
    RollbackJournals() {
        s_count = 0;
        Install(reinterpret_cast<sqlite3_syscall_ptr>(&Open));
    }
    ~RollbackJournals() { Install(nullptr); }
    RollbackJournals(const RollbackJournals&) = delete;
    RollbackJournals& operator=(const RollbackJournals&) = delete;

    int Count() const { return s_count; }

private:
    static void Install(sqlite3_syscall_ptr open) {
        sqlite3_vfs* const files = sqlite3_vfs_find(nullptr);
        files->xSetSystemCall(files, "open", open);
    }
    static int Open(const char* path, int flags, int mode) {
        if (std::string(path).ends_with("-journal")) ++s_count;
        return open(path, flags, mode);
    }

    static inline std::atomic<int> s_count = 0;
};

class Making : public JournalTest {
protected:
    static int ModeOf(const std::string& file) {
        struct stat facts = {};
        EXPECT_EQ(0, stat(file.c_str(), &facts)) << file;
        return static_cast<int>(facts.st_mode & 0777);
    }

    /// What a process that is killed now would leave.
    std::string LeftByAKill() {
        const std::string left = folder.Path("left.kzj");
        for (const char* const companion : {"", "-wal"})
            std::filesystem::copy_file(path + companion, left + companion);
        return left;
    }
    std::string OpenAnother(const std::string& file) {
        another.id = "another run";
        return TextOf(second.Open(file, another));
    }
    static std::string InUse(const std::string& file) {
        return "cannot keep a run in " + file + ": it is in use already; choose another path";
    }

    kzjournal::Run another = kzjournal::RunOfThisProcess("load", 1.7e9, 1);
    kzjournal::Writer second;
};

TEST_F(Making, FilesAreForTheirOwnerOnly) {
    const OpenUmask all;
    Open();
    AppendLogins({1});
    for (const char* const companion : {"", "-wal", "-shm"})
        EXPECT_EQ(0600, ModeOf(path + companion)) << companion;
    std::filesystem::remove(path);
    AppendLogins({2});
    for (const char* const companion : {"", "-wal", "-shm"})
        EXPECT_EQ(0600, ModeOf(path + ".recovered-1" + companion)) << companion;
}

TEST_F(Making, AnEmptyFileIsTaken) {
    std::ofstream(path).close();
    EXPECT_EQ("", Open());
    EXPECT_EQ("", AppendLogins({1}));
    EXPECT_THAT(SliceIds(), ElementsAre(1));
}

TEST_F(Making, WhatARunThatWasKilledLeftBesideTheNameIsNotRemoved) {
    Open();
    ASSERT_EQ("", AppendLogins({1}));
    const std::string left = LeftByAKill();
    const std::string elsewhere = folder.Path("elsewhere.kzj");
    std::filesystem::rename(left, elsewhere);
    for (const bool isEmpty : {false, true}) {
        if (isEmpty) std::ofstream(left).close();
        EXPECT_EQ("cannot keep a run in " + left + ": " + left +
                      "-wal holds a part of another run; move it away",
                  OpenAnother(left));
    }
    std::filesystem::remove(left);
    std::filesystem::rename(left + "-wal", elsewhere + "-wal");
    EXPECT_EQ(1, kzjournal::Reader(elsewhere).LastSliceId());
}

TEST_F(Making, TheFileOfARunThatWasKilledBeforeItsFirstSliceIsTaken) {
    Open();
    const std::string left = LeftByAKill();
    EXPECT_EQ("", OpenAnother(left));
    EXPECT_EQ("", TextOf(second.Append(slices.NextSlice({}).View()).problem));
    EXPECT_EQ("", TextOf(second.Close()));
    EXPECT_EQ("another run", kzjournal::Reader(left).Facts().id);
    EXPECT_EQ(1, kzjournal::Reader(left).CountSlices());
    EXPECT_FALSE(std::filesystem::exists(left + "-wal"));
}

TEST_F(Making, TheFileOfARunThatWasKilledAfterItsFirstSliceIsNotTaken) {
    Open();
    AppendLogins({1});
    const std::string left = LeftByAKill();
    EXPECT_EQ(InUse(left), OpenAnother(left));
    EXPECT_EQ(1, kzjournal::Reader(left).CountSlices());
}

TEST_F(Making, TheFileOfARunThatWaitsForItsFirstSliceIsNotTaken) {
    Open();
    EXPECT_EQ(InUse(path), OpenAnother(path));
    EXPECT_EQ("", AppendLogins({1}));
    EXPECT_EQ(run.id, kzjournal::Reader(path).Facts().id);
}

TEST_F(Making, ARunThatEndedWithoutASliceIsNotTaken) {
    Open();
    EXPECT_EQ("", Close());
    EXPECT_EQ(InUse(path), OpenAnother(path));
}

TEST_F(Making, OfManyThatMakeAJournalAtOnceAtMostOneHasIt) {
    Open();
    const std::string left = LeftByAKill();
    for (const std::string& file : {left, folder.Path("new.kzj")}) {
        std::vector<kzjournal::Writer> writers(8);
        std::vector<std::string> ids(writers.size());
        std::vector<std::function<void()>> openings;
        for (std::size_t i = 0; i < writers.size(); ++i)
            openings.emplace_back([&, i] {
                kzjournal::Run own = run;
                own.id = std::to_string(i);
                if (!writers[i].Open(file, own)) ids[i] = own.id;
            });
        Concurrently(openings);
        std::erase(ids, "");
        // None has it where each found the others in its way.
        if (ids.empty()) continue;
        EXPECT_THAT(ids, ElementsAre(kzjournal::Reader(file).Facts().id));
    }
}

TEST_F(Making, AnotherProgramsDatabaseIsNotTaken) {
    Execute("CREATE TABLE runs (run_id)");
    EXPECT_EQ(InUse(path), Open());
}

TEST_F(Making, APipeIsRefused) {
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    EXPECT_EQ("cannot open " + path + ": it is not a file", Open());
}

TEST_F(Making, ANameThatStandsForNoFileIsRefused) {
    EXPECT_EQ("cannot keep a run in a file without a name; choose a path",
              TextOf(writer.Open("", run)));
    for (const char* const name : {":memory:", "file:run.kzj", "file:run.kzj?mode=memory"})
        EXPECT_EQ("cannot keep a run in " + std::string(name) +
                      ": databases have another meaning for this name; put ./ before it",
                  TextOf(writer.Open(name, run)));
}

TEST_F(Making, AFileMayHaveAnyNameBehindAFolder) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path(""));
    for (const char* const name : {"./:memory:", "./file:run.kzj?mode=memory"}) {
        kzjournal::Writer kept;
        EXPECT_EQ("", TextOf(kept.Open(name, run)));
        EXPECT_EQ("", TextOf(kept.Close()));
        EXPECT_TRUE(std::filesystem::exists(folder.Path(name)));
        EXPECT_EQ(run.id, kzjournal::Reader(name).Facts().id);
    }
    std::filesystem::current_path(before);
}

TEST_F(Making, NoMomentOfARunHasARollbackJournalThatAKillWouldLeave) {
    const RollbackJournals journals;
    Open();
    for (int i = 0; i < 300; ++i) AppendLogins({1});
    std::filesystem::remove(path);
    AppendLogins({1});
    EXPECT_THAT(Close(), testing::IsEmpty());
    EXPECT_EQ(0, journals.Count());
}

}  // namespace
