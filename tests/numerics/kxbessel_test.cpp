// Tests of the cylinder functions: 30-digit reference values (testdata/bessel/golden.txt, made
// by make_golden.py beside it), closed forms of half-integer order, the recurrences, the
// Wronskians, runs against single calls, symmetry and the special inputs.
#include "kx/numerics/kxbessel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

using cplx = std::complex<double>;
constexpr double kPi = 3.141592653589793;

struct GoldenPoint {
    kxBesselKind kind;
    std::string name;
    double nu;
    cplx z;
    cplx scaledValue;
    double scale; // error yardstick near zeros (already scaled)
};

bool KindFromName(const std::string &name, kxBesselKind &kind)
{
    static const std::map<std::string, kxBesselKind> kinds = {
        {"J", kxBesselKind::J}, {"Y", kxBesselKind::Y},   {"I", kxBesselKind::I},
        {"K", kxBesselKind::K}, {"H1", kxBesselKind::H1}, {"H2", kxBesselKind::H2}};
    const auto it = kinds.find(name);
    if (it == kinds.end())
        return false;
    kind = it->second;
    return true;
}

std::vector<GoldenPoint> ReadGolden()
{
    std::vector<GoldenPoint> points;
    std::ifstream in(std::string(KX_TESTDATA_DIR) + "/bessel/golden.txt");
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream is(line);
        GoldenPoint p;
        double zr, zi, vr, vi;
        is >> p.name >> p.nu >> zr >> zi >> vr >> vi >> p.scale;
        if (!is || !KindFromName(p.name, p.kind)) {
            ADD_FAILURE() << "bad golden line: " << line;
            continue;
        }
        p.z = cplx(zr, zi);
        p.scaledValue = cplx(vr, vi);
        points.push_back(p);
    }
    return points;
}

// log of the scale factor s(z) with f_scaled = f s(z), as a complex exponent.
cplx LogScale(kxBesselKind kind, cplx z)
{
    switch (kind) {
    case kxBesselKind::J:
    case kxBesselKind::Y: return -std::fabs(z.imag());
    case kxBesselKind::I: return -std::fabs(z.real());
    case kxBesselKind::K: return z;
    case kxBesselKind::H1: return cplx(z.imag(), -z.real()); // -i z
    case kxBesselKind::H2: return cplx(-z.imag(), z.real()); // i z
    }
    return 0.0;
}

struct Worst {
    double error = 0.0;
    std::string where;
    int count = 0;
    void Note(double e, const GoldenPoint &p, const char *form)
    {
        ++count;
        if (e <= error)
            return;
        error = e;
        char text[200];
        std::snprintf(text, sizeof text, "%s nu=%g z=(%.6g, %.6g)", form, p.nu, p.z.real(),
                      p.z.imag());
        where = text;
    }
};

TEST(KXBesselTest, GoldenValuesScaledAndPlain)
{
    const std::vector<GoldenPoint> points = ReadGolden();
    ASSERT_GT(points.size(), 5000u);
    std::map<std::string, Worst> worst;
    int plainChecked = 0;
    for (const GoldenPoint &p : points) {
        const double yardstick = std::max(std::abs(p.scaledValue), p.scale);
        const cplx scaled = kxBessel(p.kind, p.nu, p.z, true);
        const double err = std::abs(scaled - p.scaledValue) / yardstick;
        worst[p.name].Note(err, p, "scaled");
        EXPECT_LE(err, kxBesselAccuracy) << p.name << " scaled nu=" << p.nu << " z=" << p.z
                                         << " got " << scaled << " want " << p.scaledValue;

        // The plain value is the reference divided by the scale factor, where that fits.
        const cplx logS = LogScale(p.kind, p.z);
        const double logPlain = std::log(std::abs(p.scaledValue)) - logS.real();
        if (std::fabs(logPlain) > 690.0 || std::fabs(logS.real()) > 1400.0)
            continue;
        const cplx unit = std::polar(1.0, -logS.imag());
        const double half = std::exp(-0.5 * logS.real());
        const cplx want = p.scaledValue * half * half * unit;
        const cplx plain = kxBessel(p.kind, p.nu, p.z, false);
        const double plainErr = std::abs(plain - want) / (yardstick * half * half);
        worst[p.name + " plain"].Note(plainErr, p, "plain");
        EXPECT_LE(plainErr, kxBesselAccuracy) << p.name << " plain nu=" << p.nu << " z=" << p.z
                                              << " got " << plain << " want " << want;
        ++plainChecked;
    }
    EXPECT_GT(plainChecked, 4000);
    for (const auto &w : worst)
        std::printf("  %-9s %5d points, worst error %.2e at %s\n", w.first.c_str(), w.second.count,
                    w.second.error, w.second.where.c_str());
}

