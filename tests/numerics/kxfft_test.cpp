// Tests of kxFFT: transforms against a direct DFT for prime, power-of-two and mixed lengths, the
// scaling convention, real-to-complex outputs, Parseval, plan reuse and bad lengths.
#include "kx/foundation/kxerror.h"
#include "kx/numerics/kxfft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using cx = std::complex<double>;

namespace {

std::vector<cx> Direct(const std::vector<cx> &x, int sign)
{
    const int n = static_cast<int>(x.size());
    std::vector<cx> out(n);
    for (int k = 0; k < n; ++k) {
        cx s = 0;
        for (int j = 0; j < n; ++j) {
            // Reduce j k mod n first so the angle stays accurate for long transforms.
            const double angle =
                sign * 2.0 * M_PI * static_cast<double>((static_cast<long>(j) * k) % n) / n;
            s += x[j] * cx(std::cos(angle), std::sin(angle));
        }
        out[k] = s;
    }
    return out;
}

std::vector<cx> RandomSignal(int n, std::mt19937 &rng)
{
    std::uniform_real_distribution<double> u(-1, 1);
    std::vector<cx> x(n);
    for (cx &v : x)
        v = cx(u(rng), u(rng));
    return x;
}

double MaxDiff(const cx *a, const cx *b, int n)
{
    double d = 0;
    for (int i = 0; i < n; ++i)
        d = std::max(d, std::abs(a[i] - b[i]));
    return d;
}

} // namespace

TEST(KXFFTTest, MatchesDirectTransformForAnyLength)
{
    std::mt19937 rng(7);
    // Primes, powers of two, mixed radices (including a large prime factor).
    for (int n : {1, 2, 3, 7, 13, 97, 8, 64, 1024, 12, 60, 105, 2 * 3 * 5 * 7 * 11, 6 * 101}) {
        const std::vector<cx> x = RandomSignal(n, rng);
        const std::vector<cx> fwd = Direct(x, -1), bwd = Direct(x, +1);
        std::vector<cx> out(n);
        ASSERT_TRUE(kxFFT::Forward(x.data(), out.data(), n));
        const double tol = 1e-12 * n;
        EXPECT_LT(MaxDiff(out.data(), fwd.data(), n), tol) << n;
        ASSERT_TRUE(kxFFT::Backward(x.data(), out.data(), n));
        EXPECT_LT(MaxDiff(out.data(), bwd.data(), n), tol) << n;

        // In place, on vectors: forward then backward gives the input times n.
        std::vector<cx> y = x;
        ASSERT_TRUE(kxFFT::Forward(y));
        EXPECT_LT(MaxDiff(y.data(), fwd.data(), n), tol) << n;
        ASSERT_TRUE(kxFFT::Backward(y));
        for (int i = 0; i < n; ++i)
            EXPECT_LT(std::abs(y[i] - double(n) * x[i]), tol) << n;
        kxFFT::Normalise(y.data(), n);
        EXPECT_LT(MaxDiff(y.data(), x.data(), n), 1e-13 * n) << n;

        // Parseval: sum |x|^2 = sum |X|^2 / n.
        double ex = 0, eX = 0;
        for (int i = 0; i < n; ++i) {
            ex += std::norm(x[i]);
            eX += std::norm(fwd[i]);
        }
        double eOut = 0;
        ASSERT_TRUE(kxFFT::Forward(x.data(), out.data(), n));
        for (const cx &v : out)
            eOut += std::norm(v);
        EXPECT_NEAR(eOut / n, ex, 1e-12 * ex) << n;
        EXPECT_NEAR(eX / n, ex, 1e-12 * ex) << n; // the reference obeys it too
    }
}

TEST(KXFFTTest, RealToComplex)
{
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> u(-1, 1);
    for (int n : {1, 2, 5, 16, 17, 90, 1001}) {
        std::vector<double> x(n);
        std::vector<cx> xc(n);
        for (int i = 0; i < n; ++i)
            xc[i] = x[i] = u(rng);
        const std::vector<cx> expect = Direct(xc, -1);
        std::vector<cx> out;
        ASSERT_TRUE(kxFFT::RealForward(x, out));
        ASSERT_EQ(static_cast<int>(out.size()), n / 2 + 1);
        EXPECT_LT(MaxDiff(out.data(), expect.data(), n / 2 + 1), 1e-12 * n) << n;
        // The input of an out-of-place transform is left alone.
        for (int i = 0; i < n; ++i)
            EXPECT_EQ(x[i], xc[i].real());
    }
}

TEST(KXFFTTest, AlignedBuffersPlansAndErrors)
{
    kxFFT::ClearPlans();
    const int n = 48;
    kxFFTBuffer a(n), b(n);
    std::mt19937 rng(3);
    const std::vector<cx> x = RandomSignal(n, rng);
    for (int i = 0; i < n; ++i)
        a[i] = x[i];
    ASSERT_TRUE(kxFFT::Forward(a.Data(), b.Data(), n));
    const std::vector<cx> expect = Direct(x, -1);
    EXPECT_LT(MaxDiff(b.Data(), expect.data(), n), 1e-12 * n);
    const int plans = kxFFT::CachedPlans();
    EXPECT_GE(plans, 1);
    // The same kind and length again reuses the plan.
    ASSERT_TRUE(kxFFT::Forward(a.Data(), b.Data(), n));
    EXPECT_EQ(kxFFT::CachedPlans(), plans);
    // Unaligned data (one complex into an aligned buffer) is still transformed correctly.
    kxFFTBuffer c(n + 1);
    for (int i = 0; i < n; ++i)
        c[i + 1] = x[i];
    std::vector<cx> out(n);
    ASSERT_TRUE(kxFFT::Forward(c.Data() + 1, out.data(), n));
    EXPECT_LT(MaxDiff(out.data(), expect.data(), n), 1e-12 * n);

    // Measured planning gives the same numbers.
    kxFFT::SetPlanning(kxFFTMeasure);
    EXPECT_EQ(kxFFT::CachedPlans(), 0);
    ASSERT_TRUE(kxFFT::Forward(a.Data(), b.Data(), n));
    EXPECT_LT(MaxDiff(b.Data(), expect.data(), n), 1e-12 * n);
    kxFFT::SetPlanning(kxFFTEstimate);

    error.reset();
    EXPECT_FALSE(kxFFT::Forward(a.Data(), b.Data(), 0));
    EXPECT_STREQ(error.chars(), "FFT length 0 is not valid\n");
    error.reset();
    std::vector<cx> empty;
    EXPECT_FALSE(kxFFT::Backward(empty));
    error.reset();
}
