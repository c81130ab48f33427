// The code generator's rewrites: fused operand forms and folded constants give the values of
// plain arithmetic.
#include "kxfntesthelpers.h"

#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

TEST(KXExpressionTest, OperandFormsAgreeWithPlainArithmetic)
{
    // Each operator with stack, constant and parameter operands on either side.
    const std::initializer_list<std::pair<const char *, double>> p = {
        {"a", 3}, {"b", -2}, {"z", 0}, {"h", 0.5}};
    const struct {
        const char *text;
        double value;
    } cases[] = {
        {"a+b", 1},
        {"a-b", 5},
        {"a*b", -6},
        {"a/b", -1.5},
        {"a**b", 1.0 / 9},
        {"a+2", 5},
        {"a-2", 1},
        {"a*2", 6},
        {"a/2", 1.5},
        {"a**2", 9},
        {"2**a", 8},
        {"b**3", -8},
        {"(a+1)*(b-1)", -12},
        {"(a+1)/b", -2},
        {"(a+1)**2", 16},
        {"(a+1)-b", 6},
        {"1+(a+1)", 5},
        {"a**b**2", 81},
        {"-a**2", -9},
        {"a*a*a", 27},
        {"a > 2", 1},
        {"a < 2", 0},
        {"a >= 3", 1},
        {"a <= b", 0},
        {"a == 3", 1},
        {"a != 3", 0},
        {"(a+b) > (a-b)", 0},
        {"max(a, b, 7)", 7},
        {"min(a, b)", -2},
        {"max(a)", 3},
        {"if(a > 2, b, a)", -2},
        {"z*a", 0},
        {"2-a", -1},
        {"6/a", 2},
        {"2+a", 5},
        {"2*a", 6},
        {"max(a, 2)", 3},
        {"max(b, 2)", 2},
        {"min(a, 2)", 2},
        {"min(b, 2)", -2},
        {"1 + a*b", -5},
        {"1 - a*b", 7},
        {"1 + a*2", 7},
        {"1 - 2*a", -5},
        {"a*b + a*2 - b*b", -4},
        {"(a+b) - a*b*2", 13},
        {"if(a, 1, 2) + a*b", -5},
        {"4**h", 2},
        {"b < 0", 1},
        {"(a+b) == 1", 1},
        {"1 - (2 - a)", 2},
    };
    for (const auto &c : cases)
        EXPECT_DOUBLE_EQ(R(c.text, p), c.value) << c.text;
    for (const char *text : {"a/z", "a/0", "(a+1)/z", "(a+1)/(b+2)", "a/(z*2)", "1/z"})
        EXPECT_EQ(FaultR(text, p), "division by zero") << text;
    for (const char *text : {"b**0.5", "b**(a/2)", "(b-1)**0.5", "b**(1/a)", "(-2)**h", "b**h"})
        EXPECT_EQ(FaultR(text, p), "negative argument in non-integer power\n") << text;
}

TEST(KXExpressionTest, CompiledFormIsFoldedAndReused)
{
    KXExpressionR e;
    e.setExpression("sqrt(2*8) + max(1, 2, 3) * 2 / 2 + if(1 > 0, 5, sqrt(-1))");
    ASSERT_TRUE(e.Compile());
    EXPECT_TRUE(e.IsConstant());
    EXPECT_EQ(e.Evaluate(), 12.0);

    KXExpressionR f;
    f.setExpression("x * (2 + 3) + 4 * 5");
    f.DeclareParam("x", "", 0, -1);
    ASSERT_TRUE(f.Compile());
    EXPECT_EQ(f.ProgramSize(), 2); // x*5 pushed in one step, then +20
    for (int i = 0; i < 5; ++i) {
        f.GetParam(0).SetValue(i);
        EXPECT_EQ(f.Evaluate(), i * 5.0 + 20.0);
    }
    KXExpressionR copy(f);
    copy.GetParam(0).SetValue(10.0);
    EXPECT_EQ(copy.Evaluate(), 70.0);
    EXPECT_EQ(f.Evaluate(), 40.0);

    // A constant computation that fails is left to the evaluation, which reports it each time.
    KXExpressionR bad;
    bad.setExpression("1 + sqrt(-1)");
    error.reset();
    EXPECT_TRUE(bad.Compile());
    EXPECT_EQ(int(error), 0);
    bad.Evaluate();
    EXPECT_STREQ(error.chars(), "negative argument in sqrt\n");
    error.reset();

    // A failed compilation repeats its text at every evaluation; a new text recompiles.
    KXExpressionR broken;
    broken.setExpression("(1");
    broken.Evaluate();
    error.reset();
    EXPECT_EQ(broken.Evaluate(), 0.0);
    EXPECT_STREQ(error.chars(), "missing bracket\n");
    error.reset();
    broken.setExpression("1");
    EXPECT_EQ(broken.Evaluate(), 1.0);
}

