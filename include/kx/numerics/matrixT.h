// matrixT.h - dense real and complex matrices (kxMatrix<double>, kxMatrix<std::complex<double>>)
// stored by columns so that BLAS and LAPACK take them in place, with views on sub-blocks;
// products (gemm, gemv, dot), LU factorisation with solve, inverse and determinant, linear least
// squares, and eigenvalues and eigenvectors of general and of Hermitian matrices.
//
// Storage and indexing
// --------------------
// Element (i, j), both counted from 0, is at Data()[i + j * LeadingDim()]. A matrix either owns
// its storage or is a view (Block, or View over caller storage) that shares storage it does not
// own: the owner must outlive the view, and writing through a view writes the owner. Copying a
// matrix (view or not) makes an owning copy of its elements, while moving one moves what it is
// (a moved view is still a view); Assign writes the elements of one matrix into another of the
// same shape (a view included) in place.
//
// Errors
// ------
// Nothing throws. Operations that can fail return false and leave the global `error` set with
// code 1 (kxErrGeneric); their outputs are then unspecified but never hold values computed from a
// failed factorisation. The texts:
//   "matrix dimensions do not agree (%s)\n"            shapes that cannot be combined
//   "matrix is not square (%d x %d)\n"
//   "matrix holds a value that is not finite\n"      an input NaN or infinity
//   "matrix is singular (zero pivot in column %d)\n"  exactly singular (column counted from 1)
//   "matrix is ill-conditioned (reciprocal condition number %g)\n"
//   "matrix is not Hermitian\n"                         HermitianEigen on a non-Hermitian input
//   "eigenvalue computation did not converge\n"
//   "least-squares matrix is rank deficient (rank %d of %d)\n"
// An LU factor is ill-conditioned when the reciprocal 1-norm condition estimate (LAPACK gecon)
// falls below kxMatrixMinRCond (about 4.4e-16, twice the double epsilon); solving with it
// would lose every digit, so Solve and Inverse refuse it. Determinant never fails for a
// singular matrix: it is then exactly 0.
//
// Threading: the BLAS is OpenBLAS, which by default uses every core for large products.
// kxSetBlasThreads fixes the number of threads it uses (1 gives reproducible timings beside
// single-threaded code); the library never changes it by itself.
#ifndef KX_NUMERICS_MATRIXT_H
#define KX_NUMERICS_MATRIXT_H

#include <complex>
#include <vector>

/// Smallest reciprocal condition number for which an LU factor is used to solve or invert.
constexpr double kxMatrixMinRCond = 4.440892098500626e-16;

/// How a matrix enters a product: as it is, transposed, or conjugate-transposed (the same as
/// transposed for a real matrix).
enum kxMatOp {
    kxNoTrans,
    kxTrans,
    kxConjTrans
};

/// Sets the number of threads the BLAS uses (at least 1).
void kxSetBlasThreads(int threads);
/// The number of threads the BLAS uses.
int kxGetBlasThreads();

template <class T>
class kxMatrix {
public:
    /// An empty 0 x 0 matrix.
    kxMatrix() = default;
    /// An owning rows x cols matrix of zeros (negative sizes count as 0).
    kxMatrix(int rows, int cols);
    /// A view on caller storage: element (i, j) at data[i + j * ld], ld >= rows.
    [[nodiscard]] static kxMatrix View(T *data, int rows, int cols, int ld);
    /// The n x n identity.
    [[nodiscard]] static kxMatrix Identity(int n);

    /// Owning copy of the elements (a view's elements too).
    kxMatrix(const kxMatrix &other);
    kxMatrix &operator=(const kxMatrix &other);
    kxMatrix(kxMatrix &&other) noexcept;
    kxMatrix &operator=(kxMatrix &&other) noexcept;
    ~kxMatrix() = default;

    [[nodiscard]] int Rows() const { return rows_; }
    [[nodiscard]] int Cols() const { return cols_; }
    [[nodiscard]] int LeadingDim() const { return ld_; }
    [[nodiscard]] bool IsView() const { return storage_.empty() && data_ != nullptr; }
    [[nodiscard]] bool IsSquare() const { return rows_ == cols_; }
    [[nodiscard]] T *Data() { return data_; }
    [[nodiscard]] const T *Data() const { return data_; }

    /// Element (i, j), 0 <= i < Rows(), 0 <= j < Cols(); an index outside is a fatal fault.
    T &operator()(int i, int j);
    const T &operator()(int i, int j) const;

    /// A view on rows r0 .. r0+rows-1 and columns c0 .. c0+cols-1 (the block must lie inside).
    [[nodiscard]] kxMatrix Block(int r0, int c0, int rows, int cols);
    /// Writes the elements of `other` (same shape) into this matrix in place; false otherwise.
    [[nodiscard]] bool Assign(const kxMatrix &other);
    /// Sets every element to `value`.
    void Fill(const T &value);
    /// Resizes an owning matrix to rows x cols of zeros (a view becomes an owning matrix).
    void Resize(int rows, int cols);
    /// The transpose (conjugate transpose when `conjugate`), as an owning matrix.
    [[nodiscard]] kxMatrix Transposed(bool conjugate = false) const;
    /// True when every element is finite.
    [[nodiscard]] bool IsFinite() const;
    /// Largest absolute value of an element (0 for an empty matrix).
    [[nodiscard]] double MaxAbs() const;

