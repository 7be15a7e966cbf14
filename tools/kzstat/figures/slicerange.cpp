#include "figures/slicerange.h"

namespace kzstatprogram {

void SliceRange::BeginAt(double seconds) {
    from = underLoad.from = seconds;
    load.begin.reset();
    isOfLoad = false;
    if (from < underLoad.to) return;
    underLoad.to = to;
    load.end.reset();
}

void SliceRange::EndAt(double seconds) {
    to = underLoad.to = seconds;
    load.end.reset();
    isOfLoad = false;
    if (from < to) return;
    from = underLoad.from = 0;
    load.begin.reset();
}

SliceRange SlicesOfTheLoad(RunReader& run) {
    const kzjournal::LoadSpan load = run.Load();
    if (!load.IsKnown()) return {};
    SliceRange range = load.SlicesWithValues(run.Facts().sliceLength);
    range.underLoad = load.SlicesUnderLoad(run.Facts().sliceLength);
    if (run.CountSlices(range.underLoad) == 0) return {};
    range.load = load;
    range.isOfLoad = true;
    return range;
}

double SecondsOf(RunReader& run, const SliceRange& range) {
    const double length = run.Facts().sliceLength;
    const std::vector<double> ends = run.SliceEnds(range);
    double outside = 0;
    for (const double end : ends) outside += range.load.SecondsOutside(end, length);
    return static_cast<double>(ends.size()) * length - outside;
}

}  // namespace kzstatprogram
