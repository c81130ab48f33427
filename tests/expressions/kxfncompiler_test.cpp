// The compiler: syntax, precedence, brackets, faults of the text and the limits of a program.
#include "kxfntesthelpers.h"

#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

TEST(KXExpressionTest, NumbersNamesAndExponents)
{
    EXPECT_EQ(R("1e5"), 100000.0);
    EXPECT_EQ(R("2.5e-3"), 0.0025);
    EXPECT_EQ(R("1E+2"), 100.0);
    EXPECT_EQ(R(".5 + 5."), 5.5);
    EXPECT_EQ(R("x2e-3", {{"x2e", 10}}), 7.0); // a name, then a subtraction
    EXPECT_EQ(R("a*2e-3", {{"a", 1000}}), 2.0);
    EXPECT_EQ(R("a - 2e-3", {{"a", 1}}), 0.998);
    EXPECT_EQ(R("(2e-3)*1000"), 2.0);
    EXPECT_EQ(R("a_2 + B9", {{"a_2", 1}, {"B9", 2}}), 3.0);
    EXPECT_DOUBLE_EQ(R("_PI"), 3.141592653589793);
    EXPECT_EQ(FaultR("PI"), "undefined variable \"PI\"\n");
    EXPECT_EQ(R("PI", {{"PI", 3}}), 3.0);
    EXPECT_EQ(FaultR("_x"), "undefined variable \"_x\"\n");
    for (const char *bad :
         {"2x", "1e", "1.2.3", ".", "1e5x", "a b", "", "   ", "$", "(a)(b)", "a,b", "!a", "2 3"})
        EXPECT_EQ(FaultR(bad, {{"a", 1}, {"b", 1}}), "parse error\n") << bad;
}

TEST(KXExpressionTest, SplittingAndPrecedence)
{
    EXPECT_EQ(R("10-4-3"), 3.0);
    EXPECT_EQ(R("64/4/2"), 8.0);
    EXPECT_EQ(R("2+3*4"), 14.0);
    EXPECT_EQ(R("2*3+4"), 10.0);
    EXPECT_EQ(R("12/3*2"), 8.0);
    EXPECT_EQ(R("(2+3)*4"), 20.0);
    EXPECT_EQ(R("-3+5"), 2.0);
    EXPECT_EQ(R("+3"), 3.0);
    EXPECT_EQ(R("2*-3"), -6.0);
    EXPECT_EQ(R("2/-4"), -0.5);
    EXPECT_EQ(R("a * -b", {{"a", 2}, {"b", 3}}), -6.0);
    EXPECT_EQ(R("-(1-3)"), 2.0);
    EXPECT_EQ(R("2*+-x", {{"x", 3}}), -6.0); // after "*" and "+" the signs are unary
    EXPECT_EQ(R("+-+-x", {{"x", 3}}), 3.0);
    EXPECT_EQ(FaultR("2*-+x", {{"x", 3}}), "parse error\n"); // "+" after "-" is binary
    EXPECT_EQ(R("-x**2", {{"x", 3}}), -9.0);
    // "**" binds tighter than "*", "/" and a leading sign, and groups from the right.
    EXPECT_EQ(R("2**3"), 8.0);
    EXPECT_EQ(R("2*3**2"), 18.0);
    EXPECT_EQ(R("2**3*2"), 16.0);
    EXPECT_EQ(R("-2**2"), -4.0);
    EXPECT_EQ(R("2**3**2"), 512.0);
    EXPECT_EQ(R("2**-1"), 0.5);
    EXPECT_EQ(R("(-2)**2"), 4.0);
    EXPECT_EQ(R("pow(2, 10)"), 1024.0);
    EXPECT_EQ(R("x**2", {{"x", -3}}), 9.0);
    EXPECT_DOUBLE_EQ(R("x**y", {{"x", 2}, {"y", 0.5}}), std::sqrt(2.0));
    // Signs that are not binary operators by the rules stay part of their operand; those
    // that then leave a side without an operand are parse errors.
    EXPECT_EQ(FaultR("a+-b", {{"a", 1}, {"b", 1}}), "parse error\n");
    EXPECT_EQ(FaultR("a--b", {{"a", 1}, {"b", 1}}), "parse error\n");
    EXPECT_EQ(FaultR("a-"), "parse error\n");
    EXPECT_EQ(FaultR("*a", {{"a", 1}}), "parse error\n");
    EXPECT_EQ(FaultR("a*", {{"a", 1}}), "parse error\n");
    EXPECT_EQ(FaultR("a***b", {{"a", 1}, {"b", 1}}), "parse error\n");
}

