// Tests of the material base: argument checks and their messages, the extrapolation warning
// given once, the thermo-optic correction and the quantities derived from the index.
#include "kx/materials/kxmatmodels.h"
#include "kx/materials/materb.h"
#include "kxmattesthelp.h"

#include <cmath>
#include <limits>

namespace {

kxSellmeierMaterial Silica()
{
    kxSellmeierMaterial m(1.0, {0.6961663, 0.4079426, 0.8974794},
                          {0.0684043 * 0.0684043, 0.1162414 * 0.1162414, 9.896161 * 9.896161});
    m.SetName(KXString("silica"));
    m.SetRange(0.21, 3.71);
    return m;
}

} // namespace

TEST(kxMaterialTest, RefusesBadArgumentsWithMessages)
{
    error.reset();
    kxSellmeierMaterial m = Silica();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    struct Case {
        double lambda, T, x;
        const char *text;
    } cases[] = {
        {0.0, 300, 0,
         "material \"silica\": the wavelength must be a positive finite number of "
         "microns, not 0\n"},
        {-1.5, 300, 0,
         "material \"silica\": the wavelength must be a positive finite number of "
         "microns, not -1.5\n"},
        {nan, 300, 0,
         "material \"silica\": the wavelength must be a positive finite number of "
         "microns, not nan\n"},
        {inf, 300, 0,
         "material \"silica\": the wavelength must be a positive finite number of "
         "microns, not inf\n"},
        {1.55, 0, 0,
         "material \"silica\": the temperature must be a positive finite number of "
         "kelvin, not 0\n"},
        {1.55, nan, 0,
         "material \"silica\": the temperature must be a positive finite number of "
         "kelvin, not nan\n"},
        {1.55, 300, -0.1,
         "material \"silica\": the composition must lie between 0 and 1, not "
         "-0.1\n"},
        {1.55, 300, 1.5,
         "material \"silica\": the composition must lie between 0 and 1, not "
         "1.5\n"},
        {1.55, 300, nan,
         "material \"silica\": the composition must lie between 0 and 1, not "
         "nan\n"},
    };
    for (const Case &c : cases) {
        cx n(7, 7);
        EXPECT_FALSE(m.Index(c.lambda, c.T, c.x, n));
        EXPECT_EQ(n, cx(7, 7)) << "the output is left alone";
        EXPECT_EQ(error, kxErrOutOfRange);
        EXPECT_EQ(TakeError(), c.text);
        EXPECT_EQ(m.Index(c.lambda, c.T, c.x), cx(0, 0));
        TakeError();
        kxIndexDerivatives d;
        EXPECT_FALSE(m.Derivatives(c.lambda, c.T, c.x, d));
        TakeError();
        EXPECT_EQ(m.GroupIndex(c.lambda, c.T, c.x), 0.0);
        EXPECT_EQ(m.Absorption(c.lambda, c.T, c.x), 0.0);
        EXPECT_NE(TakeError(), "");
    }
    // A model value that is not finite is refused too: a Sellmeier pole.
    kxSellmeierMaterial pole(1.0, {1.0}, {1.0});
    pole.SetName(KXString("pole"));
    cx n;
    EXPECT_FALSE(pole.Index(1.0, 300, 0, n));
    EXPECT_EQ(TakeError(), "material \"pole\": the index is not finite at 1 um\n");
}

TEST(kxMaterialTest, ExtrapolationIsWarnedOnce)
{
    WarningCapture warnings;
    error.reset();
    kxSellmeierMaterial m = Silica();
    EXPECT_NEAR(m.Index(1.55).real(), 1.444024, 1e-6);
    EXPECT_EQ(warnings.Take(), "");
    const cx far = m.Index(5.0);
    EXPECT_EQ(error, 0) << "an extrapolation is no error";
    EXPECT_GT(far.real(), 1.0);
    EXPECT_EQ(warnings.Take(), "material \"silica\": 5 um is outside the validity range 0.21 - "
                               "3.71 um; the index is extrapolated\n");
    EXPECT_TRUE(m.ExtrapolationWarned());
    (void)m.Index(0.1);
    kxIndexDerivatives d;
    EXPECT_TRUE(m.Derivatives(6.0, 300, 0, d));
    EXPECT_EQ(warnings.Take(), "") << "only the first extrapolation is reported";
    m.ResetExtrapolationWarning();
    (void)m.Index(0.1);
    EXPECT_NE(warnings.Take(), "");
    // The range ends are inside the range.
    m.ResetExtrapolationWarning();
    (void)m.Index(0.21);
    (void)m.Index(3.71);
    EXPECT_EQ(warnings.Take(), "");
}

