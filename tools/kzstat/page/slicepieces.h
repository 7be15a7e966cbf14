#ifndef KZSTATPROGRAM_SLICEPIECES_H
#define KZSTATPROGRAM_SLICEPIECES_H

#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "figures/gaps.h"
#include "files/fileplace.h"
#include "reading/runopener.h"
#include "rw/mutex.h"
#include "ryp/annotations.h"
#include "text/exportformats.h"

namespace kzstatprogram {

/// The records of slices as an array of JSON, in pieces, for many clients at a time. Takes no more
/// memory for many clients, for long answers and for slices of many names. Safe for concurrent use.
class SlicePieces {
public:
    /// One client's way through the slices. Compatible.
    class Cursor {
    public:
        /// At most `most` slices with an id above `after`, of the run with this id.
        Cursor(std::string run, double sliceLength, int after, int most)
            : m_run(std::move(run)), m_gaps(sliceLength), m_after(after), m_left(most) {}

    private:
        friend class SlicePieces;
        const std::string m_run;
        Gaps m_gaps;
        int m_after;
        int m_left;
        std::size_t m_position = 0;  // of the next record in the slice behind `m_after`
        double m_gap = 0;            // before that slice
        bool m_hasBegun = false;
        bool m_hasRecord = false;
        bool m_hasEnded = false;
    };

    /// `runs` must outlive this.
    SlicePieces(const RunOpener& runs, std::string name) : m_runs(runs), m_name(std::move(name)) {}

    /// Empty behind the end. Throws kzjournal::Error, also where the name is that of another run by
    /// now.
    std::string Next(Cursor& cursor);

private:
    /// Slices that follow one another.
    struct Batch {
        int after;                             // the id that was asked for
        std::vector<kzjournal::Slice> slices;  // one at least
        std::size_t bytes = 0;
    };

    void OpenFor(const Cursor& cursor) RYP_REQUIRES(m_lock);
    void Append(Cursor& cursor, std::string& text) RYP_REQUIRES(m_lock);
    const kzjournal::Slice* SliceAfter(int id) RYP_REQUIRES(m_lock);
    bool ReadBatchAfter(int id) RYP_REQUIRES(m_lock);
    void MakeRoom() RYP_REQUIRES(m_lock);

    const RunOpener& m_runs;
    const std::string m_name;
    RWMutexLock m_lock;
    std::optional<kzfiles::FilePlace> m_place RYP_GUARDED_BY(m_lock);
    std::unique_ptr<RunReader> m_reader RYP_GUARDED_BY(m_lock);  // null until asked for
    std::unique_ptr<ExportFormat> m_format RYP_GUARDED_BY(m_lock);
    int m_slicesPerBatch RYP_GUARDED_BY(m_lock) = 1;
    std::list<Batch> m_batches RYP_GUARDED_BY(m_lock);  // the one used last first
};

}  // namespace kzstatprogram

#endif
