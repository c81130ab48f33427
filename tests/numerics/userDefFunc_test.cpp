// Tests of kxUserDefFunc and of the registration of functions with the formula parsers: formulas
// of x and y that follow namespace variables, undefined names, calls by name inside formulas
// (real and complex), replacement, removal and refusals.
#include "kx/expressions/kxfnparser.h"
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/numerics/kxpolynomial.h"
#include "kx/numerics/kxtablefunction.h"
#include "kx/numerics/userDefFunc.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

using cx = std::complex<double>;

namespace {

kxNamedVariable *Define(kxNameSpace &ns, const char *name, const char *definition)
{
    auto *v = new kxNamedVariable(&ns);
    EXPECT_TRUE(v->SetName(name)) << name;
    v->SetValueOrExpression(definition);
    return v;
}

double EvalReal(const char *formula)
{
    KXExpressionR e;
    e.setExpression(KXString(formula));
    return e.Evaluate();
}

} // namespace

TEST(KXUserDefFuncTest, FollowsNamespaceVariables)
{
    error.reset();
    kxNameSpace parent;
    kxNameSpace ns(&parent);
    kxNamedVariable *a = Define(parent, "a", "2");
    Define(ns, "b", "a * 10");
    kxUserDefFunc f(&ns, 1);
    ASSERT_TRUE(f.SetFormula(KXString("a*x**2 + b + sin(_PI*x) + 2.5e-1")));
    EXPECT_EQ(f.VariableNames().size(), 2u); // a and b; not sin, _PI or the number
    EXPECT_NEAR(f.Value(3.0), 2 * 9 + 20 + std::sin(M_PI * 3) + 0.25, 1e-12);
    a->SetValue(cx(5));
    EXPECT_NEAR(f.Value(3.0), 5 * 9 + 50 + 0.25, 1e-12); // both a and the dependent b moved
    a->SetExpression("1 + 1");
    EXPECT_NEAR(f.Value(1.0), 2 + 20 + 0.25, 1e-12);
    EXPECT_EQ(int(error), 0);

    // Complex values pass through ValueC; Value takes the real part.
    a->SetValue(cx(0, 1));
    EXPECT_LT(std::abs(f.ValueC(2.0) - (cx(0, 4) + cx(0, 10) + 0.25)), 1e-12);
    EXPECT_NEAR(f.Value(2.0), 0.25, 1e-12);

    // Two variables; y hides a namespace variable called y.
    a->SetValue(cx(2));
    Define(ns, "y", "100");
    kxUserDefFunc g(&ns, 2);
    ASSERT_TRUE(g.SetFormula(KXString("x*y + b")));
    EXPECT_EQ(g.Dimension(), 2);
    EXPECT_NEAR(g.Value(2, 3), 6 + 20, 1e-12);
    EXPECT_NEAR(g.Derivative(2, 3, 1), 2.0, 1e-8); // numerical d/dy
    EXPECT_FALSE(g.HasDerivative());
}

TEST(KXUserDefFuncTest, BadFormulasAndUndefinedNames)
{
    error.reset();
    kxNameSpace ns;
    kxUserDefFunc f(&ns);
    EXPECT_FALSE(f.SetFormula(KXString("x + (2")));
    EXPECT_EQ(int(error), kxErrSyntax);
    EXPECT_TRUE(f.GetFormula().Empty());
    error.reset();
    EXPECT_EQ(f.Value(1.0), 0.0);

    ASSERT_TRUE(f.SetFormula(KXString("x + c")));
    EXPECT_EQ(f.Value(1.0), 0.0);
    EXPECT_STREQ(error.chars(), "undefined variable \"c\"\n");
    error.reset();
    // Defining the variable later is enough.
    Define(ns, "c", "4");
    EXPECT_EQ(f.Value(1.0), 5.0);
    // No namespace: only x.
    kxUserDefFunc free(nullptr);
    ASSERT_TRUE(free.SetFormula(KXString("x*x")));
    EXPECT_EQ(free.Value(3.0), 9.0);
    EXPECT_EQ(int(error), 0);
}

