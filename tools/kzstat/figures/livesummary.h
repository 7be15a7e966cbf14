#ifndef KZSTATPROGRAM_LIVESUMMARY_H
#define KZSTATPROGRAM_LIVESUMMARY_H

#include <map>
#include <string>

#include "figures/slicerange.h"
#include "reading/runreader.h"

namespace kzstatprogram {

/// What `SummaryWithLevels` says of a run that goes on. Reads each slice
/// once, so that it can be asked for again and again. Compatible.
class LiveSummary {
public:
    /// Takes the slices that the range has and this has not. The same run each time. Throws
    /// kzjournal::Error; the next call reads all slices again then.
    void Update(RunReader& run, const SliceRange& range = {});

    const std::map<std::string, kzjournal::NameSummary>& Names() const { return m_names; }

    /// Takes a slice behind those that this has. Levels, and what is said of the last slice, are of
    /// slices under load alone.
    void Add(const kzjournal::Slice& slice, bool isUnderLoad);

private:
    bool MustReadAll(const SliceRange& range, int lastSliceId) const;
    void ReadAll(RunReader& run, SliceRange range, const std::optional<kzjournal::Slice>& last);
    void ReadNews(RunReader& run, const SliceRange& range, int lastSliceId);
    void Add(const kzjournal::Slice& slice, std::size_t position);
    void AddLevel(const kzjournal::Slice& slice, std::size_t position);

    double m_from = 0;
    double m_endUnderLoad = 0;  // of the slices so far
    double m_elapsed = 0;
    int m_lastSliceId = 0;  // 0 before anything was read
    std::map<std::string, kzjournal::NameSummary> m_names;
};

}  // namespace kzstatprogram

#endif
