// Tests of the number/text conversions: the write formats, the scanning readers and the strict
// reader kxStringToNumber with its deliberate leniencies.
#include "kx/foundation/kxmath.h"
#include "kx/foundation/kxstring.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

using cx = std::complex<double>;

TEST(KXNumTextTest, WriteFormats)
{
    EXPECT_STREQ(numtoA(-12), "-12");
    EXPECT_STREQ(numtoA(0.1), "0.1");
    EXPECT_STREQ(numtoA(1.0 / 3), "0.3333333333333333");
    EXPECT_STREQ(numtoA(1e300), "1e+300");
    EXPECT_STREQ(numtoA(2.5f), "2.5");
    EXPECT_STREQ(numtoA(1.0f / 3), "0.333333");
    EXPECT_STREQ(numtoA(cx(1.5, -0.25)), "(1.5,-0.25)");
    EXPECT_STREQ(hexnumtoA(255), "ff");
    EXPECT_STREQ(hexnumtoA(-1), "ffffffff");

    EXPECT_STREQ(kxNumberToString(1.0 / 3), "0.33333333");
    EXPECT_STREQ(kxNumberToString(123456789.0), "1.2345679e+08");
    EXPECT_STREQ(kxNumberToString(0.5f), "0.5");
    EXPECT_STREQ(kxNumberToString(cx(1, -2)), "(1, -2)");

    EXPECT_STREQ(kxWriteNumber(1.5), "1.500000");
    EXPECT_STREQ(kxWriteNumber(0.25f), "0.250000");
    EXPECT_STREQ(kxWriteNumber(cx(1, -2)), "(1.000000, -2.000000)");

    // 16 significant digits: 1/3 survives a write and a scan back, 0.1 + 0.2 (which needs 17)
    // comes back as 0.3.
    EXPECT_EQ(atoD(numtoA(1.0 / 3)), 1.0 / 3);
    EXPECT_STREQ(numtoA(0.1 + 0.2), "0.3");
}

TEST(KXNumTextTest, ScanningReaders)
{
    int err = -1;
    EXPECT_EQ(atoD("  2.5e1xyz", err), 25.0);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(atoD("abc", err), 0.0);
    EXPECT_EQ(err, 1);
    EXPECT_EQ(atoD("", err), 0.0);
    EXPECT_EQ(err, 1);

    EXPECT_EQ(atoF("0.5", err), 0.5f);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(atoF("x", err), 0.0f);
    EXPECT_EQ(err, 1);

    EXPECT_EQ(atoI(" 42 apples", err), 42);
    EXPECT_EQ(err, 0);
    EXPECT_EQ(atoI("-", err), 0);
    EXPECT_EQ(err, 1);

    EXPECT_EQ(hexatoI("0x1A"), 26);
    EXPECT_EQ(hexatoI("ffffffff"), -1);
    err = 7;
    EXPECT_EQ(hexatoI("zz", err), 0);
    EXPECT_EQ(err, 0);   // never reports

    EXPECT_EQ(atoCx("(1.5,-2)", err), cx(1.5, -2));
    EXPECT_EQ(err, 0);
    EXPECT_EQ(atoCx(" (3, 4) trailing", err), cx(3, 4));
    EXPECT_EQ(err, 0);
    EXPECT_EQ(atoCx("(1,)", err), cx());
    EXPECT_EQ(err, 1);
    EXPECT_EQ(atoCx("1,2", err), cx());
    EXPECT_EQ(err, 1);
    EXPECT_EQ(atoD(nullptr, err), 0.0);
    EXPECT_EQ(err, 1);
}

