#ifndef KZSTATPROGRAM_METRICS_H
#define KZSTATPROGRAM_METRICS_H

#include <map>
#include <string>

#include "figures/runhistory.h"
#include "kzjournalreader.h"

namespace kzstatprogram {

/// The run as it stands, in the text exposition format of Prometheus.
std::string MetricsText(const RunHistory& history);

/// A classic histogram of each timer of the run whose distribution is complete; nothing where there
/// is none. Each `le` is a nanosecond below the bound of a bucket of the distribution, below which
/// counts are exact: what is measured in whole nanoseconds is at most `le` if it is below the
/// bound. +Inf counts NaN too.
std::string HistogramsText(const std::map<std::string, kzjournal::NameSummary>& names);

}  // namespace kzstatprogram

#endif
