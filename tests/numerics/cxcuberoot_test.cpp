// Tests of the complex cube roots: cubes give back z, branch conventions, the exact real cases,
// the movable cut, the root set and the nearest-root choice.
#include "kx/numerics/cxcuberoot.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace {

using cplx = std::complex<double>;
constexpr double kPi = 3.141592653589793;

// |r^3 - z| / |z| in long double, so that the check sees the error of r, not of the cubing.
double Residual(cplx r, cplx z)
{
    const std::complex<long double> lr(r.real(), r.imag());
    const std::complex<long double> lz(z.real(), z.imag());
    return static_cast<double>(std::abs(lr * lr * lr - lz) / std::abs(lz));
}

TEST(KXCubeRootTest, PrincipalRootCubesBackInEveryQuadrant)
{
    std::mt19937 gen(3);
    std::uniform_real_distribution<double> logr(-200.0, 200.0);
    std::uniform_real_distribution<double> angle(-kPi, kPi);
    for (int i = 0; i < 2000; ++i) {
        const cplx z = std::polar(std::pow(10.0, logr(gen)), angle(gen));
        const cplx r = kxCubeRoot(z);
        EXPECT_LE(Residual(r, z), 2e-15) << z;
        const double a = std::arg(r);
        EXPECT_GT(a, -kPi / 3.0) << z;
        EXPECT_LE(a, kPi / 3.0 + 1e-15) << z;
    }
}

TEST(KXCubeRootTest, RealArgumentsAndTheCut)
{
    EXPECT_DOUBLE_EQ(kxCubeRoot(27.0).real(), 3.0);
    EXPECT_EQ(kxCubeRoot(27.0).imag(), 0.0);
    EXPECT_EQ(kxCubeRoot(0.0), cplx(0.0, 0.0));
    // The negative real axis is at arg pi for either zero sign.
    const cplx up = kxCubeRoot(cplx(-8.0, 0.0));
    EXPECT_EQ(up, kxCubeRoot(cplx(-8.0, -0.0)));
    EXPECT_DOUBLE_EQ(up.real(), 1.0);
    EXPECT_DOUBLE_EQ(up.imag(), std::sqrt(3.0));
    // Just below the cut the root jumps to the conjugate side.
    const cplx below = kxCubeRoot(cplx(-8.0, -1e-12));
    EXPECT_NEAR(below.real(), 1.0, 1e-12);
    EXPECT_NEAR(below.imag(), -std::sqrt(3.0), 1e-12);

    cplx roots[3];
    kxCubeRoots(-8.0, roots);
    EXPECT_EQ(roots[0], up);
    EXPECT_DOUBLE_EQ(roots[1].real(), -2.0);
    EXPECT_EQ(roots[1].imag(), 0.0);
    EXPECT_EQ(roots[2], std::conj(roots[0]));
    kxCubeRoots(8.0, roots);
    EXPECT_DOUBLE_EQ(roots[0].real(), 2.0);
    EXPECT_EQ(roots[0].imag(), 0.0);
    EXPECT_EQ(roots[2], std::conj(roots[1]));
    EXPECT_LT(roots[1].real(), 0.0);
    EXPECT_GT(roots[1].imag(), 0.0);

    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(kxCubeRoot(cplx(nan, 1.0)).real()));
    EXPECT_TRUE(std::isnan(kxCubeRoot(cplx(1.0, INFINITY)).imag()));
    EXPECT_TRUE(std::isnan(kxCubeRootWithCut(1.0, nan).real()));
}

TEST(KXCubeRootTest, MovableCutRootSetAndNearest)
{
    // Cut on the negative imaginary axis: arguments in (-450, -90] degrees.
    const cplx z(-1.0, 0.0);
    const cplx r = kxCubeRootWithCut(z, -90.0);
    EXPECT_NEAR(std::arg(r), -kPi / 3.0, 1e-15);
    EXPECT_NEAR(std::arg(kxCubeRootWithCut(cplx(1.0, 0.0), -90.0)), -2.0 * kPi / 3.0, 1e-15);
    EXPECT_NEAR(std::arg(kxCubeRootWithCut(cplx(0.0, -1.0), -90.0)), -kPi / 6.0, 1e-15);
    // The default cut reproduces the principal root.
    const cplx w(0.3, -2.7);
    EXPECT_LE(std::abs(kxCubeRootWithCut(w, 180.0) - kxCubeRoot(w)), 1e-15);

    cplx roots[3];
    kxCubeRoots(w, roots);
    EXPECT_EQ(roots[0], kxCubeRoot(w));
    for (int k = 0; k < 3; ++k) {
        EXPECT_LE(Residual(roots[k], w), 2e-15) << k;
        EXPECT_GT(std::abs(roots[k] - roots[(k + 1) % 3]), 1.0) << k;
        EXPECT_EQ(kxCubeRootNearest(w, 1.1 * roots[k]), roots[k]) << k;
    }
    // Following z once round the origin moves continuously onto the next root.
    cplx follow = kxCubeRoot(1.0);
    for (int step = 1; step <= 360; ++step)
        follow = kxCubeRootNearest(std::polar(1.0, step * kPi / 180.0), follow);
    EXPECT_NEAR(follow.real(), -0.5, 1e-12);
    EXPECT_NEAR(follow.imag(), std::sqrt(3.0) / 2.0, 1e-12);
}

} // namespace
