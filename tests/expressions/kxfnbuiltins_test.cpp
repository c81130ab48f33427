// The built-in functions: domain errors, lininterp, spline and the complex variant.
#include "kxfntesthelpers.h"

#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

TEST(KXExpressionTest, FunctionsAndDomainErrors)
{
    EXPECT_EQ(R("sqrt(16)"), 4.0);
    EXPECT_EQ(FaultR("sqrt(-1)"), "negative argument in sqrt\n");
    EXPECT_EQ(R("sign(-2) + sign(0) * 10 + sign(5) * 100"), 99.0);
    EXPECT_EQ(R("abs(-2.5)"), 2.5);
    EXPECT_DOUBLE_EQ(R("exp(1)"), std::exp(1.0));
    EXPECT_DOUBLE_EQ(R("sin(_PI/6)"), std::sin(3.141592653589793 / 6));
    EXPECT_DOUBLE_EQ(R("cos(x)+tan(x)", {{"x", 0.3}}), std::cos(0.3) + std::tan(0.3));
    EXPECT_DOUBLE_EQ(R("sinh(x)+cosh(x)+tanh(x)", {{"x", 0.7}}),
                     std::sinh(0.7) + std::cosh(0.7) + std::tanh(0.7));
    EXPECT_DOUBLE_EQ(R("ln(x)", {{"x", 10}}), std::log(10.0));
    EXPECT_DOUBLE_EQ(R("log10(1000)"), 3.0);
    EXPECT_DOUBLE_EQ(R("asin(x)+acos(x)+atan(x)", {{"x", 0.5}}),
                     std::asin(0.5) + std::acos(0.5) + std::atan(0.5));
    EXPECT_EQ(FaultR("ln(0)"), "DOMAIN error in function \"ln\"\n");
    EXPECT_EQ(FaultR("ln(x)", {{"x", -1}}), "DOMAIN error in function \"ln\"\n");
    EXPECT_EQ(FaultR("log10(-1)"), "DOMAIN error in function \"log10\"\n");
    EXPECT_EQ(FaultR("asin(1.5)"), "DOMAIN error in function \"asin\"\n");
    EXPECT_EQ(FaultR("acos(x)", {{"x", -2}}), "DOMAIN error in function \"acos\"\n");
    EXPECT_EQ(FaultR("(-8)**(1/3)"), "negative argument in non-integer power\n");
    EXPECT_EQ(FaultR("pow(x, 0.5)", {{"x", -1}}), "negative argument in non-integer power\n");
    EXPECT_EQ(R("pow(-2, 3)"), -8.0);
    EXPECT_EQ(FaultR("1/0"), "division by zero");
    EXPECT_EQ(FaultR("1/x", {{"x", 0}}), "division by zero");
    EXPECT_EQ(FaultR("x/(x-x)", {{"x", 1}}), "division by zero");
    EXPECT_EQ(R("max(3, 7, -1)"), 7.0);
    EXPECT_EQ(R("min(3, x, -1)", {{"x", -5}}), -5.0);
    EXPECT_EQ(R("max(x)", {{"x", 2}}), 2.0);
    EXPECT_EQ(FaultR("max()"), "too few arguments in function \"max\"\n");
    EXPECT_EQ(FaultR("min()"), "too few arguments in function \"min\"\n");
    EXPECT_EQ(FaultR("foo(1)"), "undefined function \"foo\"\n");
    EXPECT_EQ(FaultR("x(1)", {{"x", 1}}), "undefined function \"x\"\n");
    EXPECT_EQ(FaultR("sin(1, 2)"), "wrong number of arguments in function \"sin\"\n");
    EXPECT_EQ(FaultR("pow(1)"), "wrong number of arguments in function \"pow\"\n");
    EXPECT_EQ(FaultR("sin()"), "wrong number of arguments in function \"sin\"\n");
    EXPECT_EQ(FaultR("sin(1,)"), "parse error\n");
    // The first fault stops the evaluation: no second text is appended.
    EXPECT_EQ(FaultR("sqrt(-x) + 1/y", {{"x", 1}, {"y", 0}}), "negative argument in sqrt\n");
}

