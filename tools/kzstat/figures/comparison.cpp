#include "figures/comparison.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "kzstatpointkind.h"
#include "terminal/terminaltext.h"

namespace kzstatprogram {
namespace {

/// Rarer than that by chance counts as a change.
constexpr double kSignificance = 0.01;

/// In parts of a value: what additions may have rounded.
constexpr double kRounding = 1e-12;

bool HasValues(const kzjournal::SeriesPoint& point) {
    return point.lasts.count > 0;
}

SliceSample MeanIn(const kzjournal::SeriesPoint& point) {
    return {point.lasts.sum, point.lasts.count};
}

/// Slices have every name that was reported before: those without came before the first.
std::vector<SliceSample> AfterSlicesWithout(const std::vector<SliceSample>& samples,
                                            std::size_t slices) {
    std::vector<SliceSample> all(slices - std::min(slices, samples.size()), SliceSample{0, 1});
    all.insert(all.end(), samples.begin(), samples.end());
    return all;
}

Estimates EstimatesOf(RunReader& run, const Statistics& row, const kzjournal::TimeRange& range,
                      std::size_t slices) {
    const double length = run.Facts().sliceLength;
    const bool isSampled = IsSampled(row.type);
    std::vector<SliceSample> means;
    std::vector<SliceSample> flows;
    run.ForEachPoint(row.name, range, [&](const kzjournal::SeriesPoint& point) {
        if (isSampled && HasValues(point)) means.push_back(MeanIn(point));
        if (!IsLevel(row.type))
            flows.push_back({(isSampled ? point.lasts.count : point.lasts.sum) / length, 1});
        else if (HasValues(point))
            flows.push_back({point.lasts.sum, 1});
    });
    if (!IsLevel(row.type)) flows = AfterSlicesWithout(flows, slices);
    return {EstimateOfSlices(means), EstimateOfSlices(flows)};
}

bool ComesBefore(const Statistics& row, const std::string& name) {
    return row.name < name;
}

std::size_t PositionOf(const std::vector<Statistics>& rows, const std::string& name) {
    const auto found = std::lower_bound(rows.begin(), rows.end(), name, ComesBefore);
    const bool isThere = found != rows.end() && found->name == name;
    return isThere ? static_cast<std::size_t>(found - rows.begin()) : rows.size();
}

/// Zero as far as the kind of the row has it.
std::optional<double> NoneOf(const Statistics& row, StatisticsDataType statistic) {
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(row.type);
    const bool isMeaningful = kind != nullptr && (kind->mask >> statistic & 1) != 0;
    return isMeaningful ? std::optional(0.0) : std::nullopt;
}

/// What a run has of a name that only another one reported.
Statistics NothingOf(const Statistics& row) {
    const CKZStatPointKind* const kind = CKZStatPointKind::Find(row.type);
    Statistics nothing;
    nothing.name = row.name;
    nothing.type = row.type;
    nothing.unit = row.unit;
    nothing.count = NoneOf(row, StatCount);
    nothing.sum = NoneOf(row, StatSum);
    if (kind != nullptr && kind->rate != CKZStatPointKind::NoRate) nothing.rate = 0;
    return nothing;
}

/// Of a name that none of the slices or runs reported.
Estimates NothingIn(const ComparedRun& run) {
    if (run.sampling == Sampling::Runs)
        return {{}, EstimateOfRuns(std::vector<double>(run.samples, 0))};
    return {{}, EstimateOfSlices(std::vector<SliceSample>(run.samples, SliceSample{0, 1}))};
}

/// The rows of one name in several runs.
using Rows = std::vector<const Statistics*>;

std::optional<double> MeanOver(const Rows& rows, std::optional<double> Statistics::*statistic) {
    std::vector<double> values;
    for (const Statistics* row : rows)
        if (row->*statistic) values.push_back(*(row->*statistic));
    return MeanOf(EstimateOfRuns(values));
}

std::optional<CKZStatDeviation> MeanDeviationOver(const Rows& rows) {
    CKZStatDeviation mean{0, 0};
    double runs = 0;
    for (const Statistics* row : rows) {
        if (!row->deviation) continue;
        mean.value += row->deviation->value;
        mean.error += row->deviation->error;
        ++runs;
    }
    if (runs == 0) return std::nullopt;
    return CKZStatDeviation{mean.value / runs, mean.error / runs};
}

/// Nothing where values of a run have none.
std::optional<CKZStatDistribution> DistributionOver(const Rows& rows) {
    std::optional<CKZStatDistribution> all;
    for (const Statistics* row : rows) {
        if (row->distribution) {
            if (!all) all.emplace();
            all->Add(*row->distribution);
        } else if (row->count.value_or(1) > 0) {
            return std::nullopt;
        }
    }
    return all;
}

Statistics MeanRowOf(const Rows& rows) {
    Statistics mean;
    mean.name = rows.front()->name;
    mean.type = rows.front()->type;
    mean.unit = rows.front()->unit;
    for (const auto statistic :
         {&Statistics::count, &Statistics::rate, &Statistics::minimum, &Statistics::average,
          &Statistics::maximum, &Statistics::sum, &Statistics::current})
        mean.*statistic = MeanOver(rows, statistic);
    mean.deviation = MeanDeviationOver(rows);
    mean.distribution = DistributionOver(rows);
    return mean;
}

MeanEstimate EstimateOver(const std::vector<ComparedRun>& runs, std::size_t position,
                          MeanEstimate Estimates::*estimate) {
    std::vector<double> values;
    for (const ComparedRun& run : runs)
        if (const auto mean = MeanOf(run.estimates[position].*estimate)) values.push_back(*mean);
    return EstimateOfRuns(values);
}

Rows RowsAt(const std::vector<ComparedRun>& runs, std::size_t position) {
    Rows rows;
    for (const ComparedRun& run : runs) {
        rows.push_back(&run.statistics[position]);
        if (rows.back()->type != rows.front()->type)
            throw kzjournal::Error("runs of one side have different types of " +
                                   kzterminal::Printable(rows.front()->name));
    }
    return rows;
}

/// Kinds whose names can be compared with one another.
bool AreAlike(const Statistics& a, const Statistics& b) {
    return IsSampled(a.type) == IsSampled(b.type) && IsLevel(a.type) == IsLevel(b.type);
}

Tested TestedOf(const Statistics& row, const Estimates& before, const Estimates& after) {
    if (IsLevel(row.type)) return Tested::Levels;
    if (!IsSampled(row.type)) return Tested::Rates;
    const bool haveMeans = before.mean.samples > 0 && after.mean.samples > 0;
    return haveMeans ? Tested::Means : Tested::RatesOfValues;
}

bool IsAtLeast(double least, double before, double after) {
    return std::abs(after - before) > kRounding * std::abs(before) &&
           std::abs(after - before) >= least * std::abs(before);
}

Verdict VerdictOn(const Difference& difference, double least) {
    const MeanEstimate& before = difference.meanBefore;
    const MeanEstimate& after = difference.meanAfter;
    if (before.samples == 0 || after.samples == 0) return Verdict::NotComparable;
    if (before.freedom == 0 || after.freedom == 0) return Verdict::TooFewSamples;
    if (!difference.probability) return Verdict::NotComparable;
    if (!(*difference.probability < kSignificance)) return Verdict::Unclear;
    return IsAtLeast(least, before.mean, after.mean) ? Verdict::Marked : Verdict::BelowLeast;
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
                          Verdict::NotComparable};
    difference.verdict = VerdictOn(difference, least);
    return difference;
}

}  // namespace

