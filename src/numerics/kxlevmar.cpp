// Levenberg-Marquardt through cminpack's lmdif, with the caller's residual function behind a
// C callback and cminpack's stop codes turned into a report.
#define KX_UNIT "kxlevmar"
#include "kx/numerics/kxlevmar.h"

#include "kx/foundation/kxerror.h"

#include <cminpack.h>

#include <algorithm>
#include <cmath>

namespace {

struct Context {
    const kxResidualFunction *function;
    std::vector<double> parameters;
    std::vector<double> residuals;
    int jacobianCalls = 0;
    bool notFinite = false;
};

int Callback(void *p, int m, int n, const double *x, double *fvec, int iflag)
{
    Context &c = *static_cast<Context *>(p);
    if (iflag == 0)
        return 0; // progress printing: nothing to do
    if (iflag == 2)
        ++c.jacobianCalls;
    c.parameters.assign(x, x + n);
    c.residuals.assign(m, 0.0);
    if (!(*c.function)(c.parameters, c.residuals))
        return -1;
    if (static_cast<int>(c.residuals.size()) < m)
        c.residuals.resize(m, 0.0);
    for (int i = 0; i < m; ++i) {
        if (!std::isfinite(c.residuals[i])) {
            c.notFinite = true;
            return -1;
        }
        fvec[i] = c.residuals[i];
    }
    return 0;
}

const char *Reason(int info, bool notFinite)
{
    switch (info) {
    case 1: return "relative reduction of the sum of squares below ftol";
    case 2: return "relative change of the parameters below xtol";
    case 3:
        return "relative reduction of the sum of squares below ftol and change of the parameters "
               "below xtol";
    case 4: return "residuals orthogonal to the Jacobian's columns within gtol";
    case 5: return "iteration limit reached";
    case 6: return "ftol too small: no further reduction of the sum of squares possible";
    case 7: return "xtol too small: no further improvement of the parameters possible";
    case 8: return "gtol too small: residuals orthogonal to the Jacobian to machine precision";
    case 0:
        return "improper input: needs at least as many residuals as parameters, and positive "
               "tolerances";
    default:
        return notFinite ? "the residual function gave a value that is not finite"
                         : "stopped by the residual function";
    }
}

} // namespace

bool kxLevenbergMarquardt(const kxResidualFunction &residuals, int m,
                          std::vector<double> &parameters, kxLMReport &report,
                          const kxLMOptions &options)
{
    report = kxLMReport();
    const int n = static_cast<int>(parameters.size());
    Context context{&residuals, {}, {}, 0, false};
    int info = 0;
    std::vector<double> fvec(std::max(m, 1));
    if (n >= 1 && m >= n && options.maxIterations >= 1 && options.ftol >= 0 && options.xtol >= 0 &&
        options.gtol >= 0) {
        std::vector<double> diag(n), fjac(static_cast<size_t>(m) * n), qtf(n), wa1(n), wa2(n),
            wa3(n), wa4(m);
        std::vector<int> ipvt(n);
        int nfev = 0;
        info = lmdif(Callback, &context, m, n, parameters.data(), fvec.data(), options.ftol,
                     options.xtol, options.gtol, options.maxIterations * (n + 1), options.epsfcn,
                     diag.data(), 1, 100.0, 0, &nfev, fjac.data(), m, ipvt.data(), qtf.data(),
                     wa1.data(), wa2.data(), wa3.data(), wa4.data());
        report.evaluations = nfev;
        report.iterations = context.jacobianCalls / n;
        report.residualNorm = enorm(m, fvec.data());
    }
    report.info = info < 0 ? -1 : info;
    report.reason = KXString(Reason(info, context.notFinite));
    if (info >= 1 && info <= 8 && info != 5)
        return true;
    error.Raise(kxErrGeneric, "fit stopped: %s\n", report.reason.c_str());
    return false;
}
