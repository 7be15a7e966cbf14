#include "merge/newfile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "journal/temporaryfolder.h"
#include "kzjournalerror.h"

namespace {

using testing::HasSubstr;

class NewFile : public testing::Test {
protected:
    static void Write(const std::string& to, const std::string& text) { std::ofstream(to) << text; }
    static std::string TextIn(const std::string& file) {
        std::ifstream stream(file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    std::size_t Files() const {
        const std::filesystem::directory_iterator files(folder.Path(""));
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    TemporaryFolder folder;
    const std::string path = folder.Path("file");
};

TEST_F(NewFile, IsThereOnceItIsWhole) {
    kzstatprogram::NewFile file(path, false);
    Write(file.TemporaryPath(), "whole");
    EXPECT_FALSE(std::filesystem::exists(path));
    file.Rename();
    EXPECT_EQ("whole", TextIn(path));
    EXPECT_EQ(1u, Files());
}

TEST_F(NewFile, LeavesNothingUnlessItIsWhole) {
    { const kzstatprogram::NewFile file(path, false); }
    EXPECT_EQ(0u, Files());
}

TEST_F(NewFile, LeavesNoCompanionOfItsTemporaryFile) {
    {
        const kzstatprogram::NewFile file(path, false);
        for (const char* suffix : {"-wal", "-shm", "-journal"})
            Write(file.TemporaryPath() + suffix, "companion");
    }
    EXPECT_EQ(0u, Files());
}

TEST_F(NewFile, HasThePermissionsOfAnyOtherNewFile) {
    const mode_t former = umask(027);
    kzstatprogram::NewFile file(path, false);
    EXPECT_EQ(027u, umask(former));
    file.Rename();
    EXPECT_EQ(std::filesystem::perms{0640}, std::filesystem::status(path).permissions());
}

TEST_F(NewFile, SaysByItsTemporaryNameThatItIsBeingMerged) {
    const kzstatprogram::NewFile file(path, false);
    EXPECT_THAT(file.TemporaryPath(), testing::StartsWith(path + ".merging-"));
}

TEST_F(NewFile, LeavesAFileAloneThatCameMeanwhile) {
    {
        kzstatprogram::NewFile file(path, false);
        Write(path, "other");
        EXPECT_THROW(file.Rename(), kzjournal::Error);
    }
    EXPECT_EQ("other", TextIn(path));
    EXPECT_EQ(1u, Files());
}

TEST_F(NewFile, ReplacesAFileBehindALink) {
    const std::string link = folder.Path("link");
    Write(path, "former");
    std::filesystem::create_symlink(path, link);
    kzstatprogram::NewFile file(link, true);
    Write(file.TemporaryPath(), "latter");
    EXPECT_EQ("former", TextIn(path));
    file.Rename();
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ("latter", TextIn(path));
}

TEST_F(NewFile, SaysWhereItCannotBeMade) {
    try {
        const kzstatprogram::NewFile file(folder.Path("nowhere/file"), false);
        FAIL();
    } catch (const kzjournal::Error& error) {
        EXPECT_THAT(error.what(), HasSubstr("nowhere/file: No such file or directory"));
    }
}

}  // namespace
