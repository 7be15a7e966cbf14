#include "ryp/condition.h"

#include <chrono>
#include <limits>
#include <mutex>

#include "ryp/testclock.h"

namespace {

/// The native lock of a mutex that the caller already holds and goes on holding.
class BorrowedLock {
public:
    explicit BorrowedLock(std::mutex& mutex) : lock(mutex, std::adopt_lock) {}
    ~BorrowedLock() { lock.release(); }
    BorrowedLock(const BorrowedLock&) = delete;
    BorrowedLock& operator=(const BorrowedLock&) = delete;

    std::unique_lock<std::mutex> lock;
};

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr auto kNever = steady_clock::time_point::max();

steady_clock::time_point RealTimeIn(long span) {
    const auto now = steady_clock::now();
    if (span <= 0) return now;
    const auto longest = std::chrono::duration_cast<milliseconds>(kNever - now);
    return span < longest.count() ? now + milliseconds(span) : kNever;
}

}  // namespace

RyPDeadline::RyPDeadline(long milliseconds) : m_realTime(RealTimeIn(milliseconds)), m_testTime(0) {
    if (const RyPTestClock* const clock = RyPTestClock::Current())
        m_testTime = clock->Now() + static_cast<double>(milliseconds) / 1000.0;
}

RyPDeadline::RyPDeadline(std::chrono::steady_clock::time_point realTime, double testTime)
    : m_realTime(realTime), m_testTime(testTime) {}

RyPDeadline RyPDeadline::Never() {
    return {kNever, std::numeric_limits<double>::infinity()};
}

RyPCondition::RyPCondition() = default;

void RyPCondition::Wait(RWMutexLock& mutex) {
    BorrowedLock borrowed(mutex.m_mutex);
    m_condition.wait(borrowed.lock);
}

bool RyPCondition::WaitUntil(RWMutexLock& mutex, const RyPDeadline& deadline) {
    RyPTestClock* const clock = RyPTestClock::Current();
    if (clock == nullptr) {
        // Not every system's time reaches as far as the clock's type.
        if (deadline.m_realTime == kNever) {
            Wait(mutex);
            return true;
        }
        BorrowedLock borrowed(mutex.m_mutex);
        return m_condition.wait_until(borrowed.lock, deadline.m_realTime) !=
               std::cv_status::timeout;
    }
    // Taken while the mutex is still held: a change made after this ends the generation.
    const unsigned long generation = clock->Generation();
    if (clock->Now() >= deadline.m_testTime) return false;
    mutex.release();
    clock->BlockWhile(generation);
    mutex.acquire();
    return true;
}

void RyPCondition::NotifyAll() {
    WakeWaiters();
    if (RyPTestClock* const clock = RyPTestClock::Current()) clock->EndGeneration();
}
