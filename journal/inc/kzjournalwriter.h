#ifndef KZJOURNALWRITER_H
#define KZJOURNALWRITER_H

#include <memory>
#include <optional>
#include <string>

#include "kzjournal_export.h"
#include "kzjournalerror.h"
#include "kzjournalrun.h"
#include "kzstatrun.h"
#include "kzstatslicevalues.h"

namespace kzjournal {

class Worker;

/// Keeps a run in a file: each slice that the generator's hook `SendSliceValues` hands over becomes
/// one transaction, its message and its exact values. What `Append` has taken outlives the process
/// and the power supply, unless a trouble lasts.
///
/// A thread of the writer does the writing, so that a disk that hangs holds nobody up: `Append`
/// waits for it for 0.5 seconds at most and `Close` for 2. A slice that could not be written at
/// once waits in memory and is tried again with the next one, and those behind it wait as well.
/// What still waits when the run is closed, or finds no room behind others in memory, is lost and
/// counted.
///
/// Nothing throws: each operation returns what went wrong. A trouble is told once, by the `Append`
/// with which it begins, not for every slice that it lasts: until it has ended, slices wait in
/// memory without a word. A loss is a trouble of its own.
///
/// Compatible: used by one thread at a time.
class KZJOURNAL_EXPORT Writer {
public:
    Writer();
    /// Closes the journal if it is still open, and logs what goes wrong then.
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// Makes the file for `run`. A file that is there already must be empty: no run is ever
    /// overwritten, and two runs do not share a file. Where this fails, nothing is kept: `Append`
    /// and `Close` do nothing.
    [[nodiscard]] std::optional<Error> Open(const std::string& path, const Run& run);

    bool IsOpen() const { return m_worker != nullptr; }

    /// Keeps one slice. A slice that is there already stays as it is. Refused are slices of another
    /// generator, with an id below 1, with an end that is no number, or with a name twice.
    [[nodiscard]] std::optional<Error> Append(const CKZStatSliceValues& slice);

    /// Ends the run and returns how many slices were lost, where any were, and whether the file
    /// stands alone, where it does not: then FILE-wal holds a part of the run and belongs to it. A
    /// second call does nothing.
    [[nodiscard]] std::optional<Error> Close();
    /// The same for the whole of a `CKZStatRun`: the file also tells when its load began and ended.
    /// Slices of it that never came here count as lost, without a word.
    [[nodiscard]] std::optional<Error> Close(const CKZStatRunEnd& end);

    /// Slices that are not in the file; final after `Close`.
    long long LostSlices() const { return m_lostSlices; }

private:
    std::optional<Error> CloseWith(const std::optional<CKZStatRunEnd>& end);

    // Shared with the thread, which lives on where the disk never answers.
    std::shared_ptr<Worker> m_worker;
    long long m_lostSlices = 0;
};

}  // namespace kzjournal

#endif
