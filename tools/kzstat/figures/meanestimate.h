#ifndef KZSTATPROGRAM_MEANESTIMATE_H
#define KZSTATPROGRAM_MEANESTIMATE_H

#include <cstddef>
#include <optional>
#include <vector>

namespace kzstatprogram {

/// Fewer slices cannot tell noise from a slow change.
constexpr std::size_t kLeastSlices = 30;

/// Two runs have one difference; two a side have one difference within each side to hold it
/// against.
constexpr std::size_t kLeastRuns = 2;

/// What one slice adds to the two sums whose quotient is the mean: the sum of its values and their
/// number, for a rate an amount and its seconds, or a level and 1. Compatible.
struct SliceSample {
    double sum;
    double weight;  ///< not below 0
};

/// A mean, and how far it may be from the one that was drawn from. Compatible.
struct MeanEstimate {
    double mean = 0;
    double variance = 0;          ///< of the mean: its standard error squared
    double freedom = 0;           ///< degrees of freedom of `variance`; 0 where that is unknown
    std::size_t samples = 0;      ///< slices or runs
    double effectiveSamples = 0;  ///< independent samples that would tell as much; 0 if unknown
};

/// Of the sum of all samples per weight. Successive samples may resemble one another. The variance
/// is unknown for fewer than `kLeastSlices`.
///
/// The sums of n slices deviate from their share by
///
///     d(t) = (sum(t) - mean * weight(t)) / (average weight) * (1 - 1/n) / (1 - share(t)),
///
/// where share(t) is the part of all weight that slice t has. With r, their autocorrelation from
/// slice to slice corrected for its bias, (n * r(1) + 1) / (n - 4) but within [0, 0.97], the rest
/// u(t) = d(t) - r * d(t-1) is projected on the B slowest cosines,
///
///     W(j) = sqrt(2 / (n-1)) * sum of u(t) * cos(pi * j * (t - 1/2) / (n-1)),
///
/// and the variance of the mean is the average of the W(j)^2 / (1 - r)^2 / n, with B degrees of
/// freedom: the equal-weighted cosine estimate of the long-run variance, prewhitened. B is 0.6 *
/// n^(2/3), rounded down, and 32 at most.
MeanEstimate EstimateOfSlices(const std::vector<SliceSample>& slices);

/// Of independent samples, one per run. The variance is unknown for fewer than `kLeastRuns`.
MeanEstimate EstimateOfRuns(const std::vector<double>& runs);

/// Nothing without samples.
std::optional<double> MeanOf(const MeanEstimate& estimate);

/// How probable a difference of the means is that is at least this large where there is none
/// between what the samples are drawn from: Welch's test, on both sides. Nothing where a variance
/// is unknown, and where something is no finite number.
std::optional<double> WelchProbability(const MeanEstimate& a, const MeanEstimate& b);

}  // namespace kzstatprogram

#endif