TEST(KXBesselTest, HalfIntegerClosedFormsInEveryQuadrant)
{
    // J, Y, I, K of order 1/2 and H1 of order 3/2 in elementary functions (principal roots).
    const cplx i1(0.0, 1.0);
    for (double r : {0.3, 2.5, 17.0, 90.0}) {
        for (double angle : {0.2, 1.3, 2.0, 3.0, kPi, -0.4, -1.7, -2.9}) {
            const cplx z = std::polar(r, angle);
            const cplx root = std::sqrt(2.0 / (kPi * z));
            const double tol = 1e-13;
            const cplx j = kxBesselJ(0.5, z);
            const cplx y = kxBesselY(0.5, z);
            const cplx iv = kxBesselI(0.5, z);
            const cplx kv = kxBesselK(0.5, z);
            const cplx h1 = kxHankel1(1.5, z);
            EXPECT_LE(std::abs(j - root * std::sin(z)), tol * std::abs(root) * std::cosh(z.imag()))
                << z;
            EXPECT_LE(std::abs(y + root * std::cos(z)), tol * std::abs(root) * std::cosh(z.imag()))
                << z;
            EXPECT_LE(std::abs(iv - root * std::sinh(z)),
                      tol * std::abs(root) * std::cosh(z.real()))
                << z;
            const cplx kWant = std::sqrt(kPi / (2.0 * z)) * std::exp(-z);
            EXPECT_LE(std::abs(kv - kWant),
                      tol * std::abs(kWant) * (1.0 + std::exp(2.0 * std::max(0.0, -z.real()))))
                << z;
            const cplx hWant = -root * std::exp(i1 * z) * (1.0 + i1 / z);
            EXPECT_LE(std::abs(h1 - hWant),
                      tol * std::abs(hWant) * (1.0 + std::exp(-2.0 * std::min(0.0, z.imag()))))
                << z;
        }
    }
}

TEST(KXBesselTest, RecurrencesAndRunsAgreeWithSingleCalls)
{
    std::mt19937 gen(17);
    std::uniform_real_distribution<double> order(0.0, 40.0);
    std::uniform_real_distribution<double> logr(-2.0, 2.5);
    std::uniform_real_distribution<double> angle(-kPi, kPi);
    const kxBesselKind kinds[] = {kxBesselKind::J, kxBesselKind::Y,  kxBesselKind::I,
                                  kxBesselKind::K, kxBesselKind::H1, kxBesselKind::H2};
    for (int trial = 0; trial < 200; ++trial) {
        const double nu = order(gen) + 1.0;
        const cplx z = std::polar(std::pow(10.0, logr(gen)), angle(gen));
        for (kxBesselKind kind : kinds) {
            cplx run[3];
            ASSERT_TRUE(kxBesselSequence(kind, nu - 1.0, z, 3, run, true));
            for (int k = 0; k < 3; ++k) {
                const cplx single = kxBessel(kind, nu - 1.0 + k, z, true);
                EXPECT_LE(std::abs(run[k] - single), 1e-13 * std::abs(single) + 1e-300)
                    << int(kind) << " nu=" << nu - 1.0 + k << " z=" << z;
            }
            // C(nu-1) + C(nu+1) = 2nu/z C(nu); I(nu-1) - I(nu+1) = ...; K(nu+1) - K(nu-1) = ...
            cplx lhs = run[0] + run[2];
            if (kind == kxBesselKind::I)
                lhs = run[0] - run[2];
            else if (kind == kxBesselKind::K)
                lhs = run[2] - run[0];
            const cplx rhs = 2.0 * nu / z * run[1];
            const double size = std::abs(run[0]) + std::abs(run[2]) + std::abs(rhs);
            EXPECT_LE(std::abs(lhs - rhs), 1e-12 * size) << int(kind) << " nu=" << nu << " z=" << z;
        }
    }
}

TEST(KXBesselTest, LongRunsMatchSingleCalls)
{
    // Runs longer than the stack buffers, across the turning point nu = |z|.
    const cplx z(30.0, 4.0);
    std::vector<cplx> run(60);
    for (kxBesselKind kind : {kxBesselKind::J, kxBesselKind::K, kxBesselKind::H2}) {
        ASSERT_TRUE(kxBesselSequence(kind, 0.25, z, 60, run.data()));
        for (int k = 0; k < 60; ++k) {
            const cplx single = kxBessel(kind, 0.25 + k, z);
            EXPECT_LE(std::abs(run[k] - single), 1e-13 * std::abs(single)) << int(kind) << " " << k;
        }
    }
}

