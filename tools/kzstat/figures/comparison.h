#ifndef KZSTATPROGRAM_COMPARISON_H
#define KZSTATPROGRAM_COMPARISON_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "figures/meanestimate.h"
#include "figures/statistics.h"
#include "reading/runreader.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// What a name is compared by: the mean of its values where those spread (timers, measurements),
/// the rate at which they come where a side has none, the rate of their sum (counters), or the
/// level (load sizes).
enum class Tested { Means, RatesOfValues, Rates, Levels };

/// What samples are drawn from a name. Compatible.
struct Estimates {
    MeanEstimate
        mean;  ///< of the values; without samples where the kind of the name is not sampled
    MeanEstimate flow;  ///< the level, or per second: the values of sampled kinds, else their sum
};

/// What the samples of a comparison are.
enum class Sampling { Slices, Runs };

/// One side of a comparison: the slices of a run, or several runs. Compatible.
struct ComparedRun {
    std::vector<Statistics> statistics;  ///< sorted by name
    std::vector<Estimates> estimates;    ///< in the same order
    Sampling sampling = Sampling::Slices;
    std::size_t samples = 0;  ///< slices in the range, or runs

    const Statistics* Find(const std::string& name) const;
};

ComparedRun ReadForComparison(RunReader& run, const kzjournal::TimeRange& range);

/// The names of `run` that are not in `other`.
std::vector<std::string> OnlyIn(const ComparedRun& run, const ComparedRun& other);

/// Adds to `run` the names of `other` that it lacks: what was not reported happened 0 times. Count,
/// rate and sum of such a name are 0 where its kind has them; it has no other statistic, and no
/// level.
void AddMissingNames(ComparedRun& run, const ComparedRun& other);

/// Several runs as one side, of which each is a sample. Percentiles are those of all their values,
/// each other statistic is its mean over the runs that have it. Throws kzjournal::Error where a
/// name has different types. REQUIRES: at least one run.
ComparedRun SideOf(std::vector<ComparedRun> runs);

/// What may be said of a difference.
enum class Verdict {
    Marked,         ///< chance alone would seldom make it, and it is large enough to matter
    Unclear,        ///< chance alone may well make it
    BelowLeast,     ///< it is there, but too small to matter
    TooFewSamples,  ///< a side has fewer slices or runs than can be tested
    NotComparable   ///< a side has no value, or one that is no finite number
};

/// One name of two sides. Compatible.
struct Difference {
    const Statistics* before;
    const Statistics* after;
    Tested tested;
    MeanEstimate meanBefore;
    MeanEstimate meanAfter;
    std::optional<double> probability;  ///< of such a difference by chance
    Verdict verdict;
};

/// By name, of the names that both have. `least` is the smallest difference that matters, in parts
/// of `before`. The differences point into both sides.
std::vector<Difference> Compare(const ComparedRun& before, const ComparedRun& after, double least);

/// Why no name at all is marked: a line. Nothing where names are tested.
std::optional<std::string> ReasonWhyNothingIsTested(const ComparedRun& before,
                                                    const ComparedRun& after);

/// Those of `percentiles` that are shown of a name: all, if its values are samples on both sides
/// and one has their distribution.
std::vector<Percentile> PercentilesIn(const Difference& difference,
                                      const std::vector<Percentile>& percentiles);

/// The mean, rate or level; nothing without samples.
std::optional<double> MeanOf(const MeanEstimate& estimate);

/// The difference in parts of `before`; nothing where one is missing or `before` is 0.
std::optional<double> RelativeDifference(const std::optional<double>& before,
                                         const std::optional<double>& after);

}  // namespace kzstatprogram

#endif
