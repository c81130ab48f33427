// Tests of kxMatrix and kxLU: products against naive loops, views, LU residuals, inverses and
// determinants, the refusal of singular and non-finite matrices, least squares and eigen
// residuals (random, repeated-eigenvalue and Hermitian cases).
#include "kx/foundation/kxerror.h"
#include "kx/numerics/matrixT.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

using cx = std::complex<double>;

namespace {

std::mt19937 &Rng()
{
    static std::mt19937 rng(12345);
    return rng;
}

double RandomValue(double *) { return std::uniform_real_distribution<double>(-1, 1)(Rng()); }
cx RandomValue(cx *) { return cx(RandomValue((double *)nullptr), RandomValue((double *)nullptr)); }

template <class T>
kxMatrix<T> Random(int rows, int cols)
{
    kxMatrix<T> m(rows, cols);
    for (int j = 0; j < cols; ++j)
        for (int i = 0; i < rows; ++i)
            m(i, j) = RandomValue((T *)nullptr);
    return m;
}

double Conj(double v) { return v; }
cx Conj(cx v) { return std::conj(v); }

template <class T>
T Op(const kxMatrix<T> &a, kxMatOp op, int i, int j)
{
    if (op == kxNoTrans)
        return a(i, j);
    return op == kxTrans ? a(j, i) : Conj(a(j, i));
}

// op(a) op(b) by the textbook triple loop.
template <class T>
kxMatrix<T> Naive(const kxMatrix<T> &a, const kxMatrix<T> &b, kxMatOp opA, kxMatOp opB)
{
    const int m = opA == kxNoTrans ? a.Rows() : a.Cols();
    const int k = opA == kxNoTrans ? a.Cols() : a.Rows();
    const int n = opB == kxNoTrans ? b.Cols() : b.Rows();
    kxMatrix<T> c(m, n);
    for (int i = 0; i < m; ++i)
        for (int j = 0; j < n; ++j) {
            T s(0);
            for (int l = 0; l < k; ++l)
                s += Op(a, opA, i, l) * Op(b, opB, l, j);
            c(i, j) = s;
        }
    return c;
}

template <class T>
double MaxDiff(const kxMatrix<T> &a, const kxMatrix<T> &b)
{
    EXPECT_EQ(a.Rows(), b.Rows());
    EXPECT_EQ(a.Cols(), b.Cols());
    double d = 0;
    for (int j = 0; j < a.Cols(); ++j)
        for (int i = 0; i < a.Rows(); ++i)
            d = std::max(d, std::abs(a(i, j) - b(i, j)));
    return d;
}

// Largest relative eigen residual |A v - lambda v| / (|A| |v|) over all pairs.
template <class T>
double EigenResidual(const kxMatrix<T> &a, const std::vector<cx> &values, const kxMatrixC &vectors)
{
    const int n = a.Rows();
    double norm = 0;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            norm = std::max(norm, std::abs(a(i, j)));
    double worst = 0;
    for (int k = 0; k < n; ++k) {
        double r = 0, v = 0;
        for (int i = 0; i < n; ++i) {
            cx s = 0;
            for (int j = 0; j < n; ++j)
                s += cx(a(i, j)) * vectors(j, k);
            r = std::max(r, std::abs(s - values[k] * vectors(i, k)));
            v = std::max(v, std::abs(vectors(i, k)));
        }
        worst = std::max(worst, r / (norm * v * n));
    }
    return worst;
}

template <class T>
void CheckProducts()
{
    const kxMatOp ops[] = {kxNoTrans, kxTrans, kxConjTrans};
    for (kxMatOp opA : ops)
        for (kxMatOp opB : ops) {
            const kxMatrix<T> a = opA == kxNoTrans ? Random<T>(7, 5) : Random<T>(5, 7);
            const kxMatrix<T> b = opB == kxNoTrans ? Random<T>(5, 4) : Random<T>(4, 5);
            kxMatrix<T> c = Random<T>(7, 4);
            const kxMatrix<T> c0 = c;
            const T alpha = RandomValue((T *)nullptr), beta = RandomValue((T *)nullptr);
            ASSERT_TRUE(c.Gemm(a, b, alpha, beta, opA, opB));
            kxMatrix<T> expect = Naive(a, b, opA, opB);
            for (int j = 0; j < 4; ++j)
                for (int i = 0; i < 7; ++i)
                    expect(i, j) = alpha * expect(i, j) + beta * c0(i, j);
            EXPECT_LT(MaxDiff(c, expect), 1e-13) << opA << opB;
        }
    // A product into an empty owning matrix takes the product's shape.
    const kxMatrix<T> a = Random<T>(6, 3), b = Random<T>(3, 9);
    EXPECT_LT(MaxDiff(a * b, Naive(a, b, kxNoTrans, kxNoTrans)), 1e-13);

    // Matrix-vector and dot products.
    std::vector<T> x(3), y;
    for (T &v : x)
        v = RandomValue((T *)nullptr);
    ASSERT_TRUE(a.Gemv(x, y));
    ASSERT_EQ(y.size(), 6u);
    for (int i = 0; i < 6; ++i) {
        T s(0);
        for (int j = 0; j < 3; ++j)
            s += a(i, j) * x[j];
        EXPECT_LT(std::abs(y[i] - s), 1e-14);
    }
    std::vector<T> z(6);
    for (T &v : z)
        v = RandomValue((T *)nullptr);
    std::vector<T> w(3);
    for (T &v : w)
        v = RandomValue((T *)nullptr);
    const std::vector<T> w0 = w;
    ASSERT_TRUE(a.Gemv(z, w, T(2), T(-1), kxConjTrans));
    T dot(0), dotc(0);
    for (int i = 0; i < 6; ++i) {
        dot += y[i] * z[i];
        dotc += Conj(y[i]) * z[i];
    }
    EXPECT_LT(std::abs(kxMatrix<T>::Dot(y, z) - dot), 1e-14);
    EXPECT_LT(std::abs(kxMatrix<T>::DotC(y, z) - dotc), 1e-14);
    for (int j = 0; j < 3; ++j) {
        T s(0);
        for (int i = 0; i < 6; ++i)
            s += Conj(a(i, j)) * z[i];
        EXPECT_LT(std::abs(w[j] - (T(2) * s - w0[j])), 1e-13);
    }
}

} // namespace

