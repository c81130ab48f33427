// kxmatmodels.h - the material models: constant, Cauchy, Sellmeier, the dispersion formulas and
// tables of the public refractive-index database, a formula typed in the formula language,
// alloys interpolated between end members, and the single-oscillator model of III-V alloys.
//
// Block keywords of each model (after "model <keyword>"; every model also takes "source",
// "range lo hi" and "thermo Tref dndT [d2ndT2]"):
//   constant    "n <re> [<im>]"
//   cauchy      "coefficients c0 c1 c2 ..."            n = c0 + c1/l^2 + c2/l^4 + ...
//   sellmeier   "A <a>" (default 1), "term <B> <C>" per term   n^2 = A + sum B l^2/(l^2 - C)
//               (C in um^2, the square of the resonance wavelength)
//   database    "formula <1-9> <lo> <hi> <c1> <c2> ...", "interpolation spline|linear",
//               nested "begin <kxMaterialTable(1.0)> "n"|"k"|"nk"" blocks of rows
//               "<lambda> <n>", "<lambda> <k>" or "<lambda> <n> <k>"
//   formula     "formula "<text>""  (variables lambda [um], T [K], x and those of the namespace)
//   alloy       "bowing <b>", nested material blocks named "A" (x = 0) and "B" (x = 1)
//   oscillator  "E0 <p0> <p1> ...", "Ed ...", "Eg ..." (polynomials in x, eV)
//
// Choices made here:
// - Database formulas follow the database's numbering: 1 Sellmeier (squared resonances), 2
//   Sellmeier-2, 3 polynomial, 4 the database's own, 5 Cauchy, 6 gases, 7 Herzberger, 8 retro,
//   9 exotic. Formulas 1, 2, 3, 5 and 6 take C1 and then pairs, so an odd number of
//   coefficients; 4 takes at most 17, 7 and 9 at most 6, 8 at most 4; missing ones are 0.
// - A formula giving n^2 < 0 gives the purely imaginary root.
// - Database materials combine a formula for n (optional), and tables for n and k; the range is
//   the overlap of the parts, recomputed whenever a part is set (a "range" line read for a
//   database material is replaced by it). Tables are natural cubic splines (the default; the
//   second derivatives and the end continuation are CSpline's) or linear, both continued outside
//   the table as straight lines with the end slope. A table finds the interval of a wavelength
//   through bins of equal width (twice as many as intervals), so a lookup costs a few
//   comparisons however long the table.
// - The alloy interpolates the complex index: n(x) = (1 - x) nA + x nB - b x (1 - x); the end
//   members are evaluated at composition 0; the range is the overlap of theirs.
// - The oscillator model is the modified single-effective-oscillator form
//     n^2 = 1 + Ed/E0 + Ed E^2/E0^3 + (eta/pi) E^4 ln((2 E0^2 - Eg^2 - E^2)/(Eg^2 - E^2)),
//     eta = pi Ed / (2 E0^3 (E0^2 - Eg^2)),   E = hc/lambda,
//   evaluated in complex arithmetic so that above the gap the logarithm's imaginary part gives
//   k; its range starts at the gap wavelength hc/Eg(x).
// - The formula model's derivatives are numerical (see kxMaterial::CoreDerivatives); every other
//   model differentiates its law exactly.
#ifndef KX_MATERIALS_KXMATMODELS_H
#define KX_MATERIALS_KXMATMODELS_H

#include "kx/expressions/kxcubicspline.h"
#include "kx/expressions/kxfnparser.h"
#include "kx/materials/materb.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

/// A new empty material of the model named by its file keyword, owned by the caller; null for
/// an unknown keyword. `ns` is the namespace a formula material binds to.
[[nodiscard]] kxMaterial *kxNewMaterialModel(const char *keyword, kxNameSpace *ns);

/// Null when `coefficients` suit database formula `type` (1-9), else the problem.
[[nodiscard]] const char *kxDatabaseFormulaProblem(int type,
                                                   const std::vector<double> &coefficients);

// ---------------------------------------------------------------------------------------------
class kxConstantMaterial : public kxMaterial {
public:
    explicit kxConstantMaterial(std::complex<double> n = 1.0) : n_(n) {}
    [[nodiscard]] kxMaterial *newCopy() const override { return new kxConstantMaterial(*this); }
    [[nodiscard]] const char *ModelName() const override { return "constant"; }
    void SetValue(std::complex<double> n) { n_ = n; }

