#ifndef KZJOURNALSLICECHECKSUM_H
#define KZJOURNALSLICECHECKSUM_H

#include <cstdint>
#include <string_view>

#include "kzjournaldistributions.h"
#include "kzstataggregate.h"
#include "kzstatpointtypeenum.h"

namespace kzjournal {

/// The checksum of a slice over its facts, its message and its records, which come in any order.
/// docs/journal.md says how it is computed; it is the same on every platform. Finds damage and
/// does not resist whoever wants to deceive.
///
/// Compatible.
class SliceChecksum {
public:
    SliceChecksum(int sliceId, double elapsed, double endTime, std::string_view message);

    void Add(std::string_view name, CKZStatPointTypeEnum::PointType type,
             const CKZStatAggregate& totals, const CKZStatAggregate& lasts,
             std::string_view distribution, const Percentiles& percentiles);

    /// As the database keeps it.
    std::int64_t Value() const { return static_cast<std::int64_t>(m_sum); }

private:
    std::uint64_t m_sum;
};

}  // namespace kzjournal

#endif
