// qvaxis.h - one axis of a chart: its side, scale (linear or logarithmic), limits (fixed or
// found from the data), title and unit, grid, and the choice and labelling of its ticks.
//
// Ticks: a linear axis steps by 1, 2, 2.5 or 5 times a power of ten, so that at most
// `maxTicks` ticks fall in the range; a logarithmic axis puts a labelled tick on each power of
// ten (on every k-th one when there are more decades than ticks allowed) and unlabelled minor
// ticks on 2..9 times each power while there are no more than six decades.
// Labels: fixed notation while every label stays readable (magnitudes from 1e-4 to 1e5),
// otherwise scientific notation with as many mantissa digits as the step needs; "-0" never
// appears.
// Automatic limits widen the data range out to the nearest ticks; an empty range (one value)
// is widened by 1 either side (by a tenth of the value when it is not small); a logarithmic
// axis takes only positive data, and widens to whole decades.
#ifndef KX_GRAPH_QVAXIS_H
#define KX_GRAPH_QVAXIS_H

#include <string>
#include <vector>

enum qvAxisSide {
    qvSideBottom = 0,
    qvSideLeft = 1,
    qvSideTop = 2,
    qvSideRight = 3
};

/// A tick: its value, and its label (empty for a minor tick).
struct qvTick {
    double value;
    std::string label;
};

class qvAxis {
public:
    qvAxis() = default;
    qvAxis(const std::string &name, qvAxisSide side) : name(name), side(side) {}

    std::string name; ///< how data sets name the axis ("x", "y", ...)
    qvAxisSide side = qvSideBottom;
    std::string title;
    std::string unit; ///< shown after the title in brackets
    bool log = false;
    bool grid = false;
    bool autoMin = true, autoMax = true;
    double fixedMin = 0, fixedMax = 1; ///< the limits used when not automatic
    int maxTicks = 8;

    bool IsHorizontal() const { return side == qvSideBottom || side == qvSideTop; }
    void SetLimits(double lo, double hi)
    {
        autoMin = autoMax = false;
        fixedMin = lo;
        fixedMax = hi;
    }
    void SetAutomatic() { autoMin = autoMax = true; }

    /// Decides the limits from the data range [dataLo, dataHi] (NaN when the axis has no data)
    /// and the fixed ones. False, with the error recorded, when no usable range results (a
    /// logarithmic axis without positive data or with non-positive fixed limits, or limits
    /// that are not finite or are equal).
    [[nodiscard]] bool Resolve(double dataLo, double dataHi);
    double Lo() const { return lo_; }
    double Hi() const { return hi_; }
    /// Where v falls between the limits: 0 at Lo(), 1 at Hi() (NaN for v <= 0 on a log axis).
    double Fraction(double v) const;
    /// The ticks within the limits.
    std::vector<qvTick> Ticks() const;
    /// The title with the unit: "title (unit)", or either alone.
    std::string Caption() const;

    /// Linear ticks for [lo, hi]: the step (1, 2, 2.5 or 5 times a power of ten) and the first
    /// tick, such that at most maxTicks ticks fall in the range.
    static double NiceStep(double lo, double hi, int maxTicks);
    static std::vector<qvTick> LinearTicks(double lo, double hi, int maxTicks);
    static std::vector<qvTick> LogTicks(double lo, double hi, int maxTicks);
    /// The label of a linear tick at v for a given step.
    static std::string FormatTick(double v, double step, double maxAbs);

private:
    double lo_ = 0, hi_ = 1;
};

#endif