TEST(KXBesselTest, Wronskians)
{
    std::mt19937 gen(4);
    std::uniform_real_distribution<double> order(0.0, 30.0);
    std::uniform_real_distribution<double> logr(-1.5, 2.0);
    std::uniform_real_distribution<double> angle(-kPi, kPi);
    const cplx i1(0.0, 1.0);
    for (int trial = 0; trial < 300; ++trial) {
        const double nu = order(gen);
        const cplx z = std::polar(std::pow(10.0, logr(gen)), angle(gen));
        // J(nu+1) Y(nu) - J(nu) Y(nu+1) = 2 / (pi z); scaled both sides by exp(-2|Im z|).
        const double sJ = std::exp(-2.0 * std::fabs(z.imag()));
        const cplx j0 = kxBesselJ(nu, z, true), j1 = kxBesselJ(nu + 1.0, z, true);
        const cplx y0 = kxBesselY(nu, z, true), y1 = kxBesselY(nu + 1.0, z, true);
        const cplx wJY = j1 * y0 - j0 * y1;
        const cplx wantJY = 2.0 / (kPi * z) * sJ;
        EXPECT_LE(std::abs(wJY - wantJY), 1e-12 * (std::abs(j1 * y0) + std::abs(j0 * y1)) + 1e-300)
            << "nu=" << nu << " z=" << z;
        // I(nu) K(nu+1) + I(nu+1) K(nu) = 1/z, scaled by exp(z - |Re z|).
        const cplx i0 = kxBesselI(nu, z, true), i1v = kxBesselI(nu + 1.0, z, true);
        const cplx k0 = kxBesselK(nu, z, true), k1 = kxBesselK(nu + 1.0, z, true);
        const cplx wIK = i0 * k1 + i1v * k0;
        const cplx wantIK = std::exp(z - std::fabs(z.real())) / z;
        EXPECT_LE(std::abs(wIK - wantIK), 1e-12 * (std::abs(i0 * k1) + std::abs(i1v * k0)))
            << "nu=" << nu << " z=" << z;
        // H1(nu+1) H2(nu) - H1(nu) H2(nu+1) = -4i / (pi z); scale factors cancel.
        const cplx a0 = kxHankel1(nu, z, true), a1 = kxHankel1(nu + 1.0, z, true);
        const cplx b0 = kxHankel2(nu, z, true), b1 = kxHankel2(nu + 1.0, z, true);
        const cplx wH = a1 * b0 - a0 * b1;
        EXPECT_LE(std::abs(wH + 4.0 * i1 / (kPi * z)),
                  1e-12 * (std::abs(a1 * b0) + std::abs(a0 * b1)))
            << "nu=" << nu << " z=" << z;
        // H1 = J + iY, H2 = J - iY in plain form.
        if (std::fabs(z.imag()) < 50.0) {
            const cplx j = kxBesselJ(nu, z), y = kxBesselY(nu, z);
            const double size = std::abs(j) + std::abs(y);
            EXPECT_LE(std::abs(kxHankel1(nu, z) - (j + i1 * y)), 1e-12 * size) << z;
            EXPECT_LE(std::abs(kxHankel2(nu, z) - (j - i1 * y)), 1e-12 * size) << z;
        }
    }
}

