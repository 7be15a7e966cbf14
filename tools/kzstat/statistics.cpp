#include "statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "kzstatpointbuilder.h"
#include "texts.h"

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
    const double flow = FlowOf(record.type, record.totals);
    if (!(seconds > 0) || std::isnan(flow) || record.type == Types::LoadSize) return std::nullopt;
    return flow / seconds;
}

/// A record as a point of its kind, which knows what is meaningful.
class PointStatistics {
public:
    PointStatistics(const CKZStatMessageRecord& record, double time) : m_record(record) {
        if (record.type != Types::NotSet)
            m_point.reset(CKZStatPointBuilder::BuildPoint(record.type, record.GetItem(time)));
    }

    /// Nothing for a statistic that is not meaningful or has no value.
    std::optional<double> Get(StatisticsDataType statistic) const {
        const bool isOfSlice = statistic >= StatLastMin;
        const double count = isOfSlice ? m_record.lasts.count : m_record.totals.count;
        if (!m_point || !(count > 0) || (m_point->GetMask() >> statistic & 1) == 0)
            return std::nullopt;
        return m_point->GetValueByType(statistic);
    }

    std::optional<double> Current() const {
        return m_point ? Get(m_point->GetCurrentValueIndex()) : std::nullopt;
    }

    bool HasSamples() const { return Get(StatAverage) && IsSampled(m_record.type); }

private:
    const CKZStatMessageRecord& m_record;
    std::unique_ptr<CKZStatPoint> m_point;
};

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

std::optional<double> CurrentValueOf(const CKZStatMessageRecord& record) {
    return PointStatistics(record, 0).Current();
}

bool IsSampled(Types::PointType type) {
    if (type == Types::NotSet) return false;
    const std::unique_ptr<CKZStatPoint> point(CKZStatPointBuilder::BuildPoint(type));
    return point->GetCurrentValueIndex() == StatLastAverage;
}

double FlowOf(Types::PointType type, const CKZStatMessageRecord::Aggregate& aggregate) {
    if (type & kTimers) return aggregate.count;
    if (type & (kSums | Types::LoadSize)) return aggregate.sum;
    return std::numeric_limits<double>::quiet_NaN();
}

Statistics StatisticsOf(const CKZStatMessageRecord& record, double seconds) {
    const PointStatistics point(record, seconds);
    Statistics statistics;
    statistics.name = TextOf(record.name);
    statistics.type = record.type;
    statistics.unit = UnitOf(record.type);
    statistics.count = point.Get(StatCount);
    statistics.rate = RateOf(record, seconds);
    statistics.minimum = point.Get(StatMin);
    statistics.average = point.Get(StatAverage);
    statistics.maximum = point.Get(StatMax);
    statistics.sum = point.Get(StatSum);
    statistics.current = point.Current();
    if (point.HasSamples()) statistics.deviation = StandardDeviation(record.totals);
    return statistics;
}

}  // namespace kzstat
