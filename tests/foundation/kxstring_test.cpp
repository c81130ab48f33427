// Tests of KXString: representation and growth, editing, searching, views, comparison.
#include "kx/foundation/kxstring.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <string>

namespace {

std::string Str(const KXSubString &v) { return std::string(v.Data(), static_cast<size_t>(v.Length())); }

} // namespace

TEST(KXStringTest, EmptyStringsShareTheStaticRepresentation)
{
    KXString a;
    KXString b("");
    KXString c(nullptr);
    KXString d;
    d = "";
    EXPECT_TRUE(a.IsNull());
    EXPECT_TRUE(b.IsNull());
    EXPECT_TRUE(c.IsNull());
    EXPECT_TRUE(d.IsNull());
    EXPECT_EQ(a.Rep(), b.Rep());
    EXPECT_EQ(a.Rep(), d.Rep());
    EXPECT_TRUE(a.Empty());
    EXPECT_STREQ(a, "");
    EXPECT_TRUE(a.OK());

    a += 'x';
    EXPECT_FALSE(a.IsNull());
    EXPECT_TRUE(a.IsDefined());
    EXPECT_EQ(a.Allocation(), 16);
    EXPECT_EQ(b.Rep()->length, 0u);   // the shared representation was not written
    EXPECT_STREQ(b, "");
}

TEST(KXStringTest, AllocationRule)
{
    EXPECT_EQ(KXStrRep::BlockSize(0), 16u);
    EXPECT_EQ(KXStrRep::BlockSize(1), 32u);
    EXPECT_EQ(KXStrRep::BlockSize(16), 32u);
    EXPECT_EQ(KXStrRep::BlockSize(17), 64u);
    EXPECT_EQ(KXStrRep::BlockSize(112), 128u);
    EXPECT_EQ(KXStrRep::BlockSize(113), 256u);

    KXString s(std::string(16, 'a').c_str());
    EXPECT_EQ(s.Allocation(), 16);
    const KXStrRep *block = s.Rep();
    s += 'b';   // length 17 moves to capacity 48
    EXPECT_EQ(s.Allocation(), 48);
    EXPECT_NE(s.Rep(), block);
    EXPECT_EQ(s.Length(), 17);
    EXPECT_EQ(s.Lastchar(), 'b');

    block = s.Rep();
    s.Append(std::string(31, 'c').c_str());   // 48 still fits
    EXPECT_EQ(s.Rep(), block);
    EXPECT_EQ(s.Length(), 48);
    s += "d";
    EXPECT_EQ(s.Allocation(), 112);

    // Shortening keeps the block; so does assigning something that fits.
    block = s.Rep();
    s.Del(0, 40);
    EXPECT_EQ(s.Rep(), block);
    s = "short";
    EXPECT_EQ(s.Rep(), block);
    EXPECT_EQ(s.Allocation(), 112);
    s.Alloc(2);
    EXPECT_STREQ(s, "sh");
    s.Alloc(4);
    EXPECT_EQ(s.Length(), 4);
    EXPECT_EQ(s[2], '\0');   // grown bytes are zero
    EXPECT_TRUE(s.OK());
}

TEST(KXStringTest, CopiesOwnTheirCharacters)
{
    KXString a("hello");
    KXString b(a);
    EXPECT_NE(a.Rep(), b.Rep());
    b[0] = 'j';
    EXPECT_STREQ(a, "hello");
    EXPECT_STREQ(b, "jello");

    KXString c(std::move(b));
    EXPECT_STREQ(c, "jello");
    EXPECT_TRUE(b.IsNull());   // NOLINT: the moved-from string is the shared empty one
    b = "again";
    EXPECT_STREQ(b, "again");

    KXString d("abc", 2);
    EXPECT_STREQ(d, "ab");
    EXPECT_EQ(KXString('q').Length(), 1);

    // Embedded zero bytes are kept by length.
    KXString z("a\0b", 3);
    EXPECT_EQ(z.Length(), 3);
    EXPECT_EQ(z[2], 'b');
}

