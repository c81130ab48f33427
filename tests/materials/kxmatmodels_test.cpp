// Tests of the material models: each law against a direct evaluation of its formula, exact
// derivatives against finite differences, tables, formulas bound to a namespace, alloys and
// the single-oscillator model.
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/materials/kxmatmodels.h"
#include "kxmattesthelp.h"

#include <cmath>
#include <functional>

namespace {

/// Derivatives of `m` agree with finite differences at several wavelengths.
void ExpectDerivativesMatch(kxMaterial &m, std::initializer_list<double> lambdas, double x = 0.0,
                            double tol1 = 1e-7, double tol2 = 1e-5)
{
    for (double l : lambdas) {
        kxIndexDerivatives d;
        ASSERT_TRUE(m.Derivatives(l, 300.0, x, d)) << TakeError();
        cx d1, d2;
        FiniteDifferences(m, l, 300.0, x, 1e-4 * l, d1, d2);
        EXPECT_NEAR(std::abs(d.n - m.IndexUnchecked(l, 300.0, x)), 0.0, 1e-14) << l;
        EXPECT_NEAR(std::abs(d.dn - d1), 0.0, tol1 * (1 + std::abs(d1))) << m.ModelName() << l;
        EXPECT_NEAR(std::abs(d.d2n - d2), 0.0, tol2 * (1 + std::abs(d2))) << m.ModelName() << l;
    }
}

} // namespace

TEST(kxMaterialModelsTest, ConstantCauchySellmeier)
{
    error.reset();
    kxConstantMaterial c(cx(2.0, 0.01));
    EXPECT_EQ(c.Index(0.8), cx(2.0, 0.01));
    kxIndexDerivatives d;
    ASSERT_TRUE(c.Derivatives(0.8, 300, 0, d));
    EXPECT_EQ(d.dn, cx(0, 0));
    EXPECT_EQ(d.d2n, cx(0, 0));

    kxCauchyMaterial cauchy({1.5, 0.004, 0.0001});
    const double l = 0.7;
    EXPECT_NEAR(cauchy.Index(l).real(), 1.5 + 0.004 / (l * l) + 0.0001 / (l * l * l * l), 1e-15);
    ExpectDerivativesMatch(cauchy, {0.4, 0.7, 1.3});

    // Five terms: any number is allowed.
    const std::vector<double> B = {0.5, 0.3, 0.2, 0.1, 0.05}, C = {0.01, 0.02, 0.04, 50, 100};
    kxSellmeierMaterial s(1.2, B, C);
    EXPECT_EQ(s.TermCount(), 5);
    for (double lam : {0.5, 1.0, 1.55, 3.0}) {
        double n2 = 1.2;
        for (size_t i = 0; i < B.size(); ++i)
            n2 += B[i] * lam * lam / (lam * lam - C[i]);
        EXPECT_NEAR(s.Index(lam).real(), std::sqrt(n2), 1e-14) << lam;
    }
    ExpectDerivativesMatch(s, {0.5, 1.0, 1.55, 3.0});
    // n^2 < 0 (inside a resonance band) gives a purely imaginary index.
    kxSellmeierMaterial band(1.0, {-3.0}, {0.0});
    const cx n = band.Index(1.0);
    EXPECT_EQ(n.real(), 0.0);
    EXPECT_NEAR(n.imag(), std::sqrt(2.0), 1e-15);
}

