// kxbessel.cpp - cylinder functions of real order and complex argument (see kxbessel.h for the
// method). Everything reduces to the scaled pair exp(-w) I(nu, w), exp(w) K(nu, w) on the
// right half-plane Re w >= 0.
#define KX_UNIT "kxbessel"

#include "kx/numerics/kxbessel.h"

#include "kx/foundation/kxmath.h"

#include <boost/math/policies/policy.hpp>
#include <boost/math/special_functions/gamma.hpp>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using cplx = std::complex<double>;

constexpr double kEps = 2.0 * std::numeric_limits<double>::epsilon();
constexpr double kEuler = 0.5772156649015329;
constexpr int kRescaleBits = 600; // continued fractions are brought down by 2^-600 at a time
constexpr int kMaxSeries = 1000;
constexpr int kMaxSteed = 100000;
constexpr double kTemmeBound = 4.0;
constexpr double kTinyW = 1e-90;         // below this K(mu + 1) is carried with an exponent
constexpr double kAsymptoticFrom = 35.0; // |w| from which Hankel's expansion may serve

// Boost reports domain problems through errno here instead of throwing.
using NoThrowPolicy = boost::math::policies::policy<
    boost::math::policies::domain_error<boost::math::policies::errno_on_error>,
    boost::math::policies::overflow_error<boost::math::policies::errno_on_error>,
    boost::math::policies::evaluation_error<boost::math::policies::errno_on_error>,
    boost::math::policies::promote_double<false>>;

// sin(pi x) and cos(pi x), exact zeros at the integers and half-integers.
double SinPi(double x)
{
    double r = std::fmod(x, 2.0); // (-2, 2)
    if (r > 1.0)
        r -= 2.0;
    else if (r < -1.0)
        r += 2.0; // [-1, 1]
    if (r > 0.5)
        r = 1.0 - r;
    else if (r < -0.5)
        r = -1.0 - r; // [-1/2, 1/2], same sine
    return r == 0.0 ? 0.0 : std::sin(kxPi * r);
}

double CosPi(double x)
{
    double r = std::fabs(std::fmod(x, 2.0));
    if (r > 1.0)
        r = 2.0 - r; // [0, 1]
    if (r == 0.5)
        return 0.0;
    if (r < 0.25)
        return std::cos(kxPi * r);
    if (r <= 0.75)
        return std::sin(kxPi * (0.5 - r));
    return -std::cos(kxPi * (1.0 - r));
}

// exp(i pi x)
cplx ExpIPi(double x) { return {CosPi(x), SinPi(x)}; }

// a exp(w) without a spurious overflow of exp(w) when the product is in range.
cplx MulExp(cplx a, cplx w)
{
    // The phase first and the real growth last, so that an overflow gives infinities, not the
    // NaN of a complex product with an infinite factor.
    if (!std::isfinite(a.real()) || !std::isfinite(a.imag()))
        return a;
    const cplx turned = a * cplx(std::cos(w.imag()), std::sin(w.imag()));
    if (w.real() < 700.0)
        return turned * std::exp(w.real());
    const double half = std::exp(0.5 * w.real());
    return turned * half * half;
}

// 1/b by Smith's method, inline: the continued fractions below spend most of their time
// dividing, and the library's complex division is a slow out-of-line call.
cplx Inv(cplx b)
{
    const double br = b.real();
    const double bi = b.imag();
    if (std::fabs(br) >= std::fabs(bi)) {
        const double r = bi / br;
        const double t = 1.0 / (br + bi * r);
        return {t, -r * t};
    }
    const double r = br / bi;
    const double t = 1.0 / (br * r + bi);
    return {r * t, -t};
}

// |Re a| + |Im a|, a cheap size for convergence tests (within a factor sqrt 2 of |a|).
double Norm1(cplx a) { return std::fabs(a.real()) + std::fabs(a.imag()); }

cplx Ldexp(cplx a, int e) { return {std::ldexp(a.real(), e), std::ldexp(a.imag(), e)}; }

// 1/Gamma(1 + mu), 1/Gamma(1 - mu) and Temme's gamma1, gamma2 for |mu| <= 1/2.
struct TemmeGammas {
    double gam1, gam2, gampl, gammi;
};

