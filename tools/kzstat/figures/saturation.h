#ifndef KZSTATPROGRAM_SATURATION_H
#define KZSTATPROGRAM_SATURATION_H

#include <functional>
#include <optional>
#include <string>

#include "conditions/saturation.h"
#include "reading/runopener.h"

namespace kzstatprogram {

using kzconditions::Saturation;
using kzconditions::SaturationFinder;

/// Visits the costs in the range of a run, which `runs` knows by this name, and of its sources that
/// have slices: times are those of the run. `generator` is as in `Saturation`. Throws
/// `kzjournal::Error`.
void ForEachCostOf(RunReader& run, const RunOpener& runs, const std::string& name,
                   const kzjournal::TimeRange& range,
                   const std::function<void(const std::string& generator,
                                            const kzjournal::SliceCost& slice)>& visit);

/// The first saturation of the run or of one of its sources. The same errors.
std::optional<Saturation> FindSaturation(RunReader& run, const RunOpener& runs,
                                         const std::string& name,
                                         const kzjournal::TimeRange& range = {});

/// Adds the slices that came since the last call to `finder`; the run itself is the only generator.
/// The same errors.
void AddNews(RunReader& run, SaturationFinder& finder);

}  // namespace kzstatprogram

#endif
