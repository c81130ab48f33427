// Tests of kxParameter<T>: values and formulas, copying between namespaces, arithmetic,
// comparisons and the text form.
#include "kx/expressions/kxparameter.h"

#include "kxwarningcapture.h"

TEST(KXParameterTest, ValueOrFormula)
{
    kxNameSpace ns;
    kxNamedVariable *w = Define(ns, "w", "2");
    kxParameter<double> p;
    EXPECT_EQ(double(p), 0.0);
    EXPECT_FALSE(p.IsUndefined());

    p.SetValueOrExpression(&ns, "w*2");
    EXPECT_TRUE(p.HasExpression());
    EXPECT_EQ(p.GetValueString(), "4");
    EXPECT_EQ(ns.GetVariableCount(), 1); // never entered in the namespace
    w->SetValue(cx(5, 0));
    EXPECT_EQ(p.GetValue(), 10.0); // follows the variable
    const kxNamedVariable *variable = p.GetNamedVariable();
    p.SetExpression(&ns, "w+1"); // same namespace: reused
    EXPECT_EQ(p.GetNamedVariable(), variable);
    EXPECT_EQ(double(p), 6.0);

    p.SetValueOrExpression(&ns, "12.5");
    EXPECT_FALSE(p.HasExpression());
    EXPECT_EQ(p.GetExpression(), "12.5");
    p.SetValueOrExpression(nullptr, "w*2"); // no namespace: ignored
    p.SetExpression(kxNoNameSpace(), "w");
    EXPECT_FALSE(p.HasExpression());
    EXPECT_FALSE(p.SetValue("abc"));
    EXPECT_EQ(double(p), 12.5);
    EXPECT_TRUE(p.SetValue(" 3e2 "));
    EXPECT_DOUBLE_EQ(double(p), 300.0);

    p.SetExpression(&ns, "");
    EXPECT_TRUE(p.IsUndefined());
    EXPECT_TRUE(p.GetValueString().Empty());
    p = 1.5;
    EXPECT_FALSE(p.IsUndefined());
    EXPECT_EQ(p.GetValueString(), "1.5");
}

TEST(KXParameterTest, NarrowingAndArithmetic)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxParameter<int> n;
    const struct {
        const char *formula;
        int value;
    } ints[] = {{"3.6", 4}, {"-3.5", -4}, {"5e9", 2147483647}, {"-5e9", -2147483647}};
    for (const auto &c : ints) {
        n.SetExpression(&ns, c.formula);
        EXPECT_EQ(int(n), c.value) << c.formula;
    }
    EXPECT_EQ(n.GetValueString(), "-2147483647");
    EXPECT_FALSE(n.SetValue("3e12")); // outside the int range
    n = 2147483647;
    n += 10; // clamped, not overflowed
    EXPECT_EQ(int(n), 2147483647);
    n /= 0;
    EXPECT_EQ(int(n), 0);
    n = 7;
    n /= 2;
    EXPECT_EQ(int(n), 3);

    kxParameter<float> f;
    f.SetExpression(&ns, "0.1");
    EXPECT_EQ(float(f), 0.1f);
    kxParameter<cx> z;
    z.SetValueOrExpression(&ns, "(1, 2)");
    EXPECT_FALSE(z.HasExpression());
    EXPECT_EQ(z.GetExpression(), "(1, 2)");

    Define(ns, "w", "2");
    kxParameter<double> p;
    p.SetExpression(&ns, "w");
    p += 1; // arithmetic freezes a formula
    EXPECT_FALSE(p.HasExpression());
    EXPECT_EQ(double(p), 3.0);
    p -= 0.5;
    p *= 4;
    p /= 5;
    EXPECT_EQ(double(p), 2.0);
    EXPECT_EQ(warnings.Take(), "");
}

TEST(KXParameterTest, CopyFromAndCopies)
{
    kxNameSpace source, target, frozen;
    Define(source, "w", "2");
    Define(target, "w", "7");
    kxParameter<double> p;
    p.SetExpression(&source, "w/2");

    kxParameter<double> q;
    q.CopyFrom(&target, p); // re-bound in the target
    EXPECT_EQ(q.GetNamedVariable()->GetNameSpace(), &target);
    EXPECT_EQ(double(q), 3.5);
    for (kxNameSpace *handle :
         {static_cast<kxNameSpace *>(nullptr), kxNoNameSpace(), kxOwnNameSpace()}) {
        kxParameter<double> r;
        r.SetExpression(&frozen, "99");
        r.CopyFrom(handle, p); // frozen into its value
        EXPECT_FALSE(r.HasExpression());
        EXPECT_EQ(double(r), 1.0);
    }
    kxParameter<double> plain(4.25);
    q.CopyFrom(&target, plain);
    EXPECT_FALSE(q.HasExpression());
    q.CopyFrom(&target, q); // itself: nothing happens
    EXPECT_EQ(double(q), 4.25);

    kxParameter<double> copy(p); // copies keep their namespace
    EXPECT_NE(copy.GetNamedVariable(), p.GetNamedVariable());
    EXPECT_EQ(copy.GetNamedVariable()->GetNameSpace(), &source);
    copy = plain;
    EXPECT_FALSE(copy.HasExpression());
    copy = p;
    kxParameter<double> moved(std::move(copy));
    EXPECT_EQ(moved.GetExpression(), "w/2");
    EXPECT_FALSE(copy.HasExpression());
}

