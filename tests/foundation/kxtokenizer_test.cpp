// Tests of KXStringTokenizer and sliceup.
#include "kx/foundation/kxtokenizer.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <memory>
#include <string>
#include <tuple>
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

void *FreeList(void *head)
{
    delete static_cast<StringTok *>(head);
    return nullptr;
}

} // namespace

TEST(KXTokenizerTest, SplitsAtDelimitersWithoutEmptyTokens)
{
    const std::tuple<const char *, const char *, bool, V> cases[] = {
        {"a,,b", ",", false, {"a", "b"}},
        {"a,,b", ",", true, {"a", ",", ",", "b"}},
        {",;x;,", ",;", false, {"x"}},
        {";x,", ",;", true, {";", "x", ","}},
        {"", ",", false, {}},
        {",,,", ",", false, {}},
        {"whole text", "", false, {"whole text"}}};
    for (const auto &[text, delimiters, returnDelims, tokens] : cases) {
        KXStringTokenizer t(text, delimiters, returnDelims);
        EXPECT_EQ(t.CountTokens(), static_cast<int>(tokens.size())) << text;
        EXPECT_EQ(All(t), tokens) << text;
        EXPECT_STREQ(t.GetNextToken(), ""); // nothing left: the empty string
    }
    KXStringTokenizer blanks("  one two\tthree\r\n"); // blanks, tabs, returns, line feeds
    EXPECT_EQ(All(blanks), (V{"one", "two", "three"}));
}

TEST(KXTokenizerTest, CopyKeepsListAndCursor)
{
    KXStringTokenizer t("a b c");
    EXPECT_STREQ(t.GetNextToken(), "a");
    KXStringTokenizer copy(t);
    EXPECT_EQ(copy.CountRemaining(), 2);
    EXPECT_STREQ(copy.GetNextToken(), "b");
    EXPECT_STREQ(t.GetNextToken(), "b"); // the original's cursor is its own
    t = copy;
    EXPECT_STREQ(t.GetNextToken(), "c");
    EXPECT_EQ(t.CountRemaining(), 0);
}

TEST(KXTokenizerTest, SliceupByTemplate)
{
    // The pieces, the indentation first; count is the number of pieces after it.
    const std::tuple<const char *, const char *, V> cases[] = {
        {"  \tcmd   arg1 arg2;", "% %;", {"  \t", "cmd", "arg1 arg2"}},
        {"name=value;rest", "%=%;", {"", "name", "value"}},
        // An end character met at once gives an empty piece; blanks after an end are skipped
        // only when the first end character is a blank.
        {"name = value;", "% %= %;", {"", "name", "", " value"}},
        {"a,  b", "%,%", {"", "a", "  b"}},
        {"a   b", "% %", {"", "a", "b"}},
        {"x;y:z", "%:;%:;%", {"", "x", "y", "z"}}, // the first end character met ends it
        // Brackets of the opening kind nest; other kinds do not count; quotes hide ends; an
        // unclosed bracket runs to the end of the line.
        {"f(a,(b,c)),g", "%,%", {"", "f(a,(b,c))", "g"}},
        {"[a(,]x,y", "%,%", {"", "[a(,]x", "y"}},
        {"(a])x,y", "%,%", {"", "(a])x", "y"}},
        {"\"a,b\",c", "%,%", {"", "\"a,b\"", "c"}},
        {"{a,{b,}},c", "%,%", {"", "{a,{b,}}", "c"}},
        {"(a,b", "%,%", {"", "(a,b"}},
        // The line runs out before the template: only the pieces found.
        {"only", "%,%,%", {"", "only"}},
        {"   ", "%", {"   "}},
        {nullptr, "%", {""}},
        {"abc", "", {""}}};
    for (const auto &[text, pattern, pieces] : cases) {
        int n = -1;
        EXPECT_EQ(Slice(text, pattern, n), pieces) << pattern;
        EXPECT_EQ(n, static_cast<int>(pieces.size()) - 1) << pattern;
    }
}

TEST(KXTokenizerTest, StringTokFreesLongLists)
{
    // One record per "%". Deleting the head must free all of them without one stack frame per
    // record: it runs on a thread with a 256 KiB stack, which 20000 nested frames would overflow.
    const std::string text(20000, 'x');
    std::string pattern;
    for (int i = 0; i < 20000; ++i)
        pattern += "%x";
    int n = 0;
    StringTok *list = sliceup(text.c_str(), pattern.c_str(), n);
    EXPECT_EQ(n, 20000);
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, 256 * 1024);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attr, FreeList, list), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
}
