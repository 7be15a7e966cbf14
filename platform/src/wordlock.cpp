#include "ryp/wordlock.h"

#include "spin.h"

void RyPWordLock::AcquireTaken() RYP_NO_THREAD_SAFETY_ANALYSIS {
    // Looks before it writes, which leaves the line with the thread that holds the lock.
    const auto takeWhereFree = [this] {
        return m_state.load(std::memory_order_relaxed) == kFree && tryAcquire();
    };
    if (RyPSpin::SpinFor(takeWhereFree)) return;
    while (m_state.exchange(kWaitedFor) != kFree) m_state.wait(kWaitedFor);
}

void RyPWordLock::WakeOne() {
    m_state.notify_one();
}
