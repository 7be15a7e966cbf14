#include "figures/comparison.h"

#include <algorithm>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <utility>

#include "figures/levels.h"

namespace kzstatprogram {
namespace {

/// Rarer than that by chance counts as a change.
constexpr double kSignificance = 0.01;

Sample SampleOf(const CKZStatAggregate& aggregate) {
    if (!(aggregate.count > 0)) return {};
    const double deviation = aggregate.Deviation().value;
    const double variance =
        aggregate.count > 1 ? deviation * deviation * aggregate.count / (aggregate.count - 1) : 0;
    return {aggregate.count, aggregate.sum / aggregate.count, variance};
}

/// Of the sums that the slices have, per second unless they are levels.
Sample SampleOfSlices(RunReader& run, const Statistics& row, const kzjournal::TimeRange& range) {
    const double length = TestedIn(row) == Tested::Levels ? 1 : run.Facts().sliceLength;
    CKZStatAggregate sums;
    run.ForEachPoint(row.name, range, [&](const kzjournal::SeriesPoint& point) {
        const double value = point.lasts.sum / length;
        sums.count += 1;
        sums.sum += value;
        sums.sumSqr += value * value;
    });
    return SampleOf(sums);
}

bool ComesBefore(const Statistics& row, const std::string& name) {
    return row.name < name;
}

std::size_t PositionOf(const std::vector<Statistics>& rows, const std::string& name) {
    const auto found = std::lower_bound(rows.begin(), rows.end(), name, ComesBefore);
    const bool isThere = found != rows.end() && found->name == name;
    return isThere ? static_cast<std::size_t>(found - rows.begin()) : rows.size();
}

}  // namespace

std::optional<double> WelchProbability(const Sample& a, const Sample& b) {
    if (a.count < 2 || b.count < 2) return std::nullopt;
    const double errorA = a.variance / a.count;
    const double errorB = b.variance / b.count;
    const double error = errorA + errorB;
    if (!std::isfinite(error) || !std::isfinite(a.mean - b.mean)) return std::nullopt;
    if (error == 0) return a.mean == b.mean ? 1 : 0;
    const double t = (b.mean - a.mean) / std::sqrt(error);
    const double freedom =
        error * error / (errorA * errorA / (a.count - 1) + errorB * errorB / (b.count - 1));
    return 2 * cdf(complement(boost::math::students_t(freedom), std::abs(t)));
}

std::optional<double> MeanOf(const Sample& sample) {
    if (!(sample.count > 0)) return std::nullopt;
    return sample.mean;
}

Tested TestedIn(const Statistics& row) {
    if (IsSampled(row.type)) return Tested::Values;
    return IsLevel(row.type) ? Tested::Levels : Tested::Rates;
}

const Statistics* ComparedRun::Find(const std::string& name) const {
    const std::size_t position = PositionOf(statistics, name);
    return position < statistics.size() ? &statistics[position] : nullptr;
}

ComparedRun ReadForComparison(RunReader& run, const SliceRange& range) {
    const double seconds = SecondsOf(run, range);
    // Asked for once: a run that goes on may have further names the next time.
    std::vector<kzjournal::NameSummary> names = SummaryWithLevels(run, range);
    std::sort(names.begin(), names.end(), [](const auto& a, const auto& b) {
        return a.record.name.compareTo(b.record.name) < 0;
    });
    ComparedRun compared;
    for (kzjournal::NameSummary& each : names) {
        const CKZStatAggregate totals = each.record.totals;
        compared.statistics.push_back(StatisticsOf(std::move(each), seconds));
        const Statistics& row = compared.statistics.back();
        compared.samples.push_back(
            TestedIn(row) == Tested::Values ? SampleOf(totals) : SampleOfSlices(run, row, range));
    }
    return compared;
}

std::vector<Difference> Compare(const ComparedRun& before, const ComparedRun& after) {
    std::vector<Difference> differences;
    for (std::size_t i = 0; i < before.statistics.size(); ++i) {
        const std::size_t j = PositionOf(after.statistics, before.statistics[i].name);
        if (j == after.statistics.size()) continue;
        const Statistics& first = before.statistics[i];
        const Statistics& second = after.statistics[j];
        // A mean of values and one of rates have no difference.
        const bool isAlike = TestedIn(first) == TestedIn(second);
        const Sample other = isAlike ? after.samples[j] : Sample();
        differences.push_back({&first, &second, before.samples[i], other,
                               WelchProbability(before.samples[i], other)});
    }
    return differences;
}

bool IsSignificant(const Difference& difference) {
    return difference.probability && *difference.probability < kSignificance;
}

std::vector<Percentile> PercentilesIn(const Difference& difference,
                                      const std::vector<Percentile>& percentiles) {
    const bool hasOne = difference.before->distribution || difference.after->distribution;
    const bool areSamples = TestedIn(*difference.before) == Tested::Values &&
                            TestedIn(*difference.after) == Tested::Values;
    return hasOne && areSamples ? percentiles : std::vector<Percentile>();
}

std::optional<double> RelativeDifference(const std::optional<double>& before,
                                         const std::optional<double>& after) {
    if (!before || !after || *before == 0) return std::nullopt;
    return (*after - *before) / std::abs(*before);
}

std::vector<std::string> OnlyIn(const ComparedRun& run, const ComparedRun& other) {
    std::vector<std::string> names;
    for (const Statistics& row : run.statistics)
        if (other.Find(row.name) == nullptr) names.push_back(row.name);
    return names;
}

}  // namespace kzstatprogram
