#ifndef KZSTAT_CONSERVATION_H
#define KZSTAT_CONSERVATION_H

#include <map>
#include <string>

#include "kzstatmessage.h"

namespace kzstat {

/// Follows a run slice by slice and sees whether nothing is missing and nothing was counted twice:
/// the ids have no gap, the times stand on the grid of the slices, and for every name the lasts
/// add up to the totals. Compatible.
class Conservation {
public:
    /// `sliceLength` in seconds.
    explicit Conservation(double sliceLength) : m_sliceLength(sliceLength) {}

    /// What is wrong with the slice, as a line, or an empty text. REQUIRES: the slices come in the
    /// order of their ids; none comes after one that was wrong.
    std::string Check(const CKZStatMessage& slice);

    int Slices() const { return m_sliceId; }

private:
    using Aggregate = CKZStatAggregate;

    std::string CheckPlace(const CKZStatMessage& slice);
    std::string CheckRecord(const CKZStatMessageRecord& record);
    std::string CheckMissingNames(const CKZStatMessage& slice) const;

    const double m_sliceLength;
    int m_sliceId = 0;
    double m_pauses = 0;
    std::map<std::string, Aggregate> m_sums;
};

}  // namespace kzstat

#endif
