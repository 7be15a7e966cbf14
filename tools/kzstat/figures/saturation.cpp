#include "figures/saturation.h"

#include <limits>

namespace kzstatprogram {

void ForEachCostOf(RunReader& run, const RunOpener& runs, const std::string& name,
                   const kzjournal::TimeRange& range,
                   const std::function<void(const std::string& generator,
                                            const kzjournal::SliceCost& slice)>& visit) {
    run.ForEachCost(range, [&](const kzjournal::SliceCost& slice) { visit("", slice); });
    for (const kzjournal::Source& source : run.Sources()) {
        if (source.isMerged) continue;
        const double offset = source.run.startTime - run.Facts().startTime;
        const std::string generator = source.run.generator + " on " + source.run.host;
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
