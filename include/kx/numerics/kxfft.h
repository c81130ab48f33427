// kxfft.h - one-dimensional discrete Fourier transforms of any length through FFTW3:
// complex-to-complex forward and backward, and real-to-complex.
//
// Conventions
// -----------
//   forward:  X[k] = sum_{j=0}^{n-1} x[j] exp(-2 pi i j k / n)
//   backward: x[j] = sum_{k=0}^{n-1} X[k] exp(+2 pi i j k / n)
// Neither direction is normalised: a forward transform followed by a backward one gives the
// input multiplied by n (divide by n yourself, or call Normalise). The real-to-complex
// transform gives the n/2 + 1 non-redundant outputs X[0 .. n/2] of the forward transform of
// real data (the rest are their conjugates, X[n-k] = conj(X[k])).
//
// Plans
// -----
// A plan is made once per (length, kind, in place or not, aligned or not) and cached for the
// life of the process; later transforms of the same kind and length reuse it. Data allocated by
// std::vector is usually 16-byte aligned; FFTW's fastest code paths want the alignment of
// fftw_malloc, which kxFFTBuffer provides. Unaligned data still works, through a plan made for
// unaligned arrays. The planning effort is kxFFTEstimate (fast to plan, the default) or
// kxFFTMeasure (FFTW times candidate algorithms once per plan; slower to plan, usually faster
// to run); changing it empties the cache.
//
// Errors: a length below 1 or mismatched sizes give false with the global `error` set (code 1,
// "FFT length %d is not valid\n" or "FFT buffer sizes do not agree\n"). Not thread-safe: the
// plan cache belongs to the thread that uses the library.
#ifndef KX_NUMERICS_KXFFT_H
#define KX_NUMERICS_KXFFT_H

#include <complex>
#include <cstddef>
#include <vector>

enum kxFFTPlanning {
    kxFFTEstimate,
    kxFFTMeasure
};

/// An owning array of n complex values allocated with FFTW's alignment (zeros at first).
class kxFFTBuffer {
public:
    explicit kxFFTBuffer(int n = 0);
    ~kxFFTBuffer();
    kxFFTBuffer(const kxFFTBuffer &) = delete;
    kxFFTBuffer &operator=(const kxFFTBuffer &) = delete;

    [[nodiscard]] int Size() const { return size_; }
    [[nodiscard]] std::complex<double> *Data() { return data_; }
    [[nodiscard]] const std::complex<double> *Data() const { return data_; }
    std::complex<double> &operator[](int i) { return data_[i]; }

private:
    std::complex<double> *data_ = nullptr;
    int size_ = 0;
};

class kxFFT {
public:
    /// Forward transform of in[0 .. n-1] into out[0 .. n-1] (in == out: in place).
    [[nodiscard]] static bool Forward(const std::complex<double> *in, std::complex<double> *out,
                                      int n);
    /// Backward transform, not normalised (see the top of this file).
    [[nodiscard]] static bool Backward(const std::complex<double> *in, std::complex<double> *out,
                                       int n);
    /// Real-to-complex forward transform of in[0 .. n-1] into out[0 .. n/2].
    [[nodiscard]] static bool RealForward(const double *in, std::complex<double> *out, int n);

    /// In-place forms on vectors (the length is the vector's size).
    [[nodiscard]] static bool Forward(std::vector<std::complex<double>> &data);
    [[nodiscard]] static bool Backward(std::vector<std::complex<double>> &data);
    /// out is resized to in.size() / 2 + 1.
    [[nodiscard]] static bool RealForward(const std::vector<double> &in,
                                          std::vector<std::complex<double>> &out);

    /// Multiplies every value by 1/n.
    static void Normalise(std::complex<double> *data, int n);

    /// Planning effort for plans made from now on (empties the cache when it changes).
    static void SetPlanning(kxFFTPlanning planning);
    [[nodiscard]] static kxFFTPlanning GetPlanning();
    /// Number of cached plans.
    [[nodiscard]] static int CachedPlans();
    /// Destroys every cached plan.
    static void ClearPlans();
};

#endif
