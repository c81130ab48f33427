// cxcuberoot.h - cube roots of complex numbers: the principal root, the root on a branch whose
// cut the caller places (mode solvers keep the cut away from the path their parameters follow),
// all three roots, and the root nearest a previous one (for following a root continuously
// along a path).
//
// Conventions
//   - The principal root has its argument in (-pi/3, pi/3]: the argument of z is taken in
//     (-pi, pi], and a point of the negative real axis is at arg pi whatever the sign of its
//     zero imaginary part, so kxCubeRoot(-8) = 1 + i sqrt(3), not -2 (std::cbrt gives the real
//     root of a real number).
//   - Real z (zero imaginary part) gives the real root cbrt(z) with imaginary part exactly 0
//     and the other two as an exact conjugate pair, in kxCubeRoot and kxCubeRoots alike.
//   - z = 0 gives 0; a NaN or infinite component gives NaN + i NaN.
// Accuracy: the modulus comes from std::cbrt and the angle from atan2, so every root is within
// a few units in the last place of the exact one.
#ifndef KX_NUMERICS_CXCUBEROOT_H
#define KX_NUMERICS_CXCUBEROOT_H

#include <complex>

/// The principal cube root of z.
std::complex<double> kxCubeRoot(std::complex<double> z);

/// The cube root of z with the branch cut along the ray at angle cutDegrees: the argument of z
/// is taken in (cutDegrees - 360, cutDegrees] and divided by three. cutDegrees = 180 gives
/// the principal root; cutDegrees = -90 puts the cut on the negative imaginary axis.
std::complex<double> kxCubeRootWithCut(std::complex<double> z, double cutDegrees);

/// All three cube roots: roots[0] the principal one, roots[1] and roots[2] that root turned by
/// +120 and +240 degrees.
void kxCubeRoots(std::complex<double> z, std::complex<double> roots[3]);

/// The cube root of z nearest to `previous` (ties go to the lower index of kxCubeRoots).
std::complex<double> kxCubeRootNearest(std::complex<double> z, std::complex<double> previous);

#endif
