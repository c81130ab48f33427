// Tests of KXStringTokenizer and sliceup.
#include "kx/foundation/kxtokenizer.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

std::vector<std::string> All(KXStringTokenizer &t)
{
    std::vector<std::string> out;
    while (t.HasMoreTokens())
        out.emplace_back(t.GetNextToken().c_str());
    return out;
}

/// The pieces of a sliceup result, the indentation first.
std::vector<std::string> Slice(const char *text, const char *pattern, int &count)
{
    std::unique_ptr<StringTok> list(sliceup(text, pattern, count));
    std::vector<std::string> out;
    for (const StringTok *t = list.get(); t; t = t->next)
        out.emplace_back(t->text);
    return out;
}

using V = std::vector<std::string>;

} // namespace

TEST(KXTokenizerTest, SplitsAtDelimitersWithoutEmptyTokens)
{
    KXStringTokenizer t("a,,b", ",");
    EXPECT_EQ(t.CountTokens(), 2);
    EXPECT_EQ(All(t), (V{"a", "b"}));
    EXPECT_FALSE(t.HasMoreTokens());
    EXPECT_STREQ(t.GetNextToken(), "");   // nothing left: the empty string

    KXStringTokenizer d("a,,b", ",", true);
    EXPECT_EQ(All(d), (V{"a", ",", ",", "b"}));

    KXStringTokenizer ends(",;x;,", ",;");
    EXPECT_EQ(All(ends), V{"x"});
    KXStringTokenizer endsDelims(";x,", ",;", true);
    EXPECT_EQ(All(endsDelims), (V{";", "x", ","}));

    KXStringTokenizer blanks("  one two\tthree\n");
    EXPECT_EQ(All(blanks), (V{"one", "two", "three"}));

    KXStringTokenizer none("", ",");
    EXPECT_FALSE(none.HasMoreTokens());
    KXStringTokenizer onlyDelims(",,,", ",");
    EXPECT_EQ(onlyDelims.CountTokens(), 0);
    KXStringTokenizer noDelims("whole text", "");
    EXPECT_EQ(All(noDelims), V{"whole text"});
}

TEST(KXTokenizerTest, CopyKeepsListAndCursor)
{
    KXStringTokenizer t("a b c");
    EXPECT_STREQ(t.GetNextToken(), "a");
    KXStringTokenizer copy(t);
    EXPECT_EQ(copy.CountRemaining(), 2);
    EXPECT_STREQ(copy.GetNextToken(), "b");
    EXPECT_STREQ(t.GetNextToken(), "b");   // the original's cursor is its own
    t = copy;
    EXPECT_STREQ(t.GetNextToken(), "c");
    EXPECT_EQ(t.CountRemaining(), 0);
}

TEST(KXTokenizerTest, SliceupByTemplate)
{
    int n = -1;
    EXPECT_EQ(Slice("  \tcmd   arg1 arg2;", "% %;", n), (V{"  \t", "cmd", "arg1 arg2"}));
    EXPECT_EQ(n, 2);
    EXPECT_EQ(Slice("name=value;rest", "%=%;", n), (V{"", "name", "value"}));
    // An end character met at once gives an empty piece; the blank is kept when the first
    // end character is not a blank.
    EXPECT_EQ(Slice("name = value;", "% %= %;", n), (V{"", "name", "", " value"}));
    EXPECT_EQ(n, 3);

    // Blanks after an end are skipped only when the first end character is a blank.
    EXPECT_EQ(Slice("a,  b", "%,%", n), (V{"", "a", "  b"}));
    EXPECT_EQ(Slice("a   b", "% %", n), (V{"", "a", "b"}));

    // Several end characters; the first one met ends the piece.
    EXPECT_EQ(Slice("x;y:z", "%:;%:;%", n), (V{"", "x", "y", "z"}));
    EXPECT_EQ(n, 3);

    // Brackets of the opening kind nest; other kinds do not count; quotes hide ends.
    EXPECT_EQ(Slice("f(a,(b,c)),g", "%,%", n), (V{"", "f(a,(b,c))", "g"}));
    EXPECT_EQ(Slice("[a(,]x,y", "%,%", n), (V{"", "[a(,]x", "y"}));
    EXPECT_EQ(Slice("(a])x,y", "%,%", n), (V{"", "(a])x", "y"}));
    EXPECT_EQ(Slice("\"a,b\",c", "%,%", n), (V{"", "\"a,b\"", "c"}));
    EXPECT_EQ(Slice("{a,{b,}},c", "%,%", n), (V{"", "{a,{b,}}", "c"}));

    // The line runs out before the template: only the pieces found.
    EXPECT_EQ(Slice("only", "%,%,%", n), (V{"", "only"}));
    EXPECT_EQ(n, 1);
    EXPECT_EQ(Slice("   ", "%", n), V{"   "});
    EXPECT_EQ(n, 0);
    EXPECT_EQ(Slice(nullptr, "%", n), V{""});
    EXPECT_EQ(n, 0);
    EXPECT_EQ(Slice("abc", "", n), V{""});
    EXPECT_EQ(n, 0);
    // An unclosed bracket runs to the end of the line.
    EXPECT_EQ(Slice("(a,b", "%,%", n), (V{"", "(a,b"}));
    EXPECT_EQ(n, 1);
}

TEST(KXTokenizerTest, StringTokFreesLongLists)
{
    // One record per "%": deleting the head frees all of them without deep recursion.
    const std::string text(20000, 'x');
    std::string pattern;
    for (int i = 0; i < 20000; ++i)
        pattern += "%x";
    int n = 0;
    StringTok *list = sliceup(text.c_str(), pattern.c_str(), n);
    EXPECT_EQ(n, 20000);
    delete list;
}