TEST(KXMatrixTest, ProductsMatchNaiveLoops)
{
    CheckProducts<double>();
    CheckProducts<cx>();
}

TEST(KXMatrixTest, ProductShapeErrors)
{
    error.reset();
    kxMatrixR a(3, 4), b(3, 4), c;
    EXPECT_FALSE(c.Gemm(a, b));
    EXPECT_EQ(int(error), 1);
    EXPECT_NE(std::strstr(error.chars(), "matrix dimensions do not agree"), nullptr);
    error.reset();
    EXPECT_EQ((a * b).Rows(), 0);
    error.reset();
    std::vector<double> x(3), y;
    EXPECT_FALSE(a.Gemv(x, y));
    error.reset();
    // A view keeps its shape: a product of the wrong shape into it is refused.
    kxMatrixR big(5, 5);
    kxMatrixR view = big.Block(0, 0, 2, 2);
    EXPECT_FALSE(view.Gemm(kxMatrixR(3, 3), kxMatrixR(3, 3)));
    error.reset();
}

TEST(KXMatrixTest, ViewsShareTheirOwnersStorage)
{
    kxMatrixC m = Random<cx>(6, 5);
    kxMatrixC block = m.Block(1, 2, 3, 2);
    EXPECT_TRUE(block.IsView());
    EXPECT_EQ(block.LeadingDim(), 6);
    EXPECT_EQ(block(0, 0), m(1, 2));
    EXPECT_EQ(block(2, 1), m(3, 3));
    block(1, 1) = cx(42, 1);
    EXPECT_EQ(m(2, 3), cx(42, 1));

    // A product written into a block lands in the owner, and leaves the rest alone.
    const kxMatrixC before = m;
    const kxMatrixC a = Random<cx>(3, 4), b = Random<cx>(4, 2);
    ASSERT_TRUE(block.Gemm(a, b));
    EXPECT_LT(MaxDiff(kxMatrixC(m.Block(1, 2, 3, 2)), Naive(a, b, kxNoTrans, kxNoTrans)), 1e-13);
    EXPECT_EQ(m(0, 2), before(0, 2));
    EXPECT_EQ(m(4, 3), before(4, 3));
    EXPECT_EQ(m(1, 1), before(1, 1));

    // Blocks of blocks are blocks of the owner; a copy of a view owns its elements.
    kxMatrixC inner = block.Block(1, 0, 2, 1);
    EXPECT_EQ(&inner(0, 0), &m(2, 2));
    kxMatrixC copy = inner;
    EXPECT_FALSE(copy.IsView());
    copy(0, 0) = 7.0;
    EXPECT_NE(m(2, 2), cx(7.0));

    // A product into one of its own operands (a view of it included) is computed as if apart.
    kxMatrixC sqr = Random<cx>(4, 4);
    const kxMatrixC expectSq = Naive(sqr, sqr, kxNoTrans, kxNoTrans);
    ASSERT_TRUE(sqr.Gemm(sqr, sqr));
    EXPECT_LT(MaxDiff(sqr, expectSq), 1e-13);
    kxMatrixC half = sqr.Block(0, 0, 4, 2);
    const kxMatrixC expectHalf = Naive(sqr, kxMatrixC(half), kxNoTrans, kxNoTrans);
    ASSERT_TRUE(half.Gemm(sqr, half));
    EXPECT_LT(MaxDiff(kxMatrixC(sqr.Block(0, 0, 4, 2)), expectHalf), 1e-13);

    // Empty shapes: copies, fills and products with an empty inner dimension.
    kxMatrixR tall(0, 5);
    kxMatrixR tallCopy = tall;
    tallCopy.Fill(1.0);
    EXPECT_EQ(tallCopy.Cols(), 5);
    kxMatrixR sum = Random<double>(3, 2);
    const kxMatrixR sum0 = sum;
    ASSERT_TRUE(sum.Gemm(kxMatrixR(3, 0), kxMatrixR(0, 2), 1.0, 2.0));
    EXPECT_EQ(sum(2, 1), 2.0 * sum0(2, 1)); // only the scaling by beta remains

    // A view over caller storage, used as an operand.
    double storage[] = {1, 2, 99, 3, 4, 99};
    kxMatrixR v = kxMatrixR::View(storage, 2, 2, 3);
    EXPECT_EQ(v(1, 1), 4.0);
    kxMatrixR sq = v * v;
    EXPECT_EQ(sq(0, 0), 7.0);
    EXPECT_EQ(sq(1, 1), 22.0);
}

