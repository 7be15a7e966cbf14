#include "figures/comparedrun.h"

#include <algorithm>
#include <set>
#include <utility>

#include "figures/distributionsamples.h"
#include "figures/levels.h"
#include "kzstatpointkind.h"
#include "terminal/terminaltext.h"

namespace kzstatprogram {
namespace {

/// The slices of a range, in the order of time.
struct Slices {
    std::vector<double> ends;       // since the start of the run
    std::vector<SliceSample> idle;  // what a rate is without values: nothing in the time of a slice
};

Slices SlicesIn(RunReader& run, const SliceRange& range) {
    const double length = run.Facts().sliceLength;
    Slices slices{run.SliceEnds(range.underLoad), {}};
    for (const double end : slices.ends)
        slices.idle.push_back({0, length - range.load.SecondsOutside(end, length)});
    return slices;
}

using Points = std::vector<kzjournal::SeriesPoint>;

Points PointsOf(RunReader& run, const std::string& name, const SliceRange& range) {
    Points points;
    run.ForEachPoint(name, range.underLoad,
                     [&](const kzjournal::SeriesPoint& point) { points.push_back(point); });
    return points;
}

/// Of all slices: those in which the name was not known yet have nothing of it.
MeanEstimate RateOf(const Points& points, const Slices& slices, double CKZStatAggregate::*amount) {
    std::vector<SliceSample> samples = slices.idle;
    for (const kzjournal::SeriesPoint& point : points) {
        const auto at = std::lower_bound(slices.ends.begin(), slices.ends.end(), point.elapsed);
        // A slice that has come since has no place.
        if (at == slices.ends.end()) break;
        samples[static_cast<std::size_t>(at - slices.ends.begin())].sum += point.lasts.*amount;
    }
    return EstimateOfSlices(samples);
}

MeanEstimate MeanLevelOf(const Points& points) {
    std::vector<SliceSample> samples;
    for (const kzjournal::SeriesPoint& point : points)
        if (point.lasts.HasValues()) samples.push_back({LevelOf(point.lasts), 1});
    return EstimateOfSlices(samples);
}

MeanEstimate MeanOfValues(const Points& points) {
    std::vector<SliceSample> samples;
    for (const kzjournal::SeriesPoint& point : points)
        if (point.lasts.HasValues()) samples.push_back({point.lasts.sum, point.lasts.count});
    return EstimateOfSlices(samples);
}

Estimates EstimatesOf(CKZStatPointTypeEnum::PointType type, const Points& points,
                      const Slices& slices) {
    if (IsLevel(type)) return {{}, MeanLevelOf(points)};
    if (!IsSampled(type)) return {{}, RateOf(points, slices, &CKZStatAggregate::sum)};
    return {MeanOfValues(points), RateOf(points, slices, &CKZStatAggregate::count)};
}

bool ComesBefore(const Statistics& row, const std::string& name) {
    return row.name < name;
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

/// None where values of a run have none.
DistributionSamples DistributionsOf(const Rows& rows) {
    DistributionSamples samples;
    for (const Statistics* row : rows) {
        if (row->distribution)
            row->distribution->Encode(samples.emplace_back());
        else if (row->count.value_or(1) > 0)
            return {};
    }
    return samples;
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

/// Two of one run would look like runs that never differ.
void RefuseRepeatedRuns(const std::vector<ComparedRun>& runs) {
    std::set<std::string> ids;
    for (const ComparedRun& run : runs)
        if (!ids.insert(run.id).second) throw kzjournal::Error("one side has the same run twice");
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

}  // namespace

const Statistics* ComparedRun::Find(const std::string& name) const {
    const std::size_t position = PositionOf(name);
    return position < statistics.size() ? &statistics[position] : nullptr;
}

std::size_t ComparedRun::PositionOf(const std::string& name) const {
    const auto found = std::lower_bound(statistics.begin(), statistics.end(), name, ComesBefore);
    const bool isThere = found != statistics.end() && found->name == name;
    return isThere ? static_cast<std::size_t>(found - statistics.begin()) : statistics.size();
}

ComparedRun ReadForComparison(RunReader& run, const SliceRange& range) {
    const double seconds = SecondsOf(run, range);
    // Asked for once: a run that goes on may have further names the next time.
    std::vector<kzjournal::NameSummary> names = SummaryWithLevels(run, range);
    std::sort(names.begin(), names.end(), [](const auto& a, const auto& b) {
        return a.record.name.compareTo(b.record.name) < 0;
    });
    const Slices slices = SlicesIn(run, range);
    ComparedRun compared;
    compared.samples = slices.ends.size();
    compared.id = run.Facts().id;
    for (kzjournal::NameSummary& each : names) {
        compared.statistics.push_back(StatisticsOf(std::move(each), seconds));
        const Statistics& row = compared.statistics.back();
        compared.estimates.push_back(EstimatesOf(row.type, PointsOf(run, row.name, range), slices));
    }
    return compared;
}

ComparedRun ReadForComparison(RunReader& run, const SliceRange& range, Sampling sampling,
                              const std::vector<Percentile>& percentiles) {
    ComparedRun compared = ReadForComparison(run, range);
    if (sampling == Sampling::Runs || percentiles.empty()) return compared;
    auto samples = ReadDistributionSamples(run, range.underLoad);
    for (std::size_t i = 0; i < compared.statistics.size(); ++i)
        compared.estimates[i].distributions = std::move(samples[compared.statistics[i].name]);
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
    complete.id = run.id;
    std::size_t i = 0;
    const auto take = [&] {
        complete.statistics.push_back(std::move(run.statistics[i]));
        complete.estimates.push_back(std::move(run.estimates[i]));
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
    RefuseRepeatedRuns(runs);
    // The first one has all names then, and passes them on.
    for (std::size_t i = 1; i < runs.size(); ++i) AddMissingNames(runs.front(), runs[i]);
    for (std::size_t i = 1; i < runs.size(); ++i) AddMissingNames(runs[i], runs.front());
    ComparedRun side;
    side.sampling = Sampling::Runs;
    side.samples = runs.size();
    for (std::size_t i = 0; i < runs.front().statistics.size(); ++i) {
        const Rows rows = RowsAt(runs, i);
        side.statistics.push_back(MeanRowOf(rows));
        side.estimates.push_back({EstimateOver(runs, i, &Estimates::mean),
                                  EstimateOver(runs, i, &Estimates::flow), DistributionsOf(rows)});
    }
    return side;
}

}  // namespace kzstatprogram
