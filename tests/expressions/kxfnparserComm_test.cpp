#include "kx/expressions/kxfnparser.h"

#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

using Cx = std::complex<double>;

namespace {

// Compiles and evaluates a real formula with the given parameters; the error text (if any) is
// left in `fault` and the error record cleared.
struct Result {
    double value;
    std::string fault;
};

Result EvalR(const char *text, std::initializer_list<std::pair<const char *, double>> params = {})
{
    error.reset();
    KXExpressionR e;
    e.setExpression(text);
    for (const auto &p : params)
        e.DeclareParam(p.first, "", 0, -1);
    for (const auto &p : params)
        e.GetParam(e.FindParam(p.first)).SetValue(p.second);
    Result r{e.Evaluate(), error.chars()};
    error.reset();
    return r;
}

double R(const char *text, std::initializer_list<std::pair<const char *, double>> params = {})
{
    Result r = EvalR(text, params);
    EXPECT_EQ(r.fault, "") << text;
    return r.value;
}

std::string FaultR(const char *text, std::initializer_list<std::pair<const char *, double>> params = {})
{
    return EvalR(text, params).fault;
}

Cx C(const char *text, std::initializer_list<std::pair<const char *, Cx>> params = {})
{
    error.reset();
    KXExpressionC e;
    e.setExpression(text);
    for (const auto &p : params)
        e.DeclareParam(p.first, "", 0, -1);
    for (const auto &p : params)
        e.GetParam(e.FindParam(p.first)).SetValue(p.second);
    Cx v = e.Evaluate();
    EXPECT_EQ(std::string(error.chars()), "") << text;
    error.reset();
    return v;
}

std::string FaultC(const char *text, std::initializer_list<std::pair<const char *, Cx>> params = {})
{
    error.reset();
    KXExpressionC e;
    e.setExpression(text);
    for (const auto &p : params)
        e.DeclareParam(p.first, "", 0, -1);
    for (const auto &p : params)
        e.GetParam(e.FindParam(p.first)).SetValue(p.second);
    e.Evaluate();
    std::string fault = error.chars();
    error.reset();
    return fault;
}

} // namespace

TEST(KXFuncParserTest, BuiltinsInRegisteredOrder)
{
    const char *names[] = {"sqrt", "sign", "pow", "**", "abs", "spline", "max", "min", "lininterp",
                           "exp", "sin", "cos", "tan", "sinh", "cosh", "tanh", "ln", "log10",
                           "asin", "acos", "atan", "if"};
    const int nargs[] = {1, 1, 2, 2, 1, -1, -1, -1, -1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 3};
    KXFuncParserR real;
    ASSERT_EQ(real.FunctionCount(), 22);
    for (int i = 0; i < 22; ++i) {
        EXPECT_EQ(std::string(real.GetFunction(i).name.c_str()), names[i]);
        EXPECT_EQ(real.GetFunction(i).nargs, nargs[i]) << names[i];
    }
    KXFuncParserC &complex = kxGetComplexParser();
    ASSERT_EQ(complex.FunctionCount(), 25);
    EXPECT_EQ(std::string(complex.GetFunction(21).name.c_str()), "if");
    EXPECT_EQ(std::string(complex.GetFunction(22).name.c_str()), "real");
    EXPECT_EQ(std::string(complex.GetFunction(23).name.c_str()), "imag");
    EXPECT_EQ(std::string(complex.GetFunction(24).name.c_str()), "arg");
    EXPECT_TRUE(complex.IsFunctionRegistered("**"));
    EXPECT_TRUE(complex.IsFunctionRegistered("lininterp"));
    EXPECT_FALSE(complex.IsFunctionRegistered("PI"));
    EXPECT_TRUE(complex.IsConstantRegistered("_PI"));
    EXPECT_FALSE(complex.IsConstantRegistered("PI"));
    EXPECT_FALSE(real.IsFunctionRegistered("real"));
    EXPECT_EQ(&kxGetComplexParser(), &complex);
    const FuncDataEltR *ifElt = real.FindFunction("if", 2);
    ASSERT_NE(ifElt, nullptr);
    ASSERT_EQ(ifElt->argNames.size(), 3u);
    EXPECT_STREQ(ifElt->argNames[0].c_str(), "condition");
    EXPECT_STREQ(ifElt->argNames[1].c_str(), "expression1");
    EXPECT_STREQ(ifElt->argNames[2].c_str(), "expression2");
    EXPECT_TRUE(real.FindFunction("sqrt", 4)->argNames.empty());
    EXPECT_EQ(real.FindFunction("sqr", 3), nullptr);
    EXPECT_DOUBLE_EQ(real.FindConstant("_PI", 3)->Value(), 3.141592653589793);
}

