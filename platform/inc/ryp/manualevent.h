#ifndef RYP_MANUALEVENT_H
#define RYP_MANUALEVENT_H

#include <cstdint>

#include "kzplatform_export.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/condition.h"

/// A flag that threads can wait for and that stays as it was last put. Safe for concurrent use.
class KZPLATFORM_EXPORT RyPManualEvent {
public:
    /// The event starts reset.
    RyPManualEvent();
    RyPManualEvent(const RyPManualEvent&) = delete;
    RyPManualEvent& operator=(const RyPManualEvent&) = delete;

    /// Releases every thread that waits at this moment, also where a `reset` follows at once.
    void signal();
    void reset();
    bool isSignalled() const;

    /// Blocks until the event is signalled; returns at once where it already is.
    void wait();

    /// Keeps an event reset while the guard lives and signals it at the end, also when an
    /// exception ends the scope. Owned by the thread whose work it brackets.
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