TEST(kxMaterialModelsTest, DatabaseFormulasOneToNine)
{
    error.reset();
    using Law = std::function<double(double)>; // n at lambda
    auto sq = [](double v) { return std::sqrt(v); };
    struct Case {
        int type;
        std::vector<double> c;
        Law law;
    } cases[] = {
        {1,
         {0.1, 0.6961663, 0.0684043, 0.8974794, 9.896161},
         [&](double l) {
             return sq(1 + 0.1 + 0.6961663 * l * l / (l * l - 0.0684043 * 0.0684043) +
                       0.8974794 * l * l / (l * l - 9.896161 * 9.896161));
         }},
        {2,
         {0.0, 2.6734, 0.01764, 12.614, 474.6},
         [&](double l) {
             return sq(1 + 2.6734 * l * l / (l * l - 0.01764) + 12.614 * l * l / (l * l - 474.6));
         }},
        {3,
         {2.0, 0.5, 1.5, -0.01, 2.0},
         [&](double l) { return sq(2.0 + 0.5 * std::pow(l, 1.5) - 0.01 * l * l); }},
        {4,
         {2.5, 0.3, 2.0, 0.2, 2.0, 0.1, 2.0, 6.0, 2.0, -0.02, 2.0},
         [&](double l) {
             return sq(2.5 + 0.3 * l * l / (l * l - 0.04) + 0.1 * l * l / (l * l - 36.0) -
                       0.02 * l * l);
         }},
        {5,
         {1.45, 0.004, -2.0, 0.0001, -4.0},
         [&](double l) { return 1.45 + 0.004 / (l * l) + 0.0001 / (l * l * l * l); }},
        {6,
         {0.0, 0.05792105, 238.0185, 0.00167917, 57.362},
         [&](double l) {
             return 1 + 0.05792105 / (238.0185 - 1 / (l * l)) + 0.00167917 / (57.362 - 1 / (l * l));
         }},
        {7,
         {3.4, 0.1, 0.01, -0.001, 1e-5, -1e-7},
         [&](double l) {
             const double L = 1 / (l * l - 0.028), l2 = l * l;
             return 3.4 + 0.1 * L + 0.01 * L * L - 0.001 * l2 + 1e-5 * l2 * l2 -
                    1e-7 * l2 * l2 * l2;
         }},
        {8,
         {0.2, 0.1, 0.05, -0.001},
         [&](double l) {
             const double r = 0.2 + 0.1 * l * l / (l * l - 0.05) - 0.001 * l * l;
             return sq((1 + 2 * r) / (1 - r));
         }},
        {9,
         {4.0, 0.2, 0.1, 0.05, 0.3, 0.02},
         [&](double l) {
             return sq(4.0 + 0.2 / (l * l - 0.1) +
                       0.05 * (l - 0.3) / ((l - 0.3) * (l - 0.3) + 0.02));
         }},
    };
    for (const Case &c : cases) {
        kxDatabaseMaterial m;
        ASSERT_TRUE(m.SetFormula(c.type, c.c, 0.4, 2.0)) << TakeError();
        for (double l : {0.5, 1.0, 1.55})
            EXPECT_NEAR(m.Index(l).real(), c.law(l), 1e-13) << "formula " << c.type << " at " << l;
        ExpectDerivativesMatch(m, {0.5, 1.0, 1.55});
        double lo, hi;
        m.Range(0, lo, hi);
        EXPECT_EQ(lo, 0.4);
        EXPECT_EQ(hi, 2.0);
    }
    // Coefficient counts and types that do not fit are refused with a message.
    kxDatabaseMaterial m;
    m.SetName(KXString("db"));
    EXPECT_FALSE(m.SetFormula(10, {1.0}, 0.4, 2.0));
    EXPECT_EQ(TakeError(), "material \"db\": the formula type must be 1 to 9\n");
    EXPECT_FALSE(m.SetFormula(1, {1.0, 2.0}, 0.4, 2.0));
    EXPECT_EQ(TakeError(), "material \"db\": this formula takes C1 and pairs of coefficients\n");
    EXPECT_FALSE(m.SetFormula(8, {1, 2, 3, 4, 5}, 0.4, 2.0));
    EXPECT_EQ(TakeError(), "material \"db\": formula 8 takes at most 4 coefficients\n");
    EXPECT_FALSE(m.SetFormula(5, {1.0}, 2.0, 1.0));
    EXPECT_EQ(TakeError(), "material \"db\": the formula's range must be 0 <= lo < hi\n");
    EXPECT_EQ(m.FormulaType(), 0) << "a refused formula leaves the material as it was";
}