TEST(KXParameterTest, Comparisons)
{
    kxNameSpace ns;
    Define(ns, "w", "2");
    kxParameter<double> formula, same, plain(2.0), other(3.0);
    formula.SetExpression(&ns, "w");
    same.SetExpression(&ns, "w");
    EXPECT_TRUE(formula == same);   // same text
    EXPECT_FALSE(formula == plain); // never equal in form
    EXPECT_TRUE(formula != plain);
    EXPECT_TRUE(formula.ValueEquals(plain)); // equal in value
    EXPECT_FALSE(formula.ValueEquals(other));
    EXPECT_TRUE(formula == 2.0);
    EXPECT_TRUE(formula != 3.0);
    EXPECT_TRUE(plain == kxParameter<double>(2.0));
    same.SetExpression(&ns, "w ");
    EXPECT_FALSE(formula == same); // exact comparison of texts
}

TEST(KXParameterTest, TextForms)
{
    kxNameSpace ns;
    Define(ns, "w", "8");
    KXString out;
    kxParameter<double>(2.5).Write(out);
    kxParameter<int>(3).Write(out += ',');
    kxParameter<cx>(cx(1, -2)).Write(out += ',');
    kxParameter<double> formula;
    formula.SetExpression(&ns, "w/2");
    formula.Write(out += ',');
    EXPECT_EQ(out, "2.500000,3,(1.000000, -2.000000),\"w/2\"");

    // Each read consumes one field; a failed read leaves the value, but keeps what it consumed.
    const struct {
        const char *text;
        bool ok;
        const char *rest;
        double value;
        bool formula;
    } reads[] = {
        {"  \"w/2\", 7", true, ", 7", 4.0, true},      {"\"unclosed", false, nullptr, 4.0, true},
        {"1.5e-3 next", true, " next", 1.5e-3, false}, {"abc", false, nullptr, 1.5e-3, false},
        {"   ", false, nullptr, 1.5e-3, false},        {"", false, nullptr, 1.5e-3, false},
        {"1.2.3,", false, ",", 1.5e-3, false}};
    kxParameter<double> p;
    for (const auto &r : reads) {
        KXString text(r.text);
        EXPECT_EQ(p.Read(&ns, text), r.ok) << r.text;
        if (r.rest) {
            EXPECT_EQ(text, r.rest) << r.text;
        }
        EXPECT_DOUBLE_EQ(double(p), r.value) << r.text;
        EXPECT_EQ(p.HasExpression(), r.formula) << r.text;
    }
    KXString text("\"w\" rest");
    kxParameter<double> unbound(1.0);
    EXPECT_TRUE(unbound.Read(nullptr, text)); // skipped without a namespace
    EXPECT_EQ(text, " rest");
    EXPECT_FALSE(unbound.HasExpression());

    kxParameter<cx> z;
    text = " (1.5, -2) tail";
    EXPECT_TRUE(z.Read(&ns, text));
    EXPECT_EQ(cx(z), cx(1.5, -2));
    EXPECT_EQ(text, " tail");
    for (const char *bad : {"(1, 2", "(x, 2)"}) {
        text = bad;
        EXPECT_FALSE(z.Read(&ns, text)) << bad;
    }
    EXPECT_EQ(text, "(x, 2)");
    kxParameter<int> n;
    text = "12,13";
    EXPECT_TRUE(n.Read(&ns, text));
    EXPECT_EQ(int(n), 12);

    double value = 0; // the plain form: no formulas
    text = "  -2.5e1)";
    EXPECT_TRUE(kxParameter<double>::Read(value, text));
    EXPECT_DOUBLE_EQ(value, -25.0);
    EXPECT_EQ(text, ")");
    for (const char *bad : {"\"w\"", ""}) {
        text = bad;
        EXPECT_FALSE(kxParameter<double>::Read(value, text)) << bad;
    }
}
