#ifndef RYP_CONDITION_H
#define RYP_CONDITION_H

#include <chrono>
#include <condition_variable>

#include "kzplatform_export.h"
#include "rw/mutex.h"

/// The moment at which a timed wait ends, on the process clock. Compatible.
class KZPLATFORM_EXPORT RyPDeadline {
public:
    /// `milliseconds` from now.
    explicit RyPDeadline(long milliseconds);
    /// A deadline that never passes.
    static RyPDeadline Never();

private:
    friend class RyPCondition;
    RyPDeadline(std::chrono::steady_clock::time_point realTime, double testTime);

    std::chrono::steady_clock::time_point m_realTime;
    double m_testTime;
};

/// A condition variable whose timed waits run on the process clock. Safe for concurrent use.
///
/// Waits may wake spuriously: call them in a loop that tests the condition. Change the condition
/// under the mutex, then notify.
class KZPLATFORM_EXPORT RyPCondition {
public:
    RyPCondition();
    RyPCondition(const RyPCondition&) = delete;
    RyPCondition& operator=(const RyPCondition&) = delete;

    void Wait(RWMutexLock& mutex) RYP_REQUIRES(mutex);

    /// Returns false once the deadline has passed.
    bool WaitUntil(RWMutexLock& mutex, const RyPDeadline& deadline) RYP_REQUIRES(mutex);

    void NotifyAll();

private:
    friend class RyPTestClock;
    void WakeWaiters() { m_condition.notify_all(); }

    std::condition_variable m_condition;
};

#endif
