#ifndef KZSTATPROGRAM_DISTRIBUTIONCOURSE_H
#define KZSTATPROGRAM_DISTRIBUTIONCOURSE_H

#include <vector>

#include "figures/heatmap.h"
#include "figures/timeline.h"
#include "kzstatdistribution.h"

namespace kzstatprogram {

/// Of one bucket of a grid; `kNoValue` where its values have no complete distribution.
struct BucketPercentiles {
    double p50 = kNoValue;
    double p95 = kNoValue;
    double p99 = kNoValue;
};

/// How the values of one name were distributed, through time and over all of it. Compatible.
class DistributionCourse {
public:
    /// Adds `count` values. Those of them that have a distribution must be added to the one that
    /// is returned before the next call. Buckets come in the order of time: one that comes after a
    /// later one has no percentiles from then on.
    CKZStatDistribution& Add(const Place& place, double count);
    /// Shows what was added since the last call.
    void Settle();
    void JoinColumns() { m_map.JoinColumns(); }

    /// True until a value comes with a distribution.
    bool IsEmpty() const { return m_percentiles.empty(); }
    /// By buckets, up to the last one with a distribution.
    const std::vector<BucketPercentiles>& Percentiles() const { return m_percentiles; }
    /// Of all values but those whose distribution was not complete.
    const HeatMap& Map() const { return m_map; }
    /// The distribution of all values that were added; null unless these are `count`.
    const CKZStatDistribution* OfAll(double count) const;

private:
    /// Values, and the distribution of as many of them as have one.
    struct Values {
        double count = 0;
        CKZStatDistribution distribution;

        void Take(double more, CKZStatDistribution& moreDistribution);
        void Clear();
        bool AreComplete() const;
    };

    void SetPercentiles(std::size_t bucket, const Values& values);

    std::vector<BucketPercentiles> m_percentiles;
    HeatMap m_map;
    CKZStatDistribution m_all;

    // Of the latest bucket: what is shown of it, and what came since.
    Place m_place;
    Values m_shown;
    Values m_new;
};

}  // namespace kzstatprogram

#endif