TEST(KXFuncParserTest, RegisterFunctionAndConstant)
{
    KXFuncParserR p;
    auto twice = [](const ParListR &a) { return 2.0 * a[0]; };
    auto count = [](const ParListR &a) { return double(a.Count()); };
    EXPECT_TRUE(p.RegisterFunction(twice, "twice", 1));
    EXPECT_TRUE(p.RegisterFunction(count, "count", -1));
    EXPECT_FALSE(p.RegisterFunction(nullptr, "none", 1));
    EXPECT_FALSE(p.RegisterFunction(twice, "", 1));
    EXPECT_FALSE(p.RegisterFunction(twice, "bad", -2));
    EXPECT_TRUE(p.RegisterConstant("_E", std::exp(1.0), "Euler's number"));
    EXPECT_FALSE(p.RegisterConstant("", 1.0, ""));
    EXPECT_TRUE(p.IsFunctionRegistered("twice"));
    EXPECT_TRUE(p.IsConstantRegistered("_E"));

    KXExpressionR e(&p);
    e.setExpression("twice(_E) + count() + count(1, 2, 3)");
    ASSERT_TRUE(e.Compile());
    EXPECT_DOUBLE_EQ(e.Evaluate(), 2.0 * std::exp(1.0) + 3.0);

    // Re-registering replaces the routine, also that of a built-in (which is then called).
    auto fakeSqrt = [](const ParListR &a) { return a[0] + 1.0; };
    EXPECT_TRUE(p.RegisterFunction(fakeSqrt, "sqrt", 1));
    EXPECT_EQ(p.FunctionCount(), 24);
    KXExpressionR s(&p);
    s.setExpression("sqrt(x)");
    s.DeclareParam("x", "", 0, -1);
    s.GetParam(0).SetValue(-4.0);
    EXPECT_DOUBLE_EQ(s.Evaluate(), -3.0);

    // "**" is a registered name like any other: replacing it changes the operator too.
    auto sum = [](const ParListR &a) { return a[0] + a[1]; };
    EXPECT_TRUE(p.RegisterFunction(sum, "**", 2));
    KXExpressionR pw(&p);
    pw.setExpression("x**3 + 2**3 + pow(2, 3)");
    pw.DeclareParam("x", "", 0, -1);
    pw.GetParam(0).SetValue(2.0);
    EXPECT_DOUBLE_EQ(pw.Evaluate(), 5.0 + 5.0 + 8.0);
    EXPECT_TRUE(p.RegisterFunction(twice, "**", 1));
    error.reset();
    KXExpressionR bad(&p);
    bad.setExpression("2**3");
    EXPECT_FALSE(bad.Compile());
    EXPECT_STREQ(error.chars(), "wrong number of arguments in function \"**\"\n");

    error.reset();
    KXExpressionR w(&p);
    w.setExpression("twice(1, 2)");
    EXPECT_FALSE(w.Compile());
    EXPECT_STREQ(error.chars(), "wrong number of arguments in function \"twice\"\n");
    error.reset();
}

