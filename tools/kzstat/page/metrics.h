#ifndef KZSTATPROGRAM_METRICS_H
#define KZSTATPROGRAM_METRICS_H

#include <cstddef>
#include <optional>
#include <string>

#include "figures/runhistory.h"

namespace kzstatprogram {

/// How far somebody has come who reads the metrics. Compatible.
struct MetricsPosition {
    std::string run;  ///< its id; empty at the beginning
    std::size_t family = 0;
    bool hasHeader = false;
    std::optional<std::string> lastName;  ///< of the family
};

/// The run as it stands, in the text exposition format of Prometheus, in parts that are not large.
/// All that is told of a name in one family is of the same moment, and so is all of the run if it
/// has few names. Empty behind the end. Throws kzjournal::Error if it is not the run of the
/// position.
std::string NextMetricsPart(const RunHistory& history, MetricsPosition& position);

/// The lines of a classic histogram; nothing unless it is a timer with a distribution, which
/// `distribution` is, or null. Each `le` is a nanosecond below the bound of a bucket of the
/// distribution, below which counts are exact: what is measured in whole nanoseconds is at most
/// `le` if it is below the bound. +Inf counts NaN too.
std::string HistogramText(const std::string& name, const CKZStatMessageRecord& record,
                          const CKZStatDistribution* distribution);

}  // namespace kzstatprogram

#endif
