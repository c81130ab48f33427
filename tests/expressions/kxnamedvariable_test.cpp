// Tests of kxNamedVariable: names, setters, and the lazy evaluation with its warnings.
#include "kx/expressions/kxfnparser.h"
#include "kx/objects/kxchecksum.h"

#include "kxwarningcapture.h"

#include <cmath>
#include <cstring>

namespace {

/// Counts its calls: a formula kxcount(x) shows how often it was evaluated.
int evaluations = 0;
cx CountCalls(const ParListC &args)
{
    ++evaluations;
    return args[0];
}

} // namespace

TEST(KXNamedVariableTest, NamingRules)
{
    for (const char *bad : {"2x", "sin", "_PI", "a-b", ""}) // sin: a registered function
        EXPECT_FALSE(kxNamedVariable::IsNameValid(bad)) << bad;
    for (const char *good : {"a_2", "PI", "Sin"})
        EXPECT_TRUE(kxNamedVariable::IsNameValid(good)) << good;

    kxNameSpace ns;
    kxNamedVariable *a = Define(ns, "a", "1");
    kxNamedVariable *b = new kxNamedVariable(&ns);
    for (const char *refused : {"a", "2x", "sin"}) // a: taken in the same namespace
        EXPECT_FALSE(b->SetName(refused)) << refused;
    EXPECT_TRUE(b->GetName().Empty());
    EXPECT_TRUE(a->SetName("a"));       // its own name again
    EXPECT_FALSE(a->IsNameUnique("a")); // the variable itself is not excluded
    EXPECT_TRUE(b->SetName("a_2"));
    EXPECT_TRUE(b->SetName("")); // the empty name is always accepted
    EXPECT_TRUE(a->SetName(""));
    EXPECT_TRUE(b->SetName("a")); // the name is free once it was given up
    EXPECT_EQ(ns.FindVariable("a"), b->GetIndex());

    kxNameSpace child(&ns);
    EXPECT_TRUE((new kxNamedVariable(&child))->SetName("a")); // unique per namespace only
}

TEST(KXNamedVariableTest, ConstructionFlagsAndSetters)
{
    kxNameSpace ns;
    kxNamedVariable listed(&ns, 0);
    EXPECT_EQ(listed.GetListedIndex(), 0);
    EXPECT_TRUE(listed.IsValue());
    EXPECT_EQ(listed.GetExpression(), "0");
    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed, 7);
    kxNamedVariable temporary(&ns, kxNamedVariable::Temporary, 7);
    kxNamedVariable hidden(&ns, kxNamedVariable::NotProperty);
    EXPECT_EQ(anonymous.GetIndex(), -1);
    EXPECT_EQ(temporary.GetIndex(), 7);
    EXPECT_EQ(hidden.GetIndex(), 1); // entered, but silent (see the namespace events)
    EXPECT_EQ(ns.GetVariableCount(), 2);
    for (kxNameSpace *handle : {kxNoNameSpace(), kxOwnNameSpace()}) { // reserved: no namespace
        kxNamedVariable loose(handle);
        loose.SetExpression("2*3");
        EXPECT_EQ(loose.GetNameSpace(), nullptr);
        EXPECT_EQ(loose.GetValue(), cx(6, 0));
    }

    kxNamedVariable &v = listed;
    EXPECT_TRUE(v.SetValue(" ( 1.5 , -2 ) "));
    EXPECT_EQ(v.GetValueString(), "(1.5, -2)");
    EXPECT_FALSE(v.SetValue("2*3"));
    EXPECT_EQ(v.GetValue(), cx(1.5, -2)); // unchanged
    v.SetValueOrExpression("2*3");
    EXPECT_FALSE(v.IsValue());
    EXPECT_EQ(v.GetValue(), cx(6, 0));
    v.SetValueOrExpression("1e-3");
    EXPECT_TRUE(v.IsValue());
    EXPECT_EQ(v.GetValueString(), "0.001");
    v.SetExpression("1/3");
    EXPECT_EQ(v.GetValueString(), "0.33333333");

    // The formula text: "0" until one is set, then the last one set, a value keeping it, and
    // an empty formula stays empty.
    kxNamedVariable fresh(&ns);
    EXPECT_TRUE(fresh.SetValue("4"));
    EXPECT_EQ(fresh.GetExpression(), "0");
    EXPECT_EQ(fresh.GetValue(), cx(4, 0));
    fresh.SetExpression("");
    EXPECT_EQ(fresh.GetExpression(), "");
    fresh.SetExpression("a+1");
    fresh.SetValue(cx(2, 0));
    EXPECT_EQ(fresh.GetExpression(), "a+1");
}

