#include "ryp/eventqueue.h"

RyPEventQueue::RyPEventQueue() = default;

void RyPEventQueue::put(RWCollectable* item) {
    const RWMutexLock::LockGuard guard(m_mutex);
    m_items.push_back(item);
    // Under the lock: whoever takes the item may destroy the queue as soon as it gets the lock.
    m_changed.NotifyAll();
}

RWCollectable* RyPEventQueue::waitEvent(long milliseconds, int& status) {
    const RyPDeadline deadline =
        milliseconds < 0 ? RyPDeadline::Never() : RyPDeadline(milliseconds);
    const RWMutexLock::LockGuard guard(m_mutex);
    bool timedOut = false;
    while (m_items.empty() && !m_released && !timedOut)
        timedOut = !m_changed.WaitUntil(m_mutex, deadline);

    if (m_items.empty()) {
        status = m_released ? Released : TimedOut;
        return nullptr;
    }
    RWCollectable* const item = m_items.front();
    m_items.pop_front();
    status = ItemArrived;
    return item;
}

void RyPEventQueue::releaseZ72() {
    const RWMutexLock::LockGuard guard(m_mutex);
    m_released = true;
    m_changed.NotifyAll();
}

bool RyPEventQueue::isEmpty() const {
    const RWMutexLock::LockGuard guard(m_mutex);
    return m_items.empty();
}
