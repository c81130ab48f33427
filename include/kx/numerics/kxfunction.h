// kxfunction.h - the one interface of functions of one or two real variables (tables,
// polynomials, user formulas), and their registration with the formula parsers so that users
// call them by name inside formulas.
//
// A function of one variable ignores y. Derivative(x, y, 0) is d/dx and Derivative(x, y, 1) is
// d/dy; HasDerivative() says whether the derivative is exact (tables, polynomials) or a numerical
// estimate by central differences (the default here, used by formulas).
//
// Registration
// ------------
// kxRegisterFunction(name, f) makes `name` a function of the process-wide real and complex
// parsers (kxGetRealParser, kxGetComplexParser) taking Dimension() arguments. The complex parser
// passes complex arguments to ValueC, whose default evaluates Value at their real parts. The
// registry shares ownership of the function. Registering a name again replaces the function
// (formulas compiled before call the new one); kxUnregisterFunction drops it, after which a
// call reports "function \"%s\" is not defined any more\n" (code 1) and gives 0, since the
// parsers keep every name they were given. At most kxMaxRegisteredFunctions names can be
// registered in one process ("too many registered functions\n" beyond). A name the parser
// already holds as a built-in is refused ("\"%s\" is a built-in function\n").
//
// The parsers treat registered functions as pure: a call with constant arguments is evaluated
// once, when the formula is compiled. A formula that must follow later changes of a registered
// function should pass it at least one variable.
#ifndef KX_NUMERICS_KXFUNCTION_H
#define KX_NUMERICS_KXFUNCTION_H

#include "kx/foundation/kxstring.h"

#include <complex>
#include <memory>

constexpr int kxMaxRegisteredFunctions = 64;

class kxFunction {
public:
    virtual ~kxFunction() = default;

    /// 1 for a function of x, 2 for a function of x and y.
    [[nodiscard]] virtual int Dimension() const = 0;
    /// The value at (x, y).
    [[nodiscard]] virtual double Value(double x, double y = 0.0) const = 0;
    /// The value at complex arguments; by default Value at their real parts.
    [[nodiscard]] virtual std::complex<double> ValueC(std::complex<double> x,
                                                      std::complex<double> y = 0.0) const
    {
        return Value(x.real(), y.real());
    }
    /// True when Derivative is exact rather than a numerical estimate.
    [[nodiscard]] virtual bool HasDerivative() const { return false; }
    /// d/dx (variable 0) or d/dy (variable 1) at (x, y); here a central difference with a step
    /// of 1e-5 (1 + |coordinate|).
    [[nodiscard]] virtual double Derivative(double x, double y = 0.0, int variable = 0) const;
};

/// Registers `function` under `name` with both process-wide parsers (see the top of this file).
[[nodiscard]] bool kxRegisterFunction(const KXString &name, std::shared_ptr<kxFunction> function);
/// Drops the function registered under `name`; false when there was none.
bool kxUnregisterFunction(const KXString &name);
/// The function registered under `name`, or null.
[[nodiscard]] std::shared_ptr<kxFunction> kxFindRegisteredFunction(const KXString &name);

#endif