TEST(KXNamedVariableTest, CachingAndPropagation)
{
    static const bool registered = kxGetComplexParser().RegisterFunction(&CountCalls, "kxcount", 1);
    ASSERT_TRUE(registered);
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *a = Define(ns, "a", "2");
    kxNamedVariable *b = Define(ns, "b", "kxcount(a)*3");
    kxNamedVariable *other = Define(ns, "other", "1");

    evaluations = 0;
    EXPECT_EQ(b->GetValue(), cx(6, 0));
    EXPECT_EQ(b->GetValue(), cx(6, 0));
    EXPECT_EQ(evaluations, 1); // the second read is a cache hit
    other->SetValue(cx(9, 0)); // moves the pseudo-time, a unchanged
    EXPECT_EQ(b->GetValue(), cx(6, 0));
    EXPECT_EQ(evaluations, 1);    // re-checked, not re-evaluated
    CheckSum before, same, after; // the check sum of b follows a
    b->AppendCheckSum(before);
    b->AppendCheckSum(same);
    a->SetValue(cx(5, 0));
    b->AppendCheckSum(after);
    EXPECT_TRUE(before == same);
    EXPECT_TRUE(before != after);
    EXPECT_EQ(b->GetValue(), cx(15, 0));
    EXPECT_EQ(evaluations, 2);
    a->SetExpression("other+1"); // a becomes a formula; b follows through it
    EXPECT_EQ(b->GetValue(), cx(30, 0));
    b->SetExpression("kxcount(a)*3"); // the same text again recompiles and evaluates
    EXPECT_EQ(b->GetValue(), cx(30, 0));
    EXPECT_EQ(evaluations, 4);
    EXPECT_EQ(warnings.Take(), "");
}

TEST(KXNamedVariableTest, CircularDefinitions)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *a = Define(ns, "a", "b");
    Define(ns, "b", "a");
    EXPECT_EQ(a->GetValue(), cx(0, 0));
    EXPECT_EQ(warnings.Take(), "Variable a = b is directly or indirectly circular\n");
    EXPECT_EQ(a->GetValue(), cx(0, 0)); // cached: no second warning
    EXPECT_EQ(warnings.Take(), "");

    EXPECT_EQ(Define(ns, "s", "s+1")->GetValue(), cx(1, 0)); // the inner read gives 0
    EXPECT_EQ(warnings.Take(), "Variable s = s+1 is directly or indirectly circular\n");

    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed); // outside the ring
    anonymous.SetExpression("c*2");
    Define(ns, "c", "d");
    Define(ns, "d", "c");
    EXPECT_EQ(anonymous.GetValue(), cx(0, 0));
    EXPECT_EQ(warnings.Take(), "Variable c = d is directly or indirectly circular\n");
}

TEST(KXNamedVariableTest, UndefinedNamesAndNameScan)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *y = Define(ns, "y", "x+1");
    EXPECT_EQ(y->GetValue(), cx(1, 0));
    EXPECT_EQ(warnings.Take(), "Variable y = x+1 refers to undefined variable x\n");
    kxNamedVariable *z = Define(ns, "z", "p*q+r+p+s+1"); // four names: beyond the inline room
    EXPECT_EQ(z->GetValue(), cx(1, 0));
    EXPECT_EQ(warnings.Take(),
              "Variable z = p*q+r+p+s+1 refers to undefined variables p, q, r, s\n");
    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed);
    anonymous.SetExpression("PI*2"); // PI without the underscore is a plain name
    EXPECT_EQ(anonymous.GetValue(), cx(0, 0));
    EXPECT_EQ(warnings.Take(), "Expression \"PI*2\" refers to undefined variable PI\n");

    for (const char *def : {"x=41", "s=10", "p=2", "q=3", "r=4", "x2e=10"}) // defined later
        Define(ns, std::string(def, std::strchr(def, '=')).c_str(), std::strchr(def, '=') + 1);
    EXPECT_EQ(y->GetValue(), cx(42, 0));
    EXPECT_EQ(z->GetValue(), cx(23, 0));

    const struct {
        const char *formula;
        double value;
    } scans[] = {{"_PI*x", 41 * M_PI},                     // a constant, not a name
                 {"1e5+2.5e-3+x", 100041.0025},            // exponents are not names
                 {"sin(x)+max(x,1)", std::sin(41.0) + 41}, // function names are skipped
                 {"x2e-3", 7}};                            // a name, minus 3
    for (const auto &scan : scans) {
        anonymous.SetExpression(scan.formula);
        EXPECT_NEAR(anonymous.GetValue().real(), scan.value, 1e-9) << scan.formula;
    }
    EXPECT_EQ(warnings.Take(), "");
}