TEST(KXStringTest, SelfReferencingEdits)
{
    KXString s("abc");
    s += s;
    EXPECT_STREQ(s, "abcabc");
    s.Append(s.c_str() + 1, 2);
    EXPECT_STREQ(s, "abcabcbc");
    s = s(2, 3);
    EXPECT_STREQ(s, "cab");
    s.Prepend(s);
    EXPECT_STREQ(s, "cabcab");
    s.Insert(3, s);
    EXPECT_STREQ(s, "cabcabcabcab");
    KXString digits("0123456789");
    digits.Replace(0, 2, digits.c_str() + 5);
    EXPECT_STREQ(digits, "5678923456789");
    KXString big(std::string(40, 'x').c_str());
    big.Scat(big, big.Length(), "-", 1, big, big.Length());
    EXPECT_EQ(big.Length(), 81);
    EXPECT_EQ(big[40], '-');
    EXPECT_TRUE(big.OK());
}

TEST(KXStringTest, ConcatenationOperators)
{
    const KXString a("ab");
    const KXString b("cd");
    EXPECT_STREQ(a + b, "abcd");
    EXPECT_STREQ(a + b(1, 1), "abd");
    EXPECT_STREQ(a + "x", "abx");
    EXPECT_STREQ(a + 'y', "aby");
    EXPECT_STREQ(a(0, 1) + b, "acd");
    EXPECT_STREQ(a(0, 1) + b(0, 1), "ac");
    EXPECT_STREQ(a(1, 1) + "z", "bz");
    EXPECT_STREQ(a(1, 1) + '!', "b!");
    EXPECT_STREQ("x" + a, "xab");
    EXPECT_STREQ("x" + b(1, 1), "xd");
    EXPECT_STREQ(a + b + "e" + 'f' + a, "abcdefab");
    EXPECT_TRUE((KXString() + KXString()).IsNull());

    KXString p("end");
    p.Prepend('<');
    p.Prepend("<<");
    p.Prepend(a(0, 1));
    EXPECT_STREQ(p, "a<<<end");
    p += b(0, 1);
    EXPECT_STREQ(p, "a<<<endc");
}

TEST(KXStringTest, ElementAccessAndFaults)
{
    KXString s("abc");
    EXPECT_EQ(s.Firstchar(), 'a');
    EXPECT_EQ(s.Lastchar(), 'c');
    EXPECT_EQ(s.Elem(1), 'b');
    s[1] = 'X';
    EXPECT_STREQ(s, "aXc");

    EXPECT_EXIT((dup2(2, 1), (void)KXString().Lastchar()), ::testing::ExitedWithCode(1),
                "KXString.*invalid index");
    EXPECT_EXIT((dup2(2, 1), (void)s[3]), ::testing::ExitedWithCode(1), "invalid index");
    EXPECT_EXIT((dup2(2, 1), (void)s[-1]), ::testing::ExitedWithCode(1), "invalid index");
    EXPECT_EXIT((dup2(2, 1), s.Insert(4, "x")), ::testing::ExitedWithCode(1), "invalid index");
    EXPECT_EXIT((dup2(2, 1), s.Alloc(-1)), ::testing::ExitedWithCode(1),
                "Requested length out of range");
    EXPECT_EXIT((dup2(2, 1), s.Alloc(0x40000000)), ::testing::ExitedWithCode(1),
                "Requested length out of range");
}

