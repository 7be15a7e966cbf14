#include "figures/timeline.h"

#include <algorithm>
#include <cmath>

namespace kzstatprogram {

void Bucket::Add(const Drawn& slice) {
    Bucket bucket;
    if (slice.lasts.count > 0) {
        bucket.minimum = slice.lasts.minimum;
        bucket.maximum = slice.lasts.maximum;
        bucket.count = slice.lasts.count;
        bucket.sum = slice.lasts.sum;
    }
    if (!std::isnan(slice.flow)) bucket.flow = slice.flow;
    bucket.leastFlow = bucket.mostFlow = slice.flow;
    bucket.slices = 1;
    Merge(bucket);
}

void Bucket::Merge(const Bucket& other) {
    // These two pass over what is not a number.
    minimum = std::fmin(minimum, other.minimum);
    maximum = std::fmax(maximum, other.maximum);
    leastFlow = std::fmin(leastFlow, other.leastFlow);
    mostFlow = std::fmax(mostFlow, other.mostFlow);
    count += other.count;
    sum += other.sum;
    flow += other.flow;
    slices += other.slices;
}

void Course::Add(std::size_t bucket, const Drawn& slice) {
    if (bucket >= m_buckets.size()) m_buckets.resize(bucket + 1);
    m_buckets[bucket].Add(slice);
}

void Course::Halve() {
    const std::size_t half = (m_buckets.size() + 1) / 2;
    for (std::size_t i = 0; i < half; ++i) {
        Bucket merged = m_buckets[2 * i];
        merged.Merge(At(2 * i + 1));
        m_buckets[i] = merged;
    }
    m_buckets.resize(half);
}

Bucket Course::At(std::size_t bucket) const {
    return bucket < m_buckets.size() ? m_buckets[bucket] : Bucket();
}

Grid::Grid(double sliceLength, double begin, std::size_t mostBuckets)
    : m_sliceLength(sliceLength > 0 ? sliceLength : 1),
      m_first(std::round(begin / m_sliceLength)),
      m_mostBuckets(static_cast<double>(mostBuckets)) {}

bool Grid::Holds(double elapsed) const {
    return std::isfinite(elapsed) && SlotOf(elapsed) >= 0;
}

int Grid::WidenFor(double elapsed) {
    int times = 0;
    for (; SlotOf(elapsed) >= m_width * m_mostBuckets; m_width *= 2) ++times;
    return times;
}

std::size_t Grid::BucketOf(double elapsed) const {
    return static_cast<std::size_t>(SlotOf(elapsed) / m_width);
}

/// Numbers the slices from 0. Tells them by their ends.
double Grid::SlotOf(double elapsed) const {
    return std::round(elapsed / m_sliceLength) - 1 - m_first;
}

}  // namespace kzstatprogram
