#ifndef KZSTATPROGRAM_PERCENTILETEST_H
#define KZSTATPROGRAM_PERCENTILETEST_H

#include <string>
#include <vector>

#include "figures/meanestimate.h"
#include "kzstatdistribution.h"

namespace kzstatprogram {

/// The distributions of the values of one name in each sample that has some, encoded: decoded,
/// those of many names would take ten times the memory.
using DistributionSamples = std::vector<std::string>;

/// With fewer values above a percentile, or below it, a side says nothing of it.
constexpr double kLeastValuesBeyond = 10;

/// What two sides say of a percentile, for Welch's test. Compatible.
struct PercentileEstimates {
    MeanEstimate before;
    MeanEstimate after;
};

/// Whose means are the shares of the values of each side that lie above one bound: the limit
/// between two buckets that comes nearest to the quantile of the values of both sides together. So
/// equal sides have equal shares, whatever the values are and however many share a bucket.
///
/// The share of a side is estimated as the mean of slices is. Its variance is then made that of
/// equal sides: where s is the share of the side, p that of both and n the number of its values,
///
///     max(variance * p * (1 - p) / (s * (1 - s)), p * (1 - p) / n).
///
/// Otherwise a short run with hardly any value above the bound by chance would seem certain of
/// that. The variance is unknown where `kLeastSlices` or `kLeastValuesBeyond` are not there.
class SharesAbove {
public:
    /// Of samples in the order of time.
    SharesAbove(const DistributionSamples& before, const DistributionSamples& after);

    PercentileEstimates Of(double quantile) const;

private:
    std::vector<CKZStatDistribution> m_before;
    std::vector<CKZStatDistribution> m_after;
    CKZStatDistribution m_all;
};

/// Whose means are those of the percentile of each run, which the percentile of a run that did more
/// does not outweigh. The variance is unknown where `kLeastRuns` are not there, or
/// `kLeastValuesBeyond` in one of the runs.
MeanEstimate EstimateOfQuantiles(const DistributionSamples& runs, double quantile);

}  // namespace kzstatprogram

#endif