TEST(KXStringTest, InsertReplaceDelete)
{
    KXString s("hello world");
    s.Insert(0, "[");
    s.Insert(s.Length(), KXString("]"));
    EXPECT_STREQ(s, "[hello world]");
    s.Replace(1, 5, "goodbye");
    EXPECT_STREQ(s, "[goodbye world]");
    s.Replace(9, 100, KXString("all"));   // length clipped at the end
    EXPECT_STREQ(s, "[goodbye all");
    s.Del(0, 1);
    s.Remove(7, 1);
    EXPECT_STREQ(s, "goodbyeall");
    s.Del(20, 3);   // outside: nothing
    s.Del(-1, 3);
    EXPECT_STREQ(s, "goodbyeall");
    s.Del('o', 0);
    EXPECT_STREQ(s, "godbyeall");
    s.Del('l', -1);   // the last l
    EXPECT_STREQ(s, "godbyeal");
    s.Del("bye");
    EXPECT_STREQ(s, "godal");
    s.Del(KXString("zz"));   // not found: unchanged
    EXPECT_STREQ(s, "godal");
    KXString pat("goal");
    s.Del(pat(3, 1));
    EXPECT_STREQ(s, "goda");
}

TEST(KXStringTest, GSubReplacesNonOverlappingMatches)
{
    KXString s("aaaa");
    EXPECT_EQ(s.GSub("aa", "b"), 2);
    EXPECT_STREQ(s, "bb");
    KXString t("a.b.c");
    EXPECT_EQ(t.GSub(".", KXString("::")), 2);
    EXPECT_STREQ(t, "a::b::c");
    EXPECT_EQ(t.GSub("", "x"), 0);
    EXPECT_EQ(t.GSub("q", "x"), 0);
    EXPECT_STREQ(t, "a::b::c");
    EXPECT_EQ(t.GSub(KXString("::"), ""), 2);
    EXPECT_STREQ(t, "abc");
    KXString u("xyxy");
    EXPECT_EQ(u.GSub(u(0, 2), u), 2);   // pattern and replacement inside the string itself
    EXPECT_STREQ(u, "xyxyxyxy");
    KXString empty;
    EXPECT_EQ(empty.GSub("a", "b"), 0);
}

TEST(KXStringTest, CaseEditing)
{
    KXString s("Hello, World \xe9!");
    s.Upcase();
    EXPECT_STREQ(s, "HELLO, WORLD \xe9!");
    s.Downcase();
    EXPECT_STREQ(s, "hello, world \xe9!");
    EXPECT_STREQ(Reverse(KXString("abcd")), "dcba");
    EXPECT_STREQ(Reverse(KXString("abc")), "cba");
    EXPECT_STREQ(Reverse(KXString()), "");

    // Words run through letters, digits and apostrophes; non-letters never begin one.
    EXPECT_STREQ(Capitalize(KXString("hELLO wORLD")), "Hello World");
    EXPECT_STREQ(Capitalize(KXString("don'T STOP-me 2ND x1Y")), "Don't Stop-Me 2Nd X1y");
    EXPECT_STREQ(Capitalize(KXString("'quoted'")), "'Quoted'");
}

TEST(KXStringTest, SearchForwardAndBackward)
{
    const KXString s("abxab");
    EXPECT_EQ(s.Index("ab", -1), 3);
    EXPECT_EQ(s.Index("ab", 0), 0);
    EXPECT_EQ(s.Index("ab", -2), 0);   // must end at or before position 3
    EXPECT_EQ(s.Index("", 0), -1);
    EXPECT_EQ(s.Index("", -1), -1);
    EXPECT_EQ(KXString().Index("a"), -1);
    EXPECT_EQ(s.Index('b'), 1);
    EXPECT_EQ(s.Index('b', 2), 4);
    EXPECT_EQ(s.Index('b', -1), 4);
    EXPECT_EQ(s.Index('b', -2), 1);
    EXPECT_EQ(s.Index('a', -5), 0);
    EXPECT_EQ(s.Index('a', -6), -1);
    EXPECT_EQ(s.Index(KXString("xa")), 2);
    const KXString pat("zab");
    EXPECT_EQ(s.Index(pat(1, 2), -1), 3);
    EXPECT_EQ(s.Index("AB", -1, KXString::ignoreCase), 3);
    EXPECT_EQ(s.Index("XA", 0, KXString::ignoreCase), 2);
    EXPECT_EQ(s.Index("XA", 0, KXString::exact), -1);
    EXPECT_EQ(s.Index(KXString("B"), 2, KXString::ignoreCase), 4);

}

