// kxpolynomial.h - a polynomial of one variable with real coefficients: value and derivative by
// Horner's rule (real and complex argument), and its roots as the eigenvalues of the companion
// matrix.
//
// Coefficients are held lowest power first: c[0] + c[1] x + ... + c[n] x^n. Roots treats
// trailing zero coefficients (highest powers) as absent; the roots of a constant are none, and
// the zero polynomial has no defined roots ("the zero polynomial has no defined roots\n", code 1).
// Roots come back in LAPACK's order; a root of multiplicity m is found to about the m-th root of
// the double epsilon, as for any eigenvalue method.
#ifndef KX_NUMERICS_KXPOLYNOMIAL_H
#define KX_NUMERICS_KXPOLYNOMIAL_H

#include "kx/numerics/kxfunction.h"

#include <complex>
#include <vector>

class kxPolynomial : public kxFunction {
public:
    kxPolynomial() = default;
    explicit kxPolynomial(std::vector<double> coefficients) : c_(std::move(coefficients)) {}

    void SetCoefficients(std::vector<double> coefficients) { c_ = std::move(coefficients); }
    [[nodiscard]] const std::vector<double> &Coefficients() const { return c_; }
    /// The degree: index of the highest non-zero coefficient (-1 for the zero polynomial).
    [[nodiscard]] int Degree() const;
    /// The polynomial of the derivative.
    [[nodiscard]] kxPolynomial Derivative() const;

    [[nodiscard]] int Dimension() const override { return 1; }
    [[nodiscard]] double Value(double x, double y = 0.0) const override;
    [[nodiscard]] std::complex<double> ValueC(std::complex<double> x,
                                              std::complex<double> y = 0.0) const override;
    [[nodiscard]] bool HasDerivative() const override { return true; }
    [[nodiscard]] double Derivative(double x, double y = 0.0, int variable = 0) const override;

    /// The Degree() complex roots.
    [[nodiscard]] bool Roots(std::vector<std::complex<double>> &roots) const;

private:
    std::vector<double> c_;
};

#endif
