#include "figures/statistics.h"

#include <limits>
#include <string_view>
#include <utility>

#include "figures/levels.h"
#include "figures/livesummary.h"
#include "kzstatpoint.h"
#include "kzstatpointkind.h"
#include "terminal/namewords.h"
#include "text/texts.h"

namespace kzstatprogram {
namespace {

constexpr char kBytes[] = "bytes";

/// `kind` is null for a type that has none.
bool Reads(const CKZStatPointKind* kind, CKZStatPointKind::Reading reading) {
    return kind != nullptr && kind->reading == reading;
}

/// Nothing for a statistic that is not meaningful or has no value.
class MeaningfulStatistics {
public:
    explicit MeaningfulStatistics(const CKZStatMessageRecord& record)
        : m_record(record), m_kind(CKZStatPointKind::Find(record.type)) {}

    std::optional<double> Get(StatisticsDataType statistic) const {
        switch (statistic) {
            case StatMin:
                return If(statistic, m_record.totals, m_record.totals.minimum);
            case StatMax:
                return If(statistic, m_record.totals, m_record.totals.maximum);
            case StatCount:
                return If(statistic, m_record.totals, m_record.totals.count);
            case StatSum:
                return If(statistic, m_record.totals, m_record.totals.sum);
            case StatAverage:
                return If(statistic, m_record.totals, m_record.totals.Average());
            case StatLastSum:
                return If(statistic, m_record.lasts, m_record.lasts.sum);
            case StatLastAverage:
                return If(statistic, m_record.lasts, m_record.lasts.Average());
            default:
                return std::nullopt;
        }
    }

    const char* Unit() const {
        const char* const unit = m_kind != nullptr ? m_kind->unit : "";
        return *unit == '\0' && kzterminal::NamesBytes(m_record.name.view()) ? kBytes : unit;
    }

    std::optional<double> Current() const {
        return m_kind != nullptr ? Get(m_kind->CurrentValueIndex()) : std::nullopt;
    }

    std::optional<CKZStatDeviation> Deviation() const {
        if (!Get(StatAverage) || !Reads(m_kind, CKZStatPointKind::Sampled)) return std::nullopt;
        return m_record.totals.Deviation();
    }

    std::optional<double> Rate(double seconds) const {
        const bool hasRate = m_kind != nullptr && m_kind->rate != CKZStatPointKind::NoRate;
        if (!hasRate || !(seconds > 0)) return std::nullopt;
        return m_kind->Flow(m_record.totals) / seconds;
    }

private:
    std::optional<double> If(StatisticsDataType statistic, const CKZStatAggregate& aggregate,
                             double value) const {
        const bool isMeaningful = m_kind != nullptr && (m_kind->mask >> statistic & 1) != 0;
        if (!isMeaningful || !aggregate.HasValues()) return std::nullopt;
        return value;
    }

    const CKZStatMessageRecord& m_record;
    const CKZStatPointKind* const m_kind;  // null where the type has none
};

}  // namespace

std::optional<double> QuantileOf(const Statistics& statistics, double quantile) {
    const auto& distribution = statistics.distribution;
    if (!distribution || distribution->GetCount() == distribution->GetNaNCount())
        return std::nullopt;
    return distribution->Quantile(quantile);
}

std::optional<double> CurrentValueOf(const CKZStatMessageRecord& record) {
    return MeaningfulStatistics(record).Current();
}

bool IsSampled(CKZStatPointTypeEnum::PointType type) {
    return Reads(CKZStatPointKind::Find(type), CKZStatPointKind::Sampled);
}

bool IsLevel(CKZStatPointTypeEnum::PointType type) {
    return Reads(CKZStatPointKind::Find(type), CKZStatPointKind::Level);
}

bool IsAddedUp(CKZStatPointTypeEnum::PointType type) {
    return Reads(CKZStatPointKind::Find(type), CKZStatPointKind::AddedUp);
}

bool IsInBytes(const Statistics& statistics) {
    return std::string_view(statistics.unit) == kBytes;
}

double FlowOf(CKZStatPointTypeEnum::PointType type, const CKZStatAggregate& aggregate) {
    if (IsLevel(type)) return LevelOf(aggregate);
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(type);
    return kind != nullptr ? kind->Flow(aggregate) : std::numeric_limits<double>::quiet_NaN();
}

Statistics StatisticsOf(const CKZStatMessageRecord& record, double seconds) {
    const MeaningfulStatistics meaningful(record);
    Statistics statistics;
    statistics.name = TextOf(record.name);
    statistics.type = record.type;
    statistics.unit = meaningful.Unit();
    statistics.count = meaningful.Get(StatCount);
    statistics.rate = meaningful.Rate(seconds);
    statistics.minimum = meaningful.Get(StatMin);
    statistics.average = meaningful.Get(StatAverage);
    statistics.maximum = meaningful.Get(StatMax);
    statistics.sum = meaningful.Get(StatSum);
    statistics.current = meaningful.Current();
    statistics.deviation = meaningful.Deviation();
    return statistics;
}

Statistics StatisticsOf(kzjournal::NameSummary summary, double seconds) {
    Statistics statistics = StatisticsOf(summary.record, seconds);
    statistics.distribution = std::move(summary.distribution);
    return statistics;
}

std::vector<Statistics> StatisticsOf(RunReader& run, const SliceRange& range) {
    const double seconds = SecondsOf(run, range);
    std::vector<Statistics> rows;
    for (kzjournal::NameSummary& each : SummaryWithLevels(run, range))
        rows.push_back(StatisticsOf(std::move(each), seconds));
    return rows;
}

std::vector<Statistics> StatisticsOf(const LiveSummary& summary, double seconds) {
    std::vector<Statistics> rows;
    for (const auto& [name, each] : summary.Names()) rows.push_back(StatisticsOf(each, seconds));
    return rows;
}

}  // namespace kzstatprogram
