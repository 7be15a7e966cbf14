#include "figures/load.h"

#include "figures/statistics.h"

namespace kzstatprogram {

std::map<double, double> LoadThroughTime(kzjournal::Reader& journal,
                                         const kzjournal::TimeRange& range) {
    std::map<double, double> load;
    for (const kzjournal::Name& name : journal.Names()) {
        if (!IsLevel(name.type)) continue;
        journal.ForEachPoint(name.name, range, [&](const kzjournal::SeriesPoint& point) {
            load[point.elapsed] += point.lasts.sum;
        });
    }
    return load;
}

}  // namespace kzstatprogram
