#include "mergeleaf.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ryp/truncate.h"
#include "texts.h"

namespace kzstat {
namespace {

constexpr std::size_t kRecordsAhead = 20000;
constexpr std::size_t kMostSlicesAhead = 256;

}  // namespace

const kzjournal::Slice* MergeLeaf::Front() {
    if (m_ahead.empty() && m_lastReadId < m_input.lastSliceId) {
        m_journal.ForEachSliceAfter(
            m_lastReadId, [this](const kzjournal::Slice& slice) { m_ahead.push_back(slice); },
            static_cast<int>(m_slicesAhead));
        m_lastReadId = m_ahead.empty() ? m_input.lastSliceId : m_ahead.back().id;
        while (!m_ahead.empty() && m_ahead.back().id > m_input.lastSliceId) m_ahead.pop_back();
    }
    if (m_ahead.empty()) return nullptr;
    // Slices of many names are read one by one, so that memory does not grow with them.
    const std::size_t names = std::max<std::size_t>(m_ahead.front().records.size(), 1);
    m_slicesAhead = std::clamp<std::size_t>(kRecordsAhead / names, 1, kMostSlicesAhead);
    return &m_ahead.front();
}

int MergeLeaf::MergedId(double start) const {
    const double length = m_input.run.sliceLength;
    const double middle = m_input.run.startTime - start + m_ahead.front().elapsed - length / 2;
    return RyPTruncate<int>(std::floor(middle / length) + 1);
}

/// More than one slice after a pause, which moves times to earlier ones.
void MergeLeaf::TakeUpTo(int mergedId, double start, std::vector<MergePart>& parts) {
    for (auto& [name, record] : m_records) record.lasts = {};
    while (Front() != nullptr && MergedId(start) <= mergedId) {
        for (const CKZStatMessageRecord& record : m_ahead.front().records) Take(record);
        parts.push_back({m_number, std::move(m_ahead.front())});
        m_ahead.pop_front();
    }
}

/// A run never gives up a name: its latest totals stay even where a slice does not have it.
void MergeLeaf::Take(const CKZStatMessageRecord& record) {
    CKZStatMessageRecord& known = m_records[TextOf(record.name)];
    known.name = record.name;
    known.type = record.type;
    known.totals = record.totals;
    known.lasts.Add(record.lasts);
}

}  // namespace kzstat
