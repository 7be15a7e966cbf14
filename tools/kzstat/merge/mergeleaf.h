#ifndef KZSTATPROGRAM_MERGELEAF_H
#define KZSTATPROGRAM_MERGELEAF_H

#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "kzstatdistributionsum.h"
#include "merge/mergeinputs.h"
#include "reading/runreader.h"

namespace kzstatprogram {

/// A slice that went into a slice of the merged run.
struct MergePart {
    int source;  ///< the number of its run in the merge
    kzjournal::Slice slice;
};

/// A record of a merge and the distribution of its lasts. Compatible.
struct DistributedRecord {
    CKZStatMessageRecord record;
    CKZStatDistributionSum distribution;
};

/// A run that has slices of its own, slice by slice. Compatible.
class MergeLeaf {
public:
    /// `number` is that of the input in the merge, which begins at `start`, in seconds since
    /// 1970-01-01 UTC.
    MergeLeaf(const RunOpener& runs, const MergeInput& input, int number, double start)
        : m_input(input),
          m_number(number),
          m_start(start),
          m_run(runs.Open(input.path, input.source)) {}

    const MergeInput& Input() const { return m_input; }

    /// Whether there is a slice that was not taken. Throws `kzjournal::Error` where the slices
    /// cannot be read or end too far from the start.
    bool HasNext();
    /// The slice of the merged run to which the next slice belongs. REQUIRES: there is one.
    int MergedId() const { return m_ahead.front().mergedId; }
    /// Takes all slices up to that of the merged run. Throws `kzjournal::Error` as above, and where
    /// a name changes its type.
    void TakeUpTo(int mergedId, std::vector<MergePart>& parts);

    /// What was reported so far: the latest totals, and the lasts of the present merged slice.
    const std::unordered_map<std::string, DistributedRecord>& Records() const { return m_records; }

private:
    struct PlacedSlice {
        kzjournal::Slice slice;
        int mergedId;
    };

    void ReadAhead();
    int Place(const kzjournal::Slice& slice);
    void Take(const kzjournal::Slice& slice, std::size_t position);
    void AddDistribution(const kzjournal::Slice& slice, std::size_t position,
                         CKZStatDistributionSum& sum) const;

    const MergeInput m_input;
    const int m_number;
    const double m_start;
    const std::unique_ptr<RunReader> m_run;
    std::deque<PlacedSlice> m_ahead;
    int m_lastReadId = 0;
    double m_placedId = 0;              // of the slice read last
    std::optional<double> m_placedEnd;  // the end of that slice
    std::size_t m_slicesAhead = 1;
    std::unordered_map<std::string, DistributedRecord> m_records;  // by name
};

}  // namespace kzstatprogram

#endif