TemmeGammas GammasFor(double mu)
{
    const double gp = boost::math::tgamma1pm1(mu, NoThrowPolicy());  // Gamma(1 + mu) - 1
    const double gm = boost::math::tgamma1pm1(-mu, NoThrowPolicy()); // Gamma(1 - mu) - 1
    TemmeGammas g;
    g.gampl = 1.0 / (1.0 + gp);
    g.gammi = 1.0 / (1.0 + gm);
    g.gam1 = mu == 0.0 ? -kEuler : (gp - gm) / (2.0 * mu) * g.gampl * g.gammi;
    g.gam2 = 0.5 * (g.gammi + g.gampl);
    return g;
}

// exp(w) K(mu, w) and exp(w) K(mu + 1, w), times 2^-exponent, for |mu| <= 1/2 and small |w|:
// Temme's series.
void KTemme(double mu, cplx w, cplx &k0, cplx &k1, int &exponent)
{
    const cplx half = 0.5 * w;
    const double pimu = kxPi * mu;
    const double fact = std::fabs(pimu) < kEps ? 1.0 : pimu / std::sin(pimu);
    const cplx d = -std::log(half);
    const cplx e = mu * d;
    const cplx fact2 = std::abs(e) < kEps ? cplx(1.0) : std::sinh(e) * Inv(e);
    const TemmeGammas g = GammasFor(mu);
    cplx ff = fact * (g.gam1 * std::cosh(e) + g.gam2 * fact2 * d);
    cplx sum = ff;
    const cplx ee = std::exp(e);
    cplx p = 0.5 * ee / g.gampl;
    cplx q = 0.5 / g.gammi * Inv(ee);
    cplx c = 1.0;
    const cplx quarter = half * half;
    cplx sum1 = p;
    for (int i = 1; i < kMaxSeries; ++i) {
        const double di = i;
        ff = (di * ff + p + q) / (di * di - mu * mu);
        c *= quarter / di;
        p /= di - mu;
        q /= di + mu;
        const cplx del = c * ff;
        sum += del;
        sum1 += c * (p - di * ff);
        if (Norm1(del) < Norm1(sum) * kEps)
            break;
    }
    // For tiny |w| the factor 2/w would take K(mu + 1) past the double range: both values
    // come back as mantissas of a binary exponent.
    exponent = std::abs(w) < kTinyW ? kRescaleBits : 0;
    const cplx grow = std::exp(w) * std::ldexp(1.0, -exponent);
    k0 = sum * grow;
    k1 = sum1 * grow * (2.0 * Inv(w));
}

// exp(w) K(mu, w) and exp(w) K(mu + 1, w) for |mu| <= 1/2, |w| > 2, Re w >= 0: Steed's
// continued fraction for the ratio together with the sum that normalises it.
void KSteed(double mu, cplx w, cplx &k0, cplx &k1)
{
    cplx b = 2.0 * (1.0 + w);
    cplx d = Inv(b);
    cplx h = d;
    cplx delh = d;
    cplx q1 = 0.0;
    cplx q2 = 1.0;
    const double a1 = 0.25 - mu * mu;
    cplx q = a1;
    double c = a1;
    double a = -a1;
    cplx s = 1.0 + q * delh;
    for (int i = 1; i < kMaxSteed; ++i) {
        a -= 2.0 * i;
        c = -a * c / (i + 1.0);
        const cplx qnew = (q1 - b * q2) / a;
        q1 = q2;
        q2 = qnew;
        q += c * qnew;
        b += 2.0;
        d = Inv(b + a * d);
        delh = (b * d - 1.0) * delh;
        h += delh;
        const cplx dels = q * delh;
        s += dels;
        if (Norm1(dels) < Norm1(s) * kEps && Norm1(delh) < Norm1(h) * kEps)
            break;
    }
    h *= a1;
    const cplx winv = Inv(w);
    k0 = std::sqrt(0.5 * kxPi * winv) * Inv(s);
    k1 = k0 * (mu + w + 0.5 - h) * winv;
}

