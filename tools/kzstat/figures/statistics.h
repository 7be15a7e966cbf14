#ifndef KZSTATPROGRAM_STATISTICS_H
#define KZSTATPROGRAM_STATISTICS_H

#include <optional>
#include <string>
#include <vector>

#include "conditions/kinds.h"
#include "figures/slicerange.h"
#include "kzstatdistribution.h"
#include "kzstatmessage.h"
#include "reading/runreader.h"

namespace kzstatprogram {

using kzconditions::IsAddedUp;
using kzconditions::IsLevel;
using kzconditions::IsSampled;

class LiveSummary;

/// The statistics of one name that its kind declares meaningful; nothing for the others, and for
/// those that have no value.
struct Statistics {
    std::string name;
    CKZStatPointTypeEnum::PointType type = CKZStatPointTypeEnum::NotSet;
    /// Of the values: that of the kind or, where the name says so, "bytes"; empty if it is unknown.
    const char* unit = "";
    std::optional<double> count;
    std::optional<double> rate;  ///< per second: the values of timers, the sums of counters
    std::optional<double> minimum;
    std::optional<double> average;
    std::optional<double> maximum;
    std::optional<CKZStatDeviation> deviation;  ///< 0 if all values are the same
    std::optional<double> sum;
    std::optional<double> current;  ///< of the last slice
    /// Of all values, as far as it was asked for and is complete.
    std::optional<CKZStatDistribution> distribution;
};

/// Nothing without a distribution, and without values other than NaN.
std::optional<double> QuantileOf(const Statistics& statistics, double quantile);

/// What is told of a deviation that rounding may have made up: the bound that it stays below.
std::optional<double> BoundOfDeviation(const CKZStatDeviation& deviation);

/// Whether it is the distribution of all `count` values: one that has missed a value never becomes
/// complete again.
bool HasAll(const CKZStatDistribution& distribution, double count);

/// Of the last slice, what the record's kind calls its current value.
std::optional<double> CurrentValueOf(const CKZStatMessageRecord& record);

/// True where the unit is "bytes".
bool IsInBytes(const Statistics& statistics);

/// What runs through a slice, as the kind of `type` has it; the level of a level. NaN for the other
/// kinds, and where no level was reported.
double FlowOf(CKZStatPointTypeEnum::PointType type, const CKZStatAggregate& aggregate);

/// `seconds` is the time that the totals cover.
Statistics StatisticsOf(const CKZStatMessageRecord& record, double seconds);

/// With the distribution.
Statistics StatisticsOf(kzjournal::NameSummary summary, double seconds);

/// Every name of the run over the range, with distributions. Reads all slices in the range where
/// they have some.
std::vector<Statistics> StatisticsOf(RunReader& run, const SliceRange& range);
/// The same of a run that goes on.
std::vector<Statistics> StatisticsOf(const LiveSummary& summary, double seconds);

}  // namespace kzstatprogram

#endif
