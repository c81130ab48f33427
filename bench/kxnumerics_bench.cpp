// Benchmarks of the numerics module against direct library calls and other libraries, measured
// in the same run:
//   gemm 512 x 512, real and complex: kxMatrix::Gemm against a direct CBLAS call (the same
//     OpenBLAS underneath: the ratio is the wrapper's cost) and against Eigen 3.4's product;
//   complex eigen-decomposition 200 x 200 (values and vectors): kxMatrix::Eigen (LAPACK zgeev)
//     against Eigen's ComplexEigenSolver;
//   FFT of 2^16 and of 3*5*7*11*13 = 15015 points: kxFFT against direct FFTW calls, both with
//     FFTW_MEASURE plans on FFTW-aligned buffers;
//   natural cubic spline evaluation on a 1000-point table at pseudo-random points: kxTable1D
//     against GSL's gsl_spline (cubic) with its accelerator.
// Threading: OpenBLAS is set to one thread for the whole run, so that the BLAS and LAPACK peers,
// Eigen (built without OpenMP, so single-threaded) and FFTW (single-threaded) all compare on one
// core, and CPU time per iteration means the same thing for each of them.
#include "kxbench.h"

#include "kx/numerics/kxfft.h"
#include "kx/numerics/kxtablefunction.h"
#include "kx/numerics/matrixT.h"

#include <Eigen/Dense>
#include <Eigen/Eigenvalues>
#include <cblas.h>
#include <fftw3.h>
#include <gsl/gsl_errno.h>
#include <gsl/gsl_spline.h>

#include <cmath>
#include <complex>
#include <random>

using cx = std::complex<double>;

namespace {

constexpr int kGemmN = 512;
constexpr int kEigN = 200;
constexpr int kTableN = 1000;
constexpr int kSplinePoints = 4096;

template <class T>
kxMatrix<T> RandomMatrix(int n, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> u(-1, 1);
    kxMatrix<T> m(n, n);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            if constexpr (std::is_same<T, double>::value)
                m(i, j) = u(rng);
            else
                m(i, j) = T(u(rng), u(rng));
        }
    return m;
}

template <class T>
using EigenMat = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic>;

template <class T>
EigenMat<T> ToEigen(const kxMatrix<T> &m)
{
    return Eigen::Map<const EigenMat<T>>(m.Data(), m.Rows(), m.Cols());
}

// -- gemm ---------------------------------------------------------------------------------------
template <class T>
void BM_KxGemm(benchmark::State &state)
{
    const kxMatrix<T> a = RandomMatrix<T>(kGemmN, 1), b = RandomMatrix<T>(kGemmN, 2);
    kxMatrix<T> c(kGemmN, kGemmN);
    for (auto _ : state) {
        if (!c.Gemm(a, b))
            state.SkipWithError("gemm failed");
        benchmark::DoNotOptimize(c.Data());
    }
}

void CblasGemm(const double *a, const double *b, double *c)
{
    cblas_dgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, kGemmN, kGemmN, kGemmN, 1.0, a, kGemmN,
                b, kGemmN, 0.0, c, kGemmN);
}

void CblasGemm(const cx *a, const cx *b, cx *c)
{
    const cx one(1), zero(0);
    cblas_zgemm(CblasColMajor, CblasNoTrans, CblasNoTrans, kGemmN, kGemmN, kGemmN, &one, a, kGemmN,
                b, kGemmN, &zero, c, kGemmN);
}

template <class T>
void BM_CblasGemm(benchmark::State &state)
{
    const kxMatrix<T> a = RandomMatrix<T>(kGemmN, 1), b = RandomMatrix<T>(kGemmN, 2);
    kxMatrix<T> c(kGemmN, kGemmN);
    for (auto _ : state) {
        CblasGemm(a.Data(), b.Data(), c.Data());
        benchmark::DoNotOptimize(c.Data());
    }
}

template <class T>
void BM_EigenGemm(benchmark::State &state)
{
    const EigenMat<T> a = ToEigen(RandomMatrix<T>(kGemmN, 1)),
                      b = ToEigen(RandomMatrix<T>(kGemmN, 2));
    EigenMat<T> c(kGemmN, kGemmN);
    for (auto _ : state) {
        c.noalias() = a * b;
        benchmark::DoNotOptimize(c.data());
    }
}

BENCHMARK_TEMPLATE(BM_KxGemm, double)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_CblasGemm, double)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_EigenGemm, double)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_KxGemm, cx)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_CblasGemm, cx)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_EigenGemm, cx)->Unit(benchmark::kMillisecond);

// -- complex eigen-decomposition ----------------------------------------------------------------
void BM_KxZgeev(benchmark::State &state)
{
    const kxMatrixC a = RandomMatrix<cx>(kEigN, 3);
    std::vector<cx> values;
    kxMatrixC vectors;
    for (auto _ : state) {
        if (!a.Eigen(values, &vectors))
            state.SkipWithError("geev failed");
        benchmark::DoNotOptimize(vectors.Data());
    }
}

