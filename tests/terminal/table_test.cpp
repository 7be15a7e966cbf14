#include "terminal/table.h"

#include <gtest/gtest.h>

namespace {

TEST(Table, AlignsCellsWhateverTheyAreMadeOf) {
    kzterminal::Table table({{"name", kzterminal::Table::Left}, {"n", kzterminal::Table::Right}});
    table.Add({"\u00e9", "1"});
    table.Add({"\u65e5\u672c", "2"});
    table.Add({"e\u0301", "3"});
    table.Add({"longer", "100"});
    EXPECT_EQ((std::vector<std::string>{"name      n", "\u00e9         1", "\u65e5\u672c      2",
                                        "e\u0301         3", "longer  100"}),
              table.Lines());
}

class NarrowTable : public testing::Test {
protected:
    using Table = kzterminal::Table;

    NarrowTable() { table.Add({"a-name-of-some-length", "1111", "2222", "3333"}); }
    std::vector<std::string> Lines(std::size_t room) { return table.Lines(room); }

    Table table{{{"name", Table::Left, Table::kAlwaysShown, 10},
                 {"a", Table::Right, 2},
                 {"b", Table::Right, 1},
                 {"c", Table::Right}}};
};

TEST_F(NarrowTable, IsWholeWhereThereIsRoom) {
    EXPECT_EQ("a-name-of-some-length  1111  2222  3333", Lines(39).at(1));
}

TEST_F(NarrowTable, CutsNamesInTheMiddleBeforeItLeavesOutColumns) {
    EXPECT_EQ("a-name-of..me-length  1111  2222  3333", Lines(38).at(1));
    EXPECT_EQ("a-na..ngth  1111  2222  3333", Lines(28).at(1));
}

TEST_F(NarrowTable, TellsNamesWithTheSameEndsApart) {
    table.Add({"shop.checkout.step-17.time", "", "", "1"});
    table.Add({"shop.checkout.step-18.time", "", "", "2"});
    EXPECT_EQ("..step-17>", Lines(16).at(2).substr(0, 10));
    EXPECT_EQ("..step-18>", Lines(16).at(3).substr(0, 10));
}

TEST_F(NarrowTable, LeavesOutTheColumnsOfTheLowestRankFirst) {
    EXPECT_EQ((std::vector<std::string>{"name              a     c", "a-name..ength  1111  3333"}),
              Lines(25));
    EXPECT_EQ("a-na..ngth  3333", Lines(16).at(1));
}

TEST(Table, LeavesOutColumnsOfTheSameRankTogether) {
    using kzterminal::Table;
    Table table({{"name", Table::Left}, {"a", Table::Right, 1}, {"b", Table::Right, 1}});
    table.Add({"x", "1", "2"});
    EXPECT_EQ("x     1  2", table.Lines(10).at(1));
    EXPECT_EQ("x", table.Lines(9).at(1));
}

TEST_F(NarrowTable, KeepsWhatIsAlwaysShown) {
    EXPECT_EQ("a-na..ngth  3333", Lines(5).at(1));
}

}  // namespace
