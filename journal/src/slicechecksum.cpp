#include "slicechecksum.h"

#include <algorithm>
#include <cmath>

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
                        std::string_view distribution, const Percentiles& percentiles) {
    WordHash hash;
    hash.Add(name);
    hash.AddWhole(type);
    hash.Add(lasts);
    hash.Add(totals);
    hash.Add(distribution);
    // Records without them have the checksum of the time before there were any.
    const bool hasAny = std::any_of(percentiles.begin(), percentiles.end(),
                                    [](double value) { return !std::isnan(value); });
    if (hasAny)
        for (const double value : percentiles) hash.Add(value);
    m_sum += hash.Value();
}

}  // namespace kzjournal
