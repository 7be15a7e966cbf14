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
    int slicesWithFlow = 0;

    void Add(const Drawn& slice);
    /// Of a slice; `kNoValue` if none has any.
    double MeanFlow() const;
};

/// The buckets of one name in the order of time. Compatible.
class Course {
public:
    void Add(std::size_t bucket, const Drawn& slice);

    const std::vector<Bucket>& Buckets() const { return m_buckets; }
    std::size_t Size() const { return m_buckets.size(); }

private:
    std::vector<Bucket> m_buckets;
};

/// Where a slice is drawn.
struct Place {
    std::size_t bucket = 0;
    std::size_t column = 0;  ///< of the heat maps
};

/// The shortest sums that a journal stores are of so many slices.
constexpr int kSlicesOfStoredSum = 60;

/// How much a grid holds at most.
struct GridSize {
    std::size_t buckets;
    std::size_t columns;  ///< fewer than buckets
};

/// Which slice goes into which bucket, and which buckets into which column. Buckets are as narrow
/// as the length of the run allows, so that the longest run is drawn with as many as fit a screen;
/// if wider than 30 slices, they are whole multiples of the 60 and 3,600 slices whose sums are
/// stored. Compatible.
class Grid {
public:
    /// `begin` in seconds since the start of the run: the start of the first slice.
    Grid(double sliceLength, double begin, GridSize most);

    /// False for a slice that lies before the beginning or ends at no time at all.
    bool Holds(double elapsed) const;
    /// Widens buckets until `elapsed` has one, and all places change. REQUIRES: `Holds(elapsed)`.
    void WidenFor(double elapsed);
    /// False if the run has outgrown the buckets. REQUIRES: `Holds(elapsed)`.
    bool HasRoomFor(double elapsed) const;
    /// The number of times that columns must be joined in pairs before `elapsed` has one. Widens
    /// them. REQUIRES: `HasRoomFor(elapsed)`.
    int WidenColumnsFor(double elapsed);
    /// REQUIRES: `HasRoomFor(elapsed)`, and `WidenColumnsFor` was called.
    Place PlaceOf(double elapsed) const;

    /// The number of slices that a bucket has room for.
    double Width() const { return m_width; }
    /// The number of buckets that a column has room for.
    std::size_t ColumnWidth() const { return m_columnWidth; }
    /// The number of slices of the run before the first bucket.
    double First() const { return m_first; }

private:
    double SlotOf(double elapsed) const;
    std::size_t BucketOf(double elapsed) const;

    const double m_sliceLength;
    const double m_first;
    const GridSize m_most;
    double m_width = 1;
    std::size_t m_columnWidth = 1;
};

}  // namespace kzstatprogram

#endif
