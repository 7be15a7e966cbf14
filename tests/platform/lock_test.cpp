#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include "rw/mutex.h"
#include "rw/recursive.h"
#include "ryp/annotations.h"
#include "ryp/wordlock.h"

namespace {

using RecursiveLock = RWTRecursiveLock<RWMutexLock>;

// The tests take and release in patterns that the static analysis is there to forbid.
template <class Lock>
void Acquire(Lock& lock) RYP_NO_THREAD_SAFETY_ANALYSIS {
    lock.acquire();
}
template <class Lock>
void Release(Lock& lock) RYP_NO_THREAD_SAFETY_ANALYSIS {
    lock.release();
}
template <class Lock>
bool TryAcquire(Lock& lock) RYP_NO_THREAD_SAFETY_ANALYSIS {
    return lock.tryAcquire();
}

/// Whether another thread gets the lock at this moment; it gives it back.
template <class Lock>
bool IsFreeForAnother(Lock& lock) {
    bool taken = false;
    std::thread other([&] {
        taken = TryAcquire(lock);
        if (taken) Release(lock);
    });
    other.join();
    return taken;
}

template <class Lock>
class AnyLock : public testing::Test {
protected:
    Lock m_lock;
};
using Locks = testing::Types<RWMutexLock, RyPWordLock, RecursiveLock>;
TYPED_TEST_SUITE(AnyLock, Locks);

TYPED_TEST(AnyLock, IsFreeAtFirst) {
    EXPECT_TRUE(IsFreeForAnother(this->m_lock));
}

TYPED_TEST(AnyLock, KeepsOthersOutUntilReleased) {
    Acquire(this->m_lock);
    EXPECT_FALSE(IsFreeForAnother(this->m_lock));
    Release(this->m_lock);
    EXPECT_TRUE(IsFreeForAnother(this->m_lock));
}

TYPED_TEST(AnyLock, IsHeldAfterTryAcquire) {
    EXPECT_TRUE(TryAcquire(this->m_lock));
    EXPECT_FALSE(IsFreeForAnother(this->m_lock));
    Release(this->m_lock);
    EXPECT_TRUE(IsFreeForAnother(this->m_lock));
}

TYPED_TEST(AnyLock, IsHeldWhileAGuardLives) {
    {
        const typename TypeParam::LockGuard guard(this->m_lock);
        EXPECT_FALSE(IsFreeForAnother(this->m_lock));
    }
    EXPECT_TRUE(IsFreeForAnother(this->m_lock));
}

TYPED_TEST(AnyLock, IsReleasedWhenAnExceptionEndsTheScopeOfAGuard) {
    try {
        const typename TypeParam::LockGuard guard(this->m_lock);
        throw std::runtime_error("ends the scope");
    } catch (const std::runtime_error&) {
    }
    EXPECT_TRUE(IsFreeForAnother(this->m_lock));
}

TYPED_TEST(AnyLock, LetsOneThreadInAtATime) {
    int unguarded = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 1000; ++round) {
                const typename TypeParam::LockGuard guard(this->m_lock);
                ++unguarded;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(unguarded, 4000);
}

TYPED_TEST(AnyLock, LetsOneThreadInAtATimeByTryAcquire) {
    int unguarded = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                while (!TryAcquire(this->m_lock)) std::this_thread::yield();
                ++unguarded;
                Release(this->m_lock);
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(unguarded, 900);
}

TYPED_TEST(AnyLock, LetsAWaitingThreadInAfterTheRelease) {
    Acquire(this->m_lock);
    std::atomic<bool> inside = false;
    std::atomic<bool> begun = false;
    std::thread waiter([&] {
        begun = true;
        Acquire(this->m_lock);
        inside = true;
        Release(this->m_lock);
    });
    while (!begun) std::this_thread::yield();
    EXPECT_FALSE(inside);
    Release(this->m_lock);
    waiter.join();
    EXPECT_TRUE(inside);
}

/// The holder gives its processor away, so that the others spin in vain and block.
TYPED_TEST(AnyLock, LetsEveryThreadInThatBlocked) {
    int unguarded = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                const typename TypeParam::LockGuard guard(this->m_lock);
                std::this_thread::sleep_for(std::chrono::microseconds(20));
                ++unguarded;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(unguarded, 400);
}

void* AcquireAndRelease(void* lock) {
    Acquire(*static_cast<RyPWordLock*>(lock));
    Release(*static_cast<RyPWordLock*>(lock));
    return nullptr;
}

TEST(WordLock, IsWaitedForByAThreadThatIsCancelled) {
    RyPWordLock lock;
    Acquire(lock);
    pthread_t waiter;
    ASSERT_EQ(pthread_create(&waiter, nullptr, AcquireAndRelease, &lock), 0);
    pthread_cancel(waiter);
    for (int turn = 0; turn < 10000; ++turn) std::this_thread::yield();
    Release(lock);
    void* result = nullptr;
    pthread_join(waiter, &result);
    EXPECT_EQ(result, nullptr);
    EXPECT_TRUE(IsFreeForAnother(lock));
}

TEST(RecursiveLock, IsFreeOnceReleasedAsOftenAsAcquired) {
    RecursiveLock lock;
    for (int depth = 0; depth < 3; ++depth) Acquire(lock);
    for (int depth = 0; depth < 2; ++depth) {
        Release(lock);
        EXPECT_FALSE(IsFreeForAnother(lock));
    }
    Release(lock);
    EXPECT_TRUE(IsFreeForAnother(lock));
}

TEST(RecursiveLock, IsTakenAgainByTryAcquireOfItsHolder) {
    RecursiveLock lock;
    Acquire(lock);
    EXPECT_TRUE(TryAcquire(lock));
    Release(lock);
    EXPECT_FALSE(IsFreeForAnother(lock));
    Release(lock);
    EXPECT_TRUE(IsFreeForAnother(lock));
}

TEST(RecursiveLock, IsTakenAgainByNestedGuards) {
    RecursiveLock lock;
    Acquire(lock);
    {
        const RecursiveLock::LockGuard inner(lock);
        EXPECT_FALSE(IsFreeForAnother(lock));
    }
    EXPECT_FALSE(IsFreeForAnother(lock));
    Release(lock);
    EXPECT_TRUE(IsFreeForAnother(lock));
}

TEST(RecursiveLock, LetsOneThreadInAtATimeWhenNested) {
    RecursiveLock lock;
    int unguarded = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round) {
                Acquire(lock);
                ++unguarded;
                Acquire(lock);
                ++unguarded;
                Release(lock);
                ++unguarded;
                Release(lock);
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(unguarded, 6000);
}

TEST(RecursiveLock, FailsToTryAgainstAHolderOnAnotherThreadThatNested) {
    RecursiveLock lock;
    std::atomic<bool> held = false;
    std::atomic<bool> leave = false;
    std::thread holder([&] {
        Acquire(lock);
        Acquire(lock);
        held = true;
        while (!leave) std::this_thread::yield();
        Release(lock);
        Release(lock);
    });
    while (!held) std::this_thread::yield();
    EXPECT_FALSE(TryAcquire(lock));
    leave = true;
    holder.join();
    EXPECT_TRUE(IsFreeForAnother(lock));
}

}  // namespace