TEST(KXMatrixTest, SolveInverseAndDeterminant)
{
    for (int n : {1, 4, 30}) {
        const kxMatrixR a = Random<double>(n, n);
        const kxMatrixR b = Random<double>(n, 3);
        kxMatrixR x = b;
        ASSERT_TRUE(a.Solve(x));
        EXPECT_LT(MaxDiff(a * x, b), 1e-11);
        kxMatrixR inv;
        ASSERT_TRUE(a.Inverse(inv));
        EXPECT_LT(MaxDiff(inv * a, kxMatrixR::Identity(n)), 1e-11);

        const kxMatrixC ac = Random<cx>(n, n);
        std::vector<cx> bc(n), xc;
        for (cx &v : bc)
            v = RandomValue((cx *)nullptr);
        xc = bc;
        ASSERT_TRUE(ac.Solve(xc));
        std::vector<cx> back;
        ASSERT_TRUE(ac.Gemv(xc, back));
        for (int i = 0; i < n; ++i)
            EXPECT_LT(std::abs(back[i] - bc[i]), 1e-11);
        kxMatrixC invc;
        ASSERT_TRUE(ac.Inverse(invc));
        EXPECT_LT(MaxDiff(ac * invc, kxMatrixC::Identity(n)), 1e-11);
    }
    // Determinants: a permuted triangular matrix (sign of the row swap), a complex product rule.
    kxMatrixR t(3, 3);
    t(0, 0) = 2, t(0, 1) = 1, t(1, 1) = 3, t(1, 2) = 5, t(2, 2) = -4;
    double det = 0;
    ASSERT_TRUE(t.Determinant(det));
    EXPECT_NEAR(det, -24.0, 1e-13);
    kxMatrixR swapped(3, 3);
    for (int j = 0; j < 3; ++j) {
        swapped(0, j) = t(1, j);
        swapped(1, j) = t(0, j);
        swapped(2, j) = t(2, j);
    }
    ASSERT_TRUE(swapped.Determinant(det));
    EXPECT_NEAR(det, 24.0, 1e-13);
    const kxMatrixC p = Random<cx>(5, 5), q = Random<cx>(5, 5);
    cx dp, dq, dpq;
    ASSERT_TRUE(p.Determinant(dp));
    ASSERT_TRUE(q.Determinant(dq));
    ASSERT_TRUE((p * q).Determinant(dpq));
    EXPECT_LT(std::abs(dpq - dp * dq), 1e-12 * std::abs(dpq));
}

