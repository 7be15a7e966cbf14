#include "kzstatslicevalues.h"

#include <utility>

#include "kzstatgendistributions.h"
#include "kzstatgenmeasurementdictionary.h"
#include "kzstatmessage.h"

CKZStatSliceValues::CKZStatSliceValues(CKZStatSliceFacts facts, const RWCString& message,
                                       const CKZStatGenMeasurementDictionary& merged,
                                       const CKZStatGenDistributions* distributions)
    : m_facts(std::move(facts)),
      m_message(message),
      m_distributions(distributions),
      m_merged(&merged),
      m_given(nullptr),
      m_givenDistributions(nullptr) {}

CKZStatSliceValues::CKZStatSliceValues(CKZStatSliceFacts facts, const RWCString& message,
                                       const std::vector<CKZStatMessageRecord>& records)
    : m_facts(std::move(facts)),
      m_message(message),
      m_distributions(nullptr),
      m_merged(nullptr),
      m_given(&records),
      m_givenDistributions(nullptr) {}

CKZStatSliceValues::CKZStatSliceValues(
    CKZStatSliceFacts facts, const RWCString& message,
    const std::vector<CKZStatMessageRecord>& records,
    const std::vector<const CKZStatDistribution*>& lastsDistributions)
    : m_facts(std::move(facts)),
      m_message(message),
      m_distributions(nullptr),
      m_merged(nullptr),
      m_given(&records),
      m_givenDistributions(&lastsDistributions) {}

CKZStatSliceValues::CKZStatSliceValues(const CKZStatSliceValues& shown, CKZStatSliceFacts facts)
    : m_facts(std::move(facts)),
      m_message(shown.m_message),
      m_distributions(shown.m_distributions),
      m_merged(shown.m_merged),
      m_given(shown.m_given),
      m_givenDistributions(shown.m_givenDistributions) {}

CKZStatSliceValues::~CKZStatSliceValues() = default;

const std::vector<CKZStatSliceValues::Record>& CKZStatSliceValues::GetRecords() const {
    if (!m_isListed) ListRecords();
    return m_records;
}

void CKZStatSliceValues::ListRecords() const {
    m_records.clear();  // an earlier call may have run out of memory
    if (m_merged != nullptr) {
        m_records.reserve(m_merged->entries());
        m_merged->ForEachMeasurement(
            [this](std::string_view name, const CKZStatGenMeasurement& measurement) {
                CKZStatGenDistributions::Shown shown;
                if (m_distributions != nullptr) shown = m_distributions->Show(name, measurement);
                m_records.push_back({name, measurement.GetType(), measurement.GetTotals(),
                                     measurement.GetLasts(), shown.totals, shown.lasts});
            });
    } else {
        m_records.reserve(m_given->size());
        for (const CKZStatMessageRecord& record : *m_given)
            m_records.push_back(
                {record.name.view(), record.type, record.totals, record.lasts, nullptr,
                 m_givenDistributions != nullptr ? (*m_givenDistributions)[m_records.size()]
                                                 : nullptr});
    }
    m_isListed = true;
}

const CKZStatSliceValues::Record* CKZStatSliceValues::FindRecord(std::string_view name) const {
    const std::vector<Record>& records = GetRecords();
    const auto positionOf = [&](std::string_view wanted) {
        return m_index.Find(wanted, [&](std::size_t at) { return records[at].name; });
    };
    if (!m_isIndexed) {
        m_index.Clear();
        for (std::size_t i = 0; i < records.size(); ++i)
            if (positionOf(records[i].name) == CKZStatNameIndex::kNone)
                m_index.Add(records[i].name, i);
        m_isIndexed = true;
    }
    const std::size_t position = positionOf(name);
    return position == CKZStatNameIndex::kNone ? nullptr : &records[position];
}
