#include "figures/timeline.h"

#include <cmath>

namespace kzstatprogram {
namespace {

/// Twice as wide, but for the two steps that lead to multiples of 60 and of 3,600 slices.
double NextWidth(double width) {
    if (width == 8) return 15;
    if (width == 480) return 900;
    return 2 * width;
}

}  // namespace

void Bucket::Add(const Drawn& slice) {
    if (slice.lasts.count > 0) {
        // These two pass over what is not a number.
        minimum = std::fmin(minimum, slice.lasts.minimum);
        maximum = std::fmax(maximum, slice.lasts.maximum);
        count += slice.lasts.count;
        sum += slice.lasts.sum;
    }
    leastFlow = std::fmin(leastFlow, slice.flow);
    mostFlow = std::fmax(mostFlow, slice.flow);
    if (!std::isnan(slice.flow)) {
        flow += slice.flow;
        ++slicesWithFlow;
    }
    ++slices;
}

double Bucket::MeanFlow() const {
    return slicesWithFlow > 0 ? flow / slicesWithFlow : kNoValue;
}

void Course::Add(std::size_t bucket, const Drawn& slice) {
    if (bucket >= m_buckets.size()) m_buckets.resize(bucket + 1);
    m_buckets[bucket].Add(slice);
}

Grid::Grid(double sliceLength, double begin, GridSize most)
    : m_sliceLength(sliceLength > 0 ? sliceLength : 1),
      m_first(std::round(begin / m_sliceLength)),
      m_most(most) {}

bool Grid::Holds(double elapsed) const {
    return std::isfinite(elapsed) && SlotOf(elapsed) >= 0;
}

void Grid::WidenFor(double elapsed) {
    while (!HasRoomFor(elapsed)) m_width = NextWidth(m_width);
}

bool Grid::HasRoomFor(double elapsed) const {
    return SlotOf(elapsed) < m_width * static_cast<double>(m_most.buckets);
}

int Grid::WidenColumnsFor(double elapsed) {
    int times = 0;
    for (; BucketOf(elapsed) >= m_columnWidth * m_most.columns; m_columnWidth *= 2) ++times;
    return times;
}

Place Grid::PlaceOf(double elapsed) const {
    const std::size_t bucket = BucketOf(elapsed);
    return {bucket, bucket / m_columnWidth};
}

/// Numbers the slices from 0. Tells them by their ends.
double Grid::SlotOf(double elapsed) const {
    return std::round(elapsed / m_sliceLength) - 1 - m_first;
}

std::size_t Grid::BucketOf(double elapsed) const {
    return static_cast<std::size_t>(SlotOf(elapsed) / m_width);
}

}  // namespace kzstatprogram
