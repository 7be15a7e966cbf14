#include "slicechecksum.h"

#include "wordhash.h"

namespace kzjournal {
SliceChecksum::SliceChecksum(int sliceId, double elapsed, double endTime,
                             std::string_view message) {
    WordHash hash;
    hash.AddWhole(sliceId);
    hash.Add(elapsed);
    hash.Add(endTime);
    hash.Add(message);
    m_sum = hash.Value();
}

void SliceChecksum::Add(std::string_view name, CKZStatPointTypeEnum::PointType type,
                        const CKZStatAggregate& totals, const CKZStatAggregate& lasts,
                        std::string_view distribution) {
    WordHash hash;
    hash.Add(name);
    hash.AddWhole(type);
    hash.Add(lasts);
    hash.Add(totals);
    hash.Add(distribution);
    m_sum += hash.Value();
}

}  // namespace kzjournal
