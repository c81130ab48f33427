// materb.cpp - the material base: argument checks, validity range and its one-time warning,
// the thermo-optic correction, derived quantities and the block layout shared by all models.
#define KX_UNIT "materb"
#include "kx/materials/materb.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/materials/kxmatmodels.h"
#include "materials/kxmatreader.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

const TBlockSig kxMaterialSig{"kxMaterial", 1, 0};

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kSpeedOfLight = 299792458.0; // m/s

std::string kxLower(std::string s)
{
    for (char &c : s)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

bool Finite(const std::complex<double> &z)
{
    return std::isfinite(z.real()) && std::isfinite(z.imag());
}

} // namespace

std::string kxMaterialNumber(double value)
{
    // The shortest of "%.15g", "%.16g" and "%.17g" that reads back exactly.
    char buf[40];
    for (int digits = 15; digits <= 17; ++digits) {
        std::snprintf(buf, sizeof buf, "%.*g", digits, value);
        if (std::strtod(buf, nullptr) == value)
            break;
    }
    return buf;
}

std::string kxQuoteMaterialText(const std::string &text)
{
    std::string out = "\"";
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '"' || c == '\\' || (c == '/' && i > 0 && text[i - 1] == '/'))
            out += '\\';
        if (c == '\n' || c == '\r')
            out += ' ';
        else
            out += c;
    }
    return out + "\"";
}

// ---------------------------------------------------------------------------------------------
void kxMaterial::Range(double, double &lo, double &hi) const
{
    lo = rangeLo_;
    hi = rangeHi_;
}

void kxMaterial::SetRange(double lo, double hi)
{
    rangeLo_ = lo;
    rangeHi_ = hi;
    warned_ = false;
}

bool kxMaterial::IsInRange(double lambda, double x) const
{
    double lo = 0, hi = 0;
    Range(x, lo, hi);
    return lambda >= lo && lambda <= hi;
}

void kxMaterial::SetThermoOptic(double tref, double dndT, double d2ndT2)
{
    tref_ = tref;
    dndT_ = dndT;
    d2ndT2_ = d2ndT2;
}

double kxMaterial::Thermo(double T) const
{
    const double dT = T - tref_;
    return dndT_ * dT + 0.5 * d2ndT2_ * dT * dT;
}

bool kxMaterial::CheckArguments(double lambda, double T, double x)
{
    constexpr double inf = std::numeric_limits<double>::infinity();
    if (!(lambda > 0.0 && lambda < inf && T > 0.0 && T < inf && x >= 0.0 && x <= 1.0))
        return RefuseArguments(lambda, T, x);
    if (!warned_ &&
        !(rangeVaries_ ? IsInRange(lambda, x) : (lambda >= rangeLo_ && lambda <= rangeHi_)))
        WarnExtrapolation(lambda, x);
    return true;
}

bool kxMaterial::RefuseArguments(double lambda, double T, double x) const
{
    if (!(lambda > 0.0) || !std::isfinite(lambda))
        error.Raise(kxErrOutOfRange,
                    "material \"%s\": the wavelength must be a positive finite number of "
                    "microns, not %g\n",
                    name_.c_str(), lambda);
    else if (!(T > 0.0) || !std::isfinite(T))
        error.Raise(kxErrOutOfRange,
                    "material \"%s\": the temperature must be a positive finite number of "
                    "kelvin, not %g\n",
                    name_.c_str(), T);
    else
        error.Raise(kxErrOutOfRange,
                    "material \"%s\": the composition must lie between 0 and 1, not %g\n",
                    name_.c_str(), x);
    return false;
}

void kxMaterial::WarnExtrapolation(double lambda, double x)
{
    double lo = 0, hi = 0;
    Range(x, lo, hi);
    kxWarningLog("material \"%s\": %g um is outside the validity range %g - %g um; the index "
                 "is extrapolated\n",
                 name_.c_str(), lambda, lo, hi);
    warned_ = true;
}

bool kxMaterial::CheckValue(const std::complex<double> &n, double lambda) const
{
    if (Finite(n))
        return true;
    error.Raise(kxErrOutOfRange, "material \"%s\": the index is not finite at %g um\n",
                name_.c_str(), lambda);
    return false;
}

