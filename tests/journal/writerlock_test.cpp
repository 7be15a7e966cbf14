// A reader knows whether somebody still writes a run that has not ended.

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "journal/journalfixture.h"

namespace {

namespace fs = std::filesystem;

class WriterLockTest : public JournalTest {
protected:
    void SetUp() override {
        ASSERT_EQ("", Open());
        AppendLogins({10});
    }

    static bool IsAbandoned(const std::string& file) {
        return kzjournal::Reader(file).IsAbandoned();
    }

    /// What a process leaves that is killed now.
    std::string Killed() const {
        const std::string killed = folder.Path("killed.kzj");
        for (const char* const companion : {"", "-wal"})
            fs::copy(path + companion, killed + companion);
        return killed;
    }
};

TEST_F(WriterLockTest, ARunThatGoesOnIsNotAbandoned) {
    kzjournal::Reader reader(path);
    EXPECT_FALSE(reader.IsAbandoned());
    AppendLogins({20});
    EXPECT_FALSE(reader.IsAbandoned());
}

TEST_F(WriterLockTest, ARunThatHasEndedIsNotAbandoned) {
    kzjournal::Reader reader(path);
    Close();
    EXPECT_FALSE(reader.IsAbandoned());
    EXPECT_FALSE(IsAbandoned(path));
}

TEST_F(WriterLockTest, ARunIsAbandonedOnceItsProcessIsGone) {
    EXPECT_TRUE(IsAbandoned(Killed()));
}

TEST_F(WriterLockTest, TheLogIsFoundBehindALinkToTheFile) {
    const std::string link = folder.Path("link.kzj");
    fs::create_symlink(path, link);
    EXPECT_FALSE(IsAbandoned(link));
    const std::string toKilled = folder.Path("killed-link.kzj");
    fs::create_symlink(Killed(), toKilled);
    EXPECT_TRUE(IsAbandoned(toKilled));
}

TEST_F(WriterLockTest, ReadersOfTheSameProcessTakeNoLockAway) {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(1, kzjournal::Reader(path).LastSliceId());
    for (const char* const companion : {"", "-wal", "-shm"})
        close(open((path + companion).c_str(), O_RDONLY));
    EXPECT_FALSE(IsAbandoned(path));
}

TEST_F(WriterLockTest, ARunOnAnotherHostIsNeverTakenForAbandoned) {
    kzjournal::Writer other;
    run.host = "elsewhere";
    path = folder.Path("other.kzj");
    ASSERT_EQ("", TextOf(other.Open(path, run)));
    EXPECT_FALSE(IsAbandoned(Killed()));
}

TEST_F(WriterLockTest, ARunThatTookOverTheFileOfAKilledOneIsNotAbandoned) {
    kzjournal::Writer other;
    path = folder.Path("other.kzj");
    ASSERT_EQ("", TextOf(other.Open(path, run)));
    path = Killed();
    EXPECT_TRUE(IsAbandoned(path));
    run.id = "next";
    kzjournal::Writer next;
    ASSERT_EQ("", TextOf(next.Open(path, run)));
    EXPECT_FALSE(IsAbandoned(path));
}

TEST_F(WriterLockTest, ARunThatGoesOnBesideItsFileIsNotAbandonedThere) {
    fs::remove(path);
    AppendLogins({20});
    EXPECT_FALSE(IsAbandoned(path + ".recovered-1"));
}

TEST_F(WriterLockTest, TheDatabaseIsLockedByNobodyElse) {
    EXPECT_FALSE(IsAbandoned(path));
    EXPECT_EQ("", Rows("BEGIN EXCLUSIVE; ROLLBACK"));
    AppendLogins({20});
    EXPECT_EQ(kzjournal::SliceState::OnDisk, state);
    EXPECT_EQ("", Close());
    EXPECT_FALSE(fs::exists(path + "-wal"));
}

}  // namespace
