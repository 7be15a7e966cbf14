#include "figures/load.h"

#include <cmath>

#include "figures/statistics.h"
#include "figures/timeline.h"

namespace kzstatprogram {

double LoadIn(const kzjournal::Slice& slice) {
    double load = kNoValue;
    for (const CKZStatMessageRecord& record : slice.records) {
        if (!IsLevel(record.type)) continue;
        const double size = FlowOf(record.type, record.lasts);
        load = std::isnan(load) ? size : load + size;
    }
    return load;
}

std::map<double, double> LoadThroughTime(RunReader& run, const kzjournal::TimeRange& range) {
    std::map<double, double> load;
    for (const kzjournal::Name& name : run.Names()) {
        if (!IsLevel(name.type)) continue;
        run.ForEachPoint(name.name, range, [&](const kzjournal::SeriesPoint& point) {
            load[point.elapsed] += FlowOf(name.type, point.lasts);
        });
    }
    return load;
}

}  // namespace kzstatprogram
