// kxmatmodels.cpp - the material models. Each dispersion law is written once as a template
// and evaluated with doubles for the index and with jets (kxjet.h) for its derivatives.
#define KX_UNIT "kxmatmodels"
#include "kx/materials/kxmatmodels.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"
#include "materials/kxjet.h"
#include "materials/kxmatreader.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>

namespace {

using cx = std::complex<double>;
using JetR = kxJet<double>;
using JetC = kxJet<cx>;

constexpr double kPi = 3.14159265358979323846;
const TBlockSig kTableSig{"kxMaterialTable", 1, 0};

/// The root of n^2: real for n^2 >= 0, else purely imaginary.
cx RootOf(double n2) { return n2 >= 0.0 ? cx(std::sqrt(n2), 0.0) : cx(0.0, std::sqrt(-n2)); }

void FromJet(const JetC &j, kxIndexDerivatives &d)
{
    d.n = j.v;
    d.dn = j.d;
    d.d2n = j.dd;
}

void FromJet(const JetR &j, kxIndexDerivatives &d) { FromJet(kxToComplex(j), d); }

/// The jet of the root of an n^2 jet.
JetC RootJet(const JetR &n2)
{
    JetC c = kxToComplex(n2);
    if (n2.v < 0.0)
        c.v = cx(n2.v, 0.0);
    return sqrt(c);
}

std::string Join(const std::vector<double> &values)
{
    std::string out;
    for (double v : values) {
        if (!out.empty())
            out += ' ';
        out += kxMaterialNumber(v);
    }
    return out;
}

double Poly(const std::vector<double> &p, double x)
{
    double r = 0.0;
    for (size_t i = p.size(); i-- > 0;)
        r = r * x + p[i];
    return r;
}

/// A log argument on the negative real axis takes the upper branch (k >= 0).
void FixBranch(cx &z)
{
    if (z.imag() == 0.0)
        z = cx(z.real(), 0.0);
}
void FixBranch(JetC &z) { FixBranch(z.v); }

} // namespace

