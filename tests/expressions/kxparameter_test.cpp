// Tests of kxParameter<T>: values and formulas, copying between namespaces, arithmetic,
// comparisons and the text form.
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/expressions/kxparameter.h"

#include "kxwarningcapture.h"

#include <gtest/gtest.h>

#include <complex>

namespace {

using cx = std::complex<double>;

kxNamedVariable *Define(kxNameSpace &ns, const char *name, const char *definition)
{
    auto *v = new kxNamedVariable(&ns);
    EXPECT_TRUE(v->SetName(name));
    v->SetValueOrExpression(definition);
    return v;
}

} // namespace

TEST(KXParameterTest, ValueOrFormula)
{
    kxNameSpace ns;
    kxNamedVariable *w = Define(ns, "w", "2");
    kxParameter<double> p;
    EXPECT_EQ(double(p), 0.0);
    EXPECT_FALSE(p.HasExpression());
    EXPECT_FALSE(p.IsUndefined());

    p.SetValueOrExpression(&ns, "w*2");
    EXPECT_TRUE(p.HasExpression());
    EXPECT_EQ(double(p), 4.0);
    EXPECT_EQ(p.GetExpression(), "w*2");
    EXPECT_EQ(p.GetValueString(), "4");
    EXPECT_EQ(p.GetNamedVariable()->GetIndex(), -1);      // never entered in the namespace
    EXPECT_EQ(ns.GetVariableCount(), 1);
    w->SetValue(cx(5, 0));
    EXPECT_EQ(p.GetValue(), 10.0);                         // follows the variable

    const kxNamedVariable *variable = p.GetNamedVariable();
    p.SetExpression(&ns, "w+1");                           // same namespace: reused
    EXPECT_EQ(p.GetNamedVariable(), variable);
    EXPECT_EQ(double(p), 6.0);

    p.SetValueOrExpression(&ns, "12.5");
    EXPECT_FALSE(p.HasExpression());
    EXPECT_EQ(double(p), 12.5);
    EXPECT_EQ(p.GetExpression(), "12.5");

    p.SetValueOrExpression(nullptr, "w*2");                // no namespace: ignored
    EXPECT_FALSE(p.HasExpression());
    EXPECT_EQ(double(p), 12.5);
    p.SetExpression(kxNoNameSpace(), "w");
    EXPECT_FALSE(p.HasExpression());

    EXPECT_FALSE(p.SetValue("abc"));
    EXPECT_EQ(double(p), 12.5);
    EXPECT_TRUE(p.SetValue(" 3e2 "));
    EXPECT_DOUBLE_EQ(double(p), 300.0);

    p.SetExpression(&ns, "");
    EXPECT_TRUE(p.IsUndefined());
    EXPECT_EQ(p.GetValueString(), "");
    p = 1.5;
    EXPECT_FALSE(p.IsUndefined());
    EXPECT_EQ(p.GetValueString(), "1.5");
}

TEST(KXParameterTest, IntegerNarrowing)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxParameter<int> n;
    n.SetExpression(&ns, "3.6");
    EXPECT_EQ(int(n), 4);
    n.SetExpression(&ns, "-3.5");
    EXPECT_EQ(int(n), -4);
    n.SetExpression(&ns, "5e9");
    EXPECT_EQ(int(n), 2147483647);
    n.SetExpression(&ns, "-5e9");
    EXPECT_EQ(int(n), -2147483647);
    EXPECT_EQ(n.GetValueString(), "-2147483647");
    EXPECT_TRUE(n.SetValue("7"));
    EXPECT_EQ(n.GetExpression(), "7");
    EXPECT_FALSE(n.SetValue("3e12"));                      // outside the int range

    n = 2147483647;
    n += 10;                                               // clamped, not overflowed
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
    EXPECT_EQ(cx(z), cx(1, 2));
    EXPECT_EQ(z.GetExpression(), "(1, 2)");
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
    q.CopyFrom(&target, p);                                // re-bound in the target
    EXPECT_TRUE(q.HasExpression());
    EXPECT_EQ(q.GetNamedVariable()->GetNameSpace(), &target);
    EXPECT_EQ(double(q), 3.5);

    for (kxNameSpace *handle : {static_cast<kxNameSpace *>(nullptr), kxNoNameSpace(), kxOwnNameSpace()}) {
        kxParameter<double> r;
        r.SetExpression(&frozen, "99");
        r.CopyFrom(handle, p);                             // frozen into its value
        EXPECT_FALSE(r.HasExpression());
        EXPECT_EQ(double(r), 1.0);
    }

    kxParameter<double> plain(4.25);
    q.CopyFrom(&target, plain);
    EXPECT_FALSE(q.HasExpression());
    EXPECT_EQ(double(q), 4.25);
    q.CopyFrom(&target, q);                                // itself: nothing happens
    EXPECT_EQ(double(q), 4.25);

    kxParameter<double> copy(p);                           // copies keep their namespace
    EXPECT_TRUE(copy.HasExpression());
    EXPECT_NE(copy.GetNamedVariable(), p.GetNamedVariable());
    EXPECT_EQ(copy.GetNamedVariable()->GetNameSpace(), &source);
    copy = plain;
    EXPECT_FALSE(copy.HasExpression());
    copy = p;
    EXPECT_EQ(copy.GetExpression(), "w/2");
    kxParameter<double> moved(std::move(copy));
    EXPECT_EQ(moved.GetExpression(), "w/2");
    EXPECT_FALSE(copy.HasExpression());
}

