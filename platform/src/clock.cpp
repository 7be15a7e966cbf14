#include "ryp/clock.h"

#include <time.h>

#include <cerrno>
#include <chrono>
#include <cmath>

#include "ryp/testclock.h"
#include "ryp/truncate.h"

namespace {

constexpr double kNanosecondsPerSecond = 1e9;

long long RealMonotonicNanoseconds() {
    using std::chrono::nanoseconds;
    using std::chrono::steady_clock;
    return std::chrono::duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count();
}

double WallClockSeconds() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

double RealMonotonicSeconds() {
    return static_cast<double>(RealMonotonicNanoseconds()) / kNanosecondsPerSecond;
}

/// What the wall clock shows when the monotonic clock shows 0, fixed at the first call.
double WallClockOrigin() {
    static const double origin = WallClockSeconds() - RealMonotonicSeconds();
    return origin;
}

/// Makes the first call at load time, so that the origin is that of the process start.
[[maybe_unused]] const double g_originAtLoad = WallClockOrigin();

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
    return WallClockOrigin() + RealMonotonicSeconds();
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
    const double whole = std::floor(seconds);
    timespec rest{};
    rest.tv_sec = RyPTruncate<time_t>(whole);
    rest.tv_nsec = RyPTruncate<long>((seconds - whole) * kNanosecondsPerSecond);
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
        // A signal ended the sleep early; `rest` holds what is left of it.
    }
}
