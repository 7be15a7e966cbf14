#ifndef KZCONDITIONS_PERCENTILE_H
#define KZCONDITIONS_PERCENTILE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kzconditions {

/// What p99.9 stands for. Compatible.
struct Percentile {
    std::string title;  ///< "p99.9": of a column
    double quantile;    ///< 0.999
};

/// 50, 95 and 99.
const std::vector<Percentile>& UsualPercentiles();

/// Of "99.9", or of "99.90". Throws kzjournal::Error where `number` is none that is above 0 and
/// below 100.
Percentile PercentileOf(std::string_view number);

/// Of "p99.9"; nothing where `title` is none of a percentile.
std::optional<Percentile> FindPercentile(std::string_view title);

/// Of "50,99.9", in this order. Throws kzjournal::Error; one that is there twice is a mistake too.
std::vector<Percentile> PercentilesOf(std::string_view numbers);

}  // namespace kzconditions

#endif
