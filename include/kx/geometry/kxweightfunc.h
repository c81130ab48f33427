// kxweightfunc.h - taper weights: WeightFunc blends two shapes along t in [0, 1] through a
// default weight component and one each for x and y, defined by an interpolation command.
//
// Component kinds (DWeightFac), with u = (rangeEnd - rangeStart) t + rangeStart:
//   0 FLAT     the parameter                       4 SFUNC    (1 - cos(pi u)) / 2
//   1 LIN      u                                   5 FILE     cubic spline through the file's pairs
//   2 EXP      (e^(a u) - 1)/(e^a - 1), u if |a| <= 1e-8     6 FORMULA  a real formula of u
//   3 POWER    1 - (1 - u)^n, n = (int)parameter, at least 1   7 same as the default (x, y only)
// A component yields 0 while the global error is set, and for a kind above 6.
//
// The interpolation command: whitespace-separated tokens, keywords without regard to case.
//   D: X: Y:          select the default, x or y component for what follows ("X :" also works)
//   RANGE s e         the selected component's range ("WARNING: silly range in Weighting
//                     Function\n" on the message window when s == e, s < 0 or e > 1; still set)
//   LIN | SFUNC | FLAT v | EXP a | POWER n
//   FILE name         a double-quoted or bare file name of number pairs (x y per pair; blanks,
//                     commas, semicolons and line ends separate numbers). Only regular files of
//                     up to 64 MiB are read.
//   FORMULA f [name=value ...]
//                     f is one token or a double-quoted text; name=value tokens that follow set
//                     the named parameters. The formula's coordinate is its first name that is
//                     neither a listed parameter nor a registered function or constant ("x"
//                     when there is none); the parameters are declared after it.
// Unknown words, and keywords missing or with a bad number, report "Unrecognised symbol \"%s\"\n";
// after the scan any error adds "There were syntax error(s) in interpolation command:\n
// \"%s\"\n" with the whole command. Both go through SyntaxErr. Parsing starts from the defaults:
// the default component LIN over [0, 1], x and y same as the default, no parameters.
//
// Preparing (first use, or OnEvaluate) reads a FILE into the spline and compiles a FORMULA; a
// failure sets the global error to "Failure preparing Weighting Function\n". An error other
// than code 507 raised while a FORMULA is evaluated is cleared and the value kept.
// OnEvaluate runs when the object model sends kxMsgUpdate to the function.
#ifndef KX_GEOMETRY_KXWEIGHTFUNC_H
#define KX_GEOMETRY_KXWEIGHTFUNC_H

#include "kx/expressions/kxcubicspline.h"
#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxlist.h"
#include "kx/foundation/kxstring.h"
#include "kx/objects/kxobject.h"

/// Weights for x, for y, and overall, in this order.
struct WeightType {
    double wx = 0.0;
    double wy = 0.0;
    double w = 0.0;

    WeightType() = default;
    WeightType(double x, double y, double overall) : wx(x), wy(y), w(overall) {}
};

/// A named numeric parameter of a weight formula.
struct WeightParam {
    KXString name;
    double value = 0.0;
};

/// One weight component.
class DWeightFac {
public:
    enum Kind {
        FLAT = 0,
        LIN = 1,
        EXP = 2,
        POWER = 3,
        SFUNC = 4,
        FILE = 5,
        FORMULA = 6,
        SAME = 7
    };

    explicit DWeightFac(int kind = LIN) : kind(kind) {}

    /// Reads the file or compiles the formula (with `params`); true when ready. Kinds other than
    /// FILE and FORMULA are always ready.
    bool Prepare(const List<WeightParam> &params);
    /// Copies the parameter values into a prepared formula.
    void RefreshParams(const List<WeightParam> &params);
    /// The component's value at t (see the table at the top). Prepares on first use.
    double Value(double t, const List<WeightParam> &params);

    int kind;
    double param = 0.0; ///< FLAT's constant, EXP's rate, POWER's exponent
    double rangeStart = 0.0;
    double rangeEnd = 1.0;
    bool prepared = false;
    KXString fileName;        ///< FILE
    KXString formula;         ///< FORMULA
    CSpline spline;           ///< FILE, once prepared
    KXExpressionR expression; ///< FORMULA, once prepared; parameter 0 receives u
};

class WeightFunc : public KXObject {
    KX_DECLARE_CLASS(WeightFunc)
public:
    /// Default weights: LIN over [0, 1] for all three.
    WeightFunc() = default;
    /// Stores the command and parses it (errors reported as described at the top).
    explicit WeightFunc(const char *command);

    /// Replaces the command text and parses it; false on a syntax error.
    [[nodiscard]] bool SetCommand(const char *command);
    const KXString &GetCommand() const { return command_; }

    /// Parses the stored command into the three components and the parameter list.
    bool ParseCmdString();
    /// Re-parses, clears the prepared flags, prepares the default component and every component
    /// whose kind is not "same as the default", then refreshes the parameter values.
    void OnEvaluate();

    /// (x weight, y weight, overall weight) at t.
    [[nodiscard]] WeightType WeightVal(double t);

    [[nodiscard]] DWeightFac &GetDefault() { return def_; }
    [[nodiscard]] DWeightFac &GetX() { return x_; }
    [[nodiscard]] DWeightFac &GetY() { return y_; }
    const List<WeightParam> &GetParams() const { return params_; }

    void OnPublish() override;
    void OnMessage(KXMessage &message) override;

private:
    KXString command_;
    KXString paramsText_; ///< the parameters as "name=value ..." for publishing
    List<WeightParam> params_;
    DWeightFac def_{DWeightFac::LIN};
    DWeightFac x_{DWeightFac::SAME};
    DWeightFac y_{DWeightFac::SAME};
};

#endif
