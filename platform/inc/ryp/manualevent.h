#ifndef RYP_MANUALEVENT_H
#define RYP_MANUALEVENT_H

#include <cstdint>

#include "kzplatform_export.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"

/// A manual-reset event: it stays signalled until `reset`. Safe for concurrent use.
class KZPLATFORM_EXPORT RyPManualEvent {
public:
    /// The event starts reset.
    RyPManualEvent();
    RyPManualEvent(const RyPManualEvent&) = delete;
    RyPManualEvent& operator=(const RyPManualEvent&) = delete;

    /// Releases every thread that waits at this moment, even if a `reset` follows at once.
    void signal();
    void reset();
    bool isSignalled() const;

    /// Blocks until the event is signalled.
    void wait();

    /// Resets an event and signals it at the end of the scope, also after an exception. Owned by
    /// the thread that made it.
    class SetGuard {
    public:
        explicit SetGuard(RyPManualEvent& event) : m_event(event) { m_event.reset(); }
        ~SetGuard() { m_event.signal(); }
        SetGuard(const SetGuard&) = delete;
        SetGuard& operator=(const SetGuard&) = delete;

    private:
        RyPManualEvent& m_event;
    };

private:
    mutable RWMutexLock m_mutex;
    RyPCondition m_signalled;
    bool m_isSignalled RYP_GUARDED_BY(m_mutex) = false;
    std::uint64_t m_signals RYP_GUARDED_BY(m_mutex) = 0;  // so far
};

#endif
