#include "kzjournalload.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kzjournal {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Slices end where additions of their length lead, which drifts in a long run.
constexpr double kSlackInSlices = 0.25;

double EndOf(const LoadSpan& load) {
    if (!load.end || (load.begin && *load.end < *load.begin)) return kInfinity;
    return *load.end;
}

}  // namespace

TimeRange LoadSpan::SlicesUnderLoad(double sliceLength) const {
    // In slices: the first one that is selected begins at `from`, the last one ends at `to`.
    const double first = begin.value_or(0) / sliceLength;
    const double last = EndOf(*this) / sliceLength;
    double from = std::floor(first - 0.5) + 1;
    double to = std::ceil(last + 0.5) - 1;
    if (to <= from) {
        from = std::floor(first);
        to = std::max(std::ceil(last), from + 1);
    }
    return {(from - kSlackInSlices) * sliceLength, (to + kSlackInSlices) * sliceLength};
}

TimeRange LoadSpan::SlicesWithValues(double sliceLength) const {
    const double first = std::floor(begin.value_or(0) / sliceLength);
    return {(first - kSlackInSlices) * sliceLength, kInfinity};
}

bool LoadSpan::Covers(double elapsed, double sliceLength) const {
    return SlicesUnderLoad(sliceLength).Selects(elapsed, sliceLength);
}

double LoadSpan::SecondsOutside(double elapsed, double sliceLength) const {
    const double before = std::max(begin.value_or(-kInfinity) - (elapsed - sliceLength), 0.0);
    const double behind = std::max(elapsed - EndOf(*this), 0.0);
    return std::min(before + behind, sliceLength);
}

}  // namespace kzjournal
