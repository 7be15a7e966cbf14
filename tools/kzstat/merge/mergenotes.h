#ifndef KZSTATPROGRAM_MERGENOTES_H
#define KZSTATPROGRAM_MERGENOTES_H

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "merge/mergedrun.h"

namespace kzstatprogram {

/// Tells where a merged run has gaps, in which no source has a slice, and where a generator begins
/// again: a run after the last slice of one of the same name and host. Compatible.
class MergeNotes {
public:
    /// `inputs` must outlive this.
    explicit MergeNotes(const std::vector<MergeInput>& inputs) : m_inputs(inputs) {}

    /// Whether the text is that of such a note.
    static bool IsOne(const std::string& text);

    /// Returns what is to be noted of the next slice.
    std::vector<kzjournal::Note> Take(const MergedSlice& slice);

private:
    /// A name on a host.
    using Generator = std::pair<std::string, std::string>;

    const MergeInput& InputOf(const MergePart& part) const;
    void NoteEnds(const MergedSlice& slice);
    bool BeginsAgain(const MergePart& part);

    const std::vector<MergeInput>& m_inputs;
    int m_lastId = 0;
    double m_lastEndTime = 0;
    std::set<int> m_begun;               // sources
    std::map<Generator, double> m_ends;  // of the last slices of runs that have no more
};

}  // namespace kzstatprogram

#endif
