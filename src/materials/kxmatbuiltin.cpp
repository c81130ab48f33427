// kxmatbuiltin.cpp - the built-in materials. Coefficients are those published by the source
// named at each entry; wavelengths in microns.
#define KX_UNIT "kxmatbuiltin"
#include "kx/materials/kxmatbuiltin.h"

#include "kx/materials/kxmatmodels.h"

#include <cctype>
#include <memory>

namespace {

/// A Sellmeier material n^2 = a + sum B lambda^2 / (lambda^2 - C), with resonance wavelengths
/// (um) squared here when `squareC`.
kxMaterial *Sellmeier(double a, std::vector<double> b, std::vector<double> c, bool squareC)
{
    if (squareC)
        for (double &v : c)
            v *= v;
    return new kxSellmeierMaterial(a, std::move(b), std::move(c));
}

kxMaterial *Make(const std::string &name)
{
    if (name == "sio2") {
        // I. H. Malitson, "Interspecimen comparison of the refractive index of fused silica",
        // J. Opt. Soc. Am. 55, 1205-1209 (1965); 20 degrees C.
        return Sellmeier(1.0, {0.6961663, 0.4079426, 0.8974794}, {0.0684043, 0.1162414, 9.896161},
                         true);
    }
    if (name == "si") {
        // C. D. Salzberg and J. J. Villa, "Infrared refractive indexes of silicon, germanium
        // and modified selenium glass", J. Opt. Soc. Am. 47, 244-246 (1957), fitted as a
        // three-term Sellmeier law; room temperature.
        return Sellmeier(1.0, {10.6684293, 0.0030434748, 1.54133408},
                         {0.301516485, 1.13475115, 1104.0}, true);
    }
    if (name == "si3n4") {
        // K. Luke, Y. Okawachi, M. R. E. Lamont, A. L. Gaeta and M. Lipson, "Broadband
        // mid-infrared frequency comb generation in a Si3N4 microresonator", Opt. Lett. 40,
        // 4823-4826 (2015); stoichiometric LPCVD silicon nitride.
        return Sellmeier(1.0, {3.0249, 40314.0}, {0.1353406, 1239.842}, true);
    }
    if (name == "inp") {
        // G. D. Pettit and W. J. Turner, "Refractive index of InP", J. Appl. Phys. 36, 2081
        // (1965); room temperature.
        return Sellmeier(7.255, {2.316, 2.765}, {0.6263, 32.935}, true);
    }
    if (name == "gaas") {
        // D. T. F. Marple, "Refractive index of GaAs", J. Appl. Phys. 35, 1241-1242 (1964);
        // room temperature.
        return Sellmeier(3.5, {7.4969, 1.9347}, {0.4082, 37.17}, true);
    }
    if (name == "algaas") {
        // M. A. Afromowitz, "Refractive index of Ga(1-x)Al(x)As", Solid State Commun. 15,
        // 59-63 (1974): modified single-oscillator model, E0 = 3.65 + 0.871x + 0.179x^2,
        // Ed = 36.1 - 2.45x, Eg = 1.424 + 1.266x + 0.26x^2 (eV).
        return new kxOscillatorMaterial({3.65, 0.871, 0.179}, {36.1, -2.45}, {1.424, 1.266, 0.26});
    }
    if (name == "ingaasp") {
        // B. Broberg and S. Lindgren, "Refractive index of In(1-x)Ga(x)As(y)P(1-y) layers and InP
        // in the transparent wavelength region", J. Appl. Phys. 55, 3376-3381 (1984):
        // single-oscillator model for layers lattice-matched to InP against the As fraction y,
        // E0 = 3.391 - 1.652y + 0.863y^2 - 0.123y^3, Ed = 28.91 - 9.278y + 5.626y^2,
        // Eg = 1.35 - 0.72y + 0.12y^2 (eV).
        return new kxOscillatorMaterial({3.391, -1.652, 0.863, -0.123}, {28.91, -9.278, 5.626},
                                        {1.35, -0.72, 0.12});
    }
    if (name == "linbo3_o" || name == "linbo3_e") {
        // D. E. Zelmon, D. L. Small and D. Jundt, "Infrared corrected Sellmeier coefficients for
        // congruently grown lithium niobate and 5 mol.% magnesium oxide-doped lithium
        // niobate", J. Opt. Soc. Am. B 14, 3319-3322 (1997); congruent, 21 degrees C.
        if (name == "linbo3_o")
            return Sellmeier(1.0, {2.6734, 1.2290, 12.614}, {0.01764, 0.05914, 474.6}, false);
        return Sellmeier(1.0, {2.9804, 0.5981, 8.9543}, {0.02047, 0.0666, 416.08}, false);
    }
    if (name == "air") {
        // P. E. Ciddor, "Refractive index of air: new equations for the visible and near
        // infrared", Appl. Opt. 35, 1566-1573 (1996); standard air, 15 degrees C, 101325 Pa,
        // 450 ppm CO2. n - 1 = 0.05792105/(238.0185 - lambda^-2) + 0.00167917/(57.362 -
        // lambda^-2), the database's formula 6.
        auto *m = new kxDatabaseMaterial();
        if (!m->SetFormula(6, {0.0, 0.05792105, 238.0185, 0.00167917, 57.362}, 0.23, 1.69)) {
            delete m;
            return nullptr;
        }
        return m;
    }
    return nullptr;
}

struct Entry {
    const char *name;
    double lo, hi;
    const char *source;
};

// The ranges are those the sources give for their fits; for the oscillator models the range
// starts at the band-gap wavelength of the composition (added by the model) and its upper end,
// 2 um, is chosen here.
const Entry kEntries[] = {
    {"SiO2", 0.21, 3.71, "Malitson, J. Opt. Soc. Am. 55, 1205 (1965)"},
    {"Si", 1.36, 11.0, "Salzberg and Villa, J. Opt. Soc. Am. 47, 244 (1957)"},
    {"Si3N4", 0.31, 5.504, "Luke et al., Opt. Lett. 40, 4823 (2015)"},
    {"InP", 0.95, 10.0, "Pettit and Turner, J. Appl. Phys. 36, 2081 (1965)"},
    {"GaAs", 0.89, 4.1, "Marple, J. Appl. Phys. 35, 1241 (1964)"},
    {"AlGaAs", 0.0, 2.0, "Afromowitz, Solid State Commun. 15, 59 (1974)"},
    {"InGaAsP", 0.0, 2.0, "Broberg and Lindgren, J. Appl. Phys. 55, 3376 (1984)"},
    {"LiNbO3_o", 0.4, 5.0, "Zelmon, Small and Jundt, J. Opt. Soc. Am. B 14, 3319 (1997)"},
    {"LiNbO3_e", 0.4, 5.0, "Zelmon, Small and Jundt, J. Opt. Soc. Am. B 14, 3319 (1997)"},
    {"Air", 0.23, 1.69, "Ciddor, Appl. Opt. 35, 1566 (1996)"},
};

std::string Lower(const char *s)
{
    std::string out;
    for (; s && *s; ++s)
        out += static_cast<char>(std::tolower(static_cast<unsigned char>(*s)));
    return out;
}

} // namespace

kxMaterial *kxNewBuiltinMaterial(const char *name)
{
    const std::string key = Lower(name);
    for (const Entry &e : kEntries) {
        if (Lower(e.name) != key)
            continue;
        std::unique_ptr<kxMaterial> m(Make(key));
        if (!m)
            return nullptr;
        m->SetName(KXString(e.name));
        m->SetSource(KXString(e.source));
        if (m->ModelName() != std::string("database"))
            m->SetRange(e.lo, e.hi);
        if (key == "si") {
            // dn/dT = 1.86e-4 /K near 1.5 um at room temperature: G. Cocorullo and I. Rendina,
            // "Thermo-optical modulation at 1.5 um in silicon etalon", Electron. Lett. 28,
            // 83-85 (1992).
            m->SetThermoOptic(kxRoomTemperature, 1.86e-4);
        }
        return m.release();
    }
    return nullptr;
}

std::vector<std::string> kxBuiltinMaterialNames()
{
    std::vector<std::string> names;
    for (const Entry &e : kEntries)
        names.emplace_back(e.name);
    return names;
}
