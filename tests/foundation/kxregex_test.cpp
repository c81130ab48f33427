// Tests of KXRegex and the KXString overloads that take one.
#include "kx/foundation/kxregex.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

namespace {

std::string Str(const KXSubString &v)
{
    return std::string(v.Data(), static_cast<size_t>(v.Length()));
}

/// Position and length of the match Search finds in text.
std::pair<int, int> Found(const KXRegex &re, const char *text, int start)
{
    int len = -1;
    const int pos = re.Search(text, static_cast<int>(std::strlen(text)), start, len);
    return {pos, len};
}

} // namespace

TEST(KXRegexTest, CompileAndSearch)
{
    const KXRegex digits("[0-9]+");
    ASSERT_TRUE(digits.IsValid());
    EXPECT_STREQ(digits.ErrorText(), "");
    // {start, position, length}: backward starts take the last start whose match ends in range.
    const int cases[][3] = {{0, 2, 2}, {4, 6, 3}, {-1, 8, 1}, {-4, 3, 1}};
    for (const auto &c : cases)
        EXPECT_EQ(Found(digits, "ab12cd345", c[0]), std::make_pair(c[1], c[2])) << c[0];
    EXPECT_EQ(Found(digits, "abcd", 0), std::make_pair(-1, 0));
    EXPECT_EQ(Found(digits, "", 0).first, -1);
    EXPECT_EQ(digits.Match("12ab", 4, 0), 2);
    EXPECT_EQ(digits.Match("a12", 3, 0), -1);
    EXPECT_EQ(digits.Match("a12", 3, 1, true), 2);
    EXPECT_EQ(digits.Match("a12b", 4, 1, true), -1);

    const KXRegex bad("(unclosed");
    EXPECT_FALSE(bad.IsValid() || bad.ErrorText().Empty());
    EXPECT_GE(bad.ErrorOffset(), 0);
    EXPECT_EQ(Found(bad, "(unclosed", 0).first, -1);
    const KXRegex badCopy(bad);
    EXPECT_FALSE(badCopy.IsValid());
    EXPECT_STREQ(badCopy.Pattern(), "(unclosed");

    EXPECT_EQ(Found(KXRegex("x*"), "abxx", 0), std::make_pair(2, 2)); // empty matches never count
    KXRegex copy;
    copy = KXRegex("hello", true);
    EXPECT_TRUE(copy.IsValid() && copy.IgnoresCase());
    EXPECT_EQ(Found(copy, "say HeLLo", 0).first, 4);
    EXPECT_EQ(Found(KXRegex("\xe9+"), "a\xe9\xe9", 0),
              std::make_pair(1, 2)); // high bytes are plain bytes
}

TEST(KXRegexTest, StringOverloads)
{
    const KXRegex num("-?[0-9]+");
    KXString s("x=12, y=-7, z=3");
    EXPECT_EQ(s.Index(num), 2);
    EXPECT_EQ(s.Index(num, -1), 14);
    // Contains(pos): a match starting at pos, or for a negative pos ending at length + pos.
    const int contains[][2] = {{2, 1}, {1, 0}, {-1, 1}, {-2, 0}};
    for (const auto &c : contains)
        EXPECT_EQ(s.Contains(num, c[0]), c[1]) << c[0];
    EXPECT_EQ(s.Contains(num), 1);
    EXPECT_EQ(Str(s.At(num)), "12");
    EXPECT_EQ(Str(s.At(num, 5)), "-7");
    EXPECT_EQ(Str(s.Before(num)), "x=");
    EXPECT_EQ(Str(s.Through(num)), "x=12");
    EXPECT_EQ(Str(s.After(num)), ", y=-7, z=3");
    EXPECT_EQ(Str(s.From(num, -1)), "3");
    EXPECT_TRUE(s.After(KXRegex("q+")).Empty());

    EXPECT_EQ(KXString("123").Matches(num), 1);
    EXPECT_EQ(KXString("123a").Matches(num), 0);
    EXPECT_EQ(KXString("a123").Matches(num, 1), 1);
    EXPECT_EQ(KXString("123a").Matches(num, -2), 1); // exactly 0 .. 2

    EXPECT_EQ(s.GSub(num, "N"), 3);
    EXPECT_STREQ(s, "x=N, y=N, z=N");
    s.Del(KXRegex("[xyz]="), 1);
    EXPECT_STREQ(s, "x=N, N, z=N");
    EXPECT_EQ(s.GSub(KXRegex("Q"), KXString("")), 0);
    EXPECT_EQ(KXString().Index(num), -1);
    EXPECT_EQ(KXString().GSub(num, "x"), 0);
}
