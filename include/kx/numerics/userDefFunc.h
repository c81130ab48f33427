// userDefFunc.h - a function of x (and y) given as a formula of the formula language whose other
// names are variables of a namespace, so that its values follow later changes of those
// variables.
//
// The formula is compiled once (complex variant, process-wide complex parser) with x, then y
// (functions of two variables), then every other name it uses as parameters. Names are those of
// the formula language: a letter, then letters, digits and underscores, not followed by a
// bracket (a call) and not part of a number; names with a leading underscore are constants.
// Each evaluation takes x and y from the caller and the other names' values from the namespace
// (through its parent chain), read again whenever the namespace's change counter has moved. So
// x and y hide namespace variables of those names.
//
// Errors: SetFormula reports a formula that does not compile with the parser's text (code 504)
// and keeps no formula. An evaluation whose name has no variable in the namespace reports
// "undefined variable \"%s\"\n" (code 1) and gives 0; other evaluation faults are the parser's
// (the global `error` is left set for the caller, who reads and resets it). A formula that calls
// itself through a registered name reports "function \"%s\" calls itself\n" and gives 0.
// Value gives the real part of the complex result; ValueC the whole of it.
//
// Lifetime: the namespace is not owned and must outlive the function (or be replaced through
// SetNameSpace first); a null namespace (or a reserved handle) means no variables.
#ifndef KX_NUMERICS_USERDEFFUNC_H
#define KX_NUMERICS_USERDEFFUNC_H

#include "kx/expressions/kxfnparser.h"
#include "kx/foundation/kxstring.h"
#include "kx/numerics/kxfunction.h"

#include <complex>
#include <vector>

class kxNameSpace;

class kxUserDefFunc : public kxFunction {
public:
    /// A function of `dimension` (1 or 2) variables with no formula yet (its value is 0).
    explicit kxUserDefFunc(kxNameSpace *ns = nullptr, int dimension = 1);
    kxUserDefFunc(const kxUserDefFunc &other);
    kxUserDefFunc &operator=(const kxUserDefFunc &other) = delete;

    /// Compiles `text`; false (and no formula kept) when it does not compile.
    [[nodiscard]] bool SetFormula(const KXString &text);
    [[nodiscard]] const KXString &GetFormula() const { return formula_; }
    /// Binds the function to another namespace (values are read from it from now on).
    void SetNameSpace(kxNameSpace *ns);
    [[nodiscard]] kxNameSpace *GetNameSpace() const { return ns_; }
    /// The names other than x and y that the formula uses, in order of first use.
    [[nodiscard]] const std::vector<KXString> &VariableNames() const { return names_; }
    /// The name used in messages (the registered name, say); empty by default.
    void SetName(const KXString &name) { name_ = name; }

    [[nodiscard]] int Dimension() const override { return dimension_; }
    [[nodiscard]] double Value(double x, double y = 0.0) const override;
    [[nodiscard]] std::complex<double> ValueC(std::complex<double> x,
                                              std::complex<double> y = 0.0) const override;

private:
    /// Reads the namespace variables again when the change counter has moved.
    [[nodiscard]] bool RefreshValues() const;

    kxNameSpace *ns_;
    int dimension_;
    KXString formula_;
    KXString name_;
    std::vector<KXString> names_;
    mutable KXExpressionC expression_;
    mutable std::vector<std::complex<double>> values_; ///< x, [y,] then the names' values
    mutable int stamp_ = -1;                           ///< pseudo-time of values_, -1: never
    mutable bool busy_ = false;
};

#endif
