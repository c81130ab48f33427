// Least-squares natural spline: the design matrix holds the cardinal natural splines of the
// knots (the spline through a unit value at one knot and zeros elsewhere) at the data points.
#define KX_UNIT "Splinfit"
#include "kx/numerics/Splinfit.h"

#include "kx/foundation/kxerror.h"
#include "kx/numerics/matrixT.h"

#include <cmath>

namespace {

bool AllFinite(const std::vector<double> &v)
{
    for (double d : v)
        if (!std::isfinite(d))
            return false;
    return true;
}

} // namespace

bool kxSplineFit(const std::vector<double> &x, const std::vector<double> &y,
                 const std::vector<double> &knots, CSpline &spline, std::vector<double> *knotValues,
                 const std::vector<double> *weights)
{
    const int k = static_cast<int>(knots.size());
    if (k < 2 || !CSpline::IsMonotonic(knots.data(), k)) {
        error.Raise(kxErrGeneric, "spline fit knots must increase strictly (%d knots)\n", k);
        return false;
    }
    if (x.size() != y.size() || (weights && weights->size() != x.size()) || !AllFinite(x) ||
        !AllFinite(y) || (weights && !AllFinite(*weights))) {
        error.Raise(kxErrGeneric, "spline fit data are not valid\n");
        return false;
    }
    const int m = static_cast<int>(x.size());
    if (m < k) {
        error.Raise(kxErrGeneric, "least-squares matrix is rank deficient (rank %d of %d)\n", m, k);
        return false;
    }
    kxMatrixR design(m, k);
    kxMatrixR rhs(m, 1);
    std::vector<double> unit(k, 0.0), second(k), work(k);
    for (int j = 0; j < k; ++j) {
        unit[j] = 1.0;
        CSpline::SecondDerivatives(knots.data(), unit.data(), k, 1, second.data(), work.data());
        for (int i = 0; i < m; ++i) {
            const double w = weights ? (*weights)[i] : 1.0;
            design(i, j) = w * CSpline::Value(knots.data(), unit.data(), k, 1, second.data(), x[i]);
        }
        unit[j] = 0.0;
    }
    for (int i = 0; i < m; ++i)
        rhs(i, 0) = (weights ? (*weights)[i] : 1.0) * y[i];
    if (!design.LeastSquares(rhs))
        return false;
    std::vector<double> values(k);
    for (int j = 0; j < k; ++j)
        values[j] = rhs(j, 0);
    if (!spline.Set(knots.data(), values.data(), k)) {
        KX_CODE_ERROR("fitted knot values refused by the spline");
        return false;
    }
    if (knotValues)
        *knotValues = values;
    return true;
}
