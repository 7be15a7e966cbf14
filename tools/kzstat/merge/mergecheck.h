#ifndef KZSTATPROGRAM_MERGECHECK_H
#define KZSTATPROGRAM_MERGECHECK_H

#include <string>

#include "reading/runopener.h"

namespace kzstatprogram {

/// Whether the run was made of others: it names them, or its slices do.
bool IsMerged(RunReader& run);

/// Merges the runs that the merged run with this name was made of once more, and compares: it must
/// have the same slices, made of the same runs, with the same values. Throws `Violation` at the
/// first difference, and `kzjournal::Error` where the runs cannot be read or merged.
void CheckMerge(const RunOpener& runs, const std::string& name);

}  // namespace kzstatprogram

#endif
