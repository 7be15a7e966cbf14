#ifndef KZSTATRUNCOSTS_H
#define KZSTATRUNCOSTS_H

#include <atomic>
#include <deque>

#include "kzstatslicecost.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "ryp/processusage.h"

/// Measures what each slice of a run costs its process. The ends of slices are seconds as
/// `RyPSysTime` returns them; they rise.
///
/// Safe for concurrent use, except that `Take` and `NoteListenersDone` are the delivering thread's.
class CKZStatRunCosts {
public:
    CKZStatRunCosts();

    /// Measures now, unless that was done for the slice: it has just ended. Never throws; where
    /// memory runs out, `Take` measures.
    void NoteEnd(double sliceEnd);
    void NoteTimerLateness(double seconds);
    /// REQUIRES: `seconds` is 0 or above.
    void NoteStartLateness(double seconds);

    /// What the slice cost, which is about to be delivered. Measures now where nobody did when the
    /// slice ended. Returns the same again until `NoteListenersDone` is called. Never throws.
    CKZStatSliceCost Take(double sliceEnd);
    /// The listeners have had the slice that was taken.
    void NoteListenersDone();

private:
    /// What the process had used at the end of a slice.
    struct Reading {
        double sliceEnd = 0;
        double time = 0;  // monotonic, in seconds
        double processorSeconds = 0;
        RyPThreadTimes mostOfThreads;  // since the reading before
        double involuntarySwitches = 0;
        double reporterWait = 0;
        double timerLateness = 0;  // the longest since the reading before
        double startLateness = CKZStatSliceCost::kUnknown;
    };

    static constexpr double kNone = -1;

    RyPThreadTimes MostOfThreads() RYP_REQUIRES(m_lock);
    Reading Read(double sliceEnd) RYP_REQUIRES(m_lock);
    Reading ReadingOf(double sliceEnd);

    RWMutexLock m_lock;
    std::deque<Reading> m_readings RYP_GUARDED_BY(m_lock);  // of slices that were not delivered
    RyPThreadUsage m_threads RYP_GUARDED_BY(m_lock);
    double m_latestEnd RYP_GUARDED_BY(m_lock) = 0;  // of the slices that were measured
    double m_timerLateness RYP_GUARDED_BY(m_lock) = 0;

    // Without the lock: threads that make load tell it. Below 0 if none did.
    std::atomic<double> m_startLateness{kNone};

    // The delivering thread's.
    Reading m_former;  // of the slice before
    Reading m_taken;
    bool m_isTaken = false;
    CKZStatSliceCost m_cost;             // of the slice that is taken
    double m_listenersBegan = 0;         // monotonic, in seconds
    double m_listenerTime = 0;           // for the slice before
    double m_threadSecondsFormerly = 0;  // its processor time when the listeners were done
};

#endif
