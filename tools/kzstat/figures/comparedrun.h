#ifndef KZSTATPROGRAM_COMPAREDRUN_H
#define KZSTATPROGRAM_COMPAREDRUN_H

#include <cstddef>
#include <string>
#include <vector>

#include "figures/meanestimate.h"
#include "figures/percentiletest.h"
#include "figures/slicerange.h"
#include "figures/statistics.h"
#include "reading/runreader.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// What samples are drawn from a name. Compatible.
struct Estimates {
    MeanEstimate mean;  ///< of the values of a sampled kind; other kinds have no samples of it
    MeanEstimate flow;  ///< the level, or per second: the values of sampled kinds, else their sum
    /// Of sampled kinds: those of all runs of a side, and those of slices once they are read. None
    /// where one of them is not known.
    DistributionSamples distributions = {};
};

/// What the samples of a comparison are.
enum class Sampling { Slices, Runs };

/// One side of a comparison: the slices of a run, or several runs. Compatible.
struct ComparedRun {
    std::vector<Statistics> statistics;  ///< sorted by name
    std::vector<Estimates> estimates;    ///< in the same order
    Sampling sampling = Sampling::Slices;
    std::size_t samples = 0;  ///< slices in the range, or runs
    std::string id = {};      ///< of one run

    /// Null if it is not there.
    const Statistics* Find(const std::string& name) const;
    /// The number of names if it is not there.
    std::size_t PositionOf(const std::string& name) const;
};

ComparedRun ReadForComparison(RunReader& run, const SliceRange& range);

/// The same with the distributions of slices, by which percentiles are tested, if there are any to
/// be tested by slices.
ComparedRun ReadForComparison(RunReader& run, const SliceRange& range, Sampling sampling,
                              const std::vector<Percentile>& percentiles);

/// The names of `run` that are not in `other`.
std::vector<std::string> OnlyIn(const ComparedRun& run, const ComparedRun& other);

/// Adds to `run` the names of `other` that it lacks: what was not reported happened 0 times. Count,
/// rate and sum of such a name are 0 where its kind has them; it has no other statistic, and no
/// level.
void AddMissingNames(ComparedRun& run, const ComparedRun& other);

/// Several runs as one side, of which each is a sample. Percentiles are those of all their values,
/// each other statistic is its mean over the runs that have it. Throws kzjournal::Error where a run
/// is there twice or a name has different types. REQUIRES: at least one run.
ComparedRun SideOf(std::vector<ComparedRun> runs);

}  // namespace kzstatprogram

#endif
