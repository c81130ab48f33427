// kxplanegeom.cpp - plane geometry: lengths, angles, lines, rectangles, polygons and
// intersections (the polygon set operations live in kxpolygonset.cpp).

#include "kx/geometry/kxplanegeom.h"

#include "kx/foundation/kxmath.h"
#include "kx/geometry/kxpolygoncontains.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace {

constexpr double kDegPerRad = 180.0 / kxPi;
/// Slack, relative to the size of the figures, used where a negative tolerance asks for the
/// relative rule in a test of distances.
constexpr double kRelativeSlack = 1e-12;

double Cross(const kxPoint &u, const kxPoint &v) { return u.x * v.y - u.y * v.x; }
double Dot(const kxPoint &u, const kxPoint &v) { return u.x * v.x + u.y * v.y; }
double Length(const kxPoint &u) { return std::hypot(u.x, u.y); }
double Clamp01(double t) { return t < 0.0 ? 0.0 : (t > 1.0 ? 1.0 : t); }
/// Point at parameter t of a + t d, exact at both ends.
kxPoint PointAt(const kxPoint &a, const kxPoint &b, double t)
{
    if (t == 0.0)
        return a;
    if (t == 1.0)
        return b;
    return kxPoint(a.x + t * (b.x - a.x), a.y + t * (b.y - a.y));
}

/// Folds x into (-half, half] for a period of 2 half.
double Fold(double x, double half)
{
    if (!std::isfinite(x))
        return x;
    double r = std::remainder(x, 2.0 * half);
    if (r <= -half)
        r += 2.0 * half;
    else if (r > half)
        r -= 2.0 * half;
    return r;
}

/// Orders one pair of bounds of the box with corners p and q, for both point types.
template <class Point>
void SortBoxCorners(Point &p, Point &q, bool byY)
{
    if (byY) {
        if (p.y > q.y)
            std::swap(p.y, q.y);
    } else if (p.x > q.x) {
        std::swap(p.x, q.x);
    }
}

double Reduce360(double a)
{
    double r = std::fmod(a, 360.0);
    if (r < 0.0)
        r += 360.0;
    return r >= 360.0 ? 0.0 : r;
}

/// A crossing of a line with an edge: its parameter along the line and its point. A clean
/// crossing passes through the inside of one edge, not along it, and changes the winding
/// number by delta (+1 when the line passes the edge from its right to its left).
struct Crossing {
    double t;
    kxPoint p;
    bool clean;
    int delta;
};

/// Largest extent of a bounding rectangle and of the coordinates themselves: the scale of
/// the rounding errors in computations on the figure.
double FigureScale(const kxRect &box)
{
    return std::max({box.GetWidth(), box.GetHeight(), std::fabs(box.left), std::fabs(box.right),
                     std::fabs(box.top), std::fabs(box.bottom)});
}