// exp(-w) I(nu, w) for large |w|, Re w >= 0, from Hankel's expansion
//     I(nu, w) ~ (2 pi w)^(-1/2) [exp(w) sum (-1)^k a_k / w^k
//                                 +- i exp(+-i nu pi) exp(-w) sum a_k / w^k]
// (upper sign for Im w >= 0), a_k = (4 nu^2 - 1)(4 nu^2 - 9)...(4 nu^2 - (2k-1)^2) / (k! 8^k).
// False when the terms stop decreasing before they fall below the precision.
bool IAsymptotic(double nu, cplx w, cplx &iS)
{
    const double mu4 = 4.0 * nu * nu;
    const cplx winv = Inv(w);
    cplx term = 1.0;
    cplx alternating = 1.0;
    cplx plain = 1.0;
    double last = 1.0;
    for (int k = 1;; ++k) {
        const double odd = 2.0 * k - 1.0;
        term *= (mu4 - odd * odd) / (8.0 * k) * winv;
        alternating += (k % 2 ? -term : term);
        plain += term;
        const double size = Norm1(term);
        if (size < kEps * std::min(Norm1(alternating), Norm1(plain)))
            break;
        if (size >= last || k > 200)
            return false;
        last = size;
    }
    const cplx other =
        w.imag() >= 0.0 ? cplx(0.0, 1.0) * ExpIPi(nu) : cplx(0.0, -1.0) * std::conj(ExpIPi(nu));
    iS = (alternating + MulExp(other * plain, -2.0 * w)) * Inv(std::sqrt(2.0 * kxPi * w));
    return true;
}

// I(nu + 1, w) / I(nu, w) = 1 / (b1 + 1 / (b2 + ...)), b_k = 2 (nu + k) / w, without a
// division inside the loops. A forward pass over the convergents A_k / B_k of the recurrence
// X_k = b_k X_(k-1) + X_(k-2) finds the depth m at which they have settled: consecutive
// convergents differ by 1 / |B_k B_(k-1)| (the determinant of the recurrence is +-1), so the
// relative change is 1 / |A_k B_(k-1)|. The forward values lose accuracy while they oscillate
// (|w| > nu + k), so the m-th convergent itself is then computed by the backward recurrence
// Y_(j-1) = b_j Y_j + Y_(j+1) from Y_m = 1, Y_(m+1) = 0, which is stable for I: Y_1 / Y_0.
// Both passes bring their values down by a power of two when they grow.
cplx IRatio(double nu, cplx w)
{
    // Far out Hankel's expansion gives both values at once.
    const double far = std::abs(w);
    cplx i0;
    cplx i1;
    if (far >= kAsymptoticFrom && (nu + 2.0) * (nu + 2.0) <= far && IAsymptotic(nu, w, i0) &&
        IAsymptotic(nu + 1.0, w, i1))
        return i1 * Inv(i0);
    // b_k is formed afresh at each step: adding 2/w up would drift the coefficients, and the
    // oscillating solutions are sensitive to that.
    const cplx twoOverW = 2.0 * Inv(w);
    // For tiny |w| two levels are exact to the last bit (the next one is smaller by |w|^2),
    // and the convergents below would overflow.
    if (Norm1(w) < kTinyW)
        return Inv((nu + 1.0) * twoOverW + Inv((nu + 2.0) * twoOverW));
    const int maxIter = 100000 + 4 * static_cast<int>(std::min(std::abs(w), 1e7));
    const double rescaleAt = std::ldexp(1.0, kRescaleBits);
    cplx b = (nu + 1.0) * twoOverW;
    cplx aPrev = 0.0; // A_0
    cplx bPrev = 1.0; // B_0
    cplx aCur = 1.0;  // A_1
    cplx bCur = b;    // B_1
    double target = 1.0 / kEps;
    int m = 1;
    for (; m < maxIter && Norm1(aCur) * Norm1(bPrev) <= target; ++m) {
        b = (nu + m + 1.0) * twoOverW;
        const cplx aNext = b * aCur + aPrev;
        const cplx bNext = b * bCur + bPrev;
        aPrev = aCur;
        bPrev = bCur;
        aCur = aNext;
        bCur = bNext;
        if (Norm1(bCur) > rescaleAt) {
            aPrev = Ldexp(aPrev, -kRescaleBits);
            bPrev = Ldexp(bPrev, -kRescaleBits);
            aCur = Ldexp(aCur, -kRescaleBits);
            bCur = Ldexp(bCur, -kRescaleBits);
            target = std::ldexp(target, -2 * kRescaleBits);
        }
    }
    // Y_m = 1, Y_(m+1) = 0.
    cplx yNext = 0.0;
    cplx yCur = 1.0;
    for (int j = m; j >= 1; --j) {
        const cplx yPrev = (nu + j) * twoOverW * yCur + yNext;
        yNext = yCur;
        yCur = yPrev;
        if (Norm1(yCur) > rescaleAt) {
            yCur = Ldexp(yCur, -kRescaleBits);
            yNext = Ldexp(yNext, -kRescaleBits);
        }
    }
    return yNext * Inv(yCur);
}