    [[nodiscard]] bool ReadKey(kxMaterialReader &reader, const std::string &key) override;
    [[nodiscard]] bool FinishRead(kxMaterialReader &) override { return true; }

protected:
    [[nodiscard]] std::complex<double> Core(double, double, double) const override { return n_; }
    void CoreDerivatives(double, double, double, kxIndexDerivatives &d) const override;
    void WriteBody(TextBlock &tb) const override;

private:
    std::complex<double> n_;
};

// ---------------------------------------------------------------------------------------------
/// n = c0 + c1 / lambda^2 + c2 / lambda^4 + ...
class kxCauchyMaterial : public kxMaterial {
public:
    kxCauchyMaterial() = default;
    explicit kxCauchyMaterial(std::vector<double> c) : c_(std::move(c)) {}
    [[nodiscard]] kxMaterial *newCopy() const override { return new kxCauchyMaterial(*this); }
    [[nodiscard]] const char *ModelName() const override { return "cauchy"; }
    [[nodiscard]] const std::vector<double> &Coefficients() const { return c_; }

    [[nodiscard]] bool ReadKey(kxMaterialReader &reader, const std::string &key) override;
    [[nodiscard]] bool FinishRead(kxMaterialReader &reader) override;

protected:
    [[nodiscard]] std::complex<double> Core(double lambda, double, double) const override;
    void CoreDerivatives(double lambda, double, double, kxIndexDerivatives &d) const override;
    void WriteBody(TextBlock &tb) const override;

private:
    template <class S>
    S Law(const S &lambda) const;
    std::vector<double> c_;
};

// ---------------------------------------------------------------------------------------------
/// n^2 = A + sum_i B_i lambda^2 / (lambda^2 - C_i), C_i in um^2; any number of terms.
class kxSellmeierMaterial : public kxMaterial {
public:
    kxSellmeierMaterial() = default;
    kxSellmeierMaterial(double a, std::vector<double> b, std::vector<double> c)
        : a_(a), b_(std::move(b)), c_(std::move(c))
    {
    }
    [[nodiscard]] kxMaterial *newCopy() const override { return new kxSellmeierMaterial(*this); }
    [[nodiscard]] const char *ModelName() const override { return "sellmeier"; }
    void AddTerm(double b, double c)
    {
        b_.push_back(b);
        c_.push_back(c);
    }
    [[nodiscard]] int TermCount() const { return static_cast<int>(b_.size()); }

    [[nodiscard]] bool ReadKey(kxMaterialReader &reader, const std::string &key) override;
    [[nodiscard]] bool FinishRead(kxMaterialReader &reader) override;

protected:
    [[nodiscard]] std::complex<double> Core(double lambda, double, double) const override;
    void CoreDerivatives(double lambda, double, double, kxIndexDerivatives &d) const override;
    void WriteBody(TextBlock &tb) const override;

private:
    double a_ = 1.0;
    std::vector<double> b_;
    std::vector<double> c_;
};

// ---------------------------------------------------------------------------------------------
/// One tabulated quantity against wavelength, indexed from 0.
class kxMaterialTable {
public:
    enum Interpolation {
        Spline,
        Linear
    };

    /// False when there are fewer than 2 points, a value is not finite or the wavelengths do
    /// not increase strictly.
    [[nodiscard]] bool Set(std::vector<double> lambda, std::vector<double> value,
                           Interpolation mode);
    void SetInterpolation(Interpolation mode);
    [[nodiscard]] bool Empty() const { return x_.empty(); }
    [[nodiscard]] int Count() const { return static_cast<int>(x_.size()); }
    [[nodiscard]] double Lambda(int i) const { return x_[i]; }
    [[nodiscard]] double Value(int i) const { return y_[i]; }
    [[nodiscard]] double First() const { return x_.front(); }
    [[nodiscard]] double Last() const { return x_.back(); }

