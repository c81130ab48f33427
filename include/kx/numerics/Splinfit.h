// Splinfit.h - least-squares fit of a natural cubic spline with given knots to scattered data.
//
// The fitted spline is the natural cubic spline (CSpline, zero second derivative at the end
// knots, continued linearly beyond them) through (knot[k], s[k]); the knot values s are chosen
// to minimise sum_i w[i]^2 (S(x[i]) - y[i])^2. The spline is linear in s, so this is one linear
// least-squares problem, solved by a rank-revealing QR factorisation.
//
// Errors (false, global `error` code 1): fewer than 2 knots or knots not strictly increasing
// ("spline fit knots must increase strictly (%d knots)\n"), x, y (and weights) of different
// lengths or a value that is not finite ("spline fit data are not valid\n"), and data that
// cannot fix every knot value ("least-squares matrix is rank deficient (rank %d of %d)\n"):
// in practice each knot interval next to a knot needs data near it, and there must be at least
// as many data points as knots.
#ifndef KX_NUMERICS_SPLINFIT_H
#define KX_NUMERICS_SPLINFIT_H

#include "kx/expressions/kxcubicspline.h"

#include <vector>

/// Fits the spline; on success `spline` passes through (knots[k], knotValues[k]).
[[nodiscard]] bool kxSplineFit(const std::vector<double> &x, const std::vector<double> &y,
                               const std::vector<double> &knots, CSpline &spline,
                               std::vector<double> *knotValues = nullptr,
                               const std::vector<double> *weights = nullptr);

#endif
