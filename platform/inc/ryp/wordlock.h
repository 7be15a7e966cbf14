#ifndef RYP_WORDLOCK_H
#define RYP_WORDLOCK_H

#include <atomic>
#include <mutex>

#include "kzplatform_export.h"
#include "ryp/annotations.h"

/// A plain mutex of one word for the most frequent locks: uncontended, acquiring and releasing it
/// are inline and make no call. A thread that finds it taken spins for some microseconds before it
/// blocks (spin then park). Not fair. Safe for concurrent use; `release` must be called by the
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
        if (m_state.exchange(kFree) == kWaitedFor) WakeOne();
    }

    /// Takes the lock and returns true, or returns false at once if it is taken.
    bool tryAcquire() RYP_TRY_ACQUIRE(true) RYP_NO_THREAD_SAFETY_ANALYSIS {
        int expected = kFree;
        return m_state.compare_exchange_strong(expected, kTaken, std::memory_order_acquire,
                                               std::memory_order_relaxed);
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
    // A thread that has blocked takes the lock as kWaitedFor, since it cannot know whether another
    // one still waits: at worst a release wakes nobody.
    static constexpr int kFree = 0;
    static constexpr int kTaken = 1;
    static constexpr int kWaitedFor = 2;

    void AcquireTaken();
    void WakeOne();

    std::atomic<int> m_state{kFree};
};

#endif