TEST(KXNamedVariableTest, EvaluationFaults)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *d = Define(ns, "d", "1/0");
    d->GetValue();
    EXPECT_EQ(warnings.Take(), "Variable d = 1/0 could not be evaluated: division by zero");
    EXPECT_EQ(int(error), 0); // the record was reset

    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed);
    anonymous.SetExpression("(1");
    anonymous.GetValue();
    EXPECT_EQ(warnings.Take(), "Expression (1 could not be evaluated: missing bracket\n");

    d->SetExpression("ln(0)");
    d->GetValue();
    EXPECT_EQ(warnings.Take(),
              "Variable d = ln(0) could not be evaluated: DOMAIN error in function \"ln\"\n");

    // Whatever the record holds after the evaluation is reported and reset, also a user error
    // that was pending before it.
    error.set("pending");
    d->SetExpression("2+3");
    EXPECT_EQ(d->GetValue(), cx(5, 0));
    EXPECT_EQ(warnings.Take(), "Variable d = 2+3 could not be evaluated: pending");
    EXPECT_EQ(int(error), 0);
    error.set("pending ");
    anonymous.SetExpression("ln(0)");
    anonymous.GetValue();
    EXPECT_EQ(warnings.Take(),
              "Expression ln(0) could not be evaluated: pending DOMAIN error in function \"ln\"\n");
    EXPECT_EQ(int(error), 0);
}

TEST(KXNamedVariableTest, RenameAndRemove)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *a = Define(ns, "a", "2");
    kxNamedVariable *b = Define(ns, "b", "a*3");
    EXPECT_EQ(b->GetValue(), cx(6, 0));
    const std::string undefinedA = "Variable b = a*3 refers to undefined variable a\n";

    EXPECT_TRUE(a->SetName("c")); // b's reference is now stale
    EXPECT_EQ(b->GetValue(), cx(0, 0));
    EXPECT_EQ(warnings.Take(), undefinedA);
    kxNamedVariable *a2 = Define(ns, "a", "7");
    EXPECT_EQ(b->GetValue(), cx(21, 0));

    ns.RemoveVariable(a2->GetIndex());
    EXPECT_EQ(ns.GetVariableAt(2), nullptr); // the slot stays, empty
    EXPECT_EQ(b->GetValue(), cx(0, 0));
    EXPECT_EQ(warnings.Take(), undefinedA);

    delete a; // deleting directly empties the slot too
    EXPECT_EQ(ns.FindVariable("c"), -1);
    EXPECT_EQ(ns.GetVariableAt(0), nullptr);
}

TEST(KXNamedVariableTest, DeepChainNeedsNoMachineStack)
{
    WarningCapture warnings;
    kxNameSpace ns;
    const int length = 50000;
    kxNamedVariable *first = Define(ns, "v0", "1"), *last = first;
    for (int i = 1; i < length; ++i)
        last = Define(ns, ("v" + std::to_string(i)).c_str(),
                      ("v" + std::to_string(i - 1) + "+1").c_str());
    EXPECT_EQ(last->GetValue(), cx(length, 0));
    first->SetValue(cx(10, 0));
    EXPECT_EQ(last->GetValue(), cx(length + 9, 0));
    EXPECT_EQ(warnings.Take(), "");

    first->SetExpression(last->GetName()); // close the ring
    EXPECT_EQ(last->GetValue(), cx(length - 1, 0));
    EXPECT_EQ(warnings.Take(), "Variable v" + std::to_string(length - 1) + " = v" +
                                   std::to_string(length - 2) +
                                   "+1 is directly or indirectly circular\n");
}
