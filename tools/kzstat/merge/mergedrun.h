#ifndef KZSTATPROGRAM_MERGEDRUN_H
#define KZSTATPROGRAM_MERGEDRUN_H

#include <list>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "kzstatdistributionsum.h"
#include "kzstatslicevalues.h"
#include "merge/mergeleaf.h"

namespace kzstatprogram {

/// A slice of the merged run, and what it was made of. Compatible.
struct MergedSlice {
    CKZStatSliceFacts facts;
    RWCString message;
    std::vector<CKZStatMessageRecord> records;  ///< in the order of their names
    /// Of the lasts of the records, or null; owned by the merge and valid until the next slice.
    std::vector<const CKZStatDistribution*> distributions;
    std::vector<MergePart> parts;  ///< run by run, slice by slice

    /// This must outlive it.
    CKZStatSliceValues View() const { return {facts, message, records, distributions}; }
    /// The runs that have a part in it, each once.
    std::vector<int> Sources() const;
};

/// Merges the runs of several generators of one test into one. Its slices begin with the first of
/// all runs. The first slice of a run belongs to the one in which its middle lies on the wall
/// clock, and those after it to the ones after that. A run that has no slice there keeps its
/// totals: so none is ever late.
///
/// Made of the runs that have slices of their own, added in the order of their ids: the result is
/// the same to the bit in whatever order and through however many merges they come. Compatible.
class MergedRun {
public:
    /// Throws `kzjournal::Error` where the slices are not of one length.
    MergedRun(const RunOpener& runs, const std::vector<MergeInput>& inputs);

    /// The facts of the merged run.
    const kzjournal::Run& Facts() const { return m_facts; }

    /// Puts the next slice into `slice`; false where there is none. Throws `kzjournal::Error` where
    /// a run cannot be read, begins too long after the first one or has a name of different types.
    bool Next(MergedSlice& slice);

private:
    std::optional<int> NextId();
    std::vector<CKZStatMessageRecord> MergeRecords() const;
    std::vector<const CKZStatDistribution*> MergeDistributions(
        const std::vector<CKZStatMessageRecord>& records);
    [[noreturn]] void RefuseType(const CKZStatMessageRecord& record, const MergeLeaf& leaf) const;

    std::list<MergeLeaf> m_leaves;  // in the order of the ids of their runs
    kzjournal::Run m_facts;
    std::unordered_map<std::string, CKZStatDistributionSum> m_distributions;  // of the latest slice
};

}  // namespace kzstatprogram

#endif
