#include "figures/percentiletest.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kzstatprogram {
namespace {

using Distributions = std::vector<CKZStatDistribution>;

Distributions Decoded(const DistributionSamples& samples) {
    Distributions distributions(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) distributions[i].Decode(samples[i]);
    return distributions;
}

double OrderedCount(const CKZStatDistribution& distribution) {
    return static_cast<double>(distribution.GetCount() - distribution.GetNaNCount());
}

bool HasEnough(double values, double quantile) {
    // 1 - 0.99 is no decimal number.
    constexpr double kRounding = 1e-9;
    return values * std::min(quantile, 1 - quantile) >= kLeastValuesBeyond - kRounding;
}

/// A value of the lowest bucket above the bound; that of the only one where there is no other.
double BoundOf(const CKZStatDistribution& all, double quantile) {
    const double wanted = quantile * OrderedCount(all);
    double bound = 0;
    double distance = std::numeric_limits<double>::infinity();
    double below = 0;
    all.ForEachBucket([&](double low, double high, std::uint64_t count) {
        if (below == 0 || std::abs(below - wanted) < distance) {
            bound = low < 0 ? high : low;
            // Any bucket that has others below it is better than the first one.
            if (below > 0) distance = std::abs(below - wanted);
        }
        below += static_cast<double>(count);
    });
    return bound;
}

SliceSample SampleAbove(const CKZStatDistribution& values, double bound) {
    const double count = OrderedCount(values);
    return {count - static_cast<double>(values.CountBelow(bound)), count};
}

double ShareAbove(const CKZStatDistribution& values, double bound) {
    const SliceSample sample = SampleAbove(values, bound);
    return sample.sum / sample.weight;
}

double SpreadOf(double share) {
    return share * (1 - share);
}

double VarianceOfShare(const MeanEstimate& estimate, double shareOfAll, double values) {
    const double own = SpreadOf(estimate.mean);
    const double ofAll = SpreadOf(shareOfAll);
    const double scaled = own > 0 ? estimate.variance * ofAll / own : 0;
    return std::max(scaled, ofAll / values);
}

MeanEstimate EstimateOfShare(const Distributions& slices, double quantile, double bound,
                             double shareOfAll) {
    std::vector<SliceSample> samples;
    double values = 0;
    for (const CKZStatDistribution& slice : slices) {
        const SliceSample sample = SampleAbove(slice, bound);
        if (sample.weight == 0) continue;
        samples.push_back(sample);
        values += sample.weight;
    }
    MeanEstimate estimate = EstimateOfSlices(samples);
    if (!HasEnough(values, quantile)) estimate.freedom = 0;
    if (estimate.freedom > 0) estimate.variance = VarianceOfShare(estimate, shareOfAll, values);
    return estimate;
}

}  // namespace

SharesAbove::SharesAbove(const DistributionSamples& before, const DistributionSamples& after)
    : m_before(Decoded(before)), m_after(Decoded(after)) {
    for (const CKZStatDistribution& each : m_before) m_all.Add(each);
    for (const CKZStatDistribution& each : m_after) m_all.Add(each);
}

PercentileEstimates SharesAbove::Of(double quantile) const {
    const double bound = BoundOf(m_all, quantile);
    const double shareOfAll = ShareAbove(m_all, bound);
    return {EstimateOfShare(m_before, quantile, bound, shareOfAll),
            EstimateOfShare(m_after, quantile, bound, shareOfAll)};
}

MeanEstimate EstimateOfQuantiles(const DistributionSamples& runs, double quantile) {
    std::vector<double> quantiles;
    bool haveEnough = true;
    for (const CKZStatDistribution& run : Decoded(runs)) {
        if (OrderedCount(run) == 0) continue;
        quantiles.push_back(run.Quantile(quantile));
        haveEnough = haveEnough && HasEnough(OrderedCount(run), quantile);
    }
    MeanEstimate estimate = EstimateOfRuns(quantiles);
    if (!haveEnough) estimate.freedom = 0;
    return estimate;
}

}  // namespace kzstatprogram