TEST(KXMatrixTest, SingularIllConditionedAndNonFiniteAreErrors)
{
    error.reset();
    kxMatrixR s(3, 3); // third row = first + second
    s(0, 0) = 1, s(0, 1) = 2, s(0, 2) = 3;
    s(1, 0) = 4, s(1, 1) = 5, s(1, 2) = 6;
    s(2, 0) = 5, s(2, 1) = 7, s(2, 2) = 9;
    kxMatrixR b(3, 1), inv;
    EXPECT_FALSE(s.Solve(b));
    EXPECT_EQ(int(error), 1);
    EXPECT_TRUE(std::strstr(error.chars(), "matrix is singular") ||
                std::strstr(error.chars(), "matrix is ill-conditioned"))
        << error.chars();
    error.reset();

    kxMatrixR zero(4, 4);
    EXPECT_FALSE(zero.Inverse(inv));
    EXPECT_STREQ(error.chars(), "matrix is singular (zero pivot in column 1)\n");
    error.reset();
    double det = 1;
    ASSERT_TRUE(zero.Determinant(det)); // a singular matrix has determinant 0, no error
    EXPECT_EQ(det, 0.0);
    EXPECT_EQ(int(error), 0);

    kxMatrixR hilbert(14, 14);
    for (int i = 0; i < 14; ++i)
        for (int j = 0; j < 14; ++j)
            hilbert(i, j) = 1.0 / (i + j + 1);
    kxLU<double> lu;
    EXPECT_FALSE(lu.Factor(hilbert));
    EXPECT_NE(std::strstr(error.chars(), "matrix is ill-conditioned"), nullptr) << error.chars();
    EXPECT_LT(lu.RCond(), kxMatrixMinRCond);
    error.reset();
    kxMatrixR rhs(14, 1);
    EXPECT_FALSE(lu.Solve(rhs)); // a refused factor is never used
    error.reset();

    kxMatrixC nan = Random<cx>(3, 3);
    nan(1, 2) = cx(0, std::nan(""));
    kxMatrixC out;
    EXPECT_FALSE(nan.Inverse(out));
    EXPECT_STREQ(error.chars(), "matrix holds a value that is not finite\n");
    error.reset();
    std::vector<cx> values;
    EXPECT_FALSE(nan.Eigen(values));
    error.reset();
    EXPECT_FALSE(kxMatrixR(2, 3).Inverse(inv));
    EXPECT_STREQ(error.chars(), "matrix is not square (2 x 3)\n");
    error.reset();
}

TEST(KXMatrixTest, LeastSquares)
{
    // An overdetermined consistent system gives back its exact solution.
    const kxMatrixR a = Random<double>(20, 4);
    kxMatrixR x0 = Random<double>(4, 2);
    kxMatrixR b = a * x0;
    ASSERT_TRUE(a.LeastSquares(b));
    EXPECT_EQ(b.Rows(), 4);
    EXPECT_LT(MaxDiff(b, x0), 1e-12);
    // Two equal columns leave the solution undetermined.
    kxMatrixR dep = a;
    for (int i = 0; i < 20; ++i)
        dep(i, 3) = dep(i, 1);
    kxMatrixR rhs(20, 1);
    error.reset();
    EXPECT_FALSE(dep.LeastSquares(rhs));
    EXPECT_STREQ(error.chars(), "least-squares matrix is rank deficient (rank 3 of 4)\n");
    error.reset();
}

