#include "tickclock.h"

#include <gtest/gtest.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr double kMillisecond = 1e6;
constexpr double kSecond = 1e9;

/// A processor with a kernel, both made of variables.
struct FakeProcessor {
    static inline bool isSteady;
    static inline double kernel;  // nanoseconds
    static inline double counter;
    static inline double ticksPerNanosecond;
    static inline double delay;  // between a tick and what is read next, nanoseconds
    static inline int delays;    // so many times
    static inline int readings;  // of the kernel's clock

    static void Reset() {
        isSteady = true;
        kernel = 5 * kSecond;
        counter = 123456789;
        ticksPerNanosecond = 2.5;
        delay = 0;
        delays = 0;
        readings = 0;
    }
    static void Advance(double nanoseconds) {
        kernel += nanoseconds;
        counter += nanoseconds * ticksPerNanosecond;
    }

    static bool IsSteady() { return isSteady; }
    static std::uint64_t Ticks() {
        const auto ticks = static_cast<std::uint64_t>(counter);
        if (delays > 0) {
            --delays;
            Advance(delay);
        }
        return ticks;
    }
    static long long Nanoseconds() {
        ++readings;
        return static_cast<long long>(kernel);
    }
};

using Clock = RyPTickClock<FakeProcessor>;

class TickClock : public testing::Test {
protected:
    TickClock() { FakeProcessor::Reset(); }

    static void LetFollow(Clock& clock) {
        FakeProcessor::Advance(20 * kMillisecond);
        clock.Now();
        ASSERT_TRUE(clock.FollowsTicks());
    }
    static long long Kernel() { return static_cast<long long>(FakeProcessor::kernel); }
    static void ExpectNearKernel(long long time) {
        EXPECT_LE(std::llabs(time - Kernel()), Clock::kMaxErrorNanoseconds);
    }
    static void ExpectOnlyTheKernel(Clock& clock, double step) {
        for (int i = 0; i < 100; ++i) {
            FakeProcessor::Advance(step);
            EXPECT_EQ(clock.Now(), Kernel());
        }
        EXPECT_FALSE(clock.FollowsTicks());
    }
    /// After something that no steady counter does, which became apparent at `seen`.
    static void ExpectOnlyTheKernelAfter(Clock& clock, long long seen) {
        FakeProcessor::Advance(2 * kMillisecond);
        EXPECT_GE(clock.Now(), seen);
        EXPECT_FALSE(clock.FollowsTicks());
        ExpectOnlyTheKernel(clock, 3 * kMillisecond);
    }
};

TEST_F(TickClock, ShowsTheKernelsClockUntilItKnowsTheRate) {
    Clock clock;
    for (int i = 0; i < 9; ++i) {
        EXPECT_EQ(clock.Now(), Kernel());
        EXPECT_FALSE(clock.FollowsTicks());
        FakeProcessor::Advance(kMillisecond);
    }
}

TEST_F(TickClock, FollowsTheCounterOnceItKnowsTheRate) {
    Clock clock;
    LetFollow(clock);
    const int readings = FakeProcessor::readings;
    for (int i = 0; i < 9; ++i) {
        FakeProcessor::Advance(0.1 * kMillisecond);
        ExpectNearKernel(clock.Now());
    }
    EXPECT_EQ(FakeProcessor::readings, readings);
}

TEST_F(TickClock, NeverFollowsACounterThatIsNotSteady) {
    FakeProcessor::isSteady = false;
    Clock clock;
    ExpectOnlyTheKernel(clock, kMillisecond);
}

TEST_F(TickClock, NeverFollowsACounterThatStandsStill) {
    FakeProcessor::ticksPerNanosecond = 0;
    Clock clock;
    ExpectOnlyTheKernel(clock, kMillisecond);
}

TEST_F(TickClock, NeitherDriftsNorRunsBackwardWhileTheKernelSteersItsClock) {
    Clock clock;
    LetFollow(clock);
    std::mt19937 random(11);
    std::uniform_real_distribution<double> pause(0, 2 * kMillisecond);
    std::uniform_real_distribution<double> steering(0.9995, 1.0005);
    long long last = 0;
    for (int i = 0; i < 200000; ++i) {
        if (i % 1000 == 0) FakeProcessor::ticksPerNanosecond = 2.5 * steering(random);
        FakeProcessor::Advance(pause(random));
        const long long now = clock.Now();
        ASSERT_GE(now, last);
        ASSERT_LE(std::llabs(now - Kernel()), Clock::kMaxErrorNanoseconds);
        last = now;
    }
    EXPECT_TRUE(clock.FollowsTicks());
}

TEST_F(TickClock, NeverGathersALeadOverTheKernel) {
    Clock clock;
    LetFollow(clock);
    FakeProcessor::ticksPerNanosecond *= 1.0005;
    for (int i = 0; i < 300000; ++i) {
        FakeProcessor::Advance(0.0001 * kMillisecond);
        ASSERT_LE(std::llabs(clock.Now() - Kernel()), Clock::kMaxErrorNanoseconds);
    }
    EXPECT_TRUE(clock.FollowsTicks());
}

TEST_F(TickClock, IsRightAfterAnHourInWhichNobodyAsked) {
    Clock clock;
    LetFollow(clock);
    FakeProcessor::Advance(3600 * kSecond);
    EXPECT_EQ(clock.Now(), Kernel());
    EXPECT_TRUE(clock.FollowsTicks());
}

