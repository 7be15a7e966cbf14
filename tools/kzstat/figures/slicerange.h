#ifndef KZSTATPROGRAM_SLICERANGE_H
#define KZSTATPROGRAM_SLICERANGE_H

#include "kzjournalload.h"
#include "reading/runreader.h"

namespace kzstatprogram {

/// The slices that a command looks at, and the load that cuts the time of the first and the last
/// one short. Compatible.
struct SliceRange : kzjournal::TimeRange {
    SliceRange() = default;
    SliceRange(const kzjournal::TimeRange& range) : TimeRange(range) {}

    /// As the user says, whatever the load is. An end of the load that lies on the other side
    /// bounds nothing any more.
    void BeginAt(double seconds);
    void EndAt(double seconds);

    kzjournal::LoadSpan load;  ///< what has no value cuts nothing off
    bool isOfLoad = false;     ///< the slices are those under load
};

/// The slices under load: what comes before and behind is no answer to the load that was asked for.
/// All slices where no load is known, or none is under it.
SliceRange SlicesUnderLoad(RunReader& run);

/// The time in which the values of the slices in the range were reported.
double SecondsOf(RunReader& run, const SliceRange& range);

}  // namespace kzstatprogram

#endif
