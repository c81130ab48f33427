// Tests of KXString: representation and growth, editing, searching, views, comparison.
#include "kx/foundation/kxstring.h"

#include "kxfatal_test_util.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cctype>
#include <iterator>
#include <string>
#include <utility>

namespace {

std::string Str(const KXSubString &v)
{
    return std::string(v.Data(), static_cast<size_t>(v.Length()));
}

/// A small deterministic generator, so that a failing random case can be replayed.
struct Lcg {
    unsigned seed;
    unsigned operator()(unsigned n)
    {
        seed = seed * 1103515245u + 12345u;
        return ((seed >> 16) & 0x7fff) % n;
    }
};

} // namespace

TEST(KXStringTest, EmptyStringsShareTheStaticRepresentation)
{
    KXString a;
    KXString b("");
    KXString c(nullptr);
    KXString d;
    d = "";
    for (const KXString *e : {&a, &b, &c, &d}) {
        EXPECT_TRUE(e->IsNull() && e->Empty());
        EXPECT_EQ(e->Rep(), a.Rep());
    }
    EXPECT_STREQ(a, "");
    a += 'x'; // the first write allocates a block of its own
    EXPECT_TRUE(a.IsDefined());
    EXPECT_EQ(a.Allocation(), 16);
    EXPECT_EQ(b.Rep()->length, 0u); // the shared representation was not written
    EXPECT_STREQ(b, "");
}

TEST(KXStringTest, AllocationRule)
{
    const uint32_t sizes[][2] = {{0, 16}, {1, 32}, {16, 32}, {17, 64}, {112, 128}, {113, 256}};
    for (const auto &ns : sizes)
        EXPECT_EQ(KXStrRep::BlockSize(ns[0]), ns[1]) << ns[0];

    KXString s(std::string(16, 'a').c_str());
    EXPECT_EQ(s.Allocation(), 16);
    const KXStrRep *block = s.Rep();
    s += 'b'; // length 17 moves to capacity 48
    EXPECT_EQ(s.Allocation(), 48);
    EXPECT_NE(s.Rep(), block);
    block = s.Rep();
    s.Append(std::string(31, 'c').c_str()); // 48 still fits
    EXPECT_EQ(s.Rep(), block);
    s += "d";
    EXPECT_EQ(s.Allocation(), 112);

    // Shortening keeps the block; so does assigning something that fits.
    block = s.Rep();
    s.Del(0, 40);
    s = std::string(112, 'f').c_str(); // exactly the capacity
    EXPECT_EQ(s.Rep(), block);
    s = "short";
    EXPECT_EQ(s.Rep(), block);
    EXPECT_EQ(s.Allocation(), 112);
    s.Alloc(2);
    EXPECT_STREQ(s, "sh");
    s.Alloc(4);
    EXPECT_EQ(s.Length(), 4);
    EXPECT_EQ(s[2], '\0'); // grown bytes are zero
}

TEST(KXStringTest, CopiesOwnTheirCharacters)
{
    KXString a("hello");
    KXString b(a);
    EXPECT_NE(a.Rep(), b.Rep());
    b[0] = 'j';
    EXPECT_STREQ(a, "hello");
    KXString c(std::move(b));
    EXPECT_STREQ(c, "jello");
    EXPECT_TRUE(b.IsNull()); // NOLINT: the moved-from string is the shared empty one
    b = "again";
    EXPECT_STREQ(b, "again");
    EXPECT_STREQ(KXString("abc", 2), "ab");
    KXString z("a\0b", 3); // embedded zero bytes are kept by length
    EXPECT_EQ(z.Length(), 3);
    EXPECT_EQ(z[2], 'b');
}

TEST(KXStringTest, SelfReferencingEdits)
{
    // The raw-pointer forms are covered by the randomized edit test below.
    KXString s("abc");
    s += s;
    EXPECT_STREQ(s, "abcabc");
    s = s(2, 3);
    EXPECT_STREQ(s, "cab");
    s.Prepend(s);
    EXPECT_STREQ(s, "cabcab");
    s.Insert(3, s);
    EXPECT_STREQ(s, "cabcabcabcab");
    EXPECT_TRUE(s.OK());

    // Sources inside the string keep a block that is large enough.
    KXString t(KX_Replicate('x', 40));
    t = "abcdef";
    const KXStrRep *const block = t.Rep();
    t.Replace(0, 2, t.c_str() + 3, 3);
    EXPECT_STREQ(t, "defcdef");
    t.Scat(t.c_str() + 4, 3, t.c_str(), 3, t.c_str() + 1, 1);
    EXPECT_STREQ(t, "defdefe");
    EXPECT_EQ(t.Rep(), block);
    EXPECT_EQ(t.Allocation(), 48);
}

