#ifndef KZJOURNALBULKWRITER_H
#define KZJOURNALBULKWRITER_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kzjournal_export.h"
#include "kzjournaldistributions.h"
#include "kzjournalrun.h"
#include "kzjournalslice.h"
#include "kzstatslicevalues.h"

namespace kzjournal {

class SliceStore;

/// Writes a journal of slices that exist already, such as those of a merged run. Much faster than
/// `Writer`, since nothing is durable before `Close` has returned.
///
/// All operations throw `Error`. Compatible.
class KZJOURNAL_EXPORT BulkWriter {
public:
    /// The file must be new or empty.
    BulkWriter(const std::string& path, const Run& run);
    /// Removes the file and its companions unless it was closed.
    ~BulkWriter();
    BulkWriter(const BulkWriter&) = delete;
    BulkWriter& operator=(const BulkWriter&) = delete;

    /// Adds a run that this one is made of. `parent` is the number of the merged run that contained
    /// it, 0 if it was given directly. Returns its number, from 1. Throws if the id is that of this
    /// run or of a source added before.
    int AddSource(const Run& run, int parent, bool isMerged);

    /// Stores a slice of a source unchanged.
    void AppendToSource(int source, const CKZStatSliceValues& slice);
    void AppendToSource(int source, const Slice& slice);

    /// Stores a slice of the run. `sources` are the numbers of the sources with a slice in it.
    void Append(const CKZStatSliceValues& slice, const std::vector<int>& sources = {});

    /// Ends a source: `endTime` in seconds since 1970-01-01 UTC, no value if the run did not end.
    void CloseSource(int source, std::optional<double> endTime, long long lostSlices,
                     long long expectedSlices);

    /// Adds a note to its source, or to the run.
    void AddNote(const Note& note);
    /// Adds a condition to a source, or to the run.
    void AddCondition(const std::string& text, int source = 0);

    /// Ends the run: `endTime` in seconds since 1970-01-01 UTC, no value if one of its sources did
    /// not end. The expected slices are those that were appended plus `lostSlices`. When this
    /// returns, the file is complete and on the disk, without companions.
    void Close(std::optional<double> endTime, long long lostSlices);

private:
    void Keep(int run, const CKZStatSliceValues& slice, const RecordDistributions& distributions,
              const std::vector<int>& sources);
    const RecordDistributions& EncodedDistributions(const CKZStatSliceValues& slice);

    const std::string m_path;
    std::unique_ptr<SliceStore> m_store;
    std::map<int, long long> m_keptSlices;  // by run
    RecordDistributions m_distributions;    // of the slice that is written
    bool m_isComplete = false;
};

}  // namespace kzjournal

#endif
