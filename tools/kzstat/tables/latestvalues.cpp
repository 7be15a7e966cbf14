#include "tables/latestvalues.h"

#include <algorithm>
#include <limits>

#include "figures/statistics.h"
#include "tables/sparkline.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr int kLatest = 20;

}  // namespace

void LatestValues::Update(kzjournal::Reader& journal) {
    const int before = std::max(m_lastSliceId, journal.LastSliceId() - kLatest);
    journal.ForEachSliceAfter(before, [this](const kzjournal::Slice& slice) { Take(slice); });
}

void LatestValues::Take(const kzjournal::Slice& slice) {
    m_lastSliceId = slice.id;
    for (const CKZStatMessageRecord& record : slice.records) {
        auto& values = m_values[TextOf(record.name)];
        values.push_back(CurrentValueOf(record).value_or(std::numeric_limits<double>::quiet_NaN()));
        if (values.size() > kLatest) values.pop_front();
    }
}

std::string LatestValues::LineOf(const std::string& name) const {
    const auto found = m_values.find(name);
    if (found == m_values.end()) return "";
    return Sparkline({found->second.begin(), found->second.end()});
}

}  // namespace kzstatprogram
