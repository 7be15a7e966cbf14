#ifndef KZSTATPROGRAM_RUNREADER_H
#define KZSTATPROGRAM_RUNREADER_H

#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "kzjournalerror.h"
#include "kzjournalload.h"
#include "kzjournalrun.h"
#include "kzjournalslice.h"
#include "kzjournalsummary.h"

namespace kzstatprogram {

/// One run as the commands read it, wherever it is stored. The run may be active: each call sees
/// the slices that are complete at that moment. Times are in seconds since the start of the run.
///
/// All operations throw `kzjournal::Error`. What is stored wrongly is never returned: an
/// implementation verifies slices, and throws where one is damaged. It holds no lock on the store
/// while a slice, a point or a sum is visited. Compatible: one thread at a time per object; several
/// objects may read one run at a time.
class RunReader {
public:
    RunReader() = default;
    virtual ~RunReader() = default;
    RunReader(const RunReader&) = delete;
    RunReader& operator=(const RunReader&) = delete;

    using SliceVisitor = std::function<void(const kzjournal::Slice&)>;
    using CostVisitor = std::function<void(const kzjournal::SliceCost&)>;
    using PointVisitor = std::function<void(const kzjournal::SeriesPoint&)>;

    /// Has reading that takes longer fail once `isRequested` returns true. The reading thread asks
    /// it again and again; several readers may share it.
    virtual void StopWhen(std::function<bool()> isRequested) = 0;

    /// They do not change while the reader exists, and live as long as it does: `Load` knows more
    /// than their load.
    virtual const kzjournal::Run& Facts() const = 0;
    /// When the load began and ended, as far as is known with the slices that there are.
    virtual kzjournal::LoadSpan Load() = 0;
    /// False while the run is active, and if its process was killed.
    virtual bool HasEnded() = 0;
    /// True if the run has not ended and its process is gone, as far as that can be known.
    virtual bool IsAbandoned() = 0;
    /// Slices that could not be stored; 0 until the run has ended.
    virtual long long LostSlices() = 0;
    /// Slices that the run had when its last slice was stored or, once it has ended, at its end.
    virtual long long ExpectedSlices() = 0;
    virtual kzjournal::Completeness GetCompleteness() = 0;
    /// The runs that a merged run was made of, through all levels, in the order of their numbers;
    /// empty for any other run.
    virtual std::vector<kzjournal::Source> Sources() = 0;
    /// Those of the run and, where it is merged, of its sources, in the order of time.
    virtual std::vector<kzjournal::Note> Notes() = 0;
    /// What the run, or a source of it, is to meet: texts, each once, in the order in which they
    /// were stored. They are not interpreted.
    virtual std::vector<std::string> Conditions() = 0;
    /// The numbers of the sources with a slice in this one, in ascending order.
    virtual std::vector<int> SourcesOfSlice(int sliceId) = 0;

    /// The highest slice id; 0 if there is no slice.
    virtual int LastSliceId() = 0;
    virtual long long CountSlices(const kzjournal::TimeRange& range = {}) = 0;
    /// The ends of the slices in the range, in ascending order.
    virtual std::vector<double> SliceEnds(const kzjournal::TimeRange& range = {}) = 0;
    /// Sorted by name.
    virtual std::vector<kzjournal::Name> Names() = 0;

    /// The last slice in the range; no value if there is none.
    virtual std::optional<kzjournal::Slice> LastSlice(const kzjournal::TimeRange& range = {}) = 0;
    /// Visits slices in the order of time.
    virtual void ForEachSlice(const kzjournal::TimeRange& range, const SliceVisitor& visit) = 0;
    /// Visits at most `most` slices with an id above `sliceId`, in the order of the ids.
    virtual void ForEachSliceAfter(int sliceId, const SliceVisitor& visit,
                                   int most = std::numeric_limits<int>::max()) = 0;
    /// Visits one name in the order of time.
    virtual void ForEachPoint(const std::string& name, const kzjournal::TimeRange& range,
                              const PointVisitor& visit) = 0;

    /// Visits what the slices in the range cost their process, in the order of time; those that
    /// were not measured are left out, as are all of a merged run, whose sources have it.
    virtual void ForEachCost(const kzjournal::TimeRange& range, const CostVisitor& visit) = 0;

    /// Visits what the slices in the range add up to, in the order of time. A sum has the form of a
    /// slice: `id`, `elapsed` and `endTime` are those of its last slice, the lasts of a record are
    /// the sum of those of its slices, and its distribution, without percentiles, is that of all
    /// their values, or none where one of them has values without a distribution. Totals and
    /// message may be anything.
    ///
    /// `groupOf` gives each slice, by its `elapsed`, a number that never decreases through time.
    /// All slices of a sum have the same number; a number may have several sums.
    virtual void ForEachSum(const kzjournal::TimeRange& range,
                            const std::function<long long(double)>& groupOf,
                            const SliceVisitor& visit) = 0;

    /// Throws where a sum that is stored beside the slices is not what they add up to. Reads all
    /// slices, unless no sums are stored.
    virtual void CheckSums() = 0;

    /// Every name over the range, in no particular order: the totals are those of the range alone,
    /// the lasts those of its last slice. Must be fast where the range begins with the run: totals
    /// of the run so far are part of its last slice.
    virtual std::vector<CKZStatMessageRecord> Summary(const kzjournal::TimeRange& range = {}) = 0;
    /// The same with the distributions of the range.
    virtual std::vector<kzjournal::NameSummary> SummaryWithDistributions(
        const kzjournal::TimeRange& range = {}) = 0;
};

}  // namespace kzstatprogram

#endif