TEST(KXMatrixTest, EigenResiduals)
{
    std::vector<cx> values;
    kxMatrixC vectors;
    for (int n : {1, 2, 9, 40}) {
        const kxMatrixR a = Random<double>(n, n);
        ASSERT_TRUE(a.Eigen(values, &vectors));
        ASSERT_EQ(static_cast<int>(values.size()), n);
        EXPECT_LT(EigenResidual(a, values, vectors), 1e-10) << n;
        const kxMatrixC c = Random<cx>(n, n);
        ASSERT_TRUE(c.Eigen(values, &vectors));
        EXPECT_LT(EigenResidual(c, values, vectors), 1e-10) << n;
    }
    // Repeated eigenvalues with a full set of vectors: A = V D V^-1, D = diag(2, 2, 2, 5, 5, -1).
    const double d[] = {2, 2, 2, 5, 5, -1};
    for (int pass = 0; pass < 2; ++pass) {
        const kxMatrixC v = Random<cx>(6, 6);
        kxMatrixC vinv;
        ASSERT_TRUE(v.Inverse(vinv));
        kxMatrixC dv = v;
        for (int j = 0; j < 6; ++j)
            for (int i = 0; i < 6; ++i)
                dv(i, j) *= d[j];
        const kxMatrixC a = dv * vinv;
        ASSERT_TRUE(a.Eigen(values, &vectors));
        EXPECT_LT(EigenResidual(a, values, vectors), 1e-10);
        std::vector<double> re;
        for (const cx &l : values)
            re.push_back(l.real());
        std::sort(re.begin(), re.end());
        const double expect[] = {-1, 2, 2, 2, 5, 5};
        for (int i = 0; i < 6; ++i)
            EXPECT_NEAR(re[i], expect[i], 1e-8);
    }
    // A real matrix with a complex pair: rotation by 90 degrees scaled by 3.
    kxMatrixR rot(2, 2);
    rot(0, 1) = -3, rot(1, 0) = 3;
    ASSERT_TRUE(rot.Eigen(values, &vectors));
    EXPECT_LT(EigenResidual(rot, values, vectors), 1e-14);
    EXPECT_NEAR(std::abs(values[0].imag()), 3.0, 1e-14);
    EXPECT_EQ(values[0], std::conj(values[1]));
}

TEST(KXMatrixTest, HermitianEigen)
{
    const int n = 12;
    const kxMatrixC r = Random<cx>(n, n);
    kxMatrixC h;
    ASSERT_TRUE(h.Gemm(r, r, cx(1), cx(0), kxConjTrans, kxNoTrans)); // R^H R is Hermitian
    std::vector<double> values;
    kxMatrixC vectors;
    ASSERT_TRUE(h.HermitianEigen(values, &vectors));
    for (int k = 1; k < n; ++k)
        EXPECT_LE(values[k - 1], values[k]);
    EXPECT_GT(values[0], 0.0); // positive definite
    kxMatrixC vh;
    ASSERT_TRUE(vh.Gemm(vectors, vectors, cx(1), cx(0), kxConjTrans, kxNoTrans));
    EXPECT_LT(MaxDiff(vh, kxMatrixC::Identity(n)), 1e-12);
    EXPECT_LT(EigenResidual(h, std::vector<cx>(values.begin(), values.end()), vectors), 1e-10);

    kxMatrixR sym = Random<double>(5, 5);
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < i; ++j)
            sym(i, j) = sym(j, i);
    kxMatrixR rv;
    ASSERT_TRUE(sym.HermitianEigen(values, &rv));
    kxMatrixC rvc(5, 5);
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 5; ++j)
            rvc(i, j) = rv(i, j);
    EXPECT_LT(EigenResidual(sym, std::vector<cx>(values.begin(), values.end()), rvc), 1e-10);

    error.reset();
    sym(0, 4) += 0.5;
    EXPECT_FALSE(sym.HermitianEigen(values));
    EXPECT_STREQ(error.chars(), "matrix is not Hermitian\n");
    error.reset();
}
