// Tests of kxNamedVariable: names, setters, and the lazy evaluation with its warnings.
#include "kx/expressions/kxfnparser.h"
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/objects/kxchecksum.h"

#include "kxwarningcapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>

namespace {

using cx = std::complex<double>;

/// Counts its calls: a formula kxcount(x) shows how often it was evaluated.
int evaluations = 0;
cx CountCalls(const ParListC &args)
{
    ++evaluations;
    return args[0];
}

void RegisterCounter()
{
    static const bool done = kxGetComplexParser().RegisterFunction(&CountCalls, "kxcount", 1);
    ASSERT_TRUE(done);
}

kxNamedVariable *Make(kxNameSpace &ns, const char *name, const char *definition)
{
    auto *v = new kxNamedVariable(&ns);
    EXPECT_TRUE(v->SetName(name)) << name;
    v->SetValueOrExpression(definition);
    return v;
}

} // namespace

TEST(KXNamedVariableTest, NamingRules)
{
    EXPECT_FALSE(kxNamedVariable::IsNameValid("2x"));
    EXPECT_FALSE(kxNamedVariable::IsNameValid("sin"));     // a registered function
    EXPECT_FALSE(kxNamedVariable::IsNameValid("_PI"));     // constants start with '_'
    EXPECT_FALSE(kxNamedVariable::IsNameValid("a-b"));
    EXPECT_FALSE(kxNamedVariable::IsNameValid(""));
    EXPECT_TRUE(kxNamedVariable::IsNameValid("a_2"));
    EXPECT_TRUE(kxNamedVariable::IsNameValid("PI"));
    EXPECT_TRUE(kxNamedVariable::IsNameValid("Sin"));

    kxNameSpace ns;
    kxNamedVariable *a = Make(ns, "a", "1");
    kxNamedVariable *b = new kxNamedVariable(&ns);
    EXPECT_FALSE(b->SetName("a"));          // clash in the same namespace
    EXPECT_FALSE(b->SetName("2x"));
    EXPECT_FALSE(b->SetName("sin"));
    EXPECT_TRUE(b->GetName().Empty());
    EXPECT_TRUE(a->SetName("a"));           // its own name again
    EXPECT_FALSE(a->IsNameUnique("a"));     // the variable itself is not excluded
    EXPECT_TRUE(b->SetName("a_2"));
    EXPECT_TRUE(b->SetName(""));            // the empty name is always accepted
    EXPECT_TRUE(a->SetName(""));
    EXPECT_TRUE(b->SetName("a"));           // the name is free once it was given up
    EXPECT_EQ(ns.FindVariable("a"), b->GetIndex());

    kxNameSpace child(&ns);
    kxNamedVariable *c = new kxNamedVariable(&child);
    EXPECT_TRUE(c->SetName("a"));           // uniqueness is per namespace, not per chain
}

TEST(KXNamedVariableTest, ConstructionFlags)
{
    kxNameSpace ns;
    kxNamedVariable listed(&ns, 0);
    EXPECT_EQ(listed.GetIndex(), 0);
    EXPECT_EQ(listed.GetListedIndex(), 0);
    EXPECT_TRUE(listed.IsProperty());
    EXPECT_TRUE(listed.IsValue());
    EXPECT_EQ(listed.GetExpression(), "0");
    EXPECT_EQ(listed.GetValue(), cx(0, 0));

    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed, 7);
    EXPECT_EQ(anonymous.GetIndex(), -1);
    EXPECT_EQ(anonymous.GetListedIndex(), -1);

    kxNamedVariable temporary(&ns, kxNamedVariable::Temporary, 7);
    EXPECT_TRUE(temporary.IsTemporary());
    EXPECT_EQ(temporary.GetIndex(), 7);
    EXPECT_EQ(temporary.GetListedIndex(), -1);

    kxNamedVariable hidden(&ns, kxNamedVariable::NotProperty);
    EXPECT_FALSE(hidden.IsProperty());
    EXPECT_EQ(hidden.GetIndex(), 1);
    EXPECT_EQ(hidden.GetListedIndex(), -1);
    EXPECT_EQ(ns.GetVariableCount(), 2);    // only listed and hidden were entered

    hidden.SetPreloaded();
    EXPECT_TRUE(hidden.IsPreloaded());
    ns.PrepareToLoad();
    EXPECT_FALSE(hidden.IsPreloaded());
}