TEST(KXExpressionTest, ComparisonsAndEquations)
{
    EXPECT_EQ(R("1 < 2"), 1.0);
    EXPECT_EQ(R("2 < 1"), 0.0);
    EXPECT_EQ(R("2 > 1"), 1.0);
    EXPECT_EQ(R("2 <= 2"), 1.0);
    EXPECT_EQ(R("2 >= 3"), 0.0);
    EXPECT_EQ(R("2 == 2"), 1.0);
    EXPECT_EQ(R("2 != 2"), 0.0);
    EXPECT_EQ(R("1+1 == 2"), 1.0);
    EXPECT_EQ(R("a<-b", {{"a", -3}, {"b", 2}}), 1.0);
    EXPECT_EQ(R("1 < 2 < 3"), 1.0); // (1<2) < 3
    EXPECT_EQ(R("3 > 2 > 1"), 0.0); // (3>2) > 1
    // A single "=" gives the residual of its two sides.
    EXPECT_EQ(R("a*2 = 3+b", {{"a", 5}, {"b", 1}}), 6.0);
    EXPECT_EQ(R("a = b = c", {{"a", 10}, {"b", 4}, {"c", 1}}), 7.0);
    EXPECT_EQ(R("(a==b) = 1", {{"a", 2}, {"b", 2}}), 0.0);
    EXPECT_EQ(FaultR("a =", {{"a", 1}}), "parse error\n");
    EXPECT_EQ(FaultR("= a"), "parse error\n");
}

TEST(KXExpressionTest, ErrorCodes)
{
    // Faults of the text carry the syntax code, faults of an evaluation the generic one.
    const struct {
        const char *text;
        int code;
    } cases[] = {{"(1", kxErrSyntax},       {"1 +", kxErrSyntax},       {"nope", kxErrSyntax},
                 {"nope(1)", kxErrSyntax},  {"sin(1, 2)", kxErrSyntax}, {"sqrt(-x)", kxErrGeneric},
                 {"1/(x-1)", kxErrGeneric}, {"ln(x-1)", kxErrGeneric}};
    for (const auto &c : cases) {
        error.reset();
        KXExpressionR e;
        e.setExpression(c.text);
        e.DeclareParam("x", "", 0, -1);
        e.GetParam(0).SetValue(1.0);
        EXPECT_EQ(e.Evaluate(), 0.0) << c.text;
        EXPECT_EQ(int(error), c.code) << c.text;
    }
    error.reset();
}

TEST(KXExpressionTest, Brackets)
{
    EXPECT_EQ(FaultR("(1+2"), "missing bracket\n");
    EXPECT_EQ(FaultR("1+2)"), "missing bracket\n");
    EXPECT_EQ(FaultR("sin(1"), "missing bracket\n");
    EXPECT_EQ(FaultR("v[1"), "missing square bracket\n");
    EXPECT_EQ(FaultR("v1]"), "missing square bracket\n");
    EXPECT_EQ(FaultR("(v[1)]"), "missing square bracket\n");
    EXPECT_EQ(FaultR("()"), "parse error\n");
    EXPECT_EQ(R("((((3))))"), 3.0);
    EXPECT_EQ(R("( 1 + 2 ) * ( 3 )"), 9.0);
}

TEST(KXExpressionTest, LimitsEndWithTooComplicated)
{
    std::string nested(100000, '(');
    nested += "1";
    nested += std::string(100000, ')');
    EXPECT_EQ(FaultR(nested.c_str()), "expression too complicated\n");
    // The last sign of a run splits off the operand; the run before it is left without one.
    std::string signs(100000, '-');
    signs += "1";
    EXPECT_EQ(FaultR(signs.c_str()), "parse error\n");
    std::string powers = "2";
    for (int i = 0; i < 1000; ++i)
        powers += "**1";
    EXPECT_EQ(FaultR(powers.c_str()), "expression too complicated\n");
    std::string args = "max(x";
    for (int i = 0; i < 2000; ++i)
        args += ",x";
    args += ")";
    EXPECT_EQ(FaultR(args.c_str(), {{"x", 1}}), "expression too complicated\n");
    std::string sum = "x";
    for (int i = 0; i < 20000; ++i)
        sum += "+x*x";
    EXPECT_EQ(FaultR(sum.c_str(), {{"x", 1}}), "expression too complicated\n");
    // A long flat chain within the limits compiles without deep recursion.
    std::string chain = "x";
    for (int i = 0; i < 5000; ++i)
        chain += "+x";
    EXPECT_EQ(R(chain.c_str(), {{"x", 1}}), 5001.0);
}
