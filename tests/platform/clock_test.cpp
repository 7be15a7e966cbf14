#include "ryp/clock.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <limits>
#include <thread>
#include <vector>

#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"
#include "ryp/testclock.h"
#include "support/clocked_thread.h"
#include "support/concurrently.h"

namespace {

using SteadyClock = std::chrono::steady_clock;

double WallClockNow() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

TEST(Clock, ShowsTheWallClock) {
    EXPECT_NEAR(RyPSysTime(), WallClockNow(), 5.0);
}

TEST(Clock, NeverRunsBackward) {
    double lastSeconds = RyPSysTime();
    long long lastNanoseconds = RyPMonotonicNanoseconds();
    for (int i = 0; i < 10000; ++i) {
        const double seconds = RyPSysTime();
        const long long nanoseconds = RyPMonotonicNanoseconds();
        ASSERT_GE(seconds, lastSeconds);
        ASSERT_GE(nanoseconds, lastNanoseconds);
        lastSeconds = seconds;
        lastNanoseconds = nanoseconds;
    }
}

TEST(Clock, AdvancesByAtLeastTheTimeSlept) {
    const double seconds = RyPSysTime();
    const long long nanoseconds = RyPMonotonicNanoseconds();
    RyPSleep(0.01);
    EXPECT_GE(RyPSysTime() - seconds, 0.01 - 1e-6);  // a double of this size ends at 0.24 us
    EXPECT_GE(RyPMonotonicNanoseconds() - nanoseconds, 10000000LL);
}

TEST(Clock, IsReadByTwoThreadsAtOnce) {
    const double before = RyPSysTime();
    double seen[2] = {0, 0};
    std::thread other([&] { seen[0] = RyPSysTime(); });
    seen[1] = RyPSysTime();
    other.join();
    const double after = RyPSysTime();
    EXPECT_TRUE(before <= seen[0] && seen[0] <= after);
    EXPECT_TRUE(before <= seen[1] && seen[1] <= after);
}

TEST(Sleep, ReturnsAtOnceWhenThereIsNothingToSleep) {
    // On a clock that stands still, anything else would never return.
    const RyPTestClock clock(100);
    RyPSleep(0);
    RyPSleep(-0.0);
    RyPSleep(-5);
    RyPSleep(-std::numeric_limits<double>::infinity());
    RyPSleep(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(RyPSysTime(), 100.0);
}

TEST(Sleep, ReturnsAtOnceWhenThereIsNothingToSleepInRealTime) {
    const auto start = SteadyClock::now();
    RyPSleep(0);
    RyPSleep(-1e9);
    RyPSleep(std::numeric_limits<double>::quiet_NaN());
    EXPECT_LT(SteadyClock::now() - start, std::chrono::minutes(1));
}

std::atomic<int> g_signals{0};
void CountSignal(int) {
    ++g_signals;
}

TEST(Sleep, IsNotShortenedBySignals) {
    struct sigaction action {};
    struct sigaction former {};
    action.sa_handler = CountSignal;  // no SA_RESTART: the signal interrupts
    sigaction(SIGUSR1, &action, &former);
    std::atomic<bool> done = false;
    SteadyClock::duration slept{};
    std::thread sleeper([&] {
        const auto start = SteadyClock::now();
        RyPSleep(0.02);
        slept = SteadyClock::now() - start;
        done = true;
    });
    while (!done) {
        pthread_kill(sleeper.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    sleeper.join();
    sigaction(SIGUSR1, &former, nullptr);
    EXPECT_GT(g_signals, 0);
    EXPECT_GE(slept, std::chrono::milliseconds(20));
}

TEST(TestClock, IsInForceWhileItExists) {
    EXPECT_EQ(RyPTestClock::Current(), nullptr);
    {
        const RyPTestClock clock(12.5);
        EXPECT_EQ(RyPTestClock::Current(), &clock);
        EXPECT_EQ(RyPSysTime(), 12.5);
        EXPECT_EQ(RyPMonotonicNanoseconds(), 12500000000LL);
    }
    EXPECT_EQ(RyPTestClock::Current(), nullptr);
    EXPECT_NEAR(RyPSysTime(), WallClockNow(), 5.0);
}

TEST(TestClock, StandsStillUntilItIsMoved) {
    RyPTestClock clock(100);
    EXPECT_EQ(clock.Now(), 100.0);
    EXPECT_EQ(RyPSysTime(), 100.0);
    EXPECT_EQ(RyPSysTime(), 100.0);
    clock.Advance(0.5);
    EXPECT_EQ(clock.Now(), 100.5);
    EXPECT_EQ(RyPSysTime(), 100.5);
    clock.Set(7);
    EXPECT_EQ(RyPSysTime(), 7.0);
}

TEST(TestClock, MovesBackward) {
    RyPTestClock clock(100);
    clock.Set(40);
    EXPECT_EQ(RyPSysTime(), 40.0);
    EXPECT_EQ(RyPMonotonicNanoseconds(), 40000000000LL);
    clock.Advance(-50);
    EXPECT_EQ(RyPSysTime(), -10.0);
    EXPECT_EQ(RyPMonotonicNanoseconds(), -10000000000LL);
}

/// A thread that sleeps once and notes when it woke.
class Sleeper {
public:
    Sleeper(RyPTestClock& clock, double seconds)
        : m_thread(clock, [this, seconds] {
              RyPSleep(seconds);
              m_wokeAt = RyPSysTime();
          }) {}

    /// 0 while asleep.
    double WokeAt() const { return m_wokeAt; }

private:
    std::atomic<double> m_wokeAt = 0;
    ClockedThread m_thread;
};

TEST(TestClock, WakesASleeperExactlyAtItsTime) {
    RyPTestClock clock(100);
    const Sleeper sleeper(clock, 10);
    clock.WaitForSleepers(1);
    clock.Set(109.999);
    clock.WaitForSleepers(1);
    EXPECT_EQ(sleeper.WokeAt(), 0.0);
    clock.Set(110);
    clock.WaitForSleepers(1);
    EXPECT_EQ(sleeper.WokeAt(), 110.0);
}

TEST(TestClock, MakesASleeperWaitLongerWhenMovedBackward) {
    RyPTestClock clock(100);
    const Sleeper sleeper(clock, 10);
    clock.WaitForSleepers(1);
    clock.Set(50);
    clock.Advance(59);
    clock.WaitForSleepers(1);
    EXPECT_EQ(sleeper.WokeAt(), 0.0);
    clock.Advance(1);
    clock.WaitForSleepers(1);
    EXPECT_EQ(sleeper.WokeAt(), 110.0);
}

TEST(TestClock, WakesOnlySleepersWhoseTimeIsUp) {
    RyPTestClock clock(100);
    const Sleeper early(clock, 1);
    const Sleeper late(clock, 3);
    clock.WaitForSleepers(2);
    clock.Advance(2);
    clock.WaitForSleepers(2);
    EXPECT_EQ(early.WokeAt(), 102.0);
    EXPECT_EQ(late.WokeAt(), 0.0);
    clock.Advance(1);
    clock.WaitForSleepers(2);
    EXPECT_EQ(early.WokeAt(), 102.0);
    EXPECT_EQ(late.WokeAt(), 103.0);
}

TEST(TestClock, WaitsForSleepersUntilTheyHaveNothingLeftToDo) {
    RyPTestClock clock(0);
    int rounds = 0;  // unguarded: whoever saw the thread asleep has seen what it did before
    const ClockedThread worker(clock, [&rounds] {
        while (rounds < 100) {
            RyPSleep(1);
            ++rounds;
        }
    });
    for (int second = 0; second < 100; ++second) {
        clock.WaitForSleepers(1);
        EXPECT_EQ(rounds, second);
        clock.Advance(1);
    }
    clock.WaitForSleepers(1);
    EXPECT_EQ(rounds, 100);
}

TEST(TestClock, TakesNoWaiterWhoseGenerationIsOverForASleeper) {
    // Often, since a clock moved too early may still meet a sleeper that was quick.
    for (int time = 0; time < 20; ++time) {
        RyPTestClock clock(100);
        const unsigned long over = clock.Generation();
        clock.EndGeneration();
        clock.BlockWhile(over);
        const Sleeper sleeper(clock, 10);
        clock.WaitForSleepers(1);
        clock.Set(110);
        clock.WaitForSleepers(1);
        ASSERT_EQ(sleeper.WokeAt(), 110.0);
    }
}

TEST(TestClock, WaitsForNoSleepersWithoutBlocking) {
    RyPTestClock clock(100);
    clock.WaitForSleepers(0);
    EXPECT_EQ(clock.Now(), 100.0);
}

TEST(TestClock, LosesNoAdvanceMadeByTwoThreads) {
    RyPTestClock clock(0);
    ConcurrentlyTimes(2, [&clock] {
        for (int i = 0; i < 100000; ++i) clock.Advance(1);
    });
    EXPECT_EQ(clock.Now(), 200000.0);
}

TEST(TestClock, IsReadWhileAnotherThreadMovesIt) {
    RyPTestClock clock(0);
    std::thread mover([&clock] {
        for (int second = 1; second <= 2000; ++second) clock.Set(second);
    });
    double last = 0;
    while (last < 2000) {
        const double now = RyPSysTime();
        ASSERT_GE(now, last);
        last = now;
    }
    mover.join();
    EXPECT_EQ(RyPSysTime(), 2000.0);
}

/// What a thread waits for by a condition.
struct Flag {
    RWMutexLock mutex;
    RyPCondition changed;
    bool isUp RYP_GUARDED_BY(mutex) = false;

    void Raise() {
        {
            const RWMutexLock::LockGuard guard(mutex);
            isUp = true;
        }
        changed.NotifyAll();
    }

    void Await() {
        const RWMutexLock::LockGuard guard(mutex);
        while (!isUp) changed.Wait(mutex);
    }

    /// False when the time was up first.
    bool Await(const RyPDeadline& deadline) {
        const RWMutexLock::LockGuard guard(mutex);
        bool inTime = true;
        while (!isUp && inTime) inTime = changed.WaitUntil(mutex, deadline);
        return isUp;
    }
};

TEST(Condition, WakesEveryWaiter) {
    Flag flag;
    std::atomic<int> woken = 0;
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            flag.Await();
            ++woken;
        });
    flag.Raise();
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(woken, 3);
}

TEST(Condition, WakesEveryTimedWaiter) {
    Flag flag;
    std::atomic<int> woken = 0;
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            if (flag.Await(RyPDeadline(100000000))) ++woken;
        });
    flag.Raise();
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(woken, 3);
}