kxMaterial *kxNewMaterialModel(const char *keyword, kxNameSpace *ns)
{
    const std::string k = keyword ? keyword : "";
    if (k == "constant")
        return new kxConstantMaterial();
    if (k == "cauchy")
        return new kxCauchyMaterial();
    if (k == "sellmeier")
        return new kxSellmeierMaterial();
    if (k == "database")
        return new kxDatabaseMaterial();
    if (k == "formula")
        return new kxFormulaMaterial(ns);
    if (k == "alloy")
        return new kxAlloyMaterial();
    if (k == "oscillator")
        return new kxOscillatorMaterial();
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// Constant.

void kxConstantMaterial::CoreDerivatives(double, double, double, kxIndexDerivatives &d) const
{
    d.n = n_;
    d.dn = d.d2n = 0.0;
}

bool kxConstantMaterial::ReadKey(kxMaterialReader &reader, const std::string &key)
{
    if (key != "n")
        return reader.Fail("unknown keyword \"%.60s\" for a constant material", key.c_str());
    std::vector<double> v;
    if (!reader.Numbers(1, 1, v))
        return false;
    if (v.size() > 2)
        return reader.Fail("\"n\" takes the real part and optionally the imaginary part");
    n_ = cx(v[0], v.size() > 1 ? v[1] : 0.0);
    return true;
}

void kxConstantMaterial::WriteBody(TextBlock &tb) const
{
    tb.writeline("n %s %s", kxMaterialNumber(n_.real()).c_str(),
                 kxMaterialNumber(n_.imag()).c_str());
}

// ---------------------------------------------------------------------------------------------
// Cauchy.

template <class S>
S kxCauchyMaterial::Law(const S &lambda) const
{
    if (c_.empty())
        return S(1.0);
    const S inv2 = 1.0 / (lambda * lambda);
    S r = S(c_.back());
    for (size_t i = c_.size() - 1; i-- > 0;)
        r = r * inv2 + c_[i];
    return r;
}

cx kxCauchyMaterial::Core(double lambda, double, double) const { return Law(lambda); }

void kxCauchyMaterial::CoreDerivatives(double lambda, double, double, kxIndexDerivatives &d) const
{
    FromJet(Law(JetR::Variable(lambda)), d);
}

bool kxCauchyMaterial::ReadKey(kxMaterialReader &reader, const std::string &key)
{
    if (key != "coefficients")
        return reader.Fail("unknown keyword \"%.60s\" for a Cauchy material", key.c_str());
    return reader.Numbers(1, 1, c_);
}

bool kxCauchyMaterial::FinishRead(kxMaterialReader &reader)
{
    return !c_.empty() || reader.Fail("a Cauchy material needs \"coefficients\"");
}

void kxCauchyMaterial::WriteBody(TextBlock &tb) const
{
    tb.writeline("coefficients %s", Join(c_).c_str());
}

// ---------------------------------------------------------------------------------------------
// Sellmeier.

cx kxSellmeierMaterial::Core(double lambda, double, double) const
{
    const double l2 = lambda * lambda;
    double n2 = a_;
    const size_t terms = b_.size();
    for (size_t i = 0; i < terms; ++i)
        n2 += b_[i] * l2 / (l2 - c_[i]);
    return RootOf(n2);
}

void kxSellmeierMaterial::CoreDerivatives(double lambda, double, double,
                                          kxIndexDerivatives &d) const
{
    const JetR l = JetR::Variable(lambda);
    const JetR l2 = l * l;
    JetR n2(a_);
    for (size_t i = 0; i < b_.size(); ++i)
        n2 = n2 + b_[i] * l2 / (l2 - c_[i]);
    FromJet(RootJet(n2), d);
}

bool kxSellmeierMaterial::ReadKey(kxMaterialReader &reader, const std::string &key)
{
    if (key == "a")
        return reader.ExpectWords(1) && reader.Number(1, a_);
    if (key != "term")
        return reader.Fail("unknown keyword \"%.60s\" for a Sellmeier material", key.c_str());
    double b = 0, c = 0;
    if (!reader.ExpectWords(2) || !reader.Number(1, b) || !reader.Number(2, c))
        return false;
    AddTerm(b, c);
    return true;
}

bool kxSellmeierMaterial::FinishRead(kxMaterialReader &reader)
{
    return !b_.empty() || reader.Fail("a Sellmeier material needs at least one \"term\"");
}

void kxSellmeierMaterial::WriteBody(TextBlock &tb) const
{
    tb.writeline("A %s", kxMaterialNumber(a_).c_str());
    for (size_t i = 0; i < b_.size(); ++i)
        tb.writeline("term %s %s", kxMaterialNumber(b_[i]).c_str(),
                     kxMaterialNumber(c_[i]).c_str());
}

// ---------------------------------------------------------------------------------------------
// Tables.

bool kxMaterialTable::Set(std::vector<double> lambda, std::vector<double> value, Interpolation mode)
{
    const int n = static_cast<int>(lambda.size());
    if (n < 2 || value.size() != lambda.size() || !CSpline::IsMonotonic(lambda.data(), n))
        return false;
    for (double v : value)
        if (!std::isfinite(v))
            return false;
    if (!std::isfinite(lambda.back()))
        return false;
    x_ = std::move(lambda);
    y_ = std::move(value);
    SetInterpolation(mode);
    return true;
}

void kxMaterialTable::SetInterpolation(Interpolation mode)
{
    mode_ = mode;
    const int n = Count();
    if (n < 2)
        return;
    (void)spline_.Set(x_.data(), y_.data(), n);
    m_.assign(n, 0.0);
    std::vector<double> work(n);
    CSpline::SecondDerivatives(x_.data(), y_.data(), n, 1, m_.data(), work.data());
    // Twice as many bins as intervals; the last entry closes the last bin.
    const int nb = 2 * (n - 1);
    binScale_ = nb / (x_.back() - x_.front());
    bins_.assign(nb + 1, n - 2);
    for (int b = 0, i = 0; b < nb; ++b) {
        const double start = x_.front() + b / binScale_;
        while (i < n - 2 && x_[i + 1] <= start)
            ++i;
        bins_[b] = i;
    }
}

int kxMaterialTable::Interval(double lambda) const
{
    const int last = Count() - 2;
    if (!(lambda > x_.front()))
        return 0;
    if (!(lambda < x_.back()))
        return last;
    const int nb = static_cast<int>(bins_.size()) - 1;
    const int b = std::min(static_cast<int>((lambda - x_.front()) * binScale_), nb - 1);
    const auto from = x_.begin() + bins_[b] + 1, to = x_.begin() + bins_[b + 1] + 1;
    const int i = static_cast<int>(std::upper_bound(from, to, lambda) - x_.begin()) - 1;
    return std::clamp(i, 0, last);
}

double kxMaterialTable::Evaluate(double lambda) const
{
    if (x_.empty())
        return 0.0;
    if (mode_ == Linear)
        return LinearValue(lambda);
    if (lambda < x_.front() || lambda > x_.back())
        return spline_.Evaluate(lambda);
    const int k = Interval(lambda);
    const double h = x_[k + 1] - x_[k];
    const double b = (lambda - x_[k]) / h;
    const double a = 1.0 - b;
    return a * y_[k] + b * y_[k + 1] +
           ((a * a * a - a) * m_[k] + (b * b * b - b) * m_[k + 1]) * h * h / 6.0;
}

double kxMaterialTable::LinearValue(double lambda) const
{
    if (x_.empty())
        return 0.0;
    const int i = Interval(lambda);
    const double t = (lambda - x_[i]) / (x_[i + 1] - x_[i]);
    return y_[i] + t * (y_[i + 1] - y_[i]);
}

void kxMaterialTable::Derivatives(double lambda, double &v, double &d, double &dd) const
{
    v = d = dd = 0.0;
    if (x_.empty())
        return;
    const int i = Interval(lambda);
    const double h = x_[i + 1] - x_[i];
    if (mode_ == Linear) {
        v = LinearValue(lambda);
        d = (y_[i + 1] - y_[i]) / h;
        return;
    }
    if (lambda < x_.front() || lambda > x_.back()) {
        v = spline_.Evaluate(lambda);
        d = spline_.Derivative(lambda);
        return;
    }
    const double a = (x_[i + 1] - lambda) / h, b = 1.0 - a;
    v = a * y_[i] + b * y_[i + 1] +
        ((a * a * a - a) * m_[i] + (b * b * b - b) * m_[i + 1]) * h * h / 6.0;
    d = (y_[i + 1] - y_[i]) / h - (3.0 * a * a - 1.0) / 6.0 * h * m_[i] +
        (3.0 * b * b - 1.0) / 6.0 * h * m_[i + 1];
    dd = a * m_[i] + b * m_[i + 1];
}

// ---------------------------------------------------------------------------------------------
// Database formulas and tables.

const char *kxDatabaseFormulaProblem(int type, const std::vector<double> &c)
{
    if (type < 1 || type > 9)
        return "the formula type must be 1 to 9";
    if (c.empty())
        return "the formula needs coefficients";
    for (double v : c)
        if (!std::isfinite(v))
            return "the formula's coefficients must be finite";
    const size_t n = c.size();
    switch (type) {
    case 1:
    case 2:
    case 3:
    case 5:
    case 6: return n % 2 == 1 ? nullptr : "this formula takes C1 and pairs of coefficients";
    case 4: return n <= 17 ? nullptr : "formula 4 takes at most 17 coefficients";
    case 7:
    case 9: return n <= 6 ? nullptr : "this formula takes at most 6 coefficients";
    default: return n <= 4 ? nullptr : "formula 8 takes at most 4 coefficients";
    }
}

bool kxDatabaseMaterial::SetFormula(int type, std::vector<double> coefficients, double lo,
                                    double hi)
{
    const char *problem = kxDatabaseFormulaProblem(type, coefficients);
    if (!problem && !(lo >= 0.0 && hi > lo && std::isfinite(hi)))
        problem = "the formula's range must be 0 <= lo < hi";
    if (problem) {
        error.Raise(kxErrGeneric, "material \"%s\": %s\n", GetName().c_str(), problem);
        return false;
    }
    formula_ = type;
    coef_ = std::move(coefficients);
    formulaLo_ = lo;
    formulaHi_ = hi;
    UpdateRange();
    return true;
}

void kxDatabaseMaterial::SetInterpolation(kxMaterialTable::Interpolation mode)
{
    mode_ = mode;
    n_.SetInterpolation(mode);
    k_.SetInterpolation(mode);
}

template <class S>
S kxDatabaseMaterial::FormulaLaw(const S &l, bool &squared) const
{
    using std::pow;
    const size_t n = coef_.size();
    auto C = [&](size_t i) { return i <= n ? coef_[i - 1] : 0.0; };
    const S l2 = l * l;
    squared = true;
    S s;
    switch (formula_) {
    case 1:
    case 2:
        s = S(1.0 + C(1));
        for (size_t i = 2; i + 1 <= n; i += 2)
            s = s + C(i) * l2 / (l2 - (formula_ == 1 ? C(i + 1) * C(i + 1) : C(i + 1)));
        return s;
    case 3:
    case 5:
        s = S(C(1));
        for (size_t i = 2; i + 1 <= n; i += 2)
            s = s + C(i) * pow(l, C(i + 1));
        squared = formula_ == 3;
        return s;
    case 4:
        s = S(C(1));
        if (C(2) != 0.0)
            s = s + C(2) * pow(l, C(3)) / (l2 - std::pow(C(4), C(5)));
        if (C(6) != 0.0)
            s = s + C(6) * pow(l, C(7)) / (l2 - std::pow(C(8), C(9)));
        for (size_t i = 10; i + 1 <= n; i += 2)
            s = s + C(i) * pow(l, C(i + 1));
        return s;
    case 6:
        s = S(1.0 + C(1));
        for (size_t i = 2; i + 1 <= n; i += 2)
            s = s + C(i) / (C(i + 1) - 1.0 / l2);
        squared = false;
        return s;
    case 7: {
        const S L = 1.0 / (l2 - 0.028);
        const S l4 = l2 * l2;
        squared = false;
        return C(1) + C(2) * L + C(3) * L * L + C(4) * l2 + C(5) * l4 + C(6) * l4 * l2;
    }
    case 8: {
        const S r = C(1) + C(2) * l2 / (l2 - C(3)) + C(4) * l2;
        return (1.0 + 2.0 * r) / (1.0 - r);
    }
    default: {
        const S dl = l - C(5);
        return C(1) + C(2) / (l2 - C(3)) + C(4) * dl / (dl * dl + C(6));
    }
    }
}

cx kxDatabaseMaterial::Core(double lambda, double, double) const
{
    cx result;
    if (formula_ != 0) {
        bool squared = false;
        const double v = FormulaLaw(lambda, squared);
        result = squared ? RootOf(v) : cx(v, 0.0);
    } else {
        result = cx(n_.Evaluate(lambda), 0.0);
    }
    if (!k_.Empty())
        result += cx(0.0, k_.Evaluate(lambda));
    return result;
}

void kxDatabaseMaterial::CoreDerivatives(double lambda, double, double, kxIndexDerivatives &d) const
{
    JetC n;
    if (formula_ != 0) {
        bool squared = false;
        const JetR v = FormulaLaw(JetR::Variable(lambda), squared);
        n = squared ? RootJet(v) : kxToComplex(v);
    } else {
        double v, d1, d2;
        n_.Derivatives(lambda, v, d1, d2);
        n = JetC(v, d1, d2);
    }
    if (!k_.Empty()) {
        double v, d1, d2;
        k_.Derivatives(lambda, v, d1, d2);
        n = n + JetC(cx(0.0, v), cx(0.0, d1), cx(0.0, d2));
    }
    FromJet(n, d);
}

void kxDatabaseMaterial::UpdateRange()
{
    double lo = 0.0;
    double hi = std::numeric_limits<double>::infinity();
    if (formula_ != 0) {
        lo = formulaLo_;
        hi = formulaHi_;
    }
    for (const kxMaterialTable *t : {&n_, &k_}) {
        if (t->Empty())
            continue;
        lo = std::max(lo, t->First());
        hi = std::min(hi, t->Last());
    }
    SetRange(lo, hi);
}

bool kxDatabaseMaterial::SetNTable(std::vector<double> lambda, std::vector<double> n)
{
    kxMaterialTable t;
    if (!t.Set(std::move(lambda), std::move(n), mode_))
        return false;
    n_ = std::move(t);
    UpdateRange();
    return true;
}

bool kxDatabaseMaterial::SetKTable(std::vector<double> lambda, std::vector<double> k)
{
    kxMaterialTable t;
    if (!t.Set(std::move(lambda), std::move(k), mode_))
        return false;
    k_ = std::move(t);
    UpdateRange();
    return true;
}

bool kxDatabaseMaterial::ReadKey(kxMaterialReader &reader, const std::string &key)
{
    if (key == "interpolation") {
        if (!reader.ExpectWords(1))
            return false;
        const std::string &mode = reader.Words()[1];
        if (mode != "spline" && mode != "linear")
            return reader.Fail("the interpolation must be \"spline\" or \"linear\"");
        SetInterpolation(mode == "spline" ? kxMaterialTable::Spline : kxMaterialTable::Linear);
        return true;
    }
    if (key != "formula")
        return reader.Fail("unknown keyword \"%.60s\" for a database material", key.c_str());
    std::vector<double> v;
    if (!reader.Numbers(1, 4, v))
        return false;
    if (v[0] != std::floor(v[0]))
        return reader.Fail("the formula type must be 1 to 9");
    std::vector<double> coef(v.begin() + 3, v.end());
    const char *problem = kxDatabaseFormulaProblem(static_cast<int>(v[0]), coef);
    if (problem)
        return reader.Fail("%s", problem);
    if (!(v[1] >= 0.0 && v[2] > v[1]))
        return reader.Fail("the formula's range must be 0 <= lo < hi");
    return SetFormula(static_cast<int>(v[0]), coef, v[1], v[2]);
}

/// Reads the rows of a table block named "n", "k" or "nk".
static bool kxReadMaterialTableBlock(kxMaterialReader &outer, const std::string &text,
                                     kxDatabaseMaterial &m)
{
    TextBlock child;
    if (!child.LoadBlock(text.c_str()) || !child.IsType(kTableSig.type))
        return outer.Fail("expected \"begin <kxMaterialTable(1.0)>\"");
    const std::string which = child.getName() ? child.getName() : "";
    if (which != "n" && which != "k" && which != "nk")
        return outer.Fail("a table must be named \"n\", \"k\" or \"nk\"");
    const size_t columns = which == "nk" ? 3 : 2;
    kxMaterialReader reader(text, outer.File(), outer.ChildLine(), outer.NameSpace());
    std::vector<double> l, a, b;
    while (reader.Next()) {
        if (reader.AtChild())
            return reader.Fail("a table holds no nested block");
        std::vector<double> row;
        if (!reader.Numbers(0, 0, row))
            return false;
        if (row.size() != columns)
            return reader.Fail("a row of table \"%s\" holds %zu numbers", which.c_str(), columns);
        if (!(row[0] > 0.0))
            return reader.Fail("the wavelength of a row must be positive");
        if (!l.empty() && !(row[0] > l.back()))
            return reader.Fail("the wavelengths of a table must increase");
        l.push_back(row[0]);
        a.push_back(row[1]);
        if (columns == 3)
            b.push_back(row[2]);
    }
    if (error)
        return false;
    if (l.size() < 2)
        return outer.Fail("table \"%s\" needs at least 2 rows", which.c_str());
    bool ok = true;
    if (which == "k")
        ok = m.SetKTable(l, a);
    else
        ok = m.SetNTable(l, a) && (columns == 2 || m.SetKTable(l, b));
    return ok || outer.Fail("table \"%s\" could not be set", which.c_str());
}

bool kxDatabaseMaterial::ReadChild(kxMaterialReader &reader, TextBlock &child)
{
    if (!kxReadMaterialTableBlock(reader, reader.ChildText(), *this))
        return false;
    tableTexts_[child.getName()] = reader.ChildText();
    return true;
}

bool kxDatabaseMaterial::FinishRead(kxMaterialReader &reader)
{
    if (formula_ != 0 && !n_.Empty())
        return reader.Fail("a database material has either a formula or a table for n");
    return HasN() || reader.Fail("a database material needs a formula or a table for n");
}

namespace {

void WriteTable(TextBlock &tb, const char *name, const kxMaterialTable &a, const kxMaterialTable *b,
                const std::map<std::string, std::string> &previous)
{
    TextBlock t;
    const auto it = previous.find(name);
    t.StartWrite(kTableSig, name, it == previous.end() ? nullptr : it->second.c_str());
    for (int i = 0; i < a.Count(); ++i) {
        std::string row = kxMaterialNumber(a.Lambda(i)) + " " + kxMaterialNumber(a.Value(i));
        if (b)
            row += " " + kxMaterialNumber(b->Value(i));
        t.WriteLine(row.c_str());
    }
    t.EndWrite();
    tb.Append(t);
}

bool SameGrid(const kxMaterialTable &a, const kxMaterialTable &b)
{
    if (a.Count() != b.Count())
        return false;
    for (int i = 0; i < a.Count(); ++i)
        if (a.Lambda(i) != b.Lambda(i))
            return false;
    return true;
}

} // namespace

void kxDatabaseMaterial::WriteBody(TextBlock &tb) const
{
    if (mode_ == kxMaterialTable::Linear)
        tb.writeline("interpolation linear");
    if (formula_ != 0)
        tb.writeline("formula %d %s %s %s", formula_, kxMaterialNumber(formulaLo_).c_str(),
                     kxMaterialNumber(formulaHi_).c_str(), Join(coef_).c_str());
    if (!n_.Empty() && !k_.Empty() && SameGrid(n_, k_)) {
        WriteTable(tb, "nk", n_, &k_, tableTexts_);
        return;
    }
    if (!n_.Empty())
        WriteTable(tb, "n", n_, nullptr, tableTexts_);
    if (!k_.Empty())
        WriteTable(tb, "k", k_, nullptr, tableTexts_);
}

// ---------------------------------------------------------------------------------------------
// Formula.

kxFormulaMaterial::kxFormulaMaterial(const kxFormulaMaterial &other)
    : kxMaterial(other), ns_(other.ns_), text_(other.text_), names_(other.names_)
{
    if (other.expr_)
        expr_ = std::make_unique<KXExpressionC>(*other.expr_);
}

bool kxFormulaMaterial::SetNameSpace(kxNameSpace *ns)
{
    ns_ = ns;
    return text_.empty() || SetFormula(text_.c_str());
}

bool kxFormulaMaterial::SetFormula(const char *text)
{
    const std::string t = text ? text : "";
    // The names the formula uses that are not calls: letters, digits and '_' starting with a
    // letter that does not continue a number, a name or a constant.
    std::vector<std::string> names;
    for (size_t i = 0; i < t.size();) {
        const unsigned char c = t[i];
        const unsigned char prev = i > 0 ? t[i - 1] : ' ';
        if (!std::isalpha(c) || std::isalnum(prev) || prev == '_' || prev == '.') {
            ++i;
            continue;
        }
        size_t j = i;
        while (j < t.size() && (std::isalnum(static_cast<unsigned char>(t[j])) || t[j] == '_'))
            ++j;
        const std::string name = t.substr(i, j - i);
        size_t k = j;
        while (k < t.size() && (t[k] == ' ' || t[k] == '\t'))
            ++k;
        i = j;
        if (k < t.size() && t[k] == '(')
            continue;
        if (name == "lambda" || name == "T" || name == "x" ||
            std::find(names.begin(), names.end(), name) != names.end())
            continue;
        if (!kxNameSpace::IsActual(ns_) || !ns_->GetVariableByName(name.c_str())) {
            error.Raise(kxErrGeneric,
                        "material \"%s\": the formula uses \"%s\", which is neither lambda, T, x "
                        "nor a variable of the project\n",
                        GetName().c_str(), name.c_str());
            return false;
        }
        names.push_back(name);
    }
    auto expr = std::make_unique<KXExpressionC>();
    expr->setExpression(KXString(t.c_str()));
    expr->DeclareParam(KXString("lambda"), KXString(""), 0, -1);
    expr->DeclareParam(KXString("T"), KXString(""), 0, -1);
    expr->DeclareParam(KXString("x"), KXString(""), 0, -1);
    for (const std::string &n : names)
        expr->DeclareParam(KXString(n.c_str()), KXString(""), 0, -1);
    if (!expr->Compile()) {
        std::string why = error.chars();
        while (!why.empty() && (why.back() == '\n' || why.back() == '\r'))
            why.pop_back();
        error.reset();
        error.Raise(kxErrGeneric, "material \"%s\": the formula \"%.200s\" is malformed: %s\n",
                    GetName().c_str(), t.c_str(), why.c_str());
        return false;
    }
    text_ = t;
    names_ = std::move(names);
    expr_ = std::move(expr);
    return true;
}

cx kxFormulaMaterial::Core(double lambda, double T, double x) const
{
    constexpr size_t kFixed = 16;
    if (!expr_)
        return cx(std::nan(""), 0.0);
    cx fixed[kFixed];
    std::vector<cx> more;
    cx *values = fixed;
    if (names_.size() + 3 > kFixed) {
        more.resize(names_.size() + 3);
        values = more.data();
    }
    values[0] = lambda;
    values[1] = T;
    values[2] = x;
    for (size_t i = 0; i < names_.size(); ++i) {
        kxNamedVariable *v =
            kxNameSpace::IsActual(ns_) ? ns_->GetVariableByName(names_[i].c_str()) : nullptr;
        if (!v) {
            if (!error)
                error.Raise(kxErrGeneric, "material \"%s\": the variable \"%s\" is not defined\n",
                            GetName().c_str(), names_[i].c_str());
            return cx(std::nan(""), 0.0);
        }
        values[3 + i] = v->GetValue();
    }
    const bool before = error != 0;
    const cx n = expr_->Evaluate(values);
    if (!before && error)
        return cx(std::nan(""), 0.0);
    return n;
}

bool kxFormulaMaterial::ReadKey(kxMaterialReader &reader, const std::string &key)
{
    if (key != "formula")
        return reader.Fail("unknown keyword \"%.60s\" for a formula material", key.c_str());
    if (!reader.ExpectWords(1))
        return false;
    if (SetFormula(reader.Words()[1].c_str()))
        return true;
    std::string why = error.chars();
    error.reset();
    while (!why.empty() && why.back() == '\n')
        why.pop_back();
    return reader.Fail("%s", why.c_str());
}

bool kxFormulaMaterial::FinishRead(kxMaterialReader &reader)
{
    return expr_ != nullptr || reader.Fail("a formula material needs a \"formula\"");
}

void kxFormulaMaterial::WriteBody(TextBlock &tb) const
{
    tb.writeline("formula %s", kxQuoteMaterialText(text_).c_str());
}

// ---------------------------------------------------------------------------------------------
// Alloy.

kxAlloyMaterial::kxAlloyMaterial(kxMaterial *a, kxMaterial *b, double bowing)
    : a_(a), b_(b), bowing_(bowing)
{
    if (a_)
        a_->SetName(KXString("A"));
    if (b_)
        b_->SetName(KXString("B"));
    UpdateRange();
}

kxAlloyMaterial::kxAlloyMaterial(const kxAlloyMaterial &other)
    : kxMaterial(other), a_(other.a_ ? other.a_->newCopy() : nullptr),
      b_(other.b_ ? other.b_->newCopy() : nullptr), bowing_(other.bowing_)
{
}

void kxAlloyMaterial::UpdateRange()
{
    double lo = 0.0;
    double hi = std::numeric_limits<double>::infinity();
    for (const auto *m : {a_.get(), b_.get()}) {
        if (!m)
            continue;
        double l = 0, h = 0;
        m->Range(0.0, l, h);
        lo = std::max(lo, l);
        hi = std::min(hi, h);
    }
    SetRange(lo, hi);
}

cx kxAlloyMaterial::Core(double lambda, double T, double x) const
{
    if (!a_ || !b_)
        return cx(std::nan(""), 0.0);
    return (1.0 - x) * a_->IndexUnchecked(lambda, T, 0.0) + x * b_->IndexUnchecked(lambda, T, 0.0) -
           bowing_ * x * (1.0 - x);
}

void kxAlloyMaterial::CoreDerivatives(double lambda, double T, double x,
                                      kxIndexDerivatives &d) const
{
    if (!a_ || !b_) {
        d.n = d.dn = d.d2n = cx(std::nan(""), 0.0);
        return;
    }
    kxIndexDerivatives da, db;
    a_->DerivativesUnchecked(lambda, T, 0.0, da);
    b_->DerivativesUnchecked(lambda, T, 0.0, db);
    d.n = (1.0 - x) * da.n + x * db.n - bowing_ * x * (1.0 - x);
    d.dn = (1.0 - x) * da.dn + x * db.dn;
    d.d2n = (1.0 - x) * da.d2n + x * db.d2n;
}

bool kxAlloyMaterial::ReadKey(kxMaterialReader &reader, const std::string &key)
{
    if (key != "bowing")
        return reader.Fail("unknown keyword \"%.60s\" for an alloy", key.c_str());
    return reader.ExpectWords(1) && reader.Number(1, bowing_);
}

bool kxAlloyMaterial::ReadChild(kxMaterialReader &reader, TextBlock &child)
{
    const std::string which = child.getName() ? child.getName() : "";
    if (which != "A" && which != "B")
        return reader.Fail("the end members of an alloy are named \"A\" and \"B\"");
    std::unique_ptr<kxMaterial> &slot = which == "A" ? a_ : b_;
    if (slot)
        return reader.Fail("end member \"%s\" is given twice", which.c_str());
    slot.reset(kxMaterial::ReadTB(child, reader.File(), reader.ChildLine(), reader.NameSpace()));
    UpdateRange();
    return slot != nullptr;
}

bool kxAlloyMaterial::FinishRead(kxMaterialReader &reader)
{
    return (a_ && b_) || reader.Fail("an alloy needs end members \"A\" and \"B\"");
}

void kxAlloyMaterial::WriteBody(TextBlock &tb) const
{
    tb.writeline("bowing %s", kxMaterialNumber(bowing_).c_str());
    for (const auto *m : {a_.get(), b_.get()}) {
        if (!m)
            continue;
        TextBlock child;
        m->WriteTB(child);
        tb.Append(child);
    }
}

// ---------------------------------------------------------------------------------------------
// Single-oscillator model.

double kxOscillatorMaterial::BandGap(double x) const { return Poly(eg_, x); }

void kxOscillatorMaterial::Range(double x, double &lo, double &hi) const
{
    kxMaterial::Range(x, lo, hi);
    const double eg = BandGap(x);
    if (eg > 0.0)
        lo = std::max(lo, kxHcEvUm / eg);
}

template <class S>
S kxOscillatorMaterial::Law(const S &lambda, double x) const
{
    const double e0 = Poly(e0_, x), ed = Poly(ed_, x), eg = Poly(eg_, x);
    const double e02 = e0 * e0, eg2 = eg * eg, e03 = e02 * e0;
    const double eta = kPi * ed / (2.0 * e03 * (e02 - eg2));
    const S e = kxHcEvUm / lambda;
    const S e2 = e * e;
    S arg = ((2.0 * e02 - eg2) - e2) / (eg2 - e2);
    FixBranch(arg);
    using std::log;
    using std::sqrt;
    const S eps = (1.0 + ed / e0) + (ed / e03) * e2 + (eta / kPi) * e2 * e2 * log(arg);
    return sqrt(eps);
}

cx kxOscillatorMaterial::Core(double lambda, double, double x) const
{
    return Law(cx(lambda, 0.0), x);
}

void kxOscillatorMaterial::CoreDerivatives(double lambda, double, double x,
                                           kxIndexDerivatives &d) const
{
    FromJet(Law(JetC(cx(lambda, 0.0), cx(1.0, 0.0), cx(0.0, 0.0)), x), d);
}

bool kxOscillatorMaterial::ReadKey(kxMaterialReader &reader, const std::string &key)
{
    if (key == "e0")
        return reader.Numbers(1, 1, e0_);
    if (key == "ed")
        return reader.Numbers(1, 1, ed_);
    if (key == "eg")
        return reader.Numbers(1, 1, eg_);
    return reader.Fail("unknown keyword \"%.60s\" for an oscillator material", key.c_str());
}

bool kxOscillatorMaterial::FinishRead(kxMaterialReader &reader)
{
    if (e0_.empty() || ed_.empty() || eg_.empty())
        return reader.Fail("an oscillator material needs \"E0\", \"Ed\" and \"Eg\"");
    return true;
}

void kxOscillatorMaterial::WriteBody(TextBlock &tb) const
{
    tb.writeline("E0 %s", Join(e0_).c_str());
    tb.writeline("Ed %s", Join(ed_).c_str());
    tb.writeline("Eg %s", Join(eg_).c_str());
}