TEST(KXNumTextTest, StrictDoubleReader)
{
    double v = 99;
    EXPECT_TRUE(kxStringToNumber("  -12.5e-3  ", v));
    EXPECT_TRUE(DoublesAreEqual(v, -0.0125, 1e-15));
    EXPECT_TRUE(kxStringToNumber("+7.25", v));
    EXPECT_EQ(v, 7.25);
    EXPECT_TRUE(kxStringToNumber("1E+2", v));
    EXPECT_TRUE(DoublesAreEqual(v, 100.0, 1e-12));
    EXPECT_TRUE(kxStringToNumber(".5", v));
    EXPECT_EQ(v, 0.5);
    EXPECT_TRUE(kxStringToNumber("1e308", v));
    EXPECT_TRUE(std::isfinite(v));
    EXPECT_TRUE(kxStringToNumber("1e-308", v));
    EXPECT_GT(v, 0.0);

    // Leniencies kept on purpose.
    v = 99;
    EXPECT_TRUE(kxStringToNumber(".", v));
    EXPECT_EQ(v, 0.0);
    v = 99;
    EXPECT_TRUE(kxStringToNumber("-.", v));
    EXPECT_EQ(v, 0.0);
    EXPECT_TRUE(kxStringToNumber("1e", v));
    EXPECT_EQ(v, 1.0);
    v = 99;
    EXPECT_TRUE(kxStringToNumber("- ", v));
    EXPECT_EQ(v, 0.0);
    EXPECT_TRUE(kxStringToNumber("3.e", v));
    EXPECT_EQ(v, 3.0);

    // Failures leave the value alone.
    v = 99;
    for (const char *bad : {"", "1 2", "1e309", "1e-309", "--1", "e5", "1.2.3", "+", "-", " ",
                            "1-", "1e5e", "1ee", "1e+-2", "1x", "\t1", "1 .", "nan", "inf",
                            "1,5"}) {
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
    int i = -5;
    EXPECT_FALSE(kxStringToNumber("3e9", i));
    EXPECT_EQ(i, -5);
    EXPECT_TRUE(kxStringToNumber("2.5", i));
    EXPECT_EQ(i, 3);
    EXPECT_TRUE(kxStringToNumber("-2.5", i));
    EXPECT_EQ(i, -3);
    EXPECT_TRUE(kxStringToNumber("2147483647", i));
    EXPECT_EQ(i, 2147483647);
    EXPECT_TRUE(kxStringToNumber("-2147483647", i));
    EXPECT_EQ(i, -2147483647);
    EXPECT_FALSE(kxStringToNumber("-2147483648", i));
    EXPECT_FALSE(kxStringToNumber("abc", i));

    float f = 0;
    EXPECT_TRUE(kxStringToNumber("0.25", f));
    EXPECT_EQ(f, 0.25f);
    EXPECT_TRUE(kxStringToNumber("1e300", f));
    EXPECT_TRUE(std::isinf(f));
    f = 3;
    EXPECT_FALSE(kxStringToNumber("x", f));
    EXPECT_EQ(f, 3.0f);

    cx z(9, 9);
    EXPECT_TRUE(kxStringToNumber("3", z));
    EXPECT_EQ(z, cx(3, 0));
    EXPECT_TRUE(kxStringToNumber("(1,2)", z));
    EXPECT_EQ(z, cx(1, 2));
    EXPECT_TRUE(kxStringToNumber("  ( 1.5 , -2e3 )  ", z));
    EXPECT_TRUE(DoublesAreEqual(z.real(), 1.5) && DoublesAreEqual(z.imag(), -2000.0));
    z = cx(9, 9);
    for (const char *bad : {"(1,2", "(1,2)x", "x(1,2)", "(1)", "(,2)", "(1,)", "(1,2,3)",
                            "(1 2,3)", "((1,2))", "", "1,2"}) {
        EXPECT_FALSE(kxStringToNumber(bad, z)) << '"' << bad << '"';
        EXPECT_EQ(z, cx(9, 9)) << bad;
    }
}

TEST(KXNumTextTest, ComplexToNumber)
{
    int i = 0;
    kxComplexToNumber(cx(2.5, 7), i);
    EXPECT_EQ(i, 3);
    kxComplexToNumber(cx(-3e10, 0), i);
    EXPECT_EQ(i, -2147483647);
    kxComplexToNumber(cx(3e10, 0), i);
    EXPECT_EQ(i, 2147483647);
    kxComplexToNumber(cx(NAN, 0), i);
    EXPECT_EQ(i, 0);
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
