#include "figures/comparison.h"

#include <cmath>

#include "conditions/failures.h"

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

Finding FindingOf(const Difference& difference, double least) {
    const MeanEstimate& before = difference.meanBefore;
    const MeanEstimate& after = difference.meanAfter;
    if (before.samples == 0 || after.samples == 0) return Finding::NotComparable;
    if (before.freedom == 0 || after.freedom == 0) return Finding::TooFewSamples;
    if (!difference.probability) return Finding::NotComparable;
    if (!(*difference.probability < kSignificance)) return Finding::Unclear;
    return IsAtLeast(least, before.mean, after.mean) ? Finding::Marked : Finding::BelowLeast;
}

Difference DifferenceOf(const Statistics& before, const Estimates& estimatesBefore,
                        const Statistics& after, Estimates estimatesAfter, double least) {
    // A mean of values and a rate have no difference.
    const bool areAlike = AreAlike(before, after);
    const Tested tested =
        TestedOf(before, estimatesBefore, areAlike ? estimatesAfter : estimatesBefore);
    if (!areAlike) estimatesAfter = {};
    const auto chosen = tested == Tested::Means ? &Estimates::mean : &Estimates::flow;
    Difference difference{&before,
                          &after,
                          tested,
                          estimatesBefore.*chosen,
                          estimatesAfter.*chosen,
                          WelchProbability(estimatesBefore.*chosen, estimatesAfter.*chosen),
                          Finding::NotComparable};
    difference.finding = FindingOf(difference, least);
    return difference;
}

}  // namespace

std::vector<Difference> Compare(const ComparedRun& before, const ComparedRun& after, double least) {
    std::vector<Difference> differences;
    for (std::size_t i = 0; i < before.statistics.size(); ++i) {
        const std::size_t j = after.PositionOf(before.statistics[i].name);
        if (j == after.statistics.size()) continue;
        differences.push_back(DifferenceOf(before.statistics[i], before.estimates[i],
                                           after.statistics[j], after.estimates[j], least));
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

std::vector<Percentile> PercentilesIn(const Difference& difference,
                                      const std::vector<Percentile>& percentiles) {
    const bool hasOne = difference.before->distribution || difference.after->distribution;
    const bool areSamples = IsSampled(difference.before->type) && IsSampled(difference.after->type);
    return hasOne && areSamples ? percentiles : std::vector<Percentile>();
}

std::optional<double> RelativeDifference(const std::optional<double>& before,
                                         const std::optional<double>& after) {
    if (!before || !after || *before == 0) return std::nullopt;
    return (*after - *before) / std::abs(*before);
}

}  // namespace kzstatprogram