TEST(KXExpressionTest, NumbersNamesAndExponents)
{
    EXPECT_EQ(R("1e5"), 100000.0);
    EXPECT_EQ(R("2.5e-3"), 0.0025);
    EXPECT_EQ(R("1E+2"), 100.0);
    EXPECT_EQ(R(".5 + 5."), 5.5);
    EXPECT_EQ(R("x2e-3", {{"x2e", 10}}), 7.0);   // a name, then a subtraction
    EXPECT_EQ(R("a*2e-3", {{"a", 1000}}), 2.0);
    EXPECT_EQ(R("a - 2e-3", {{"a", 1}}), 0.998);
    EXPECT_EQ(R("(2e-3)*1000"), 2.0);
    EXPECT_EQ(R("a_2 + B9", {{"a_2", 1}, {"B9", 2}}), 3.0);
    EXPECT_DOUBLE_EQ(R("_PI"), 3.141592653589793);
    EXPECT_EQ(FaultR("PI"), "undefined variable \"PI\"\n");
    EXPECT_EQ(R("PI", {{"PI", 3}}), 3.0);
    EXPECT_EQ(FaultR("_x"), "undefined variable \"_x\"\n");
    for (const char *bad : {"2x", "1e", "1.2.3", ".", "1e5x", "a b", "", "   ", "$", "(a)(b)", "a,b",
                            "!a", "2 3"})
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
    EXPECT_EQ(R("2*+-x", {{"x", 3}}), -6.0);   // after "*" and "+" the signs are unary
    EXPECT_EQ(R("+-+-x", {{"x", 3}}), 3.0);
    EXPECT_EQ(FaultR("2*-+x", {{"x", 3}}), "parse error\n");   // "+" after "-" is binary
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
    EXPECT_EQ(R("1 < 2 < 3"), 1.0);   // (1<2) < 3
    EXPECT_EQ(R("3 > 2 > 1"), 0.0);   // (3>2) > 1
    // A single "=" gives the residual of its two sides.
    EXPECT_EQ(R("a*2 = 3+b", {{"a", 5}, {"b", 1}}), 6.0);
    EXPECT_EQ(R("a = b = c", {{"a", 10}, {"b", 4}, {"c", 1}}), 7.0);
    EXPECT_EQ(R("(a==b) = 1", {{"a", 2}, {"b", 2}}), 0.0);
    EXPECT_EQ(FaultR("a =", {{"a", 1}}), "parse error\n");
    EXPECT_EQ(FaultR("= a"), "parse error\n");
}

TEST(KXExpressionTest, OperandFormsAgreeWithPlainArithmetic)
{
    // Each operator with stack, constant and parameter operands on either side.
    const std::initializer_list<std::pair<const char *, double>> p = {
        {"a", 3}, {"b", -2}, {"z", 0}, {"h", 0.5}};
    const struct {
        const char *text;
        double value;
    } cases[] = {
        {"a+b", 1},      {"a-b", 5},          {"a*b", -6},          {"a/b", -1.5},
        {"a**b", 1.0 / 9}, {"a+2", 5},        {"a-2", 1},           {"a*2", 6},
        {"a/2", 1.5},    {"a**2", 9},         {"2**a", 8},          {"b**3", -8},
        {"(a+1)*(b-1)", -12}, {"(a+1)/b", -2}, {"(a+1)**2", 16},     {"(a+1)-b", 6},
        {"1+(a+1)", 5},  {"a**b**2", 81},     {"-a**2", -9},        {"a*a*a", 27},
        {"a > 2", 1},    {"a < 2", 0},        {"a >= 3", 1},        {"a <= b", 0},
        {"a == 3", 1},   {"a != 3", 0},       {"(a+b) > (a-b)", 0}, {"max(a, b, 7)", 7},
        {"min(a, b)", -2}, {"max(a)", 3},     {"if(a > 2, b, a)", -2}, {"z*a", 0},
        {"2-a", -1},     {"6/a", 2},          {"2+a", 5},           {"2*a", 6},
        {"max(a, 2)", 3}, {"max(b, 2)", 2},   {"min(a, 2)", 2},     {"min(b, 2)", -2},
        {"1 + a*b", -5}, {"1 - a*b", 7},      {"1 + a*2", 7},       {"1 - 2*a", -5},
        {"a*b + a*2 - b*b", -4}, {"(a+b) - a*b*2", 13}, {"if(a, 1, 2) + a*b", -5},
        {"4**h", 2},     {"b < 0", 1},        {"(a+b) == 1", 1},    {"1 - (2 - a)", 2},
    };
    for (const auto &c : cases)
        EXPECT_DOUBLE_EQ(R(c.text, p), c.value) << c.text;
    for (const char *text : {"a/z", "a/0", "(a+1)/z", "(a+1)/(b+2)", "a/(z*2)", "1/z"})
        EXPECT_EQ(FaultR(text, p), "division by zero") << text;
    for (const char *text : {"b**0.5", "b**(a/2)", "(b-1)**0.5", "b**(1/a)", "(-2)**h", "b**h"})
        EXPECT_EQ(FaultR(text, p), "negative argument in non-integer power\n") << text;
}

