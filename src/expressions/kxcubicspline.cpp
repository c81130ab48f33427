// Natural cubic spline: second derivatives by the tridiagonal (Thomas) solve, evaluation by
// binary search of the interval, straight-line continuation beyond the ends.
#include "kx/expressions/kxcubicspline.h"

namespace {

// Index k of the interval x[k] .. x[k+1] holding `at`, clamped to 0 .. n-2.
int FindInterval(const double *x, int n, int stride, double at)
{
    int lo = 0;
    int hi = n - 1;
    while (hi - lo > 1) {
        const int mid = (lo + hi) / 2;
        if (at < x[mid * stride])
            hi = mid;
        else
            lo = mid;
    }
    return lo;
}

// Slope of the spline at the first (k = 0, atEnd false) or last (atEnd true) point.
double EndSlope(const double *x, const double *y, int n, int stride, const double *m, bool atEnd)
{
    const int k = atEnd ? n - 2 : 0;
    const double h = x[(k + 1) * stride] - x[k * stride];
    const double secant = (y[(k + 1) * stride] - y[k * stride]) / h;
    if (atEnd)
        return secant + h * (m[k] + 2.0 * m[k + 1]) / 6.0;
    return secant - h * (2.0 * m[k] + m[k + 1]) / 6.0;
}

} // namespace

bool CSpline::IsMonotonic(const double *x, int n, int stride)
{
    if (n < 1)
        return false;
    for (int i = 1; i < n; ++i)
        if (!(x[i * stride] > x[(i - 1) * stride]))
            return false;
    return true;
}

void CSpline::SecondDerivatives(const double *x, const double *y, int n, int stride, double *m,
                                double *work)
{
    m[0] = 0.0;
    m[n - 1] = 0.0;
    if (n < 3)
        return;
    // Forward sweep over the rows 1 .. n-2 of
    //   h[i-1] m[i-1] + 2 (h[i-1] + h[i]) m[i] + h[i] m[i+1] = 6 (s[i] - s[i-1]),
    // keeping the reduced super-diagonal in work and the reduced right side in m.
    double hPrev = x[stride] - x[0];
    double sPrev = (y[stride] - y[0]) / hPrev;
    double cPrev = 0.0; // reduced super-diagonal of the previous row
    double dPrev = 0.0; // reduced right side of the previous row
    for (int i = 1; i < n - 1; ++i) {
        const double h = x[(i + 1) * stride] - x[i * stride];
        const double s = (y[(i + 1) * stride] - y[i * stride]) / h;
        const double denom = 2.0 * (hPrev + h) - hPrev * cPrev;
        cPrev = h / denom;
        dPrev = (6.0 * (s - sPrev) - hPrev * dPrev) / denom;
        work[i] = cPrev;
        m[i] = dPrev;
        hPrev = h;
        sPrev = s;
    }
    for (int i = n - 2; i >= 1; --i)
        m[i] -= work[i] * m[i + 1];
}

double CSpline::Value(const double *x, const double *y, int n, int stride, const double *m,
                      double at)
{
    const double first = x[0];
    const double last = x[(n - 1) * stride];
    if (at < first)
        return y[0] + (at - first) * EndSlope(x, y, n, stride, m, false);
    if (at > last)
        return y[(n - 1) * stride] + (at - last) * EndSlope(x, y, n, stride, m, true);
    const int k = FindInterval(x, n, stride, at);
    const double xk = x[k * stride];
    const double h = x[(k + 1) * stride] - xk;
    const double b = (at - xk) / h;
    const double a = 1.0 - b;
    return a * y[k * stride] + b * y[(k + 1) * stride] +
           ((a * a * a - a) * m[k] + (b * b * b - b) * m[k + 1]) * h * h / 6.0;
}

bool CSpline::Set(const double *x, const double *y, int n) { return Set(x, y, n, 1); }

bool CSpline::Set(const double *x, const double *y, int n, int stride)
{
    x_.clear();
    y_.clear();
    m_.clear();
    if (n < 2 || !IsMonotonic(x, n, stride))
        return false;
    x_.resize(n);
    y_.resize(n);
    for (int i = 0; i < n; ++i) {
        x_[i] = x[i * stride];
        y_[i] = y[i * stride];
    }
    m_.resize(n);
    std::vector<double> work(n);
    SecondDerivatives(x_.data(), y_.data(), n, 1, m_.data(), work.data());
    return true;
}

double CSpline::Evaluate(double x) const
{
    if (x_.empty())
        return 0.0;
    return Value(x_.data(), y_.data(), Count(), 1, m_.data(), x);
}

double CSpline::Derivative(double x) const
{
    const int n = Count();
    if (n == 0)
        return 0.0;
    if (x < x_[0])
        return EndSlope(x_.data(), y_.data(), n, 1, m_.data(), false);
    if (x > x_[n - 1])
        return EndSlope(x_.data(), y_.data(), n, 1, m_.data(), true);
    const int k = FindInterval(x_.data(), n, 1, x);
    const double h = x_[k + 1] - x_[k];
    const double b = (x - x_[k]) / h;
    const double a = 1.0 - b;
    return (y_[k + 1] - y_[k]) / h +
           ((1.0 - 3.0 * a * a) * m_[k] + (3.0 * b * b - 1.0) * m_[k + 1]) * h / 6.0;
}
