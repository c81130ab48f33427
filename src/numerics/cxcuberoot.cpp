// cxcuberoot.cpp - cube roots of complex numbers (see cxcuberoot.h).
#define KX_UNIT "cxcuberoot"

#include "kx/numerics/cxcuberoot.h"

#include "kx/foundation/kxmath.h"

#include <cmath>
#include <limits>

namespace {

using cplx = std::complex<double>;

bool IsFinite(cplx z) { return std::isfinite(z.real()) && std::isfinite(z.imag()); }

cplx NaNRoot()
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    return {nan, nan};
}

// Argument of z in (-pi, pi], the negative real axis at +pi.
double PrincipalArg(cplx z)
{
    if (z.imag() == 0.0)
        return z.real() < 0.0 ? kxPi : 0.0;
    return std::atan2(z.imag(), z.real());
}

// The root of modulus cbrt(|z|) at angle theta / 3.
cplx RootAt(double modulus, double theta)
{
    const double r = std::cbrt(modulus);
    return theta == 0.0 ? cplx(r) : std::polar(r, theta / 3.0);
}

// The three roots of a real x != 0 in the order of kxCubeRoots: the real one and the
// conjugate pair, exactly.
void RealRoots(double x, cplx roots[3])
{
    const double r = std::cbrt(std::fabs(x));
    const double half = 0.5 * r;
    const double side = 0.5 * std::sqrt(3.0) * r;
    roots[0] = x > 0.0 ? cplx(r) : cplx(half, side);
    roots[1] = x > 0.0 ? cplx(-half, side) : cplx(-r);
    roots[2] = x > 0.0 ? cplx(-half, -side) : cplx(half, -side);
}

} // namespace

std::complex<double> kxCubeRoot(std::complex<double> z)
{
    if (!IsFinite(z))
        return NaNRoot();
    if (z == 0.0)
        return 0.0;
    if (z.imag() == 0.0) {
        cplx roots[3];
        RealRoots(z.real(), roots);
        return roots[0];
    }
    return RootAt(std::abs(z), PrincipalArg(z));
}

std::complex<double> kxCubeRootWithCut(std::complex<double> z, double cutDegrees)
{
    if (!IsFinite(z) || !std::isfinite(cutDegrees))
        return NaNRoot();
    if (z == 0.0)
        return 0.0;
    // Bring the argument into (cut - 2 pi, cut].
    const double cut = cutDegrees * kxPi / 180.0;
    double theta = PrincipalArg(z);
    theta -= 2.0 * kxPi * std::ceil((theta - cut) / (2.0 * kxPi));
    return RootAt(std::abs(z), theta);
}

void kxCubeRoots(std::complex<double> z, std::complex<double> roots[3])
{
    if (!IsFinite(z) || z == 0.0) {
        roots[0] = roots[1] = roots[2] = kxCubeRoot(z);
        return;
    }
    if (z.imag() == 0.0) {
        RealRoots(z.real(), roots);
        return;
    }
    const double modulus = std::abs(z);
    const double theta = PrincipalArg(z);
    for (int k = 0; k < 3; ++k)
        roots[k] = RootAt(modulus, theta + 2.0 * kxPi * k);
}

std::complex<double> kxCubeRootNearest(std::complex<double> z, std::complex<double> previous)
{
    cplx roots[3];
    kxCubeRoots(z, roots);
    int best = 0;
    for (int k = 1; k < 3; ++k) {
        if (std::abs(roots[k] - previous) < std::abs(roots[best] - previous))
            best = k;
    }
    return roots[best];
}
