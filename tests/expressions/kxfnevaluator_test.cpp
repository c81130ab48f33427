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
