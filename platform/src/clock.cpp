#include "ryp/clock.h"

#include <time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <string>

#include "ryp/testclock.h"
#include "ryp/truncate.h"
#include "tickclock.h"

namespace {

constexpr double kNanosecondsPerSecond = 1e9;

long long RealMonotonicNanoseconds() {
    constexpr long long kNanoseconds = 1000000000;
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * kNanoseconds + time.tv_nsec;
}

double WallClockSeconds() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

double SecondsOf(long long nanoseconds) {
    return static_cast<double>(nanoseconds) * 1e-9;
}

struct Processor {
    static long long Nanoseconds() { return RealMonotonicNanoseconds(); }
#ifdef __x86_64__
    static std::uint64_t Ticks() {
        return __builtin_ia32_rdtsc();
    }
    /// The kernel has found the counter the same on all processors, and neither stopped by sleep
    /// nor changed with their frequency.
    static bool IsSteady() {
        std::ifstream source("/sys/devices/system/clocksource/clocksource0/current_clocksource");
        std::string name;
        return std::getline(source, name) && name == "tsc";
    }
#else
    static std::uint64_t Ticks() {
        return 0;
    }
    static bool IsSteady() {
        return false;
    }
#endif
};

struct ProcessClock {
    RyPTickClock<Processor> ticks;
    /// What the wall clock shows when the monotonic clock shows 0.
    double origin = WallClockSeconds() - SecondsOf(RealMonotonicNanoseconds());
};

ProcessClock& TheClock() {
    static ProcessClock clock;
    return clock;
}

/// Made at load time, so that the origin is that of the process start.
[[maybe_unused]] const ProcessClock& g_clockAtLoad = TheClock();

/// The moment of the monotonic clock that many seconds from now.
timespec MonotonicTimeIn(double seconds) {
    constexpr long kNanoseconds = 1000000000;
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    const double whole = std::floor(seconds);
    time.tv_nsec += RyPTruncate<long>((seconds - whole) * kNanosecondsPerSecond);
    const time_t carry = time.tv_nsec >= kNanoseconds ? 1 : 0;
    time.tv_nsec -= carry * kNanoseconds;
    // A span past the range of the clock ends where the clock does.
    const time_t latest = std::numeric_limits<time_t>::max();
    const time_t room = latest - time.tv_sec - carry;
    time.tv_sec = std::min(RyPTruncate<time_t>(whole), room) + time.tv_sec + carry;
    return time;
}

void SleepOnTestClock(RyPTestClock& clock, double seconds) {
    const double deadline = clock.Now() + seconds;
    for (;;) {
        const unsigned long generation = clock.Generation();
        if (clock.Now() >= deadline) return;
        clock.BlockWhile(generation);
    }
}

}  // namespace

double RyPSysTime() {
    if (const RyPTestClock* const clock = RyPTestClock::Current()) return clock->Now();
    ProcessClock& clock = TheClock();
    return clock.origin + SecondsOf(clock.ticks.Now());
}

long long RyPMonotonicNanoseconds() {
    if (const RyPTestClock* const clock = RyPTestClock::Current())
        return RyPTruncate<long long>(std::round(clock->Now() * kNanosecondsPerSecond));
    return RealMonotonicNanoseconds();
}

void RyPSleep(double seconds) {
    if (!(seconds > 0)) return;
    if (RyPTestClock* const clock = RyPTestClock::Current()) {
        SleepOnTestClock(*clock, seconds);
        return;
    }
    // To a moment and not for a span: a thread that signals interrupt all the time would begin the
    // rest of its span over and over and never come to its end.
    const timespec end = MonotonicTimeIn(seconds);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}