std::complex<double> kxMaterial::IndexUnchecked(double lambda, double T, double x) const
{
    std::complex<double> n = Core(lambda, T, x);
    if (HasThermoOptic())
        n += Thermo(T);
    return n;
}

void kxMaterial::DerivativesUnchecked(double lambda, double T, double x,
                                      kxIndexDerivatives &d) const
{
    CoreDerivatives(lambda, T, x, d);
    if (HasThermoOptic())
        d.n += Thermo(T);
}

void kxMaterial::CoreDerivatives(double lambda, double T, double x, kxIndexDerivatives &d) const
{
    // Central differences with steps h and 2h, combined so that the h^2 error terms cancel.
    const double h = lambda * 1e-3;
    const std::complex<double> f0 = Core(lambda, T, x);
    const std::complex<double> p1 = Core(lambda + h, T, x), m1 = Core(lambda - h, T, x);
    const std::complex<double> p2 = Core(lambda + 2 * h, T, x), m2 = Core(lambda - 2 * h, T, x);
    d.n = f0;
    d.dn = (8.0 * (p1 - m1) - (p2 - m2)) / (12.0 * h);
    d.d2n = (16.0 * (p1 + m1) - (p2 + m2) - 30.0 * f0) / (12.0 * h * h);
}

bool kxMaterial::Index(double lambda, double T, double x, std::complex<double> &n)
{
    if (!CheckArguments(lambda, T, x))
        return false;
    std::complex<double> v = Core(lambda, T, x);
    if (dndT_ != 0.0 || d2ndT2_ != 0.0)
        v += Thermo(T);
    if (!CheckValue(v, lambda))
        return false;
    n = v;
    return true;
}

bool kxMaterial::Derivatives(double lambda, double T, double x, kxIndexDerivatives &d)
{
    if (!CheckArguments(lambda, T, x))
        return false;
    kxIndexDerivatives v;
    DerivativesUnchecked(lambda, T, x, v);
    if (!CheckValue(v.n, lambda) || !CheckValue(v.dn, lambda) || !CheckValue(v.d2n, lambda))
        return false;
    d = v;
    return true;
}

double kxMaterial::Absorption(double lambda, double T, double x)
{
    std::complex<double> n;
    if (!Index(lambda, T, x, n))
        return 0.0;
    return 4.0 * kPi * n.imag() / (lambda * 1e-4);
}

double kxMaterial::GroupIndex(double lambda, double T, double x)
{
    kxIndexDerivatives d;
    if (!Derivatives(lambda, T, x, d))
        return 0.0;
    return d.n.real() - lambda * d.dn.real();
}

double kxMaterial::GroupVelocityDispersion(double lambda, double T, double x)
{
    kxIndexDerivatives d;
    if (!Derivatives(lambda, T, x, d))
        return 0.0;
    // lambda^3 [um^3 = 1e-18 m^3] d2n [1/um^2 = 1e12 1/m^2] / (2 pi c^2) in s^2/m; 1 s^2/m is
    // 1e27 ps^2/km.
    return lambda * lambda * lambda * d.d2n.real() * 1e21 /
           (2.0 * kPi * kSpeedOfLight * kSpeedOfLight);
}

double kxMaterial::DispersionParameter(double lambda, double T, double x)
{
    kxIndexDerivatives d;
    if (!Derivatives(lambda, T, x, d))
        return 0.0;
    // lambda [1e-6 m] d2n [1e12 1/m^2] / c in s/m^2; 1 s/m^2 is 1e6 ps/(nm km).
    return -lambda * d.d2n.real() * 1e12 / kSpeedOfLight;
}

// ---------------------------------------------------------------------------------------------
// Persistence.

bool kxMaterial::ReadChild(kxMaterialReader &reader, TextBlock &)
{
    return reader.Fail("a %s material holds no nested block", ModelName());
}