TEST(KXStringTest, ConcatenationOperators)
{
    const KXString a("ab");
    const KXString b("cd");
    const std::pair<KXString, const char *> sums[] = {
        {a + b, "abcd"},       {a + b(1, 1), "abd"},  {a + "x", "abx"},
        {a + 'y', "aby"},      {a(0, 1) + b, "acd"},  {a(0, 1) + b(0, 1), "ac"},
        {a(1, 1) + "z", "bz"}, {a(1, 1) + '!', "b!"}, {"x" + a, "xab"},
        {"x" + b(1, 1), "xd"}};
    for (const auto &sum : sums)
        EXPECT_STREQ(sum.first, sum.second);
    EXPECT_TRUE((KXString() + KXString()).IsNull());

    KXString p("end");
    p.Prepend('<');
    p.Prepend("<<");
    p.Prepend(a(0, 1));
    p += b(0, 1);
    EXPECT_STREQ(p, "a<<<endc");
}

TEST(KXStringTest, ElementAccessAndFaults)
{
    KXString s("abc");
    EXPECT_EQ(s.Firstchar(), 'a');
    EXPECT_EQ(s.Elem(1), 'b');
    s[1] = 'X';
    EXPECT_STREQ(s, "aXc");

    EXPECT_KX_EXIT((void)KXString().Lastchar(), 1, "KXString.*invalid index");
    EXPECT_KX_EXIT((void)s[3], 1, "invalid index");
    EXPECT_KX_EXIT((void)s[-1], 1, "invalid index");
    EXPECT_KX_EXIT(s.Insert(4, "x"), 1, "invalid index");
    EXPECT_KX_EXIT(s.Alloc(-1), 1, "Requested length out of range");
    EXPECT_KX_EXIT(s.Alloc(0x40000000), 1, "Requested length out of range");
}

TEST(KXStringTest, InsertReplaceDelete)
{
    KXString s("hello world");
    s.Insert(0, "[");
    s.Insert(s.Length(), KXString("]"));
    EXPECT_STREQ(s, "[hello world]");
    s.Replace(1, 5, "goodbye");
    s.Replace(9, 100, KXString("all")); // length clipped at the end
    EXPECT_STREQ(s, "[goodbye all");
    s.Del(0, 1);
    s.Remove(7, 1);
    s.Del(20, 3); // outside: nothing
    s.Del(-1, 3);
    EXPECT_STREQ(s, "goodbyeall");
    s.Del('o', 0);
    s.Del('l', -1); // the last l
    EXPECT_STREQ(s, "godbyeal");
    s.Del("bye");
    s.Del(KXString("zz")); // not found: unchanged
    EXPECT_STREQ(s, "godal");
    const KXString pat("goal");
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
    EXPECT_EQ(t.GSub("", "x") + t.GSub("q", "x"), 0);
    EXPECT_EQ(t.GSub(KXString("::"), ""), 2);
    EXPECT_STREQ(t, "abc");
    KXString u("xyxy");
    EXPECT_EQ(u.GSub(u(0, 2), u), 2); // pattern and replacement inside the string itself
    EXPECT_STREQ(u, "xyxyxyxy");
    EXPECT_EQ(KXString().GSub("a", "b"), 0);
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
    EXPECT_STREQ(Capitalize(KXString("don'T STOP-me 2ND x1Y")), "Don't Stop-Me 2Nd X1y");
    EXPECT_STREQ(Capitalize(KXString("'quoted'")), "'Quoted'");
}

TEST(KXStringTest, SearchOverloadsAndEdges)
{
    // Text searches in both directions are checked against std::string below; here the other
    // overloads and the cases the random texts never make.
    const KXString s("abxab");
    const KXString pat("zab");
    const int results[][2] = {{s.Index("ab", -1), 3},
                              {s.Index("ab", 0), 0},
                              {s.Index("", 0), -1},
                              {s.Index("", -1), -1},
                              {s.Index(KXString("xa")), 2},
                              {s.Index(pat(1, 2), -1), 3},
                              {s.Index("XA", 0, KXString::exact), -1},
                              {s.Index(KXString("B"), 2, KXString::ignoreCase), 4},
                              {s.Contains('x'), 1},
                              {s.Contains("XA", KXString::ignoreCase), 1},
                              {s.Contains(KXString("ba")), 0},
                              {s.Matches('b', 4), 1},
                              {s.Matches(pat(1, 2), 3), 1},
                              {s.Matches("", 0), 0},
                              {KXString().Matches(""), 0},
                              {s.Freq(""), 0},
                              {s.Freq(KXString("ab")), 2},
                              {s(20, 1).Index('a'), -1}};
    for (size_t i = 0; i < std::size(results); ++i)
        EXPECT_EQ(results[i][0], results[i][1]) << "case " << i;
}

