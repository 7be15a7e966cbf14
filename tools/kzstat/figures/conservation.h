#ifndef KZSTATPROGRAM_CONSERVATION_H
#define KZSTATPROGRAM_CONSERVATION_H

#include <cstddef>
#include <string>
#include <unordered_map>

#include "kzjournalslice.h"

namespace kzstatprogram {

/// Checks slice by slice that a run counts every value exactly once: ids have no gaps, slices end
/// one slice length apart, and for every name the lasts add up to the totals, except for the
/// rounding of the additions. A name keeps its type. A distribution has as many values as the lasts
/// beside it, and the percentiles beside it are its own. Compatible.
class Conservation {
public:
    /// `sliceLength` in seconds. A merged run may have gaps in its ids, where none of its sources
    /// has a slice.
    explicit Conservation(double sliceLength, bool mayHaveGaps = false)
        : m_sliceLength(sliceLength), m_mayHaveGaps(mayHaveGaps) {}

    /// Throws `Violation` where the slice is wrong. REQUIRES: no slice before it was.
    void Check(const kzjournal::Slice& slice);

    int Slices() const { return m_slices; }
    /// The id of the last slice; 0 where there was none.
    int LastSliceId() const { return m_sliceId; }

private:
    /// What the slices add up to under one name.
    struct Sums {
        CKZStatPointTypeEnum::PointType type;
        double count = 0;
        double sum = 0;
        double sumSqr = 0;
        double largestCount = 0;  ///< of one slice
    };

    std::string CheckPlace(const kzjournal::Slice& slice);
    std::string CheckRecord(const CKZStatMessageRecord& record);
    std::string CheckDistribution(const kzjournal::Slice& slice, std::size_t position);
    std::string CheckMissingNames(const kzjournal::Slice& slice) const;

    const double m_sliceLength;
    const bool m_mayHaveGaps;
    int m_slices = 0;
    int m_sliceId = 0;
    double m_elapsed = 0;
    double m_endTime = 0;
    std::unordered_map<std::string, Sums> m_sums;
    CKZStatDistribution m_distribution;  // keeps its memory from record to record
};

}  // namespace kzstatprogram

#endif
