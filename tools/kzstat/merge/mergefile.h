#ifndef KZSTATPROGRAM_MERGEFILE_H
#define KZSTATPROGRAM_MERGEFILE_H

#include <functional>
#include <string>
#include <vector>

#include "merge/mergedrun.h"

namespace kzstatprogram {

/// Makes the journal of the merged run at `path`, with the facts and slices of every run that it
/// was made of. A merged run that stands there is replaced where all of its runs are merged again,
/// each with no fewer slices than before; notes and conditions that were added to it are kept. Gaps
/// and restarts are noted in it, and it has not ended unless all of the runs have. `visit` sees
/// each slice once it is written.
///
/// Throws kzjournal::Error; `path` is then as it was.
void MergeInto(const std::string& path, const RunOpener& runs,
               const std::vector<MergeInput>& inputs,
               const std::function<void(const MergedSlice&)>& visit);

}  // namespace kzstatprogram

#endif
