#ifndef KZSTATSLICECOST_H
#define KZSTATSLICECOST_H

#include <limits>

#include "kzstat_export.h"

/// What a slice of a `CKZStatRun` cost the process, as the run measured it: who was slow, the
/// system under load or the process that loads it. Spans are in seconds; a number that is unknown
/// is NaN.
///
/// A measurement lasts from that of the slice before, or from the start of the run, to the end of
/// the slice; where the process slept through that end, until it woke. It then took longer than the
/// slice, and those of the next slices less. Compatible.
struct CKZStatSliceCost {
    static constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

    double measured = kUnknown;       ///< how long the measurement lasted
    double processorTime = kUnknown;  ///< processor time of all threads of the process in it
    /// Processors that the process may use, by its affinity and the quota of its control group; not
    /// a whole number where the quota is none.
    double processors = kUnknown;
    /// Processor time of the thread that used most of it. NaN with more than 1,000 threads.
    double busiestThread = kUnknown;
    /// The longest time that one thread waited for a processor while it had work to do. NaN with
    /// more than 1,000 threads.
    double longestWait = kUnknown;
    /// How often a thread was taken off its processor although it had work to do.
    double involuntarySwitches = kUnknown;
    /// How long threads that report waited for one another, added up.
    double reporterWait = kUnknown;
    double packTime = kUnknown;      ///< processor time that merging and rendering the slice took
    double listenerTime = kUnknown;  ///< how long the listeners took for the slice before
    /// The longest time that the run's own timer woke too late; 0 if it was never too late.
    double timerLateness = kUnknown;
    /// The longest time that `CKZStatRun::NoteLateness` was told; NaN if it was told none.
    double startLateness = kUnknown;
};

#endif
