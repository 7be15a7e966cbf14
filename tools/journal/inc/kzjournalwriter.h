#ifndef KZJOURNALWRITER_H
#define KZJOURNALWRITER_H

#include <memory>
#include <string>

#include "kzjournal_export.h"
#include "kzjournalrun.h"
#include "kzstatslicevalues.h"

namespace kzjournal {

class Worker;

/// Keeps a run in a file: each slice that the generator's hook `SendSliceValues` hands over becomes
/// one transaction, its message and its exact values. What `Append` has taken without a complaint
/// outlives the process and the power supply.
///
/// A thread of the writer does the writing, so that a disk that hangs holds nobody up: `Append`
/// waits for it for 0.5 seconds at most and `Close` for 2. A slice that could not be written at
/// once waits in memory and is tried again with the next one; what still waits when the run is
/// closed, or finds no room in memory, is lost and counted.
///
/// Nothing throws: each operation returns what went wrong, as a line for the user, or an empty
/// text. One trouble is told once, not for every slice that it lasts.
///
/// Compatible: used by one thread at a time.
class KZJOURNAL_EXPORT Writer {
public:
    Writer();
    /// Closes the journal where that is still to do.
    ~Writer();
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// Makes the file for `run`. A file that is there already must be empty: no run is ever
    /// overwritten, and two runs do not share a file. Where this fails, nothing is kept: `Append`
    /// and `Close` do nothing.
    std::string Open(const std::string& path, const Run& run);

    bool IsOpen() const { return m_worker != nullptr; }

    /// Keeps one slice. A slice that is there already stays as it is. Refused are slices of another
    /// generator, with an id below 1, with an end that is no number, or with a name twice.
    std::string Append(const CKZStatSliceValues& slice);

    /// Ends the run and returns how many slices were lost, as a line, where any were. A second
    /// call does nothing.
    std::string Close();

    /// Slices that are not in the file; final after `Close`.
    long long LostSlices() const { return m_lostSlices; }

private:
    // Shared with the thread, which lives on where the disk never answers.
    std::shared_ptr<Worker> m_worker;
    long long m_lostSlices = 0;
};

}  // namespace kzjournal

#endif
