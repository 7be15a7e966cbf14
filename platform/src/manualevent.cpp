#include "ryp/manualevent.h"

RyPManualEvent::RyPManualEvent() = default;

void RyPManualEvent::signal() {
    const RWMutexLock::LockGuard guard(m_mutex);
    m_isSignalled = true;
    ++m_signals;
    // Under the lock: a woken waiter may destroy the event as soon as it gets the lock.
    m_signalled.NotifyAll();
}

void RyPManualEvent::reset() {
    const RWMutexLock::LockGuard guard(m_mutex);
    m_isSignalled = false;
}

bool RyPManualEvent::isSignalled() const {
    const RWMutexLock::LockGuard guard(m_mutex);
    return m_isSignalled;
}

void RyPManualEvent::wait() {
    const RWMutexLock::LockGuard guard(m_mutex);
    const std::uint64_t before = m_signals;
    while (!m_isSignalled && m_signals == before) m_signalled.Wait(m_mutex);
}
