#ifndef KZSTATPROGRAM_COMPARISONOPTIONS_H
#define KZSTATPROGRAM_COMPARISONOPTIONS_H

#include <optional>
#include <vector>

#include "commands/commandline.h"
#include "commands/percentileoption.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// How runs are compared. Compatible.
struct ComparisonOptions {
    std::optional<double> leastPercent;
    PercentileOption percentiles;

    void Declare(Command& command);
    /// The smallest difference that is marked, in parts.
    double Least() const;
    /// Throws UsageError.
    std::vector<Percentile> Percentiles() const;
};

}  // namespace kzstatprogram

#endif
