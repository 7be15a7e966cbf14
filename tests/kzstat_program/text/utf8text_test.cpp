#include "text/utf8text.h"

#include <gtest/gtest.h>

namespace {

using kzstatprogram::Utf8Text;

TEST(Utf8Text, LeavesCharactersAlone) {
    EXPECT_EQ("", Utf8Text(""));
    EXPECT_EQ("login.time", Utf8Text("login.time"));
    EXPECT_EQ("caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80",
              Utf8Text("caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80"));
}

TEST(Utf8Text, WritesOutBytesThatAreNone) {
    EXPECT_EQ("a\\xffb", Utf8Text("a\xff"
                                  "b"));
    EXPECT_EQ("\\xc3", Utf8Text("\xc3"));
    EXPECT_EQ("\\xc0\\x80", Utf8Text("\xc0\x80"));
    EXPECT_EQ("\\xed\\xa0\\x80", Utf8Text("\xed\xa0\x80"));
}

TEST(Utf8Text, KeepsNamesApart) {
    EXPECT_NE(Utf8Text("a\xfe"), Utf8Text("a\xff"));
}

}  // namespace
