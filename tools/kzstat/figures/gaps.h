#ifndef KZSTATPROGRAM_GAPS_H
#define KZSTATPROGRAM_GAPS_H

#include "kzjournalslice.h"

namespace kzstatprogram {

/// Tells the gaps between slices by their ids, slice by slice. Compatible.
class Gaps {
public:
    explicit Gaps(double sliceLength) : m_sliceLength(sliceLength) {}

    /// The time between the slice before and this one, in seconds; 0 for the first one.
    double Before(const kzjournal::Slice& slice) {
        const int missing = m_lastId == 0 || slice.id <= m_lastId ? 0 : slice.id - m_lastId - 1;
        m_lastId = slice.id;
        return missing * m_sliceLength;
    }

private:
    const double m_sliceLength;
    int m_lastId = 0;
};

}  // namespace kzstatprogram

#endif
