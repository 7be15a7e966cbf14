#include "figures/levels.h"

#include <limits>

#include "figures/statistics.h"
#include "text/texts.h"

namespace kzstatprogram {

double LevelOf(const CKZStatAggregate& lasts) {
    return lasts.HasValues() ? lasts.sum : std::numeric_limits<double>::quiet_NaN();
}

void AddLevel(const CKZStatAggregate& lasts, kzjournal::NameSummary& summary) {
    if (!lasts.HasValues()) return;
    summary.record.totals.Add(LevelOf(lasts));
    if (summary.distribution) summary.distribution->Add(LevelOf(lasts));
}

std::vector<kzjournal::NameSummary> SummaryWithLevels(RunReader& run,
                                                      const kzjournal::TimeRange& range) {
    std::vector<kzjournal::NameSummary> summary = run.SummaryWithDistributions(range);
    for (kzjournal::NameSummary& each : summary) {
        if (!IsLevel(each.record.type)) continue;
        each.record.totals = {};
        if (each.distribution) each.distribution.emplace();
        run.ForEachPoint(TextOf(each.record.name), range,
                         [&](const kzjournal::SeriesPoint& point) { AddLevel(point.lasts, each); });
    }
    return summary;
}

}  // namespace kzstatprogram
