#ifndef RYP_EVENTQUEUE_H
#define RYP_EVENTQUEUE_H

#include <deque>

#include "kzplatform_export.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"

class RWCollectable;

/// A first-in, first-out queue between threads. It never owns its items. Safe for concurrent use.
class KZPLATFORM_EXPORT RyPEventQueue {
public:
    /// What `waitEvent` reports. A port may distinguish a release during the wait
    /// (`ReleasedWhileWaiting`) from one before it; callers must treat both alike.
    enum Status { ItemArrived = 0, TimedOut = 1, Released = 2, ReleasedWhileWaiting = 3 };

    RyPEventQueue();
    RyPEventQueue(const RyPEventQueue&) = delete;
    RyPEventQueue& operator=(const RyPEventQueue&) = delete;

    /// Appends `item` and wakes a waiting thread.
    void put(RWCollectable* item);

    /// Takes the oldest item, waiting for one for at most `milliseconds`, or indefinitely if they
    /// are negative. Sets `status` to `ItemArrived` and returns the item; or sets it to `TimedOut`
    /// or `Released` and returns null. After a release, queued items are returned first.
    RWCollectable* waitEvent(long milliseconds, int& status);

    /// Releases every present and future wait.
    void releaseZ72();

    bool isEmpty() const;

private:
    mutable RWMutexLock m_mutex;
    RyPCondition m_changed;
    std::deque<RWCollectable*> m_items RYP_GUARDED_BY(m_mutex);
    bool m_released RYP_GUARDED_BY(m_mutex) = false;
};

#endif
