#include "text/texts.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdlib>

#include "tables/table.h"
#include "text/numbers.h"

namespace {

TEST(Printable, LeavesNoControlCharacter) {
    EXPECT_EQ("a?b?c?d", kzstat::Printable("a\nb\x1b"
                                           "c\x7f"
                                           "d"));
    EXPECT_EQ("a?b", kzstat::Printable("a\xc2\x9b"
                                       "b"));
    EXPECT_EQ("caf\u00e9 \u2192", kzstat::Printable("caf\u00e9 \u2192"));
}

TEST(Cut, MarksThatSomethingIsMissing) {
    EXPECT_EQ("abc", kzstat::Cut("abc", 3));
    EXPECT_EQ("ab>", kzstat::Cut("abcd", 3));
    EXPECT_EQ("\u00e9\u00e9>", kzstat::Cut("\u00e9\u00e9\u00e9\u00e9", 3));
    EXPECT_EQ(">", kzstat::Cut("abcd", 1));
}

TEST(WallClock, IsInUtc) {
    EXPECT_EQ("2023-11-14 22:13:20 UTC", kzstat::WallClock(1.7e9));
}

TEST(Sparkline, RisesFromTheLeastToTheGreatest) {
    std::setlocale(LC_CTYPE, "C");
    EXPECT_EQ("_.-=+*%#", kzstat::Sparkline({1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ("_ #", kzstat::Sparkline({1, std::nan(""), 2}));
    EXPECT_EQ("__", kzstat::Sparkline({5, 5}));
    EXPECT_EQ("", kzstat::Sparkline({}));
}

TEST(ReadableNumber, HasAsManyDecimalsAsItsSizeDeserves) {
    EXPECT_EQ("0", kzstat::ReadableNumber(0));
    EXPECT_EQ("1454", kzstat::ReadableNumber(1454));
    EXPECT_EQ("0.250", kzstat::ReadableNumber(0.25));
    EXPECT_EQ("-6.44", kzstat::ReadableNumber(-6.4412));
    EXPECT_EQ("789.4", kzstat::ReadableNumber(789.41));
    EXPECT_EQ("12346", kzstat::ReadableNumber(12345.678));
    EXPECT_EQ("1.000e+18", kzstat::ReadableNumber(1e18));
    EXPECT_EQ("nan", kzstat::ReadableNumber(std::nan("")));
}

TEST(ExactNumber, ReadsBackToTheSameDouble) {
    for (const double value : {0.1, 1.0 / 3, 1e15 / 7, 5e-324, -2.5, 1e300})
        EXPECT_EQ(value, std::strtod(kzstat::ExactNumber(value).c_str(), nullptr));
    EXPECT_EQ("0.1", kzstat::ExactNumber(0.1));
}

TEST(Table, AlignsCellsWhateverTheyAreMadeOf) {
    kzstat::Table table({{"name", kzstat::Table::Left}, {"n", kzstat::Table::Right}});
    table.Add({"\u00e9", "1"});
    table.Add({"longer", "100"});
    EXPECT_EQ((std::vector<std::string>{"name      n", "\u00e9         1", "longer  100"}),
              table.Lines());
}

}  // namespace
