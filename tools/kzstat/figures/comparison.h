#ifndef KZSTATPROGRAM_COMPARISON_H
#define KZSTATPROGRAM_COMPARISON_H

#include <optional>
#include <string>
#include <vector>

#include "figures/statistics.h"
#include "reading/runreader.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// What is known of a number of values. Compatible.
struct Sample {
    double count = 0;
    double mean = 0;
    double variance = 0;  ///< of the sample: divided by count - 1; 0 for a single value
};

/// Nothing without values.
std::optional<double> MeanOf(const Sample& sample);

/// How probable a difference of the means is that is at least this large where there is none
/// between what the samples are drawn from: Welch's test, on both sides. Nothing where a sample has
/// fewer than two values.
std::optional<double> WelchProbability(const Sample& a, const Sample& b);

/// What the samples of a name are: the values where those spread (timers, measurements), and else,
/// where single values say little, the rates of the slices (counters) or their levels (load sizes).
enum class Tested { Values, Rates, Levels };
Tested TestedIn(const Statistics& row);

/// One run as a comparison sees it. Compatible.
struct ComparedRun {
    std::vector<Statistics> statistics;
    std::vector<Sample> samples;  ///< in the same order

    const Statistics* Find(const std::string& name) const;
};

ComparedRun ReadForComparison(RunReader& run, const SliceRange& range);

/// A name that is in both runs. Where its kind in the second one has other samples than in the
/// first, the second sample has no values.
struct Difference {
    const Statistics* before;
    const Statistics* after;
    Sample sampleBefore;
    Sample sampleAfter;
    std::optional<double> probability;
};

std::vector<Difference> Compare(const ComparedRun& before, const ComparedRun& after);

/// True where chance alone would seldom make the difference.
bool IsSignificant(const Difference& difference);

/// Those of `percentiles` that are shown of a name: all, if its values are samples in both runs
/// and one has their distribution.
std::vector<Percentile> PercentilesIn(const Difference& difference,
                                      const std::vector<Percentile>& percentiles);

/// The difference in parts of `before`; nothing where one is missing or `before` is 0.
std::optional<double> RelativeDifference(const std::optional<double>& before,
                                         const std::optional<double>& after);

/// The names of `run` that are not in `other`.
std::vector<std::string> OnlyIn(const ComparedRun& run, const ComparedRun& other);

}  // namespace kzstatprogram

#endif
