#include "ryp/manualevent.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ryp/testclock.h"

namespace {

TEST(ManualEvent, StartsReset) {
    const RyPManualEvent event;
    EXPECT_FALSE(event.isSignalled());
}

TEST(ManualEvent, StaysAsItWasLastPut) {
    RyPManualEvent event;
    event.signal();
    event.signal();
    EXPECT_TRUE(event.isSignalled());
    event.reset();
    EXPECT_FALSE(event.isSignalled());
    event.signal();
    EXPECT_TRUE(event.isSignalled());
}

TEST(ManualEvent, LetsWaitersPassAtOnceWhileSignalled) {
    RyPManualEvent event;
    event.signal();
    event.wait();
    event.wait();
    EXPECT_TRUE(event.isSignalled());
}

TEST(ManualEvent, WakesEveryWaiter) {
    RyPManualEvent event;
    std::atomic<int> begun = 0;
    std::atomic<int> passed = 0;
    std::vector<std::thread> waiters;
    for (int i = 0; i < 4; ++i)
        waiters.emplace_back([&] {
            ++begun;
            event.wait();
            ++passed;
        });
    while (begun < 4) std::this_thread::yield();
    EXPECT_EQ(passed, 0);
    event.signal();
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(passed, 4);
}

/// Whether that thread of this process is blocked.
bool IsAsleep(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string status;
    std::getline(file, status);
    const std::size_t endOfName = status.rfind(") ");
    return endOfName != std::string::npos && status[endOfName + 2] == 'S';
}

TEST(ManualEvent, ReleasesWhoWaitedAtTheSignalThoughItIsResetAtOnce) {
    RyPManualEvent event;
    std::atomic<pid_t> waiting = 0;
    std::atomic<bool> passed = false;
    std::thread waiter([&] {
        waiting = gettid();
        event.wait();
        passed = true;
    });
    while (waiting == 0 || !IsAsleep(waiting)) std::this_thread::yield();
    event.signal();
    event.reset();
    while (!passed && !IsAsleep(waiting)) std::this_thread::yield();
    EXPECT_TRUE(passed);
    EXPECT_FALSE(event.isSignalled());
    event.signal();  // lets the test end in any case
    waiter.join();
}

TEST(ManualEvent, WakesWaitersOnAStandingTestClock) {
    const RyPTestClock clock(1000);
    RyPManualEvent event;
    std::thread waiter([&] { event.wait(); });
    event.signal();
    waiter.join();
    EXPECT_TRUE(event.isSignalled());
}

TEST(ManualEvent, PassesOnWhatWasWrittenBeforeTheSignal) {
    for (int round = 0; round < 200; ++round) {
        RyPManualEvent event;
        int payload = 0;
        std::thread writer([&] {
            payload = 42;
            event.signal();
        });
        event.wait();
        EXPECT_EQ(payload, 42);
        writer.join();
    }
}

TEST(ManualEvent, MayBeDestroyedByTheThreadThatItWoke) {
    for (int round = 0; round < 200; ++round) {
        auto* const event = new RyPManualEvent;
        std::thread signaller([event] { event->signal(); });
        event->wait();
        delete event;
        signaller.join();
    }
}

TEST(ManualEvent, SurvivesSignalsAndResetsFromSeveralThreads) {
    RyPManualEvent event;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round) {
                event.reset();
                event.signal();
                event.isSignalled();
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(event.isSignalled());
    event.wait();
}

TEST(ManualEventSetGuard, ResetsAtTheBeginningAndSignalsAtTheEnd) {
    RyPManualEvent event;
    event.signal();
    {
        const RyPManualEvent::SetGuard guard(event);
        EXPECT_FALSE(event.isSignalled());
    }
    EXPECT_TRUE(event.isSignalled());
}

TEST(ManualEventSetGuard, SignalsWhenAnExceptionEndsTheScope) {
    RyPManualEvent event;
    try {
        const RyPManualEvent::SetGuard guard(event);
        throw std::runtime_error("ends the scope");
    } catch (const std::runtime_error&) {
    }
    EXPECT_TRUE(event.isSignalled());
}

TEST(ManualEventSetGuard, HoldsWaitersBackUntilTheWorkIsDone) {
    RyPManualEvent event;
    event.signal();
    std::atomic<bool> done = false;
    bool seen = false;
    std::thread waiter;
    {
        const RyPManualEvent::SetGuard guard(event);
        waiter = std::thread([&] {
            event.wait();
            seen = done;
        });
        done = true;
    }
    waiter.join();
    EXPECT_TRUE(seen);
}

}  // namespace
