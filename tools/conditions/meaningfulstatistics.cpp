#include "conditions/meaningfulstatistics.h"

#include "terminal/namewords.h"

namespace kzconditions {

MeaningfulStatistics::MeaningfulStatistics(const CKZStatMessageRecord& record)
    : m_record(record), m_kind(CKZStatPointKind::Find(record.type)) {}

std::optional<double> MeaningfulStatistics::Get(StatisticsDataType statistic) const {
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

const char* MeaningfulStatistics::Unit() const {
    const char* const unit = m_kind != nullptr ? m_kind->unit : "";
    return *unit == '\0' && kzterminal::NamesBytes(m_record.name.view()) ? kBytes : unit;
}

std::optional<double> MeaningfulStatistics::Current() const {
    return m_kind != nullptr ? Get(m_kind->CurrentValueIndex()) : std::nullopt;
}

std::optional<CKZStatDeviation> MeaningfulStatistics::Deviation() const {
    if (!Get(StatAverage) || m_kind->reading != CKZStatPointKind::Sampled) return std::nullopt;
    return m_record.totals.Deviation();
}

std::optional<double> MeaningfulStatistics::Rate(double seconds) const {
    const bool hasRate = m_kind != nullptr && m_kind->rate != CKZStatPointKind::NoRate;
    if (!hasRate || !(seconds > 0)) return std::nullopt;
    return m_kind->Flow(m_record.totals) / seconds;
}

std::optional<double> MeaningfulStatistics::If(StatisticsDataType statistic,
                                               const CKZStatAggregate& aggregate,
                                               double value) const {
    const bool isMeaningful = m_kind != nullptr && (m_kind->mask >> statistic & 1) != 0;
    if (!isMeaningful || !aggregate.HasValues()) return std::nullopt;
    return value;
}

std::optional<double> QuantileOf(const std::optional<CKZStatDistribution>& distribution,
                                 double quantile) {
    if (!distribution || distribution->GetCount() == distribution->GetNaNCount())
        return std::nullopt;
    return distribution->Quantile(quantile);
}

}  // namespace kzconditions
