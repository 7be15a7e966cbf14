#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>

#include "journal/journalfixture.h"

// The path of the program that keeps slices until it is killed.
#ifndef WRITING_PROCESS
#error "WRITING_PROCESS is not defined"
#endif

namespace {

constexpr int kKills = 100;
constexpr int kNames = 3;

/// A process that keeps slices. Owned by the test's thread.
class WritingProcess {
public:
    explicit WritingProcess(const std::string& path) {
        int ends[2] = {};
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        m_kept = ends[0];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        std::string program = WRITING_PROCESS;
        std::string argument = path;
        char* const arguments[] = {program.data(), argument.data(), nullptr};
        const int error =
            posix_spawn(&m_process, program.c_str(), &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        if (error != 0) throw std::runtime_error("cannot start " + program);
    }
    ~WritingProcess() {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
        close(m_kept);
    }

    /// Waits until one more slice is kept; false once the process is gone and all ids are read.
    bool ReadId(int& id) { return read(m_kept, &id, sizeof id) == sizeof id; }

    /// Kills it in whatever it is doing and returns the id of the last slice that it has kept, or
    /// `id` where that is the last.
    int Kill(int id) {
        kill(m_process, SIGKILL);
        while (ReadId(id)) {
        }
        return id;
    }

private:
    pid_t m_process = 0;
    int m_kept = 0;
};

class Crash : public JournalTest {
protected:
    /// Fails where the journal lacks a slice up to `lastKept` or holds part of one.
    void ExpectWholeSlicesUpTo(int lastKept) {
        kzjournal::Reader journal(path);
        int expected = 0;
        journal.ForEachSlice({}, [&](const kzjournal::Slice& slice) {
            EXPECT_EQ(++expected, slice.id);
            EXPECT_EQ(kNames, slice.records.size());
        });
        EXPECT_GE(expected, lastKept);
        // The slice in hand may be there as well, without its hook having returned.
        EXPECT_LE(expected, lastKept + 1);
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
    for (int i = 0; i < kKills; ++i) {
        SCOPED_TRACE(i);
        path = folder.Path(std::to_string(i) + ".kzj");
        // Some runs are longer than what is moved together from recent records.
        const int wait = i % 10 == 0 ? 250 + static_cast<int>(random() % 12)
                                     : 1 + static_cast<int>(random() % 5);
        const auto microseconds = static_cast<useconds_t>(random() % 10000);
        int id = 0;
        WritingProcess process(path);
        while (id < wait && process.ReadId(id)) {
        }
        usleep(microseconds);  // a moment of any kind, which no clock could name
        const int lastKept = process.Kill(id);
        ASSERT_GE(lastKept, wait);
        ExpectWholeSlicesUpTo(lastKept);
        EXPECT_EQ("ok", Integrity());
    }
}

}  // namespace
