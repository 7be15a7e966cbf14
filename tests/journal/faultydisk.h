#ifndef KZ_TESTS_FAULTYDISK_H
#define KZ_TESTS_FAULTYDISK_H

#include <sqlite3.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <string>

/// Stands between the database and the disk, which works until told otherwise. At most one at a
/// time. Safe for concurrent use.
class FaultyDisk {
public:
    FaultyDisk() { Install(reinterpret_cast<sqlite3_syscall_ptr>(&Write)); }
    ~FaultyDisk() {
        Work();
        Install(nullptr);
    }
    FaultyDisk(const FaultyDisk&) = delete;
    FaultyDisk& operator=(const FaultyDisk&) = delete;

    void Work() { Be(kWorks); }
    /// Every write fails with this error.
    void Fail(int error) { Be(error); }
    /// Writes into the database itself fail with this error, those into its log succeed.
    void FailAtCheckpoints(int error) {
        s_sparesLogs = true;
        s_state = error;
    }
    /// No write returns until the disk is something else.
    void Hang() { Be(kHangs); }
    void WaitUntilAWriteHangs() {
        while (!s_aWriteHangs) s_aWriteHangs.wait(false);
    }
    /// Lets them write, and waits for their end: nobody joins a writer's thread, which may outlive
    /// what its test made.
    void WaitForThreadsThatHung() {
        Work();
        for (int left = s_threadsThatHung; left > 0; left = s_threadsThatHung)
            s_threadsThatHung.wait(left);
    }

private:
    static constexpr int kWorks = 0;
    static constexpr int kHangs = -1;

    /// Counts its thread until that has ended.
    struct HungThread {
        HungThread() { ++s_threadsThatHung; }
        ~HungThread() {
            --s_threadsThatHung;
            s_threadsThatHung.notify_all();
        }
        HungThread(const HungThread&) = delete;
        HungThread& operator=(const HungThread&) = delete;
    };

    static void Be(int state) {
        s_aWriteHangs = false;
        s_sparesLogs = false;
        s_state = state;
        s_state.notify_all();
    }

    /// Null puts the system's own call back.
    static void Install(sqlite3_syscall_ptr write) {
        sqlite3_vfs* const files = sqlite3_vfs_find(nullptr);
        for (const char* const name : {"pwrite", "pwrite64"})
            files->xSetSystemCall(files, name, write);
    }

    static ssize_t Write(int file, const void* bytes, size_t count, off_t offset) {
        while (s_state == kHangs) {
            const thread_local HungThread thisThread;
            s_aWriteHangs = true;
            s_aWriteHangs.notify_all();
            s_state.wait(kHangs);
        }
        const int error = s_state;
        if (error == kWorks || (s_sparesLogs && IsLog(file)))
            return pwrite(file, bytes, count, offset);
        errno = error;
        return -1;
    }

    static bool IsLog(int file) {
        const std::string link = "/proc/self/fd/" + std::to_string(file);
        return std::filesystem::read_symlink(link).extension() == ".kzj-wal";
    }

    static inline std::atomic<int> s_state = kWorks;
    static inline std::atomic<bool> s_aWriteHangs = false;
    static inline std::atomic<bool> s_sparesLogs = false;
    static inline std::atomic<int> s_threadsThatHung = 0;
};

#endif