TEST(KXStringTest, SubStringViews)
{
    const KXString s("hello");
    EXPECT_EQ(Str(s(1, 3)), "ell");
    EXPECT_TRUE(s(2, 10).Empty()); // not truncated
    EXPECT_EQ(s(2, 10).Position(), 0);
    EXPECT_NE(&s(2, 10).Owner(), &s);
    EXPECT_TRUE(s(-1, 2).Empty());
    EXPECT_STREQ(s.SubString(1, 2), "el");
    EXPECT_STREQ(s.SubString(4, 2), "");
    EXPECT_EQ(s(1, 3)[2], 'l');

    const KXString t("key=value=x");
    const std::pair<KXSubString, const char *> pieces[] = {
        {t.Before('='), "key"},    {t.Through('='), "key="},
        {t.After('='), "value=x"}, {t.From('='), "=value=x"},
        {t.After('=', -1), "x"},   {t.Before("=v"), "key"},
        {t.At("val"), "val"},      {t.Through(KXString("lu")), "key=valu"},
        {t.After("#"), ""},        {t.Before("#"), ""},
        {t.Through(3), "key="},    {t.After(3), "value=x"},
        {t.From(3), "=value=x"},   {t.At(4, 5), "value"}};
    for (const auto &piece : pieces)
        EXPECT_EQ(Str(piece.first), piece.second);
    EXPECT_STREQ(KXString(t.After('=')), "value=x");
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

    EXPECT_TRUE(KXString().IsAscii() && KXString().IsWord() && KXString().IsNumber());
    EXPECT_TRUE(KXString("abc\x7f").IsAscii() && KXString("abcXYZ").IsWord() &&
                KXString("0123").IsNumber());
    EXPECT_FALSE(KXString("ab\x80").IsAscii() || KXString("abc1").IsWord() ||
                 KXString("12.3").IsNumber());
}

TEST(KXStringTest, ComparisonsUseTheSigned8BitRule)
{
    const KXString a("abc");
    const KXString b("abd");
    const KXString w("xabcx");
    const KXSubString v = w(1, 3); // "abc"
    EXPECT_TRUE(a == v && v == a && a == "abc" && "abc" == a && v == "abc" && "abc" == v);
    EXPECT_TRUE(a < b && a <= b && b > a && b >= a && a != b);
    EXPECT_TRUE(v < b && v <= b && b > v && v != b && v >= a && v <= a);
    EXPECT_TRUE(v < w(2, 3) && w(2, 3) > v && w(2, 3) != v && w(1, 3) == v);
    EXPECT_TRUE(a < "abcd" && "ab" < a && "abd" > v && v < "abd");

    // Bytes 128 or more apart order in reverse.
    const KXString low("a");          // 0x61
    EXPECT_LT(low, KXString("\xe0")); // 0x61 - 0xe0 = -127: still below
    EXPECT_GT(low, KXString("\xf0")); // 0x61 - 0xf0 = -143 wraps to 113: above
    EXPECT_EQ(low.CompareTo("\xf0"), 113);
    EXPECT_GT(KXString("ab"), KXString("ab\xe0")); // terminator 0 - 0xe0 wraps to 32
    EXPECT_EQ(KXString("b").CompareTo(KXString("a")), 1);

    // The texts end at their first zero byte, embedded or terminating.
    const KXString z1("a\0b", 3);
    const KXString z2("a\0c", 3);
    EXPECT_TRUE(z1 == z2 && !(z1 != z2) && z1 <= z2 && z1 >= z2 && !(z1 < z2));
    EXPECT_TRUE(z1 == "a" && "a" == z1 && z1 == KXString("a") && z1(0, 3) == z2(0, 2));
    EXPECT_EQ(z1.CompareTo(z2), 0);
    EXPECT_EQ(KXString("a").CompareTo(KXString("a\0\xf0", 3)), 0);
    EXPECT_TRUE(KXString("ab\0", 3) != KXString("abc") && KXString("ab\0", 3) < KXString("abc"));

    // Case-blind: only a-z fold; equal prefixes leave the length difference.
    const int folded[][2] = {
        {KXString("abc").CompareTo("ABC", KXString::ignoreCase), 0},
        {KXString("abc").CompareTo(KXString("ABCD"), KXString::ignoreCase), -1},
        {KXString("abcde").CompareTo("ABC", KXString::ignoreCase), 2},
        {KXString("abz").CompareTo("ABA", KXString::ignoreCase), 'Z' - 'A'},
        {FCompare("abc", "ABCD"), -1},
        {FCompare("Hello", "hELLO"), 0},
        {FCompare("[", "a"), '[' - 'A'}}; // '[' lies between Z and a
    for (size_t i = 0; i < std::size(folded); ++i)
        EXPECT_EQ(folded[i][0], folded[i][1]) << "case " << i;
}