TEST_F(TickClock, MakesNothingOfReadingsThatWereInterrupted) {
    Clock clock;
    LetFollow(clock);
    long long last = clock.Now();
    for (int i = 0; i < 100; ++i) {
        FakeProcessor::Advance(2 * kMillisecond);
        FakeProcessor::delay = 5 * kMillisecond;
        FakeProcessor::delays = 10;
        const long long now = clock.Now();
        EXPECT_GE(now, last);
        EXPECT_LE(now, Kernel());
        last = now;
        FakeProcessor::delays = 0;
        ExpectNearKernel(clock.Now());
    }
    EXPECT_TRUE(clock.FollowsTicks());
}

TEST_F(TickClock, MeasuresOnWhereTheFirstReadingWasInterrupted) {
    FakeProcessor::delay = 5 * kMillisecond;
    FakeProcessor::delays = 6;
    Clock clock;
    for (int i = 0; i < 40; ++i) {
        FakeProcessor::Advance(kMillisecond);
        ExpectNearKernel(clock.Now());
    }
    EXPECT_TRUE(clock.FollowsTicks());
}

TEST_F(TickClock, StandsStillForAProcessorWhoseCounterIsALittleBehind) {
    Clock clock;
    LetFollow(clock);
    const long long seen = clock.Now();
    FakeProcessor::counter -= 1000;
    EXPECT_EQ(clock.Now(), seen);
    FakeProcessor::counter += 1000;
    FakeProcessor::Advance(1000);
    EXPECT_GT(clock.Now(), seen);
    EXPECT_TRUE(clock.FollowsTicks());
}

TEST_F(TickClock, LeavesACounterThatWasSetBack) {
    Clock clock;
    LetFollow(clock);
    const long long seen = clock.Now();
    FakeProcessor::counter = 0;
    ExpectOnlyTheKernelAfter(clock, seen);
}

TEST_F(TickClock, LeavesACounterThatWasSetForward) {
    Clock clock;
    LetFollow(clock);
    const long long seen = clock.Now();
    FakeProcessor::counter += 2.5 * kSecond;
    ExpectOnlyTheKernelAfter(clock, seen);
}

TEST_F(TickClock, LeavesACounterThatSpedUp) {
    Clock clock;
    LetFollow(clock);
    FakeProcessor::ticksPerNanosecond = 5;
    FakeProcessor::Advance(0.4 * kMillisecond);
    const long long seen = clock.Now();
    ExpectOnlyTheKernelAfter(clock, seen);
}

TEST_F(TickClock, LeavesACounterThatSlowedDown) {
    Clock clock;
    LetFollow(clock);
    FakeProcessor::ticksPerNanosecond = 1;
    FakeProcessor::Advance(2.4 * kMillisecond);
    const long long seen = clock.Now();
    FakeProcessor::Advance(2.4 * kMillisecond);
    ExpectOnlyTheKernelAfter(clock, seen);
}

TEST_F(TickClock, IsHeldWhereItLedUntilTheKernelHasCaughtUp) {
    Clock clock;
    LetFollow(clock);
    FakeProcessor::ticksPerNanosecond = 5;
    FakeProcessor::Advance(0.49 * kMillisecond);
    const long long ahead = clock.Now();
    ASSERT_GT(ahead, Kernel());
    FakeProcessor::Advance(0.02 * kMillisecond);
    const long long held = clock.Now();
    EXPECT_GE(held, ahead);
    FakeProcessor::Advance(0.1 * kMillisecond);
    EXPECT_EQ(clock.Now(), held);
    FakeProcessor::Advance(kMillisecond);
    EXPECT_EQ(clock.Now(), Kernel());
}

/// The processor that the test runs on.
struct RealProcessor {
    static bool IsSteady() { return true; }
    static std::uint64_t Ticks() {
#ifdef __x86_64__
        return __builtin_ia32_rdtsc();
#else
        return static_cast<std::uint64_t>(Nanoseconds());
#endif
    }
    static long long Nanoseconds() {
        timespec time;
        clock_gettime(CLOCK_MONOTONIC, &time);
        return time.tv_sec * 1000000000LL + time.tv_nsec;
    }
};

TEST(TickClockOfThisMachine, KeepsToTheKernelsClock) {
    RyPTickClock<RealProcessor> clock;
    const long long start = RealProcessor::Nanoseconds();
    while (RealProcessor::Nanoseconds() < start + 50000000) {
        const long long before = RealProcessor::Nanoseconds();
        const long long now = clock.Now();
        const long long after = RealProcessor::Nanoseconds();
        ASSERT_GE(now, before - clock.kMaxErrorNanoseconds);
        ASSERT_LE(now, after + clock.kMaxErrorNanoseconds);
    }
}

TEST(TickClockOfThisMachine, KeepsUpWithWhatAnotherThreadSaw) {
    RyPTickClock<RealProcessor> clock;
    std::atomic<long long> latest{0};
    std::atomic<int> steps{0};
    const auto look = [&] {
        for (const long long end = RealProcessor::Nanoseconds() + 50000000; latest < end;) {
            const long long seen = latest.load();
            const long long now = clock.Now();
            if (now < seen - clock.kMaxErrorNanoseconds) ++steps;
            long long known = seen;
            while (known < now && !latest.compare_exchange_weak(known, now)) {
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) threads.emplace_back(look);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(steps, 0);
}

}  // namespace