TEST(KXStringTest, ContainsMatchesAndFreq)
{
    const KXString s("abcabc");
    EXPECT_EQ(s.Contains("ca"), 1);
    EXPECT_EQ(s.Contains("cb"), 0);
    EXPECT_EQ(s.Contains('c'), 1);
    EXPECT_EQ(s.Contains("CA", KXString::ignoreCase), 1);
    EXPECT_EQ(s.Contains("bc", 1), 1);
    EXPECT_EQ(s.Contains("bc", 2), 0);
    EXPECT_EQ(s.Contains("bc", -1), 1);   // ending at the last position
    EXPECT_EQ(s.Contains("ab", -2), 1);   // "ab" ending at position 4
    EXPECT_EQ(s.Contains("ab", -3), 0);
    EXPECT_EQ(s.Matches("abcabc"), 1);
    EXPECT_EQ(s.Matches("cabc", 2), 1);
    EXPECT_EQ(s.Matches("cab", 2), 0);
    EXPECT_EQ(s.Matches("abca", -3), 1);   // exactly 0 .. 3
    EXPECT_EQ(s.Matches("abc", -3), 0);
    EXPECT_EQ(s.Matches("", 0), 0);
    EXPECT_EQ(s.Matches('c', 5), 1);
    EXPECT_EQ(KXString().Matches(""), 0);

    EXPECT_EQ(s.Freq('a'), 2);
    EXPECT_EQ(s.Freq("bc"), 2);
    EXPECT_EQ(KXString("aaaa").Freq("aa"), 3);
    EXPECT_EQ(s.Freq(""), 0);
    EXPECT_EQ(s.Freq(KXString("x")), 0);
}

TEST(KXStringTest, SubStringViews)
{
    const KXString s("hello");
    EXPECT_EQ(Str(s(1, 3)), "ell");
    EXPECT_TRUE(s(2, 10).Empty());   // not truncated
    EXPECT_EQ(s(2, 10).Position(), 0);
    EXPECT_NE(&s(2, 10).Owner(), &s);
    EXPECT_TRUE(s(-1, 2).Empty());
    EXPECT_EQ(s(5, 0).Length(), 0);
    EXPECT_STREQ(s.SubString(1, 2), "el");
    EXPECT_STREQ(s.SubString(4, 2), "");
    EXPECT_EQ(s(1, 3)[2], 'l');
    EXPECT_TRUE(s(1, 3).OK());

    const KXString t("key=value=x");
    EXPECT_EQ(Str(t.Before('=')), "key");
    EXPECT_EQ(Str(t.Through('=')), "key=");
    EXPECT_EQ(Str(t.After('=')), "value=x");
    EXPECT_EQ(Str(t.From('=')), "=value=x");
    EXPECT_EQ(Str(t.After('=', -1)), "x");
    EXPECT_EQ(Str(t.Before("=v")), "key");
    EXPECT_EQ(Str(t.At("val")), "val");
    EXPECT_EQ(Str(t.Through(KXString("lu"))), "key=valu");
    EXPECT_TRUE(t.After("#").Empty());
    EXPECT_TRUE(t.Before("#").Empty());
    EXPECT_EQ(Str(t.Through(3)), "key=");
    EXPECT_EQ(Str(t.After(3)), "value=x");
    EXPECT_EQ(Str(t.From(3)), "=value=x");
    EXPECT_EQ(Str(t.At(4, 5)), "value");

    KXString copy(t.After('='));
    EXPECT_STREQ(copy, "value=x");
}

