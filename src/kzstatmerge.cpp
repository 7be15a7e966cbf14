#include "kzstatmerge.h"

#include <algorithm>
#include <iterator>

namespace {

/// Returns false for a conflict of types.
bool AddTo(CKZStatMessageRecord& known, CKZStatPointTypeEnum::PointType type,
           const CKZStatAggregate& totals, const CKZStatAggregate& lasts) {
    if (known.type != type) return false;
    known.totals.Add(totals);
    known.lasts.Add(lasts);
    return true;
}

}  // namespace

bool CKZStatMerge::Add(std::string_view name, PointType type, const CKZStatAggregate& totals,
                       const CKZStatAggregate& lasts) {
    CKZStatMessageRecord& known = m_records[FindOrCreate(name, type)];
    if (AddTo(known, type, totals, lasts)) return true;
    m_conflicts.push_back({known.name, known.type, type});
    return false;
}

bool CKZStatMerge::Add(const CKZStatMessageRecord& record) {
    return Add(record.name.view(), record.type, record.totals, record.lasts);
}

void CKZStatMerge::Add(const CKZStatMessage& message) {
    AddAll(message.GetRecords(),
           [](const CKZStatMessageRecord& record) { return record.name.view(); });
}

void CKZStatMerge::Add(const CKZStatSliceValues& slice) {
    AddAll(slice.GetRecords(),
           [](const CKZStatSliceValues::Record& record) { return record.name; });
}

/// All names and conflicts first, which may run out of memory, then all values, which cannot.
template <class Records, class NameOf>
void CKZStatMerge::AddAll(const Records& records, const NameOf& nameOf) {
    std::vector<std::size_t> positions;
    positions.reserve(records.size());
    std::vector<Conflict> conflicts;
    for (const auto& record : records) {
        positions.push_back(FindOrCreate(nameOf(record), record.type));
        const CKZStatMessageRecord& known = m_records[positions.back()];
        if (known.type != record.type) conflicts.push_back({known.name, known.type, record.type});
    }
    m_conflicts.reserve(m_conflicts.size() + conflicts.size());
    std::move(conflicts.begin(), conflicts.end(), std::back_inserter(m_conflicts));

    std::size_t next = 0;
    for (const auto& record : records)
        AddTo(m_records[positions[next++]], record.type, record.totals, record.lasts);
}

const CKZStatMessageRecord* CKZStatMerge::FindRecord(std::string_view name) const {
    const std::size_t position = PositionOf(name);
    return position == CKZStatNameIndex::kNone ? nullptr : &m_records[position];
}

std::size_t CKZStatMerge::PositionOf(std::string_view name) const {
    return m_index.Find(name, [this](std::size_t at) { return m_records[at].name.view(); });
}

std::size_t CKZStatMerge::FindOrCreate(std::string_view name, PointType type) {
    const std::size_t known = PositionOf(name);
    if (known != CKZStatNameIndex::kNone) return known;
    m_records.push_back({RWCString(name.data(), name.size()), type, {}, {}});
    try {
        m_index.Add(name, m_records.size() - 1);
    } catch (...) {
        m_records.pop_back();
        throw;
    }
    return m_records.size() - 1;
}