TEST(KXUserDefFuncTest, RegisteredFunctionsAreCalledByName)
{
    error.reset();
    auto poly = std::make_shared<kxPolynomial>(std::vector<double>{1, 0, 3}); // 1 + 3x^2
    ASSERT_TRUE(kxRegisterFunction(KXString("kxtpoly"), poly));
    EXPECT_EQ(kxFindRegisteredFunction(KXString("kxtpoly")), poly);
    EXPECT_DOUBLE_EQ(EvalReal("kxtpoly(2) + 1"), 14.0);
    KXExpressionC c;
    c.setExpression(KXString("kxtpoly(z)"));
    c.DeclareParam(KXString("z"), KXString(), 0, -1);
    const cx z(0, 1);
    EXPECT_LT(std::abs(c.Evaluate(&z) - cx(-2)), 1e-15);

    // A function of two variables, defined by a formula bound to a namespace.
    kxNameSpace ns;
    kxNamedVariable *k = Define(ns, "k", "3");
    auto user = std::make_shared<kxUserDefFunc>(&ns, 2);
    ASSERT_TRUE(user->SetFormula(KXString("k*x - y")));
    ASSERT_TRUE(kxRegisterFunction(KXString("kxtuser"), user));
    KXExpressionR e;
    e.setExpression(KXString("kxtuser(t, 1)"));
    e.DeclareParam(KXString("t"), KXString(), 0, -1);
    double t = 2;
    EXPECT_DOUBLE_EQ(e.Evaluate(&t), 5.0);
    k->SetValue(cx(10));
    EXPECT_DOUBLE_EQ(e.Evaluate(&t), 19.0); // the compiled formula follows k
    EXPECT_EQ(int(error), 0);

    // Wrong argument count is the parser's error.
    KXExpressionR wrong;
    wrong.setExpression(KXString("kxtuser(1)"));
    EXPECT_FALSE(wrong.Compile());
    EXPECT_NE(std::string(error.chars()).find("wrong number of arguments"), std::string::npos);
    error.reset();

    // Replacing the function behind a name reroutes formulas compiled before.
    auto table = std::make_shared<kxTable1D>(kxTableLinear);
    ASSERT_TRUE(table->Set({0, 10}, {0, 100}));
    ASSERT_TRUE(kxRegisterFunction(KXString("kxtpoly"), table));
    KXExpressionR p;
    p.setExpression(KXString("kxtpoly(s)"));
    p.DeclareParam(KXString("s"), KXString(), 0, -1);
    double s = 2.5;
    EXPECT_DOUBLE_EQ(p.Evaluate(&s), 25.0);

    // After removal a call reports the missing function and gives 0.
    EXPECT_TRUE(kxUnregisterFunction(KXString("kxtpoly")));
    EXPECT_FALSE(kxUnregisterFunction(KXString("kxtpoly")));
    EXPECT_EQ(p.Evaluate(&s), 0.0);
    EXPECT_STREQ(error.chars(), "function \"kxtpoly\" is not defined any more\n");
    error.reset();
    ASSERT_TRUE(kxRegisterFunction(KXString("kxtpoly"), poly)); // the name comes back
    EXPECT_DOUBLE_EQ(p.Evaluate(&s), 1 + 3 * 6.25);

    // Built-in names are refused.
    EXPECT_FALSE(kxRegisterFunction(KXString("sin"), poly));
    EXPECT_STREQ(error.chars(), "\"sin\" is a built-in function\n");
    error.reset();
}

TEST(KXUserDefFuncTest, SelfReferenceIsReportedNotRecursed)
{
    error.reset();
    auto f = std::make_shared<kxUserDefFunc>(nullptr, 1);
    f->SetName(KXString("kxtself"));
    ASSERT_TRUE(kxRegisterFunction(KXString("kxtself"), f));
    ASSERT_TRUE(f->SetFormula(KXString("kxtself(x) + 1")));
    EXPECT_EQ(f->Value(1.0), 0.0);
    EXPECT_NE(std::string(error.chars()).find("function \"kxtself\" calls itself"),
              std::string::npos)
        << error.chars();
    error.reset();
    EXPECT_TRUE(kxUnregisterFunction(KXString("kxtself")));
}
