#include "figures/saturation.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace kzstatprogram {
namespace {

std::string GeneratorOf(const kzjournal::Source& source) {
    return source.run.generator + " on " + source.run.host;
}

/// Every source has another one: with its number where several generators of a host have one name.
std::string NameOf(const kzjournal::Source& source, const std::vector<kzjournal::Source>& all) {
    const auto isNamesake = [&](const kzjournal::Source& other) {
        return !other.isMerged && GeneratorOf(other) == GeneratorOf(source);
    };
    if (std::count_if(all.begin(), all.end(), isNamesake) == 1) return GeneratorOf(source);
    return GeneratorOf(source) + " (source " + std::to_string(source.number) + ")";
}

}  // namespace

void ForEachCostOf(RunReader& run, const RunOpener& runs, const std::string& name,
                   const kzjournal::TimeRange& range,
                   const std::function<void(const std::string& generator,
                                            const kzjournal::SliceCost& slice)>& visit) {
    run.ForEachCost(range, [&](const kzjournal::SliceCost& slice) { visit("", slice); });
    const std::vector<kzjournal::Source> sources = run.Sources();
    for (const kzjournal::Source& source : sources) {
        if (source.isMerged) continue;
        const double offset = source.run.startTime - run.Facts().startTime;
        const std::string generator = NameOf(source, sources);
        runs.Open(name, source.number)
            ->ForEachCost({range.from - offset, range.to - offset},
                          [&](kzjournal::SliceCost slice) {
                              slice.elapsed += offset;
                              visit(generator, slice);
                          });
    }
}

std::optional<Saturation> FindSaturation(RunReader& run, const RunOpener& runs,
                                         const std::string& name,
                                         const kzjournal::TimeRange& range) {
    SaturationFinder finder(run.Facts().sliceLength);
    ForEachCostOf(run, runs, name, range,
                  [&](const std::string& generator, const kzjournal::SliceCost& slice) {
                      finder.Add(generator, slice);
                  });
    return finder.Get();
}

void AddNews(RunReader& run, SaturationFinder& finder) {
    const double from = finder.LastElapsed();
    run.ForEachCost({from, std::numeric_limits<double>::infinity()},
                    [&](const kzjournal::SliceCost& slice) {
                        if (slice.elapsed > from) finder.Add("", slice);
                    });
}

}  // namespace kzstatprogram
