#ifndef KZCONDITIONS_MEANINGFULSTATISTICS_H
#define KZCONDITIONS_MEANINGFULSTATISTICS_H

#include <optional>

#include "kzstatdistribution.h"
#include "kzstatmessage.h"
#include "kzstatpoint.h"
#include "kzstatpointkind.h"

namespace kzconditions {

/// The unit of names that tell of bytes.
constexpr char kBytes[] = "bytes";

/// The statistics of a record, which must outlive this: nothing for one that its kind does not
/// declare meaningful, and for one that has no value. Compatible.
class MeaningfulStatistics {
public:
    explicit MeaningfulStatistics(const CKZStatMessageRecord& record);

    std::optional<double> Get(StatisticsDataType statistic) const;
    /// Of the values; empty where it is unknown.
    const char* Unit() const;
    /// What the kind calls the current value.
    std::optional<double> Current() const;
    std::optional<CKZStatDeviation> Deviation() const;
    /// Of what runs through, in `seconds`.
    std::optional<double> Rate(double seconds) const;

private:
    std::optional<double> If(StatisticsDataType statistic, const CKZStatAggregate& aggregate,
                             double value) const;

    const CKZStatMessageRecord& m_record;
    const CKZStatPointKind* const m_kind;  // null where the type has none
};

/// Nothing without a distribution, and without values other than NaN.
std::optional<double> QuantileOf(const std::optional<CKZStatDistribution>& distribution,
                                 double quantile);

}  // namespace kzconditions

#endif
