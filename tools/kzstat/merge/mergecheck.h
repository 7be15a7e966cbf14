#ifndef KZSTATPROGRAM_MERGECHECK_H
#define KZSTATPROGRAM_MERGECHECK_H

#include <string>

#include "kzjournalreader.h"

namespace kzstatprogram {

/// Whether the run of the file was made of others: it names them, or its slices do.
bool IsMerged(kzjournal::Reader& journal);

/// Merges the runs that the merged run at `path` was made of once more, and compares: it must have
/// the same slices, made of the same runs, with the same values. Throws `Violation` at the first
/// difference, and `kzjournal::Error` where the runs cannot be read or merged.
void CheckMerge(const std::string& path);

}  // namespace kzstatprogram

#endif
