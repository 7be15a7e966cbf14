#ifndef KZJOURNALBULKWRITER_H
#define KZJOURNALBULKWRITER_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kzjournal_export.h"
#include "kzjournalrun.h"

namespace kzjournal {

class SliceStore;

/// Makes a journal of slices that are there already, such as those of a merged run. Much faster
/// than `Writer`, since nothing is safe before `Close` has returned.
///
/// All operations throw `Error`. Compatible.
class KZJOURNAL_EXPORT BulkWriter {
public:
    /// The file must be new or empty.
    BulkWriter(const std::string& path, const Run& run);
    /// Removes the file unless it was closed.
    ~BulkWriter();
    BulkWriter(const BulkWriter&) = delete;
    BulkWriter& operator=(const BulkWriter&) = delete;

    /// What the run is made of.
    void SetSources(const std::vector<Run>& sources);

    /// `sources` are indices into the vector given to `SetSources`.
    void Append(std::string_view message, const std::vector<int>& sources = {});

    /// `endTime` in seconds since 1970-01-01 UTC.
    void Close(double endTime, long long lostSlices);

private:
    const std::string m_path;
    std::unique_ptr<SliceStore> m_store;
    bool m_isComplete = false;
};

}  // namespace kzjournal

#endif
