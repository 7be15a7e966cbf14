#ifndef KZ_RW_RECURSIVE_H
#define KZ_RW_RECURSIVE_H

#include <atomic>
#include <thread>

#include "ryp/annotations.h"

/// A recursive lock: its holder may acquire it again, and must release it as often. `Resource` is
/// the plain lock underneath. Safe for concurrent use.
template <class Resource>
class RYP_CAPABILITY("mutex") RWTRecursiveLock {
public:
    RWTRecursiveLock() = default;
    RWTRecursiveLock(const RWTRecursiveLock&) = delete;
    RWTRecursiveLock& operator=(const RWTRecursiveLock&) = delete;

    void acquire() RYP_ACQUIRE() RYP_NO_THREAD_SAFETY_ANALYSIS {
        if (!IsMine()) {
            m_resource.acquire();
            BecomeMine();
        }
        ++m_depth;
    }

    void release() RYP_RELEASE() RYP_NO_THREAD_SAFETY_ANALYSIS {
        if (--m_depth > 0) return;
        m_owner.store(std::thread::id(), std::memory_order_relaxed);
        m_resource.release();
    }

    /// Takes the lock and returns true, or returns false at once if another thread holds it.
    bool tryAcquire() RYP_TRY_ACQUIRE(true) RYP_NO_THREAD_SAFETY_ANALYSIS {
        if (!IsMine()) {
            if (!m_resource.tryAcquire()) return false;
            BecomeMine();
        }
        ++m_depth;
        return true;
    }

    /// Holds the lock while it lives. Owned by the thread that made it.
    class RYP_SCOPED_CAPABILITY LockGuard {
    public:
        explicit LockGuard(RWTRecursiveLock& lock) RYP_ACQUIRE(lock) : m_lock(lock) {
            lock.acquire();
        }
        ~LockGuard() RYP_RELEASE() { m_lock.release(); }
        LockGuard(const LockGuard&) = delete;
        LockGuard& operator=(const LockGuard&) = delete;

    private:
        RWTRecursiveLock& m_lock;
    };

private:
    // Relaxed is enough: only the owner stores its own id, so a thread that reads its own id wrote
    // it itself; on any other value it acquires the resource.
    bool IsMine() const {
        return m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id();
    }
    void BecomeMine() { m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed); }

    Resource m_resource;
    std::atomic<std::thread::id> m_owner{std::thread::id()};
    int m_depth RYP_GUARDED_BY(m_resource) = 0;
};

#endif
