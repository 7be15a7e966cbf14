#include "runfigures.h"

#include "conditions/condition.h"
#include "conditions/kinds.h"
#include "conditions/meaningfulstatistics.h"
#include "conditions/percentile.h"

namespace kzload {

using kzconditions::IsLevel;
using kzconditions::MeaningfulStatistics;

namespace {

/// A statistic of the run, by what conditions call it.
struct NamedStatistic {
    const char* name;
    StatisticsDataType index;
};
constexpr NamedStatistic kStatistics[] = {{kzconditions::kCount, StatCount},
                                          {"min", StatMin},
                                          {"mean", StatAverage},
                                          {"max", StatMax},
                                          {kzconditions::kSum, StatSum}};

/// A level is averaged over slices.
void AddTo(CKZStatAggregate& totals, const CKZStatSliceValues::Record& record) {
    if (IsLevel(record.type))
        totals.Add(record.lasts.sum);
    else
        totals.Add(record.lasts);
}

}  // namespace

void RunFigures::Add(const CKZStatSliceValues& slice, double loadSeconds, bool isUnderLoad) {
    m_loadSeconds += loadSeconds;
    for (const CKZStatSliceValues::Record& record : slice.GetRecords()) {
        Sum& sum = m_sums[std::string(record.name)];
        sum.record.name = RWCString(record.name.data(), record.name.size());
        sum.record.type = record.type;
        if (isUnderLoad) sum.record.lasts = record.lasts;
        if (!record.lasts.HasValues() || (IsLevel(record.type) && !isUnderLoad)) continue;
        AddTo(sum.record.totals, record);
        if (record.lastsDistribution == nullptr)
            sum.distribution.reset();
        else if (sum.distribution)
            sum.distribution->Add(*record.lastsDistribution);
    }
}

std::vector<std::string> RunFigures::Names() const {
    std::vector<std::string> names;
    for (const auto& [name, sum] : m_sums) names.push_back(name);
    return names;
}

auto RunFigures::Find(const std::string& name) const -> std::optional<Name> {
    const auto found = m_sums.find(name);
    if (found == m_sums.end()) return std::nullopt;
    const Sum& sum = found->second;
    return Name{sum.record.type, MeaningfulStatistics(sum.record).Unit(),
                sum.distribution.has_value()};
}

std::optional<double> RunFigures::ValueOf(const std::string& name,
                                          const std::string& statistic) const {
    const auto found = m_sums.find(name);
    if (found == m_sums.end()) return std::nullopt;
    const MeaningfulStatistics statistics(found->second.record);
    for (const NamedStatistic& each : kStatistics)
        if (statistic == each.name) return statistics.Get(each.index);
    if (statistic == kzconditions::kRate) return statistics.Rate(m_loadSeconds);
    if (statistic == "last") return statistics.Current();
    if (statistic == "stddev") {
        const std::optional<CKZStatDeviation> deviation = statistics.Deviation();
        return deviation ? std::optional(deviation->value) : std::nullopt;
    }
    const auto percentile = kzconditions::FindPercentile(statistic);
    return percentile ? kzconditions::QuantileOf(found->second.distribution, percentile->quantile)
                      : std::nullopt;
}

}  // namespace kzload