TEST(kxMaterialModelsTest, TabulatedNAndK)
{
    error.reset();
    // n = 1.5 + 0.01 / lambda^2 sampled on 0.4 .. 2.0, k linear in lambda.
    std::vector<double> l, n, k;
    for (int i = 0; i <= 80; ++i) {
        const double lam = 0.4 + 0.02 * i;
        l.push_back(lam);
        n.push_back(1.5 + 0.01 / (lam * lam));
        k.push_back(1e-3 * lam);
    }
    kxDatabaseMaterial spline;
    ASSERT_TRUE(spline.SetNTable(l, n));
    ASSERT_TRUE(spline.SetKTable(l, k));
    EXPECT_DOUBLE_EQ(spline.Index(l[10]).real(), n[10]) << "the spline passes through the table";
    EXPECT_NEAR(spline.Index(1.01).real(), 1.5 + 0.01 / (1.01 * 1.01), 1e-8);
    EXPECT_NEAR(spline.Index(1.01).imag(), 1.01e-3, 1e-12);
    ExpectDerivativesMatch(spline, {0.55, 1.01, 1.77});
    // Outside the table: straight lines, second derivative 0, one warning.
    WarningCapture warnings;
    kxIndexDerivatives d;
    ASSERT_TRUE(spline.Derivatives(2.5, 300, 0, d));
    EXPECT_EQ(d.d2n, cx(0, 0));
    EXPECT_NEAR(d.n.real(), spline.Index(2.0).real() + 0.5 * d.dn.real(), 1e-12);
    EXPECT_NE(warnings.Take(), "");

    kxDatabaseMaterial linear;
    linear.SetInterpolation(kxMaterialTable::Linear);
    ASSERT_TRUE(linear.SetNTable(l, n));
    EXPECT_NEAR(linear.Index(0.41).real(), 0.5 * (n[0] + n[1]), 1e-15);
    ASSERT_TRUE(linear.Derivatives(0.41, 300, 0, d));
    EXPECT_NEAR(d.dn.real(), (n[1] - n[0]) / 0.02, 1e-9);
    EXPECT_EQ(d.d2n, cx(0, 0));
    linear.SetInterpolation(kxMaterialTable::Spline);
    EXPECT_NEAR(linear.Index(1.01).real(), spline.Index(1.01).real(), 1e-15);

    // The range is the overlap of the parts.
    kxDatabaseMaterial mixed;
    ASSERT_TRUE(mixed.SetFormula(5, {1.5}, 0.3, 1.5));
    ASSERT_TRUE(mixed.SetKTable(l, k));
    double lo, hi;
    mixed.Range(0, lo, hi);
    EXPECT_EQ(lo, 0.4);
    EXPECT_EQ(hi, 1.5);

    // The table finds its interval through bins: it must agree with CSpline everywhere, on a
    // grid crowded at one end, at the nodes and outside the table.
    std::vector<double> gl, gn;
    for (int i = 0; i < 300; ++i) {
        gl.push_back(0.3 * std::exp(0.012 * i) + 1e-4 * i * i);
        gn.push_back(1.5 + 0.3 * std::sin(gl.back() * 7.0));
    }
    CSpline reference;
    ASSERT_TRUE(reference.Set(gl.data(), gn.data(), static_cast<int>(gl.size())));
    kxDatabaseMaterial crowded;
    ASSERT_TRUE(crowded.SetNTable(gl, gn));
    std::vector<double> at(gl);
    for (int i = 0; i <= 20000; ++i)
        at.push_back(0.2 + (gl.back() + 0.3 - 0.2) * i / 20000.0);
    for (double lam : at)
        ASSERT_NEAR(crowded.NTable().Evaluate(lam), reference.Evaluate(lam), 1e-13) << lam;
    crowded.SetInterpolation(kxMaterialTable::Linear);
    for (size_t i = 0; i + 1 < gl.size(); i += 7) {
        const double mid = 0.5 * (gl[i] + gl[i + 1]);
        ASSERT_NEAR(crowded.NTable().Evaluate(mid), 0.5 * (gn[i] + gn[i + 1]), 1e-14) << mid;
        ASSERT_EQ(crowded.NTable().Evaluate(gl[i]), gn[i]);
    }

    // Tables that cannot be used.
    kxMaterialTable t;
    EXPECT_FALSE(t.Set({1.0}, {1.0}, kxMaterialTable::Spline));
    EXPECT_FALSE(t.Set({1.0, 1.0}, {1.0, 2.0}, kxMaterialTable::Spline));
    EXPECT_FALSE(t.Set({1.0, 2.0}, {1.0, NAN}, kxMaterialTable::Spline));
    EXPECT_FALSE(t.Set({1.0, 2.0}, {1.0}, kxMaterialTable::Spline));
    EXPECT_TRUE(t.Empty());
}

