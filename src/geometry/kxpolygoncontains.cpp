// kxpolygoncontains.cpp - winding-angle containment and its fast integer equivalent.
#include "kx/geometry/kxpolygoncontains.h"

#include "kxwindingangle.h"

#include <algorithm>
#include <cmath>

namespace {

/// Points closer than this fraction of the outline's scale to an edge go to the angle sum.
constexpr double kNearFraction = 1e-9;
/// Outside this range of scales the margin above is not meaningful.
constexpr double kMinScale = 1e-140;
constexpr double kMaxScale = 1e140;
/// Upper bound of (edge, bin) entries of an index.
constexpr long kMaxBinEntries = 1L << 22;
/// Span lists are used only when a bin is at least this fraction of the outline's width high.
constexpr double kMinSpanBinHeight = 1e-4;
/// Spans wider than this fraction of the outline's width go to the general list.
constexpr double kMaxSpanWidthFraction = 1.0 / 32;

/// The bin of height y among `bins` bins of `scale` bins per unit of y starting at ymin; heights
/// outside the bins are clamped to the first or last. Callers pass y within a few margins of the
/// outline's range, so the product stays far inside the range of long.
long BinOf(double y, double ymin, double scale, long bins)
{
    return std::clamp<long>(static_cast<long>((y - ymin) * scale), 0, bins - 1);
}

std::vector<kxPoint> ToVector(const List<kxPoint> &points)
{
    std::vector<kxPoint> v;
    v.reserve(static_cast<size_t>(points.size()));
    for (int i = 1; i <= points.size(); ++i)
        v.push_back(points[i]);
    return v;
}

/// Largest coordinate magnitude; NaN when a coordinate is not finite.
double Scale(const kxPoint *v, int n)
{
    double s = 0.0;
    for (int i = 0; i < n; ++i) {
        if (!std::isfinite(v[i].x) || !std::isfinite(v[i].y))
            return NAN;
        s = std::max(s, std::max(std::fabs(v[i].x), std::fabs(v[i].y)));
    }
    return s;
}

enum Verdict {
    kFar,
    kNear
};

/// One edge a -> b of the integer winding count for the ray from p toward +x. Returns kNear when
/// p lies within `m` of the edge (or might, by rounding), where the count is not trusted.
inline Verdict CountEdge(const kxPoint &a, const kxPoint &b, const kxPoint &p, double m,
                         int &winding)
{
    if (p.y < std::min(a.y, b.y) - m || p.y > std::max(a.y, b.y) + m)
        return kFar;
    if (p.x > std::max(a.x, b.x) + m)
        return kFar;
    const bool aBelow = a.y <= p.y;
    const bool crosses = aBelow != (b.y <= p.y);
    if (p.x < std::min(a.x, b.x) - m) {
        if (crosses)
            winding += aBelow ? 1 : -1;
        return kFar;
    }
    const double ex = b.x - a.x, ey = b.y - a.y;
    const double cross = ex * (p.y - a.y) - (p.x - a.x) * ey;
    if (std::fabs(cross) <= m * (std::fabs(ex) + std::fabs(ey)))
        return kNear;
    if (crosses) {
        if (aBelow && cross > 0.0)
            ++winding;
        else if (!aBelow && cross < 0.0)
            --winding;
    }
    return kFar;
}

/// Integer count over all edges; falls back to the angle sum near the outline.
bool ScanAll(const kxPoint *v, int n, const kxPoint &p, double m)
{
    int winding = 0;
    for (int i = 0; i < n; ++i)
        if (CountEdge(v[i], v[i + 1 == n ? 0 : i + 1], p, m, winding) == kNear)
            return kxPolygonContainsByAngle(v, n, p);
    return winding != 0;
}

bool UsableScale(double s) { return s >= kMinScale && s <= kMaxScale; }

bool FinitePoint(const kxPoint &p) { return std::isfinite(p.x) && std::isfinite(p.y); }

} // namespace

bool kxPolygonContainsByAngle(const kxPoint *v, int n, const kxPoint &p)
{
    return kxwinding::Contains(
        n, [v](int i) { return v[i]; }, p);
}

bool kxPolygonContains(const kxPoint *v, int n, const kxPoint &p)
{
    if (n <= 0)
        return false;
    const double s = std::max(Scale(v, n), std::max(std::fabs(p.x), std::fabs(p.y)));
    if (!UsableScale(s) || !FinitePoint(p))
        return kxPolygonContainsByAngle(v, n, p);
    return ScanAll(v, n, p, s * kNearFraction);
}