TEST(KXNamedVariableTest, SettersAndText)
{
    kxNameSpace ns;
    kxNamedVariable v(&ns);
    EXPECT_TRUE(v.SetValue("2.5"));
    EXPECT_EQ(v.GetValue(), cx(2.5, 0));
    EXPECT_TRUE(v.SetValue(" ( 1.5 , -2 ) "));
    EXPECT_EQ(v.GetValue(), cx(1.5, -2));
    EXPECT_EQ(v.GetValueString(), "(1.5, -2)");
    EXPECT_FALSE(v.SetValue("2*3"));
    EXPECT_EQ(v.GetValue(), cx(1.5, -2));   // unchanged

    v.SetValueOrExpression("2*3");
    EXPECT_FALSE(v.IsValue());
    EXPECT_EQ(v.GetExpression(), "2*3");
    EXPECT_EQ(v.GetValue(), cx(6, 0));
    EXPECT_EQ(v.GetValueString(), "6");
    v.SetValueOrExpression("1e-3");
    EXPECT_TRUE(v.IsValue());
    EXPECT_EQ(v.GetValueString(), "0.001");
    v.SetExpression("1/3");
    EXPECT_EQ(v.GetValueString(), "0.33333333");
}

TEST(KXNamedVariableTest, CachingAndPropagation)
{
    RegisterCounter();
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *a = Make(ns, "a", "2");
    kxNamedVariable *b = Make(ns, "b", "kxcount(a)*3");
    kxNamedVariable *other = Make(ns, "other", "1");

    evaluations = 0;
    EXPECT_EQ(b->GetValue(), cx(6, 0));
    EXPECT_EQ(b->GetValue(), cx(6, 0));
    EXPECT_EQ(evaluations, 1);              // the second read is a cache hit
    EXPECT_EQ(b->GetValueStamp(), ns.GetPseudoTime());

    other->SetValue(cx(9, 0));               // moves the pseudo-time, a unchanged
    EXPECT_EQ(b->GetValue(), cx(6, 0));
    EXPECT_EQ(evaluations, 1);              // re-checked, not re-evaluated

    a->SetValue(cx(5, 0));
    EXPECT_EQ(b->GetValue(), cx(15, 0));
    EXPECT_EQ(evaluations, 2);

    a->SetExpression("other+1");            // a becomes a formula; b follows through it
    EXPECT_EQ(b->GetValue(), cx(30, 0));
    b->SetExpression("kxcount(a)*3");       // the same text again recompiles and evaluates
    EXPECT_EQ(b->GetValue(), cx(30, 0));
    EXPECT_EQ(evaluations, 4);
    EXPECT_EQ(warnings.Take(), "");
}

TEST(KXNamedVariableTest, CircularDefinitions)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *a = Make(ns, "a", "b");
    Make(ns, "b", "a");
    EXPECT_EQ(a->GetValue(), cx(0, 0));
    EXPECT_EQ(warnings.Take(), "Variable a = b is directly or indirectly circular\n");
    EXPECT_EQ(a->GetValue(), cx(0, 0));     // cached: no second warning
    EXPECT_EQ(warnings.Take(), "");

    kxNamedVariable *self = Make(ns, "s", "s+1");
    EXPECT_EQ(self->GetValue(), cx(1, 0));  // the inner read gives 0
    EXPECT_EQ(warnings.Take(), "Variable s = s+1 is directly or indirectly circular\n");

    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed);
    anonymous.SetExpression("c*2");
    Make(ns, "c", "d");
    Make(ns, "d", "c");
    EXPECT_EQ(anonymous.GetValue(), cx(0, 0));
    EXPECT_EQ(warnings.Take(), "Variable c = d is directly or indirectly circular\n");
}

TEST(KXNamedVariableTest, UndefinedNames)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *y = Make(ns, "y", "x+1");
    EXPECT_EQ(y->GetValue(), cx(1, 0));
    EXPECT_EQ(warnings.Take(), "Variable y = x+1 refers to undefined variable x\n");

    kxNamedVariable *z = Make(ns, "z", "p*q+r+p+s+1");   // four names: beyond the inline room
    EXPECT_EQ(z->GetValue(), cx(1, 0));
    EXPECT_EQ(warnings.Take(), "Variable z = p*q+r+p+s+1 refers to undefined variables p, q, r, s\n");

    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed);
    anonymous.SetExpression("PI*2");        // PI without the underscore is a plain name
    EXPECT_EQ(anonymous.GetValue(), cx(0, 0));
    EXPECT_EQ(warnings.Take(), "Expression \"PI*2\" refers to undefined variable PI\n");

    Make(ns, "x", "41");                    // defining the name later resolves it
    EXPECT_EQ(y->GetValue(), cx(42, 0));
    Make(ns, "s", "10");
    Make(ns, "p", "2");
    Make(ns, "q", "3");
    Make(ns, "r", "4");
    EXPECT_EQ(z->GetValue(), cx(23, 0));
    EXPECT_EQ(warnings.Take(), "");
}

