// The evaluator: lazy branches, the checks of parameter values before a run.
#include "kxfntesthelpers.h"

#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

TEST(KXExpressionTest, IfIsLazyAndChecked)
{
    EXPECT_EQ(R("if(x > 0, 1, 2)", {{"x", 1}}), 1.0);
    EXPECT_EQ(R("if(x > 0, 1, 2)", {{"x", -1}}), 2.0);
    EXPECT_EQ(R("if(x, sqrt(x), -1)", {{"x", 0}}), -1.0);
    EXPECT_EQ(R("if(x >= 0, sqrt(x), 1/x)", {{"x", -4}}), -0.25); // untaken branches never run
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

// Every instruction form that reads a parameter has it checked before the run: the one left
// without a value is named, whichever operand of a fused instruction it is.
TEST(KXExpressionTest, EveryParameterOperandIsChecked)
{
    const char *formulas[] = {"x",
                              "a + x",
                              "x + 2",
                              "2 - x",
                              "x*y",
                              "y*x",
                              "a + x*y",
                              "a - y*x",
                              "a + x*2",
                              "a - 2*x",
                              "x > 2",
                              "x**y",
                              "y**x",
                              "2**x",
                              "x/y",
                              "y/x",
                              "sqrt(x)*a",
                              "x*x",
                              "x**2",
                              "a*(x + y)",
                              "max(x, 2)",
                              "if(x > 1, 1, 2)",
                              "lininterp(x, 0, 0, 1, 1, 2, 3)"};
    for (const char *text : formulas) {
        KXExpressionR e;
        e.setExpression(text);
        for (const char *name : {"a", "y", "x"})
            e.DeclareParam(name, "", 0, -1);
        e.GetParam(0).SetValue(1.5);
        e.GetParam(1).SetValue(2.5);
        error.reset();
        EXPECT_EQ(e.Evaluate(), 0.0) << text;
        EXPECT_STREQ(error.chars(), "undesolved variable \"x\"\n") << text;
        error.reset();
        e.GetParam(2).SetValue(3.0);
        (void)e.Evaluate();
        EXPECT_EQ(int(error), 0) << text;
        error.reset();
    }
}

// The program reads the values it is given: the parameters' own or the caller's array, the
// same formula giving the same values either way.
TEST(KXExpressionTest, OwnValuesAndArrayAgree)
{
    const char *formulas[] = {"w/2 + gap*n - offset", "a0 + a1*x + a2*x*x + a3*x*x*x",
                              "if(x > 0.5, x*2, 1 - x)", "max(w - 2*gap, 0.1) + min(n, 3)"};
    const char *names[] = {"w", "gap", "n", "offset", "a0", "a1", "a2", "a3", "x"};
    for (const char *text : formulas) {
        KXExpressionR own;
        KXExpressionR array;
        own.setExpression(text);
        array.setExpression(text);
        for (const char *name : names) {
            own.DeclareParam(name, "", 0, -1);
            array.DeclareParam(name, "", 0, -1);
        }
        for (int round = 0; round < 4; ++round) {
            double values[9];
            for (int i = 0; i < 9; ++i) {
                values[i] = 0.25 * (i + 1) + 0.3 * round;
                own.GetParam(i).SetValue(values[i]);
            }
            EXPECT_EQ(own.Evaluate(), array.Evaluate(values)) << text << " " << round;
        }
    }
}

TEST(KXExpressionTest, BoundArrayIsReadAtEachEvaluation)
{
    error.reset();
    KXExpressionR e;
    e.setExpression("a*10 + b");
    e.DeclareParam("a", "", 0, -1);
    e.DeclareParam("b", "", 0, -1);
    double slots[2] = {1, 2};
    e.BindValues(slots);
    EXPECT_EQ(e.BoundValues(), slots);
    EXPECT_EQ(e.Evaluate(), 12.0); // no value was ever set: the array gives them
    slots[0] = 3;
    EXPECT_EQ(e.Evaluate(), 32.0);
    const double other[2] = {5, 6};
    EXPECT_EQ(e.Evaluate(other), 56.0); // an explicit array does not unbind
    slots[1] = 7;
    EXPECT_EQ(e.Evaluate(), 37.0);

    KXExpressionR copy(e); // bound to the same array
    slots[0] = 4;
    EXPECT_EQ(copy.Evaluate(), 47.0);
    e.GetParam(0).SetValue(8); // the own values are not read while bound
    EXPECT_EQ(e.Evaluate(), 47.0);

    e.DeclareParam("c", "", 0, 0); // declaring again recompiles and keeps the binding
    double three[3] = {100, 1, 2};
    e.BindValues(three);
    EXPECT_EQ(e.Evaluate(), 12.0);
    EXPECT_STREQ(error.chars(), "");

    e.BindValues(nullptr); // the own values again: b has none
    EXPECT_EQ(e.Evaluate(), 0.0);
    EXPECT_STREQ(error.chars(), "undesolved variable \"b\"\n");
    error.reset();
    e.GetParam(2).SetValue(9);
    EXPECT_EQ(e.Evaluate(), 89.0);
    EXPECT_STREQ(error.chars(), "");
}

TEST(KXExpressionTest, BoundArrayKeepsFaultsAndVectors)
{
    error.reset();
    KXExpressionR e;
    e.setExpression("v[i] / d");
    e.DeclareParam("v", "", kxParamVector, -1);
    e.DeclareParam("i", "", 0, -1);
    e.DeclareParam("d", "", 0, -1);
    double slots[3] = {0, 2, 2};
    e.BindValues(slots);
    EXPECT_EQ(e.Evaluate(), 0.0); // the vector is not bound yet
    EXPECT_STREQ(error.chars(), "undesolved variable \"v\"\n");
    error.reset();
    const double data[3] = {10, 20, 30};
    e.GetParam(0).SetVector(data, 1, 3);
    EXPECT_EQ(e.Evaluate(), 10.0);
    slots[2] = 0;
    EXPECT_EQ(e.Evaluate(), 0.0);
    EXPECT_STREQ(error.chars(), "division by zero");
    error.reset();
    slots[1] = 4;
    slots[2] = 1;
    EXPECT_EQ(e.Evaluate(), 0.0);
    EXPECT_STREQ(error.chars(), "index 4 out of range (1 3) in variable \"v\"\n");
    error.reset();

    KXExpressionC c;
    c.setExpression("sqrt(z) + 1");
    c.DeclareParam("z", "", 0, -1);
    Cx z[1] = {Cx(-4, 0)};
    c.BindValues(z);
    EXPECT_EQ(c.Evaluate(), Cx(1, 2));
    z[0] = Cx(0, 2);
    EXPECT_NEAR(std::abs(c.Evaluate() - Cx(2, 1)), 0.0, 1e-15);
    EXPECT_STREQ(error.chars(), "");
}

// A copy of an evaluated expression reads its own parameter records, also once the original
// or the copy has been evaluated, and records made later from plain names are found too.
TEST(KXExpressionTest, CopiesReadTheirOwnRecords)
{
    error.reset();
    for (const char *text : {"x*2 + y", "if(x > 1, x*2, 0) + y", "sin(x) * 0 + x*2 + y"}) {
        KXExpressionR a;
        a.setExpression(text);
        a.DeclareParam("x", "", 0, -1);
        a.DeclareParam("y", "", 0, -1);
        const double xy[2] = {3, 1};
        EXPECT_EQ(a.Evaluate(xy), 7.0) << text; // bound to an array, names only
        a.GetParam(0).SetValue(3);              // the records are made now
        a.GetParam(1).SetValue(1);
        EXPECT_EQ(a.Evaluate(), 7.0) << text;
        KXExpressionR b(a);
        KXExpressionR c;
        c = a;
        b.GetParam(0).SetValue(5);
        c.GetParam(0).SetValue(10);
        EXPECT_EQ(b.Evaluate(), 11.0) << text;
        EXPECT_EQ(c.Evaluate(), 21.0) << text;
        EXPECT_EQ(a.Evaluate(), 7.0) << text;
        a.GetParam(1).SetValue(2);
        EXPECT_EQ(a.Evaluate(), 8.0) << text;
        EXPECT_EQ(b.Evaluate(), 11.0) << text;
    }
    EXPECT_STREQ(error.chars(), "");
}