const Statistics* ComparedRun::Find(const std::string& name) const {
    const std::size_t position = PositionOf(statistics, name);
    return position < statistics.size() ? &statistics[position] : nullptr;
}

ComparedRun ReadForComparison(RunReader& run, const kzjournal::TimeRange& range) {
    ComparedRun compared;
    compared.samples = static_cast<std::size_t>(run.CountSlices(range));
    const double seconds = SecondsOf(run, range);
    // Asked for once: a run that goes on may have further names the next time.
    std::vector<kzjournal::NameSummary> names = run.SummaryWithDistributions(range);
    std::sort(names.begin(), names.end(), [](const auto& a, const auto& b) {
        return a.record.name.compareTo(b.record.name) < 0;
    });
    for (kzjournal::NameSummary& each : names) {
        compared.statistics.push_back(StatisticsOf(std::move(each), seconds));
        compared.estimates.push_back(
            EstimatesOf(run, compared.statistics.back(), range, compared.samples));
    }
    return compared;
}

std::vector<std::string> OnlyIn(const ComparedRun& run, const ComparedRun& other) {
    std::vector<std::string> names;
    for (const Statistics& row : run.statistics)
        if (other.Find(row.name) == nullptr) names.push_back(row.name);
    return names;
}

void AddMissingNames(ComparedRun& run, const ComparedRun& other) {
    const Estimates nothing = NothingIn(run);
    ComparedRun complete;
    complete.sampling = run.sampling;
    complete.samples = run.samples;
    std::size_t i = 0;
    const auto take = [&] {
        complete.statistics.push_back(std::move(run.statistics[i]));
        complete.estimates.push_back(run.estimates[i]);
        ++i;
    };
    for (const Statistics& row : other.statistics) {
        while (i < run.statistics.size() && run.statistics[i].name < row.name) take();
        if (i < run.statistics.size() && run.statistics[i].name == row.name) continue;
        complete.statistics.push_back(NothingOf(row));
        complete.estimates.push_back(IsLevel(row.type) ? Estimates() : nothing);
    }
    while (i < run.statistics.size()) take();
    run = std::move(complete);
}

ComparedRun SideOf(std::vector<ComparedRun> runs) {
    // The first one has all names then, and passes them on.
    for (std::size_t i = 1; i < runs.size(); ++i) AddMissingNames(runs.front(), runs[i]);
    for (std::size_t i = 1; i < runs.size(); ++i) AddMissingNames(runs[i], runs.front());
    ComparedRun side;
    side.sampling = Sampling::Runs;
    side.samples = runs.size();
    for (std::size_t i = 0; i < runs.front().statistics.size(); ++i) {
        side.statistics.push_back(MeanRowOf(RowsAt(runs, i)));
        side.estimates.push_back(
            {EstimateOver(runs, i, &Estimates::mean), EstimateOver(runs, i, &Estimates::flow)});
    }
    return side;
}

std::vector<Difference> Compare(const ComparedRun& before, const ComparedRun& after, double least) {
    std::vector<Difference> differences;
    for (std::size_t i = 0; i < before.statistics.size(); ++i) {
        const std::size_t j = PositionOf(after.statistics, before.statistics[i].name);
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

std::optional<double> MeanOf(const MeanEstimate& estimate) {
    if (estimate.samples == 0) return std::nullopt;
    return estimate.mean;
}

std::optional<double> RelativeDifference(const std::optional<double>& before,
                                         const std::optional<double>& after) {
    if (!before || !after || *before == 0) return std::nullopt;
    return (*after - *before) / std::abs(*before);
}

}  // namespace kzstatprogram
