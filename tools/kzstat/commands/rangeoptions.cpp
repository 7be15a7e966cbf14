#include "commands/rangeoptions.h"

#include <algorithm>
#include <map>

#include "figures/load.h"
#include "terminal/terminaltext.h"
#include "text/numbers.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

/// The start of the first slice of the range at its peak load.
double EndOfWarmUp(RunReader& run, const SliceRange& range) {
    const std::map<double, double> load = LoadThroughTime(run, range.underLoad);
    const auto top = std::max_element(
        load.begin(), load.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    if (top == load.end())
        throw kzjournal::Error("cannot tell the warm-up: no load size was reported; use --from");
    return top->first - run.Facts().sliceLength;
}

/// "slices of 1 s from 0:00 to 0:36".
std::string WhatItHas(RunReader& run) {
    const std::vector<double> ends = run.SliceEnds();
    if (ends.empty()) return "no slice";
    const double length = run.Facts().sliceLength;
    return "slices of " + ReadableNumber(length) + " s from " + TimeOfRun(ends.front() - length) +
           " to " + TimeOfRun(ends.back());
}

}  // namespace

void RangeOptions::Declare(Command& command, Usual usual) {
    command.Add("--from", from, "Skip slices before TIME of the run (90, 90s, 1.5m)")
        .Duration()
        .ValueName("TIME");
    command.Add("--to", to, "Skip slices after TIME of the run").Duration().ValueName("TIME");
    command.AddFlag("--skip-warmup", skipsWarmUp, "Skip slices before peak load");
    takesAll = usual == WholeRun;
    if (!takesAll)
        command.AddFlag("--all", takesAll,
                        "Look at all slices, also before the load began and after it ended");
}

SliceRange RangeOptions::RangeOf(RunReader& run) const {
    SliceRange range = takesAll ? SliceRange() : SlicesOfTheLoad(run);
    Restrict(run, range);
    return range;
}

SliceRange RangeOptions::RangeWithSlicesOf(RunReader& run, const std::string& path) const {
    const SliceRange range = RangeOf(run);
    const std::string asked = Text();
    if (!asked.empty() && run.CountSlices(range) == 0)
        throw kzjournal::Error(kzterminal::Printable(path) + ": no slice lies in the range of " +
                               asked + "; the run has " + WhatItHas(run));
    return range;
}

SliceRange RangeOptions::RangeWithoutLoad(RunReader& run) const {
    SliceRange range;
    Restrict(run, range);
    return range;
}

std::string RangeOptions::Text() const {
    std::string text;
    if (from) text.append("--from ").append(ReadableNumber(*from)).append(" s");
    if (to) text.append(from ? " " : "").append("--to ").append(ReadableNumber(*to)).append(" s");
    return text;
}

void RangeOptions::Restrict(RunReader& run, SliceRange& range) const {
    if (to && *to <= from.value_or(0))
        throw UsageError("--to", ReadableNumber(*to) + " s is not after --from, " +
                                     ReadableNumber(from.value_or(0)) + " s");
    if (to) range.EndAt(*to);
    if (from) range.BeginAt(*from);
    if (!skipsWarmUp) return;
    const double end = EndOfWarmUp(run, range);
    // A load that begins at its peak still cuts the first slice short.
    if (end > range.from + run.Facts().sliceLength / 2) range.BeginAt(end);
}

}  // namespace kzstatprogram