    /// The value at lambda: the natural cubic spline of CSpline (its second derivatives, its
    /// formula, its straight continuation outside the table) or the broken line.
    [[nodiscard]] double Evaluate(double lambda) const;
    /// Value, first and second derivative at lambda.
    void Derivatives(double lambda, double &v, double &d, double &dd) const;

private:
    [[nodiscard]] double LinearValue(double lambda) const;
    /// The interval i (0 .. Count()-2) with x[i] <= lambda < x[i+1], clamped at the ends.
    [[nodiscard]] int Interval(double lambda) const;

    // The interval is found through bins of equal width over the table: bins_[b] is the
    // interval where bin b starts (with one more entry, the last interval), so a lookup
    // searches only the few intervals of one bin instead of the whole table.
    std::vector<double> x_, y_, m_;
    std::vector<int> bins_;
    double binScale_ = 0.0;
    CSpline spline_;
    Interpolation mode_ = Spline;
};

/// A material of the refractive-index database: an optional dispersion formula for n and
/// optional tables of n and k.
class kxDatabaseMaterial : public kxMaterial {
public:
    [[nodiscard]] kxMaterial *newCopy() const override { return new kxDatabaseMaterial(*this); }
    [[nodiscard]] const char *ModelName() const override { return "database"; }

    /// Sets formula `type` (1-9) with coefficients C1, C2, ... valid on [lo, hi]; false with
    /// the error set for a bad type or coefficient count.
    [[nodiscard]] bool SetFormula(int type, std::vector<double> coefficients, double lo, double hi);
    [[nodiscard]] int FormulaType() const { return formula_; }
    [[nodiscard]] const std::vector<double> &FormulaCoefficients() const { return coef_; }
    [[nodiscard]] double FormulaLo() const { return formulaLo_; }
    [[nodiscard]] double FormulaHi() const { return formulaHi_; }
    /// Sets the table of n (or of k) with the material's interpolation; false when the table
    /// cannot be used (see kxMaterialTable::Set), leaving the old one.
    [[nodiscard]] bool SetNTable(std::vector<double> lambda, std::vector<double> n);
    [[nodiscard]] bool SetKTable(std::vector<double> lambda, std::vector<double> k);
    [[nodiscard]] const kxMaterialTable &NTable() const { return n_; }
    [[nodiscard]] const kxMaterialTable &KTable() const { return k_; }
    void SetInterpolation(kxMaterialTable::Interpolation mode);
    [[nodiscard]] kxMaterialTable::Interpolation GetInterpolation() const { return mode_; }
    [[nodiscard]] bool HasN() const { return formula_ != 0 || !n_.Empty(); }
    [[nodiscard]] const KXString &GetComments() const { return comments_; }
    void SetComments(const KXString &text) { comments_ = text; }

    [[nodiscard]] bool ReadKey(kxMaterialReader &reader, const std::string &key) override;
    [[nodiscard]] bool ReadChild(kxMaterialReader &reader, TextBlock &child) override;
    [[nodiscard]] bool FinishRead(kxMaterialReader &reader) override;

protected:
    [[nodiscard]] std::complex<double> Core(double lambda, double, double) const override;
    void CoreDerivatives(double lambda, double, double, kxIndexDerivatives &d) const override;
    void WriteBody(TextBlock &tb) const override;
    [[nodiscard]] bool UsesStoredRange() const override { return false; }

private:
    template <class S>
    S FormulaLaw(const S &lambda, bool &squared) const;
    /// Stores the overlap of the parts' ranges as the material's range.
    void UpdateRange();

    int formula_ = 0;
    std::vector<double> coef_;
    double formulaLo_ = 0.0, formulaHi_ = 0.0;
    kxMaterialTable n_, k_;
    kxMaterialTable::Interpolation mode_ = kxMaterialTable::Spline;
    KXString comments_;
    /// The text each table block ("n", "k", "nk") was read from, for its comments.
    std::map<std::string, std::string> tableTexts_;
};

// ---------------------------------------------------------------------------------------------
/// n + ik given by a formula of the formula language in lambda (um), T (K), x and the variables
/// of a namespace (the project's). The formula is compiled once; the namespace's variables are
/// looked up by name at each evaluation, so the index follows their current values.
class kxFormulaMaterial : public kxMaterial {
public:
    /// `ns` (not owned, may be null) must outlive the material.
    explicit kxFormulaMaterial(kxNameSpace *ns = nullptr) : ns_(ns) {}
    kxFormulaMaterial(const kxFormulaMaterial &other);
    [[nodiscard]] kxMaterial *newCopy() const override { return new kxFormulaMaterial(*this); }
    [[nodiscard]] const char *ModelName() const override { return "formula"; }

