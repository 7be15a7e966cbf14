#ifndef KZSTATPROGRAM_COMPARISONJSON_H
#define KZSTATPROGRAM_COMPARISONJSON_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "figures/comparedsides.h"
#include "figures/comparison.h"
#include "text/percentile.h"

namespace kzstatprogram {

/// A comparison for programs. Compatible.
struct ComparisonReport {
    struct Run {
        std::string path;
        std::string id;
        std::string completeness;                     ///< as `CompletenessText` has it
        std::vector<std::string> interruptions = {};  ///< as `DescribeInterruptions` has them
    };
    struct Side {
        std::vector<Run> runs;
        std::vector<std::string> namesOfItAlone;
    };
    Side before;
    Side after;
    Sampling sampling = Sampling::Slices;
    double least = 0;                   ///< the smallest difference that matters, in parts
    std::optional<std::string> reason;  ///< why nothing is tested
    std::vector<Difference> differences;
    std::vector<std::string> failures;  ///< of conditions, a line each
    std::vector<std::string> unknown;   ///< the same of those that cannot be told

    /// Compares the sides, which must outlive this: all but their runs, and conditions.
    void Add(const ComparedSides& sides, double leastDifference,
             const std::vector<Percentile>& percentiles);
};

/// null for what is missing, NaN and infinities; texts as they are.
nlohmann::ordered_json ComparisonJson(const ComparisonReport& report);

/// The same as an object of lines; bytes that are no UTF-8 become U+FFFD.
std::string JsonOf(const ComparisonReport& report);

}  // namespace kzstatprogram

#endif
