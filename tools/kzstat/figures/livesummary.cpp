#include "figures/livesummary.h"

#include <algorithm>

#include "figures/levels.h"
#include "figures/statistics.h"
#include "text/texts.h"

namespace kzstatprogram {

void LiveSummary::Update(RunReader& run, const SliceRange& range) {
    const std::optional<kzjournal::Slice> last = run.LastSlice(range);
    const int lastSliceId = last ? last->id : 0;
    const bool mustReadAll = MustReadAll(range, lastSliceId);
    if (lastSliceId == m_lastSliceId && !mustReadAll) return;
    try {
        if (mustReadAll)
            ReadAll(run, range, last);
        else
            ReadNews(run, range, lastSliceId);
        m_lastSliceId = lastSliceId;
        m_elapsed = last ? last->elapsed : 0;
        m_endUnderLoad = std::min(range.underLoad.to, m_elapsed);
    } catch (...) {
        // A slice may have been added in part.
        m_lastSliceId = 0;
        throw;
    }
}

/// Also where other slices are under load than seemed to be.
bool LiveSummary::MustReadAll(const SliceRange& range, int lastSliceId) const {
    return m_lastSliceId == 0 || range.from != m_from || lastSliceId < m_lastSliceId ||
           std::min(range.underLoad.to, m_elapsed) != m_endUnderLoad;
}

/// Slices may come while this reads: it takes those up to the last one.
void LiveSummary::ReadAll(RunReader& run, SliceRange range,
                          const std::optional<kzjournal::Slice>& last) {
    if (last) range.to = last->elapsed;
    m_from = range.from;
    m_names.clear();
    for (kzjournal::NameSummary& each : SummaryWithLevels(run, range))
        m_names.emplace(TextOf(each.record.name), std::move(each));
}

void LiveSummary::ReadNews(RunReader& run, const SliceRange& range, int lastSliceId) {
    const double length = run.Facts().sliceLength;
    run.ForEachSliceAfter(m_lastSliceId, [&](const kzjournal::Slice& slice) {
        if (slice.id <= lastSliceId) Add(slice, range.underLoad.Selects(slice.elapsed, length));
    });
}

void LiveSummary::Add(const kzjournal::Slice& slice, bool isUnderLoad) {
    for (std::size_t i = 0; i < slice.records.size(); ++i) {
        CKZStatMessageRecord& known = m_names[TextOf(slice.records[i].name)].record;
        const CKZStatAggregate lasts = known.lasts;
        if (!IsLevel(slice.records[i].type))
            Add(slice, i);
        else if (isUnderLoad)
            AddLevel(slice, i);
        if (!isUnderLoad) known.lasts = lasts;
    }
}

/// As the totals of levels, the distribution is that of the levels of the slices.
void LiveSummary::AddLevel(const kzjournal::Slice& slice, std::size_t position) {
    const CKZStatMessageRecord& record = slice.records[position];
    kzjournal::NameSummary& summary = m_names[TextOf(record.name)];
    const CKZStatAggregate totals = summary.record.totals;
    const bool hasDistribution = !slice.distributions.FormOf(position).empty();
    if (hasDistribution && totals.count == 0) summary.distribution.emplace();
    if (!hasDistribution && record.lasts.HasValues()) summary.distribution.reset();
    summary.record = record;
    summary.record.totals = totals;
    kzstatprogram::AddLevel(record.lasts, summary);
}

void LiveSummary::Add(const kzjournal::Slice& slice, std::size_t position) {
    const CKZStatMessageRecord& record = slice.records[position];
    kzjournal::NameSummary& summary = m_names[TextOf(record.name)];
    CKZStatAggregate totals = summary.record.totals;
    const bool isFirst = totals.count == 0;
    totals.Add(record.lasts);
    summary.record = record;
    // Those of a run so far need not be added up, and so are as exact as they were reported.
    if (m_from > 0) summary.record.totals = totals;

    if (isFirst && !slice.distributions.FormOf(position).empty()) summary.distribution.emplace();
    if (!summary.distribution) return;
    slice.AddDistributionTo(*summary.distribution, position);
    if (!HasAll(*summary.distribution, summary.record.totals.count)) summary.distribution.reset();
}

}  // namespace kzstatprogram
