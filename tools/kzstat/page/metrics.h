#ifndef KZSTAT_METRICS_H
#define KZSTAT_METRICS_H

#include <string>

#include "figures/runhistory.h"

namespace kzstat {

/// The run as it stands, in the text exposition format of Prometheus.
std::string MetricsText(const RunHistory& history);

}  // namespace kzstat

#endif