// n values of scratch space, on the stack for the usual short runs.
template <class T>
class Scratch {
public:
    explicit Scratch(int n)
    {
        if (n > kLocal)
            heap_.resize(static_cast<size_t>(n));
    }
    T *Data() { return heap_.empty() ? local_ : heap_.data(); }

private:
    static constexpr int kLocal = 41;
    T local_[kLocal];
    std::vector<T> heap_;
};

// For Re w >= 0, nu >= 0, |w| > 0: kS[k] = exp(w) K(nu + k, w) and, when iS is not null,
// iS[k] = exp(-w) I(nu + k, w), k = 0 .. n - 1.
void RightHalfIK(double nu, cplx w, int n, cplx *iS, cplx *kS)
{
    const int nl = static_cast<int>(std::floor(nu + 0.5));
    const double mu = nu - nl;
    const cplx twoOverW = 2.0 * Inv(w);
    cplx kPrev;
    cplx kCur;
    int e = 0;
    // Temme's series loses about exp(|w| + Re w) to cancellation; Steed's fraction converges
    // slowly for small |w|. The series is used while that loss stays below exp(4).
    if (std::abs(w) + w.real() <= kTemmeBound)
        KTemme(mu, w, kPrev, kCur, e);
    else
        KSteed(mu, w, kPrev, kCur);

    // Mantissas and binary exponents of K at orders nu .. nu + n.
    Scratch<cplx> mantStore(n + 1);
    Scratch<int> expoStore(n + 1);
    cplx *mant = mantStore.Data();
    int *expo = expoStore.Data();
    // One step multiplies by at most growth; the values are brought back to about 1 whenever
    // the next step could leave the double range.
    const double growth = 1.0 + Norm1(twoOverW) * (nu + n + 2.0);
    const double rescaleAt = std::ldexp(1.0, 2 * kRescaleBits / 3) / growth;
    for (int j = 0;; ++j) {
        if (j >= nl) {
            mant[j - nl] = kPrev;
            expo[j - nl] = e;
            if (j - nl == n)
                break;
        }
        if (Norm1(kCur) > rescaleAt) {
            const int shift = std::ilogb(Norm1(kCur));
            kPrev = Ldexp(kPrev, -shift);
            kCur = Ldexp(kCur, -shift);
            e += shift;
        }
        const cplx next = kPrev + (mu + j + 1) * twoOverW * kCur;
        kPrev = kCur;
        kCur = next;
    }
    for (int k = 0; k < n; ++k)
        kS[k] = Ldexp(mant[k], expo[k]);
    if (!iS)
        return;

    // I from the Wronskian I(m) K(m + 1) + I(m + 1) K(m) = 1/w, with f = I(m + 1) / I(m)
    // carried down by the backward recurrence, which is stable for I.
    cplx f = IRatio(nu + n - 1, w);
    for (int k = n - 1; k >= 0; --k) {
        const cplx r = Ldexp(mant[k + 1] * Inv(mant[k]), expo[k + 1] - expo[k]);
        iS[k] = Ldexp(Inv(mant[k] * (w * (r + f))), -expo[k]);
        f = Inv((nu + k) * twoOverW + f);
    }
}

