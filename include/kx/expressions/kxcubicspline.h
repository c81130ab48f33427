// kxcubicspline.h - the natural cubic spline through a table of (x, y) pairs: construction,
// evaluation and the check that the abscissae increase strictly. Used by the formula built-in
// `spline` and by the taper weight functions read from files.
//
// The spline has zero second derivative at both ends (natural end conditions). Outside the
// table it continues as a straight line with the slope of the spline at the end it leaves, so
// it neither clamps nor follows the end cubics. Two points give the straight line through them.
//
// Besides the owning class CSpline, the static kernels work on caller-owned storage with a
// stride, so a table interleaved as x1, y1, x2, y2, ... (stride 2) is used in place and nothing
// is allocated.
#ifndef KX_EXPRESSIONS_KXCUBICSPLINE_H
#define KX_EXPRESSIONS_KXCUBICSPLINE_H

#include <vector>

class CSpline {
public:
    CSpline() = default;

    /// Builds the spline through (x[i], y[i]), i = 0 .. n-1. False (and the spline left empty)
    /// when n < 2 or the abscissae do not increase strictly.
    [[nodiscard]] bool Set(const double *x, const double *y, int n);
    /// The same with the i-th pair at x[i * stride], y[i * stride].
    [[nodiscard]] bool Set(const double *x, const double *y, int n, int stride);

    /// Number of points; 0 for an empty spline.
    int Count() const { return static_cast<int>(x_.size()); }
    /// The spline's value at x (linear extrapolation outside the table); 0 for an empty spline.
    [[nodiscard]] double Evaluate(double x) const;
    /// Its first derivative at x (the end slope outside the table); 0 for an empty spline.
    [[nodiscard]] double Derivative(double x) const;

    /// True when n >= 1 and x[0], x[stride], ... increase strictly (NaN never increases).
    [[nodiscard]] static bool IsMonotonic(const double *x, int n, int stride = 1);

    /// Second derivatives m[0 .. n-1] of the natural spline through n >= 2 strictly increasing
    /// abscissae, using work[0 .. n-1] as scratch (m and work must not overlap the table).
    static void SecondDerivatives(const double *x, const double *y, int n, int stride, double *m,
                                  double *work);
    /// The value at `at` of the spline with second derivatives m (from SecondDerivatives).
    [[nodiscard]] static double Value(const double *x, const double *y, int n, int stride,
                                      const double *m, double at);

private:
    std::vector<double> x_;
    std::vector<double> y_;
    std::vector<double> m_;
};

#endif
