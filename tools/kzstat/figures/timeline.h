#ifndef KZSTATPROGRAM_TIMELINE_H
#define KZSTATPROGRAM_TIMELINE_H

#include <cstddef>
#include <limits>
#include <vector>

#include "kzstatmessage.h"

namespace kzstatprogram {

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

/// What one slice says about one name, as far as it is drawn.
struct Drawn {
    CKZStatAggregate lasts;
    double flow = kNoValue;  ///< what `FlowOf` says of it
};

/// What a row of neighbouring slices says about one name. No extreme of a slice is lost in it.
struct Bucket {
    double minimum = kNoValue;
    double maximum = kNoValue;
    double count = 0;
    double sum = 0;
    double flow = 0;
    double leastFlow = kNoValue;  ///< that of one slice
    double mostFlow = kNoValue;
    int slices = 0;

    void Add(const Drawn& slice);
    void Merge(const Bucket& other);
};

/// The buckets of one name in the order of time. Compatible.
class Course {
public:
    void Add(std::size_t bucket, const Drawn& slice);
    /// Makes one bucket of each two.
    void Halve();

    const std::vector<Bucket>& Buckets() const { return m_buckets; }
    std::size_t Size() const { return m_buckets.size(); }
    /// Empty behind the end.
    Bucket At(std::size_t bucket) const;

private:
    std::vector<Bucket> m_buckets;
};

/// Which slice goes into which bucket. Buckets become twice as wide whenever there would be too
/// many, so that the longest run is drawn with as many as fit a screen. Compatible.
class Grid {
public:
    /// `begin` in seconds since the start of the run: the start of the first slice.
    Grid(double sliceLength, double begin, std::size_t mostBuckets);

    /// False for a slice that lies before the beginning or ends at no time at all.
    bool Holds(double elapsed) const;
    /// The number of times that all buckets must be halved before `elapsed` has one. Widens them.
    int WidenFor(double elapsed);
    /// REQUIRES: `Holds(elapsed)`, and `WidenFor` was called.
    std::size_t BucketOf(double elapsed) const;

    /// The number of slices that a bucket has room for.
    double Width() const { return m_width; }
    /// The number of slices of the run before the first bucket.
    double First() const { return m_first; }

private:
    double SlotOf(double elapsed) const;

    const double m_sliceLength;
    const double m_first;
    const double m_mostBuckets;
    double m_width = 1;
};

}  // namespace kzstatprogram

#endif
