#ifndef KZJOURNALWRITER_H
#define KZJOURNALWRITER_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kzjournal_export.h"
#include "kzjournalerror.h"
#include "kzjournalload.h"
#include "kzjournalrun.h"
#include "kzstatrun.h"
#include "kzstatslicevalues.h"

namespace kzjournal {

class Worker;

/// Where a slice is when `Append` has returned.
enum class SliceState {
    OnDisk,   ///< in the file: it survives the end of the process and a loss of power
    Waiting,  ///< in memory only, and retried with the next slice; lost if the process is killed
    Lost      ///< nowhere, and never tried again
};

/// What became of a slice. Compatible.
struct AppendResult {
    SliceState state = SliceState::Lost;
    /// What the user should know, as one line, once for each problem. It may be about earlier
    /// slices: one that waited may turn out to be lost.
    std::optional<Error> problem;
};

/// Writes a run to a file: each slice that the generator passes to the hook `SendSliceValues`
/// becomes one transaction with its message and its exact values. `Append` tells whether the slice
/// is on the disk.
///
/// A thread of the writer does the writing, so that a hanging disk does not block the caller:
/// `Append` waits for at most 0.5 seconds and `Close` for 2. A slice that could not be written
/// waits in memory, as do those after it, and is retried with the next one. They may take 64 MB, or
/// be one slice of any size; further ones are lost. Once a slice is on the disk, no earlier one
/// waits.
///
/// If the file or a companion of it is removed or replaced, the run is copied to
/// FILE.recovered-1, or the next free number, and goes on there, which is a problem too.
///
/// Nothing throws: each operation returns what went wrong. Each problem is told once, by the
/// `Append` with which it begins, until it has ended; the state is told with each slice. A loss is
/// a problem of its own.
///
/// Compatible: used by one thread at a time.
class KZJOURNAL_EXPORT Writer {
public:
    Writer();
    /// Closes the journal if it is still open, and logs errors.
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// Creates the file for `run` and the texts of the conditions that it is to meet, of at most
    /// 64 KB each. An existing file must be empty: no run is ever overwritten, and two runs do not
    /// share a file. If this fails, `Append` returns `Lost` without a problem, and `Close` does
    /// nothing.
    [[nodiscard]] std::optional<Error> Open(const std::string& path, const Run& run,
                                            const std::vector<std::string>& conditions = {});

    bool IsOpen() const { return m_worker != nullptr; }

    /// Sets when the load of the run began and ended, as far as is known by now. It is stored with
    /// the next slice and at the end of the run, without a transaction of its own. Moments that no
    /// reader would accept are not stored.
    void SetLoad(const LoadSpan& load);

    /// Stores one slice. The same slice again is stored once. Refused, and so lost, are another
    /// one under a stored id, slices of another generator, with an id below 1 or a duplicate name,
    /// and what no reader would accept: an end that is no moment, a message above 64 MB.
    [[nodiscard]] AppendResult Append(const CKZStatSliceValues& slice);

    /// Ends the run; slices that still wait then are lost. Returns an error if slices were lost, if
    /// FILE-wal still holds a part of the run and must be kept with the file, or if there is a
    /// problem that no `Append` has told. A second call does nothing.
    [[nodiscard]] std::optional<Error> Close();
    /// The same for a complete `CKZStatRun`: also stores when its load began and ended. Slices of
    /// it that were never appended count as lost, which is not reported.
    [[nodiscard]] std::optional<Error> Close(const CKZStatRunEnd& end);

    /// Slices that are not in the file; final after `Close`.
    long long LostSlices() const { return m_lostSlices; }

private:
    std::optional<Error> CloseWith(const std::optional<CKZStatRunEnd>& end);

    // Shared with the thread, which outlives the writer if the disk never answers.
    std::shared_ptr<Worker> m_worker;
    long long m_lostSlices = 0;
};

}  // namespace kzjournal

#endif