TEST(KXParameterTest, ArithmeticFreezesFormulas)
{
    kxNameSpace ns;
    Define(ns, "w", "2");
    kxParameter<double> p;
    p.SetExpression(&ns, "w");
    p += 1;
    EXPECT_FALSE(p.HasExpression());
    EXPECT_EQ(double(p), 3.0);
    p -= 0.5;
    p *= 4;
    p /= 5;
    EXPECT_EQ(double(p), 2.0);
}

TEST(KXParameterTest, Comparisons)
{
    kxNameSpace ns;
    Define(ns, "w", "2");
    kxParameter<double> formula, same, plain(2.0), other(3.0);
    formula.SetExpression(&ns, "w");
    same.SetExpression(&ns, "w");
    EXPECT_TRUE(formula == same);                          // same text
    EXPECT_FALSE(formula == plain);                        // never equal in form
    EXPECT_TRUE(formula != plain);
    EXPECT_TRUE(formula.ValueEquals(plain));               // equal in value
    EXPECT_FALSE(formula.ValueEquals(other));
    EXPECT_TRUE(formula == 2.0);
    EXPECT_TRUE(formula != 3.0);
    EXPECT_TRUE(plain == kxParameter<double>(2.0));
    same.SetExpression(&ns, "w ");
    EXPECT_FALSE(formula == same);                         // exact comparison of texts
}

TEST(KXParameterTest, WriteForms)
{
    kxNameSpace ns;
    KXString out;
    kxParameter<double>(2.5).Write(out);
    out += ',';
    kxParameter<int>(3).Write(out);
    out += ',';
    kxParameter<cx>(cx(1, -2)).Write(out);
    out += ',';
    kxParameter<double> formula;
    formula.SetExpression(&ns, "w/2");
    formula.Write(out);
    EXPECT_EQ(out, "2.500000,3,(1.000000, -2.000000),\"w/2\"");
}

TEST(KXParameterTest, ReadConsumesOneField)
{
    kxNameSpace ns;
    Define(ns, "w", "8");
    kxParameter<double> p;

    KXString text("  \"w/2\", 7");
    EXPECT_TRUE(p.Read(&ns, text));
    EXPECT_EQ(text, ", 7");
    EXPECT_EQ(double(p), 4.0);

    text = "\"unclosed";
    EXPECT_FALSE(p.Read(&ns, text));
    EXPECT_EQ(p.GetExpression(), "w/2");                  // unchanged

    text = "\"w\" rest";
    kxParameter<double> unbound(1.0);
    EXPECT_TRUE(unbound.Read(nullptr, text));              // skipped without a namespace
    EXPECT_EQ(text, " rest");
    EXPECT_FALSE(unbound.HasExpression());

    text = "1.5e-3 next";
    EXPECT_TRUE(p.Read(&ns, text));
    EXPECT_EQ(text, " next");
    EXPECT_FALSE(p.HasExpression());
    EXPECT_DOUBLE_EQ(double(p), 1.5e-3);

    text = "abc";
    EXPECT_FALSE(p.Read(&ns, text));
    text = "   ";
    EXPECT_FALSE(p.Read(&ns, text));
    text = "";
    EXPECT_FALSE(p.Read(&ns, text));
    text = "1.2.3,";
    EXPECT_FALSE(p.Read(&ns, text));
    EXPECT_EQ(text, ",");                                  // what was gathered is consumed
    EXPECT_DOUBLE_EQ(double(p), 1.5e-3);

    kxParameter<cx> z;
    text = " (1.5, -2) tail";
    EXPECT_TRUE(z.Read(&ns, text));
    EXPECT_EQ(cx(z), cx(1.5, -2));
    EXPECT_EQ(text, " tail");
    text = "(1, 2";
    EXPECT_FALSE(z.Read(&ns, text));
    text = "(x, 2)";
    EXPECT_FALSE(z.Read(&ns, text));
    EXPECT_EQ(text, "(x, 2)");

    kxParameter<int> n;
    text = "12,13";
    EXPECT_TRUE(n.Read(&ns, text));
    EXPECT_EQ(int(n), 12);

    double value = 0;
    text = "  -2.5e1)";
    EXPECT_TRUE(kxParameter<double>::Read(value, text));
    EXPECT_DOUBLE_EQ(value, -25.0);
    EXPECT_EQ(text, ")");
    text = "\"w\"";
    EXPECT_FALSE(kxParameter<double>::Read(value, text));  // no formulas here
    text = "";
    EXPECT_FALSE(kxParameter<double>::Read(value, text));
}
