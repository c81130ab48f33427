// Tests of the built-in materials: each against values at 1.55 um computed independently from
// its source's published coefficients (and, for fused silica, the published values), each with a
// source and a validity range.
#include "kx/materials/kxmatbuiltin.h"
#include "kx/materials/kxmatmodels.h"
#include "kxmattesthelp.h"

#include <memory>

namespace {

std::unique_ptr<kxMaterial> Builtin(const char *name)
{
    return std::unique_ptr<kxMaterial>(kxNewBuiltinMaterial(name));
}

} // namespace

TEST(kxMaterialBuiltinTest, PublishedValues)
{
    error.reset();
    WarningCapture warnings;
    // Fused silica (Malitson 1965): 1.4440 at 1.55 um and 1.4584 at the sodium D line.
    EXPECT_NEAR(Builtin("SiO2")->Index(1.55).real(), 1.4440, 5e-5);
    EXPECT_NEAR(Builtin("SiO2")->Index(0.5893).real(), 1.4584, 5e-5);
    struct Case {
        const char *name;
        double x;
        double n; // at 1.55 um, 293.15 K
    } cases[] = {
        {"Si", 0.0, 3.477724},       {"Si3N4", 0.0, 1.996280},   {"InP", 0.0, 3.164929},
        {"GaAs", 0.0, 3.398858},     {"AlGaAs", 0.0, 3.376944},  {"AlGaAs", 0.3, 3.225045},
        {"InGaAsP", 0.0, 3.169332},  {"InGaAsP", 0.5, 3.345877}, {"LiNbO3_o", 0.0, 2.211111},
        {"LiNbO3_e", 0.0, 2.137560}, {"Air", 0.0, 1.000273260},
    };
    for (const Case &c : cases) {
        auto m = Builtin(c.name);
        ASSERT_TRUE(m) << c.name;
        cx n;
        ASSERT_TRUE(m->Index(1.55, kxRoomTemperature, c.x, n)) << c.name << TakeError();
        EXPECT_NEAR(n.real(), c.n, 2e-6) << c.name << " x=" << c.x;
        EXPECT_EQ(n.imag(), 0.0) << c.name;
    }
    EXPECT_EQ(warnings.Take(), "") << "1.55 um is inside every range";
}

TEST(kxMaterialBuiltinTest, EveryEntryHasRangeSourceAndDerivatives)
{
    error.reset();
    const std::vector<std::string> names = kxBuiltinMaterialNames();
    ASSERT_EQ(names.size(), 10u);
    for (const std::string &name : names) {
        auto m = Builtin(name.c_str());
        ASSERT_TRUE(m) << name;
        EXPECT_EQ(m->GetName(), KXString(name.c_str()));
        EXPECT_FALSE(m->GetSource().Empty()) << name;
        double lo, hi;
        m->Range(0.0, lo, hi);
        EXPECT_LT(lo, hi) << name;
        EXPECT_LE(lo, 1.55) << name;
        EXPECT_GE(hi, 1.55) << name;
        kxIndexDerivatives d;
        ASSERT_TRUE(m->Derivatives(1.55, 300, 0, d)) << name;
        cx d1, d2;
        FiniteDifferences(*m, 1.55, 300, 0, 1e-4, d1, d2);
        EXPECT_NEAR(std::abs(d.dn - d1), 0.0, 1e-7) << name;
        EXPECT_NEAR(std::abs(d.d2n - d2), 0.0, 1e-4) << name;
    }
    // Names are matched without regard to case; unknown names give null.
    EXPECT_TRUE(Builtin("sio2"));
    EXPECT_TRUE(Builtin("LINBO3_E"));
    EXPECT_FALSE(Builtin("unobtainium"));
    EXPECT_FALSE(Builtin(nullptr));
}

TEST(kxMaterialBuiltinTest, CompositionAndTemperature)
{
    error.reset();
    // AlGaAs: the index falls with the Al fraction and its range starts at the gap wavelength.
    auto algaas = Builtin("AlGaAs");
    double prev = 10.0;
    for (double x : {0.0, 0.2, 0.4, 0.6, 0.8, 1.0}) {
        const double n = algaas->Index(1.55, 300, x).real();
        EXPECT_LT(n, prev) << x;
        prev = n;
        double lo, hi;
        algaas->Range(x, lo, hi);
        EXPECT_NEAR(lo, kxHcEvUm / (1.424 + 1.266 * x + 0.26 * x * x), 1e-12);
    }
    cx n;
    EXPECT_FALSE(algaas->Index(1.55, 300, 1.2, n));
    EXPECT_EQ(TakeError(), "material \"AlGaAs\": the composition must lie between 0 and 1, not "
                           "1.2\n");
    // InGaAsP: at y = 1 (In0.53Ga0.47As, gap near 1.65 um) 1.55 um lies above the gap: the index
    // is extrapolated (with a warning) and absorbs.
    WarningCapture warnings;
    auto q = Builtin("InGaAsP");
    EXPECT_GT(q->Index(1.55, 300, 1.0).imag(), 0.0);
    EXPECT_NE(warnings.Take().find("outside the validity range"), std::string::npos);
    // Silicon's thermo-optic coefficient.
    auto si = Builtin("Si");
    EXPECT_NEAR(si->Index(1.55, kxRoomTemperature + 100).real() -
                    si->Index(1.55, kxRoomTemperature).real(),
                1.86e-2, 1e-12);
}
