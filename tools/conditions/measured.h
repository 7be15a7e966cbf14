#ifndef KZCONDITIONS_MEASURED_H
#define KZCONDITIONS_MEASURED_H

#include <optional>
#include <string>

#include "conditions/condition.h"
#include "conditions/figures.h"

namespace kzconditions {

/// What a run has of the statistic of a condition. Compatible.
struct Measured {
    std::optional<double> value;
    std::string unit;    ///< "ms", "%" or empty
    std::string reason;  ///< why there is no value
};

/// Names that failures and abandoned work would have count 0 times if the run does not have them.
/// What a kind without a count counts is its sum. Safe for concurrent use.
Measured Measure(const Condition& condition, const Figures& run);

}  // namespace kzconditions

#endif
