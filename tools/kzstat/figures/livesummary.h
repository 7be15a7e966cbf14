#ifndef KZSTATPROGRAM_LIVESUMMARY_H
#define KZSTATPROGRAM_LIVESUMMARY_H

#include <map>
#include <string>

#include "kzstatdistributionsum.h"
#include "reading/runreader.h"

namespace kzstatprogram {

/// What `RunReader::SummaryWithDistributions` says of a run that goes on. Reads each slice
/// once, so that it can be asked for again and again. Compatible.
class LiveSummary {
public:
    struct Name {
        CKZStatMessageRecord record;
        CKZStatDistributionSum distributions;

        /// Of all values; null unless it is complete. Owned by this object.
        const CKZStatDistribution* Distribution() const;
    };

    /// Takes the slices that the range has and this has not. The same run each time. Throws
    /// kzjournal::Error; the next call reads all slices again then.
    void Update(RunReader& run, const kzjournal::TimeRange& range = {});

    const std::map<std::string, Name>& Names() const { return m_names; }
    long long Slices() const { return m_slices; }

private:
    bool MustReadAll(const kzjournal::TimeRange& range, int lastSliceId) const;
    void ReadAll(RunReader& run, const kzjournal::TimeRange& range);
    void ReadNews(RunReader& run, int lastSliceId);
    void Add(const kzjournal::Slice& slice);
    void Add(const kzjournal::Slice& slice, std::size_t position);

    double m_from = 0;
    int m_lastSliceId = 0;  // 0 before anything was read
    long long m_slices = 0;
    std::map<std::string, Name> m_names;
};

}  // namespace kzstatprogram

#endif
