#include "merge/mergeleaf.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "ryp/truncate.h"
#include "terminal/terminaltext.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr std::size_t kMaxRecordsAhead = 20000;
constexpr std::size_t kMaxSlicesAhead = 256;

}  // namespace

bool MergeLeaf::HasNext() {
    if (m_ahead.empty() && m_lastReadId < m_input.lastSliceId) ReadAhead();
    return !m_ahead.empty();
}

void MergeLeaf::ReadAhead() {
    m_run->ForEachSliceAfter(
        m_lastReadId,
        [this](const kzjournal::Slice& slice) {
            if (slice.id <= m_input.lastSliceId) m_ahead.push_back({slice, Place(slice)});
        },
        static_cast<int>(m_slicesAhead));
    m_lastReadId = m_ahead.empty() ? m_input.lastSliceId : m_ahead.back().slice.id;
    if (m_ahead.empty()) return;
    // Slices of many names are read one by one, so that memory does not grow with them.
    const std::size_t names = std::max<std::size_t>(m_ahead.front().slice.records.size(), 1);
    m_slicesAhead = std::clamp<std::size_t>(kMaxRecordsAhead / names, 1, kMaxSlicesAhead);
}

/// Only the first slice is placed by its middle; the others count on from slice to slice. Middles
/// on the edges of merged slices would be rounded to either side, and ends drift, since each was
/// made by adding the length to the one before.
int MergeLeaf::Place(const kzjournal::Slice& slice) {
    const double length = m_input.run.sliceLength;
    m_placedId = m_placedEnd ? m_placedId + std::round((slice.endTime - *m_placedEnd) / length)
                             : std::floor((slice.endTime - m_start) / length - 0.5) + 1;
    m_placedEnd = slice.endTime;
    if (!(m_placedId >= 1 && m_placedId <= std::numeric_limits<int>::max()))
        throw kzjournal::Error(
            "cannot merge: slice " + std::to_string(slice.id) + " of " + m_input.Text() +
            " ends too far from the start of the merged run at " + WallClock(m_start));
    return RyPTruncate<int>(m_placedId);
}

/// More than one slice where clocks or times are wrong.
void MergeLeaf::TakeUpTo(int mergedId, std::vector<MergePart>& parts) {
    for (auto& [name, known] : m_records) {
        known.record.lasts = {};
        known.distribution.Clear();
    }
    while (HasNext() && MergedId() <= mergedId) {
        kzjournal::Slice& slice = m_ahead.front().slice;
        for (std::size_t i = 0; i < slice.records.size(); ++i) Take(slice, i);
        parts.push_back({m_number, std::move(slice)});
        m_ahead.pop_front();
    }
}

/// A run never gives up a name: its latest totals stay even where a slice does not have it.
void MergeLeaf::Take(const kzjournal::Slice& slice, std::size_t position) {
    const CKZStatMessageRecord& record = slice.records[position];
    const std::string name = TextOf(record.name);
    const auto [entry, isNew] = m_records.try_emplace(name);
    CKZStatMessageRecord& known = entry->second.record;
    if (isNew) {
        known.name = record.name;
        known.type = record.type;
    }
    if (known.type != record.type)
        throw kzjournal::Error("cannot merge: " + kzterminal::Printable(name) + " is of type " +
                               TypeText(known.type) + " and, from slice " +
                               std::to_string(slice.id) + ", of type " + TypeText(record.type) +
                               " in " + m_input.Text());
    known.totals = record.totals;
    known.lasts.Add(record.lasts);
    AddDistribution(slice, position, entry->second.distribution);
}

void MergeLeaf::AddDistribution(const kzjournal::Slice& slice, std::size_t position,
                                CKZStatDistributionSum& sum) const {
    try {
        slice.AddDistributionTo(sum, position);
    } catch (const kzjournal::Error& error) {
        throw kzjournal::Error("cannot merge: " + m_input.Text() + ": " +
                               kzterminal::Printable(error.what()));
    }
}

}  // namespace kzstatprogram
