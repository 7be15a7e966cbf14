#ifndef KZSTAT_MERGEDRUN_H
#define KZSTAT_MERGEDRUN_H

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kzjournalreader.h"

namespace kzstat {

/// A slice of the merged run: its message, and which of the runs have a part in it.
struct MergedSlice {
    int id;
    std::string message;
    std::vector<int> sources;
};

/// Merges the runs of several generators of one test into one. Its slices begin with the first of
/// all slices, and a slice of a run belongs to the one in which its middle lies on the wall clock.
/// A run that has no slice there keeps its totals: so none is ever late. Compatible.
class MergedRun {
public:
    /// Throws `kzjournal::Error` where the slices are not of one length. The journals must outlive
    /// this.
    explicit MergedRun(const std::vector<std::unique_ptr<kzjournal::Reader>>& journals);

    /// The facts of the merged run.
    const kzjournal::Run& Facts() const { return m_facts; }

    /// Puts the next slice into `slice`; false where there is none.
    bool Next(MergedSlice& slice);

private:
    using Record = CKZStatMessageRecord;

    /// One of the runs, slice by slice. Compatible.
    class Source {
    public:
        Source(kzjournal::Reader& journal, double wallClockOffset);
        /// Null at the end.
        const CKZStatMessage* Front();
        void Pop();
        /// The merged slice to which the slice in front belongs.
        int MergedId();
        /// What it has reported so far, by name. The lasts are those of the present merged slice.
        std::map<std::string, Record> records;

    private:
        kzjournal::Reader& m_journal;
        const double m_wallClockOffset;
        std::deque<CKZStatMessage> m_ahead;
        int m_lastReadId = 0;
    };

    std::vector<int> TakeSlice(int id);
    std::string MessageOf(int id) const;

    kzjournal::Run m_facts;
    std::vector<Source> m_sources;
};

/// One record of several of one name. Statistics that the points merge are merged by their
/// operators; the sums of squares, which they do not have, are added. REQUIRES: at least one.
CKZStatMessageRecord MergeRecords(const std::vector<CKZStatMessageRecord>& records, double time);

}  // namespace kzstat

#endif