/// Crossings of the infinite line through a and b with a polygon, as documented for
/// kxIntersectLinePolygon, in increasing t.
std::vector<Crossing> LinePolygonCrossings(const kxPoint &a, const kxPoint &b,
                                           const kxPointVector &poly, double tol)
{
    std::vector<Crossing> out;
    const size_t n = poly.size();
    const kxPoint d = b - a;
    const double dd = Dot(d, d);
    if (n < 3 || dd == 0.0 || !std::isfinite(dd))
        return out;

    const kxRect box = kxGetPolygonBoundingRect(poly);
    const double eps = std::max(tol, kRelativeSlack * std::max(FigureScale(box), Length(a)));

    // The segment A-B of the line covering the polygon's box with room to spare.
    double tMin = DBL_MAX, tMax = -DBL_MAX;
    for (const kxPoint &c :
         {box.GetTopLeft(), box.GetTopRight(), box.GetBottomLeft(), box.GetBottomRight()}) {
        const double t = Dot(c - a, d) / dd;
        tMin = std::min(tMin, t);
        tMax = std::max(tMax, t);
    }
    const double margin = 0.5 * (tMax - tMin) + 1.0;
    const double t0 = tMin - margin, t1 = tMax + margin;
    const kxPoint lineA = a + d * t0, lineB = a + d * t1;

    // Every edge's meeting points; collinear overlaps are also kept as inside intervals.
    std::vector<std::pair<double, double>> onEdges;
    std::vector<Crossing> raw;
    for (size_t i = 0; i < n; ++i) {
        const kxPoint &e1 = poly[i], &e2 = poly[(i + 1) % n];
        kxPoint p1, p2;
        double s1 = 0, s2 = 0;
        const int code = kxIntersectLines(lineA, lineB, e1, e2, p1, p2, s1, s2, eps);
        if (code == kxNoIntersection)
            continue;
        const double u1 = t0 + s1 * (t1 - t0);
        if (!std::isfinite(u1))
            continue; // overflowed coordinates: nothing to order
        if (code == kxOverlapIntersection) {
            const double u2 = t0 + s2 * (t1 - t0);
            if (!std::isfinite(u2))
                continue;
            raw.push_back({u1, p1, false, 0});
            raw.push_back({u2, p2, false, 0});
            onEdges.emplace_back(u1, u2);
            continue;
        }
        const kxPoint e = e2 - e1;
        const double side = Cross(e, d);
        const bool clean =
            s2 > 0.0 && s2 < 1.0 && std::fabs(side) > 1e-9 * Length(e) * std::sqrt(dd);
        raw.push_back({u1, p1, clean, side > 0.0 ? 1 : -1});
    }
    if (raw.empty())
        return out;
    std::sort(raw.begin(), raw.end(),
              [](const Crossing &x, const Crossing &y) { return x.t < y.t; });

    // Merge crossings at the same point (a vertex met by both of its edges, overlap ends);
    // a merged crossing is never clean.
    std::vector<Crossing> merged;
    merged.reserve(raw.size());
    for (const Crossing &c : raw) {
        if (!merged.empty() && Length(c.p - merged.back().p) < eps)
            merged.back().clean = false;
        else
            merged.push_back(c);
    }

    // Keep a crossing only where the line changes between outside and inside. After a clean
    // crossing the winding number follows by its delta; elsewhere the exact containment test
    // decides, and the count is known again once the line is outside.
    auto onEdge = [&](double t) {
        for (const auto &iv : onEdges)
            if (t >= iv.first && t <= iv.second)
                return true;
        return false;
    };
    bool inside = false, known = true;
    int winding = 0;
    for (size_t i = 0; i < merged.size(); ++i) {
        bool after = false;
        if (i + 1 < merged.size()) {
            const double mid = 0.5 * (merged[i].t + merged[i + 1].t);
            if (onEdge(mid)) {
                after = true;
                known = false;
            } else if (known && merged[i].clean) {
                winding += merged[i].delta;
                after = winding != 0;
            } else {
                after = kxPolygonContains(poly.data(), static_cast<int>(n), a + d * mid);
                known = !after;
                winding = 0;
            }
        }
        if (after != inside)
            out.push_back(merged[i]);
        inside = after;
    }
    return out;
}

kxPointVector RectPolygon(const kxRect &r)
{
    return {kxPoint(r.left, r.bottom), kxPoint(r.right, r.bottom), kxPoint(r.right, r.top),
            kxPoint(r.left, r.top)};
}

