#include "figures/heatmap.h"

#include <gmock/gmock.h>

#include <cmath>
#include <initializer_list>
#include <limits>
#include <vector>

namespace {

using kzstatprogram::HeatMap;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

CKZStatDistribution DistributionOf(std::initializer_list<double> values) {
    CKZStatDistribution distribution;
    for (const double value : values) distribution.Add(value);
    return distribution;
}

HeatMap MapOf(std::initializer_list<double> values) {
    HeatMap map;
    map.Add(0, DistributionOf(values));
    return map;
}

std::vector<int> RowsOf(const HeatMap::Column& column) {
    std::vector<int> rows;
    for (const HeatMap::Cell& cell : column) rows.push_back(cell.row);
    return rows;
}

std::vector<std::uint64_t> CountsOf(const HeatMap::Column& column) {
    std::vector<std::uint64_t> counts;
    for (const HeatMap::Cell& cell : column) counts.push_back(cell.count);
    return counts;
}

/// The lower bound of the row r above 0.
double LowerBound(int row, int rowHeight) {
    const int bucket = (row - 1) * rowHeight;
    return std::ldexp(1 + bucket % 128 / 128.0, bucket / 128 - 1023);
}

TEST(HeatMap, CountsNeighbouringValuesInOneCell) {
    const HeatMap map = MapOf({10, 10.01, 10.02, 20});
    EXPECT_THAT(CountsOf(map.Columns().front()), ElementsAre(3, 1));
}

TEST(HeatMap, HasEachValueBetweenTheBoundsOfItsRow) {
    for (const double value : {1e-300, 0.001, 1.0, 10.0, 1000.0, 1e300}) {
        const HeatMap map = MapOf({value});
        const int row = map.Columns().front().front().row;
        EXPECT_LE(LowerBound(row, map.RowHeight()), value);
        EXPECT_GT(LowerBound(row + 1, map.RowHeight()), value);
    }
}

TEST(HeatMap, MirrorsNegativeValues) {
    const HeatMap map = MapOf({-5, 0, 5});
    const std::vector<int> rows = RowsOf(map.Columns().front());
    ASSERT_THAT(rows, SizeIs(3));
    EXPECT_EQ(-rows[2], rows[0]);
    EXPECT_EQ(0, rows[1]);
}

TEST(HeatMap, HasNoRowForNaN) {
    EXPECT_THAT(MapOf({std::nan("")}).Columns().front(), IsEmpty());
}

TEST(HeatMap, CountsInfiniteValuesBeyondItsRows) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const auto& map :
         {MapOf({infinity, -infinity, 5}), MapOf({infinity, -infinity, 1e-300, 1e300})}) {
        const std::vector<int> rows = RowsOf(map.Columns().front());
        EXPECT_EQ(-HeatMap::kInfiniteRow, rows.front());
        EXPECT_EQ(HeatMap::kInfiniteRow, rows.back());
    }
    EXPECT_EQ(MapOf({5}).RowHeight(), MapOf({infinity, 5}).RowHeight());
}

TEST(HeatMap, DoublesItsRowsUntilTheValuesFit) {
    HeatMap map;
    CKZStatDistribution wide;
    for (double value = 0.001; value < 1e6; value *= 1.05) wide.Add(value);
    map.Add(0, DistributionOf({1, 1}));
    map.Add(1, wide);
    EXPECT_GT(map.RowHeight(), 4);
    EXPECT_LE(map.Columns()[1].size(), static_cast<std::size_t>(HeatMap::kMaxRows));
    EXPECT_GT(map.Columns()[1].size(), static_cast<std::size_t>(HeatMap::kMaxRows) / 3);
    std::uint64_t count = 0;
    for (const HeatMap::Cell& cell : map.Columns()[1]) count += cell.count;
    EXPECT_EQ(wide.GetCount(), count);
}

TEST(HeatMap, HasTheSameRowsWhicheverValuesCameFirst) {
    const CKZStatDistribution small = DistributionOf({0.001, 0.0011, 7});
    const CKZStatDistribution large = DistributionOf({-3, 0, 5000, 5400});
    HeatMap map, reversed;
    map.Add(0, small);
    map.Add(0, large);
    reversed.Add(0, large);
    reversed.Add(0, small);
    EXPECT_EQ(map.RowHeight(), reversed.RowHeight());
    EXPECT_EQ(RowsOf(map.Columns()[0]), RowsOf(reversed.Columns()[0]));
    EXPECT_EQ(CountsOf(map.Columns()[0]), CountsOf(reversed.Columns()[0]));
}

TEST(HeatMap, HoldsTheWholeRangeOfDoubles) {
    const double largest = std::numeric_limits<double>::max();
    const double smallest = std::numeric_limits<double>::min();
    const HeatMap map = MapOf({-largest, -1, -smallest, 0, smallest, 1, largest});
    EXPECT_THAT(CountsOf(map.Columns().front()), ElementsAre(1, 1, 1, 1, 1, 1, 1));
}

TEST(HeatMap, JoinedColumnsHoldAllThatTheyHeld) {
    HeatMap map;
    map.Add(0, DistributionOf({10}));
    map.Add(1, DistributionOf({10, 20}));
    map.Add(2, DistributionOf({20}));
    map.JoinColumns();
    ASSERT_THAT(map.Columns(), SizeIs(2));
    EXPECT_THAT(CountsOf(map.Columns()[0]), ElementsAre(2, 1));
    EXPECT_THAT(CountsOf(map.Columns()[1]), ElementsAre(1));
}

}  // namespace
