#include "figures/livesummary.h"

#include <utility>

#include "text/texts.h"

namespace kzstatprogram {

const CKZStatDistribution* LiveSummary::Name::Distribution() const {
    const CKZStatDistribution* const sum = distributions.Get();
    const bool isComplete =
        sum != nullptr && static_cast<double>(sum->GetCount()) == record.totals.count;
    return isComplete ? sum : nullptr;
}

void LiveSummary::Update(RunReader& run, const kzjournal::TimeRange& range) {
    const std::optional<kzjournal::Slice> last = run.LastSlice(range);
    const int lastSliceId = last ? last->id : 0;
    if (lastSliceId == m_lastSliceId && range.from == m_from) return;
    try {
        if (MustReadAll(range, lastSliceId))
            // Slices may come while this reads: it takes those up to the last one.
            ReadAll(run, {range.from, last ? last->elapsed : range.to});
        else
            ReadNews(run, lastSliceId);
        m_lastSliceId = lastSliceId;
    } catch (...) {
        // A slice may have been added in part.
        m_lastSliceId = 0;
        throw;
    }
}

bool LiveSummary::MustReadAll(const kzjournal::TimeRange& range, int lastSliceId) const {
    return m_lastSliceId == 0 || range.from != m_from || lastSliceId < m_lastSliceId;
}

void LiveSummary::ReadAll(RunReader& run, const kzjournal::TimeRange& range) {
    m_from = range.from;
    m_slices = run.CountSlices(range);
    m_names.clear();
    for (kzjournal::NameSummary& each : run.SummaryWithDistributions(range)) {
        Name& name = m_names[TextOf(each.record.name)];
        name.distributions.Add(each.record.totals,
                               each.distribution ? &*each.distribution : nullptr);
        name.record = std::move(each.record);
    }
}

void LiveSummary::ReadNews(RunReader& run, int lastSliceId) {
    run.ForEachSliceAfter(m_lastSliceId, [&](const kzjournal::Slice& slice) {
        if (slice.id <= lastSliceId) Add(slice);
    });
}

void LiveSummary::Add(const kzjournal::Slice& slice) {
    ++m_slices;
    for (std::size_t i = 0; i < slice.records.size(); ++i) Add(slice, i);
}

void LiveSummary::Add(const kzjournal::Slice& slice, std::size_t position) {
    const CKZStatMessageRecord& record = slice.records[position];
    Name& name = m_names[TextOf(record.name)];
    CKZStatAggregate totals = name.record.totals;
    totals.Add(record.lasts);
    name.record = record;
    // Those of a run so far need not be added up, and so are as exact as they were reported.
    if (m_from > 0) name.record.totals = totals;
    slice.AddDistributionTo(name.distributions, position);
}

}  // namespace kzstatprogram