TEST(KXStringTest, SprintfFormatsAnyLength)
{
    KXString s;
    EXPECT_EQ(s.sprintf("%d-%s", 42, "x"), 4);
    EXPECT_STREQ(s, "42-x");
    // Around the 1024-byte stack buffer (1023 fills it with its zero) and the heap retries.
    for (const size_t n : {1022u, 1023u, 2047u, 2048u, 5001u}) {
        const std::string text(n, 'z');
        EXPECT_EQ(s.sprintf("%s>", text.c_str()), static_cast<int>(n) + 1);
        EXPECT_EQ(std::string(s.c_str(), static_cast<size_t>(s.Length())), text + ">");
    }
    EXPECT_EQ(s.Allocation(), 8192 - 16);
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

    const auto minimised = [](KXString m) {
        minimisestring(m);
        return m;
    };
    EXPECT_STREQ(minimised(" \t\r\n text  here \n\t "), "text  here");
    EXPECT_TRUE(minimised(" \t ").Empty());
    const auto cut = [](std::string t) {
        minimisestring(&t[0], ';');
        return std::string(t.c_str());
    };
    EXPECT_EQ(cut("name;; ; "), "name");
    EXPECT_EQ(cut("a;b"), "a;b");

    const auto uncommented = [](KXString code) {
        RemoveComments(code);
        return code;
    };
    EXPECT_STREQ(uncommented("a = 1; // one\nb = 2;\n// whole line\nc = 3; //last"),
                 "a = 1; b = 2;c = 3; ");
    EXPECT_STREQ(uncommented("x // y // z\nw"), "x w");
}

TEST(KXStringTest, SearchesAgreeWithStdStringOnRandomTexts)
{
    // Over a two-letter alphabet matches are frequent and overlapping. A start of 0 or more
    // must agree with find; a negative one with rfind of the last start whose match ends at or
    // before length + start. A view searches its own window only; upper-case patterns find
    // the same places when case is ignored.
    const auto find = [](const std::string &t, const std::string &p, int start) {
        const int last = static_cast<int>(t.size()) + start - static_cast<int>(p.size()) + 1;
        const size_t at = start >= 0 ? t.find(p, static_cast<size_t>(start))
                          : last < 0 ? std::string::npos
                                     : t.rfind(p, static_cast<size_t>(last));
        return at == std::string::npos ? -1 : static_cast<int>(at);
    };
    Lcg next{12345};
    for (int round = 0; round < 2000; ++round) {
        std::string text, pat, upper;
        for (unsigned n = next(40); n > 0; --n)
            text += static_cast<char>('a' + next(2));
        for (unsigned n = 1 + next(4); n > 0; --n)
            pat += static_cast<char>('a' + next(2));
        for (const char c : pat)
            upper += static_cast<char>(std::toupper(c));
        const KXString s(text.c_str());
        const int n = static_cast<int>(text.size());
        const int len = static_cast<int>(pat.size());
        int freq = 0;
        for (size_t p = text.find(pat); p != std::string::npos; p = text.find(pat, p + 1))
            ++freq;
        ASSERT_EQ(s.Freq(pat.c_str()), freq) << text << " / " << pat;
        if (len == 1) {
            ASSERT_EQ(s.Freq(pat[0]), freq);
        }
        for (int start = -n - 1; start <= n; ++start) {
            const int expected = find(text, pat, start);
            const int at = start >= 0 ? start : n + start - len + 1; // where Contains looks
            const std::string stretch = start >= 0
                                            ? text.substr(static_cast<size_t>(start))
                                            : text.substr(0, static_cast<size_t>(n + start + 1));
            ASSERT_EQ(s.Index(pat.c_str(), start), expected)
                << text << " / " << pat << " from " << start;
            ASSERT_EQ(s.Index(upper.c_str(), start, KXString::ignoreCase), expected);
            const bool there =
                at >= 0 && text.compare(static_cast<size_t>(at), pat.size(), pat) == 0;
            ASSERT_EQ(s.Contains(pat.c_str(), start), there);
            ASSERT_EQ(s.Matches(pat.c_str(), start), stretch == pat);
            if (len == 1) {
                ASSERT_EQ(s.Index(pat[0], start), expected);
            }
        }
        const int off = static_cast<int>(next(static_cast<unsigned>(n) + 1));
        const int width = static_cast<int>(next(static_cast<unsigned>(n - off) + 1));
        const KXSubString view = s(off, width);
        const std::string window =
            text.substr(static_cast<size_t>(off), static_cast<size_t>(width));
        for (int start = -width - 1; start <= width; ++start) {
            ASSERT_EQ(view.Index(pat.c_str(), start), find(window, pat, start))
                << window << " / " << pat << " from " << start;
            if (len == 1) {
                ASSERT_EQ(view.Index(pat[0], start), find(window, pat, start));
            }
        }
    }
}

