// Dense matrices over CBLAS (OpenBLAS) and LAPACKE: thin typed wrappers that check shapes and
// finiteness, call the column-major routines in place and turn LAPACK's info codes into the
// error record.
#define KX_UNIT "matrixT"
#include "kx/numerics/matrixT.h"

#include "kx/foundation/kxerror.h"

// LAPACK's complex types are std::complex here, so matrices pass to it without casts.
#define lapack_complex_float std::complex<float>
#define lapack_complex_double std::complex<double>
#include <cblas.h>
#include <lapacke.h>

#include <algorithm>
#include <cmath>
#include <utility>

using Cplx = std::complex<double>;

namespace {

CBLAS_TRANSPOSE BlasOp(kxMatOp op, bool complexType)
{
    if (op == kxNoTrans)
        return CblasNoTrans;
    if (op == kxTrans || !complexType)
        return CblasTrans;
    return CblasConjTrans;
}

bool IsFiniteValue(double v) { return std::isfinite(v); }
bool IsFiniteValue(const Cplx &v) { return std::isfinite(v.real()) && std::isfinite(v.imag()); }
double Conj(double v) { return v; }
Cplx Conj(const Cplx &v) { return std::conj(v); }

void DimensionError(const char *what)
{
    error.Raise(kxErrGeneric, "matrix dimensions do not agree (%s)\n", what);
}

bool CheckSquareFinite(int rows, int cols, bool finite)
{
    if (rows != cols) {
        error.Raise(kxErrGeneric, "matrix is not square (%d x %d)\n", rows, cols);
        return false;
    }
    if (!finite) {
        error.Raise(kxErrGeneric, "matrix holds a value that is not finite\n");
        return false;
    }
    return true;
}

// -- Typed kernels: one overload per element type ------------------------------------------------
void Gemm(CBLAS_TRANSPOSE ta, CBLAS_TRANSPOSE tb, int m, int n, int k, double alpha,
          const double *a, int lda, const double *b, int ldb, double beta, double *c, int ldc)
{
    cblas_dgemm(CblasColMajor, ta, tb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
void Gemm(CBLAS_TRANSPOSE ta, CBLAS_TRANSPOSE tb, int m, int n, int k, Cplx alpha, const Cplx *a,
          int lda, const Cplx *b, int ldb, Cplx beta, Cplx *c, int ldc)
{
    cblas_zgemm(CblasColMajor, ta, tb, m, n, k, &alpha, a, lda, b, ldb, &beta, c, ldc);
}
void Gemv(CBLAS_TRANSPOSE t, int m, int n, double alpha, const double *a, int lda, const double *x,
          double beta, double *y)
{
    cblas_dgemv(CblasColMajor, t, m, n, alpha, a, lda, x, 1, beta, y, 1);
}
void Gemv(CBLAS_TRANSPOSE t, int m, int n, Cplx alpha, const Cplx *a, int lda, const Cplx *x,
          Cplx beta, Cplx *y)
{
    cblas_zgemv(CblasColMajor, t, m, n, &alpha, a, lda, x, 1, &beta, y, 1);
}

lapack_int Getrf(int n, double *a, int lda, int *ipiv)
{
    return LAPACKE_dgetrf(LAPACK_COL_MAJOR, n, n, a, lda, ipiv);
}
lapack_int Getrf(int n, Cplx *a, int lda, int *ipiv)
{
    return LAPACKE_zgetrf(LAPACK_COL_MAJOR, n, n, a, lda, ipiv);
}
lapack_int Getrs(int n, int nrhs, const double *a, int lda, const int *ipiv, double *b, int ldb)
{
    return LAPACKE_dgetrs(LAPACK_COL_MAJOR, 'N', n, nrhs, a, lda, ipiv, b, ldb);
}
lapack_int Getrs(int n, int nrhs, const Cplx *a, int lda, const int *ipiv, Cplx *b, int ldb)
{
    return LAPACKE_zgetrs(LAPACK_COL_MAJOR, 'N', n, nrhs, a, lda, ipiv, b, ldb);
}
lapack_int Getri(int n, double *a, int lda, const int *ipiv)
{
    return LAPACKE_dgetri(LAPACK_COL_MAJOR, n, a, lda, ipiv);
}
lapack_int Getri(int n, Cplx *a, int lda, const int *ipiv)
{
    return LAPACKE_zgetri(LAPACK_COL_MAJOR, n, a, lda, ipiv);
}
double Norm1(int n, const double *a, int lda)
{
    return LAPACKE_dlange(LAPACK_COL_MAJOR, '1', n, n, a, lda);
}
double Norm1(int n, const Cplx *a, int lda)
{
    return LAPACKE_zlange(LAPACK_COL_MAJOR, '1', n, n, a, lda);
}
lapack_int Gecon(int n, const double *a, int lda, double anorm, double *rcond)
{
    return LAPACKE_dgecon(LAPACK_COL_MAJOR, '1', n, a, lda, anorm, rcond);
}
lapack_int Gecon(int n, const Cplx *a, int lda, double anorm, double *rcond)
{
    return LAPACKE_zgecon(LAPACK_COL_MAJOR, '1', n, a, lda, anorm, rcond);
}
lapack_int Gelsy(int m, int n, int nrhs, double *a, int lda, double *b, int ldb, int *jpvt,
                 double rcond, int *rank)
{
    return LAPACKE_dgelsy(LAPACK_COL_MAJOR, m, n, nrhs, a, lda, b, ldb, jpvt, rcond, rank);
}
lapack_int Gelsy(int m, int n, int nrhs, Cplx *a, int lda, Cplx *b, int ldb, int *jpvt,
                 double rcond, int *rank)
{
    return LAPACKE_zgelsy(LAPACK_COL_MAJOR, m, n, nrhs, a, lda, b, ldb, jpvt, rcond, rank);
}

// General eigenproblem, real input: LAPACK returns conjugate pairs as (re, im) columns.
lapack_int Geev(int n, double *a, int lda, std::vector<Cplx> &values, kxMatrixC *vectors)
{
    std::vector<double> wr(n), wi(n), vr(vectors ? static_cast<size_t>(n) * n : 1);
    const lapack_int info = LAPACKE_dgeev(LAPACK_COL_MAJOR, 'N', vectors ? 'V' : 'N', n, a, lda,
                                          wr.data(), wi.data(), nullptr, 1, vr.data(), n);
    if (info != 0)
        return info;
    values.resize(n);
    for (int i = 0; i < n; ++i)
        values[i] = Cplx(wr[i], wi[i]);
    if (!vectors)
        return 0;
    vectors->Resize(n, n);
    for (int j = 0; j < n; ++j) {
        const double *re = &vr[static_cast<size_t>(j) * n];
        if (wi[j] == 0.0) {
            for (int i = 0; i < n; ++i)
                (*vectors)(i, j) = re[i];
            continue;
        }
        // Columns j and j+1 hold the real and imaginary parts of the vector of values[j];
        // values[j+1] is its conjugate with the conjugate vector.
        const double *im = re + n;
        for (int i = 0; i < n; ++i) {
            (*vectors)(i, j) = Cplx(re[i], im[i]);
            (*vectors)(i, j + 1) = Cplx(re[i], -im[i]);
        }
        ++j;
    }
    return 0;
}

lapack_int Geev(int n, Cplx *a, int lda, std::vector<Cplx> &values, kxMatrixC *vectors)
{
    values.resize(n);
    if (vectors)
        vectors->Resize(n, n);
    Cplx dummy;
    return LAPACKE_zgeev(LAPACK_COL_MAJOR, 'N', vectors ? 'V' : 'N', n, a, lda, values.data(),
                         nullptr, 1, vectors ? vectors->Data() : &dummy, n);
}

lapack_int Heev(int n, double *a, int lda, double *w, bool wantVectors)
{
    return LAPACKE_dsyev(LAPACK_COL_MAJOR, wantVectors ? 'V' : 'N', 'U', n, a, lda, w);
}
lapack_int Heev(int n, Cplx *a, int lda, double *w, bool wantVectors)
{
    return LAPACKE_zheev(LAPACK_COL_MAJOR, wantVectors ? 'V' : 'N', 'U', n, a, lda, w);
}

template <class T>
T DotKernel(int n, const T *x, const T *y, bool conjugate);

template <>
double DotKernel<double>(int n, const double *x, const double *y, bool)
{
    return cblas_ddot(n, x, 1, y, 1);
}
template <>
Cplx DotKernel<Cplx>(int n, const Cplx *x, const Cplx *y, bool conjugate)
{
    Cplx result;
    if (conjugate)
        cblas_zdotc_sub(n, x, 1, y, 1, &result);
    else
        cblas_zdotu_sub(n, x, 1, y, 1, &result);
    return result;
}

// True when the storage spanned by two matrices overlaps.
template <class T>
bool Overlaps(const kxMatrix<T> &a, const kxMatrix<T> &b)
{
    if (a.Rows() == 0 || a.Cols() == 0 || b.Rows() == 0 || b.Cols() == 0)
        return false;
    const T *aEnd = a.Data() + a.Rows() + static_cast<size_t>(a.Cols() - 1) * a.LeadingDim();
    const T *bEnd = b.Data() + b.Rows() + static_cast<size_t>(b.Cols() - 1) * b.LeadingDim();
    return a.Data() < bEnd && b.Data() < aEnd;
}

template <class T>
constexpr bool IsComplex()
{
    return !std::is_same<T, double>::value;
}

} // namespace

void kxSetBlasThreads(int threads) { openblas_set_num_threads(std::max(1, threads)); }

int kxGetBlasThreads() { return openblas_get_num_threads(); }

// =============================================================================================
template <class T>
kxMatrix<T>::kxMatrix(int rows, int cols)
    : storage_(static_cast<size_t>(std::max(rows, 0)) * std::max(cols, 0)),
      rows_(std::max(rows, 0)), cols_(std::max(cols, 0)), ld_(std::max(rows_, 1))
{
    data_ = storage_.empty() ? nullptr : storage_.data();
}

template <class T>
kxMatrix<T> kxMatrix<T>::View(T *data, int rows, int cols, int ld)
{
    kxMatrix m;
    if (!data || rows < 0 || cols < 0 || ld < std::max(rows, 1))
        exitfn(1, "kxMatrix: bad view (%d x %d, leading dimension %d)", rows, cols, ld);
    m.data_ = data;
    m.rows_ = rows;
    m.cols_ = cols;
    m.ld_ = ld;
    return m;
}

template <class T>
kxMatrix<T> kxMatrix<T>::Identity(int n)
{
    kxMatrix m(n, n);
    for (int i = 0; i < m.rows_; ++i)
        m(i, i) = T(1);
    return m;
}

template <class T>
kxMatrix<T>::kxMatrix(const kxMatrix &other) : kxMatrix(other.rows_, other.cols_)
{
    (void)Assign(other);
}

template <class T>
kxMatrix<T> &kxMatrix<T>::operator=(const kxMatrix &other)
{
    if (this != &other) {
        kxMatrix copy(other);
        *this = std::move(copy);
    }
    return *this;
}

template <class T>
kxMatrix<T>::kxMatrix(kxMatrix &&other) noexcept
    : storage_(std::move(other.storage_)), data_(other.data_), rows_(other.rows_),
      cols_(other.cols_), ld_(other.ld_)
{
    other.storage_.clear();
    other.data_ = nullptr;
    other.rows_ = other.cols_ = 0;
    other.ld_ = 1;
}

template <class T>
kxMatrix<T> &kxMatrix<T>::operator=(kxMatrix &&other) noexcept
{
    if (this != &other) {
        storage_ = std::move(other.storage_);
        data_ = other.data_;
        rows_ = other.rows_;
        cols_ = other.cols_;
        ld_ = other.ld_;
        other.storage_.clear();
        other.data_ = nullptr;
        other.rows_ = other.cols_ = 0;
        other.ld_ = 1;
    }
    return *this;
}

template <class T>
void kxMatrix<T>::Check(int i, int j) const
{
    if (i < 0 || i >= rows_ || j < 0 || j >= cols_)
        exitfn(1, "kxMatrix: index (%d, %d) out of bounds (%d x %d)", i, j, rows_, cols_);
}

template <class T>
T &kxMatrix<T>::operator()(int i, int j)
{
    Check(i, j);
    return data_[i + static_cast<size_t>(j) * ld_];
}

template <class T>
const T &kxMatrix<T>::operator()(int i, int j) const
{
    Check(i, j);
    return data_[i + static_cast<size_t>(j) * ld_];
}

template <class T>
kxMatrix<T> kxMatrix<T>::Block(int r0, int c0, int rows, int cols)
{
    if (r0 < 0 || c0 < 0 || rows < 0 || cols < 0 || r0 + rows > rows_ || c0 + cols > cols_)
        exitfn(1, "kxMatrix: block (%d, %d) %d x %d outside %d x %d", r0, c0, rows, cols, rows_,
               cols_);
    kxMatrix m;
    m.data_ = (rows > 0 && cols > 0) ? data_ + r0 + static_cast<size_t>(c0) * ld_ : nullptr;
    m.rows_ = rows;
    m.cols_ = cols;
    m.ld_ = ld_;
    return m;
}

template <class T>
bool kxMatrix<T>::Assign(const kxMatrix &other)
{
    if (other.rows_ != rows_ || other.cols_ != cols_) {
        DimensionError("assignment");
        return false;
    }
    if (rows_ == 0)
        return true; // no storage to step through
    for (int j = 0; j < cols_; ++j)
        std::copy_n(other.data_ + static_cast<size_t>(j) * other.ld_, rows_,
                    data_ + static_cast<size_t>(j) * ld_);
    return true;
}

template <class T>
void kxMatrix<T>::Fill(const T &value)
{
    if (rows_ == 0)
        return;
    for (int j = 0; j < cols_; ++j)
        std::fill_n(data_ + static_cast<size_t>(j) * ld_, rows_, value);
}

template <class T>
void kxMatrix<T>::Resize(int rows, int cols)
{
    *this = kxMatrix(rows, cols);
}

template <class T>
kxMatrix<T> kxMatrix<T>::Transposed(bool conjugate) const
{
    kxMatrix t(cols_, rows_);
    for (int j = 0; j < cols_; ++j)
        for (int i = 0; i < rows_; ++i) {
            const T &v = (*this)(i, j);
            t(j, i) = conjugate ? Conj(v) : v;
        }
    return t;
}

template <class T>
bool kxMatrix<T>::IsFinite() const
{
    for (int j = 0; j < cols_; ++j)
        for (int i = 0; i < rows_; ++i)
            if (!IsFiniteValue(data_[i + static_cast<size_t>(j) * ld_]))
                return false;
    return true;
}

template <class T>
double kxMatrix<T>::MaxAbs() const
{
    double m = 0;
    for (int j = 0; j < cols_; ++j)
        for (int i = 0; i < rows_; ++i)
            m = std::max(m, std::abs(data_[i + static_cast<size_t>(j) * ld_]));
    return m;
}

// -- Products -----------------------------------------------------------------------------------
template <class T>
bool kxMatrix<T>::Gemm(const kxMatrix &a, const kxMatrix &b, T alpha, T beta, kxMatOp opA,
                       kxMatOp opB)
{
    const int m = opA == kxNoTrans ? a.rows_ : a.cols_;
    const int k = opA == kxNoTrans ? a.cols_ : a.rows_;
    const int kb = opB == kxNoTrans ? b.rows_ : b.cols_;
    const int n = opB == kxNoTrans ? b.cols_ : b.rows_;
    if (k != kb) {
        DimensionError("product");
        return false;
    }
    if (Overlaps(*this, a) || Overlaps(*this, b)) {
        // BLAS must not write an operand it reads: compute into a copy, then write it here.
        kxMatrix result(*this);
        if (!result.Gemm(a, b, alpha, beta, opA, opB))
            return false;
        if (IsView())
            return Assign(result);
        *this = std::move(result);
        return true;
    }
    if (beta == T(0) && !IsView() && (rows_ != m || cols_ != n))
        Resize(m, n);
    if (rows_ != m || cols_ != n) {
        DimensionError("product result");
        return false;
    }
    if (m == 0 || n == 0)
        return true;
    if (k == 0) {
        // An empty inner dimension: the product is zero, so only the scaling by beta remains.
        for (int j = 0; j < n; ++j)
            for (int i = 0; i < m; ++i)
                (*this)(i, j) = beta == T(0) ? T(0) : beta * (*this)(i, j);
        return true;
    }
    ::Gemm(BlasOp(opA, IsComplex<T>()), BlasOp(opB, IsComplex<T>()), m, n, k, alpha, a.data_, a.ld_,
           b.data_, b.ld_, beta, data_, ld_);
    return true;
}

template <class T>
bool kxMatrix<T>::Gemv(const std::vector<T> &x, std::vector<T> &y, T alpha, T beta,
                       kxMatOp op) const
{
    const int m = op == kxNoTrans ? rows_ : cols_;
    const int n = op == kxNoTrans ? cols_ : rows_;
    if (static_cast<int>(x.size()) != n) {
        DimensionError("matrix-vector product");
        return false;
    }
    if (&x == &y) {
        const std::vector<T> copy(x);
        return Gemv(copy, y, alpha, beta, op);
    }
    if (beta == T(0))
        y.assign(m, T(0));
    if (static_cast<int>(y.size()) != m) {
        DimensionError("matrix-vector product result");
        return false;
    }
    if (m == 0 || n == 0) {
        for (T &v : y)
            v *= beta;
        return true;
    }
    ::Gemv(BlasOp(op, IsComplex<T>()), rows_, cols_, alpha, data_, ld_, x.data(), beta, y.data());
    return true;
}

template <class T>
kxMatrix<T> kxMatrix<T>::operator*(const kxMatrix &b) const
{
    kxMatrix c;
    if (!c.Gemm(*this, b))
        return kxMatrix();
    return c;
}

template <class T>
T kxMatrix<T>::Dot(const std::vector<T> &x, const std::vector<T> &y)
{
    const int n = static_cast<int>(std::min(x.size(), y.size()));
    return n == 0 ? T(0) : DotKernel<T>(n, x.data(), y.data(), false);
}

template <class T>
T kxMatrix<T>::DotC(const std::vector<T> &x, const std::vector<T> &y)
{
    const int n = static_cast<int>(std::min(x.size(), y.size()));
    return n == 0 ? T(0) : DotKernel<T>(n, x.data(), y.data(), true);
}

// -- Linear systems -----------------------------------------------------------------------------
template <class T>
bool kxMatrix<T>::Solve(kxMatrix &b) const
{
    kxLU<T> lu;
    return lu.Factor(*this) && lu.Solve(b);
}

template <class T>
bool kxMatrix<T>::Solve(std::vector<T> &b) const
{
    kxMatrix view = View(b.empty() ? nullptr : b.data(), static_cast<int>(b.size()), 1,
                         std::max(1, static_cast<int>(b.size())));
    return Solve(view);
}

template <class T>
bool kxMatrix<T>::Inverse(kxMatrix &inverse) const
{
    kxLU<T> lu;
    return lu.Factor(*this) && lu.Inverse(inverse);
}

template <class T>
bool kxMatrix<T>::Determinant(T &det) const
{
    if (!CheckSquareFinite(rows_, cols_, IsFinite()))
        return false;
    kxLU<T> lu;
    const Error saved = error;
    (void)lu.Factor(*this);
    // A singular matrix is a valid argument here: its determinant is 0, not an error.
    error = saved;
    det = lu.Determinant();
    return true;
}

template <class T>
bool kxMatrix<T>::LeastSquares(kxMatrix &b) const
{
    if (b.rows_ != rows_ || rows_ < cols_) {
        DimensionError("least squares");
        return false;
    }
    if (!IsFinite() || !b.IsFinite())
        return CheckSquareFinite(0, 0, false);
    if (cols_ == 0 || b.cols_ == 0) {
        b.Resize(cols_, b.cols_);
        return true;
    }
    kxMatrix a(*this);
    kxMatrix x(b);
    std::vector<int> jpvt(cols_, 0);
    int rank = 0;
    // Columns whose contribution is below 1e-13 of the largest are taken as dependent.
    const lapack_int info =
        Gelsy(rows_, cols_, x.cols_, a.data_, a.ld_, x.data_, x.ld_, jpvt.data(), 1e-13, &rank);
    if (info != 0) {
        KX_CODE_ERROR("gelsy failed");
        return false;
    }
    if (rank < cols_) {
        error.Raise(kxErrGeneric, "least-squares matrix is rank deficient (rank %d of %d)\n", rank,
                    cols_);
        return false;
    }
    kxMatrix solution(cols_, x.cols_);
    (void)solution.Assign(x.Block(0, 0, cols_, x.cols_));
    b = std::move(solution);
    return true;
}

// -- Eigen-decomposition ------------------------------------------------------------------------
template <class T>
bool kxMatrix<T>::Eigen(std::vector<Cplx> &values, kxMatrixC *vectors) const
{
    if (!CheckSquareFinite(rows_, cols_, IsFinite()))
        return false;
    values.clear();
    if (rows_ == 0) {
        if (vectors)
            vectors->Resize(0, 0);
        return true;
    }
    kxMatrix a(*this);
    const lapack_int info = Geev(rows_, a.data_, a.ld_, values, vectors);
    if (info > 0) {
        error.Raise(kxErrGeneric, "eigenvalue computation did not converge\n");
        return false;
    }
    if (info < 0) {
        KX_CODE_ERROR("geev: bad argument");
        return false;
    }
    return true;
}

template <class T>
bool kxMatrix<T>::HermitianEigen(std::vector<double> &values, kxMatrix *vectors) const
{
    if (!CheckSquareFinite(rows_, cols_, IsFinite()))
        return false;
    const double tolerance = 1e-12 * MaxAbs();
    for (int j = 0; j < cols_; ++j)
        for (int i = 0; i <= j; ++i)
            if (std::abs((*this)(i, j) - Conj((*this)(j, i))) > tolerance) {
                error.Raise(kxErrGeneric, "matrix is not Hermitian\n");
                return false;
            }
    values.assign(rows_, 0.0);
    if (rows_ == 0) {
        if (vectors)
            vectors->Resize(0, 0);
        return true;
    }
    kxMatrix a(*this);
    const lapack_int info = Heev(rows_, a.data_, a.ld_, values.data(), vectors != nullptr);
    if (info > 0) {
        error.Raise(kxErrGeneric, "eigenvalue computation did not converge\n");
        return false;
    }
    if (info < 0) {
        KX_CODE_ERROR("heev: bad argument");
        return false;
    }
    if (vectors)
        *vectors = std::move(a);
    return true;
}

// =============================================================================================
template <class T>
bool kxLU<T>::Factor(const kxMatrix<T> &a)
{
    usable_ = false;
    rcond_ = 0;
    zeroPivot_ = 0;
    lu_ = kxMatrix<T>();
    pivots_.clear();
    if (!CheckSquareFinite(a.Rows(), a.Cols(), a.IsFinite()))
        return false;
    const int n = a.Rows();
    lu_ = a;
    pivots_.assign(n, 0);
    if (n == 0) {
        usable_ = true;
        rcond_ = 1;
        return true;
    }
    const double anorm = Norm1(n, lu_.Data(), lu_.LeadingDim());
    const lapack_int info = Getrf(n, lu_.Data(), lu_.LeadingDim(), pivots_.data());
    if (info < 0) {
        KX_CODE_ERROR("getrf: bad argument");
        return false;
    }
    if (info > 0) {
        zeroPivot_ = info;
        error.Raise(kxErrGeneric, "matrix is singular (zero pivot in column %d)\n", info);
        return false;
    }
    if (Gecon(n, lu_.Data(), lu_.LeadingDim(), anorm, &rcond_) != 0 || !(rcond_ >= 0))
        rcond_ = 0;
    if (rcond_ < kxMatrixMinRCond) {
        error.Raise(kxErrGeneric, "matrix is ill-conditioned (reciprocal condition number %g)\n",
                    rcond_);
        return false;
    }
    usable_ = true;
    return true;
}

template <class T>
bool kxLU<T>::CheckUsable(int rows) const
{
    if (!usable_) {
        error.Raise(kxErrGeneric, "matrix is singular (zero pivot in column %d)\n",
                    std::max(zeroPivot_, 1));
        return false;
    }
    if (rows != lu_.Rows()) {
        DimensionError("solve");
        return false;
    }
    return true;
}

template <class T>
bool kxLU<T>::Solve(kxMatrix<T> &b) const
{
    if (!CheckUsable(b.Rows()))
        return false;
    if (!b.IsFinite())
        return CheckSquareFinite(0, 0, false);
    if (b.Rows() == 0 || b.Cols() == 0)
        return true;
    if (Getrs(lu_.Rows(), b.Cols(), lu_.Data(), lu_.LeadingDim(), pivots_.data(), b.Data(),
              b.LeadingDim()) != 0) {
        KX_CODE_ERROR("getrs failed");
        return false;
    }
    return true;
}

template <class T>
bool kxLU<T>::Inverse(kxMatrix<T> &inverse) const
{
    if (!CheckUsable(lu_.Rows()))
        return false;
    kxMatrix<T> inv(lu_);
    if (inv.Rows() > 0 && Getri(inv.Rows(), inv.Data(), inv.LeadingDim(), pivots_.data()) != 0) {
        error.Raise(kxErrGeneric, "matrix is singular (zero pivot in column %d)\n", 1);
        return false;
    }
    if (inverse.IsView())
        return inverse.Assign(inv);
    inverse = std::move(inv);
    return true;
}

template <class T>
T kxLU<T>::Determinant() const
{
    if (lu_.Rows() != lu_.Cols())
        return T(0);
    T det(1);
    for (int i = 0; i < lu_.Rows(); ++i) {
        det *= lu_(i, i);
        if (pivots_[i] != i + 1)
            det = -det;
    }
    return det;
}

template class kxMatrix<double>;
template class kxMatrix<Cplx>;
template class kxLU<double>;
template class kxLU<Cplx>;
