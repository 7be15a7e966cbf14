#ifndef KZSTATPROGRAM_SLICERANGE_H
#define KZSTATPROGRAM_SLICERANGE_H

#include "kzjournalload.h"
#include "reading/runreader.h"

namespace kzstatprogram {

/// The slices whose values a command looks at, and the load that cuts their time short. Values that
/// come behind the end of a load answer what was asked within it: they count, their time does not.
/// Compatible.
struct SliceRange : kzjournal::TimeRange {
    SliceRange() = default;
    SliceRange(const kzjournal::TimeRange& range) : TimeRange(range), underLoad(range) {}

    /// As the user says, whatever the load is. An end of the load that lies on the other side
    /// bounds nothing any more.
    void BeginAt(double seconds);
    void EndAt(double seconds);

    /// From the begin to the end of what is looked at, to the moment where the load bounds it.
    kzjournal::TimeRange Time() const {
        return {load.begin.value_or(underLoad.from), load.end.value_or(underLoad.to)};
    }

    /// Those that show the load: levels, and what is said of the last slice, are of these.
    kzjournal::TimeRange underLoad;
    kzjournal::LoadSpan load;  ///< what has no value cuts nothing off
    bool isOfLoad = false;     ///< the slices are those under load
};

/// The slices of the load: what comes before it is no answer to what was asked for. All slices
/// where no load is known, or none is under it.
SliceRange SlicesOfTheLoad(RunReader& run);

/// The time of the slices in the range, as far as it is under load.
double SecondsOf(RunReader& run, const SliceRange& range);

}  // namespace kzstatprogram

#endif
