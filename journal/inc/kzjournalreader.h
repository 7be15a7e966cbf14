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
#include "kzjournalrun.h"
#include "kzjournalslice.h"
#include "kzstatdistribution.h"
#include "kzstatmessage.h"

namespace kzjournal {

/// A range in seconds since the start of the run. It selects the slices that lie entirely within
/// it; if `from` is 0 or less, all slices that end by `to`.
struct TimeRange {
    double from = 0;
    double to = std::numeric_limits<double>::infinity();
};

struct Name {
    std::string name;
    CKZStatPointTypeEnum::PointType type;
};

/// One name over a range. Compatible.
struct NameSummary {
    CKZStatMessageRecord record;  ///< as `Reader::Summary` returns it
    /// Of the values of the range. No value unless it is complete: it has as many values as the
    /// totals of the record, and a distribution is stored for every slice with values of the name.
    std::optional<CKZStatDistribution> distribution;
};

/// The record of one name in one slice.
struct SeriesPoint {
    int sliceId;
    double elapsed;
    CKZStatAggregate lasts;
};

/// A run that is part of a merged run, directly or through another merged run.
struct Source {
    int number;  ///< from 1; `Reader` takes it to open the run
    int parent;  ///< the number of the merged run that it is a part of; 0 for the run of the file
    Run run;
    bool isMerged;  ///< a merged run itself: its sources have the slices, it has none
};

/// How much of a run its file has.
struct Completeness {
    enum State {
        Whole,    ///< the run ended, and the file has all of its slices
        Lacking,  ///< the run ended, and slices of it are not in the file
        NotEnded  ///< the run is active, its process was killed, or its end is in a lost FILE-wal
    };
    State state;
    long long slices;  ///< in the file
    /// Those that the run had, as far as the file says; never less than `slices`.
    long long expectedSlices;
    /// The run has not ended and FILE-wal is not beside the file. It held slices unless another
    /// program has opened and closed the file since.
    bool lacksLog;
};

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

    const Run& Facts() const;
    /// False while the run is active, and if its process was killed.
    bool HasEnded();
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
    /// What was noted of the run, in the order in which it was.
    std::vector<Note> Notes();
    /// The numbers of the sources with a slice in this one.
    std::vector<int> SourcesOfSlice(int sliceId);

    /// The highest slice id; 0 if there is no slice.
    int LastSliceId();
    long long CountSlices(const TimeRange& range = {});
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
