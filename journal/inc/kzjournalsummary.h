#ifndef KZJOURNALSUMMARY_H
#define KZJOURNALSUMMARY_H

#include <limits>
#include <optional>
#include <string>

#include "kzstataggregate.h"
#include "kzstatdistribution.h"
#include "kzstatmessage.h"
#include "kzstatpointtypeenum.h"
#include "kzstatslicecost.h"

namespace kzjournal {

/// A range in seconds since the start of the run. It selects the slices that lie entirely within
/// it; if `from` is 0 or less, all slices that end by `to`.
struct TimeRange {
    double from = 0;
    double to = std::numeric_limits<double>::infinity();

    /// Whether it selects the slice that ends at `elapsed`.
    bool Selects(double elapsed, double sliceLength) const {
        return (from <= 0 || elapsed - sliceLength >= from) && elapsed <= to;
    }
};

/// A name that was reported, with the type of its latest record.
struct Name {
    std::string name;
    CKZStatPointTypeEnum::PointType type;
};

/// One name over a range. Compatible.
struct NameSummary {
    CKZStatMessageRecord
        record;  ///< the totals of the range alone, and the lasts of its last slice
    /// Of the values of the range. No value unless it is complete: it has as many values as the
    /// totals of the record, and a distribution is stored for every slice with values of the name.
    std::optional<CKZStatDistribution> distribution;
};

/// What one slice cost the process that generated it.
struct SliceCost {
    int sliceId;
    double elapsed;
    CKZStatSliceCost cost;
};

/// The record of one name in one slice.
struct SeriesPoint {
    int sliceId;
    double elapsed;
    CKZStatAggregate lasts;
};

}  // namespace kzjournal

#endif
