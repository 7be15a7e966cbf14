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

}  // namespace
