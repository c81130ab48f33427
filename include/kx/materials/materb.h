// materb.h - the material base: a material answers its complex refractive index n + ik at a
// wavelength (microns), a temperature (kelvin) and a composition (0..1), with its first and
// second wavelength derivatives, and knows the range of wavelengths its data are valid for.
//
// Conventions
// -----------
// - The imaginary part of the index is the extinction coefficient k (k >= 0 absorbs); the
//   absorption coefficient is alpha = 4 pi k / lambda, given in 1/cm.
// - Derivatives are taken with respect to the wavelength in microns (1/um and 1/um^2).
// - Temperature: every material may carry a thermo-optic correction around a reference
//   temperature Tref: n(T) = n(Tref) + dn/dT (T - Tref) + d2n/dT2 (T - Tref)^2 / 2, applied to
//   the real part. Without one the index does not depend on T.
// - Composition x is used by alloys and composition models; other models ignore it, but every
//   material refuses an x outside 0..1 the same way.
// - Validity range: Range(x) gives [lo, hi] in microns (0 and infinity when unlimited). Outside
//   it the model is evaluated all the same (extrapolated), and the first such evaluation of a
//   material writes one line to the warning log (kxWarningLog); later ones are silent until
//   ResetExtrapolationWarning().
// - Bad arguments never pass on NaN: a wavelength or temperature that is not a positive finite
//   number, a composition outside 0..1, or a model value that is not finite, set the global
//   error (code kxErrOutOfRange, 4101) with one of the texts below and the call returns false
//   (or the value 0):
//     "material \"%s\": the wavelength must be a positive finite number of microns, not %g\n"
//     "material \"%s\": the temperature must be a positive finite number of kelvin, not %g\n"
//     "material \"%s\": the composition must lie between 0 and 1, not %g\n"
//     "material \"%s\": the index is not finite at %g um\n"
//   The warning text is
//     "material \"%s\": %g um is outside the validity range %g - %g um; the index is
//      extrapolated\n" (one line).
//
// Persistence: a material is one block "begin <kxMaterial(1.0)> \"name\"" whose body is lines
// "keyword values..." (see kxmatmodels.h for each model's keywords and docs/materials.md for
// examples). Comments typed into a material's block are carried over when it is written again.
//
// Ownership: materials are plain objects owned by whoever made them; newCopy gives a new one
// owned by the caller. Evaluation keeps one piece of mutable state, the extrapolation warning
// flag, so a material is not shared between threads (nothing in the library is).
#ifndef KX_MATERIALS_MATERB_H
#define KX_MATERIALS_MATERB_H

#include "kx/foundation/kxfbuff.h"
#include "kx/foundation/kxstring.h"

#include <complex>
#include <limits>
#include <string>

class TextBlock;
class kxNameSpace;
class kxMaterialReader;

#if defined(__GNUC__)
#define KX_MATERIALS_INTERNAL __attribute__((visibility("hidden")))
#else
#define KX_MATERIALS_INTERNAL
#endif

/// Temperature used when none is given (20 degrees Celsius).
constexpr double kxRoomTemperature = 293.15;
/// h c in eV um: photon energy E = kxHcEvUm / lambda.
constexpr double kxHcEvUm = 1.239841984;

/// The index and its wavelength derivatives at one point.
struct kxIndexDerivatives {
    std::complex<double> n;   ///< n + ik
    std::complex<double> dn;  ///< d(n + ik)/dlambda, 1/um
    std::complex<double> d2n; ///< d2(n + ik)/dlambda2, 1/um^2
};

/// How deep material blocks may nest (an alloy's end members are nested materials).
constexpr int kxMaterialMaxNesting = 32;

/// The block signature of a material.
extern const TBlockSig kxMaterialSig;

class kxMaterial {
public:
    kxMaterial() = default;
    kxMaterial(const kxMaterial &other) = default;
    kxMaterial &operator=(const kxMaterial &other) = default;
    virtual ~kxMaterial() = default;

    /// A copy owned by the caller.
    [[nodiscard]] virtual kxMaterial *newCopy() const = 0;
    /// The model keyword written in files ("sellmeier", "database", ...).
    [[nodiscard]] virtual const char *ModelName() const = 0;

    [[nodiscard]] const KXString &GetName() const { return name_; }
    void SetName(const KXString &name) { name_ = name; }
    /// Where the data come from (author, journal, year), free text.
    [[nodiscard]] const KXString &GetSource() const { return source_; }
    void SetSource(const KXString &source) { source_ = source; }

    // -- Validity range ----------------------------------------------------------------------
    /// The range of wavelengths (um) the model holds for at composition x.
    virtual void Range(double x, double &lo, double &hi) const;
    /// Sets the stored range used by models without a range of their own; lo < hi.
    void SetRange(double lo, double hi);
    [[nodiscard]] bool IsInRange(double lambda, double x) const;
    /// True once an extrapolation has been reported.
    [[nodiscard]] bool ExtrapolationWarned() const { return warned_; }
    void ResetExtrapolationWarning() { warned_ = false; }

    // -- Temperature ---------------------------------------------------------------------------
    void SetThermoOptic(double tref, double dndT, double d2ndT2 = 0.0);
    [[nodiscard]] bool HasThermoOptic() const { return dndT_ != 0.0 || d2ndT2_ != 0.0; }
    [[nodiscard]] double GetReferenceTemperature() const { return tref_; }
    [[nodiscard]] double GetDnDT() const { return dndT_; }
    [[nodiscard]] double GetD2nDT2() const { return d2ndT2_; }

