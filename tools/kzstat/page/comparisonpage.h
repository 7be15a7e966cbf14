#ifndef KZSTATPROGRAM_COMPARISONPAGE_H
#define KZSTATPROGRAM_COMPARISONPAGE_H

#include <optional>
#include <string>
#include <vector>

#include "figures/comparedrun.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// One run of a page that draws runs over each other. Compatible.
struct RunOfPage {
    std::string path;
    std::string completeness;   ///< as `CompletenessText` has it
    double begin = 0;           ///< of what is drawn, in seconds since the start of the run
    std::optional<double> end;  ///< no value if that is the end of the run
    ComparedRun figures;
    std::string curves;                           ///< as `CurvesJson` tells them
    std::vector<std::string> interruptions = {};  ///< as `DescribeInterruptions` has them
};

/// A run, or several that are samples of the same.
using SideOfPage = std::vector<RunOfPage>;

/// Where the page gets its data from: its sides, their runs with their curves, their figures, and
/// each side but the first compared with the first. A comparison is an object of `ComparisonJson`,
/// with the `significance` of the test; each name has its `quantity`, as the table of a comparison
/// calls it. Texts are escaped as on a terminal, and names so that each differs from all others.
/// Throws kzjournal::Error as `SidesOf` does. REQUIRES: two sides or more, each with a run.
std::string ComparisonPageJson(const std::vector<SideOfPage>& sides, double least,
                               const std::vector<Percentile>& percentiles);

/// The page with that in it, which needs nothing else.
std::string ComparisonPageWith(const std::string& json);

}  // namespace kzstatprogram

#endif
