#include "rw/cstring.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>

namespace {

using namespace std::string_view_literals;

std::string_view BytesOf(const RWCString& text) {
    return {text.data(), text.length()};
}

/// "a", a zero byte, "b".
RWCString WithZeroByte() {
    return {"a\0b", 3};
}

TEST(CString, IsEmptyAtFirst) {
    const RWCString text;
    EXPECT_TRUE(text.isNull());
    EXPECT_EQ(text.length(), 0U);
    EXPECT_STREQ(text.data(), "");
}

TEST(CString, CopiesATextUpToItsNul) {
    char source[] = "text";
    const RWCString text(source);
    source[0] = 'n';
    EXPECT_EQ(BytesOf(text), "text");
    EXPECT_FALSE(text.isNull());
    EXPECT_EQ(BytesOf(RWCString("a\0b")), "a");
}

TEST(CString, TakesANullPointerForTheEmptyText) {
    const char* const nothing = nullptr;
    RWCString text(nothing);
    EXPECT_TRUE(text.isNull());
    text.append(nothing);
    text.prepend(nothing);
    text += nothing;
    EXPECT_TRUE(text.isNull());
    EXPECT_TRUE(text == nothing);
    EXPECT_TRUE(RWCString("x") != nothing);
}

TEST(CString, KeepsBytesOfAnyValue) {
    std::string every;
    for (int byte = 0; byte < 256; ++byte) every += static_cast<char>(byte);
    EXPECT_EQ(BytesOf(RWCString(every.data(), every.size())), every);
}

TEST(CString, EndsItsDataWithANul) {
    RWCString text("abc", 2);
    EXPECT_EQ(text.data()[2], '\0');
    text.append("\0c", 2);
    EXPECT_EQ(text.data()[text.length()], '\0');
    text.remove(1);
    EXPECT_EQ(std::strlen(text.data()), 1U);
    text.resize(100);
    EXPECT_EQ(text.data()[100], '\0');
    text.capacity(0);
    EXPECT_EQ(text.data()[100], '\0');
}

TEST(CString, CopiesAndAssignsZeroBytes) {
    const RWCString original = WithZeroByte();
    RWCString copy(original);
    RWCString assigned("something else");
    assigned = original;
    copy += 'c';
    EXPECT_EQ(BytesOf(copy), "a\0bc"sv);
    EXPECT_EQ(BytesOf(assigned), "a\0b"sv);
    EXPECT_EQ(BytesOf(original), "a\0b"sv);
}

TEST(CString, AppendsEveryKindOfText) {
    RWCString text("1");
    text.append("2").append("3xx", 1).append(RWCString("4")).append('5');
    EXPECT_EQ(BytesOf(text), "12345");
}

TEST(CString, AppendsZeroBytes) {
    RWCString text = WithZeroByte();
    text.append("\0c", 2).append(WithZeroByte()).append('\0').append("d");
    EXPECT_EQ(BytesOf(text), "a\0b\0ca\0b\0d"sv);
}

TEST(CString, AppendsByPlusEquals) {
    RWCString text = WithZeroByte();
    (text += "c") += WithZeroByte();
    text += '\0';
    EXPECT_EQ(BytesOf(text), "a\0bca\0b\0"sv);
}

TEST(CString, PrependsEveryKindOfText) {
    RWCString text("1");
    text.prepend("2").prepend("3xx", 1).prepend(RWCString("4"));
    EXPECT_EQ(BytesOf(text), "4321");
}

TEST(CString, PrependsZeroBytes) {
    RWCString text = WithZeroByte();
    text.prepend("\0c", 2).prepend(WithZeroByte()).prepend("d");
    EXPECT_EQ(BytesOf(text), "da\0b\0ca\0b"sv);
}

TEST(CString, AppendsAndPrependsItself) {
    RWCString text("ab");
    text += text;
    EXPECT_EQ(BytesOf(text), "abab");
    text.prepend(text);
    EXPECT_EQ(BytesOf(text), "abababab");
}

TEST(CString, RemovesEverythingFromAPosition) {
    RWCString text("abc\0de", 6);
    EXPECT_EQ(BytesOf(text.remove(5)), "abc\0d"sv);
    EXPECT_EQ(BytesOf(text.remove(1)), "a");
    EXPECT_TRUE(text.remove(0).isNull());
}

TEST(CString, RemovesACountOfBytes) {
    RWCString text("abc\0def", 7);
    EXPECT_EQ(BytesOf(text.remove(1, 1)), "ac\0def"sv);
    EXPECT_EQ(BytesOf(text.remove(0, 2)), "\0def"sv);
    EXPECT_EQ(BytesOf(text.remove(1, 0)), "\0def"sv);
}

TEST(CString, ClampsWhatItRemovesToItsEnd) {
    RWCString text("abcdef");
    EXPECT_EQ(BytesOf(text.remove(4, 100)), "abcd");
    EXPECT_EQ(BytesOf(text.remove(4)), "abcd");
    EXPECT_EQ(BytesOf(text.remove(1000)), "abcd");
    EXPECT_EQ(BytesOf(text.remove(1000, 1000)), "abcd");
    EXPECT_EQ(BytesOf(text.remove(2, static_cast<std::size_t>(-1))), "ab");
    EXPECT_TRUE(RWCString().remove(5).isNull());
}

TEST(CString, CutsOrFillsWithBlanksOnResize) {
    RWCString text = WithZeroByte();
    text.resize(5);
    EXPECT_EQ(BytesOf(text), "a\0b  "sv);
    text.resize(2);
    EXPECT_EQ(BytesOf(text), "a\0"sv);
    text.resize(0);
    EXPECT_TRUE(text.isNull());
}

TEST(CString, HoldsTheReservedBytesWithoutAllocating) {
    RWCString text("abc");
    EXPECT_GE(text.capacity(1000), 1000U);
    const char* const place = text.data();
    while (text.length() < 1000) text += 'x';
    EXPECT_EQ(text.data(), place);
}

TEST(CString, GivesRoomBackDownToTheCountAskedFor) {
    RWCString text("abc");
    const std::size_t large = text.capacity(100000);
    const std::size_t small = text.capacity(200);
    EXPECT_GE(small, 200U);
    EXPECT_LT(small, large);
    EXPECT_EQ(BytesOf(text), "abc");
}

TEST(CString, GivesRoomBackDownToItsLength) {
    RWCString text;
    text.resize(500);
    text.capacity(100000);
    const std::size_t small = text.capacity(3);
    EXPECT_GE(small, 500U);
    EXPECT_LT(small, 100000U);
    EXPECT_EQ(text.length(), 500U);
}

TEST(CString, ReturnsTheNewCapacity) {
    RWCString text("abc");
    const std::size_t reserved = text.capacity(5000);
    EXPECT_EQ(text.capacity(), reserved);
    const std::size_t reduced = text.capacity(0);
    EXPECT_EQ(text.capacity(), reduced);
}

TEST(CString, KeepsZeroBytesWhenItsCapacityChanges) {
    RWCString text = WithZeroByte();
    text.capacity(5000);
    text.capacity(0);
    EXPECT_EQ(BytesOf(text), "a\0b"sv);
}

TEST(CString, ComparesByteByByte) {
    EXPECT_LT(RWCString("abc").compareTo("abd"), 0);
    EXPECT_GT(RWCString("abd").compareTo("abc"), 0);
    EXPECT_EQ(RWCString("abc").compareTo("abc"), 0);
    EXPECT_LT(RWCString("ab").compareTo("abc"), 0);
    EXPECT_LT(RWCString().compareTo("a"), 0);
    EXPECT_GT(RWCString("\xff").compareTo("a"), 0);
}

TEST(CString, ComparesBeyondZeroBytes) {
    const RWCString text = WithZeroByte();
    EXPECT_LT(text.compareTo(RWCString("a\0c", 3)), 0);
    EXPECT_GT(text.compareTo("a"), 0);
    EXPECT_EQ(text.compareTo(WithZeroByte()), 0);
}

TEST(CString, IsEqualByItsBytes) {
    const RWCString text("abc");
    EXPECT_TRUE(text == RWCString("abc"));
    EXPECT_FALSE(text != RWCString("abc"));
    EXPECT_TRUE(text != RWCString("abC"));
    EXPECT_FALSE(text == RWCString("ab"));
    EXPECT_FALSE(WithZeroByte() == RWCString("a\0c", 3));
}

TEST(CString, IsEqualToPlainTextsOnEitherSide) {
    const RWCString text("abc");
    EXPECT_TRUE(text == "abc");
    EXPECT_TRUE("abc" == text);
    EXPECT_TRUE(text != "ab");
    EXPECT_TRUE("ab" != text);
    EXPECT_FALSE(text != "abc");
    EXPECT_FALSE("abc" != text);
    EXPECT_FALSE(WithZeroByte() == "a");
    EXPECT_TRUE("a" != WithZeroByte());
}

TEST(CString, SortsAsItCompares) {
    EXPECT_TRUE(RWCString("abc") < RWCString("abd"));
    EXPECT_FALSE(RWCString("abc") < RWCString("abc"));
    EXPECT_TRUE(RWCString("a") < RWCString("\xff"));
    EXPECT_TRUE(RWCString("a") < WithZeroByte());
    EXPECT_TRUE(WithZeroByte() < RWCString("a\0c", 3));
    EXPECT_EQ(*std::set<RWCString>({"b", "", "a"}).begin(), "");
}

TEST(CString, IsAKeyOfUnorderedContainers) {
    const std::unordered_set<RWCString> texts = {"b", "a", "b", WithZeroByte()};
    EXPECT_EQ(texts.size(), 3U);
    EXPECT_EQ(texts.count(RWCString("a")), 1U);
    EXPECT_EQ(texts.count(RWCString("a\0b", 3)), 1U);
    EXPECT_EQ(std::hash<RWCString>()(WithZeroByte()), WithZeroByte().hash());
}

TEST(CString, HashesEqualStringsEqually) {
    RWCString grown("a");
    grown.capacity(1000);
    grown.append("\0b", 2);
    EXPECT_EQ(grown.hash(), WithZeroByte().hash());
    EXPECT_EQ(RWCString().hash(), RWCString("").hash());
}

TEST(CString, SpreadsTheHashesOfDifferentStrings) {
    std::set<unsigned> hashes;
    for (int i = 0; i < 1000; ++i) hashes.insert(RWCString(std::to_string(i).c_str()).hash());
    EXPECT_GT(hashes.size(), 990U);
    EXPECT_NE(WithZeroByte().hash(), RWCString("a").hash());
}

}  // namespace
