#include "terminal/terminaltext.h"

#include <gtest/gtest.h>
#include <langinfo.h>

#include <clocale>
#include <string>

namespace {

using kzterminal::Cut;
using kzterminal::CutInTheMiddle;
using kzterminal::Printable;
using kzterminal::WidthOf;

using namespace std::string_literals;

constexpr char kWide[] = "\u65e5\u672c";          // two columns each
constexpr char kCombined[] = "cafe\u0301";        // e and an accent of no column
constexpr char kAsciiAndLatin[] = "caf\u00e9 x";  // one column each

/// All results are the same in every locale of the process.
class TerminalText : public testing::TestWithParam<const char*> {
protected:
    TerminalText() { EXPECT_NE(nullptr, std::setlocale(LC_ALL, GetParam())); }
    ~TerminalText() override { std::setlocale(LC_ALL, "C"); }
};

INSTANTIATE_TEST_SUITE_P(InEveryLocale, TerminalText, testing::Values("C", "C.UTF-8"));

TEST_P(TerminalText, CountsColumns) {
    EXPECT_EQ(6U, WidthOf(kAsciiAndLatin));
    EXPECT_EQ(4U, WidthOf(kWide));
    EXPECT_EQ(4U, WidthOf(kCombined));
    EXPECT_EQ(0U, WidthOf(""));
}

TEST_P(TerminalText, KeepsWhatHasAPicture) {
    for (const char* const text : {kAsciiAndLatin, kWide, kCombined, "\u2192 \U0001f600"})
        EXPECT_EQ(text, Printable(text));
}

TEST_P(TerminalText, LeavesNoControlCharacter) {
    EXPECT_EQ("a\\x0ab\\x1bc\\x7fd\\x00e", Printable("a\nb\x1b"
                                                     "c\x7f"
                                                     "d\0e"s));
    // U+009B begins a sequence as Escape does; U+2028 ends a line.
    EXPECT_EQ("a\\u009bb\\u2028c", Printable("a\u009b"
                                             "b\u2028"
                                             "c"));
}

TEST_P(TerminalText, LeavesNoFaultInUtf8) {
    EXPECT_EQ("a\\xffb", Printable("a\xff"
                                   "b"));
    EXPECT_EQ("a\\xe6\\x97", Printable("a\xe6\x97"));           // cut short
    EXPECT_EQ("\\xed\\xa0\\x80x", Printable("\xed\xa0\x80x"));  // half of a surrogate pair
    EXPECT_EQ("a\\x80\\x9f", Printable("a\x80\x9f"));           // controls of 8-bit terminals
    EXPECT_EQ(5U, WidthOf("a\xff"));
}

TEST_P(TerminalText, LeavesNothingThatSetsTheDirectionOfWriting) {
    EXPECT_EQ("a\\u202eb\\u2066c\\u200f", Printable("a\u202e"
                                                    "b\u2066"
                                                    "c\u200f"));
    EXPECT_EQ(7U, WidthOf("a\u202e"));
}

TEST_P(TerminalText, CutsToColumns) {
    EXPECT_EQ("abc", Cut("abc", 3));
    EXPECT_EQ("ab>", Cut("abcd", 3));
    EXPECT_EQ(">", Cut("abcd", 1));
    EXPECT_EQ("\u00e9\u00e9>", Cut("\u00e9\u00e9\u00e9\u00e9", 3));
}

TEST_P(TerminalText, CutsNoCharacterInHalf) {
    EXPECT_EQ(kWide, Cut(kWide, 4));
    EXPECT_EQ("\u65e5>", Cut(kWide, 3));
    EXPECT_EQ(">", Cut(kWide, 2));
    EXPECT_EQ("cafe\u0301>", Cut("cafe\u0301xy", 5));
    EXPECT_EQ("caf>", Cut("cafe\u0301x", 4));
}

TEST_P(TerminalText, CutsInTheMiddle) {
    EXPECT_EQ("request.time", CutInTheMiddle("request.time", 12));
    EXPECT_EQ("reque..time", CutInTheMiddle("request.time", 11));
    EXPECT_EQ("req..ime", CutInTheMiddle("request.time", 8));
    EXPECT_EQ("reques>", CutInTheMiddle("request.time", 7));
    EXPECT_EQ("\u65e5\u672c..\u672c", CutInTheMiddle("\u65e5\u672c\u65e5\u672c\u65e5\u672c", 9));
    EXPECT_EQ("cafe\u0301..bar", CutInTheMiddle("cafe\u0301 and bar", 9));
}

TEST_P(TerminalText, CutsWhatItMadePrintable) {
    EXPECT_EQ("\\xffb>", Cut("\xff"
                             "bcd",
                             6));
    EXPECT_EQ("ab>", Cut("ab\xff"
                         "c",
                         5));
}

TEST_P(TerminalText, LeavesTheLocaleOfTheThreadAlone) {
    const std::string before = nl_langinfo(CODESET);
    WidthOf(kWide);
    EXPECT_EQ(before, nl_langinfo(CODESET));
}

}  // namespace