TEST(kxMaterialModelsTest, FormulaFollowsNamespaceVariables)
{
    error.reset();
    kxNameSpace ns;
    auto *w = new kxNamedVariable(&ns);
    ASSERT_TRUE(w->SetName("w"));
    w->SetValue(cx(0.5, 0));
    auto *w2 = new kxNamedVariable(&ns);
    ASSERT_TRUE(w2->SetName("w2"));
    w2->SetExpression("2*w");

    kxFormulaMaterial m(&ns);
    m.SetName(KXString("f"));
    ASSERT_TRUE(m.SetFormula("1.4 + w*0.1/lambda**2 + w2*(T - 300)*1e-5 + 0.2*x")) << TakeError();
    EXPECT_NEAR(m.Index(1.0, 300, 0).real(), 1.45, 1e-14);
    EXPECT_NEAR(m.Index(1.0, 310, 0.5).real(), 1.45 + 1e-4 + 0.1, 1e-14);
    w->SetValue(cx(1.0, 0));
    EXPECT_NEAR(m.Index(1.0, 300, 0).real(), 1.5, 1e-14) << "the index follows the variable";
    EXPECT_NEAR(m.Index(1.0, 310, 0).real(), 1.5 + 2e-4, 1e-14) << "and formulas over it";

    // A copy keeps the formula and the binding.
    std::unique_ptr<kxMaterial> copy(m.newCopy());
    EXPECT_NEAR(copy->Index(2.0).real(), 1.4 + 0.1 / 4 + 2 * (293.15 - 300) * 1e-5, 1e-14);

    // Complex formulas give k; functions are not taken for variables.
    ASSERT_TRUE(m.SetFormula("sqrt(2.25) + sqrt(-1)*1e-3*exp(-lambda)")) << TakeError();
    EXPECT_NEAR(m.Index(1.0).imag(), 1e-3 * std::exp(-1.0), 1e-15);

    EXPECT_FALSE(m.SetFormula("1.5 + q*lambda"));
    EXPECT_EQ(TakeError(), "material \"f\": the formula uses \"q\", which is neither lambda, T, x "
                           "nor a variable of the project\n");
    EXPECT_FALSE(m.SetFormula("1.5 + (lambda"));
    EXPECT_EQ(TakeError(), "material \"f\": the formula \"1.5 + (lambda\" is malformed: missing "
                           "bracket\n");
    EXPECT_NEAR(m.Index(1.0).imag(), 1e-3 * std::exp(-1.0), 1e-15) << "the old formula stays";

    // An evaluation fault is refused, never NaN passed on.
    ASSERT_TRUE(m.SetFormula("1/(lambda - 1)")) << TakeError();
    cx n;
    EXPECT_FALSE(m.Index(1.0, 300, 0, n));
    EXPECT_NE(TakeError().find("division by zero"), std::string::npos);
    // A variable removed after compiling is reported.
    ASSERT_TRUE(m.SetFormula("1 + w")) << TakeError();
    ns.RemoveVariable(w->GetIndex());
    EXPECT_FALSE(m.Index(1.0, 300, 0, n));
    EXPECT_EQ(TakeError(), "material \"f\": the variable \"w\" is not defined\nmaterial \"f\": "
                           "the index is not finite at 1 um\n");
    kxIndexDerivatives d;
    EXPECT_FALSE(m.Derivatives(1.0, 300, 0, d));
    EXPECT_EQ(TakeError(), "material \"f\": the variable \"w\" is not defined\nmaterial \"f\": "
                           "the index is not finite at 1 um\n")
        << "one message, however often the formula is evaluated";
    // Without a namespace only lambda, T and x are known.
    kxFormulaMaterial bare;
    EXPECT_FALSE(bare.SetFormula("w"));
    TakeError();
}

