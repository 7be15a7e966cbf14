#include "statistics.h"

#include <cmath>
#include <limits>
#include <memory>

#include "kzstatpointbuilder.h"

namespace kzstat {
namespace {

using Types = CKZStatPointTypeEnum;

constexpr int kTimers = Types::Timer | Types::TransactionTimer;
constexpr int kSums = Types::Counter | Types::Accumulator | Types::TransactionCounter |
                      Types::TransactionReasonCounter | Types::MeasurementPerSec |
                      Types::CounterPerSec | Types::AccumulatorPerSec;

/// What a message's three decimals may hide.
constexpr double kRounding = 0.0005;

const char* UnitOf(Types::PointType type) {
    return type & kTimers ? "ms" : "";
}

std::optional<double> RateOf(const CKZStatMessageRecord& record, double seconds) {
    if (!(seconds > 0)) return std::nullopt;
    if (record.type & kTimers) return record.totals.count / seconds;
    if (record.type & kSums) return record.totals.sum / seconds;
    return std::nullopt;
}

bool IsOfSlice(StatisticsDataType statistic) {
    return statistic >= StatLastMin;
}

}  // namespace

Deviation StandardDeviation(const CKZStatMessageRecord::Aggregate& aggregate) {
    const long double n = aggregate.count;
    const long double mean = aggregate.sum / n;
    const long double meanSquare = aggregate.sumSqr / n;
    const long double variance = std::max(meanSquare - mean * mean, 0.0L);

    // Each of the n additions may have rounded by half a unit in the last place; the squares have
    // been rounded before, and both sums once more when they were written.
    const long double unit = std::numeric_limits<double>::epsilon() / 2;
    const long double squaresError = (n + 1) * unit * meanSquare + kRounding / n;
    const long double meanError = (n + 1) * unit * std::sqrt(meanSquare) + kRounding / n;
    const long double error = squaresError + 2 * std::abs(mean) * meanError + meanError * meanError;

    const long double deviation = std::sqrt(variance);
    // From |sqrt(a) - sqrt(b)| <= |a - b| / sqrt(a) and <= sqrt(|a - b|).
    const long double deviationError = variance > error ? error / deviation : std::sqrt(error);
    return {static_cast<double>(deviation), static_cast<double>(deviationError)};
}

Statistics StatisticsOf(const CKZStatMessageRecord& record, double seconds) {
    Statistics statistics{{record.name.data(), record.name.length()},
                          record.type,
                          UnitOf(record.type),
                          {},
                          {},
                          {},
                          {},
                          {},
                          {},
                          {},
                          {}};
    if (record.type == Types::NotSet) return statistics;

    const std::unique_ptr<CKZStatPoint> point(
        CKZStatPointBuilder::BuildPoint(record.type, record.GetItem(seconds)));
    const auto meaningful = [&](StatisticsDataType statistic) -> std::optional<double> {
        const double count = IsOfSlice(statistic) ? record.lasts.count : record.totals.count;
        if (!(count > 0) || (point->GetMask() >> statistic & 1) == 0) return std::nullopt;
        return point->GetValueByType(statistic);
    };
    statistics.count = meaningful(StatCount);
    statistics.rate = RateOf(record, seconds);
    statistics.minimum = meaningful(StatMin);
    statistics.average = meaningful(StatAverage);
    statistics.maximum = meaningful(StatMax);
    statistics.sum = meaningful(StatSum);
    statistics.current = meaningful(point->GetCurrentValueIndex());
    // Values that are samples spread; those that are added up do not.
    if (meaningful(StatAverage) && point->GetCurrentValueIndex() == StatLastAverage)
        statistics.deviation = StandardDeviation(record.totals);
    return statistics;
}

}  // namespace kzstat
