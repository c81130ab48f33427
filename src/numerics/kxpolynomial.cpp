// Polynomials: Horner evaluation and roots through the eigenvalues of the companion matrix.
#define KX_UNIT "kxpolynomial"
#include "kx/numerics/kxpolynomial.h"

#include "kx/foundation/kxerror.h"
#include "kx/numerics/matrixT.h"

int kxPolynomial::Degree() const
{
    int n = static_cast<int>(c_.size()) - 1;
    while (n >= 0 && c_[n] == 0.0)
        --n;
    return n;
}

kxPolynomial kxPolynomial::Derivative() const
{
    std::vector<double> d;
    for (size_t k = 1; k < c_.size(); ++k)
        d.push_back(static_cast<double>(k) * c_[k]);
    return kxPolynomial(std::move(d));
}

double kxPolynomial::Value(double x, double) const
{
    double v = 0.0;
    for (size_t k = c_.size(); k-- > 0;)
        v = v * x + c_[k];
    return v;
}

std::complex<double> kxPolynomial::ValueC(std::complex<double> x, std::complex<double>) const
{
    std::complex<double> v = 0.0;
    for (size_t k = c_.size(); k-- > 0;)
        v = v * x + c_[k];
    return v;
}

double kxPolynomial::Derivative(double x, double, int variable) const
{
    if (variable != 0)
        return 0.0;
    double v = 0.0;
    for (size_t k = c_.size(); k-- > 1;)
        v = v * x + static_cast<double>(k) * c_[k];
    return v;
}

bool kxPolynomial::Roots(std::vector<std::complex<double>> &roots) const
{
    roots.clear();
    const int n = Degree();
    if (n < 0) {
        error.Raise(kxErrGeneric, "the zero polynomial has no defined roots\n");
        return false;
    }
    if (n == 0)
        return true;
    // Companion matrix of the monic polynomial: ones on the subdiagonal, the negated
    // normalised coefficients in the last column. Its characteristic polynomial is this one.
    kxMatrixR companion(n, n);
    for (int i = 1; i < n; ++i)
        companion(i, i - 1) = 1.0;
    for (int i = 0; i < n; ++i)
        companion(i, n - 1) = -c_[i] / c_[n];
    return companion.Eigen(roots);
}
