#include "ryp/testclock.h"

std::atomic<RyPTestClock*> RyPTestClock::s_current{nullptr};

RyPTestClock::RyPTestClock(double now) : m_now(now) {
    s_current.store(this, std::memory_order_release);
}

RyPTestClock::~RyPTestClock() {
    s_current.store(nullptr, std::memory_order_release);
}

void RyPTestClock::Set(double now) {
    m_now.store(now, std::memory_order_release);
    EndGeneration();
}

void RyPTestClock::Advance(double seconds) {
    m_now.fetch_add(seconds, std::memory_order_acq_rel);  // keeps what others add meanwhile
    EndGeneration();
}

void RyPTestClock::UseProcessors(double seconds) {
    m_processorSeconds.fetch_add(seconds);
}

void RyPTestClock::WaitForSleepers(int count) {
    const RWMutexLock::LockGuard guard(m_mutex);
    while (m_sleepers < count) m_sleeperArrived.Wait(m_mutex);
}

unsigned long RyPTestClock::Generation() {
    const RWMutexLock::LockGuard guard(m_mutex);
    return m_generation;
}

void RyPTestClock::BlockWhile(unsigned long generation) {
    const RWMutexLock::LockGuard guard(m_mutex);
    if (m_generation != generation) return;
    ++m_sleepers;
    m_sleeperArrived.WakeWaiters();
    while (m_generation == generation) m_generationEnded.Wait(m_mutex);
}

void RyPTestClock::EndGeneration() {
    const RWMutexLock::LockGuard guard(m_mutex);
    ++m_generation;
    // Counted out here and not by the woken threads, so that WaitForSleepers cannot take a thread
    // that is about to run for one that is asleep.
    m_sleepers = 0;
    m_generationEnded.WakeWaiters();
}
