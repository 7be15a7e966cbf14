#ifndef KZLOAD_SLICEFIGURES_H
#define KZLOAD_SLICEFIGURES_H

#include <vector>

#include "kzjournalload.h"
#include "kzstatrun.h"
#include "kzstatslicevalues.h"
#include "report.h"

namespace kzload {

/// What the user is shown of a slice. These functions are safe for concurrent use.

kzjournal::LoadSpan LoadOf(const CKZStatRun& run);

SliceRow RowOf(const CKZStatSliceValues& slice);
/// Every statistic of the run up to the end of the slice.
std::vector<Total> TotalsOf(const CKZStatSliceValues& slice);
/// Replaces the levels of `totals` by those of `before`, where it has them: while the last requests
/// drain, clients are no load.
void KeepLevels(const std::vector<Total>& before, std::vector<Total>& totals);
/// The requests that are part of `totals`.
Requests RequestsIn(const std::vector<Total>& totals);

}  // namespace kzload

#endif