TEST(KXStringTest, StripAndClassify)
{
    const KXString s("  pad  ");
    EXPECT_EQ(Str(s.Strip(KXString::both)), "pad");
    EXPECT_EQ(Str(s.Strip(KXString::leading)), "pad  ");
    EXPECT_EQ(Str(s.Strip(KXString::trailing)), "  pad");
    EXPECT_EQ(Str(KXString("xxaxx").Strip(KXString::both, 'x')), "a");
    const KXString all("xxxx");
    EXPECT_EQ(all.Strip(KXString::both, 'x').Length(), 0);
    EXPECT_EQ(all.Strip(KXString::trailing, 'x').Length(), 0);

    EXPECT_TRUE(KXString().IsAscii());
    EXPECT_TRUE(KXString("abc\x7f").IsAscii());
    EXPECT_FALSE(KXString("ab\x80").IsAscii());
    EXPECT_TRUE(KXString("abcXYZ").IsWord());
    EXPECT_FALSE(KXString("abc1").IsWord());
    EXPECT_TRUE(KXString("0123").IsNumber());
    EXPECT_FALSE(KXString("12.3").IsNumber());
}

TEST(KXStringTest, ComparisonsUseTheSigned8BitRule)
{
    const KXString a("abc");
    const KXString b("abd");
    const KXString w("xabcx");
    const KXSubString v = w(1, 3);   // "abc"
    EXPECT_TRUE(a == v && v == a && a == "abc" && "abc" == a && v == "abc" && "abc" == v);
    EXPECT_TRUE(a < b && a <= b && b > a && b >= a && a != b);
    EXPECT_TRUE(v < b && v <= b && b > v && v != b && v >= a && v <= a);
    EXPECT_TRUE(v < w(2, 3) && w(2, 3) > v && w(2, 3) != v && w(1, 3) == v);
    EXPECT_TRUE(a < "abcd" && "ab" < a && "abd" > v && v < "abd");

    // Bytes 128 or more apart order in reverse.
    const KXString low("a");           // 0x61
    const KXString near("\xe0");        // 0x61 - 0xe0 = -127: still below
    const KXString far("\xf0");         // 0x61 - 0xf0 = -143 wraps to 113: above
    EXPECT_LT(low, near);
    EXPECT_GT(low, far);
    EXPECT_LT(low.CompareTo(near), 0);
    EXPECT_EQ(low.CompareTo(far), 113);
    EXPECT_GT(KXString("ab"), KXString("ab\xe0"));   // terminator 0 - 0xe0 wraps to 32
    EXPECT_LT(KXString("ab"), KXString("abc"));

    EXPECT_GT(KXString("b").CompareTo("a"), 0);
    EXPECT_EQ(KXString("b").CompareTo(KXString("a")), 1);
    EXPECT_EQ(KXString("abc").CompareTo("ABC", KXString::ignoreCase), 0);
    EXPECT_LT(KXString("abc").CompareTo(KXString("ABCD"), KXString::ignoreCase), 0);
    EXPECT_EQ(KXString("abcde").CompareTo("ABC", KXString::ignoreCase), 2);
    EXPECT_EQ(KXString("abz").CompareTo("ABA", KXString::ignoreCase), 'Z' - 'A');
    EXPECT_LT(FCompare("abc", "ABCD"), 0);
    EXPECT_EQ(FCompare("Hello", "hELLO"), 0);
    EXPECT_EQ(FCompare("[", "a"), '[' - 'A');   // only a-z fold: '[' lies between Z and a

    // Long strings differing late: word-at-a-time scan.
    std::string x(200, 'q');
    std::string y = x;
    y[150] = 'r';
    EXPECT_LT(KXString(x.c_str()), KXString(y.c_str()));
    EXPECT_EQ(kxCompareBytes(x.data(), 200, y.data(), 200), -1);
}

