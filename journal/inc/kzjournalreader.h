#ifndef KZJOURNALREADER_H
#define KZJOURNALREADER_H

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kzjournal_export.h"
#include "kzjournalerror.h"
#include "kzjournalload.h"
#include "kzjournalrun.h"
#include "kzjournalslice.h"
#include "kzjournalsummary.h"
#include "kzstatmessage.h"

namespace kzjournal {

/// Reads the journal of a run, also while the run is active: each call sees the slices that are
/// complete at that moment. Never changes what is in the journal; rolls back what another program
/// left half done beside it, in a private copy where it may not write. Refuses damaged slices, and
/// files that were made to look like a journal. Holds no transaction while a slice is visited.
///
/// All operations throw `Error`. Compatible: one thread at a time per object; several readers may
/// read one file.
class KZJOURNAL_EXPORT Reader {
public:
    /// `source` is the number of the source to read, whose slices a merged run keeps unchanged; 0
    /// is the run of the file itself.
    explicit Reader(const std::string& path, int source = 0);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Has reading fail as soon as `isRequested`, which is asked often, returns true.
    void StopWhen(std::function<bool()> isRequested);

    /// As they were when the file was opened.
    const Run& Facts() const;
    /// When the load began and ended, as far as is known by now.
    LoadSpan Load();
    /// False while the run is active, and if its process was killed.
    bool HasEnded();
    /// True if the run has not ended and never will: no process writes it any more, as after its
    /// process was killed. False where that cannot be known: if the run was written on another
    /// host, if its schema is older than 5, or if it is kept without FILE-wal or without locks.
    bool IsAbandoned();
    /// Slices that the writer could not store; 0 until the run has ended.
    long long LostSlices();
    /// Slices that the host had passed to the writer when the last slice in the file was written
    /// or, once the run has ended, at its end.
    long long ExpectedSlices();
    /// How much of the run there is. A source that is merged itself has no slices of its own.
    Completeness GetCompleteness();
    /// The sources of a merged run, through all levels, in the order of their numbers; empty for
    /// any other run.
    std::vector<Source> Sources();
    /// What was noted of the run and, where it is merged, of its sources that have slices of their
    /// own, in the order of time.
    std::vector<Note> Notes();
    /// The conditions that were stored for the run and for those sources, each text once, in the
    /// order in which they were.
    std::vector<std::string> Conditions();
    /// The numbers of the sources with a slice in this one.
    std::vector<int> SourcesOfSlice(int sliceId);

    /// The highest slice id; 0 if there is no slice.
    int LastSliceId();
    long long CountSlices(const TimeRange& range = {});
    /// The ends of the slices in the range, in seconds since the start of the run, in ascending
    /// order.
    std::vector<double> SliceEnds(const TimeRange& range = {});
    /// Sorted by name, each with the type of its latest record.
    std::vector<Name> Names();

    /// The last slice in the range; no value if there is none.
    std::optional<Slice> LastSlice(const TimeRange& range = {});
    /// Visits slices in the order of time. Each is verified by its checksum: a damaged one throws
    /// an `Error` that names it.
    void ForEachSlice(const TimeRange& range, const std::function<void(const Slice&)>& visit);
    /// Visits at most `most` slices with an id above `sliceId`, in the order of the ids. Verified
    /// as above.
    void ForEachSliceAfter(int sliceId, const std::function<void(const Slice&)>& visit,
                           int most = std::numeric_limits<int>::max());
    /// Visits one name in the order of time. All slices of the range are verified before, which is
    /// done once per chunk and reader.
    void ForEachPoint(const std::string& name, const TimeRange& range,
                      const std::function<void(const SeriesPoint&)>& visit);

    /// Visits what the slices in the range cost, in the order of time; those that were not measured
    /// are left out. Verified as above; reads nothing else of the slices.
    void ForEachCost(const TimeRange& range, const std::function<void(const SliceCost&)>& visit);

    /// Visits what the slices in the range add up to, in the order of time. A sum has the form of a
    /// slice: `id`, `elapsed` and `endTime` are those of its last slice, the lasts of a record
    /// are the sum of those of its slices, and its distribution, without percentiles, is that of
    /// all their values, or none where one of them has values without a distribution. Totals and
    /// message are empty. Whole numbers are exact; sums are rounded as additions of doubles are.
    ///
    /// `groupOf` gives each slice, by its `elapsed`, a number that never decreases through time.
    /// All slices of a sum have the same number; a number may have several sums, whose own sum is
    /// that of all its slices.
    void ForEachSum(const TimeRange& range, const std::function<long long(double)>& groupOf,
                    const std::function<void(const Slice& sum)>& visit);

    /// Computes every stored sum anew and throws an `Error` that names the first one that is not
    /// what its slices add up to. Reads all slices.
    void CheckSums();

    /// Every name over the range: the totals are those of the range alone, the lasts those of its
    /// last slice. Reads one slice if the range begins with the run, and all slices in
    /// it otherwise.
    std::vector<CKZStatMessageRecord> Summary(const TimeRange& range = {});
    /// The same with the distributions, which are the sums of those of the slices. Reads all slices
    /// in the range; there is no distribution, and no need to, where the last one has none at all.
    std::vector<NameSummary> SummaryWithDistributions(const TimeRange& range = {});

private:
    struct State;
    const std::unique_ptr<State> m_state;
};

}  // namespace kzjournal

#endif
