#include "figures/levels.h"

#include <limits>
#include <map>
#include <optional>
#include <string>

#include "figures/statistics.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

void TakeLastsOf(const std::optional<kzjournal::Slice>& slice,
                 std::vector<kzjournal::NameSummary>& summary) {
    std::map<std::string, CKZStatAggregate> lasts;
    if (slice)
        for (const CKZStatMessageRecord& record : slice->records)
            lasts[TextOf(record.name)] = record.lasts;
    for (kzjournal::NameSummary& each : summary)
        each.record.lasts = lasts[TextOf(each.record.name)];
}

}  // namespace

double LevelOf(const CKZStatAggregate& lasts) {
    return lasts.HasValues() ? lasts.sum : std::numeric_limits<double>::quiet_NaN();
}

void AddLevel(const CKZStatAggregate& lasts, kzjournal::NameSummary& summary) {
    if (!lasts.HasValues()) return;
    summary.record.totals.Add(LevelOf(lasts));
    if (summary.distribution) summary.distribution->Add(LevelOf(lasts));
}

std::vector<kzjournal::NameSummary> SummaryWithLevels(RunReader& run, const SliceRange& range) {
    std::vector<kzjournal::NameSummary> summary = run.SummaryWithDistributions(range);
    if (range.underLoad.to < range.to) TakeLastsOf(run.LastSlice(range.underLoad), summary);
    for (kzjournal::NameSummary& each : summary) {
        if (!IsLevel(each.record.type)) continue;
        each.record.totals = {};
        if (each.distribution) each.distribution.emplace();
        run.ForEachPoint(TextOf(each.record.name), range.underLoad,
                         [&](const kzjournal::SeriesPoint& point) { AddLevel(point.lasts, each); });
    }
    return summary;
}

}  // namespace kzstatprogram
