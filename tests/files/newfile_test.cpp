#include "files/newfile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "journal/temporaryfolder.h"
#include "kzjournalerror.h"

namespace {

using testing::HasSubstr;

class NewFile : public testing::Test {
protected:
    using Existing = kzfiles::NewFile::Existing;
    using Readers = kzfiles::NewFile::Readers;

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
    kzfiles::NewFile file(path, Existing::Keep, Readers::AsUsual);
    Write(file.TemporaryPath(), "whole");
    EXPECT_FALSE(std::filesystem::exists(path));
    file.Rename();
    EXPECT_EQ("whole", TextIn(path));
    EXPECT_EQ(1u, Files());
}

TEST_F(NewFile, LeavesNothingUnlessItIsWhole) {
    { const kzfiles::NewFile file(path, Existing::Keep, Readers::AsUsual); }
    EXPECT_EQ(0u, Files());
}

TEST_F(NewFile, LeavesNoCompanionOfItsTemporaryFile) {
    {
        const kzfiles::NewFile file(path, Existing::Keep, Readers::AsUsual);
        for (const char* suffix : {"-wal", "-shm", "-journal"})
            Write(file.TemporaryPath() + suffix, "companion");
    }
    EXPECT_EQ(0u, Files());
}

TEST_F(NewFile, HasThePermissionsOfAnyOtherNewFile) {
    const mode_t former = umask(027);
    kzfiles::NewFile file(path, Existing::Keep, Readers::AsUsual);
    EXPECT_EQ(027u, umask(former));
    file.Rename();
    EXPECT_EQ(std::filesystem::perms{0640}, std::filesystem::status(path).permissions());
}

TEST_F(NewFile, ThatIsItsOwnersHasNoOtherReaders) {
    kzfiles::NewFile file(path, Existing::Keep, Readers::Owner);
    file.Rename();
    EXPECT_EQ(std::filesystem::perms{0600}, std::filesystem::status(path).permissions());
}

TEST_F(NewFile, SaysByItsTemporaryNameWhoseItIs) {
    const kzfiles::NewFile file(path, Existing::Keep, Readers::AsUsual);
    EXPECT_THAT(file.TemporaryPath(), testing::StartsWith(path + ".new-"));
}

TEST_F(NewFile, LeavesAFileAloneThatCameMeanwhile) {
    {
        kzfiles::NewFile file(path, Existing::Keep, Readers::AsUsual);
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
    kzfiles::NewFile file(link, Existing::Replace, Readers::AsUsual);
    Write(file.TemporaryPath(), "latter");
    EXPECT_EQ("former", TextIn(path));
    file.Rename();
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ("latter", TextIn(path));
}

TEST_F(NewFile, ComesBehindALinkThatLeadsNowhereYet) {
    const std::string link = folder.Path("link");
    std::filesystem::create_symlink("file", link);
    kzfiles::WriteFile(link, "whole");
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ("whole", TextIn(path));
}

TEST_F(NewFile, KeepsThePermissionsOfTheFormerOne) {
    Write(path, "former");
    std::filesystem::permissions(path, std::filesystem::perms{0640});
    kzfiles::WriteFile(path, "latter");
    EXPECT_EQ("latter", TextIn(path));
    EXPECT_EQ(std::filesystem::perms{0640}, std::filesystem::status(path).permissions());
}

TEST_F(NewFile, ReplacesNoFileThatMayNotBeWritten) {
    Write(path, "former");
    std::filesystem::permissions(path, std::filesystem::perms{0444});
    std::filesystem::permissions(folder.Path(""), std::filesystem::perms::all);
    // The superuser may write every file: then as somebody else.
    const uid_t user = geteuid();
    constexpr uid_t kNobody = 65534;
    ASSERT_EQ(0, seteuid(user == 0 ? kNobody : user));
    EXPECT_THROW(kzfiles::WriteFile(path, "latter"), kzjournal::Error);
    ASSERT_EQ(0, seteuid(user));
    EXPECT_EQ("former", TextIn(path));
}

TEST_F(NewFile, IsNoneWhereAPipeStands) {
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    std::string seen;
    std::thread reader([&] { seen = TextIn(path); });
    kzfiles::WriteFile(path, "whole");
    reader.join();
    EXPECT_EQ("whole", seen);
    EXPECT_TRUE(std::filesystem::is_fifo(path));
}

TEST_F(NewFile, IsNoneWhereADeviceStands) {
    kzfiles::WriteFile("/dev/null", "whole");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_THROW(kzfiles::WriteFile("/dev/full", "whole"), kzjournal::Error);
}

TEST_F(NewFile, SaysWhereItCannotBeMade) {
    try {
        const kzfiles::NewFile file(folder.Path("nowhere/file"), Existing::Keep, Readers::AsUsual);
        FAIL();
    } catch (const kzjournal::Error& error) {
        EXPECT_THAT(error.what(), HasSubstr("nowhere/file: No such file or directory"));
    }
}

}  // namespace