TEST(Condition, WakesEveryTimedWaiterOnAStandingTestClock) {
    RyPTestClock clock(100);
    Flag flag;
    std::atomic<int> woken = 0;
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.emplace_back([&] {
            if (flag.Await(RyPDeadline(1000))) ++woken;
        });
    clock.WaitForSleepers(3);
    flag.Raise();
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(woken, 3);
    EXPECT_EQ(clock.Now(), 100.0);
}

TEST(Condition, GivesUpOnceTheDeadlineHasPassed) {
    Flag flag;
    EXPECT_FALSE(flag.Await(RyPDeadline(0)));
    EXPECT_FALSE(flag.Await(RyPDeadline(-1000)));
    const auto start = SteadyClock::now();
    EXPECT_FALSE(flag.Await(RyPDeadline(2)));
    EXPECT_GE(SteadyClock::now() - start, std::chrono::milliseconds(2));
}

TEST(Condition, GivesUpExactlyAtTheDeadlineOnTheTestClock) {
    RyPTestClock clock(100);
    Flag flag;
    std::atomic<double> gaveUpAt = 0;
    const ClockedThread waiter(clock, [&] {
        flag.Await(RyPDeadline(500));
        gaveUpAt = RyPSysTime();
    });
    clock.WaitForSleepers(1);
    clock.Set(100.499);
    clock.WaitForSleepers(1);
    EXPECT_EQ(gaveUpAt, 0.0);
    clock.Set(100.5);
    clock.WaitForSleepers(1);
    EXPECT_EQ(gaveUpAt, 100.5);
}

