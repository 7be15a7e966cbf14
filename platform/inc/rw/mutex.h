#ifndef KZ_RW_MUTEX_H
#define KZ_RW_MUTEX_H

#include <mutex>

#include "kzplatform_export.h"
#include "ryp/annotations.h"

/// A plain mutex: a thread that holds it must not acquire it again. A thread that finds it taken
/// spins for some microseconds before it blocks (spin then park). Safe for concurrent use;
/// `release` must be called by the thread that holds it.
class KZPLATFORM_EXPORT RYP_CAPABILITY("mutex") RWMutexLock {
public:
    RWMutexLock() = default;
    RWMutexLock(const RWMutexLock&) = delete;
    RWMutexLock& operator=(const RWMutexLock&) = delete;

    void acquire() RYP_ACQUIRE() RYP_NO_THREAD_SAFETY_ANALYSIS {
        if (!m_mutex.try_lock()) AcquireTaken();
    }
    void release() RYP_RELEASE() { m_mutex.unlock(); }

    /// Takes the mutex and returns true, or returns false at once if it is taken.
    bool tryAcquire() RYP_TRY_ACQUIRE(true) { return m_mutex.try_lock(); }

    /// Holds the mutex while it lives. Owned by the thread that made it.
    class RYP_SCOPED_CAPABILITY LockGuard {
    public:
        explicit LockGuard(RWMutexLock& lock) RYP_ACQUIRE(lock) : m_lock(lock) { lock.acquire(); }
        /// Takes over a mutex that the thread holds already.
        LockGuard(RWMutexLock& lock, std::adopt_lock_t) RYP_REQUIRES(lock) : m_lock(lock) {}
        ~LockGuard() RYP_RELEASE() { m_lock.release(); }
        LockGuard(const LockGuard&) = delete;
        LockGuard& operator=(const LockGuard&) = delete;

    private:
        RWMutexLock& m_lock;
    };

private:
    friend class RyPCondition;

    void AcquireTaken();

    std::mutex m_mutex;
};

#endif