    // -- Evaluation ----------------------------------------------------------------------------
    /// n + ik; false with the global error set when the arguments or the value are refused.
    [[nodiscard]] bool Index(double lambda, double T, double x, std::complex<double> &n);
    /// n + ik, or 0 with the global error set.
    std::complex<double> Index(double lambda, double T = kxRoomTemperature, double x = 0.0)
    {
        std::complex<double> n;
        return Index(lambda, T, x, n) ? n : std::complex<double>();
    }
    /// n + ik and its first and second wavelength derivatives.
    [[nodiscard]] bool Derivatives(double lambda, double T, double x, kxIndexDerivatives &d);
    /// Absorption coefficient 4 pi k / lambda in 1/cm (0 with the error set on refusal).
    double Absorption(double lambda, double T = kxRoomTemperature, double x = 0.0);
    /// Group index n - lambda dn/dlambda (real part).
    double GroupIndex(double lambda, double T = kxRoomTemperature, double x = 0.0);
    /// Group-velocity dispersion beta2 = lambda^3 / (2 pi c^2) d2n/dlambda2 in ps^2/km.
    double GroupVelocityDispersion(double lambda, double T = kxRoomTemperature, double x = 0.0);
    /// Dispersion parameter D = -(lambda / c) d2n/dlambda2 in ps/(nm km).
    double DispersionParameter(double lambda, double T = kxRoomTemperature, double x = 0.0);

    /// The index without argument checks, range test or warning: for composite materials that
    /// have checked the arguments already. The thermo-optic correction is included.
    [[nodiscard]] std::complex<double> IndexUnchecked(double lambda, double T, double x) const;
    void DerivativesUnchecked(double lambda, double T, double x, kxIndexDerivatives &d) const;

    // -- Persistence ---------------------------------------------------------------------------
    /// Writes the material as one block into `tb` (which is started afresh), carrying over the
    /// comments of the block this material was read from.
    void WriteTB(TextBlock &tb) const;
    /// Reads the block loaded in `tb` (a kxMaterial block) into a new material owned by the
    /// caller; null with the global error set ("<file>:<line>: <problem>"). `firstLine` is the
    /// line of the file the block's header is on; formula materials look their variables up
    /// in `ns` and its parents (may be null: then only lambda, T and x are known).
    [[nodiscard]] static kxMaterial *ReadTB(TextBlock &tb, const char *file, int firstLine,
                                            kxNameSpace *ns);
    /// The text of the block this material was read from ("" when it was not read).
    [[nodiscard]] const std::string &GetBlockText() const { return blockText_; }

    // The reading hooks of the models (kxMaterialReader is the library's line reader, declared
    // in src/materials/kxmatreader.h).
    /// Called by the reader for each body line of the model's own keywords; `key` is the first
    /// word, in lower case. False with the error set (through reader.Fail) for a bad line.
    [[nodiscard]] virtual bool ReadKey(kxMaterialReader &reader, const std::string &key) = 0;
    /// Called for each nested block; the default refuses it.
    [[nodiscard]] virtual bool ReadChild(kxMaterialReader &reader, TextBlock &child);
    /// Called after the last line: checks that the model is complete.
    [[nodiscard]] virtual bool FinishRead(kxMaterialReader &reader) = 0;

protected:
    /// The model's index at (lambda, T, x), without the thermo-optic correction.
    [[nodiscard]] virtual std::complex<double> Core(double lambda, double T, double x) const = 0;
    /// The model's derivatives. The default differentiates Core numerically (central
    /// differences with steps lambda * 1e-3 and lambda * 2e-3, combined to fourth order).
    virtual void CoreDerivatives(double lambda, double T, double x, kxIndexDerivatives &d) const;
    /// Writes the model's own body lines.
    virtual void WriteBody(TextBlock &tb) const = 0;
    /// True for models whose range is the stored one (written as "range lo hi").
    [[nodiscard]] virtual bool UsesStoredRange() const { return true; }
    /// Models whose Range depends on the composition say so; the others keep their range in
    /// the stored one (SetRange), which evaluation then tests without a virtual call.
    void SetRangeVaries(bool varies) { rangeVaries_ = varies; }

private:
    // The evaluation path: hidden, so that calls inside the library are direct and inlined.
    /// Checks the arguments and warns about extrapolation; false with the error set.
    [[nodiscard]] KX_MATERIALS_INTERNAL bool CheckArguments(double lambda, double T, double x);
    /// Raises the message for refused arguments; false.
    KX_MATERIALS_INTERNAL bool RefuseArguments(double lambda, double T, double x) const;
    KX_MATERIALS_INTERNAL void WarnExtrapolation(double lambda, double x);
    [[nodiscard]] KX_MATERIALS_INTERNAL bool CheckValue(const std::complex<double> &n,
                                                        double lambda) const;
    [[nodiscard]] KX_MATERIALS_INTERNAL double Thermo(double T) const;
    [[nodiscard]] bool ReadCommonKey(kxMaterialReader &reader, const std::string &key,
                                     bool &handled);

    KXString name_;
    KXString source_;
    double rangeLo_ = 0.0;
    double rangeHi_ = std::numeric_limits<double>::infinity();
    double tref_ = kxRoomTemperature;
    double dndT_ = 0.0;
    double d2ndT2_ = 0.0;
    bool warned_ = false;
    bool rangeVaries_ = false;
    std::string blockText_;
};

// -- Helpers shared by the models' writers ----------------------------------------------------
/// Quotes text for a body line: between double quotes, with '"' and '\\' escaped and every
/// second '/' of "//" written "\/" so that the text is never taken for a comment.
[[nodiscard]] std::string kxQuoteMaterialText(const std::string &text);
/// A number in the shortest form that reads back exactly (at most 17 digits).
[[nodiscard]] std::string kxMaterialNumber(double value);

#endif
