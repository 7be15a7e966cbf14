#include "figures/distributioncourse.h"

#include <utility>

#include "figures/statistics.h"

namespace kzstatprogram {

CKZStatDistribution& DistributionCourse::Add(const Place& place, double count) {
    if (place.bucket != m_place.bucket) {
        Settle();
        m_shown.Clear();
    }
    // What an earlier bucket had is known no more, so that it counts as incomplete.
    if (place.bucket < m_place.bucket) m_shown.count = kNoValue;
    m_place = place;
    m_new.count += count;
    return m_new.distribution;
}

void DistributionCourse::Settle() {
    if (m_new.count == 0) return;
    if (m_new.AreComplete()) {
        m_map.Add(m_place.column, m_new.distribution);
        m_all.Add(m_new.distribution);
    }
    m_shown.Take(m_new.count, m_new.distribution);
    SetPercentiles(m_place.bucket, m_shown);
    m_new.Clear();
}

void DistributionCourse::SetPercentiles(std::size_t bucket, const Values& values) {
    const bool isComplete = values.AreComplete();
    if (bucket >= m_percentiles.size()) {
        if (!isComplete) return;
        m_percentiles.resize(bucket + 1);
    }
    const CKZStatDistribution& distribution = values.distribution;
    m_percentiles[bucket] =
        isComplete ? BucketPercentiles{distribution.Quantile(0.50), distribution.Quantile(0.95),
                                       distribution.Quantile(0.99)}
                   : BucketPercentiles();
}

const CKZStatDistribution* DistributionCourse::OfAll(double count) const {
    return HasAll(m_all, count) ? &m_all : nullptr;
}

/// The first ones are exchanged and not added, which is faster and keeps the memory of both.
void DistributionCourse::Values::Take(double more, CKZStatDistribution& moreDistribution) {
    if (distribution.GetCount() == 0)
        std::swap(distribution, moreDistribution);
    else
        distribution.Add(moreDistribution);
    count += more;
}

void DistributionCourse::Values::Clear() {
    count = 0;
    distribution.Clear();
}

bool DistributionCourse::Values::AreComplete() const {
    return HasAll(distribution, count);
}

}  // namespace kzstatprogram
