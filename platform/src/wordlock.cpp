#include "ryp/wordlock.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "spin.h"

namespace {

// A lock that is still taken after the spinning is held by a thread that is not running.
constexpr std::chrono::microseconds kShortestSleep{50};
constexpr std::chrono::microseconds kLongestSleep{1000};

}  // namespace

/// Looks before it writes, which leaves the line with the thread that holds the lock.
bool RyPWordLock::TakeWhereFree() RYP_NO_THREAD_SAFETY_ANALYSIS {
    return !m_isTaken.load(std::memory_order_relaxed) && tryAcquire();
}

void RyPWordLock::AcquireTaken() {
    if (RyPSpin::SpinFor([this] { return TakeWhereFree(); })) return;
    for (auto sleep = kShortestSleep; !TakeWhereFree(); sleep = std::min(2 * sleep, kLongestSleep))
        std::this_thread::sleep_for(sleep);
}
