#include "kzstatmerge.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

/// Returns false for a conflict of types.
bool AddTo(CKZStatMessageRecord& known, CKZStatPointTypeEnum::PointType type,
           const CKZStatAggregate& totals, const CKZStatAggregate& lasts) {
    if (known.type != type) return false;
    known.totals.Add(totals);
    known.lasts.Add(lasts);
    return true;
}

std::string_view ViewOf(const RWCString& name) {
    return name.view();
}

std::string_view ViewOf(std::string_view name) {
    return name;
}

}  // namespace

bool CKZStatMerge::Add(std::string_view name, PointType type, const CKZStatAggregate& totals,
                       const CKZStatAggregate& lasts) {
    const std::size_t position = FindOrCreate(name, type);
    CKZStatMessageRecord& known = m_records[position];
    if (AddTo(known, type, totals, lasts)) {
        m_distributions[position].Add(totals, lasts);
        return true;
    }
    m_conflicts.push_back({known.name, known.type, type});
    return false;
}

bool CKZStatMerge::Add(const CKZStatMessageRecord& record) {
    return Add(record.name.view(), record.type, record.totals, record.lasts);
}

void CKZStatMerge::Add(const CKZStatMessage& message) {
    const std::vector<CKZStatMessageRecord>& records = message.GetRecords();
    Plan plan = PlanFor(records);
    for (std::size_t i = 0; i < records.size(); ++i)
        if (m_records[plan.positions[i]].type == records[i].type)
            m_distributions[plan.positions[i]].Add(records[i].totals, records[i].lasts);
    AddAggregates(records, std::move(plan));
}

void CKZStatMerge::Add(const CKZStatSliceValues& slice) {
    const std::vector<CKZStatSliceValues::Record>& records = slice.GetRecords();
    Plan plan = PlanFor(records);
    // In a copy, since adding distributions may run out of memory.
    std::vector<Distributions> distributions = m_distributions;
    for (std::size_t i = 0; i < records.size(); ++i)
        if (m_records[plan.positions[i]].type == records[i].type)
            distributions[plan.positions[i]].Add(records[i].totals, records[i].lasts,
                                                 records[i].totalsDistribution,
                                                 records[i].lastsDistribution);
    m_distributions.swap(distributions);
    AddAggregates(records, std::move(plan));
}

/// Takes the memory that the names and conflicts of the records need.
template <class Record>
CKZStatMerge::Plan CKZStatMerge::PlanFor(const std::vector<Record>& records) {
    Plan plan;
    plan.positions.reserve(records.size());
    for (const Record& record : records) {
        plan.positions.push_back(FindOrCreate(ViewOf(record.name), record.type));
        const CKZStatMessageRecord& known = m_records[plan.positions.back()];
        if (known.type != record.type)
            plan.conflicts.push_back({known.name, known.type, record.type});
    }
    m_conflicts.reserve(m_conflicts.size() + plan.conflicts.size());
    return plan;
}

/// Never runs out of memory.
template <class Record>
void CKZStatMerge::AddAggregates(const std::vector<Record>& records, Plan&& plan) {
    std::move(plan.conflicts.begin(), plan.conflicts.end(), std::back_inserter(m_conflicts));
    for (std::size_t i = 0; i < records.size(); ++i)
        AddTo(m_records[plan.positions[i]], records[i].type, records[i].totals, records[i].lasts);
}

std::vector<const CKZStatDistribution*> CKZStatMerge::GetTotalsDistributions() const {
    return GetAll(&Distributions::totals);
}

std::vector<const CKZStatDistribution*> CKZStatMerge::GetLastsDistributions() const {
    return GetAll(&Distributions::lasts);
}

std::vector<const CKZStatDistribution*> CKZStatMerge::GetAll(
    CKZStatDistributionSum Distributions::*kind) const {
    std::vector<const CKZStatDistribution*> distributions;
    distributions.reserve(m_distributions.size());
    for (const Distributions& each : m_distributions) distributions.push_back((each.*kind).Get());
    return distributions;
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
        m_distributions.resize(m_records.size());
        m_index.Add(name, m_records.size() - 1);
    } catch (...) {
        m_records.pop_back();
        m_distributions.resize(m_records.size());
        throw;
    }
    return m_records.size() - 1;
}