void kxMaterial::WriteTB(TextBlock &tb) const
{
    // A name cannot hold a double quote or a line end in a header: those are written as '_'.
    std::string name = name_.c_str();
    for (char &c : name)
        if (c == '"' || c == '\r' || c == '\n')
            c = '_';
    tb.StartWrite(kxMaterialSig, name.c_str(), blockText_.empty() ? nullptr : blockText_.c_str());
    tb.writeline("model %s", ModelName());
    if (!source_.Empty())
        tb.writeline("source %s", kxQuoteMaterialText(source_.c_str()).c_str());
    if (UsesStoredRange() && (rangeLo_ > 0.0 || std::isfinite(rangeHi_)))
        tb.writeline("range %s %s", kxMaterialNumber(rangeLo_).c_str(),
                     std::isfinite(rangeHi_) ? kxMaterialNumber(rangeHi_).c_str() : "inf");
    if (HasThermoOptic())
        tb.writeline("thermo %s %s %s", kxMaterialNumber(tref_).c_str(),
                     kxMaterialNumber(dndT_).c_str(), kxMaterialNumber(d2ndT2_).c_str());
    WriteBody(tb);
    tb.EndWrite();
}

bool kxMaterial::ReadCommonKey(kxMaterialReader &reader, const std::string &key, bool &handled)
{
    handled = true;
    if (key == "source") {
        if (!reader.ExpectWords(1))
            return false;
        source_ = KXString(reader.Words()[1].c_str());
        return true;
    }
    if (key == "range") {
        if (!reader.ExpectWords(2))
            return false;
        double lo = 0, hi = 0;
        if (!reader.Number(1, lo))
            return false;
        if (reader.Words()[2] == "inf")
            hi = std::numeric_limits<double>::infinity();
        else if (!reader.Number(2, hi))
            return false;
        if (!(lo >= 0.0 && hi > lo))
            return reader.Fail("the range must be 0 <= lo < hi");
        SetRange(lo, hi);
        return true;
    }
    if (key == "thermo") {
        std::vector<double> v;
        if (!reader.Numbers(1, 2, v))
            return false;
        if (v.size() > 3)
            return reader.Fail("\"thermo\" takes Tref, dn/dT and optionally d2n/dT2");
        if (!(v[0] > 0.0))
            return reader.Fail("the reference temperature must be positive");
        SetThermoOptic(v[0], v[1], v.size() > 2 ? v[2] : 0.0);
        return true;
    }
    handled = false;
    return true;
}

kxMaterial *kxMaterial::ReadTB(TextBlock &tb, const char *file, int firstLine, kxNameSpace *ns)
{
    if (error)
        return nullptr;
    const std::string text = tb.getText();
    kxMaterialReader reader(text, file, firstLine, ns);
    // Materials nest (alloys of alloys); a limit keeps a hostile file from exhausting the stack.
    static int depth = 0;
    if (depth >= kxMaterialMaxNesting) {
        reader.AtHeader();
        reader.Fail("materials nest more than %d deep", kxMaterialMaxNesting);
        return nullptr;
    }
    struct Nesting {
        Nesting() { ++depth; }
        ~Nesting() { --depth; }
    } nesting;
    if (!tb.IsType(kxMaterialSig.type) || tb.getMajorVer() != kxMaterialSig.major) {
        reader.Fail("expected \"begin <kxMaterial(1.0)>\"");
        return nullptr;
    }
    if (!reader.Next() || reader.AtChild() || kxLower(reader.Words()[0]) != "model") {
        reader.Fail("a material block must start with \"model <kind>\"");
        return nullptr;
    }
    if (!reader.ExpectWords(1))
        return nullptr;
    std::unique_ptr<kxMaterial> m(kxNewMaterialModel(reader.Words()[1].c_str(), ns));
    if (!m) {
        reader.Fail("unknown material model \"%.60s\"", reader.Words()[1].c_str());
        return nullptr;
    }
    if (tb.getName()) {
        if (std::strpbrk(tb.getName(), "\r\n")) {
            reader.AtHeader();
            reader.Fail("the name of a material must end on its header line");
            return nullptr;
        }
        m->name_ = KXString(tb.getName());
    }
    while (reader.Next()) {
        if (reader.AtChild()) {
            TextBlock child;
            if (!child.LoadBlock(reader.ChildText().c_str()) || !m->ReadChild(reader, child)) {
                if (!error)
                    reader.Fail("malformed nested block");
                return nullptr;
            }
            continue;
        }
        bool handled = false;
        const std::string key = kxLower(reader.Words()[0]);
        if (!m->ReadCommonKey(reader, key, handled))
            return nullptr;
        if (!handled && !m->ReadKey(reader, key))
            return nullptr;
    }
    if (error)
        return nullptr;
    reader.AtHeader();
    if (!m->FinishRead(reader))
        return nullptr;
    m->blockText_ = text;
    return m.release();
}
