#include "slicesum.h"

#include <cmath>
#include <map>
#include <string_view>

namespace kzjournal {
namespace {

bool AreSame(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

bool AreSame(const CKZStatAggregate& a, const CKZStatAggregate& b) {
    return AreSame(a.minimum, b.minimum) && AreSame(a.maximum, b.maximum) &&
           AreSame(a.count, b.count) && AreSame(a.sum, b.sum) && AreSame(a.sumSqr, b.sumSqr);
}

std::map<std::string_view, std::size_t> PositionsIn(const Slice& slice) {
    std::map<std::string_view, std::size_t> positions;
    for (std::size_t i = 0; i < slice.records.size(); ++i)
        positions.emplace(slice.records[i].name.view(), i);
    return positions;
}

}  // namespace

bool AreSameSums(const Slice& a, const Slice& b) {
    if (a.id != b.id || a.elapsed != b.elapsed || a.endTime != b.endTime) return false;
    if (a.records.size() != b.records.size()) return false;
    const std::map<std::string_view, std::size_t> positions = PositionsIn(b);
    for (std::size_t i = 0; i < a.records.size(); ++i) {
        const auto other = positions.find(a.records[i].name.view());
        if (other == positions.end()) return false;
        const CKZStatMessageRecord& record = b.records[other->second];
        if (a.records[i].type != record.type || !AreSame(a.records[i].lasts, record.lasts) ||
            a.distributions.FormOf(i) != b.distributions.FormOf(other->second))
            return false;
    }
    return true;
}

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
        slice.AddDistributionTo(name.distribution, i);
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
