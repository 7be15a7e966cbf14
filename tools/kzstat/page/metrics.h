#ifndef KZSTATPROGRAM_METRICS_H
#define KZSTATPROGRAM_METRICS_H

#include <string>

#include "figures/runhistory.h"

namespace kzstatprogram {

/// The run as it stands, in the text exposition format of Prometheus.
std::string MetricsText(const RunHistory& history);

}  // namespace kzstatprogram

#endif