void BM_EigenComplexEigenSolver(benchmark::State &state)
{
    const EigenMat<cx> a = ToEigen(RandomMatrix<cx>(kEigN, 3));
    Eigen::ComplexEigenSolver<EigenMat<cx>> solver;
    for (auto _ : state) {
        solver.compute(a, true);
        benchmark::DoNotOptimize(solver.eigenvectors().data());
    }
}

BENCHMARK(BM_KxZgeev)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EigenComplexEigenSolver)->Unit(benchmark::kMillisecond);

// -- FFT ----------------------------------------------------------------------------------------
void FillSignal(cx *data, int n)
{
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(-1, 1);
    for (int i = 0; i < n; ++i)
        data[i] = cx(u(rng), u(rng));
}

void BM_KxFFT(benchmark::State &state)
{
    const int n = static_cast<int>(state.range(0));
    kxFFT::SetPlanning(kxFFTMeasure);
    kxFFTBuffer in(n), out(n);
    FillSignal(in.Data(), n);
    if (!kxFFT::Forward(in.Data(), out.Data(), n)) // plans once, outside the timing
        state.SkipWithError("fft failed");
    for (auto _ : state) {
        (void)kxFFT::Forward(in.Data(), out.Data(), n);
        benchmark::DoNotOptimize(out.Data());
    }
}

void BM_FftwFFT(benchmark::State &state)
{
    const int n = static_cast<int>(state.range(0));
    fftw_complex *in = fftw_alloc_complex(n), *out = fftw_alloc_complex(n);
    fftw_plan plan = fftw_plan_dft_1d(n, in, out, FFTW_FORWARD, FFTW_MEASURE);
    FillSignal(reinterpret_cast<cx *>(in), n);
    for (auto _ : state) {
        fftw_execute(plan);
        benchmark::DoNotOptimize(out);
    }
    fftw_destroy_plan(plan);
    fftw_free(in);
    fftw_free(out);
}

BENCHMARK(BM_KxFFT)->Arg(1 << 16)->Arg(3 * 5 * 7 * 11 * 13)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FftwFFT)->Arg(1 << 16)->Arg(3 * 5 * 7 * 11 * 13)->Unit(benchmark::kMicrosecond);

// -- spline evaluation --------------------------------------------------------------------------
struct SplineData {
    std::vector<double> x, y, at;
    SplineData()
    {
        std::mt19937 rng(8);
        std::uniform_real_distribution<double> u(0, 1);
        double t = 0;
        for (int i = 0; i < kTableN; ++i) {
            t += 0.5 + u(rng);
            x.push_back(t);
            y.push_back(std::sin(0.1 * t));
        }
        for (int i = 0; i < kSplinePoints; ++i)
            at.push_back(x.front() + u(rng) * (x.back() - x.front()));
    }
};

void BM_KxSpline(benchmark::State &state)
{
    const SplineData d;
    kxTable1D table(kxTableSpline);
    if (!table.Set(d.x, d.y))
        state.SkipWithError("table refused");
    for (auto _ : state) {
        double s = 0;
        for (double a : d.at)
            s += table.Value(a);
        benchmark::DoNotOptimize(s);
    }
    state.SetItemsProcessed(state.iterations() * kSplinePoints);
}

void BM_GslSpline(benchmark::State &state)
{
    const SplineData d;
    gsl_interp_accel *acc = gsl_interp_accel_alloc();
    gsl_spline *spline = gsl_spline_alloc(gsl_interp_cspline, kTableN);
    gsl_spline_init(spline, d.x.data(), d.y.data(), kTableN);
    for (auto _ : state) {
        double s = 0;
        for (double a : d.at)
            s += gsl_spline_eval(spline, a, acc);
        benchmark::DoNotOptimize(s);
    }
    state.SetItemsProcessed(state.iterations() * kSplinePoints);
    gsl_spline_free(spline);
    gsl_interp_accel_free(acc);
}

BENCHMARK(BM_KxSpline)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GslSpline)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    kxSetBlasThreads(1);
    return kxbench::Main(
        argc, argv,
        {{"dgemm 512 kx/cblas (target <= 1.05)", "BM_KxGemm<double>", "BM_CblasGemm<double>"},
         {"dgemm 512 kx/eigen (target <= 1.0)", "BM_KxGemm<double>", "BM_EigenGemm<double>"},
         {"zgemm 512 kx/cblas (target <= 1.05)", "BM_KxGemm<cx>", "BM_CblasGemm<cx>"},
         {"zgemm 512 kx/eigen (target <= 1.0)", "BM_KxGemm<cx>", "BM_EigenGemm<cx>"},
         {"zgeev 200 kx/eigen (target <= 1.0)", "BM_KxZgeev", "BM_EigenComplexEigenSolver"},
         {"fft 65536 kx/fftw (target <= 1.05)", "BM_KxFFT/65536", "BM_FftwFFT/65536"},
         {"fft 15015 kx/fftw (target <= 1.05)", "BM_KxFFT/15015", "BM_FftwFFT/15015"},
         {"spline eval kx/gsl (target <= 1.0)", "BM_KxSpline", "BM_GslSpline"}});
}
