#ifndef KZJOURNALWRITERLOCK_H
#define KZJOURNALWRITERLOCK_H

#include <string>

namespace kzjournal {

/// Tells other processes that this one writes a journal. The system releases the lock when the
/// process ends, however it ends.
///
/// It is a lock on FILE-wal, in which the database locks nothing, and belongs to an open file
/// description of its own. A lock of the process, as the database takes them on the file and on
/// FILE-shm, would be lost with the first descriptor of that file that the process closes; and
/// closing a descriptor of these files would take the database's locks away.
///
/// Compatible.
class WriterLock {
public:
    /// Takes the lock of the journal at `path`. Holds nothing where the database does without a
    /// log or the file system without locks. Throws `Error`.
    explicit WriterLock(const std::string& path);
    ~WriterLock();
    WriterLock(WriterLock&& other) noexcept;
    WriterLock(const WriterLock&) = delete;
    WriterLock& operator=(const WriterLock&) = delete;

    /// True if no process holds the lock of the journal at `path`. False where that cannot be told.
    static bool IsFree(const std::string& path);

private:
    int m_file;  // -1 without a log, and once it was moved
};

}  // namespace kzjournal

#endif
