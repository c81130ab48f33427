// Tests of the number/text conversions: the write formats, the scanning readers and the strict
// reader kxStringToNumber with its deliberate leniencies.
#include "kx/foundation/kxmath.h"
#include "kx/foundation/kxstring.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

using cx = std::complex<double>;

namespace {

/// A scanning reader's value and error flag.
template <class T>
std::pair<T, int> Scan(T (*reader)(const char *, int &), const char *text)
{
    int err = -1;
    const T value = reader(text, err);
    return {value, err};
}

} // namespace

TEST(KXNumTextTest, WriteFormats)
{
    const std::pair<KXString, const char *> written[] = {
        {numtoA(-12), "-12"},
        {numtoA(0.1), "0.1"},
        {numtoA(1.0 / 3), "0.3333333333333333"},
        {numtoA(1e300), "1e+300"},
        {numtoA(2.5f), "2.5"},
        {numtoA(1.0f / 3), "0.333333"},
        {numtoA(cx(1.5, -0.25)), "(1.5,-0.25)"},
        {hexnumtoA(255), "ff"},
        {hexnumtoA(-1), "ffffffff"},
        {kxNumberToString(1.0 / 3), "0.33333333"},
        {kxNumberToString(123456789.0), "1.2345679e+08"},
        {kxNumberToString(1.0f / 3), "0.33333334"},
        {kxNumberToString(cx(1, -2)), "(1, -2)"},
        {kxNumberToString(-7), "-7"},
        {kxWriteNumber(1.5), "1.500000"},
        {kxWriteNumber(0.25f), "0.250000"},
        {kxWriteNumber(cx(1, -2)), "(1.000000, -2.000000)"},
        {kxWriteNumber(7), "7"},
        // 16 significant digits: 0.1 + 0.2 (which needs 17) comes back as 0.3.
        {numtoA(0.1 + 0.2), "0.3"}};
    for (const auto &w : written)
        EXPECT_STREQ(w.first, w.second);
    EXPECT_EQ(atoD(numtoA(1.0 / 3)), 1.0 / 3); // survives a write and a scan back
}

TEST(KXNumTextTest, ScanningReaders)
{
    // Leading blanks are skipped and trailing text ignored; the flag says whether a field converted.
    EXPECT_EQ(Scan(atoD, "  2.5e1xyz"), std::make_pair(25.0, 0));
    EXPECT_EQ(Scan(atoD, "abc"), std::make_pair(0.0, 1));
    EXPECT_EQ(Scan(atoD, ""), std::make_pair(0.0, 1));
    EXPECT_EQ(Scan(atoD, nullptr), std::make_pair(0.0, 1));
    EXPECT_EQ(Scan(atoF, "0.5"), std::make_pair(0.5f, 0));
    EXPECT_EQ(Scan(atoF, "x"), std::make_pair(0.0f, 1));
    EXPECT_EQ(Scan(atoI, " 42 apples"), std::make_pair(42, 0));
    EXPECT_EQ(Scan(atoI, "-"), std::make_pair(0, 1));
    EXPECT_EQ(hexatoI("0x1A"), 26);
    EXPECT_EQ(hexatoI("ffffffff"), -1);
    EXPECT_EQ(Scan(hexatoI, "zz"), std::make_pair(0, 0)); // never reports
    EXPECT_EQ(Scan(atoCx, "(1.5,-2)"), std::make_pair(cx(1.5, -2), 0));
    EXPECT_EQ(Scan(atoCx, " (3, 4) trailing"), std::make_pair(cx(3, 4), 0));
    EXPECT_EQ(Scan(atoCx, "(1,)"), std::make_pair(cx(), 1));
    EXPECT_EQ(Scan(atoCx, "1,2"), std::make_pair(cx(), 1));
}

