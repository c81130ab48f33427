// qvaxis.cpp - axis limits, ticks and tick labels.
#define KX_UNIT "qvaxis"
#include "kx/graph/qvaxis.h"

#include "kx/foundation/kxerror.h"

#include <cmath>
#include <cstdio>

namespace {

double Pow10(int e) { return std::pow(10.0, e); }

std::string Printf(const char *fmt, int digits, double v)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, fmt, digits, v);
    return buf;
}

} // namespace

double qvAxis::NiceStep(double lo, double hi, int maxTicks)
{
    double span = hi - lo;
    if (!(span > 0) || !std::isfinite(span))
        return 0;
    int intervals = maxTicks > 2 ? maxTicks - 1 : 1;
    double raw = span / intervals;
    int e = static_cast<int>(std::floor(std::log10(raw)));
    static const double kMantissas[] = {1, 2, 2.5, 5, 10};
    for (;;) {
        for (double m : kMantissas) {
            double step = m * Pow10(e);
            double first = std::ceil(lo / step - 1e-9);
            double last = std::floor(hi / step + 1e-9);
            if (last - first + 1 <= maxTicks)
                return step;
        }
        ++e;
    }
}

std::string qvAxis::FormatTick(double v, double step, double maxAbs)
{
    if (std::fabs(v) < step * 1e-6)
        v = 0;
    int stepExp = static_cast<int>(std::floor(std::log10(step) + 1e-9));
    // A step of 2.5 times a power of ten needs one digit more.
    double mant = step / Pow10(stepExp);
    int extra = std::fabs(mant - std::round(mant)) > 1e-6 ? 1 : 0;
    bool fixed = maxAbs < 1e5 && (maxAbs >= 1e-4 || maxAbs == 0) && stepExp >= -6;
    if (fixed) {
        int decimals = stepExp < 0 ? -stepExp + extra : (extra && stepExp == 0 ? 1 : 0);
        return Printf("%.*f", decimals, v);
    }
    if (v == 0)
        return "0";
    int valueExp = static_cast<int>(std::floor(std::log10(std::fabs(v)) + 1e-9));
    int digits = valueExp - stepExp + extra;
    return Printf("%.*e", digits < 0 ? 0 : digits, v);
}

std::vector<qvTick> qvAxis::LinearTicks(double lo, double hi, int maxTicks)
{
    std::vector<qvTick> ticks;
    double step = NiceStep(lo, hi, maxTicks);
    if (step <= 0)
        return ticks;
    double first = std::ceil(lo / step - 1e-9);
    double last = std::floor(hi / step + 1e-9);
    double maxAbs = std::fmax(std::fabs(first * step), std::fabs(last * step));
    for (double k = first; k <= last; ++k) {
        double v = k * step;
        ticks.push_back({v, FormatTick(v, step, maxAbs)});
    }
    return ticks;
}

std::vector<qvTick> qvAxis::LogTicks(double lo, double hi, int maxTicks)
{
    std::vector<qvTick> ticks;
    if (!(lo > 0) || !(hi > lo))
        return ticks;
    int e0 = static_cast<int>(std::ceil(std::log10(lo) - 1e-9));
    int e1 = static_cast<int>(std::floor(std::log10(hi) + 1e-9));
    int decades = e1 - e0 + 1;
    int every = decades > maxTicks ? (decades + maxTicks - 1) / maxTicks : 1;
    for (int e = e0; e <= e1; ++e) {
        if ((e - e0) % every != 0)
            continue;
        std::string label;
        if (e >= -3 && e <= 4)
            label = Printf("%.*f", e < 0 ? -e : 0, Pow10(e));
        else
            label = "1e" + std::to_string(e);
        ticks.push_back({Pow10(e), label});
    }
    double span = std::log10(hi) - std::log10(lo);
    if (span <= 6) {
        for (int e = static_cast<int>(std::floor(std::log10(lo))); e <= e1; ++e)
            for (int m = 2; m <= 9; ++m) {
                double v = m * Pow10(e);
                if (v >= lo * (1 - 1e-12) && v <= hi * (1 + 1e-12))
                    ticks.push_back({v, ""});
            }
    }
    return ticks;
}

bool qvAxis::Resolve(double dataLo, double dataHi)
{
    double lo = dataLo, hi = dataHi;
    if (!std::isfinite(lo) || !std::isfinite(hi)) {
        lo = log ? 1 : 0;
        hi = log ? 10 : 1;
    }
    if (log) {
        if (!(lo > 0)) {
            error.set("Logarithmic axis \"%s\" has no positive data", name.c_str());
            return false;
        }
        if (hi <= lo) {
            lo /= 10;
            hi *= 10;
        }
        lo = Pow10(static_cast<int>(std::floor(std::log10(lo) + 1e-9)));
        hi = Pow10(static_cast<int>(std::ceil(std::log10(hi) - 1e-9)));
    } else {
        if (hi <= lo) {
            double pad = std::fabs(lo) > 1 ? std::fabs(lo) * 0.1 : 1;
            lo -= pad;
            hi += pad;
        }
        double step = NiceStep(lo, hi, maxTicks);
        if (step > 0) {
            lo = std::floor(lo / step + 1e-9) * step;
            hi = std::ceil(hi / step - 1e-9) * step;
        }
    }
    lo_ = autoMin ? lo : fixedMin;
    hi_ = autoMax ? hi : fixedMax;
    if (!std::isfinite(lo_) || !std::isfinite(hi_) || lo_ == hi_) {
        error.set("Axis \"%s\" has no usable range (%g to %g)", name.c_str(), lo_, hi_);
        return false;
    }
    if (log && (lo_ <= 0 || hi_ <= 0)) {
        error.set("Logarithmic axis \"%s\" needs positive limits (%g to %g)", name.c_str(), lo_,
                  hi_);
        return false;
    }
    return true;
}

double qvAxis::Fraction(double v) const
{
    if (log) {
        if (!(v > 0))
            return NAN;
        return (std::log10(v) - std::log10(lo_)) / (std::log10(hi_) - std::log10(lo_));
    }
    return (v - lo_) / (hi_ - lo_);
}

std::vector<qvTick> qvAxis::Ticks() const
{
    double lo = std::fmin(lo_, hi_), hi = std::fmax(lo_, hi_);
    return log ? LogTicks(lo, hi, maxTicks) : LinearTicks(lo, hi, maxTicks);
}

std::string qvAxis::Caption() const
{
    if (unit.empty())
        return title;
    if (title.empty())
        return "(" + unit + ")";
    return title + " (" + unit + ")";
}
