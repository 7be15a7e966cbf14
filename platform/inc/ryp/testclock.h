#ifndef RYP_TESTCLOCK_H
#define RYP_TESTCLOCK_H

#include <atomic>

#include "kzplatform_export.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"

/// A process clock that stands still until a test moves it. While an instance exists, `RyPSysTime`,
/// `RyPMonotonicNanoseconds`, `RyPSleep`, timed waits and timers run on it, so that a test reaches
/// any moment exactly and without sleeping. It also tells what the process uses of the machine.
///
/// Safe for concurrent use. At most one instance exists at a time; it is made before the threads
/// that sleep on it start and destroyed after they have ended.
class KZPLATFORM_EXPORT RyPTestClock {
public:
    /// The clock starts at `now` seconds.
    explicit RyPTestClock(double now);
    ~RyPTestClock();
    RyPTestClock(const RyPTestClock&) = delete;
    RyPTestClock& operator=(const RyPTestClock&) = delete;

    double Now() const { return m_now.load(std::memory_order_acquire); }

    /// The machine of the test: the process has so many processors, and has used so many seconds of
    /// them.
    static constexpr double kProcessors = 4;
    double UsedProcessorSeconds() const { return m_processorSeconds.load(); }
    void UseProcessors(double seconds) { m_processorSeconds.fetch_add(seconds); }

    /// Moves the clock to `now`, also backwards, and wakes every sleeper whose time is up.
    void Set(double now);
    void Advance(double seconds);

    /// Blocks (in real time) until `count` threads are asleep on this clock and none of them is due
    /// to wake at its present time.
    void WaitForSleepers(int count);

    /// The existing instance, or null if the process runs on real time.
    static RyPTestClock* Current() { return s_current.load(std::memory_order_acquire); }

    /// For the platform's waits: a change of the clock or of a condition ends the generation. A
    /// waiter reads the generation, tests its condition, and blocks until that generation ends.
    unsigned long Generation();
    void BlockWhile(unsigned long generation);
    void EndGeneration();

private:
    static std::atomic<RyPTestClock*> s_current;

    std::atomic<double> m_now;
    std::atomic<double> m_processorSeconds{0};
    RWMutexLock m_mutex;
    RyPCondition m_generationEnded;
    RyPCondition m_sleeperArrived;
    unsigned long m_generation RYP_GUARDED_BY(m_mutex) = 0;
    int m_sleepers RYP_GUARDED_BY(m_mutex) = 0;  // threads blocked on this generation
};

#endif
