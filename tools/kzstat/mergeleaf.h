#ifndef KZSTAT_MERGELEAF_H
#define KZSTAT_MERGELEAF_H

#include <cstddef>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "kzjournalreader.h"
#include "mergeinputs.h"

namespace kzstat {

/// A slice that went into a slice of the merged run.
struct MergePart {
    int source;  ///< the number of its run in the merge
    kzjournal::Slice slice;
};

/// A run that has slices of its own, slice by slice. Compatible.
class MergeLeaf {
public:
    /// `number` is that of the input in the merge.
    MergeLeaf(const MergeInput& input, int number)
        : m_input(input), m_number(number), m_journal(input.path, input.source) {}

    const MergeInput& Input() const { return m_input; }

    /// Null at the end.
    const kzjournal::Slice* Front();
    /// The slice of the merged run, begun at `start`, to which the slice in front belongs.
    int MergedId(double start) const;
    /// Takes all slices up to that of the merged run.
    void TakeUpTo(int mergedId, double start, std::vector<MergePart>& parts);

    /// What was reported so far: the latest totals, and the lasts of the present merged slice.
    const std::unordered_map<std::string, CKZStatMessageRecord>& Records() const {
        return m_records;
    }

private:
    void Take(const CKZStatMessageRecord& record);

    const MergeInput m_input;
    const int m_number;
    kzjournal::Reader m_journal;
    std::deque<kzjournal::Slice> m_ahead;
    int m_lastReadId = 0;
    std::size_t m_slicesAhead = 1;
    std::unordered_map<std::string, CKZStatMessageRecord> m_records;  // by name
};

}  // namespace kzstat

#endif