TEST(KXExpressionTest, LinInterp)
{
    EXPECT_EQ(R("lininterp(2, 0, 0, 1, 10)"), 20.0);
    EXPECT_EQ(R("lininterp(0.5, 0, 0, 1, 10, 2, 30)"), 5.0);
    EXPECT_EQ(R("lininterp(1.5, 0, 0, 1, 10, 2, 30)"), 20.0);
    EXPECT_EQ(R("lininterp(-1, 0, 0, 1, 10, 2, 30)"), -10.0); // first segment extended
    EXPECT_EQ(R("lininterp(3, 0, 0, 1, 10, 2, 30)"), 50.0);   // last segment extended
    EXPECT_EQ(R("lininterp(x, 0, 0, 1, 10, 2, 30)", {{"x", 1}}), 10.0);
    EXPECT_EQ(FaultR("lininterp(1, 0, 0)"), "too few arguments in function \"lininterp\"\n");
    EXPECT_EQ(FaultR("lininterp(1, 0, 0, 1, 1, 2)"),
              "wrong number of arguments in function \"lininterp\"\n");
    // Faulty abscissae are reported once per fault; the interpolation still gives its value and
    // the evaluation goes on.
    Result r = EvalR("lininterp(x, 0, 0, 2, 20, 1, 10)", {{"x", 0.5}});
    EXPECT_EQ(r.fault, "the x-arguments must be monotonically increasing");
    EXPECT_EQ(r.value, 5.0);
    Result on = EvalR("1 + lininterp(x, 0, 0, 2, 20, 1, 10) * 2", {{"x", 0.5}});
    EXPECT_EQ(on.fault, "the x-arguments must be monotonically increasing");
    EXPECT_EQ(on.value, 11.0);
    Result hard = EvalR("1 + lininterp(x, 0, 0)", {{"x", 0.5}});
    EXPECT_EQ(hard.fault, "too few arguments in function \"lininterp\"\n");
    EXPECT_EQ(hard.value, 0.0);
    Result twice = EvalR("lininterp(x, 3, 0, 2, 20, 1, 10)", {{"x", 0.5}});
    EXPECT_EQ(twice.fault, "the x-arguments must be monotonically increasingthe x-arguments must "
                           "be monotonically increasing");
    double table[] = {0.5, 0, 0, 2, 20, 1, 10};
    error.reset();
    const double direct =
        kxGetRealParser().FindFunction("lininterp", 9)->routine(ParListR(table, 7));
    EXPECT_EQ(direct, 5.0);
    EXPECT_STREQ(error.chars(), "the x-arguments must be monotonically increasing");
    error.reset();
}

