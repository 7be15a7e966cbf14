#ifndef RYP_WORDLOCK_H
#define RYP_WORDLOCK_H

#include <atomic>
#include <mutex>

#include "kzplatform_export.h"
#include "ryp/annotations.h"

/// A plain mutex of one byte for frequent locks with hardly any contention: acquiring a free one is
/// one atomic exchange, releasing it one store. A release therefore wakes nobody: a thread that
/// finds the lock taken spins for some microseconds and then polls it, sleeping for 50 microseconds
/// to a millisecond in between. Not fair. Safe for concurrent use; `release` must be called by the
/// thread that holds it.
class KZPLATFORM_EXPORT RYP_CAPABILITY("mutex") RyPWordLock {
public:
    RyPWordLock() = default;
    RyPWordLock(const RyPWordLock&) = delete;
    RyPWordLock& operator=(const RyPWordLock&) = delete;

    void acquire() RYP_ACQUIRE() RYP_NO_THREAD_SAFETY_ANALYSIS {
        if (!tryAcquire()) AcquireTaken();
    }
    void release() RYP_RELEASE() RYP_NO_THREAD_SAFETY_ANALYSIS {
        m_isTaken.store(false, std::memory_order_release);
    }

    /// Takes the lock and returns true, or returns false at once if it is taken.
    bool tryAcquire() RYP_TRY_ACQUIRE(true) RYP_NO_THREAD_SAFETY_ANALYSIS {
        return !m_isTaken.exchange(true, std::memory_order_acquire);
    }

    /// Holds the lock while it lives. Owned by the thread that made it.
    class RYP_SCOPED_CAPABILITY LockGuard {
    public:
        explicit LockGuard(RyPWordLock& lock) RYP_ACQUIRE(lock) : m_lock(lock) { lock.acquire(); }
        /// Takes over a lock that the thread holds already.
        LockGuard(RyPWordLock& lock, std::adopt_lock_t) RYP_REQUIRES(lock) : m_lock(lock) {}
        ~LockGuard() RYP_RELEASE() { m_lock.release(); }
        LockGuard(const LockGuard&) = delete;
        LockGuard& operator=(const LockGuard&) = delete;

    private:
        RyPWordLock& m_lock;
    };

private:
    bool TakeWhereFree();
    void AcquireTaken();

    std::atomic<bool> m_isTaken{false};
};

#endif
