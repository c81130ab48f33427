// kxlevmar.h - least-squares minimisation of a user residual function by the Levenberg-Marquardt
// method (cminpack's lmdif: Jacobian by forward differences, scaled trust region).
//
// The residual function receives the parameters and fills m residuals; the method minimises the
// sum of their squares starting from the parameters given, which it overwrites with the best
// point found. It returns false when the function asks to stop or gives a non-finite residual.
//
// Bounds and report: the minimisation stops after at most maxIterations Jacobian evaluations
// (each costs n residual evaluations; lmdif's limit on evaluations is set to
// maxIterations * (n + 1), which the evaluation of the last trial step may pass by one). The report says why it stopped, with cminpack's code (`info`) and
// one of these texts (`reason`):
//   1 "relative reduction of the sum of squares below ftol"
//   2 "relative change of the parameters below xtol"
//   3 "relative reduction of the sum of squares below ftol and change of the parameters below xtol"
//   4 "residuals orthogonal to the Jacobian's columns within gtol"
//   5 "iteration limit reached"
//   6 "ftol too small: no further reduction of the sum of squares possible"
//   7 "xtol too small: no further improvement of the parameters possible"
//   8 "gtol too small: residuals orthogonal to the Jacobian to machine precision"
//   0 "improper input: needs at least as many residuals as parameters, and positive tolerances"
//  -1 "stopped by the residual function" / "the residual function gave a value that is not finite"
// Codes 1-4 and 6-8 all end at a (local) minimum as far as double precision can tell and return
// true. Codes 5, 0 and -1 return false with the global `error` set: "fit stopped: %s\n" (code 1).
#ifndef KX_NUMERICS_KXLEVMAR_H
#define KX_NUMERICS_KXLEVMAR_H

#include "kx/foundation/kxstring.h"

#include <functional>
#include <vector>

/// Fills residuals[0 .. m-1] for parameters[0 .. n-1]; false asks the minimiser to stop.
using kxResidualFunction =
    std::function<bool(const std::vector<double> &parameters, std::vector<double> &residuals)>;

struct kxLMOptions {
    int maxIterations = 200; ///< Jacobian evaluations at most
    double ftol = 1e-12;     ///< relative reduction of the sum of squares
    double xtol = 1e-12;     ///< relative change of the parameters
    double gtol = 0.0;       ///< orthogonality of residuals and Jacobian (0: not tested)
    double epsfcn = 0.0;     ///< relative step of the differences (0: machine precision)
};

struct kxLMReport {
    int info = 0;              ///< cminpack's stop code (see the top of this file)
    int evaluations = 0;       ///< residual evaluations, the Jacobian's included
    int iterations = 0;        ///< Jacobian evaluations
    double residualNorm = 0.0; ///< Euclidean norm of the residuals at the result
    KXString reason;           ///< why it stopped
};

/// Minimises the sum of squares of m residuals over the parameters (see the top of this file).
[[nodiscard]] bool kxLevenbergMarquardt(const kxResidualFunction &residuals, int m,
                                        std::vector<double> &parameters, kxLMReport &report,
                                        const kxLMOptions &options = kxLMOptions());

#endif