TEST(KXExpressionTest, Spline)
{
    // Through points of a straight line the natural spline is that line, also outside.
    EXPECT_DOUBLE_EQ(R("spline(x, 0, 1, 1, 3, 2, 5, 4, 9)", {{"x", 2.5}}), 6.0);
    EXPECT_DOUBLE_EQ(R("spline(x, 0, 1, 1, 3, 2, 5, 4, 9)", {{"x", -2}}), -3.0);
    EXPECT_DOUBLE_EQ(R("spline(x, 0, 1, 1, 3, 2, 5, 4, 9)", {{"x", 6}}), 13.0);
    // Natural spline through (0,0) (1,1) (2,0): m1 = -3, value at 0.5 is 0.6875.
    EXPECT_DOUBLE_EQ(R("spline(0.5, 0, 0, 1, 1, 2, 0)"), 0.6875);
    EXPECT_DOUBLE_EQ(R("spline(x, 0, 0, 1, 1, 2, 0)", {{"x", 0.5}}), 0.6875);
    EXPECT_DOUBLE_EQ(R("spline(x, 0, 0, 1, y, 2, 0)", {{"x", 0.5}, {"y", 1}}), 0.6875);
    EXPECT_DOUBLE_EQ(R("spline(x, 0, 0, 1, 1, 2, 0)", {{"x", 1}}), 1.0);
    // Beyond the ends: the end slope (1.5 at x = 0).
    EXPECT_DOUBLE_EQ(R("spline(-1, 0, 0, 1, 1, 2, 0)"), -1.5);
    EXPECT_EQ(FaultR("spline(1, 0, 0)"), "too few arguments in function \"spline\"\n");
    EXPECT_EQ(FaultR("spline(1, 0, 0, 1)"), "too few arguments in function \"spline\"\n");
    EXPECT_EQ(FaultR("spline(1, 0, 0, 1, 1, 2)"),
              "wrong number of arguments in function \"spline\"\n");
    EXPECT_EQ(FaultR("spline(x, 0, 0, 2, 1, 1, 0)", {{"x", 1}}),
              "spline: the x-arguments must be monotonically increasing");
    EXPECT_EQ(FaultR("spline(x, 0, 0, 0, 1)", {{"x", 1}}),
              "spline: the x-arguments must be monotonically increasing");
    // A long table (beyond the stack scratch) gives the same line.
    std::string text = "spline(x";
    for (int i = 0; i < 300; ++i)
        text += ", " + std::to_string(i) + ", y*" + std::to_string(2 * i);
    text += ")";
    EXPECT_DOUBLE_EQ(R(text.c_str(), {{"x", 100.25}, {"y", 1}}), 200.5);
}

TEST(KXExpressionCTest, ComplexVariant)
{
    EXPECT_EQ(C("sqrt(-4)"), Cx(0, 2));
    EXPECT_EQ(C("(-2)**2"), Cx(4, 0));
    EXPECT_EQ(C("-2**2"), Cx(-4, 0));
    EXPECT_EQ(C("real(z) + imag(z)*10", {{"z", Cx(1, 2)}}), Cx(21, 0));
    EXPECT_DOUBLE_EQ(C("arg(z)", {{"z", Cx(0, 1)}}).real(), 3.141592653589793 / 2);
    EXPECT_EQ(C("abs(z)", {{"z", Cx(3, 4)}}), Cx(5, 0));
    EXPECT_EQ(C("z*z", {{"z", Cx(0, 1)}}), Cx(-1, 0));
    EXPECT_EQ(C("z/w", {{"z", Cx(0, 2)}, {"w", Cx(0, 1)}}), Cx(2, 0));
    const Cx n = C("sqrt(eps)", {{"eps", Cx(-1, 0)}});
    EXPECT_NEAR(n.real(), 0.0, 1e-15);
    EXPECT_NEAR(n.imag(), 1.0, 1e-15);
    Cx lnm = C("ln(-1)");
    EXPECT_DOUBLE_EQ(lnm.imag(), 3.141592653589793);
    EXPECT_EQ(FaultC("ln(0)"), "DOMAIN error in function \"ln\"\n");
    EXPECT_EQ(FaultC("log10(0)"), "DOMAIN error in function \"log10\"\n");
    EXPECT_EQ(FaultC("1/0"), "division by zero");
    // Comparisons, max/min and if conditions read real parts.
    EXPECT_EQ(C("z > 1", {{"z", Cx(2, -5)}}), Cx(1, 0));
    EXPECT_EQ(C("if(z, 1, 2)", {{"z", Cx(0, 3)}}), Cx(2, 0));
    EXPECT_EQ(C("max(1, 3, 2)"), Cx(3, 0));
    EXPECT_EQ(FaultC("max(1, sqrt(-1))"), "cannot pass complex number to function \"max\"\n");
    EXPECT_EQ(FaultC("min(sqrt(-1))"), "cannot pass complex number to function \"min\"\n");
    EXPECT_EQ(FaultC("min()"), "too few arguments in function \"min\"\n");
    EXPECT_EQ(FaultC("max(z, 1)", {{"z", Cx(1, 1)}}),
              "cannot pass complex number to function \"max\"\n");
    EXPECT_EQ(FaultC("min(z, 1)", {{"z", Cx(1, 1)}}),
              "cannot pass complex number to function \"min\"\n");
    EXPECT_EQ(FaultC("max(z, w, 1)", {{"z", Cx(1, 0)}, {"w", Cx(0, 1)}}),
              "cannot pass complex number to function \"max\"\n");
    EXPECT_EQ(C("min(z, 1)", {{"z", Cx(3, 0)}}), Cx(1, 0));
    EXPECT_EQ(FaultC("lininterp(z, 0, 0, 1, 1)", {{"z", Cx(0.5, 1)}}),
              "cannot pass complex number in this position to function \"lininterp\"\n");
    // lininterp: positions must be real, ordinates may be complex.
    EXPECT_EQ(C("lininterp(0.5, 0, 0, 1, z)", {{"z", Cx(2, 4)}}), Cx(1, 2));
    EXPECT_EQ(FaultC("lininterp(sqrt(-1), 0, 0, 1, 1)"),
              "cannot pass complex number in this position to function \"lininterp\"\n");
    EXPECT_EQ(FaultC("lininterp(0, 0, 0, sqrt(-1), 1)"),
              "cannot pass complex number in this position to function \"lininterp\"\n");
    // spline: real and imaginary parts splined separately (constant and variable tables).
    const Cx s = C("spline(x, 0, 0, 1, z, 2, 0)", {{"x", Cx(0.5, 0)}, {"z", Cx(1, 2)}});
    EXPECT_DOUBLE_EQ(s.real(), 0.6875);
    EXPECT_DOUBLE_EQ(s.imag(), 1.375);
    const Cx t = C("spline(x, 0, 0, 1, 1+2*sqrt(-1), 2, 0)", {{"x", Cx(0.5, 0)}});
    EXPECT_DOUBLE_EQ(t.real(), 0.6875);
    EXPECT_DOUBLE_EQ(t.imag(), 1.375);
    EXPECT_EQ(C("lininterp(2, 0, 0, 1, 10)"), Cx(20, 0));
}

