#include "commands/rangeoptions.h"

#include <algorithm>
#include <map>

#include "figures/load.h"
#include "text/numbers.h"

namespace kzstatprogram {
namespace {

/// The start of the first slice at peak load.
double EndOfWarmUp(RunReader& run) {
    const std::map<double, double> load = LoadThroughTime(run, {});
    const auto top = std::max_element(
        load.begin(), load.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    if (top == load.end())
        throw kzjournal::Error("cannot tell the warm-up: no load size was reported; use --from");
    return top->first - run.Facts().sliceLength;
}

}  // namespace

void RangeOptions::Declare(Command& command) {
    command.Add("--from", from, "Skip slices before TIME of the run (90, 90s, 1.5m)")
        .Duration()
        .ValueName("TIME");
    command.Add("--to", to, "Skip slices after TIME of the run").Duration().ValueName("TIME");
    command.AddFlag("--skip-warmup", skipsWarmUp, "Skip slices before peak load");
}

kzjournal::TimeRange RangeOptions::RangeOf(RunReader& run) const {
    kzjournal::TimeRange range;
    range.from = skipsWarmUp ? std::max(from, EndOfWarmUp(run)) : from;
    if (to) range.to = *to;
    if (range.to <= from)
        throw UsageError("--to", ReadableNumber(range.to) + " s is not after --from, " +
                                     ReadableNumber(from) + " s");
    return range;
}

}  // namespace kzstatprogram
