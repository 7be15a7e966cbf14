#include "kzjournaldistributions.h"

#include <algorithm>
#include <limits>

namespace kzjournal {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr Percentiles kNoPercentiles{kNone, kNone, kNone, kNone, kNone};

}  // namespace

Percentiles PercentilesOf(const CKZStatDistribution& distribution) {
    Percentiles percentiles;
    std::transform(kStoredQuantiles.begin(), kStoredQuantiles.end(), percentiles.begin(),
                   [&](double quantile) { return distribution.Quantile(quantile); });
    return percentiles;
}

void RecordDistributions::Add(const CKZStatDistribution* distribution) {
    if (distribution == nullptr) return Add({}, kNoPercentiles);
    const std::size_t begin = m_forms.size();
    distribution->Encode(m_forms);
    m_entries.push_back({begin, m_forms.size() - begin, kzjournal::PercentilesOf(*distribution)});
}

void RecordDistributions::Add(std::string_view form, const Percentiles& percentiles) {
    const std::size_t begin = m_forms.size();
    m_forms.append(form);
    m_entries.push_back({begin, form.size(), percentiles});
}

void RecordDistributions::AddAll(const CKZStatSliceValues& slice) {
    for (const CKZStatSliceValues::Record& record : slice.GetRecords())
        Add(record.lastsDistribution);
}

void RecordDistributions::Clear() {
    m_forms.clear();
    m_entries.clear();
}

std::string_view RecordDistributions::FormOf(std::size_t position) const {
    if (position >= m_entries.size()) return {};
    const Entry& entry = m_entries[position];
    return std::string_view(m_forms).substr(entry.begin, entry.size);
}

const Percentiles& RecordDistributions::PercentilesOf(std::size_t position) const {
    return position < m_entries.size() ? m_entries[position].percentiles : kNoPercentiles;
}

}  // namespace kzjournal