TEST(KXStringTest, ComparisonAgreesWithTheByteRuleOnRandomTexts)
{
    // The reference: bytes compared up to the first difference or the terminator, the
    // difference wrapped to a signed 8-bit value. High bytes make the wrap matter; embedded
    // zero bytes end the texts early (0x01 after a zero fools a careless word-at-a-time zero
    // test); lengths up to 80 run through the 16- and 8-byte paths more than once.
    const auto reference = [](const std::string &a, const std::string &b) {
        const char *x = a.c_str();
        const char *y = b.c_str();
        while (*x && *x == *y)
            ++x, ++y;
        return static_cast<int>(static_cast<signed char>(static_cast<unsigned char>(*x - *y)));
    };
    const unsigned char alphabet[] = {0x41, 0x61, 0x7f, 0xc1, 0xe0, 0xf0, 0x00, 0x01};
    Lcg next{777};
    for (int round = 0; round < 5000; ++round) {
        std::string a;
        for (unsigned n = next(80); n > 0; --n)
            a += static_cast<char>(alphabet[next(8)]);
        std::string b =
            a.substr(0, next(static_cast<unsigned>(a.size()) + 1)); // often a common prefix
        for (unsigned n = next(8); n > 0; --n)
            b += static_cast<char>(alphabet[next(8)]);
        const KXString ka(a.c_str(), static_cast<int>(a.size())); // embedded zeros kept
        const KXString kb(b.c_str(), static_cast<int>(b.size()));
        const int expected = reference(a, b);
        ASSERT_EQ(ka.CompareTo(kb), expected) << a << " / " << b;
        ASSERT_EQ(ka < kb, expected < 0);
        ASSERT_EQ(ka >= b.c_str(), expected >= 0);
        ASSERT_EQ(ka == kb, expected == 0);
        ASSERT_EQ(ka(0, ka.Length()) != kb, expected != 0);
    }
}

TEST(KXStringTest, EditsAgreeWithStdStringIncludingSelfReferences)
{
    // Random edits whose inserted text is often a piece of the string itself, across block
    // sizes; the result must match std::string and the representation stay consistent.
    Lcg next{4242};
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
        const std::string piece =
            self ? model.substr(static_cast<size_t>(pos), static_cast<size_t>(len))
                 : std::string(next(40), static_cast<char>('a' + next(26)));
        const char *src = self ? s.c_str() + pos : piece.c_str();
        const int srcLen = static_cast<int>(piece.size());
        const KXStrRep *const block = s.IsNull() ? nullptr : s.Rep();
        const int capacity = s.Allocation();
        switch (next(5)) {
        case 0:
            s.Append(src, srcLen);
            model += piece;
            break;
        case 1:
            s.Replace(0, 0, src, srcLen);
            model.insert(0, piece);
            break;
        case 2:
            s.Replace(pos, len, src, srcLen);
            model.replace(static_cast<size_t>(pos), static_cast<size_t>(len), piece);
            break;
        case 3:
            s.Scat(src, srcLen, s.c_str(), n, src, srcLen);
            model = piece + model + piece;
            break;
        default:
            s.Assign(src, srcLen);
            model = piece;
            break;
        }
        ASSERT_EQ(std::string(s.c_str(), static_cast<size_t>(s.Length())), model)
            << "step " << step;
        ASSERT_TRUE(s.OK());
        if (block && s.Length() <= capacity) { // a block that is large enough is kept
            ASSERT_EQ(s.Rep(), block) << "step " << step;
        }
    }
}
