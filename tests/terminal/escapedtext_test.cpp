#include "terminal/escapedtext.h"

#include <gtest/gtest.h>

namespace {

using kzterminal::EscapedName;
using kzterminal::EscapedText;

TEST(EscapedText, LeavesCharactersAlone) {
    for (const char* const text : {"", "login.time", "caf\u00e9 \u20ac \U0001f600", "\\ \"'<"})
        EXPECT_EQ(text, EscapedText(text));
}

TEST(EscapedText, ShowsControls) {
    EXPECT_EQ("a\\x1b[31m\\x0a\\x7f", EscapedText("a\x1b[31m\n\x7f"));
    EXPECT_EQ("\\u0080\\u009b\\u009f\u00a0", EscapedText("\u0080\u009b\u009f\u00a0"));
}

TEST(EscapedText, ShowsBytesThatAreNoCharacter) {
    for (int byte = 0x80; byte <= 0x9f; ++byte) {
        const std::string text = EscapedText(std::string("a") + static_cast<char>(byte));
        EXPECT_EQ(5U, text.size()) << text;
        EXPECT_EQ("a\\x", text.substr(0, 3));
    }
    EXPECT_EQ("\\xe6\\x97x", EscapedText("\xe6\x97x"));
}

TEST(EscapedText, ShowsWhatSetsTheDirectionOfWriting) {
    EXPECT_EQ("\\u061c\\u200e\\u200f", EscapedText("\u061c\u200e\u200f"));
    EXPECT_EQ("\\u2028\\u2029\\u202a\\u202b\\u202c\\u202d\\u202e",
              EscapedText("\u2028\u2029\u202a\u202b\u202c\u202d\u202e"));
    EXPECT_EQ("\\u2066\\u2067\\u2068\\u2069", EscapedText("\u2066\u2067\u2068\u2069"));
}

TEST(EscapedText, KeepsNamesApart) {
    EXPECT_NE(EscapedText("a\u202e"), EscapedText("a\u202d"));
    EXPECT_NE(EscapedText("a\xfe"), EscapedText("a\xff"));
}

TEST(EscapedName, KeepsAnEscapeApartFromWhatReadsLikeIt) {
    EXPECT_EQ("a\\x01b", EscapedName("a\x01"
                                     "b"));
    EXPECT_EQ("a\\x5cx01b", EscapedName("a\\x01b"));
    EXPECT_EQ("a\\x5cx5cx01b", EscapedName("a\\x5cx01b"));
    EXPECT_EQ("\\\\x5cx01", EscapedName("\\\\x01"));
    EXPECT_EQ("\\x5cu202e\\u202e", EscapedName("\\u202e\u202e"));
    EXPECT_EQ("\\x5cU000e0001", EscapedName("\\U000e0001"));
}

TEST(EscapedName, LeavesOtherBackslashesAlone) {
    for (const char* const text :
         {"\\", "a\\", "C:\\users\\xy", "\\x0", "\\xAB", "\\u20", "\\U202e", "\\n"})
        EXPECT_EQ(text, EscapedName(text));
}

}  // namespace
