#ifndef KZSTATPROGRAM_COMPAREDSIDES_H
#define KZSTATPROGRAM_COMPAREDSIDES_H

#include <cstddef>
#include <string>
#include <vector>

#include "figures/comparedrun.h"

namespace kzstatprogram {

/// What a comparison is of: both sides have the same names. Its differences point into it.
/// Compatible.
struct ComparedSides {
    ComparedRun before;
    ComparedRun after;
    std::vector<std::string> onlyBefore;  ///< names that `after` did not report
    std::vector<std::string> onlyAfter;
};

/// The slices are the samples of two runs; of several a side, the runs are.
Sampling SamplingOf(std::size_t runsBefore, std::size_t runsAfter);

/// With the samples of `SamplingOf`. Throws kzjournal::Error as `SideOf` does. REQUIRES: at least
/// one run a side.
ComparedSides SidesOf(std::vector<ComparedRun> before, std::vector<ComparedRun> after);

}  // namespace kzstatprogram

#endif