TEST(KXStringTest, SprintfFormatsAnyLength)
{
    KXString s;
    EXPECT_EQ(s.sprintf("%d-%s", 42, "x"), 4);
    EXPECT_STREQ(s, "42-x");
    const std::string big(5000, 'z');
    EXPECT_EQ(s.sprintf("<%s>", big.c_str()), 5002);
    EXPECT_EQ(s.Length(), 5002);
    EXPECT_EQ(s[5001], '>');
    EXPECT_EQ(s.Allocation(), 8192 - 16);
    const std::string edge(1023, 'e');   // exactly fills the stack buffer with its zero
    s.sprintf("%s", edge.c_str());
    EXPECT_EQ(s.Length(), 1023);
    s.sprintf("%s", (edge + "f").c_str());
    EXPECT_EQ(s.Length(), 1024);
    EXPECT_EQ(s.Lastchar(), 'f');
    s.sprintf("%s", "");
    EXPECT_TRUE(s.Empty());
    KXString self("me");
    self.sprintf("%s%s", self.c_str(), self.c_str());
    EXPECT_STREQ(self, "meme");
}

TEST(KXStringTest, FreeFunctions)
{
    EXPECT_STREQ(KX_Replicate('-', 3), "---");
    EXPECT_STREQ(KX_Replicate('-', 0), "");
    EXPECT_STREQ(KX_Replicate('-', -2), "");
    EXPECT_STREQ(KX_Replicate(KXString("ab"), 3), "ababab");

    KXString m(" \t\r\n text  here \n\t ");
    minimisestring(m);
    EXPECT_STREQ(m, "text  here");
    KXString blank(" \t ");
    minimisestring(blank);
    EXPECT_TRUE(blank.Empty());

    char raw[] = "name;; ; ";
    minimisestring(raw, ';');
    EXPECT_STREQ(raw, "name");
    char keep[] = "a;b";
    minimisestring(keep, ';');
    EXPECT_STREQ(keep, "a;b");

    KXString code("a = 1; // one\nb = 2;\n// whole line\nc = 3; //last");
    RemoveComments(code);
    EXPECT_STREQ(code, "a = 1; b = 2;c = 3; ");
    KXString url("x // y // z\nw");
    RemoveComments(url);
    EXPECT_STREQ(url, "x w");
}

TEST(KXStringTest, SearchInsideAView)
{
    const KXString s("abcabcabc");
    const KXSubString v = s(3, 5);   // "abcab"
    EXPECT_EQ(v.Index('a'), 0);
    EXPECT_EQ(v.Index('a', -1), 3);
    EXPECT_EQ(v.Index('c', -2), 2);   // the c at 8 lies outside the view
    EXPECT_EQ(v.Index("ab", -1), 3);
    EXPECT_EQ(v.Index("abc", -1), 0);
    EXPECT_EQ(v.Index("bca"), 1);
    EXPECT_EQ(v.Index("cabc"), -1);
    EXPECT_EQ(v.Contains("cab"), 1);
    EXPECT_EQ(s(20, 1).Index('a'), -1);
}

TEST(KXStringTest, SearchAgreesWithStdStringOnRandomTexts)
{
    // Over a two-letter alphabet matches are frequent and overlapping: forward searches must
    // agree with find, backward ones with rfind of the last start ending in range.
    unsigned seed = 12345;
    const auto next = [&seed] { seed = seed * 1103515245u + 12345u; return (seed >> 16) & 0x7fff; };
    for (int round = 0; round < 2000; ++round) {
        std::string text, pat;
        for (unsigned n = next() % 40; n > 0; --n)
            text += static_cast<char>('a' + next() % 2);
        for (unsigned n = 1 + next() % 4; n > 0; --n)
            pat += static_cast<char>('a' + next() % 2);
        const KXString s(text.c_str());
        const int n = static_cast<int>(text.size());
        const int len = static_cast<int>(pat.size());
        for (int start = -n - 1; start <= n; ++start) {
            int expected;
            if (start >= 0) {
                const size_t p = text.find(pat, static_cast<size_t>(start));
                expected = p == std::string::npos ? -1 : static_cast<int>(p);
            } else {
                const int lastStart = n + start - len + 1;
                const size_t p = lastStart < 0 ? std::string::npos : text.rfind(pat, static_cast<size_t>(lastStart));
                expected = p == std::string::npos ? -1 : static_cast<int>(p);
            }
            ASSERT_EQ(s.Index(pat.c_str(), start), expected) << text << " / " << pat << " from " << start;
        }
    }
}

