#include "figures/heatmap.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace kzstatprogram {
namespace {

/// The sign, the exponent and the first 7 bits of the mantissa tell the bucket of a double.
constexpr int kBitsBelowBucket = 45;

/// `bound` is the bound of a bucket that is nearer to zero.
int RowOf(double bound, int rowHeight) {
    if (bound == 0) return 0;
    if (std::isinf(bound)) return bound > 0 ? HeatMap::kInfiniteRow : -HeatMap::kInfiniteRow;
    const double size = std::abs(bound);
    std::uint64_t bits = 0;
    std::memcpy(&bits, &size, sizeof bits);
    const int distance = static_cast<int>(bits >> kBitsBelowBucket) / rowHeight + 1;
    return bound > 0 ? distance : -distance;
}

bool IsInfinite(int row) {
    return std::abs(row) == HeatMap::kInfiniteRow;
}

int JoinedRow(int row) {
    if (IsInfinite(row)) return row;
    return row > 0 ? (row + 1) / 2 : (row - 1) / 2;
}

/// The row comes behind those in the column or is the last of them.
void Append(HeatMap::Column& column, const HeatMap::Cell& cell) {
    if (!column.empty() && column.back().row == cell.row)
        column.back().count += cell.count;
    else
        column.push_back(cell);
}

HeatMap::Column Sum(const HeatMap::Column& a, const HeatMap::Column& b) {
    HeatMap::Column cells(a.size() + b.size());
    std::merge(a.begin(), a.end(), b.begin(), b.end(), cells.begin(),
               [](const HeatMap::Cell& x, const HeatMap::Cell& y) { return x.row < y.row; });
    HeatMap::Column sum;
    for (const HeatMap::Cell& cell : cells) Append(sum, cell);
    return sum;
}

}  // namespace

void HeatMap::Add(std::size_t column, const CKZStatDistribution& distribution) {
    if (column >= m_columns.size()) m_columns.resize(column + 1);
    Column added = ColumnOf(distribution);
    Include(added);
    m_columns[column] = Sum(m_columns[column], added);
    while (RowCount() > kMaxRows) JoinRows();
}

void HeatMap::JoinColumns() {
    const std::size_t half = (m_columns.size() + 1) / 2;
    m_columns.resize(2 * half);
    for (std::size_t i = 0; i < half; ++i)
        m_columns[i] = Sum(m_columns[2 * i], m_columns[2 * i + 1]);
    m_columns.resize(half);
}

HeatMap::Column HeatMap::ColumnOf(const CKZStatDistribution& distribution) const {
    Column column;
    distribution.ForEachBucket([&](double low, double high, std::uint64_t count) {
        Append(column, {RowOf(low >= 0 ? low : high, m_rowHeight), count});
    });
    return column;
}

void HeatMap::Include(const Column& column) {
    for (const Cell& cell : column) {
        if (cell.row == 0)
            m_hasZero = true;
        else if (!IsInfinite(cell.row))
            (cell.row > 0 ? m_above : m_below).Include(std::abs(cell.row));
    }
}

void HeatMap::JoinRows() {
    m_rowHeight *= 2;
    m_above = m_below = {};
    for (Column& column : m_columns) {
        Column joined;
        for (const Cell& cell : column) Append(joined, {JoinedRow(cell.row), cell.count});
        column = std::move(joined);
        Include(column);
    }
}

void HeatMap::Span::Include(int distance) {
    nearest = std::min(nearest, distance);
    farthest = std::max(farthest, distance);
}

}  // namespace kzstatprogram
