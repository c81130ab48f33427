// kxmath.h - the floating-point comparison and rounding helpers every module shares.
#ifndef KX_FOUNDATION_KXMATH_H
#define KX_FOUNDATION_KXMATH_H

#include <algorithm>
#include <cmath>

/// pi, for the angle conversions of every module (degrees at the interfaces, radians inside).
constexpr double kxPi = 3.141592653589793;

/// Angle conversions (degrees * pi / 180 and radians * 180 / pi, in that order).
inline double kxDegreesToRadians(double degrees) { return degrees * kxPi / 180.0; }
inline double kxRadiansToDegrees(double radians) { return radians * 180.0 / kxPi; }

/// Smallest magnitude treated as non-zero by the comparisons below.
constexpr double kxDoubleZero = 1.7e-306;

/// True when |x| < 1.7e-306.
inline bool DoubleIsZero(double x) { return std::fabs(x) < kxDoubleZero; }

/// Relative equality: |a - b| < max(|a|, |b|) * 2e-14, the bound being at least 1.7e-306.
/// With a tolerance of zero or more the test is absolute (|a - b| < tol, or a == b for tol 0);
/// a negative tolerance selects the relative rule.
inline bool DoublesAreEqual(double a, double b, double tol = -1.0)
{
    const double diff = std::fabs(a - b);
    if (tol >= 0.0)
        return tol == 0.0 ? a == b : diff < tol;
    return diff < std::max(std::max(std::fabs(a), std::fabs(b)) * 2e-14, kxDoubleZero);
}

/// a + (b - a) w: w = 0 gives a, w = 1 gives b.
template <class T, class W>
inline T weightedVal(const T &a, const T &b, W w)
{
    return a + (b - a) * w;
}

/// Nearest integer, halves away from zero (2.5 -> 3, -2.5 -> -3). The caller keeps x within
/// the int range.
inline int kxRoundDoubleToNearestInt(double x) { return static_cast<int>(std::lround(x)); }

#endif