// The function values for orders nu + k (nu >= 0) at z with Im z >= 0 (the upper side of the
// cut included), plain or scaled.
void UpperRun(kxBesselKind kind, double nu, cplx z, int n, cplx *out, bool scaled)
{
    Scratch<cplx> iStore(n);
    Scratch<cplx> kStore(n);
    cplx *iS = iStore.Data();
    cplx *kS = kStore.Data();
    const cplx i1(0.0, 1.0);

    if (kind == kxBesselKind::I || kind == kxBesselKind::K) {
        const bool right = z.real() >= 0.0;
        const cplx u = right ? z : -z;
        RightHalfIK(nu, u, n, kind == kxBesselKind::K && right ? nullptr : iS, kS);
        for (int k = 0; k < n; ++k) {
            if (kind == kxBesselKind::I) {
                const cplx v = MulExp(iS[k], scaled ? cplx(0.0, u.imag()) : u);
                out[k] = right ? v : ExpIPi(nu + k) * v;
            } else if (right) {
                out[k] = scaled ? kS[k] : MulExp(kS[k], -u);
            } else {
                // K(-u) = exp(-i nu pi) K(u) - i pi I(u) on the upper side of the cut.
                const cplx kTerm = std::conj(ExpIPi(nu + k)) * kS[k];
                out[k] = scaled ? MulExp(kTerm, -2.0 * u) - i1 * kxPi * iS[k]
                                : MulExp(kTerm, -u) - i1 * kxPi * MulExp(iS[k], u);
            }
        }
        return;
    }

    const cplx w(z.imag(), -z.real()); // -i z, Re w >= 0
    RightHalfIK(nu, w, n, iS, kS);
    for (int k = 0; k < n; ++k) {
        const cplx a = ExpIPi(0.5 * (nu + k));
        const cplx c1 = cplx(0.0, -2.0 / kxPi) * std::conj(a); // 2 / (i pi) exp(-i nu pi/2)
        switch (kind) {
        case kxBesselKind::H1: out[k] = scaled ? c1 * kS[k] : MulExp(c1 * kS[k], -w); break;
        case kxBesselKind::H2:
            out[k] = scaled ? 2.0 * a * iS[k] - MulExp(c1 * kS[k], -2.0 * w)
                            : MulExp(2.0 * a * iS[k], w) - MulExp(c1 * kS[k], -w);
            break;
        default: {
            // J and Y share the scale exp(-Im z) = exp(-Re w).
            const cplx jPart = MulExp(a * iS[k], scaled ? cplx(0.0, w.imag()) : w);
            if (kind == kxBesselKind::J) {
                out[k] = jPart;
                break;
            }
            const cplx hPart = MulExp(c1 * kS[k], scaled ? cplx(-2.0 * w.real(), -w.imag()) : -w);
            out[k] = i1 * (jPart - hPart);
            break;
        }
        }
    }
}

bool IsRealValued(kxBesselKind kind)
{
    return kind == kxBesselKind::J || kind == kxBesselKind::Y || kind == kxBesselKind::I ||
           kind == kxBesselKind::K;
}

// Orders nu + k >= 0 at any z != 0.
void NonNegativeRun(kxBesselKind kind, double nu, cplx z, int n, cplx *out, bool scaled)
{
    if (z.imag() >= 0.0) {
        UpperRun(kind, nu, z, n, out, scaled);
    } else {
        // f(conj z) = conj f(z); the Hankel functions trade places.
        kxBesselKind mirror = kind;
        if (kind == kxBesselKind::H1)
            mirror = kxBesselKind::H2;
        else if (kind == kxBesselKind::H2)
            mirror = kxBesselKind::H1;
        UpperRun(mirror, nu, std::conj(z), n, out, scaled);
        for (int k = 0; k < n; ++k)
            out[k] = std::conj(out[k]);
    }
    if (z.imag() == 0.0 && z.real() > 0.0 && IsRealValued(kind)) {
        for (int k = 0; k < n; ++k)
            out[k].imag(0.0);
    }
}