bool kxPolygonContains(const kxPoint *v, int n, const kxPoint &p, double tol, bool &onVertex,
                       bool &onEdge)
{
    return kxwinding::Contains(
        n, [v](int i) { return v[i]; }, p, tol, onVertex, onEdge);
}

bool kxPolygonContains(const kxPoint *v, int n, const kxPoint &p, double tol)
{
    bool onVertex, onEdge;
    return kxPolygonContains(v, n, p, tol, onVertex, onEdge);
}

bool kxPolygonContains(const List<kxPoint> &points, const kxPoint &p)
{
    const std::vector<kxPoint> v = ToVector(points);
    return kxPolygonContains(v.data(), static_cast<int>(v.size()), p);
}

bool kxPolygonContains(const List<kxPoint> &points, const kxPoint &p, double tol)
{
    const std::vector<kxPoint> v = ToVector(points);
    return kxPolygonContains(v.data(), static_cast<int>(v.size()), p, tol);
}

bool kxPolygonContains(const List<kxPoint> &points, const kxPoint &p, double tol, bool &onVertex,
                       bool &onEdge)
{
    const std::vector<kxPoint> v = ToVector(points);
    return kxPolygonContains(v.data(), static_cast<int>(v.size()), p, tol, onVertex, onEdge);
}

// ---------------------------------------------------------------------------------------------
// kxPolygonIndex

void kxPolygonIndex::Build(const kxPoint *v, int n)
{
    v_.assign(v, v + std::max(n, 0));
    binStart_.clear();
    binEdges_.clear();
    spanStart_.clear();
    spans_.clear();
    spanMaxWidth_.clear();
    nbins_ = 0;
    exactOnly_ = true;
    if (v_.empty())
        return;
    const double s = Scale(v, n);
    if (!UsableScale(s))
        return;
    exactOnly_ = false;
    margin_ = s * kNearFraction;
    xmin_ = xmax_ = v[0].x;
    ymin_ = ymax_ = v[0].y;
    for (const kxPoint &q : v_) {
        xmin_ = std::min(xmin_, q.x);
        xmax_ = std::max(xmax_, q.x);
        ymin_ = std::min(ymin_, q.y);
        ymax_ = std::max(ymax_, q.y);
    }
    const double height = ymax_ - ymin_;
    if (n < 4 || !(height > 4.0 * margin_))
        return;

    // Bin b covers the y values that BinOf maps to b. BinOf is monotonic in y, so an edge whose
    // widened y-range [lo, hi] holds p.y is entered in the bin of p.y.
    long bins = std::min<long>(n, 1L << 16);
    auto entries = [&](long nb) {
        const double scale = static_cast<double>(nb) / height;
        long total = 0;
        for (int i = 0; i < n; ++i) {
            const kxPoint &a = v_[i], &b = v_[i + 1 == n ? 0 : i + 1];
            const double lo = std::min(a.y, b.y) - margin_, hi = std::max(a.y, b.y) + margin_;
            total += BinOf(hi, ymin_, scale, nb) - BinOf(lo, ymin_, scale, nb) + 1;
        }
        return total;
    };
    while (bins > 1 && entries(bins) > kMaxBinEntries)
        bins /= 2;
    nbins_ = static_cast<int>(bins);
    binScale_ = static_cast<double>(bins) / height;

    // Within a bin, an edge that crosses the bin's whole height (with margins) is crossed by the
    // ray of every point of the bin; if its part inside the bin is also narrow it goes to the
    // bin's span list, sorted by its left end, so the crossings to the right of a point are a
    // suffix sum. Every other edge overlapping the bin goes to the bin's general list. A point
    // more than a margin left or right of a span's part is at least margin * (bin height /
    // width) from the edge, which the minimum bin height below keeps far above rounding.
    const double width = xmax_ - xmin_;
    const bool useSpans = 1.0 / binScale_ >= kMinSpanBinHeight * width;
    const double wideLimit = width * kMaxSpanWidthFraction;
    std::vector<std::vector<int>> general(static_cast<size_t>(nbins_));
    std::vector<std::vector<Span>> spans(static_cast<size_t>(nbins_));
    for (int i = 0; i < n; ++i) {
        const kxPoint &a = v_[i], &b = v_[i + 1 == n ? 0 : i + 1];
        const double lo = std::min(a.y, b.y), hi = std::max(a.y, b.y);
        const int first = static_cast<int>(BinOf(lo - margin_, ymin_, binScale_, nbins_));
        const int last = static_cast<int>(BinOf(hi + margin_, ymin_, binScale_, nbins_));
        for (int k = first; k <= last; ++k) {
            const double y0 = ymin_ + k / binScale_ - margin_,
                         y1 = ymin_ + (k + 1) / binScale_ + margin_;
            if (useSpans && lo < y0 - margin_ && hi > y1 + margin_) {
                const double slope = (b.x - a.x) / (b.y - a.y);
                const double x0 = a.x + (y0 - a.y) * slope, x1 = a.x + (y1 - a.y) * slope;
                Span sp;
                sp.xl = std::min(x0, x1) - margin_;
                sp.xr = std::max(x0, x1) + margin_;
                sp.edge = i;
                sp.suffix = a.y < b.y ? 1 : -1; // the edge's own crossing, summed below
                if (sp.xr - sp.xl <= wideLimit) {
                    spans[k].push_back(sp);
                    continue;
                }
            }
            general[k].push_back(i);
        }
    }
    binStart_.assign(static_cast<size_t>(nbins_) + 1, 0);
    spanStart_.assign(static_cast<size_t>(nbins_) + 1, 0);
    spanMaxWidth_.assign(static_cast<size_t>(nbins_), 0.0);
    for (int k = 0; k < nbins_; ++k) {
        binEdges_.insert(binEdges_.end(), general[k].begin(), general[k].end());
        binStart_[k + 1] = static_cast<int>(binEdges_.size());
        std::vector<Span> &list = spans[k];
        std::sort(list.begin(), list.end(),
                  [](const Span &x, const Span &y) { return x.xl < y.xl; });
        for (int j = static_cast<int>(list.size()) - 2; j >= 0; --j)
            list[j].suffix += list[j + 1].suffix;
        for (const Span &sp : list)
            spanMaxWidth_[k] = std::max(spanMaxWidth_[k], sp.xr - sp.xl);
        spans_.insert(spans_.end(), list.begin(), list.end());
        spanStart_[k + 1] = static_cast<int>(spans_.size());
    }
}