TEST(Condition, HoldsTheMutexAgainAfterAWaitThatTimedOut) {
    RyPTestClock clock(100);
    Flag flag;
    const RWMutexLock::LockGuard guard(flag.mutex);
    EXPECT_FALSE(flag.changed.WaitUntil(flag.mutex, RyPDeadline(0)));
    bool taken = true;
    std::thread other([&]() RYP_NO_THREAD_SAFETY_ANALYSIS { taken = flag.mutex.tryAcquire(); });
    other.join();
    EXPECT_FALSE(taken);
}

TEST(Condition, TakesTheLongestTimeForOneThatNeverEnds) {
    RWMutexLock mutex;
    RyPCondition changed;
    bool isUp = false;
    bool inTime = true;
    std::thread raiser;
    {
        const RWMutexLock::LockGuard guard(mutex);
        // The raiser gets the mutex only once the wait has given it up.
        raiser = std::thread([&] {
            const RWMutexLock::LockGuard raiserGuard(mutex);
            isUp = true;
            changed.NotifyAll();
        });
        while (!isUp && inTime) inTime = changed.WaitUntil(mutex, RyPDeadline(LONG_MAX));
    }
    raiser.join();
    EXPECT_TRUE(inTime);
}

/// Two threads hand the turn to each other and count under it.
int PlayPingPong(int rounds) {
    RWMutexLock mutex;
    RyPCondition turned;
    int turn = 0;
    int counted = 0;
    const auto play = [&](int self) {
        for (int round = 0; round < rounds; ++round) {
            const RWMutexLock::LockGuard guard(mutex);
            while (turn != self) turned.WaitUntil(mutex, RyPDeadline(100000000));
            ++counted;
            turn = 1 - self;
            turned.NotifyAll();
        }
    };
    std::thread other(play, 1);
    play(0);
    other.join();
    return counted;
}

TEST(Condition, LosesNoNotification) {
    EXPECT_EQ(PlayPingPong(500), 1000);
}

TEST(Condition, LosesNoNotificationOnAStandingTestClock) {
    const RyPTestClock clock(100);
    EXPECT_EQ(PlayPingPong(500), 1000);
}

}  // namespace