cplx NonNegative(kxBesselKind kind, double nu, cplx z, bool scaled)
{
    cplx v;
    NonNegativeRun(kind, nu, z, 1, &v, scaled);
    return v;
}

// Negative order -m (m > 0) from the reflection formulas.
cplx Reflected(kxBesselKind kind, double m, cplx z, bool scaled)
{
    const double s = SinPi(m);
    const double c = CosPi(m);
    switch (kind) {
    case kxBesselKind::K: return NonNegative(kind, m, z, scaled);
    case kxBesselKind::H1: return ExpIPi(m) * NonNegative(kind, m, z, scaled);
    case kxBesselKind::H2: return std::conj(ExpIPi(m)) * NonNegative(kind, m, z, scaled);
    case kxBesselKind::I: {
        const cplx iv = NonNegative(kxBesselKind::I, m, z, scaled);
        if (s == 0.0)
            return iv;
        const cplx kv = NonNegative(kxBesselKind::K, m, z, true);
        // K scaled by exp(z); I scaled by exp(-|Re z|).
        const cplx back = scaled ? cplx(-std::fabs(z.real()), 0.0) - z : -z;
        return iv + 2.0 / kxPi * s * MulExp(kv, back);
    }
    default: break;
    }
    if (s == 0.0)
        return c * NonNegative(kind, m, z, scaled); // integer order: (-1)^m J, (-1)^m Y
    const cplx jv = NonNegative(kxBesselKind::J, m, z, scaled);
    const cplx yv = NonNegative(kxBesselKind::Y, m, z, scaled);
    return kind == kxBesselKind::J ? c * jv - s * yv : s * jv + c * yv;
}

// The value at z = 0: the limit along the positive real axis.
cplx AtZero(kxBesselKind kind, double nu)
{
    const double inf = std::numeric_limits<double>::infinity();
    const bool negativeFraction = nu < 0.0 && SinPi(nu) != 0.0;
    double regular = 0.0; // J(nu, 0) = I(nu, 0)
    if (nu == 0.0)
        regular = 1.0;
    else if (negativeFraction)
        regular = std::tgamma(1.0 + nu) > 0.0 ? inf : -inf;
    else if (nu < 0.0)
        regular = 0.0;
    switch (kind) {
    case kxBesselKind::J:
    case kxBesselKind::I: return regular;
    case kxBesselKind::K: return inf;
    case kxBesselKind::Y: return -inf;
    case kxBesselKind::H1: return {regular, -inf};
    case kxBesselKind::H2: return {regular, inf};
    }
    return regular;
}

bool IsFinite(cplx z) { return std::isfinite(z.real()) && std::isfinite(z.imag()); }

// From finite input a NaN can only come from arithmetic on a value that overflowed: the
// component is infinite (its sign is lost).
cplx Overflowed(cplx v)
{
    const double inf = std::numeric_limits<double>::infinity();
    return {std::isnan(v.real()) ? inf : v.real(), std::isnan(v.imag()) ? inf : v.imag()};
}

} // namespace

std::complex<double> kxBessel(kxBesselKind kind, double nu, std::complex<double> z, bool scaled)
{
    if (!(std::fabs(nu) <= kxBesselMaxOrder) || !IsFinite(z)) {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        return {nan, nan};
    }
    if (std::abs(z) < kxBesselMinArgument)
        return AtZero(kind, nu);
    return Overflowed(nu < 0.0 ? Reflected(kind, -nu, z, scaled)
                               : NonNegative(kind, nu, z, scaled));
}

bool kxBesselSequence(kxBesselKind kind, double nu, std::complex<double> z, int n,
                      std::complex<double> *out, bool scaled)
{
    if (n < 1 || !out)
        return false;
    if (nu < 0.0 || std::abs(z) < kxBesselMinArgument || !(nu + n <= kxBesselMaxOrder) ||
        !IsFinite(z)) {
        for (int k = 0; k < n; ++k)
            out[k] = kxBessel(kind, nu + k, z, scaled);
        return true;
    }
    NonNegativeRun(kind, nu, z, n, out, scaled);
    for (int k = 0; k < n; ++k)
        out[k] = Overflowed(out[k]);
    return true;
}
