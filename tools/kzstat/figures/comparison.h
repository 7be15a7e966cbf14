#ifndef KZSTATPROGRAM_COMPARISON_H
#define KZSTATPROGRAM_COMPARISON_H

#include <optional>
#include <string>
#include <vector>

#include "figures/comparedrun.h"
#include "figures/meanestimate.h"
#include "figures/statistics.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// Rarer than that by chance counts as a change.
constexpr double kSignificance = 0.01;

/// What a name is compared by: the mean of its values where those spread (timers, measurements),
/// the rate at which they come where a side has none or they are of failures, the rate of their sum
/// (counters), or the level (load sizes).
enum class Tested { Means, RatesOfValues, Rates, Levels };

/// What may be said of a difference.
enum class Finding {
    Marked,         ///< chance alone would seldom make it, and it is large enough to matter
    Unclear,        ///< chance alone may well make it
    BelowLeast,     ///< it is there, but too small to matter
    TooFewSamples,  ///< a side has fewer slices or runs than can be tested
    NotComparable   ///< a side has no value, or one that is no finite number
};

/// A percentile of all values of each side. Compatible.
struct PercentileDifference {
    Percentile percentile;
    std::optional<double> before;
    std::optional<double> after;
    std::optional<double> probability;  ///< of such a difference by chance
    Finding finding;
};

/// One name of two sides. Compatible.
struct Difference {
    const Statistics* before;
    const Statistics* after;
    Tested tested;
    MeanEstimate meanBefore;
    MeanEstimate meanAfter;
    std::optional<double> probability;  ///< of such a difference by chance
    Finding finding;
    /// Those that were asked for, if the values are samples on both sides and one has their
    /// distribution.
    std::vector<PercentileDifference> percentiles;
};

/// By name, of the names that both have. `least` is the smallest difference that matters, in parts
/// of `before`. The differences point into both sides.
std::vector<Difference> Compare(const ComparedRun& before, const ComparedRun& after, double least,
                                const std::vector<Percentile>& percentiles = {});

/// Why no name at all is marked: a line. Nothing where names are tested.
std::optional<std::string> ReasonWhyNothingIsTested(const ComparedRun& before,
                                                    const ComparedRun& after);

/// The difference in parts of `before`; nothing where one is missing or `before` is 0.
std::optional<double> RelativeDifference(const std::optional<double>& before,
                                         const std::optional<double>& after);

}  // namespace kzstatprogram

#endif
