#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <random>

#include "journal/journalfixture.h"
#include "journal/writingprocess.h"

// The path of the program that keeps slices until it is killed.
#ifndef WRITING_PROCESS
#error "WRITING_PROCESS is not defined"
#endif

namespace {

/// Of each kind; KZ_JOURNAL_KILLS asks for more.
int Kills() {
    const char* const text = std::getenv("KZ_JOURNAL_KILLS");
    return text == nullptr ? 50 : std::atoi(text);
}

/// Longer than making or closing a journal takes.
constexpr int kMicrosecondsOfAnEnd = 20000;
constexpr int kNames = 3;
constexpr auto kOnDisk = kzjournal::SliceState::OnDisk;

/// A process that keeps slices. Owned by the test's thread.
class WritingProcess {
public:
    explicit WritingProcess(const std::string& path, const std::vector<std::string>& limits = {}) {
        int ends[2] = {};
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        m_told = ends[0];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        std::vector<std::string> arguments = {WRITING_PROCESS, path};
        arguments.insert(arguments.end(), limits.begin(), limits.end());
        std::vector<char*> pointers;
        for (std::string& argument : arguments) pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        const int error =
            posix_spawn(&m_process, WRITING_PROCESS, &actions, nullptr, pointers.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        if (error != 0) throw std::runtime_error("cannot start " WRITING_PROCESS);
    }
    ~WritingProcess() {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
        close(m_told);
    }

    /// Waits until one more hook has returned; false once the process is gone and all is read.
    bool Read(AppendedSlice& slice) {
        if (read(m_told, &slice, sizeof slice) != sizeof slice) return false;
        m_lastReturned = slice.id;
        if (slice.state == kOnDisk) m_lastOnDisk = slice.id;
        return true;
    }
    /// The slices whose hook has returned, and those of them that were said to be on the disk: a
    /// hook waits for a slow disk only so long.
    int LastReturned() const { return m_lastReturned; }
    int LastOnDisk() const { return m_lastOnDisk; }

    /// Kills it in whatever it is doing and reads what it has told.
    void Kill() {
        kill(m_process, SIGKILL);
        for (AppendedSlice slice; Read(slice);) {
        }
        // Its files are closed one after the other; it stays a zombie for the destructor.
        siginfo_t end = {};
        waitid(P_PID, static_cast<id_t>(m_process), &end, WEXITED | WNOWAIT);
    }

private:
    pid_t m_process = 0;
    int m_told = 0;
    int m_lastReturned = 0;
    int m_lastOnDisk = 0;
};

class Crash : public JournalTest {
protected:
    /// Fails where the journal lacks a slice that was said to be on the disk or holds part of one.
    void ExpectWholeSlicesOf(const WritingProcess& process) {
        kzjournal::Reader journal(path);
        int expected = 0;
        journal.ForEachSlice({}, [&](const kzjournal::Slice& slice) {
            EXPECT_EQ(++expected, slice.id);
            EXPECT_EQ(kNames, slice.records.size());
        });
        EXPECT_GE(expected, process.LastOnDisk());
        // The slice in hand may be there as well, without its hook having returned.
        EXPECT_LE(expected, process.LastReturned() + 1);
        EXPECT_EQ(expected, journal.ExpectedSlices());
        for (const char* const name : {"login.time", "logins", "clients"}) {
            int points = 0;
            journal.ForEachPoint(name, {}, [&](const kzjournal::SeriesPoint&) { ++points; });
            EXPECT_EQ(expected, points);
        }
    }

