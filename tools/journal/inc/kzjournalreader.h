#ifndef KZJOURNALREADER_H
#define KZJOURNALREADER_H

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "kzjournal_export.h"
#include "kzjournalrun.h"
#include "kzstatmessage.h"

namespace kzjournal {

/// Its text is a line for the user.
class KZJOURNAL_EXPORT Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~Error() override;
};

/// Seconds since the start of the run. Chooses the slices that lie within it as a whole.
struct TimeRange {
    double from = 0;
    double to = std::numeric_limits<double>::infinity();
};

struct Name {
    std::string name;
    CKZStatPointTypeEnum::PointType type;
};

/// What one slice says about one name. Averages are sum / count, -1 where there is no value.
struct SeriesPoint {
    int sliceId;
    double elapsed;
    CKZStatAggregate lasts;
};

/// Reads the journal of a run, also while the run goes on: each call sees the slices that are
/// complete at that moment. Never changes the journal.
///
/// All operations throw `Error`. Compatible: one thread at a time per object; several readers may
/// read one file.
class KZJOURNAL_EXPORT Reader {
public:
    explicit Reader(const std::string& path);
    ~Reader();
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    const Run& Facts() const;
    /// False while the run goes on, and for a run whose process was killed.
    bool HasEnded();
    /// Slices that the writer could not keep; 0 until the run has ended.
    long long LostSlices();
    /// The runs that a merged run was made of; empty for a run as it was written.
    std::vector<Run> Sources();
    /// Indices into `Sources()` of those that have a part in the slice.
    std::vector<int> SourcesOfSlice(int sliceId);

    /// The highest slice id; 0 where there is no slice.
    int LastSliceId();
    long long CountSlices(const TimeRange& range = {});
    /// In the order of their names, each with the type of its latest record.
    std::vector<Name> Names();

    /// The last slice in the range; nothing where there is none.
    std::optional<CKZStatMessage> LastSlice(const TimeRange& range = {});
    /// In the order of time.
    void ForEachSlice(const TimeRange& range,
                      const std::function<void(const CKZStatMessage&)>& visit);
    /// Those with a higher id than `sliceId`, in the order of the ids; at most so many.
    void ForEachSliceAfter(int sliceId, const std::function<void(const CKZStatMessage&)>& visit,
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
