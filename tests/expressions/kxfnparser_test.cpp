// The parsers' tables and the expression object: registration, parameters, copies.
#include "kxfntesthelpers.h"

#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

TEST(KXFuncParserTest, BuiltinsInRegisteredOrder)
{
    const char *names[] = {"sqrt",      "sign",  "pow",  "**",   "abs",  "spline", "max",  "min",
                           "lininterp", "exp",   "sin",  "cos",  "tan",  "sinh",   "cosh", "tanh",
                           "ln",        "log10", "asin", "acos", "atan", "if"};
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

TEST(KXExpressionTest, ParametersAndVectors)
{
    KXExpressionR e;
    e.setExpression("a + b*10");
    e.DeclareParam("a", "", 0, -1);
    e.DeclareParam("b", "", 0, 0); // put first
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
    EXPECT_EQ(e.Evaluate(), Cx(0, 0)); // the program reads a first
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
    *text = "x"; // the owner changes its text and tells the expression
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
