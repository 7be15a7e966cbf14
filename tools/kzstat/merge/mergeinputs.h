#ifndef KZSTATPROGRAM_MERGEINPUTS_H
#define KZSTATPROGRAM_MERGEINPUTS_H

#include <optional>
#include <string>
#include <vector>

#include "reading/runopener.h"

namespace kzstatprogram {

/// A run that is to be merged: that of a file, or one that it was made of. Compatible.
struct MergeInput {
    std::string path;
    int source;  ///< its number within the file; 0 for the run of the file itself
    int parent;  ///< the number, in the merge, of the run that it is a part of; 0 if none
    bool isMerged;
    kzjournal::Run run;

    // How far the run had come when this was made; what comes later is left to another merge.
    int lastSliceId = 0;
    long long slices = 0;
    long long lostSlices = 0;
    long long expectedSlices = 0;
    /// In seconds since 1970-01-01 UTC; nothing if the run had not ended.
    std::optional<double> endTime = std::nullopt;
    /// The end of its last slice, in seconds since its start; 0 without a slice.
    double lastElapsed = 0;

    /// The file, and which of its runs.
    std::string Text() const;
};

/// The runs of all files and, through all levels, the runs that they were made of. Their numbers in
/// the merge are their positions, counted from 1; a run stands before its parts. Throws
/// kzjournal::Error where a run is there twice.
std::vector<MergeInput> MergeInputsOf(const RunOpener& runs, const std::vector<std::string>& paths);

}  // namespace kzstatprogram

#endif