/// Liang-Barsky clipping of the segment to [xmin, xmax] x [ymin, ymax] (closed); the ends are
/// replaced only where they move.
bool ClipSegment(double xmin, double xmax, double ymin, double ymax, double &x1, double &y1,
                 double &x2, double &y2)
{
    const double dx = x2 - x1, dy = y2 - y1;
    const double p[4] = {-dx, dx, -dy, dy};
    const double q[4] = {x1 - xmin, xmax - x1, y1 - ymin, ymax - y1};
    double tIn = 0.0, tOut = 1.0;
    for (int k = 0; k < 4; ++k) {
        if (p[k] == 0.0) {
            if (q[k] < 0.0)
                return false;
            continue;
        }
        const double r = q[k] / p[k];
        if (p[k] < 0.0) {
            if (r > tOut)
                return false;
            tIn = std::max(tIn, r);
        } else {
            if (r < tIn)
                return false;
            tOut = std::min(tOut, r);
        }
    }
    const double ox = x1, oy = y1;
    if (tIn > 0.0) {
        x1 = ox + tIn * dx;
        y1 = oy + tIn * dy;
    }
    if (tOut < 1.0) {
        x2 = ox + tOut * dx;
        y2 = oy + tOut * dy;
    }
    return true;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Conversions and lengths.

void kxCartesianToPolar(const kxPoint &p, double &r, double &angle)
{
    r = std::sqrt(p.x * p.x + p.y * p.y);
    angle = std::atan2(p.y, p.x);
}

kxPoint kxPolarToCartesian(double r, double angle)
{
    return kxPoint(r * std::cos(angle), r * std::sin(angle));
}

double kxGetVectorLen(double dx, double dy) { return std::sqrt(dx * dx + dy * dy); }
double kxGetDistance(const kxPoint &p) { return kxGetVectorLen(p.x, p.y); }
double kxGetDistance(const kxPoint &p, const kxPoint &q)
{
    return kxGetVectorLen(q.x - p.x, q.y - p.y);
}
double kxGetAngleRadians(const kxPoint &p) { return std::atan2(p.y, p.x); }
double kxGetAngleRadians(const kxPoint &p, const kxPoint &q)
{
    return std::atan2(q.y - p.y, q.x - p.x);
}
double kxGetAngleDegrees(const kxPoint &p) { return kxGetAngleRadians(p) * kDegPerRad; }
double kxGetAngleDegrees(const kxPoint &p, const kxPoint &q)
{
    return kxGetAngleRadians(p, q) * kDegPerRad;
}
double kxGetMidpoint(double a, double b) { return (a + b) / 2.0; }
kxPoint kxGetMidpoint(const kxPoint &a, const kxPoint &b)
{
    return kxPoint((a.x + b.x) / 2.0, (a.y + b.y) / 2.0);
}
kxPoint kxGetVectorMidpoint(const kxPoint &p, const kxPoint &q)
{
    return kxPoint(weightedVal(p.x, q.x, 0.5), weightedVal(p.y, q.y, 0.5));
}

// ---------------------------------------------------------------------------------------------
// Lines by point and angle.

double kxGetDistanceFromLine(const kxPoint &p, const kxPoint &origin, double angle)
{
    const kxPoint v = p - origin;
    return kxGetDistance(v) * std::sin(kxGetAngleRadians(v) - angle);
}

double kxGetDistanceAlongLine(const kxPoint &p, const kxPoint &origin, double angle)
{
    const kxPoint v = p - origin;
    return kxGetDistance(v) * std::cos(kxGetAngleRadians(v) - angle);
}

bool kxIsPointOnLine(const kxPoint &p, const kxPoint &origin, double angle, double tol)
{
    const double v = std::cos(angle) * (p.y - origin.y) - std::sin(angle) * (p.x - origin.x);
    return std::fabs(v) < (tol < 0.0 ? kxDoubleZero : tol);
}

// ---------------------------------------------------------------------------------------------
// Lines by two points.

double kxGetDistanceAlongLine(const kxPoint &p, const kxPoint &a, const kxPoint &b)
{
    const kxPoint d = b - a;
    const double dd = Dot(d, d);
    if (DoubleIsZero(dd))
        return 0.0;
    return Dot(p - a, d) / std::sqrt(dd);
}

kxPoint kxGetNearestPointOnLine(const kxPoint &p, const kxPoint &a, const kxPoint &b)
{
    const kxPoint d = b - a;
    const double dd = Dot(d, d);
    if (DoubleIsZero(dd))
        return a;
    const double t = Dot(p - a, d) / dd;
    if (t < 0.0)
        return a;
    if (t > 1.0)
        return b;
    return a + d * t;
}

bool kxLineIsNearby(const kxPoint &p, const kxPoint &a, const kxPoint &b, double alongTol,
                    double acrossTol)
{
    const kxPoint v = p - a;
    const double dist = kxGetDistance(v);
    const double delta = kxGetAngleRadians(v) - kxGetAngleRadians(b - a);
    const double along = dist * std::cos(delta);
    const double across = dist * std::sin(delta);
    return along >= -alongTol && along <= kxGetDistance(a, b) + alongTol &&
           std::fabs(across) <= acrossTol;
}

// ---------------------------------------------------------------------------------------------
// Rotation.

kxPoint kxRotateRadians(const kxPoint &p, double angle)
{
    double r = 0, a = 0;
    kxCartesianToPolar(p, r, a);
    return kxPolarToCartesian(r, a + angle);
}

kxPoint kxRotateDegrees(const kxPoint &p, double angle)
{
    return kxRotateRadians(p, angle / kDegPerRad);
}

void kxRotateAroundPoint(const kxPoint &centre, kxPoint &p, double angle)
{
    p = centre + kxRotateRadians(p - centre, angle);
}

// ---------------------------------------------------------------------------------------------
// Angles.

double kxGetMeanDegrees(double a, double b)
{
    a = Reduce360(a);
    b = Reduce360(b);
    const double hi = std::max(a, b), lo = std::min(a, b);
    if (hi - lo < 180.0)
        return (hi + lo) / 2.0;
    const double mean = (hi + lo - 360.0) / 2.0;
    return mean < 0.0 ? mean + 360.0 : mean;
}

double kxLimitAngle(double angle) { return Fold(angle, kxPi); }
double kxLimitAngleDegrees(double angle) { return Fold(angle, 180.0); }

double kxGetAngleDifferenceRadians(double a, double b)
{
    return kxLimitAngle(kxLimitAngle(b) - kxLimitAngle(a));
}

double kxGetAngleDifferenceDegrees(double a, double b)
{
    return kxLimitAngleDegrees(kxLimitAngleDegrees(b) - kxLimitAngleDegrees(a));
}

// ---------------------------------------------------------------------------------------------
// Curves.

double kxGetEllipseCircumference(double a, double b)
{
    if (a < 0.0 || b < 0.0)
        return 0.0;
    return kxPi * (3.0 * (a + b) - std::sqrt((3.0 * b + a) * (3.0 * a + b)));
}

double kxGetArcApproximationAngle(double r)
{
    if (!(r > 0.0) || !std::isfinite(r))
        return kxPi / 2.0;
    return std::sqrt(1.0 / r);
}

// ---------------------------------------------------------------------------------------------
// Rectangles.

void kxGrowRect(kxRect &rect, double dx, double dy)
{
    rect.left -= dx;
    rect.right += dx;
    rect.top += dy;
    rect.bottom -= dy;
}

void kxGrowRect(kxRect &rect, double d) { kxGrowRect(rect, d, d); }
void kxDisplaceRect(kxRect &rect, const kxPoint &offset)
{
    kxDisplaceRect(rect, offset.x, offset.y);
}

void kxDisplaceRect(kxRect &rect, double dx, double dy)
{
    rect.left += dx;
    rect.right += dx;
    rect.top += dy;
    rect.bottom += dy;
}

kxRect kxGetDisplacedRect(const kxRect &rect, const kxPoint &offset)
{
    return kxGetDisplacedRect(rect, offset.x, offset.y);
}

kxRect kxGetDisplacedRect(const kxRect &rect, double dx, double dy)
{
    kxRect moved = rect;
    kxDisplaceRect(moved, dx, dy);
    return moved;
}

bool kxIsPointInRect(const kxRect &rect, double x, double y)
{
    return rect.left <= x && x < rect.right && rect.bottom <= y && y < rect.top;
}

bool kxIsPointInRect(const kxRect &rect, const kxPoint &p)
{
    return kxIsPointInRect(rect, p.x, p.y);
}

bool kxIsPointInRect(const kxRect &rect, double x, double y, double tol)
{
    if (tol < 0.0)
        return kxIsPointInRect(rect, x, y);
    kxRect grown = rect;
    kxGrowRect(grown, tol);
    return kxIsPointInRect(grown, x, y);
}

bool kxIsPointInRect(const kxRect &rect, const kxPoint &p, double tol)
{
    return kxIsPointInRect(rect, p.x, p.y, tol);
}

bool kxRangesCollide(double a1, double a2, double b1, double b2)
{
    auto in = [](double v, double lo, double hi) { return lo <= v && v <= hi; };
    return in(a1, b1, b2) || in(a2, b1, b2) || in(b1, a1, a2) || in(b2, a1, a2);
}

bool kxRectsCollide(const kxRect &r, const kxRect &s)
{
    return kxRangesCollide(r.left, r.right, s.left, s.right) &&
           kxRangesCollide(r.bottom, r.top, s.bottom, s.top);
}

bool kxRectIsEnclosed(const kxRect &inner, const kxRect &outer)
{
    return inner.left >= outer.left && outer.right >= inner.right && outer.top >= inner.top &&
           inner.bottom >= outer.bottom;
}

bool kxIntersectRects(kxRect &result, const kxRect &r, const kxRect &s)
{
    const kxRect common(std::max(r.left, s.left), std::min(r.top, s.top),
                        std::min(r.right, s.right), std::max(r.bottom, s.bottom));
    if (common.left > common.right || common.bottom > common.top)
        return false;
    result = common;
    return true;
}

kxRect kxGetEmptyRect() { return kxRect(DBL_MAX, -DBL_MAX, -DBL_MAX, DBL_MAX); }

void kxAccumulateRect(kxRect &acc, const kxRect &r)
{
    if (r.IsInverted())
        return;
    if (acc.IsInverted()) {
        acc = r;
        return;
    }
    kxAccumulateRectBasic(acc, r);
}

void kxAccumulateRectBasic(kxRect &acc, const kxRect &r)
{
    acc.left = std::min(acc.left, r.left);
    acc.right = std::max(acc.right, r.right);
    acc.top = std::max(acc.top, r.top);
    acc.bottom = std::min(acc.bottom, r.bottom);
}

bool kxLimitLineToRect(const kxRect &rect, double &x1, double &y1, double &x2, double &y2)
{
    return ClipSegment(rect.left, rect.right, rect.bottom, rect.top, x1, y1, x2, y2);
}

bool kxLimitLineToRect(const kxRect &rect, kxPoint &p1, kxPoint &p2)
{
    return kxLimitLineToRect(rect, p1.x, p1.y, p2.x, p2.y);
}

bool kxIsLineInRect(const kxRect &rect, double x1, double y1, double x2, double y2)
{
    return kxLimitLineToRect(rect, x1, y1, x2, y2);
}

// ---------------------------------------------------------------------------------------------
// Ordering.

void kxSortPoints(kxPoint &p, kxPoint &q, bool byY) { SortBoxCorners(p, q, byY); }

// ---------------------------------------------------------------------------------------------
// Polygons.

kxRect kxGetPolygonBoundingRect(const kxPointVector &points)
{
    if (points.empty())
        return kxRect();
    kxRect box(points[0].x, points[0].y, points[0].x, points[0].y);
    for (const kxPoint &p : points) {
        box.left = std::min(box.left, p.x);
        box.right = std::max(box.right, p.x);
        box.top = std::max(box.top, p.y);
        box.bottom = std::min(box.bottom, p.y);
    }
    return box;
}

double kxGetPolygonSignedArea2(const kxPointVector &points)
{
    const size_t n = points.size();
    if (n < 3)
        return 0.0;
    // Relative to the first vertex, which keeps the sum accurate far from the origin.
    double sum = 0.0;
    for (size_t i = 1; i + 1 < n; ++i)
        sum += Cross(points[i] - points[0], points[i + 1] - points[0]);
    return sum;
}

bool kxCheckPolygonVerticesAntiClockwise(const kxPointVector &points)
{
    return kxGetPolygonSignedArea2(points) > 0.0;
}

bool kxCheckPolygonEdgesIntersect(const kxPointVector &points)
{
    // Repeated vertices make zero-length edges, which are dropped first.
    kxPointVector v;
    v.reserve(points.size());
    for (const kxPoint &p : points)
        if (v.empty() || p != v.back())
            v.push_back(p);
    while (v.size() > 1 && v.front() == v.back())
        v.pop_back();
    const size_t n = v.size();
    if (n < 3)
        return false;

    std::vector<kxRect> boxes(n);
    for (size_t i = 0; i < n; ++i)
        boxes[i] = kxGetPolygonBoundingRect({v[i], v[(i + 1) % n]});
    for (size_t i = 0; i < n; ++i) {
        for (size_t j = i + 1; j < n; ++j) {
            if (!kxRectsCollide(boxes[i], boxes[j]))
                continue;
            kxPoint p1, p2;
            double t1 = 0, t2 = 0;
            const int code =
                kxIntersectLines(v[i], v[(i + 1) % n], v[j], v[(j + 1) % n], p1, p2, t1, t2, -1.0);
            const bool neighbours = j == i + 1 || (i == 0 && j == n - 1);
            if (code == kxOverlapIntersection || (code == kxOneIntersection && !neighbours))
                return true;
        }
    }
    return false;
}

kxPointVector kxToPointVector(const List<kxPoint> &points)
{
    kxPointVector v;
    v.reserve(static_cast<size_t>(points.size()));
    for (int i = 1; i <= points.size(); ++i)
        v.push_back(points[i]);
    return v;
}

kxRect kxGetPolygonBoundingRect(const List<kxPoint> &points)
{
    return kxGetPolygonBoundingRect(kxToPointVector(points));
}

bool kxCheckPolygonVerticesAntiClockwise(const List<kxPoint> &points)
{
    return kxCheckPolygonVerticesAntiClockwise(kxToPointVector(points));
}

bool kxCheckPolygonEdgesIntersect(const List<kxPoint> &points)
{
    return kxCheckPolygonEdgesIntersect(kxToPointVector(points));
}

// ---------------------------------------------------------------------------------------------
// Intersections.

bool kxIntersectLines(const kxPoint &p, double angleP, const kxPoint &q, double angleQ,
                      kxPoint &result)
{
    const kxPoint dp(std::cos(angleP), std::sin(angleP));
    const kxPoint dq(std::cos(angleQ), std::sin(angleQ));
    // Unit directions: an absolute bound on the cross product is a relative one.
    const double denom = Cross(dp, dq);
    if (std::fabs(denom) < 2e-14)
        return false;
    const double t = Cross(q - p, dq) / denom;
    result = p + dp * t;
    return true;
}

int kxIntersectLines(const kxPoint &a1, const kxPoint &a2, const kxPoint &b1, const kxPoint &b2,
                     kxPoint &p1, kxPoint &p2, double &t1, double &t2, double tol)
{
    const kxPoint d1 = a2 - a1, d2 = b2 - b1, w = b1 - a1;
    const double len1 = Length(d1), len2 = Length(d2);
    const double eps = tol >= 0.0 ? tol : kRelativeSlack * std::max(len1, len2);

    if (len1 == 0.0 || len2 == 0.0) {
        // A point against a segment (or a point).
        const bool aIsPoint = len1 == 0.0;
        const kxPoint &pt = aIsPoint ? a1 : b1;
        const kxPoint &s1 = aIsPoint ? b1 : a1, &s2 = aIsPoint ? b2 : a2;
        const kxPoint nearest = kxGetNearestPointOnLine(pt, s1, s2);
        const double dist = Length(pt - nearest);
        if (!(dist <= eps))
            return kxNoIntersection;
        const double ss = Dot(s2 - s1, s2 - s1);
        const double along = ss == 0.0 ? 0.0 : Clamp01(Dot(pt - s1, s2 - s1) / ss);
        p1 = pt;
        t1 = aIsPoint ? 0.0 : along;
        t2 = aIsPoint ? along : 0.0;
        return kxOneIntersection;
    }

    const double crossB1 = Cross(d1, w), crossB2 = Cross(d1, b2 - a1);
    if (std::fabs(crossB1) <= eps * len1 && std::fabs(crossB2) <= eps * len1) {
        // Collinear within tol: the overlap of the projections of b onto a.
        const double dd1 = Dot(d1, d1);
        const double s1 = Dot(w, d1) / dd1, s2 = Dot(b2 - a1, d1) / dd1;
        const double lo = std::max(0.0, std::min(s1, s2)), hi = std::min(1.0, std::max(s1, s2));
        const double epsT = eps / len1;
        if (lo > hi + epsT)
            return kxNoIntersection;
        if (hi <= lo || (hi - lo) * len1 <= eps) {
            t1 = Clamp01(0.5 * (lo + hi));
            p1 = PointAt(a1, a2, t1);
            t2 = Clamp01(Dot(p1 - b1, d2) / Dot(d2, d2));
            return kxOneIntersection;
        }
        t1 = lo;
        t2 = hi;
        p1 = PointAt(a1, a2, lo);
        p2 = PointAt(a1, a2, hi);
        return kxOverlapIntersection;
    }

    const double denom = Cross(d1, d2);
    if (denom == 0.0)
        return kxNoIntersection; // parallel and apart
    const double ta = Cross(w, d2) / denom, tb = Cross(w, d1) / denom;
    const double slackA = eps / len1, slackB = eps / len2;
    if (!(ta >= -slackA && ta <= 1.0 + slackA && tb >= -slackB && tb <= 1.0 + slackB))
        return kxNoIntersection;
    t1 = Clamp01(ta);
    t2 = Clamp01(tb);
    // Exact ends where the crossing is at an end of either segment.
    if (t2 == 0.0 || t2 == 1.0)
        p1 = t2 == 0.0 ? b1 : b2;
    else
        p1 = PointAt(a1, a2, t1);
    return kxOneIntersection;
}

bool kxIntersectLines(const kxPoint &a1, const kxPoint &a2, const kxPoint &b1, const kxPoint &b2,
                      kxPoint &result, double tol)
{
    if (DoublesAreEqual((b2.y - b1.y) * (a2.x - a1.x), (a2.y - a1.y) * (b2.x - b1.x)))
        return false;
    kxPoint p1, p2;
    double t1 = 0, t2 = 0;
    if (kxIntersectLines(a1, a2, b1, b2, p1, p2, t1, t2, tol) != kxOneIntersection)
        return false;
    result = p1;
    return true;
}

int kxIntersectLineCircle(const kxPoint &p, double angle, const kxPoint &centre, double radius,
                          kxPoint &r1, kxPoint &r2)
{
    return kxIntersectLineEllipse(p, angle, centre, radius, radius, r1, r2);
}

int kxIntersectLineEllipse(const kxPoint &p, double angle, const kxPoint &centre, double a,
                           double b, kxPoint &r1, kxPoint &r2)
{
    if (!(a > 0.0) || !(b > 0.0))
        return 0;
    // In coordinates scaled so that the ellipse is the unit circle: |w + t d|^2 = 1.
    const kxPoint dir(std::cos(angle), std::sin(angle));
    const kxPoint w((p.x - centre.x) / a, (p.y - centre.y) / b);
    const kxPoint d(dir.x / a, dir.y / b);
    const double A = Dot(d, d), B = Dot(w, d), W = Dot(w, w);
    // disc = B^2 - A (W - 1), compared term by term so that a tangent is found reliably.
    if (DoublesAreEqual(B * B + A, A * W)) {
        r1 = p + dir * (-B / A);
        return 1;
    }
    const double disc = B * B + A - A * W;
    if (disc < 0.0)
        return 0;
    const double root = std::sqrt(disc);
    r1 = p + dir * ((-B - root) / A);
    r2 = p + dir * ((-B + root) / A);
    return 2;
}

bool kxIntersectLineCurve(kxPoint &result, const kxPoint &a, const kxPoint &b,
                          const std::function<double(double)> &f, double tol)
{
    if (!f)
        return false;
    const kxPoint d = b - a;
    const double len = Length(d);
    auto gap = [&](double t) {
        const kxPoint p = a + d * t;
        return f(p.x) - p.y;
    };
    if (len == 0.0) {
        const double g = gap(0.0);
        if (std::isfinite(g) && std::fabs(g) <= std::max(tol, 0.0)) {
            result = a;
            return true;
        }
        return false;
    }
    const double tolT = (tol > 0.0 ? tol : kRelativeSlack * len) / len;
    constexpr int steps = 256;
    double tPrev = 0.0, gPrev = gap(0.0);
    for (int i = 0; i <= steps; ++i) {
        const double t = static_cast<double>(i) / steps;
        const double g = i == 0 ? gPrev : gap(t);
        if (!std::isfinite(g)) {
            gPrev = g;
            tPrev = t;
            continue;
        }
        if (g == 0.0) {
            result = PointAt(a, b, t);
            return true;
        }
        if (i > 0 && std::isfinite(gPrev) && (gPrev < 0.0) != (g < 0.0)) {
            double lo = tPrev, hi = t, gLo = gPrev;
            for (int k = 0; k < 200 && hi - lo > tolT; ++k) {
                const double mid = 0.5 * (lo + hi);
                const double gMid = gap(mid);
                if (!std::isfinite(gMid))
                    break;
                if ((gMid < 0.0) == (gLo < 0.0)) {
                    lo = mid;
                    gLo = gMid;
                } else {
                    hi = mid;
                }
            }
            result = PointAt(a, b, 0.5 * (lo + hi));
            return true;
        }
        gPrev = g;
        tPrev = t;
    }
    return false;
}

int kxIntersectLinePolygon(std::vector<double> &crossings, const kxPoint &a, const kxPoint &b,
                           const kxPointVector &polygon, double tol)
{
    crossings.clear();
    for (const Crossing &c : LinePolygonCrossings(a, b, polygon, tol))
        crossings.push_back(c.t);
    return static_cast<int>(crossings.size());
}

int kxIntersectLinePolygon(kxPointVector &crossings, const kxPoint &a, const kxPoint &b,
                           const kxPointVector &polygon, double tol)
{
    crossings.clear();
    for (const Crossing &c : LinePolygonCrossings(a, b, polygon, tol))
        crossings.push_back(c.p);
    return static_cast<int>(crossings.size());
}

int kxIntersectLinePolygon(List<double> &crossings, const kxPoint &a, const kxPoint &b,
                           const List<kxPoint> &polygon, double tol)
{
    crossings.unalloc();
    for (const Crossing &c : LinePolygonCrossings(a, b, kxToPointVector(polygon), tol))
        crossings.append(c.t);
    return crossings.size();
}

int kxIntersectLinePolygon(List<kxPoint> &crossings, const kxPoint &a, const kxPoint &b,
                           const List<kxPoint> &polygon, double tol)
{
    crossings.unalloc();
    for (const Crossing &c : LinePolygonCrossings(a, b, kxToPointVector(polygon), tol))
        crossings.append(c.p);
    return crossings.size();
}

int kxIntersectLineRect(std::vector<double> &crossings, const kxPoint &a, const kxPoint &b,
                        const kxRect &rect, double tol)
{
    return kxIntersectLinePolygon(crossings, a, b, RectPolygon(rect), tol);
}

int kxIntersectLineRect(kxPointVector &crossings, const kxPoint &a, const kxPoint &b,
                        const kxRect &rect, double tol)
{
    return kxIntersectLinePolygon(crossings, a, b, RectPolygon(rect), tol);
}

// ---------------------------------------------------------------------------------------------
// Integer twins (screen layout).

void kxGrowRect(kxIntRect &rect, int dx, int dy)
{
    rect.x -= dx;
    rect.width += 2 * dx;
    rect.y -= dy;
    rect.height += 2 * dy;
}

void kxGrowRect(kxIntRect &rect, int d) { kxGrowRect(rect, d, d); }
void kxDisplaceRect(kxIntRect &rect, const kxIntPoint &offset)
{
    kxDisplaceRect(rect, offset.x, offset.y);
}

void kxDisplaceRect(kxIntRect &rect, int dx, int dy)
{
    rect.x += dx;
    rect.y += dy;
}

kxIntRect kxGetDisplacedRect(const kxIntRect &rect, const kxIntPoint &offset)
{
    return kxGetDisplacedRect(rect, offset.x, offset.y);
}

kxIntRect kxGetDisplacedRect(const kxIntRect &rect, int dx, int dy)
{
    return kxIntRect(rect.x + dx, rect.y + dy, rect.width, rect.height);
}

bool kxIsPointInRect(const kxIntRect &rect, int x, int y)
{
    return rect.x <= x && x < rect.GetRightEnd() && rect.y <= y && y < rect.GetBottomEnd();
}

bool kxIsPointInRect(const kxIntRect &rect, const kxIntPoint &p)
{
    return kxIsPointInRect(rect, p.x, p.y);
}

bool kxIsPointInRect(const kxIntRect &rect, int x, int y, int tol)
{
    if (tol < 0)
        return kxIsPointInRect(rect, x, y);
    kxIntRect grown = rect;
    kxGrowRect(grown, tol);
    return kxIsPointInRect(grown, x, y);
}

bool kxIsPointInRect(const kxIntRect &rect, const kxIntPoint &p, int tol)
{
    return kxIsPointInRect(rect, p.x, p.y, tol);
}

bool kxRectsCollide(const kxIntRect &r, const kxIntRect &s)
{
    if (r.width <= 0 || r.height <= 0 || s.width <= 0 || s.height <= 0)
        return false;
    return kxRangesCollide(r.x, r.GetRightEnd() - 1, s.x, s.GetRightEnd() - 1) &&
           kxRangesCollide(r.y, r.GetBottomEnd() - 1, s.y, s.GetBottomEnd() - 1);
}

bool kxRectIsEnclosed(const kxIntRect &inner, const kxIntRect &outer)
{
    return inner.x >= outer.x && outer.GetRightEnd() >= inner.GetRightEnd() && inner.y >= outer.y &&
           outer.GetBottomEnd() >= inner.GetBottomEnd();
}

bool kxIntersectRects(kxIntRect &result, const kxIntRect &r, const kxIntRect &s)
{
    const int x = std::max(r.x, s.x), y = std::max(r.y, s.y);
    const int xEnd = std::min(r.GetRightEnd(), s.GetRightEnd());
    const int yEnd = std::min(r.GetBottomEnd(), s.GetBottomEnd());
    if (xEnd <= x || yEnd <= y)
        return false;
    result = kxIntRect(x, y, xEnd - x, yEnd - y);
    return true;
}

void kxAccumulateRect(kxIntRect &acc, const kxIntRect &r)
{
    if (r.width <= 0 || r.height <= 0)
        return;
    if (acc.width <= 0 || acc.height <= 0) {
        acc = r;
        return;
    }
    kxAccumulateRectBasic(acc, r);
}

void kxAccumulateRectBasic(kxIntRect &acc, const kxIntRect &r)
{
    const int x = std::min(acc.x, r.x), y = std::min(acc.y, r.y);
    const int xEnd = std::max(acc.GetRightEnd(), r.GetRightEnd());
    const int yEnd = std::max(acc.GetBottomEnd(), r.GetBottomEnd());
    acc = kxIntRect(x, y, xEnd - x, yEnd - y);
}

bool kxLimitLineToRect(const kxIntRect &rect, int &x1, int &y1, int &x2, int &y2)
{
    if (rect.width <= 0 || rect.height <= 0)
        return false;
    double fx1 = x1, fy1 = y1, fx2 = x2, fy2 = y2;
    if (!ClipSegment(rect.x, rect.GetRightEnd() - 1.0, rect.y, rect.GetBottomEnd() - 1.0, fx1, fy1,
                     fx2, fy2))
        return false;
    x1 = kxRoundDoubleToNearestInt(fx1);
    y1 = kxRoundDoubleToNearestInt(fy1);
    x2 = kxRoundDoubleToNearestInt(fx2);
    y2 = kxRoundDoubleToNearestInt(fy2);
    return true;
}

bool kxLimitLineToRect(const kxIntRect &rect, kxIntPoint &p1, kxIntPoint &p2)
{
    return kxLimitLineToRect(rect, p1.x, p1.y, p2.x, p2.y);
}

bool kxIsLineInRect(const kxIntRect &rect, int x1, int y1, int x2, int y2)
{
    return kxLimitLineToRect(rect, x1, y1, x2, y2);
}

void kxSortPoints(kxIntPoint &p, kxIntPoint &q, bool byY) { SortBoxCorners(p, q, byY); }
