#ifndef KZSTATRUNNOTES_H
#define KZSTATRUNNOTES_H

#include <cstddef>
#include <vector>

#include "kzstatnote.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"

/// The notes of a run that wait for its next slice. Safe for concurrent use.
class CKZStatRunNotes {
public:
    static constexpr std::size_t kMaxTextBytes = 1024;
    static constexpr int kMaxNotes = 1000;  // of a run

    /// `text` is cut to `kMaxTextBytes`. Returns false, and logs an error the first time, for more
    /// notes than `kMaxNotes`, and once closed.
    bool Add(const char* text, double time);
    /// Those that wait. They wait on until they are dropped.
    std::vector<CKZStatNote> Waiting() const;
    /// Drops the first `count` of them, which a slice has.
    void Drop(std::size_t count);
    /// What waits now goes to the end of the run.
    void Close();

private:
    mutable RWMutexLock m_lock;
    std::vector<CKZStatNote> m_waiting RYP_GUARDED_BY(m_lock);
    int m_added RYP_GUARDED_BY(m_lock) = 0;
    bool m_hasRefused RYP_GUARDED_BY(m_lock) = false;
    bool m_isClosed RYP_GUARDED_BY(m_lock) = false;
};

#endif