TEST(KXBesselTest, SymmetryReflectionAndRealAxis)
{
    const cplx z(3.7, 1.2);
    // Conjugate symmetry away from the cut, Hankel functions exchanged.
    EXPECT_EQ(kxBesselJ(2.3, std::conj(z)), std::conj(kxBesselJ(2.3, z)));
    EXPECT_EQ(kxHankel1(2.3, std::conj(z)), std::conj(kxHankel2(2.3, z)));
    // Integer negative order: (-1)^n; K even in the order.
    EXPECT_LE(std::abs(kxBesselJ(-3.0, z) + kxBesselJ(3.0, z)),
              1e-15 * std::abs(kxBesselJ(3.0, z)));
    EXPECT_LE(std::abs(kxBesselY(-4.0, z) - kxBesselY(4.0, z)),
              1e-15 * std::abs(kxBesselY(4.0, z)));
    EXPECT_EQ(kxBesselK(-1.7, z), kxBesselK(1.7, z));
    // J(-1/2) = sqrt(2/(pi z)) cos z.
    const cplx want = std::sqrt(2.0 / (kPi * z)) * std::cos(z);
    EXPECT_LE(std::abs(kxBesselJ(-0.5, z) - want), 1e-14 * std::abs(want));
    // Real values on the positive axis; the upper side of the cut on the negative one.
    EXPECT_EQ(kxBesselY(1.3, cplx(2.0, 0.0)).imag(), 0.0);
    EXPECT_EQ(kxBesselK(0.0, cplx(5.0, 0.0)).imag(), 0.0);
    EXPECT_EQ(kxBesselJ(0.5, cplx(-2.0, 0.0)), kxBesselJ(0.5, cplx(-2.0, -0.0)));
    EXPECT_GT(kxBesselJ(0.5, cplx(-2.0, 0.0)).imag(), 0.0); // sqrt(-2) = +i sqrt(2)
    // Scaled K at large argument stays finite where the plain value underflows.
    EXPECT_EQ(kxBesselK(1.0, cplx(800.0, 0.0)), cplx(0.0, 0.0));
    const cplx ks = kxBesselK(1.0, cplx(800.0, 0.0), true);
    EXPECT_NEAR(ks.real(), std::sqrt(kPi / 1600.0) * (1.0 + 3.0 / 6400.0), 1e-6 * ks.real());
}

TEST(KXBesselTest, SpecialInputsAndRunArguments)
{
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(kxBesselJ(0.0, 0.0), cplx(1.0, 0.0));
    EXPECT_EQ(kxBesselJ(2.0, 0.0), cplx(0.0, 0.0));
    EXPECT_EQ(kxBesselI(-2.0, 0.0), cplx(0.0, 0.0));
    EXPECT_EQ(kxBesselK(1.0, 0.0), cplx(inf, 0.0));
    EXPECT_EQ(kxBesselY(0.0, 0.0), cplx(-inf, 0.0));
    EXPECT_EQ(kxHankel1(0.0, 0.0), cplx(1.0, -inf));
    EXPECT_EQ(kxHankel2(1.0, 0.0), cplx(0.0, inf));
    EXPECT_EQ(kxBesselJ(-0.5, 0.0).real(), inf);  // 1/Gamma(0.5) > 0
    EXPECT_EQ(kxBesselJ(-1.5, 0.0).real(), -inf); // 1/Gamma(-0.5) < 0
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(kxBesselJ(nan, 1.0).real()));
    EXPECT_TRUE(std::isnan(kxBesselK(1.0, cplx(1.0, nan)).imag()));
    EXPECT_TRUE(std::isnan(kxHankel1(1.0, cplx(inf, 0.0)).real()));
    EXPECT_TRUE(std::isnan(kxBesselY(2e6, 1.0).real()));
    EXPECT_EQ(kxBesselK(0.5, cplx(-1e-320, 0.0)), cplx(inf, 0.0)); // below 1e-300: as at 0
    // Overflow shows as infinity, underflow as zero, far below the tested range too.
    EXPECT_TRUE(std::isinf(kxBesselK(50.0, 1e-7).real()));
    EXPECT_EQ(kxBesselI(50.0, 1e-7), cplx(0.0, 0.0));
    const cplx tiny(1e-300, 1e-300);
    EXPECT_NEAR(kxBesselJ(0.0, tiny).real(), 1.0, 1e-15);
    const cplx k0Want = -std::log(0.5 * tiny) - 0.5772156649015329; // leading terms
    EXPECT_LE(std::abs(kxBesselK(0.0, tiny) - k0Want), 1e-14 * std::abs(k0Want));
    EXPECT_EQ(kxBesselJ(7.5, tiny), cplx(0.0, 0.0));
    const cplx k2 = kxBesselK(2.0, tiny); // about 2 / tiny^2, beyond the range
    EXPECT_TRUE(std::isinf(k2.imag()) && !std::isnan(k2.real()));

    cplx out[4] = {7.0, 7.0, 7.0, 7.0};
    EXPECT_FALSE(kxBesselSequence(kxBesselKind::J, 0.0, 1.0, 0, out));
    EXPECT_FALSE(kxBesselSequence(kxBesselKind::J, 0.0, 1.0, 3, nullptr));
    EXPECT_EQ(out[0], cplx(7.0, 0.0));
    // A run through negative orders uses the reflection per order.
    ASSERT_TRUE(kxBesselSequence(kxBesselKind::Y, -1.5, cplx(2.0, 1.0), 4, out));
    for (int k = 0; k < 4; ++k)
        EXPECT_EQ(out[k], kxBesselY(-1.5 + k, cplx(2.0, 1.0)));
}

} // namespace