    /// Compiles the formula; false with the error set ("material \"%s\": ...") for a syntax
    /// fault or a name that is neither lambda, T, x nor a variable of the namespace.
    [[nodiscard]] bool SetFormula(const char *text);
    [[nodiscard]] const std::string &GetFormula() const { return text_; }
    [[nodiscard]] kxNameSpace *GetNameSpace() const { return ns_; }
    /// Re-binds to another namespace (the formula is compiled again).
    [[nodiscard]] bool SetNameSpace(kxNameSpace *ns);

    [[nodiscard]] bool ReadKey(kxMaterialReader &reader, const std::string &key) override;
    [[nodiscard]] bool FinishRead(kxMaterialReader &reader) override;

protected:
    [[nodiscard]] std::complex<double> Core(double lambda, double T, double x) const override;
    void WriteBody(TextBlock &tb) const override;

private:
    kxNameSpace *ns_;
    std::string text_;
    std::vector<std::string> names_; ///< namespace variables, parameters 3.. of the formula
    mutable std::unique_ptr<KXExpressionC> expr_;
};

// ---------------------------------------------------------------------------------------------
/// Alloy of end members A (x = 0) and B (x = 1) with an optional bowing parameter.
class kxAlloyMaterial : public kxMaterial {
public:
    kxAlloyMaterial() = default;
    /// Takes ownership of both end members.
    kxAlloyMaterial(kxMaterial *a, kxMaterial *b, double bowing = 0.0);
    kxAlloyMaterial(const kxAlloyMaterial &other);
    [[nodiscard]] kxMaterial *newCopy() const override { return new kxAlloyMaterial(*this); }
    [[nodiscard]] const char *ModelName() const override { return "alloy"; }
    [[nodiscard]] double GetBowing() const { return bowing_; }

    [[nodiscard]] bool ReadKey(kxMaterialReader &reader, const std::string &key) override;
    [[nodiscard]] bool ReadChild(kxMaterialReader &reader, TextBlock &child) override;
    [[nodiscard]] bool FinishRead(kxMaterialReader &reader) override;

protected:
    [[nodiscard]] std::complex<double> Core(double lambda, double T, double x) const override;
    void CoreDerivatives(double lambda, double T, double x, kxIndexDerivatives &d) const override;
    void WriteBody(TextBlock &tb) const override;
    [[nodiscard]] bool UsesStoredRange() const override { return false; }

private:
    /// Stores the overlap of the end members' ranges as the alloy's range.
    void UpdateRange();

    std::unique_ptr<kxMaterial> a_, b_;
    double bowing_ = 0.0;
};

// ---------------------------------------------------------------------------------------------
/// The modified single-effective-oscillator model with composition-dependent E0, Ed and Eg.
class kxOscillatorMaterial : public kxMaterial {
public:
    kxOscillatorMaterial() { SetRangeVaries(true); }
    /// Polynomial coefficients in x (constant first), all in eV.
    kxOscillatorMaterial(std::vector<double> e0, std::vector<double> ed, std::vector<double> eg)
        : e0_(std::move(e0)), ed_(std::move(ed)), eg_(std::move(eg))
    {
        SetRangeVaries(true);
    }
    [[nodiscard]] kxMaterial *newCopy() const override { return new kxOscillatorMaterial(*this); }
    [[nodiscard]] const char *ModelName() const override { return "oscillator"; }
    /// The band gap at composition x (eV).
    [[nodiscard]] double BandGap(double x) const;

    void Range(double x, double &lo, double &hi) const override;
    [[nodiscard]] bool ReadKey(kxMaterialReader &reader, const std::string &key) override;
    [[nodiscard]] bool FinishRead(kxMaterialReader &reader) override;

protected:
    [[nodiscard]] std::complex<double> Core(double lambda, double, double x) const override;
    void CoreDerivatives(double lambda, double, double x, kxIndexDerivatives &d) const override;
    void WriteBody(TextBlock &tb) const override;

private:
    template <class S>
    S Law(const S &lambda, double x) const;
    std::vector<double> e0_, ed_, eg_;
};

#endif
