#ifndef KZSTATPROGRAM_LEVELS_H
#define KZSTATPROGRAM_LEVELS_H

#include <vector>

#include "figures/slicerange.h"
#include "kzjournalsummary.h"
#include "kzstataggregate.h"
#include "reading/runreader.h"

namespace kzstatprogram {

// A level is the state of a moment, such as the number of clients. Whoever has a part of it reports
// that part once per slice, so that the level of a slice is the sum of the values in it: in a
// merged run that of all generators. Reported twice in a slice, a part counts twice. Through time a
// level is averaged over the slices in which it was reported.

/// The level of a slice; NaN where none was reported.
double LevelOf(const CKZStatAggregate& lasts);

/// Adds the level of a slice to totals and, if there is one, distribution of `summary`, which are
/// those of the levels of slices.
void AddLevel(const CKZStatAggregate& lasts, kzjournal::NameSummary& summary);

/// `RunReader::SummaryWithDistributions`, in which the totals and the distribution of a level are
/// those of the levels of the slices under load, and the lasts those of the last one of these.
std::vector<kzjournal::NameSummary> SummaryWithLevels(RunReader& run, const SliceRange& range);

}  // namespace kzstatprogram

#endif