TEST(KXStringTest, ComparisonAgreesWithTheByteRuleOnRandomTexts)
{
    // The reference: bytes compared up to the first difference or the terminator, the
    // difference wrapped to a signed 8-bit value. High bytes make the wrap matter; lengths up
    // to 40 run through the 16- and 8-byte paths.
    const auto reference = [](const std::string &a, const std::string &b) {
        const char *x = a.c_str();
        const char *y = b.c_str();
        while (*x && *x == *y)
            ++x, ++y;
        return static_cast<int>(static_cast<signed char>(static_cast<unsigned char>(*x - *y)));
    };
    const unsigned char alphabet[] = {0x41, 0x61, 0x7f, 0xc1, 0xe0, 0xf0};
    unsigned seed = 777;
    const auto next = [&seed] { seed = seed * 1103515245u + 12345u; return (seed >> 16) & 0x7fff; };
    for (int round = 0; round < 5000; ++round) {
        std::string a;
        for (unsigned n = next() % 40; n > 0; --n)
            a += static_cast<char>(alphabet[next() % 6]);
        std::string b = a.substr(0, next() % (a.size() + 1));   // often a common prefix
        for (unsigned n = next() % 8; n > 0; --n)
            b += static_cast<char>(alphabet[next() % 6]);
        const KXString ka(a.c_str());
        const KXString kb(b.c_str());
        const int expected = reference(a, b);
        ASSERT_EQ(ka.CompareTo(kb), expected) << a << " / " << b;
        ASSERT_EQ(ka < kb, expected < 0);
        ASSERT_EQ(ka >= b.c_str(), expected >= 0);
        ASSERT_EQ(ka == kb, expected == 0);
    }
}

TEST(KXStringTest, EditsAgreeWithStdStringIncludingSelfReferences)
{
    // Random edits whose inserted text is often a piece of the string itself, across block
    // sizes; the result must match std::string and the representation stay consistent.
    unsigned seed = 4242;
    const auto next = [&seed](unsigned n) { seed = seed * 1103515245u + 12345u; return ((seed >> 16) & 0x7fff) % n; };
    KXString s;
    std::string model;
    for (int step = 0; step < 20000; ++step) {
        if (model.size() > 300) {
            s.Del(0, 200);
            model.erase(0, 200);
        }
        const int n = static_cast<int>(model.size());
        const int pos = static_cast<int>(next(static_cast<unsigned>(n) + 1));
        const int len = static_cast<int>(next(static_cast<unsigned>(n - pos) + 1));
        const bool self = next(2) == 0;
        const std::string piece = self ? model.substr(static_cast<size_t>(pos), static_cast<size_t>(len))
                                       : std::string(next(40), static_cast<char>('a' + next(26)));
        const char *src = self ? s.c_str() + pos : piece.c_str();
        const int srcLen = static_cast<int>(piece.size());
        switch (next(5)) {
        case 0: s.Append(src, srcLen); model += piece; break;
        case 1: s.Replace(0, 0, src, srcLen); model.insert(0, piece); break;
        case 2: s.Replace(pos, len, src, srcLen); model.replace(static_cast<size_t>(pos), static_cast<size_t>(len), piece); break;
        case 3: s.Scat(src, srcLen, s.c_str(), n, src, srcLen); model = piece + model + piece; break;
        default: s.Assign(src, srcLen); model = piece; break;
        }
        ASSERT_EQ(std::string(s.c_str(), static_cast<size_t>(s.Length())), model) << "step " << step;
        ASSERT_TRUE(s.OK());
    }
}
