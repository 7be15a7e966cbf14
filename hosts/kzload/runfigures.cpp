#include "runfigures.h"

#include "conditions/condition.h"
#include "conditions/percentile.h"
#include "kzstatpointkind.h"
#include "terminal/namewords.h"

namespace kzload {
namespace {

/// A statistic of the run, by what conditions call it, and whether a kind has it.
struct NamedStatistic {
    const char* name;
    StatisticsDataType index;
    double (*valueIn)(const CKZStatAggregate& values);
};
constexpr NamedStatistic kStatistics[] = {
    {kzconditions::kCount, StatCount, [](const CKZStatAggregate& values) { return values.count; }},
    {"min", StatMin, [](const CKZStatAggregate& values) { return values.minimum; }},
    {"mean", StatAverage, [](const CKZStatAggregate& values) { return values.Average(); }},
    {"max", StatMax, [](const CKZStatAggregate& values) { return values.maximum; }},
    {kzconditions::kSum, StatSum, [](const CKZStatAggregate& values) { return values.sum; }}};

bool IsLevel(const CKZStatSliceValues::Record& record) {
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(record.type);
    return kind != nullptr && kind->reading == CKZStatPointKind::Level;
}

/// A level is averaged over slices.
void AddTo(CKZStatAggregate& totals, const CKZStatSliceValues::Record& record) {
    if (IsLevel(record))
        totals.Add(record.lasts.sum);
    else
        totals.Add(record.lasts);
}

std::optional<double> QuantileOf(const std::optional<CKZStatDistribution>& distribution,
                                 double quantile) {
    if (!distribution || distribution->GetCount() == distribution->GetNaNCount())
        return std::nullopt;
    return distribution->Quantile(quantile);
}

/// As kzstat has it.
std::string UnitOf(const std::string& name, CKZStatPointTypeEnum::PointType type) {
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(type);
    if (kind != nullptr && *kind->unit != '\0') return kind->unit;
    return kzterminal::NamesBytes(name) ? "bytes" : "";
}

std::optional<double> LastOf(const CKZStatPointKind& kind, const CKZStatAggregate& lasts) {
    if (!lasts.HasValues()) return std::nullopt;
    return kind.CurrentValueIndex() == StatLastAverage ? lasts.Average() : lasts.sum;
}

std::optional<double> DeviationOf(const CKZStatPointKind& kind, const CKZStatAggregate& totals) {
    if (!totals.HasValues() || kind.reading != CKZStatPointKind::Sampled) return std::nullopt;
    return totals.Deviation().value;
}

}  // namespace

void RunFigures::Add(const CKZStatSliceValues& slice, double loadSeconds, bool isUnderLoad) {
    m_loadSeconds += loadSeconds;
    for (const CKZStatSliceValues::Record& record : slice.GetRecords()) {
        Record& sum = m_records[std::string(record.name)];
        sum.type = record.type;
        if (isUnderLoad) sum.lasts = record.lasts;
        if (!record.lasts.HasValues() || (IsLevel(record) && !isUnderLoad)) continue;
        AddTo(sum.totals, record);
        if (record.lastsDistribution == nullptr)
            sum.distribution.reset();
        else if (sum.distribution)
            sum.distribution->Add(*record.lastsDistribution);
    }
}

std::vector<std::string> RunFigures::Names() const {
    std::vector<std::string> names;
    for (const auto& [name, record] : m_records) names.push_back(name);
    return names;
}

auto RunFigures::Find(const std::string& name) const -> std::optional<Name> {
    const auto found = m_records.find(name);
    if (found == m_records.end()) return std::nullopt;
    return Name{found->second.type, UnitOf(name, found->second.type),
                found->second.distribution.has_value()};
}

std::optional<double> RunFigures::ValueOf(const std::string& name,
                                          const std::string& statistic) const {
    const auto found = m_records.find(name);
    if (found == m_records.end()) return std::nullopt;
    const Record& record = found->second;
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(record.type);
    if (kind == nullptr) return std::nullopt;
    for (const NamedStatistic& each : kStatistics)
        if (statistic == each.name && (kind->mask >> each.index & 1) != 0 &&
            record.totals.HasValues())
            return each.valueIn(record.totals);
    if (statistic == kzconditions::kRate) return RateOf(record);
    if (statistic == "last") return LastOf(*kind, record.lasts);
    if (statistic == "stddev") return DeviationOf(*kind, record.totals);
    const auto percentile = kzconditions::FindPercentile(statistic);
    return percentile ? QuantileOf(record.distribution, percentile->quantile) : std::nullopt;
}

std::optional<double> RunFigures::RateOf(const Record& record) const {
    const CKZStatPointKind& kind = *CKZStatPointKind::Find(record.type);
    if (kind.rate == CKZStatPointKind::NoRate || !(m_loadSeconds > 0)) return std::nullopt;
    return kind.Flow(record.totals) / m_loadSeconds;
}

}  // namespace kzload