bool kxPolygonIndex::Contains(const kxPoint &p) const
{
    const int n = Size();
    if (n == 0)
        return false;
    if (exactOnly_ || !FinitePoint(p))
        return kxPolygonContainsByAngle(v_.data(), n, p);
    const double m = margin_;
    if (p.x < xmin_ - m || p.x > xmax_ + m || p.y < ymin_ - m || p.y > ymax_ + m)
        return false;
    if (nbins_ == 0)
        return ScanAll(v_.data(), n, p, m);
    const int bin = static_cast<int>(BinOf(p.y, ymin_, binScale_, nbins_));
    const int *e = binEdges_.data() + binStart_[bin];
    const int *end = binEdges_.data() + binStart_[bin + 1];
    const kxPoint *v = v_.data();
    int winding = 0;
    for (; e != end; ++e) {
        const int i = *e;
        if (CountEdge(v[i], v[i + 1 == n ? 0 : i + 1], p, m, winding) == kNear)
            return kxPolygonContainsByAngle(v, n, p);
    }
    const Span *first = spans_.data() + spanStart_[bin];
    const Span *last = spans_.data() + spanStart_[bin + 1];
    if (first == last)
        return winding != 0;
    // Spans starting right of the point are all crossed; of those starting at or left of it,
    // only the ones reaching the point need a closer look.
    const Span *right =
        std::upper_bound(first, last, p.x, [](double x, const Span &sp) { return x < sp.xl; });
    if (right != last)
        winding += right->suffix;
    const double reach = p.x - spanMaxWidth_[bin];
    for (const Span *sp = right; sp != first;) {
        --sp;
        if (sp->xl < reach)
            break;
        if (sp->xr < p.x)
            continue;
        const int i = sp->edge;
        if (CountEdge(v[i], v[i + 1 == n ? 0 : i + 1], p, m, winding) == kNear)
            return kxPolygonContainsByAngle(v, n, p);
    }
    return winding != 0;
}