// A constant increasing table is prepared once; it gives what the table read at each call gives
// (the second form has a parameter in its table), on the knots, between, outside and for NaN.
TEST(KXExpressionTest, PreparedLinInterpTableAgrees)
{
    const char *tables[][2] = {
        {"lininterp(x, 0, 0, 1, 1.2, 2, 2.1, 3, 2.7, 4, 3.1)",
         "lininterp(x, 0, 0, 1, 1.2, 2, 2.1, 3, 2.7, 4, k)"},
        {"lininterp(x, -1, 5, 2, -3)", "lininterp(x, -1, 5, 2, k)"},
        {"lininterp(x, 0.5, 1, 0.75, 2, 10, -4)", "lininterp(x, 0.5, 1, 0.75, 2, 10, k)"},
    };
    const double last[] = {3.1, -3, -4};
    for (int t = 0; t < 3; ++t) {
        KXExpressionR prepared;
        KXExpressionR general;
        prepared.setExpression(tables[t][0]);
        general.setExpression(tables[t][1]);
        prepared.DeclareParam("x", "", 0, -1);
        general.DeclareParam("x", "", 0, -1);
        general.DeclareParam("k", "", 0, -1);
        ASSERT_TRUE(prepared.Compile());
        EXPECT_EQ(prepared.ProgramSize(), 2) << tables[t][0]; // the table is prepared
        for (double x : {-7.0, -1.0, 0.0, 0.25, 0.5, 0.6, 0.75, 1.0, 1.5, 2.0, 3.999, 4.0, 9.5,
                         12.0, std::nan("")}) {
            const double pv[1] = {x};
            const double gv[2] = {x, last[t]};
            const double a = prepared.Evaluate(pv);
            const double b = general.Evaluate(gv);
            if (std::isnan(x))
                EXPECT_EQ(std::isnan(a), std::isnan(b)) << tables[t][0];
            else
                EXPECT_EQ(a, b) << tables[t][0] << " at " << x;
        }
    }
    EXPECT_STREQ(error.chars(), "");
}
