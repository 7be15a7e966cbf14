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
#include "kzstatmessage.h"

namespace kzjournal {

/// Seconds since the start of the run. Chooses the slices that lie within it as a whole; from 0 or
/// less it chooses all that end by `to`.
struct TimeRange {
    double from = 0;
    double to = std::numeric_limits<double>::infinity();
};

struct Name {
    std::string name;
    CKZStatPointTypeEnum::PointType type;
};

/// What one slice says about one name.
struct SeriesPoint {
    int sliceId;
    double elapsed;
    CKZStatAggregate lasts;
};

/// A run that a merged run was made of, directly or through another merged run.
struct Source {
    int number;  ///< from 1; `Reader` opens the run by it
    int parent;  ///< the number of the merged run that it is a part of; 0 for the run of the file
    Run run;
    bool isMerged;  ///< made of others itself: those have the slices, this one has none
};

/// Reads the journal of a run, also while the run goes on: each call sees the slices that are
/// complete at that moment. Never changes the journal.
///
/// All operations throw `Error`. Compatible: one thread at a time per object; several readers may
/// read one file.
class KZJOURNAL_EXPORT Reader {
public:
    /// `source` is the number of a source whose slices are to be read, which a merged run keeps as
    /// they came; 0 is the run of the file itself.
    explicit Reader(const std::string& path, int source = 0);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    const Run& Facts() const;
    /// False while the run goes on, and for a run whose process was killed.
    bool HasEnded();
    /// Slices that the writer could not keep; 0 until the run has ended.
    long long LostSlices();
    /// Slices that the file should hold as far as its writer knew: those that the host had handed
    /// over by the last one that is in the file, and by the end of the run once it has ended.
    long long ExpectedSlices();
    /// What a merged run was made of, through all levels, in the order of the numbers; empty for a
    /// run as it was written.
    std::vector<Source> Sources();
    /// The numbers of the sources that have a slice in this one.
    std::vector<int> SourcesOfSlice(int sliceId);

    /// The highest slice id; 0 where there is no slice.
    int LastSliceId();
    long long CountSlices(const TimeRange& range = {});
    /// In the order of their names, each with the type of its latest record.
    std::vector<Name> Names();

    /// The last slice in the range; nothing where there is none.
    std::optional<Slice> LastSlice(const TimeRange& range = {});
    /// In the order of time. Each slice is verified by its checksum: one that is damaged ends the
    /// walk with an `Error` that names it.
    void ForEachSlice(const TimeRange& range, const std::function<void(const Slice&)>& visit);
    /// Those with a higher id than `sliceId`, in the order of the ids; at most so many. Verified as
    /// above.
    void ForEachSliceAfter(int sliceId, const std::function<void(const Slice&)>& visit,
                           int most = std::numeric_limits<int>::max());
    /// One name through time. Reads nothing of other names.
    void ForEachPoint(const std::string& name, const TimeRange& range,
                      const std::function<void(const SeriesPoint&)>& visit);

    /// Every name over the range: the totals are those of the range alone, the lasts those of its
    /// last slice. Costs the reading of one slice where the range begins with the run, and of all
    /// slices in it otherwise.
    std::vector<CKZStatMessageRecord> Summary(const TimeRange& range = {});

private:
    struct State;
    const std::unique_ptr<State> m_state;
};

}  // namespace kzjournal

#endif
