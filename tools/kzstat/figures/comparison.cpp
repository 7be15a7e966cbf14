#include "figures/comparison.h"

#include <cmath>
#include <functional>

#include "conditions/failures.h"
#include "figures/percentiletest.h"

namespace kzstatprogram {
namespace {

/// In parts of a value: what additions may have rounded.
constexpr double kRounding = 1e-12;

/// Kinds whose names can be compared with one another.
bool AreAlike(const Statistics& a, const Statistics& b) {
    return IsSampled(a.type) == IsSampled(b.type) && IsLevel(a.type) == IsLevel(b.type);
}

/// How often work fails says more than how long that takes.
Tested TestedOf(const Statistics& row, const Estimates& before, const Estimates& after) {
    if (IsLevel(row.type)) return Tested::Levels;
    if (!IsSampled(row.type)) return Tested::Rates;
    const bool haveMeans = before.mean.samples > 0 && after.mean.samples > 0;
    const bool areFailures = kzconditions::WorkMeantBy(row.name).has_value();
    return haveMeans && !areFailures ? Tested::Means : Tested::RatesOfValues;
}

bool IsAtLeast(double least, double before, double after) {
    return std::abs(after - before) > kRounding * std::abs(before) &&
           std::abs(after - before) >= least * std::abs(before);
}

/// `isLarge` says whether the difference matters if chance has not made it.
Finding FindingOf(const MeanEstimate& before, const MeanEstimate& after,
                  const std::optional<double>& probability, bool isLarge) {
    if (before.samples == 0 || after.samples == 0) return Finding::NotComparable;
    if (before.freedom == 0 || after.freedom == 0) return Finding::TooFewSamples;
    if (!probability) return Finding::NotComparable;
    if (!(*probability < kSignificance)) return Finding::Unclear;
    return isLarge ? Finding::Marked : Finding::BelowLeast;
}

Difference DifferenceOf(const Statistics& before, const Estimates& estimatesBefore,
                        const Statistics& after, const Estimates& estimatesAfter, double least) {
    // A mean of values and a rate have no difference.
    const bool areAlike = AreAlike(before, after);
    const Tested tested =
        TestedOf(before, estimatesBefore, areAlike ? estimatesAfter : estimatesBefore);
    const auto chosen = tested == Tested::Means ? &Estimates::mean : &Estimates::flow;
    const MeanEstimate& meanBefore = estimatesBefore.*chosen;
    const MeanEstimate meanAfter = areAlike ? estimatesAfter.*chosen : MeanEstimate();
    const std::optional<double> probability = WelchProbability(meanBefore, meanAfter);
    return {&before,
            &after,
            tested,
            meanBefore,
            meanAfter,
            probability,
            FindingOf(meanBefore, meanAfter, probability,
                      IsAtLeast(least, meanBefore.mean, meanAfter.mean)),
            {}};
}

/// Tests percentiles of one name.
using PercentileTest = std::function<PercentileEstimates(double quantile)>;

PercentileTest TestOf(Sampling sampling, const DistributionSamples& before,
                      const DistributionSamples& after) {
    if (sampling == Sampling::Runs)
        return [&before, &after](double quantile) -> PercentileEstimates {
            return {EstimateOfQuantiles(before, quantile), EstimateOfQuantiles(after, quantile)};
        };
    return [shares = SharesAbove(before, after)](double quantile) { return shares.Of(quantile); };
}

PercentileDifference DifferenceOf(const Percentile& percentile, const Difference& difference,
                                  const PercentileEstimates& estimates, double least) {
    PercentileDifference found{percentile, QuantileOf(*difference.before, percentile.quantile),
                               QuantileOf(*difference.after, percentile.quantile),
                               WelchProbability(estimates.before, estimates.after),
                               Finding::NotComparable};
    if (!found.before || !found.after) return found;
    const bool hasIncreased = *found.after > *found.before;
    // What was tested may go the other way where percentiles are next to equal.
    const bool isConsistent = hasIncreased == (estimates.after.mean > estimates.before.mean);
    found.finding = FindingOf(estimates.before, estimates.after, found.probability,
                              isConsistent && IsAtLeast(least, *found.before, *found.after));
    return found;
}

bool HasPercentiles(const Difference& difference) {
    const bool hasOne = difference.before->distribution || difference.after->distribution;
    return hasOne && IsSampled(difference.before->type) && IsSampled(difference.after->type);
}

std::vector<PercentileDifference> PercentilesOf(const Difference& difference,
                                                const PercentileTest& test, double least,
                                                const std::vector<Percentile>& percentiles) {
    std::vector<PercentileDifference> differences;
    differences.reserve(percentiles.size());
    for (const Percentile& each : percentiles)
        differences.push_back(DifferenceOf(each, difference, test(each.quantile), least));
    return differences;
}

}  // namespace

std::vector<Difference> Compare(const ComparedRun& before, const ComparedRun& after, double least,
                                const std::vector<Percentile>& percentiles) {
    std::vector<Difference> differences;
    for (std::size_t i = 0; i < before.statistics.size(); ++i) {
        const std::size_t j = after.PositionOf(before.statistics[i].name);
        if (j == after.statistics.size()) continue;
        differences.push_back(DifferenceOf(before.statistics[i], before.estimates[i],
                                           after.statistics[j], after.estimates[j], least));
        if (percentiles.empty() || !HasPercentiles(differences.back())) continue;
        const PercentileTest test = TestOf(before.sampling, before.estimates[i].distributions,
                                           after.estimates[j].distributions);
        differences.back().percentiles =
            PercentilesOf(differences.back(), test, least, percentiles);
    }
    return differences;
}

std::optional<std::string> ReasonWhyNothingIsTested(const ComparedRun& before,
                                                    const ComparedRun& after) {
    const bool areSlices = before.sampling == Sampling::Slices;
    const std::size_t least = areSlices ? kLeastSlices : kLeastRuns;
    if (before.samples >= least && after.samples >= least) return std::nullopt;
    return "nothing is marked: that takes at least " + std::to_string(least) +
           (areSlices ? " slices" : " runs") + " a side, and there are " +
           std::to_string(before.samples) + " and " + std::to_string(after.samples);
}

std::optional<double> RelativeDifference(const std::optional<double>& before,
                                         const std::optional<double>& after) {
    if (!before || !after || *before == 0) return std::nullopt;
    return (*after - *before) / std::abs(*before);
}

}  // namespace kzstatprogram