TEST(KXNumTextTest, StrictDoubleReader)
{
    // The last five are leniencies kept on purpose: a point alone, a sign and a point, a bare
    // exponent letter, a sign followed by a blank.
    const std::pair<const char *, double> good[] = {{"  -12.5e-3  ", -0.0125},
                                                    {"+7.25", 7.25},
                                                    {"1E+2", 100.0},
                                                    {".5", 0.5},
                                                    {"1e308", 1e308},
                                                    {"1e-308", 1e-308},
                                                    {".", 0.0},
                                                    {"-.", 0.0},
                                                    {"1e", 1.0},
                                                    {"- ", 0.0},
                                                    {"3.e", 3.0}};
    for (const auto &g : good) {
        double v = 99;
        EXPECT_TRUE(kxStringToNumber(g.first, v)) << '"' << g.first << '"';
        EXPECT_LE(std::fabs(v - g.second), 1e-12 * std::fabs(g.second)) << g.first;
    }

    // Failures leave the value alone.
    double v = 99;
    for (const char *bad :
         {"",   "1 2",  "1e309", "1e-309", "--1", "e5",  "1.2.3", "+",   "-",   " ",
          "1-", "1e5e", "1ee",   "1e+-2",  "1x",  "\t1", "1 .",   "nan", "inf", "1,5"}) {
        EXPECT_FALSE(kxStringToNumber(bad, v)) << '"' << bad << '"';
        EXPECT_EQ(v, 99.0) << bad;
    }
    EXPECT_FALSE(kxStringToNumber(static_cast<const char *>(nullptr), v));

    // Very long digit runs overflow to infinity rather than failing or misbehaving.
    EXPECT_TRUE(kxStringToNumber(std::string(400, '9').c_str(), v));
    EXPECT_TRUE(std::isinf(v));
    EXPECT_FALSE(kxStringToNumber(("1e" + std::string(40, '9')).c_str(), v));
}

TEST(KXNumTextTest, StrictIntFloatComplexReaders)
{
    // Integers: the double reader, then the range +-2147483647, then the nearest integer.
    const std::pair<const char *, int> ints[] = {
        {"2.5", 3}, {"-2.5", -3}, {"2147483647", 2147483647}, {"-2147483647", -2147483647}};
    for (const auto &in : ints) {
        int i = 0;
        EXPECT_TRUE(kxStringToNumber(in.first, i));
        EXPECT_EQ(i, in.second) << in.first;
    }
    int i = -5;
    for (const char *bad : {"3e9", "-2147483648", "abc"})
        EXPECT_FALSE(kxStringToNumber(bad, i)) << bad;
    EXPECT_EQ(i, -5);

    float f = 3;
    EXPECT_FALSE(kxStringToNumber("x", f));
    EXPECT_EQ(f, 3.0f);
    EXPECT_TRUE(kxStringToNumber("0.25", f) && f == 0.25f);
    EXPECT_TRUE(kxStringToNumber("1e300", f) && std::isinf(f));

    cx z(9, 9);
    EXPECT_TRUE(kxStringToNumber("3", z) && z == cx(3, 0));
    EXPECT_TRUE(kxStringToNumber("(1,2)", z) && z == cx(1, 2));
    EXPECT_TRUE(kxStringToNumber("  ( 1.5 , -2e3 )  ", z));
    EXPECT_TRUE(DoublesAreEqual(z.real(), 1.5) && DoublesAreEqual(z.imag(), -2000.0));
    z = cx(9, 9);
    for (const char *bad : {"(1,2", "(1,2)x", "x(1,2)", "x1,2)", "(1)", "(,2)", "(1,)", "(1,2,3)",
                            "(1 2,3)", "((1,2))", "", "1,2"}) {
        EXPECT_FALSE(kxStringToNumber(bad, z)) << '"' << bad << '"';
        EXPECT_EQ(z, cx(9, 9)) << bad;
    }
}

TEST(KXNumTextTest, ComplexToNumber)
{
    // To int: the real part clamped to +-2147483647, else the nearest integer (NaN gives 0).
    const std::pair<cx, int> ints[] = {
        {cx(2.5, 7), 3}, {cx(-3e10, 0), -2147483647}, {cx(3e10, 0), 2147483647}, {cx(NAN, 0), 0}};
    for (const auto &in : ints) {
        int i = -1;
        kxComplexToNumber(in.first, i);
        EXPECT_EQ(i, in.second) << in.first;
    }
    float f = 0;
    kxComplexToNumber(cx(1.25, 9), f);
    EXPECT_EQ(f, 1.25f);
    double d = 0;
    kxComplexToNumber(cx(-4.5, 9), d);
    EXPECT_EQ(d, -4.5);
    cx z;
    kxComplexToNumber(cx(1, 2), z);
    EXPECT_EQ(z, cx(1, 2));
}
