#ifndef KZCONDITIONS_FAILURES_H
#define KZCONDITIONS_FAILURES_H

#include <optional>
#include <string>

#include "conditions/figures.h"

namespace kzconditions {

// Work that is reported as X if it succeeded is reported as X.failed if it failed, and each failure
// is counted as X.failed.CAUSE, too. X.abandoned is neither a success nor a failure. These
// functions are safe for concurrent use.

/// X of X.failed and X.failed.CAUSE, whatever runs have; nothing for other names.
std::optional<std::string> WorkMeantBy(const std::string& name);

/// X, if `name` is X.failed or X.failed.CAUSE and the run has X or X.failed.
std::optional<std::string> WorkThatFailed(const std::string& name, const Figures& run);

/// True if `name` is one that work of the run would have if it had failed or been abandoned: what
/// never happened has no name, and happened 0 times.
bool MayHaveNeverHappened(const std::string& name, const Figures& run);

/// How many values, of a counter how much in all; 0 without any.
double NumberOf(const std::string& name, const Figures& run);

/// Of all attempts of the work that failed under this name, in percent: no value without any
/// attempt, or if there is no such work.
std::optional<double> ShareOfFailures(const std::string& name, const Figures& run);

/// The failures among the attempts, in percent: the greater one of two shares, that of all
/// transactions and that of all other work that has failed. Transactions are made of work that has
/// names of its own; both together would count a failure twice. No value if nothing that takes time
/// was attempted.
std::optional<double> ShareOfErrors(const Figures& run);

}  // namespace kzconditions

#endif
