// kxjet.h - second-order jets: a value carried with its first and second derivatives with
// respect to one variable (the wavelength), so that a dispersion law written once as a template
// gives n, dn/dlambda and d2n/dlambda2 exactly, with no finite differences.
//
// kxJet<S> holds v, d, dd for a scalar S (double or std::complex<double>). Constants mix in as
// plain doubles. Only the operations the dispersion laws use are defined.
#ifndef KX_MATERIALS_KXJET_H
#define KX_MATERIALS_KXJET_H

#include <cmath>
#include <complex>

template <class S>
struct kxJet {
    S v{}, d{}, dd{};

    kxJet() = default;
    kxJet(double c) : v(c) {} // NOLINT: constants mix in implicitly
    kxJet(S value, S first, S second) : v(value), d(first), dd(second) {}
    /// The independent variable at `at`.
    static kxJet Variable(double at) { return kxJet(S(at), S(1.0), S(0.0)); }
};

template <class S>
kxJet<S> operator+(const kxJet<S> &a, const kxJet<S> &b)
{
    return {a.v + b.v, a.d + b.d, a.dd + b.dd};
}
template <class S>
kxJet<S> operator-(const kxJet<S> &a, const kxJet<S> &b)
{
    return {a.v - b.v, a.d - b.d, a.dd - b.dd};
}
template <class S>
kxJet<S> operator-(const kxJet<S> &a)
{
    return {-a.v, -a.d, -a.dd};
}
template <class S>
kxJet<S> operator*(const kxJet<S> &a, const kxJet<S> &b)
{
    return {a.v * b.v, a.d * b.v + a.v * b.d, a.dd * b.v + S(2.0) * a.d * b.d + a.v * b.dd};
}
template <class S>
kxJet<S> operator+(const kxJet<S> &a, double c)
{
    return {a.v + c, a.d, a.dd};
}
template <class S>
kxJet<S> operator+(double c, const kxJet<S> &a)
{
    return a + c;
}
template <class S>
kxJet<S> operator-(const kxJet<S> &a, double c)
{
    return {a.v - c, a.d, a.dd};
}
template <class S>
kxJet<S> operator-(double c, const kxJet<S> &a)
{
    return {c - a.v, -a.d, -a.dd};
}
template <class S>
kxJet<S> operator*(const kxJet<S> &a, double c)
{
    return {a.v * c, a.d * c, a.dd * c};
}
template <class S>
kxJet<S> operator*(double c, const kxJet<S> &a)
{
    return a * c;
}

/// Applies a function of one variable with value f, slope f1 and curvature f2 at a.v.
template <class S>
kxJet<S> kxChain(const kxJet<S> &a, S f, S f1, S f2)
{
    return {f, f1 * a.d, f2 * a.d * a.d + f1 * a.dd};
}

template <class S>
kxJet<S> kxInverse(const kxJet<S> &a)
{
    const S r = S(1.0) / a.v;
    return kxChain(a, r, -r * r, S(2.0) * r * r * r);
}
template <class S>
kxJet<S> operator/(const kxJet<S> &a, const kxJet<S> &b)
{
    return a * kxInverse(b);
}
template <class S>
kxJet<S> operator/(double c, const kxJet<S> &a)
{
    return kxInverse(a) * c;
}
template <class S>
kxJet<S> operator/(const kxJet<S> &a, double c)
{
    return a * (1.0 / c);
}

template <class S>
kxJet<S> sqrt(const kxJet<S> &a)
{
    using std::sqrt;
    const S r = sqrt(a.v);
    return kxChain(a, r, S(0.5) / r, S(-0.25) / (r * a.v));
}
template <class S>
kxJet<S> log(const kxJet<S> &a)
{
    using std::log;
    return kxChain(a, log(a.v), S(1.0) / a.v, S(-1.0) / (a.v * a.v));
}
/// a ** p for a constant exponent p.
template <class S>
kxJet<S> pow(const kxJet<S> &a, double p)
{
    using std::pow;
    const S f = pow(a.v, p);
    return kxChain(a, f, S(p) * f / a.v, S(p * (p - 1.0)) * f / (a.v * a.v));
}

/// Converts a real jet to a complex one.
inline kxJet<std::complex<double>> kxToComplex(const kxJet<double> &a) { return {a.v, a.d, a.dd}; }

#endif