    /// What the database finds wrong with its file.
    std::string Integrity() {
        sqlite3* database = nullptr;
        sqlite3_open(path.c_str(), &database);
        std::string text;
        const auto keep = [](void* all, int, char** values, char**) {
            *static_cast<std::string*>(all) += values[0];
            return 0;
        };
        sqlite3_exec(database, "PRAGMA integrity_check", keep, &text, nullptr);
        sqlite3_close(database);
        return text;
    }
};

TEST_F(Crash, EverySliceWhoseHookReturnedIsThereAfterAKill) {
    std::mt19937 random(20261121);
    for (int i = 0; i < Kills(); ++i) {
        SCOPED_TRACE(i);
        path = folder.Path(std::to_string(i) + ".kzj");
        // Some runs are longer than what is moved together from recent records.
        const int wait = i % 10 == 0 ? 250 + static_cast<int>(random() % 12)
                                     : 1 + static_cast<int>(random() % 5);
        const auto microseconds = static_cast<useconds_t>(random() % 10000);
        AppendedSlice slice{};
        WritingProcess process(path);
        while (slice.id < wait && process.Read(slice)) {
        }
        usleep(microseconds);  // a moment of any kind, which no clock could name
        process.Kill();
        ASSERT_GE(process.LastReturned(), wait);
        ExpectWholeSlicesOf(process);
        EXPECT_EQ("ok", Integrity());
    }
}

TEST_F(Crash, AProcessThatIsKilledWhileItMakesAJournalLeavesTheNameFree) {
    std::mt19937 random(20261122);
    for (int i = 0; i < Kills(); ++i) {
        SCOPED_TRACE(i);
        path = folder.Path(std::to_string(i) + ".kzj");
        {
            WritingProcess process(path);
            usleep(static_cast<useconds_t>(random() % kMicrosecondsOfAnEnd));
            process.Kill();
        }
        EXPECT_FALSE(std::filesystem::exists(path + "-journal"));
        kzjournal::Writer next;
        if (!next.Open(path, run)) {
            EXPECT_EQ("", TextOf(next.Append(SliceMaker().NextSlice({}).View()).problem));
            EXPECT_EQ("", TextOf(next.Close()));
        }
        // One way or the other, what is there is a run with slices.
        EXPECT_GE(kzjournal::Reader(path).LastSliceId(), 1);
        EXPECT_EQ("ok", Integrity());
    }
}

TEST_F(Crash, AProcessThatIsKilledWhileItClosesAJournalLeavesEverySlice) {
    constexpr int kSlices = 20;
    std::mt19937 random(20261123);
    for (int i = 0; i < Kills(); ++i) {
        SCOPED_TRACE(i);
        path = folder.Path(std::to_string(i) + ".kzj");
        WritingProcess process(path, {"1000000000", std::to_string(kSlices)});
        for (AppendedSlice slice{}; slice.id < kSlices && process.Read(slice);) {
        }
        usleep(static_cast<useconds_t>(random() % kMicrosecondsOfAnEnd));
        process.Kill();
        EXPECT_FALSE(std::filesystem::exists(path + "-journal"));
        EXPECT_EQ(kSlices, process.LastReturned());
        ExpectWholeSlicesOf(process);
        EXPECT_EQ("ok", Integrity());
    }
}

TEST_F(Crash, AReaderSeesThatTheWritingProcessIsGone) {
    WritingProcess process(path);
    AppendedSlice slice{};
    ASSERT_TRUE(process.Read(slice));
    kzjournal::Reader reader(path);
    EXPECT_FALSE(reader.IsAbandoned());
    process.Kill();
    EXPECT_TRUE(reader.IsAbandoned());
    EXPECT_TRUE(kzjournal::Reader(path).IsAbandoned());
}

TEST_F(Crash, AFileThatCannotGrowHasEverySliceThatWasSaidToBeOnTheDisk) {
    WritingProcess process(path, {"300000"});
    int onDisk = 0;
    int waiting = 0;
    int problems = 0;
    for (AppendedSlice slice; waiting < 100 && process.Read(slice);) {
        (slice.state == kOnDisk ? onDisk : waiting) += 1;
        problems += slice.isProblemTold ? 1 : 0;
    }
    process.Kill();
    EXPECT_GT(onDisk, 0);
    EXPECT_EQ(100, waiting);
    EXPECT_EQ(1, problems);
    EXPECT_EQ(onDisk, process.LastOnDisk());
    ExpectWholeSlicesOf(process);
    EXPECT_EQ("ok", Integrity());
}

}  // namespace
