#include "ryp/wordlock.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "spin.h"

namespace {

// A lock that is still taken after the spinning is held by a thread that is not running.
constexpr std::chrono::microseconds kShortestSleep{50};
constexpr std::chrono::microseconds kLongestSleep{1000};

/// The thread cannot be cancelled while this lives: locks are acquired in destructors too, which no
/// cancellation may leave. Owned by the thread that made it.
class Uncancelled {
public:
    Uncancelled() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_former); }
    ~Uncancelled() { pthread_setcancelstate(m_former, nullptr); }
    Uncancelled(const Uncancelled&) = delete;
    Uncancelled& operator=(const Uncancelled&) = delete;

private:
    int m_former = PTHREAD_CANCEL_ENABLE;
};

}  // namespace

/// Looks before it writes, which leaves the line with the thread that holds the lock.
bool RyPWordLock::TakeWhereFree() RYP_NO_THREAD_SAFETY_ANALYSIS {
    return !m_isTaken.load(std::memory_order_relaxed) && tryAcquire();
}

void RyPWordLock::AcquireTaken() {
    if (RyPSpin::SpinFor([this] { return TakeWhereFree(); })) return;
    const Uncancelled uncancelled;
    for (auto sleep = kShortestSleep; !TakeWhereFree(); sleep = std::min(2 * sleep, kLongestSleep))
        std::this_thread::sleep_for(sleep);
}
