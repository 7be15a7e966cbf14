#ifndef KZSTAT_STATISTICS_H
#define KZSTAT_STATISTICS_H

#include <optional>
#include <string>

#include "kzstatmessage.h"

namespace kzstat {

/// A standard deviation and how far rounding may have moved it from that of the values themselves.
struct Deviation {
    double value;
    double error;
};

/// sqrt(max(0, sum of squares / n - (sum / n)^2)): the standard deviation of the n values, computed
/// in extended precision, so that the formula adds nothing to the error of its terms. Where the
/// values lie close together far from 0 the terms nearly cancel out; `error` says what is left of
/// the truth then. REQUIRES: the count is above 0.
Deviation StandardDeviation(const CKZStatMessageRecord::Aggregate& aggregate);

/// The statistics of one name that its kind declares meaningful; nothing for the others, and for
/// those that have no value.
struct Statistics {
    std::string name;
    CKZStatPointTypeEnum::PointType type = CKZStatPointTypeEnum::NotSet;
    const char* unit = "";  ///< of the values; empty where it is unknown
    std::optional<double> count;
    std::optional<double> rate;  ///< per second: the values of timers, the sums of counters
    std::optional<double> minimum;
    std::optional<double> average;
    std::optional<double> maximum;
    std::optional<Deviation> deviation;
    std::optional<double> sum;
    std::optional<double> current;  ///< of the last slice
};

/// Of the last slice, what the record's kind calls its current value.
std::optional<double> CurrentValueOf(const CKZStatMessageRecord& record);

/// True for kinds whose values are samples, which spread; those of the others are added up.
bool IsSampled(CKZStatPointTypeEnum::PointType type);

/// What runs through a slice, so that it is drawn per second: the number of values of timers, the
/// sums of what is counted. The load size is a level and drawn as it is. NaN for the other kinds.
double FlowOf(CKZStatPointTypeEnum::PointType type,
              const CKZStatMessageRecord::Aggregate& aggregate);

/// `seconds` is the time that the totals cover.
Statistics StatisticsOf(const CKZStatMessageRecord& record, double seconds);

}  // namespace kzstat

#endif
