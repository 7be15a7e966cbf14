#include "slicesum.h"

namespace kzjournal {

void MakeSum(Slice& slice) {
    slice.message.clear();
    for (CKZStatMessageRecord& record : slice.records) record.totals = {};
    RecordDistributions distributions;
    for (std::size_t i = 0; i < slice.records.size(); ++i)
        distributions.Add(slice.distributions.FormOf(i), PercentilesOf({}));
    slice.distributions = std::move(distributions);
}

SliceSum::Name& SliceSum::Find(const CKZStatMessageRecord& record) {
    const auto [found, isNew] =
        m_positions.try_emplace(std::string(record.name.view()), m_names.size());
    if (isNew) m_names.push_back({{record.name, record.type, {}, {}}, {}});
    return m_names[found->second];
}

bool SliceSum::Add(const Slice& slice) {
    m_last.id = slice.id;
    m_last.elapsed = slice.elapsed;
    m_last.endTime = slice.endTime;
    for (std::size_t i = 0; i < slice.records.size(); ++i) {
        const CKZStatMessageRecord& record = slice.records[i];
        Name& name = Find(record);
        if (!(record.lasts.count >= 0) || record.type != name.record.type) return false;
        name.record.lasts.Add(record.lasts);
        const bool hasOne = slice.ReadDistribution(i, m_read);
        name.distribution.Add(record.lasts, hasOne ? &m_read : nullptr);
    }
    return true;
}

Slice SliceSum::Get() const {
    Slice sum = m_last;
    std::string form;
    for (const Name& name : m_names) {
        sum.records.push_back(name.record);
        form.clear();
        if (const CKZStatDistribution* const values = name.distribution.Get()) values->Encode(form);
        sum.distributions.Add(form, PercentilesOf({}));
    }
    return sum;
}

}  // namespace kzjournal