TEST(KXNamedVariableTest, NameScan)
{
    WarningCapture warnings;
    kxNameSpace ns;
    Make(ns, "x", "2");
    Make(ns, "x2e", "10");
    kxNamedVariable *v = Make(ns, "v", "_PI*x");
    EXPECT_NEAR(v->GetValue().real(), 2 * M_PI, 1e-12);
    v->SetExpression("1e5+2.5e-3+x");       // exponents are not names
    EXPECT_NEAR(v->GetValue().real(), 100002.0025, 1e-9);
    v->SetExpression("sin(x)+max(x,1)");    // function names are skipped
    EXPECT_NEAR(v->GetValue().real(), std::sin(2.0) + 2, 1e-12);
    v->SetExpression("x2e-3");              // a name, minus 3
    EXPECT_EQ(v->GetValue(), cx(7, 0));
    EXPECT_EQ(warnings.Take(), "");
}

TEST(KXNamedVariableTest, EvaluationFaults)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *d = Make(ns, "d", "1/0");
    d->GetValue();
    EXPECT_EQ(warnings.Take(), "Variable d = 1/0 could not be evaluated: division by zero");
    EXPECT_EQ(int(error), 0);               // the record was reset

    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed);
    anonymous.SetExpression("(1");
    anonymous.GetValue();
    EXPECT_EQ(warnings.Take(), "Expression (1 could not be evaluated: missing bracket\n");

    error.set("pending");                   // a user error from before survives evaluation
    d->SetExpression("ln(0)");
    d->GetValue();
    EXPECT_EQ(warnings.Take(), "Variable d = ln(0) could not be evaluated: DOMAIN error in function \"ln\"\n");
    EXPECT_STREQ(error.chars(), "pending");
    error.reset();
}

TEST(KXNamedVariableTest, RenameAndRemove)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *a = Make(ns, "a", "2");
    kxNamedVariable *b = Make(ns, "b", "a*3");
    EXPECT_EQ(b->GetValue(), cx(6, 0));

    EXPECT_TRUE(a->SetName("c"));           // b's reference is now stale
    EXPECT_EQ(b->GetValue(), cx(0, 0));
    EXPECT_EQ(warnings.Take(), "Variable b = a*3 refers to undefined variable a\n");
    kxNamedVariable *a2 = Make(ns, "a", "7");
    EXPECT_EQ(b->GetValue(), cx(21, 0));

    ns.RemoveVariable(a2->GetIndex());
    EXPECT_EQ(ns.GetVariableAt(2), nullptr); // the slot stays, empty
    EXPECT_EQ(b->GetValue(), cx(0, 0));
    EXPECT_EQ(warnings.Take(), "Variable b = a*3 refers to undefined variable a\n");

    delete a;                                // deleting directly empties the slot too
    EXPECT_EQ(ns.FindVariable("c"), -1);
    EXPECT_EQ(ns.GetVariableAt(0), nullptr);
}

TEST(KXNamedVariableTest, DeepChainNeedsNoMachineStack)
{
    WarningCapture warnings;
    kxNameSpace ns;
    const int length = 50000;
    Make(ns, "v0", "1");
    char name[32], formula[48];
    for (int i = 1; i < length; ++i) {
        std::snprintf(name, sizeof name, "v%d", i);
        std::snprintf(formula, sizeof formula, "v%d+1", i - 1);
        Make(ns, name, formula);
    }
    kxNamedVariable *last = ns.GetVariableByName(name);
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->GetValue(), cx(length, 0));
    ns.GetVariableByName("v0")->SetValue(cx(10, 0));
    EXPECT_EQ(last->GetValue(), cx(length + 9, 0));
    EXPECT_EQ(warnings.Take(), "");

    ns.GetVariableByName("v0")->SetExpression(name);   // close the ring
    EXPECT_EQ(last->GetValue(), cx(length - 1, 0));
    EXPECT_EQ(warnings.Take(), "Variable " + std::string(name) + " = v" +
                                   std::to_string(length - 2) +
                                   "+1 is directly or indirectly circular\n");
}

TEST(KXNamedVariableTest, CheckSumFollowsDependencies)
{
    kxNameSpace ns;
    kxNamedVariable *a = Make(ns, "a", "2");
    kxNamedVariable *b = Make(ns, "b", "a*3");
    CheckSum before;
    b->AppendCheckSum(before);
    CheckSum same;
    b->AppendCheckSum(same);
    EXPECT_TRUE(before == same);
    a->SetValue(cx(3, 0));
    CheckSum after;
    b->AppendCheckSum(after);
    EXPECT_TRUE(before != after);
}
