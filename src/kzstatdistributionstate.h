#ifndef KZSTATDISTRIBUTIONSTATE_H
#define KZSTATDISTRIBUTIONSTATE_H

#include <cstddef>
#include <cstdint>
#include <limits>

#include "kzstatbucket.h"
#include "kzstatbuckettable.h"
#include "kzstatdistribution.h"

// What a distribution is made of, for those that add to it with every value.

struct CKZStatDistribution::State {
    std::uint64_t count = 0;
    std::uint64_t nanCount = 0;
    // An empty range until there is a value other than NaN, so that comparisons need no count.
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -std::numeric_limits<double>::infinity();
    CKZStatBucketTable table;

    /// Neither the first value nor a new extreme nor NaN.
    bool IsWithinExtremes(double value) const { return value >= minimum && value <= maximum; }

    std::uint64_t GetOrderedCount() const { return count - nanCount; }

    void TakeExtremes(double least, double greatest) {
        // A negative zero becomes zero, so that the order of the values leaves no trace.
        if (least < minimum) minimum = least + 0.0;
        if (greatest > maximum) maximum = greatest + 0.0;
    }

    void Clear() {
        count = nanCount = 0;
        minimum = std::numeric_limits<double>::infinity();
        maximum = -std::numeric_limits<double>::infinity();
        table.Clear();
    }
};

/// Returns false and counts nothing if that takes more than a moment: `AddWithCare` does.
inline bool CKZStatDistribution::TryAdd(double value) {
    State* const state = m_state.get();
    if (state == nullptr || !state->IsWithinExtremes(value) ||
        state->count == std::numeric_limits<std::uint64_t>::max() ||
        !state->table.TryIncrement(kzstatbucket::Of(value)))
        return false;
    ++state->count;
    return true;
}

#endif
