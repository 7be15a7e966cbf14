#include "ryp/timerobject.h"

#include <gtest/gtest.h>

#include "ryp/clock.h"
#include "ryp/testclock.h"

namespace {

TEST(TimerObject, StartsAtZero) {
    const RyPTestClock clock(1000);
    const RyPTimerObject timer;
    EXPECT_EQ(timer.get(), 0.0);
}

TEST(TimerObject, CountsMilliseconds) {
    RyPTestClock clock(1000);
    const RyPTimerObject timer;
    clock.Advance(0.25);
    EXPECT_EQ(timer.get(), 250.0);
    clock.Advance(2);
    EXPECT_EQ(timer.get(), 2250.0);
}

TEST(TimerObject, KeepsFractionsOfAMillisecond) {
    RyPTestClock clock(0);
    const RyPTimerObject timer;
    clock.Set(0.000001);
    EXPECT_DOUBLE_EQ(timer.get(), 0.001);
    clock.Set(1.234567);
    EXPECT_DOUBLE_EQ(timer.get(), 1234.567);
}

TEST(TimerObject, StartsAnewOnReset) {
    RyPTestClock clock(1000);
    RyPTimerObject timer;
    clock.Advance(3);
    timer.reset();
    EXPECT_EQ(timer.get(), 0.0);
    clock.Advance(0.5);
    EXPECT_EQ(timer.get(), 500.0);
}

TEST(TimerObject, RunsApartFromOtherTimers) {
    RyPTestClock clock(1000);
    const RyPTimerObject first;
    clock.Advance(1);
    const RyPTimerObject second;
    clock.Advance(1);
    EXPECT_EQ(first.get(), 2000.0);
    EXPECT_EQ(second.get(), 1000.0);
}

TEST(TimerObject, CoversARealSleep) {
    const RyPTimerObject timer;
    RyPSleep(0.002);
    EXPECT_GE(timer.get(), 2.0);
}

}  // namespace
