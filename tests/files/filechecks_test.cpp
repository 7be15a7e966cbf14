#include "files/filechecks.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "journal/temporaryfolder.h"
#include "kzjournalerror.h"

namespace {

using testing::HasSubstr;

class FileChecks : public testing::Test {
protected:
    FileChecks() { std::ofstream(journal) << "a run"; }

    /// What is said of the output; empty if it may be written.
    std::string ComplaintOf(const std::string& output) const {
        try {
            kzfiles::RefuseToOverwrite({folder.Path("other.kzj"), journal}, output);
            return "";
        } catch (const kzjournal::Error& error) {
            return error.what();
        }
    }
    void ExpectRefused(const std::string& output) const {
        EXPECT_EQ("cannot write " + output + ": it belongs to the journal " + journal,
                  ComplaintOf(output));
    }

    TemporaryFolder folder;
    const std::string journal = folder.Path("run.kzj");
};

TEST_F(FileChecks, AnOutputIsNoJournal) {
    ExpectRefused(journal);
    EXPECT_EQ("", ComplaintOf(folder.Path("page.html")));
    EXPECT_EQ("", ComplaintOf(folder.Path("run.kzj.html")));
    EXPECT_EQ("", ComplaintOf("/dev/null"));
}

TEST_F(FileChecks, SpellingsAndLinksAreSeenThrough) {
    std::filesystem::create_directory(folder.Path("below"));
    ExpectRefused(folder.Path("below/../run.kzj"));
    std::filesystem::create_symlink("run.kzj", folder.Path("link"));
    ExpectRefused(folder.Path("link"));
    std::filesystem::create_hard_link(journal, folder.Path("name"));
    ExpectRefused(folder.Path("name"));
    std::filesystem::create_directory_symlink(folder.Path(""), folder.Path("below/folder"));
    ExpectRefused(folder.Path("below/folder/run.kzj"));
}

TEST_F(FileChecks, AnOutputIsNoCompanionOfAJournal) {
    for (const char* const suffix : {"-wal", "-shm", "-journal"}) {
        ExpectRefused(journal + suffix);
        std::ofstream(journal + suffix) << "a part of it";
        ExpectRefused(journal + suffix);
    }
}

TEST_F(FileChecks, AJournalThatDoesNotExistYetIsOneAlready) {
    std::filesystem::remove(journal);
    ExpectRefused(journal);
    std::filesystem::create_symlink("run.kzj-wal", folder.Path("link"));
    ExpectRefused(folder.Path("link"));
}

TEST_F(FileChecks, ALinkToAJournalHasItsCompanionsBesideTheFile) {
    std::filesystem::create_directory(folder.Path("below"));
    const std::string link = folder.Path("below/link.kzj");
    std::filesystem::create_symlink(journal, link);
    EXPECT_THROW(kzfiles::RefuseToOverwrite({link}, journal + "-wal"), kzjournal::Error);
    EXPECT_NO_THROW(kzfiles::RefuseToOverwrite({link}, link + "-wal"));
}

TEST_F(FileChecks, NothingElseReplacesAJournal) {
    EXPECT_NO_THROW(kzfiles::RefuseToReplaceAJournal(journal));
    EXPECT_NO_THROW(kzfiles::RefuseToReplaceAJournal(folder.Path("nowhere")));
    EXPECT_NO_THROW(kzfiles::RefuseToReplaceAJournal("/dev/null"));
    std::ofstream(journal) << std::string("SQLite format 3\0 and its pages", 30);
    EXPECT_THROW(kzfiles::RefuseToReplaceAJournal(journal), kzjournal::Error);
}

TEST_F(FileChecks, APipeOrADeviceHoldsNoRun) {
    const std::string pipe = folder.Path("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    for (const std::string& path : {pipe, std::string("/dev/null")})
        EXPECT_THROW(kzfiles::RefuseUnlessFile(path), kzjournal::Error) << path;
    EXPECT_NO_THROW(kzfiles::RefuseUnlessFile(journal));
    EXPECT_NO_THROW(kzfiles::RefuseUnlessFile(folder.Path("nowhere")));
}

}  // namespace
