// Tests of KXRegex and the KXString overloads that take one.
#include "kx/foundation/kxregex.h"

#include <gtest/gtest.h>

#include <string>

namespace {
std::string Str(const KXSubString &v) { return std::string(v.Data(), static_cast<size_t>(v.Length())); }
} // namespace

TEST(KXRegexTest, CompileAndSearch)
{
    const KXRegex digits("[0-9]+");
    ASSERT_TRUE(digits.IsValid());
    EXPECT_STREQ(digits.ErrorText(), "");
    int len = 0;
    EXPECT_EQ(digits.Search("ab12cd345", 9, 0, len), 2);
    EXPECT_EQ(len, 2);
    EXPECT_EQ(digits.Search("ab12cd345", 9, 4, len), 6);
    EXPECT_EQ(len, 3);
    EXPECT_EQ(digits.Search("ab12cd345", 9, -1, len), 8);   // the last start with a match
    EXPECT_EQ(len, 1);
    EXPECT_EQ(digits.Search("ab12cd345", 9, -4, len), 3);   // must end at or before 5
    EXPECT_EQ(digits.Search("abcd", 4, 0, len), -1);
    EXPECT_EQ(len, 0);
    EXPECT_EQ(digits.Search("", 0, 0, len), -1);
    EXPECT_EQ(digits.Match("12ab", 4, 0), 2);
    EXPECT_EQ(digits.Match("a12", 3, 0), -1);
    EXPECT_EQ(digits.Match("a12", 3, 1, true), 2);
    EXPECT_EQ(digits.Match("a12b", 4, 1, true), -1);

    const KXRegex bad("(unclosed");
    EXPECT_FALSE(bad.IsValid());
    EXPECT_FALSE(bad.ErrorText().Empty());
    EXPECT_GE(bad.ErrorOffset(), 0);
    EXPECT_EQ(bad.Search("(unclosed", 9, 0, len), -1);
    const KXRegex badCopy(bad);
    EXPECT_FALSE(badCopy.IsValid());
    EXPECT_STREQ(badCopy.Pattern(), "(unclosed");

    // Empty matches never count.
    const KXRegex star("x*");
    EXPECT_EQ(star.Search("abxx", 4, 0, len), 2);
    EXPECT_EQ(len, 2);

    const KXRegex caseless("hello", true);
    EXPECT_EQ(caseless.Search("say HeLLo", 9, 0, len), 4);
    KXRegex copy;
    copy = caseless;
    EXPECT_TRUE(copy.IsValid());
    EXPECT_TRUE(copy.IgnoresCase());
    EXPECT_EQ(copy.Search("HELLO", 5, 0, len), 0);
    // Bytes above 127 are plain bytes.
    const KXRegex high("\xe9+");
    EXPECT_EQ(high.Search("a\xe9\xe9", 3, 0, len), 1);
    EXPECT_EQ(len, 2);
}

TEST(KXRegexTest, StringOverloads)
{
    const KXRegex num("-?[0-9]+");
    KXString s("x=12, y=-7, z=3");
    EXPECT_EQ(s.Index(num), 2);
    EXPECT_EQ(s.Index(num, -1), 14);
    EXPECT_EQ(s.Contains(num), 1);
    EXPECT_EQ(s.Contains(num, 2), 1);
    EXPECT_EQ(s.Contains(num, 1), 0);
    EXPECT_EQ(s.Contains(num, -1), 1);   // "3" ends at the last position
    EXPECT_EQ(s.Contains(num, -2), 0);
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
    EXPECT_EQ(KXString("123a").Matches(num, -2), 1);   // exactly 0 .. 2

    EXPECT_EQ(s.GSub(num, "N"), 3);
    EXPECT_STREQ(s, "x=N, y=N, z=N");
    s.Del(KXRegex("[xyz]="), 1);
    EXPECT_STREQ(s, "x=N, N, z=N");
    EXPECT_EQ(s.GSub(KXRegex("Q"), KXString("")), 0);
    KXString e;
    EXPECT_EQ(e.Index(num), -1);
    EXPECT_EQ(e.GSub(num, "x"), 0);
}