TEST(kxMaterialModelsTest, AlloyWithBowing)
{
    error.reset();
    auto *a = new kxSellmeierMaterial(1.0, {10.0}, {0.1});
    auto *b = new kxCauchyMaterial({3.0, 0.05});
    a->SetRange(0.5, 3.0);
    b->SetRange(0.8, 5.0);
    const double na = a->Index(1.3).real(), nb = b->Index(1.3).real();
    kxAlloyMaterial alloy(a, b, 0.2);
    EXPECT_NEAR(alloy.Index(1.3, 300, 0.0).real(), na, 1e-15);
    EXPECT_NEAR(alloy.Index(1.3, 300, 1.0).real(), nb, 1e-15);
    EXPECT_NEAR(alloy.Index(1.3, 300, 0.3).real(), 0.7 * na + 0.3 * nb - 0.2 * 0.3 * 0.7, 1e-14);
    double lo, hi;
    alloy.Range(0.3, lo, hi);
    EXPECT_EQ(lo, 0.8);
    EXPECT_EQ(hi, 3.0);
    ExpectDerivativesMatch(alloy, {1.0, 1.3, 2.0}, 0.3);
    cx n;
    EXPECT_FALSE(alloy.Index(1.3, 300, 1.01, n));
    TakeError();
    std::unique_ptr<kxMaterial> copy(alloy.newCopy());
    EXPECT_EQ(copy->Index(1.3, 300, 0.3), alloy.Index(1.3, 300, 0.3));
}

TEST(kxMaterialModelsTest, SingleOscillator)
{
    error.reset();
    // GaAs-like constants: E0 3.65, Ed 36.1, Eg 1.424 eV.
    kxOscillatorMaterial m({3.65}, {36.1}, {1.424});
    const double l = 1.55, E = kxHcEvUm / l;
    const double eta = M_PI * 36.1 / (2 * std::pow(3.65, 3) * (3.65 * 3.65 - 1.424 * 1.424));
    const double eps =
        1 + 36.1 / 3.65 + 36.1 * E * E / std::pow(3.65, 3) +
        eta / M_PI * std::pow(E, 4) *
            std::log((2 * 3.65 * 3.65 - 1.424 * 1.424 - E * E) / (1.424 * 1.424 - E * E));
    EXPECT_NEAR(m.Index(l).real(), std::sqrt(eps), 1e-13);
    EXPECT_EQ(m.Index(l).imag(), 0.0);
    ExpectDerivativesMatch(m, {0.95, 1.3, 1.55});
    double lo, hi;
    m.Range(0, lo, hi);
    EXPECT_NEAR(lo, kxHcEvUm / 1.424, 1e-12) << "the range starts at the gap";
    // Above the gap the model absorbs (k > 0), below it does not.
    WarningCapture warnings;
    EXPECT_GT(m.Index(0.8).imag(), 0.0);
    EXPECT_NE(warnings.Take(), "");
}