TEST(kxMaterialTest, ThermoOpticCorrection)
{
    error.reset();
    kxSellmeierMaterial m = Silica();
    const double n0 = m.Index(1.55, 293.15).real();
    EXPECT_EQ(m.Index(1.55, 400.0).real(), n0) << "no correction without a coefficient";
    m.SetThermoOptic(293.15, 1e-5, 2e-8);
    EXPECT_TRUE(m.HasThermoOptic());
    EXPECT_DOUBLE_EQ(m.Index(1.55, 293.15).real(), n0);
    const double dT = 100.0;
    EXPECT_NEAR(m.Index(1.55, 293.15 + dT).real(), n0 + 1e-5 * dT + 0.5 * 2e-8 * dT * dT, 1e-12);
    EXPECT_NEAR(m.Index(1.55, 293.15 - dT).real(), n0 - 1e-5 * dT + 0.5 * 2e-8 * dT * dT, 1e-12);
    kxIndexDerivatives d;
    ASSERT_TRUE(m.Derivatives(1.55, 393.15, 0, d));
    EXPECT_NEAR(d.n.real(), m.Index(1.55, 393.15).real(), 1e-15);
}

TEST(kxMaterialTest, DerivedQuantities)
{
    error.reset();
    kxSellmeierMaterial m = Silica();
    kxIndexDerivatives d;
    ASSERT_TRUE(m.Derivatives(1.55, 293.15, 0, d));
    // Fused silica at 1.55 um: group index about 1.4626, D about +21.9 ps/(nm km), beta2 about
    // -28 ps^2/km (the familiar values of standard fibre glass).
    EXPECT_NEAR(m.GroupIndex(1.55), 1.4626, 5e-4);
    EXPECT_NEAR(m.DispersionParameter(1.55), 21.9, 0.3);
    EXPECT_NEAR(m.GroupVelocityDispersion(1.55), -28.0, 0.5);
    // beta2 and D are tied: D = -2 pi c beta2 / lambda^2.
    const double c = 299792458.0;
    const double beta2 = m.GroupVelocityDispersion(1.55) * 1e-27; // s^2/m
    EXPECT_NEAR(m.DispersionParameter(1.55), -2 * M_PI * c * beta2 / (1.55e-6 * 1.55e-6) * 1e6,
                1e-9);
    // Absorption: alpha = 4 pi k / lambda in 1/cm.
    kxConstantMaterial lossy(cx(3.5, 1e-4));
    EXPECT_NEAR(lossy.Absorption(1.0), 4 * M_PI * 1e-4 / 1e-4, 1e-9);
    EXPECT_NEAR(lossy.Absorption(2.0), 4 * M_PI * 1e-4 / 2e-4, 1e-9);
}

TEST(kxMaterialTest, NumericalDerivativesOfTheBase)
{
    // The formula model uses the base's numerical derivatives: check them on a law whose
    // derivatives are known in closed form, n = 1 + 1/lambda^2 + i / lambda.
    error.reset();
    kxFormulaMaterial m;
    ASSERT_TRUE(m.SetFormula("1 + 1/lambda**2 + sqrt(-1)/lambda")) << TakeError();
    kxIndexDerivatives d;
    const double l = 1.3;
    ASSERT_TRUE(m.Derivatives(l, 300, 0, d));
    EXPECT_NEAR(d.n.real(), 1 + 1 / (l * l), 1e-14);
    EXPECT_NEAR(d.n.imag(), 1 / l, 1e-14);
    EXPECT_NEAR(d.dn.real(), -2 / (l * l * l), 1e-9);
    EXPECT_NEAR(d.dn.imag(), -1 / (l * l), 1e-9);
    EXPECT_NEAR(d.d2n.real(), 6 / (l * l * l * l), 1e-6);
    EXPECT_NEAR(d.d2n.imag(), 2 / (l * l * l), 1e-6);
}