// Division by a power of two becomes a multiplication by its exact reciprocal (and then fuses
// like any product); any other divisor still divides, so the value is the division's to the bit.
TEST(KXExpressionTest, DivisionByPowerOfTwoIsExact)
{
    const double values[] = {5.0, -7.25, 1e-310, 3e307, 0.1};
    for (double x : values) {
        EXPECT_EQ(R("x/4", {{"x", x}}), x / 4) << x;
        EXPECT_EQ(R("x/-0.5", {{"x", x}}), x / -0.5) << x;
        EXPECT_EQ(R("x/3", {{"x", x}}), x / 3) << x;
        EXPECT_EQ(R("x/0.1", {{"x", x}}), x / 0.1) << x;
        EXPECT_EQ(R("(x+1)/1024", {{"x", x}}), (x + 1) / 1024) << x;
        EXPECT_EQ(R("x/2e-320", {{"x", x}}), x / 2e-320) << x; // no exact reciprocal
    }
    EXPECT_EQ(R("a + w/2", {{"a", 1.0}, {"w", 3.0}}), 2.5);
    EXPECT_EQ(FaultR("x/0", {{"x", 1.0}}), "division by zero");

    KXExpressionR e;
    e.setExpression("a + w/2");
    e.DeclareParam("a", "", 0, -1);
    e.DeclareParam("w", "", 0, -1);
    ASSERT_TRUE(e.Compile());
    EXPECT_EQ(e.ProgramSize(), 2); // push a, then add w*0.5 to it
}

// A product made on the top by a parameter factor, added to or subtracted from the value below
// it in one step, rounds as the product and the sum done apart.
TEST(KXExpressionTest, ProductOnTheTopJoinsTheSum)
{
    const double a = 0.1, b = 0.7, x = 1.3;
    const std::initializer_list<std::pair<const char *, double>> p = {{"a", a}, {"b", b}, {"x", x}};
    const struct {
        const char *text;
        double value;
    } cases[] = {
        {"a + b*x*x", a + b * x * x},
        {"a - b*x*x", a - b * x * x},
        {"a + b*x*x + a*x*x*x", (a + b * x * x) + a * x * x * x},
        {"a*x - (a+b)*x", a * x - (a + b) * x},
        {"(a+b) + (a-b)*x*b", (a + b) + ((a - b) * x) * b},
        {"1 + 2*x*a", 1 + 2 * x * a},
    };
    for (const auto &c : cases)
        EXPECT_EQ(R(c.text, p), c.value) << c.text;
    KXExpressionR e;
    e.setExpression("a0 + a1*x + a2*x*x + a3*x*x*x");
    for (const char *name : {"a0", "a1", "a2", "a3", "x"})
        e.DeclareParam(name, "", 0, -1);
    ASSERT_TRUE(e.Compile());
    EXPECT_EQ(e.ProgramSize(), 7); // two products on the top join their sums
    const double v[5] = {1, 0.5, 0.25, 0.125, 1.3};
    EXPECT_EQ(e.Evaluate(v), v[0] + v[1] * v[4] + v[2] * v[4] * v[4] + v[3] * v[4] * v[4] * v[4]);

    // Complex values, and a fault before the fused step stops it.
    EXPECT_EQ(C("z + w*z*z", {{"z", Cx(1, 2)}, {"w", Cx(0.5, -1)}}),
              Cx(1, 2) + (Cx(0.5, -1) * Cx(1, 2)) * Cx(1, 2));
    EXPECT_EQ(FaultR("a + (b/(x-x))*x", p), "division by zero");
    EXPECT_EQ(FaultR("a - sqrt(-b)*x", p), "negative argument in sqrt\n");
}
