#include "figures/statistics.h"

#include <limits>
#include <string_view>
#include <utility>

#include "conditions/meaningfulstatistics.h"
#include "figures/levels.h"
#include "figures/livesummary.h"
#include "kzstatpoint.h"
#include "kzstatpointkind.h"
#include "text/texts.h"

namespace kzstatprogram {

using kzconditions::MeaningfulStatistics;

std::optional<double> QuantileOf(const Statistics& statistics, double quantile) {
    return kzconditions::QuantileOf(statistics.distribution, quantile);
}

std::optional<double> BoundOfDeviation(const CKZStatDeviation& deviation) {
    const bool isBelowRounding = deviation.error > 0 && deviation.value <= deviation.error;
    return isBelowRounding ? std::optional(deviation.value + deviation.error) : std::nullopt;
}

bool HasAll(const CKZStatDistribution& distribution, double count) {
    return static_cast<double>(distribution.GetCount()) == count;
}

std::optional<double> CurrentValueOf(const CKZStatMessageRecord& record) {
    return MeaningfulStatistics(record).Current();
}

bool IsInBytes(const Statistics& statistics) {
    return std::string_view(statistics.unit) == kzconditions::kBytes;
}

double FlowOf(CKZStatPointTypeEnum::PointType type, const CKZStatAggregate& aggregate) {
    if (IsLevel(type)) return LevelOf(aggregate);
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(type);
    return kind != nullptr ? kind->Flow(aggregate) : std::numeric_limits<double>::quiet_NaN();
}

namespace {

/// Values that are all the same have none, though rounding may leave one.
std::optional<CKZStatDeviation> DeviationOf(const MeaningfulStatistics& meaningful) {
    const std::optional<CKZStatDeviation> deviation = meaningful.Deviation();
    const std::optional<double> minimum = meaningful.Get(StatMin);
    const bool isConstant = minimum && minimum == meaningful.Get(StatMax);
    if (deviation && isConstant && BoundOfDeviation(*deviation)) return CKZStatDeviation{0, 0};
    return deviation;
}

}  // namespace

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
    statistics.deviation = DeviationOf(meaningful);
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