TEST(KXExpressionTest, ErrorCodes)
{
    // Faults of the text carry the syntax code, faults of an evaluation the generic one.
    const struct {
        const char *text;
        int code;
    } cases[] = {{"(1", kxErrSyntax}, {"1 +", kxErrSyntax}, {"nope", kxErrSyntax},
                 {"nope(1)", kxErrSyntax}, {"sin(1, 2)", kxErrSyntax}, {"sqrt(-x)", kxErrGeneric},
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

TEST(KXExpressionTest, IfIsLazyAndChecked)
{
    EXPECT_EQ(R("if(x > 0, 1, 2)", {{"x", 1}}), 1.0);
    EXPECT_EQ(R("if(x > 0, 1, 2)", {{"x", -1}}), 2.0);
    EXPECT_EQ(R("if(x, sqrt(x), -1)", {{"x", 0}}), -1.0);
    EXPECT_EQ(R("if(x >= 0, sqrt(x), 1/x)", {{"x", -4}}), -0.25);   // untaken branches never run
    EXPECT_EQ(R("if(x >= 0, sqrt(x), 1/x)", {{"x", 4}}), 2.0);
    EXPECT_EQ(R("if(1, 2, 3) + if(0, 2, 3) * 10"), 32.0);
    EXPECT_EQ(R("if(a, if(b, 1, 2), if(b, 3, 4))", {{"a", 0}, {"b", 0}}), 4.0);
    EXPECT_EQ(R("1 + if(a < b, a, b) * 2", {{"a", 3}, {"b", 5}}), 7.0);
    EXPECT_EQ(FaultR("if(1, 2, 3, 4)"), "too many arguments to if function\n");
    EXPECT_EQ(FaultR("if(1, 2)"), "wrong number of arguments in function \"if\"\n");
    EXPECT_EQ(FaultR("if(x, 1, 2)", {{"x", NAN}}), "conditional operator evaluation error\n");
    // An undefined name in the branch that a constant condition drops is still reported.
    EXPECT_EQ(FaultR("if(1, 2, nope)"), "undefined variable \"nope\"\n");
}

TEST(KXExpressionTest, LinInterp)
{
    EXPECT_EQ(R("lininterp(2, 0, 0, 1, 10)"), 20.0);
    EXPECT_EQ(R("lininterp(0.5, 0, 0, 1, 10, 2, 30)"), 5.0);
    EXPECT_EQ(R("lininterp(1.5, 0, 0, 1, 10, 2, 30)"), 20.0);
    EXPECT_EQ(R("lininterp(-1, 0, 0, 1, 10, 2, 30)"), -10.0);   // first segment extended
    EXPECT_EQ(R("lininterp(3, 0, 0, 1, 10, 2, 30)"), 50.0);     // last segment extended
    EXPECT_EQ(R("lininterp(x, 0, 0, 1, 10, 2, 30)", {{"x", 1}}), 10.0);
    EXPECT_EQ(FaultR("lininterp(1, 0, 0)"), "too few arguments in function \"lininterp\"\n");
    EXPECT_EQ(FaultR("lininterp(1, 0, 0, 1, 1, 2)"), "wrong number of arguments in function \"lininterp\"\n");
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
    EXPECT_EQ(twice.fault, "the x-arguments must be monotonically increasingthe x-arguments must be monotonically increasing");
    double table[] = {0.5, 0, 0, 2, 20, 1, 10};
    error.reset();
    const double direct = kxGetRealParser().FindFunction("lininterp", 9)->routine(ParListR(table, 7));
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
    EXPECT_EQ(FaultR("spline(1, 0, 0, 1, 1, 2)"), "wrong number of arguments in function \"spline\"\n");
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

TEST(KXExpressionTest, ParametersAndVectors)
{
    KXExpressionR e;
    e.setExpression("a + b*10");
    e.DeclareParam("a", "", 0, -1);
    e.DeclareParam("b", "", 0, 0);   // put first
    ASSERT_EQ(e.ParamCount(), 2);
    EXPECT_EQ(std::string(e.GetParam(0).Name().c_str()), "b");
    EXPECT_EQ(e.FindParam("a"), 1);
    EXPECT_EQ(e.FindParam("c"), -1);
    error.reset();
    e.GetParam(1).SetValue(1.0);
    EXPECT_EQ(e.Evaluate(), 0.0);
    EXPECT_STREQ(error.chars(), "undesolved variable \"b\"\n");
    error.reset();
    e.GetParam(0).SetValue(2.0);
    EXPECT_EQ(e.Evaluate(), 21.0);
    const double values[] = {5.0, 7.0};
    EXPECT_EQ(e.Evaluate(values), 57.0);
    EXPECT_EQ(int(error), 0);

    // A parameter with a formula stands for that formula.
    KXExpressionR f;
    f.setExpression("d * 2");
    f.DeclareParam("w", "", 0, -1);
    f.DeclareParam("d", "w + 1", 0, -1);
    f.GetParam(0).SetValue(4.0);
    EXPECT_EQ(f.Evaluate(), 10.0);
    KXExpressionR self;
    self.setExpression("d");
    self.DeclareParam("d", "d + 1", 0, -1);
    error.reset();
    EXPECT_FALSE(self.Compile());
    EXPECT_STREQ(error.chars(), "undefined variable \"d\"\n");
    error.reset();

    // Vectors.
    const double data[] = {10, 20, 30};
    KXExpressionR v;
    v.setExpression("v[i] + v[i+1]*0");
    v.DeclareParam("v", "", kxParamVector, -1);
    v.DeclareParam("i", "", 0, -1);
    v.GetParam(0).SetVector(data, 1, 3);
    v.GetParam(1).SetValue(2.0);
    EXPECT_EQ(v.Evaluate(), 20.0);
    v.GetParam(1).SetValue(3.0);
    EXPECT_EQ(v.Evaluate(), 0.0);
    EXPECT_STREQ(error.chars(), "index 4 out of range (1 3) in variable \"v\"\n");
    error.reset();
    EXPECT_EQ(FaultR("x[1]", {{"x", 1}}), "variable \"x\" is not a vector\n");
    EXPECT_EQ(FaultR("_PI[1]"), "variable \"_PI\" is not a vector\n");
    EXPECT_EQ(FaultR("y[1]"), "undefined variable \"y\"\n");
    KXExpressionR unbound;
    unbound.setExpression("v[1]");
    unbound.DeclareParam("v", "", kxParamVector, -1);
    error.reset();
    unbound.Evaluate();
    EXPECT_STREQ(error.chars(), "undesolved variable \"v\"\n");
    error.reset();
}

// Plain parameters are kept by name until GetParam hands one out; the two forms must agree.
TEST(KXExpressionTest, ParameterNamesAndRecordsAgree)
{
    KXExpressionC e;
    e.setExpression("a*2 + b - a");
    for (const char *name : {"b", "a", "b", "", "c"})
        e.DeclareParam(name, "", 0, -1);
    ASSERT_EQ(e.ParamCount(), 4);
    const char *order[] = {"b", "a", "", "c"};
    for (int i = 0; i < 4; ++i) {
        EXPECT_STREQ(e.ParamName(i), order[i]);
        EXPECT_EQ(e.FindParam(order[i]), i);
    }
    EXPECT_EQ(e.FindParam(KXString("a\0b", 3)), -1);
    const Cx values[] = {Cx(1, 1), Cx(3, 0), Cx(0, 0), Cx(0, 0)};
    error.reset();
    EXPECT_EQ(e.Evaluate(values), Cx(4, 1));
    EXPECT_EQ(e.Evaluate(), Cx(0, 0));   // the program reads a first
    EXPECT_STREQ(error.chars(), "undesolved variable \"a\"\n");
    error.reset();
    EXPECT_EQ(std::string(e.GetParam(1).Name().c_str()), "a");
    EXPECT_STREQ(e.ParamName(3), "c");
    e.GetParam(0).SetValue(Cx(1, 1));
    e.GetParam(1).SetValue(Cx(3, 0));
    EXPECT_EQ(e.Evaluate(), Cx(4, 1));
    EXPECT_EQ(e.Evaluate(values), Cx(4, 1));

    // A formula parameter after plain ones, and a name with a zero byte, keep the order.
    KXExpressionR f;
    f.setExpression("d + w");
    f.DeclareParam("w", "", 0, -1);
    f.DeclareParam(KXString("w\0x", 3), "", 0, -1);
    f.DeclareParam("d", "w * 3", 0, -1);
    ASSERT_EQ(f.ParamCount(), 3);
    EXPECT_EQ(f.FindParam(KXString("w\0x", 3)), 1);
    EXPECT_STREQ(f.ParamName(2), "d");
    const double fv[] = {2.0, 0.0, 0.0};
    EXPECT_EQ(f.Evaluate(fv), 8.0);
}

// A lent text is read where it lies; copies of the expression take their own.
TEST(KXExpressionTest, LentTextAndCopies)
{
    auto text = std::make_unique<KXString>("x * 3 + spline(x, 0, 0, 1, 1, 2, 4)");
    KXExpressionR e;
    e.BorrowExpression(*text);
    EXPECT_EQ(&e.GetExpression(), text.get());
    e.DeclareParam("x", "", 0, -1);
    const double x[] = {1.0};
    EXPECT_DOUBLE_EQ(e.Evaluate(x), 4.0);
    KXExpressionR copy(e);
    KXExpressionR assigned;
    assigned = e;
    *text = "x";   // the owner changes its text and tells the expression
    e.BorrowExpression(*text);
    EXPECT_DOUBLE_EQ(e.Evaluate(x), 1.0);
    text.reset();
    EXPECT_STREQ(copy.GetExpression().c_str(), "x * 3 + spline(x, 0, 0, 1, 1, 2, 4)");
    EXPECT_DOUBLE_EQ(copy.Evaluate(x), 4.0);
    EXPECT_DOUBLE_EQ(assigned.Evaluate(x), 4.0);
    e.setExpression("x + 1");
    EXPECT_DOUBLE_EQ(e.Evaluate(x), 2.0);

    // A failed compilation is reported again by a copy.
    KXExpressionR bad;
    bad.setExpression("(1");
    error.reset();
    EXPECT_FALSE(bad.Compile());
    error.reset();
    KXExpressionR badCopy(bad);
    EXPECT_EQ(badCopy.Evaluate(), 0.0);
    EXPECT_STREQ(error.chars(), "missing bracket\n");
    error.reset();
    KXExpressionR empty;
    EXPECT_STREQ(empty.GetExpression().c_str(), "");
    EXPECT_EQ(empty.ProgramSize(), 0);
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
    EXPECT_EQ(f.ProgramSize(), 2);   // x*5 pushed in one step, then +20
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
    EXPECT_EQ(FaultC("max(z, 1)", {{"z", Cx(1, 1)}}), "cannot pass complex number to function \"max\"\n");
    EXPECT_EQ(FaultC("min(z, 1)", {{"z", Cx(1, 1)}}), "cannot pass complex number to function \"min\"\n");
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
