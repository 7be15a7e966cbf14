#ifndef KZJOURNALLOAD_H
#define KZJOURNALLOAD_H

#include <optional>

#include "kzjournal_export.h"
#include "kzjournalsummary.h"

namespace kzjournal {

/// When the load of a run began and ended, in seconds since the start of the run; no value while
/// that is unknown. A run is longer than its load: the last requests drain, and its last slice ends
/// on time. Compatible.
struct KZJOURNAL_EXPORT LoadSpan {
    std::optional<double> begin;
    std::optional<double> end;

    bool IsKnown() const { return begin || end; }

    /// Selects the slices under load: those that lie in the load by more than half or, if there can
    /// be none, those that it touches. An unknown begin is the start of the run, and an unknown end
    /// is open, as is one before the begin. The slices have the length `sliceLength`, in seconds.
    TimeRange SlicesUnderLoad(double sliceLength) const;

    /// Selects the slices with values that the load caused: from the first one that it touches on,
    /// also those behind its end, in which the last requests are answered.
    TimeRange SlicesWithValues(double sliceLength) const;

    /// Whether the slice that ends at `elapsed` is one under load.
    bool Covers(double elapsed, double sliceLength) const;

    /// The part of the slice that ends at `elapsed` which lies outside the load, in seconds.
    double SecondsOutside(double elapsed, double sliceLength) const;
};

}  // namespace kzjournal

#endif
