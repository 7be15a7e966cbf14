#ifndef KZSTATDISTRIBUTIONSTATE_H
#define KZSTATDISTRIBUTIONSTATE_H

#include <cstddef>
#include <cstdint>
#include <limits>

#include "kzstatbucket.h"
#include "kzstatbuckettable.h"
#include "kzstatdistribution.h"

// What a distribution is made of, for those that add to it with every value.

/// First what a value reads besides its count.
struct CKZStatDistribution::State {
    std::uint64_t count = 0;
    CKZStatBucketTable table;
    // An empty range until there is a value other than NaN, so that comparisons need no count.
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -std::numeric_limits<double>::infinity();
    std::uint64_t nanCount = 0;

    /// Returns false and counts nothing if that takes more than a moment, as it does for the first
    /// value, a new extreme, one that is not positive, and NaN.
    bool TryAdd(double value) {
        if (!table.TryIncrement(value)) return false;
        ++count;
        return true;
    }

    // As those of the distribution.
    KZSTAT_NO_EXPORT void Add(double value);
    KZSTAT_NO_EXPORT void Add(const State& other);

    std::uint64_t GetOrderedCount() const { return count - nanCount; }
    /// `TryAdd` asks for no limit, and is called less often than this leaves room for.
    bool HasRoom() const { return count <= std::numeric_limits<std::uint64_t>::max() / 2; }

    /// Values that were added to the table, and the NaN among them. REQUIRES: there is room in 64
    /// bits.
    void TakeValues(std::uint64_t values, std::uint64_t nans, double least, double greatest) {
        count += values;
        nanCount += nans;
        // A negative zero becomes zero, so that the order of the values leaves no trace.
        if (least < minimum) minimum = least == 0 ? 0.0 : least;
        if (greatest > maximum) maximum = greatest == 0 ? 0.0 : greatest;
        if (!HasRoom()) table.CloseWindow();
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
    return m_state != nullptr && m_state->TryAdd(value);
}

#endif