    // -- Products -------------------------------------------------------------------------------
    /// this = alpha op(a) op(b) + beta this (gemm). With beta 0 an owning matrix is resized to
    /// the product's shape first; otherwise the shapes must agree. The result may share storage
    /// with a or b (it is then computed into a temporary first).
    [[nodiscard]] bool Gemm(const kxMatrix &a, const kxMatrix &b, T alpha = T(1), T beta = T(0),
                            kxMatOp opA = kxNoTrans, kxMatOp opB = kxNoTrans);
    /// y = alpha op(this) x + beta y (gemv); with beta 0, y is resized to the result's length.
    [[nodiscard]] bool Gemv(const std::vector<T> &x, std::vector<T> &y, T alpha = T(1),
                            T beta = T(0), kxMatOp op = kxNoTrans) const;
    /// The product this * b as a new matrix (an empty matrix and the error set on a mismatch).
    [[nodiscard]] kxMatrix operator*(const kxMatrix &b) const;

    /// sum x[i] y[i] (no conjugation); the shorter length counts.
    [[nodiscard]] static T Dot(const std::vector<T> &x, const std::vector<T> &y);
    /// sum conj(x[i]) y[i] (the same as Dot for real vectors).
    [[nodiscard]] static T DotC(const std::vector<T> &x, const std::vector<T> &y);

    // -- Linear systems -------------------------------------------------------------------------
    /// Solves this * X = b in place (b: n x k) through an LU factorisation.
    [[nodiscard]] bool Solve(kxMatrix &b) const;
    [[nodiscard]] bool Solve(std::vector<T> &b) const;
    /// The inverse through LU (getrf, getri) into `inverse`.
    [[nodiscard]] bool Inverse(kxMatrix &inverse) const;
    /// The determinant (0 for a singular matrix). Fails only for a non-square or non-finite one.
    [[nodiscard]] bool Determinant(T &det) const;
    /// The least-squares solution of min |this x - b| for a rows >= cols matrix of full column
    /// rank (b: rows x k in, cols x k out).
    [[nodiscard]] bool LeastSquares(kxMatrix &b) const;

    // -- Eigen-decomposition --------------------------------------------------------------------
    /// Eigenvalues of a general square matrix (geev) and, when `vectors` is given, the right
    /// eigenvectors as its columns, each of unit 2-norm.
    [[nodiscard]] bool Eigen(std::vector<std::complex<double>> &values,
                             kxMatrix<std::complex<double>> *vectors = nullptr) const;
    /// Eigenvalues (ascending) of a Hermitian (real symmetric) matrix (heev / syev) and,
    /// when `vectors` is given, orthonormal eigenvectors as its columns. The matrix is checked
    /// to be Hermitian within 1e-12 of its largest element.
    [[nodiscard]] bool HermitianEigen(std::vector<double> &values,
                                      kxMatrix *vectors = nullptr) const;

private:
    void Check(int i, int j) const;

    std::vector<T> storage_; ///< owned elements; empty for a view
    T *data_ = nullptr;
    int rows_ = 0;
    int cols_ = 0;
    int ld_ = 1;
};

/// An LU factorisation P A = L U of a square matrix (getrf), kept to solve many right-hand
/// sides, invert, or take the determinant.
template <class T>
class kxLU {
public:
    /// Factorises `a`. False for a non-square or non-finite matrix, and for a singular or
    /// ill-conditioned one (the factor is then kept, so Determinant still answers).
    [[nodiscard]] bool Factor(const kxMatrix<T> &a);
    /// Solves A X = b in place with the factor (getrs).
    [[nodiscard]] bool Solve(kxMatrix<T> &b) const;
    /// The inverse with the factor (getri).
    [[nodiscard]] bool Inverse(kxMatrix<T> &inverse) const;
    /// The determinant from the factor: the product of U's diagonal with the pivots' sign.
    [[nodiscard]] T Determinant() const;
    /// The reciprocal 1-norm condition estimate (0 for a singular matrix).
    [[nodiscard]] double RCond() const { return rcond_; }
    /// True when the last Factor succeeded.
    [[nodiscard]] bool IsUsable() const { return usable_; }

private:
    [[nodiscard]] bool CheckUsable(int rows) const;

    kxMatrix<T> lu_;
    std::vector<int> pivots_;
    double rcond_ = 0;
    int zeroPivot_ = 0;
    bool usable_ = false;
};

using kxMatrixR = kxMatrix<double>;
using kxMatrixC = kxMatrix<std::complex<double>>;

extern template class kxMatrix<double>;
extern template class kxMatrix<std::complex<double>>;
extern template class kxLU<double>;
extern template class kxLU<std::complex<double>>;

#endif
