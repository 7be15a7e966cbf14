#ifndef KZ_TESTS_SUPPORT_CLOCKED_THREAD_H
#define KZ_TESTS_SUPPORT_CLOCKED_THREAD_H

#include <atomic>
#include <thread>
#include <utility>

#include "ryp/clock.h"
#include "ryp/testclock.h"

/// A thread that does its work and then sleeps on the test clock until the end of this object. So
/// it counts as a sleeper whether it is still waiting for something or through: a test that waits
/// for sleepers sees the work either undone or done, never half done, and never hangs.
class ClockedThread {
public:
    template <class Work>
    ClockedThread(RyPTestClock& clock, Work work)
        : m_clock(clock), m_thread([this, doWork = std::move(work)] {
              doWork();
              RyPSleep(kRest);
              m_isThrough = true;
          }) {}

    /// Moves the clock far enough for the thread to end.
    ~ClockedThread() {
        while (!m_isThrough) {
            m_clock.Advance(kRest);
            std::this_thread::yield();
        }
        m_thread.join();
    }
    ClockedThread(const ClockedThread&) = delete;
    ClockedThread& operator=(const ClockedThread&) = delete;

private:
    static constexpr double kRest = 1e6;  // seconds; longer than any test lasts on its clock

    RyPTestClock& m_clock;
    std::atomic<bool> m_isThrough = false;
    std::thread m_thread;
};

#endif
