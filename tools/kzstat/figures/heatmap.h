#ifndef KZSTATPROGRAM_HEATMAP_H
#define KZSTATPROGRAM_HEATMAP_H

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "kzstatdistribution.h"

namespace kzstatprogram {

/// How many values lie where, through time. A row is a range of values: so many neighbouring
/// buckets of `CKZStatDistribution`, which are a logarithmic scale. Rows double in height
/// whenever values would take more than `kMaxRows`. Counts are exact; NaN has no row. Compatible.
class HeatMap {
public:
    static constexpr int kMaxRows = 48;
    /// That of infinity, whatever the height; the negative one is that of -infinity. Neither takes
    /// up one of `kMaxRows`.
    static constexpr int kInfiniteRow = 1 << 24;

    /// Row r above 0 has the r-th `RowHeight()` buckets from the smallest positive normal number
    /// on, where power of two number e begins at bucket 128 e of the double's exponent; row -r has
    /// the mirrored ones; row 0 is zero.
    struct Cell {
        int row;
        std::uint64_t count;
    };
    /// In ascending order of the rows; without cells that have no values.
    using Column = std::vector<Cell>;

    void Add(std::size_t column, const CKZStatDistribution& distribution);
    /// Makes one column of each two.
    void JoinColumns();

    int RowHeight() const { return m_rowHeight; }
    const std::vector<Column>& Columns() const { return m_columns; }

private:
    /// Rows on one side of zero, as their distances from it.
    struct Span {
        int nearest = std::numeric_limits<int>::max();
        int farthest = 0;

        void Include(int distance);
        int Size() const { return farthest == 0 ? 0 : farthest - nearest + 1; }
    };

    Column ColumnOf(const CKZStatDistribution& distribution) const;
    void Include(const Column& column);
    int RowCount() const { return m_above.Size() + m_below.Size() + (m_hasZero ? 1 : 0); }
    void JoinRows();

    int m_rowHeight = 4;  // narrower ones tell nothing more to the eye
    std::vector<Column> m_columns;
    Span m_above;
    Span m_below;
    bool m_hasZero = false;
};

}  // namespace kzstatprogram

#endif
