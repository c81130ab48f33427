// FFTW3 wrappers with a process-wide plan cache keyed by length, kind, placement and alignment.
#define KX_UNIT "kxfft"
#include "kx/numerics/kxfft.h"

#include "kx/foundation/kxerror.h"

#include <fftw3.h>

#include <map>
#include <tuple>

namespace {

enum Kind {
    ForwardC2C,
    BackwardC2C,
    RealR2C
};

struct PlanKey {
    int n;
    Kind kind;
    bool inPlace;
    bool aligned;
    bool operator<(const PlanKey &o) const
    {
        return std::tie(n, kind, inPlace, aligned) < std::tie(o.n, o.kind, o.inPlace, o.aligned);
    }
};

// Owns the plans; destroys them when the process ends.
class PlanCache {
public:
    ~PlanCache() { Clear(); }
    void Clear()
    {
        for (auto &entry : plans_)
            fftw_destroy_plan(entry.second);
        plans_.clear();
    }
    int Size() const { return static_cast<int>(plans_.size()); }
    fftw_plan Get(const PlanKey &key);
    kxFFTPlanning planning = kxFFTEstimate;

private:
    fftw_plan Make(const PlanKey &key) const;
    std::map<PlanKey, fftw_plan> plans_;
};

PlanCache &Cache()
{
    static PlanCache cache;
    return cache;
}

fftw_plan PlanCache::Get(const PlanKey &key)
{
    auto it = plans_.find(key);
    if (it != plans_.end())
        return it->second;
    fftw_plan plan = Make(key);
    if (plan)
        plans_.emplace(key, plan);
    return plan;
}

// Plans on scratch arrays of FFTW's alignment (measuring overwrites them); the plan is then run
// on the caller's arrays through FFTW's new-array execute functions.
fftw_plan PlanCache::Make(const PlanKey &key) const
{
    unsigned flags = planning == kxFFTMeasure ? FFTW_MEASURE : FFTW_ESTIMATE;
    if (!key.aligned)
        flags |= FFTW_UNALIGNED;
    const int n = key.n;
    fftw_complex *out = fftw_alloc_complex(n);
    fftw_plan plan = nullptr;
    if (key.kind == RealR2C) {
        double *in = key.inPlace ? reinterpret_cast<double *>(out) : fftw_alloc_real(n);
        plan = fftw_plan_dft_r2c_1d(n, in, out, flags);
        if (!key.inPlace)
            fftw_free(in);
    } else {
        fftw_complex *in = key.inPlace ? out : fftw_alloc_complex(n);
        plan = fftw_plan_dft_1d(n, in, out, key.kind == ForwardC2C ? FFTW_FORWARD : FFTW_BACKWARD,
                                flags);
        if (!key.inPlace)
            fftw_free(in);
    }
    fftw_free(out);
    return plan;
}

bool IsAligned(const void *p)
{
    return fftw_alignment_of(static_cast<double *>(const_cast<void *>(p))) == 0;
}

bool CheckLength(int n)
{
    if (n < 1) {
        error.Raise(kxErrGeneric, "FFT length %d is not valid\n", n);
        return false;
    }
    return true;
}

bool RunComplex(Kind kind, const std::complex<double> *in, std::complex<double> *out, int n)
{
    if (!CheckLength(n))
        return false;
    const bool inPlace = static_cast<const void *>(in) == static_cast<const void *>(out);
    const PlanKey key{n, kind, inPlace, IsAligned(in) && IsAligned(out)};
    fftw_plan plan = Cache().Get(key);
    if (!plan) {
        KX_CODE_ERROR("FFTW could not make a plan");
        return false;
    }
    // FFTW does not write the input of an out-of-place complex transform.
    fftw_execute_dft(plan, reinterpret_cast<fftw_complex *>(const_cast<std::complex<double> *>(in)),
                     reinterpret_cast<fftw_complex *>(out));
    return true;
}

} // namespace

// ---------------------------------------------------------------------------------------------
kxFFTBuffer::kxFFTBuffer(int n) : size_(n > 0 ? n : 0)
{
    if (size_ > 0) {
        data_ = reinterpret_cast<std::complex<double> *>(fftw_alloc_complex(size_));
        for (int i = 0; i < size_; ++i)
            data_[i] = 0.0;
    }
}

kxFFTBuffer::~kxFFTBuffer() { fftw_free(data_); }

bool kxFFT::Forward(const std::complex<double> *in, std::complex<double> *out, int n)
{
    return RunComplex(ForwardC2C, in, out, n);
}

bool kxFFT::Backward(const std::complex<double> *in, std::complex<double> *out, int n)
{
    return RunComplex(BackwardC2C, in, out, n);
}

bool kxFFT::RealForward(const double *in, std::complex<double> *out, int n)
{
    if (!CheckLength(n))
        return false;
    const bool inPlace = static_cast<const void *>(in) == static_cast<const void *>(out);
    const PlanKey key{n, RealR2C, inPlace, IsAligned(in) && IsAligned(out)};
    fftw_plan plan = Cache().Get(key);
    if (!plan) {
        KX_CODE_ERROR("FFTW could not make a plan");
        return false;
    }
    // An out-of-place real-to-complex transform leaves its input alone (FFTW_PRESERVE_INPUT is
    // the default for one-dimensional r2c).
    fftw_execute_dft_r2c(plan, const_cast<double *>(in), reinterpret_cast<fftw_complex *>(out));
    return true;
}

bool kxFFT::Forward(std::vector<std::complex<double>> &data)
{
    return Forward(data.data(), data.data(), static_cast<int>(data.size()));
}

bool kxFFT::Backward(std::vector<std::complex<double>> &data)
{
    return Backward(data.data(), data.data(), static_cast<int>(data.size()));
}

bool kxFFT::RealForward(const std::vector<double> &in, std::vector<std::complex<double>> &out)
{
    if (!CheckLength(static_cast<int>(in.size())))
        return false;
    out.resize(in.size() / 2 + 1);
    return RealForward(in.data(), out.data(), static_cast<int>(in.size()));
}

void kxFFT::Normalise(std::complex<double> *data, int n)
{
    const double scale = n > 0 ? 1.0 / n : 0.0;
    for (int i = 0; i < n; ++i)
        data[i] *= scale;
}

void kxFFT::SetPlanning(kxFFTPlanning planning)
{
    if (planning == Cache().planning)
        return;
    Cache().Clear();
    Cache().planning = planning;
}

kxFFTPlanning kxFFT::GetPlanning() { return Cache().planning; }

int kxFFT::CachedPlans() { return Cache().Size(); }

void kxFFT::ClearPlans() { Cache().Clear(); }
