#include "tables/latestvalues.h"

#include <algorithm>

#include "figures/statistics.h"
#include "figures/timeline.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr int kLatest = 20;

void Push(double value, std::deque<double>& values) {
    values.push_back(value);
    if (values.size() > kLatest) values.pop_front();
}

}  // namespace

void LatestValues::Update(RunReader& run) {
    const int before = std::max(m_lastSliceId, run.LastSliceId() - kLatest);
    run.ForEachSliceAfter(before, [this](const kzjournal::Slice& slice) { Take(slice); });
}

void LatestValues::Take(const kzjournal::Slice& slice) {
    const int missing = m_lastSliceId == 0 ? 0 : slice.id - m_lastSliceId - 1;
    for (auto& [name, values] : m_values)
        for (int i = 0; i < std::min(missing, kLatest); ++i) Push(kNoValue, values);
    m_lastSliceId = slice.id;
    for (const CKZStatMessageRecord& record : slice.records) {
        Push(CurrentValueOf(record).value_or(kNoValue), m_values[TextOf(record.name)]);
    }
}

std::vector<double> LatestValues::Of(const std::string& name, std::size_t most) const {
    const auto found = m_values.find(name);
    if (found == m_values.end()) return {};
    const std::deque<double>& values = found->second;
    return {values.end() - static_cast<std::ptrdiff_t>(std::min(most, values.size())),
            values.end()};
}

}  // namespace kzstatprogram
