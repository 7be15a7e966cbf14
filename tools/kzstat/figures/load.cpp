#include "figures/load.h"

#include <cmath>

#include "figures/levels.h"
#include "figures/statistics.h"
#include "figures/timeline.h"

namespace kzstatprogram {

double LoadIn(const kzjournal::Slice& slice) {
    double load = kNoValue;
    for (const CKZStatMessageRecord& record : slice.records) {
        if (!IsLevel(record.type)) continue;
        const double level = LevelOf(record.lasts);
        if (!std::isnan(level)) load = std::isnan(load) ? level : load + level;
    }
    return load;
}

std::map<double, double> LoadThroughTime(RunReader& run, const kzjournal::TimeRange& range) {
    std::map<double, double> load;
    for (const kzjournal::Name& name : run.Names()) {
        if (!IsLevel(name.type)) continue;
        run.ForEachPoint(name.name, range, [&](const kzjournal::SeriesPoint& point) {
            const double level = LevelOf(point.lasts);
            if (!std::isnan(level)) load[point.elapsed] += level;
        });
    }
    return load;
}

}  // namespace kzstatprogram
