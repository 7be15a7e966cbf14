#include "kzstatmerge.h"

namespace {

std::string_view TextOf(const RWCString& text) {
    return {text.data(), text.length()};
}

}  // namespace

bool CKZStatMerge::Add(std::string_view name, PointType type, const CKZStatAggregate& totals,
                       const CKZStatAggregate& lasts) {
    CKZStatMessageRecord& known = RecordOf(name, type);
    if (known.type != type) {
        m_conflicts.push_back({known.name, known.type, type});
        return false;
    }
    known.totals.Add(totals);
    known.lasts.Add(lasts);
    return true;
}

bool CKZStatMerge::Add(const CKZStatMessageRecord& record) {
    return Add(TextOf(record.name), record.type, record.totals, record.lasts);
}

void CKZStatMerge::Add(const CKZStatMessage& message) {
    for (const CKZStatMessageRecord& record : message.GetRecords()) Add(record);
}

void CKZStatMerge::Add(const CKZStatSliceValues& slice) {
    for (const CKZStatSliceValues::Record& record : slice.GetRecords())
        Add(record.name, record.type, record.totals, record.lasts);
}

const CKZStatMessageRecord* CKZStatMerge::FindRecord(std::string_view name) const {
    const std::size_t position = PositionOf(name);
    return position == CKZStatNameIndex::kNone ? nullptr : &m_records[position];
}

std::size_t CKZStatMerge::PositionOf(std::string_view name) const {
    return m_index.Find(name, [this](std::size_t at) { return TextOf(m_records[at].name); });
}

CKZStatMessageRecord& CKZStatMerge::RecordOf(std::string_view name, PointType type) {
    const std::size_t known = PositionOf(name);
    if (known != CKZStatNameIndex::kNone) return m_records[known];
    m_records.push_back({RWCString(name.data(), name.size()), type, {}, {}});
    try {
        m_index.Add(name, m_records.size() - 1);
    } catch (...) {
        m_records.pop_back();
        throw;
    }
    return m_records.back();
}
