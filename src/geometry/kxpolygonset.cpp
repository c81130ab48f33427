// kxpolygonset.cpp - polygon set operations (union, difference, intersection, splitting) on
// the Clipper library: snap to an integer grid, clip there, convert back.
#define KX_UNIT "kxpolygonset"

#include "kx/geometry/kxpolygonset.h"

#include "kx/foundation/kxerror.h"

#include <polyclipping/clipper.hpp>

#include <algorithm>
#include <cmath>
#include <exception>

namespace {

using ClipperLib::cInt;
using ClipperLib::IntPoint;
using ClipperLib::Path;
using ClipperLib::Paths;

constexpr double kDefaultPitch = 1e-6; // microns, when the tolerance is not positive
/// Largest grid coordinate allowed; Clipper accepts up to about 4.6e18.
constexpr double kMaxGridCoord = 1e18;

/// The grid on which a set operation runs.
struct Grid {
    double pitch;
    double inverse;
};

/// Largest finite coordinate magnitude of the sets' vertices (0 when there are none).
double MaxAbsCoordinate(std::initializer_list<const kxPolygonSet *> sets)
{
    double m = 0.0;
    for (const kxPolygonSet *set : sets)
        for (const kxPointVector &poly : *set)
            for (const kxPoint &p : poly)
                if (std::isfinite(p.x) && std::isfinite(p.y))
                    m = std::max({m, std::fabs(p.x), std::fabs(p.y)});
    return m;
}

Grid MakeGrid(double tol, double maxAbs)
{
    double pitch = tol > 0.0 ? tol : kDefaultPitch;
    if (maxAbs / pitch > kMaxGridCoord)
        pitch = maxAbs / kMaxGridCoord;
    return Grid{pitch, 1.0 / pitch};
}

/// One contour snapped to the grid with repeated vertices removed; empty when the contour has
/// fewer than three vertices, a non-finite coordinate or no area on the grid.
Path ToGrid(const kxPointVector &poly, const Grid &grid)
{
    Path path;
    if (poly.size() < 3)
        return path;
    path.reserve(poly.size());
    for (const kxPoint &p : poly) {
        if (!std::isfinite(p.x) || !std::isfinite(p.y))
            return Path();
        const IntPoint q(static_cast<cInt>(std::llrint(p.x * grid.inverse)),
                         static_cast<cInt>(std::llrint(p.y * grid.inverse)));
        if (path.empty() || !(path.back() == q))
            path.push_back(q);
    }
    while (path.size() > 1 && path.front() == path.back())
        path.pop_back();
    if (path.size() < 3 || ClipperLib::Area(path) == 0.0)
        return Path();
    return path;
}

/// A whole set on the grid, reversed when its signed area is negative so that a lone
/// clockwise polygon fills as an anticlockwise one does.
Paths SetToGrid(const kxPolygonSet &set, const Grid &grid)
{
    Paths paths;
    paths.reserve(set.size());
    double area = 0.0;
    for (const kxPointVector &poly : set) {
        Path path = ToGrid(poly, grid);
        if (path.empty())
            continue;
        area += ClipperLib::Area(path);
        paths.push_back(std::move(path));
    }
    if (area < 0.0)
        for (Path &path : paths)
            std::reverse(path.begin(), path.end());
    return paths;
}

/// A contour back in microns, repeated vertices merged (distinct grid points are at least one
/// pitch apart, so these are the only vertices closer than the pitch).
void AppendContour(kxPolygonSet &out, const Path &path, const Grid &grid)
{
    kxPointVector poly;
    poly.reserve(path.size());
    const IntPoint *prev = nullptr;
    for (const IntPoint &q : path) {
        if (prev && *prev == q)
            continue;
        poly.emplace_back(static_cast<double>(q.X) * grid.pitch,
                          static_cast<double>(q.Y) * grid.pitch);
        prev = &q;
    }
    while (poly.size() > 1 && poly.front() == poly.back())
        poly.pop_back();
    if (poly.size() >= 3)
        out.push_back(std::move(poly));
}

/// Outer contour, then its holes, then the islands in those holes, recursively.
void AppendOuter(kxPolygonSet &out, const ClipperLib::PolyNode &outer, const Grid &grid)
{
    AppendContour(out, outer.Contour, grid);
    for (const ClipperLib::PolyNode *hole : outer.Childs)
        AppendContour(out, hole->Contour, grid);
    for (const ClipperLib::PolyNode *hole : outer.Childs)
        for (const ClipperLib::PolyNode *island : hole->Childs)
            AppendOuter(out, *island, grid);
}

/// Runs one Clipper operation on grid paths and converts the tree back into `result`.
bool Execute(kxPolygonSet &result, ClipperLib::ClipType op, const Paths &subject, const Paths &clip,
             const Grid &grid)
{
    result.clear();
    if (subject.empty() && clip.empty())
        return true; // Clipper refuses to run on nothing
    ClipperLib::PolyTree tree;
    try {
        ClipperLib::Clipper clipper;
        clipper.AddPaths(subject, ClipperLib::ptSubject, true);
        clipper.AddPaths(clip, ClipperLib::ptClip, true);
        if (!clipper.Execute(op, tree, ClipperLib::pftNonZero, ClipperLib::pftNonZero)) {
            KX_CODE_ERROR("polygon clipping failed");
            return false;
        }
    } catch (const std::exception &e) {
        KX_CODE_ERROR(e.what());
        return false;
    } catch (...) {
        KX_CODE_ERROR("polygon clipping failed");
        return false;
    }
    for (const ClipperLib::PolyNode *outer : tree.Childs)
        AppendOuter(result, *outer, grid);
    return true;
}

bool Operate(kxPolygonSet &result, ClipperLib::ClipType op, const kxPolygonSet &a,
             const kxPolygonSet &b, double tol)
{
    const Grid grid = MakeGrid(tol, MaxAbsCoordinate({&a, &b}));
    const Paths subject = SetToGrid(a, grid);
    const Paths clip = SetToGrid(b, grid);
    return Execute(result, op, subject, clip, grid);
}

kxPointVector RectContour(const kxRect &r)
{
    return {kxPoint(r.left, r.bottom), kxPoint(r.right, r.bottom), kxPoint(r.right, r.top),
            kxPoint(r.left, r.top)};
}

} // namespace

bool kxAddPolygons(kxPolygonSet &result, const kxPolygonSet &a, const kxPolygonSet &b, double tol)
{
    return Operate(result, ClipperLib::ctUnion, a, b, tol);
}

bool kxAddPolygons(kxPolygonSet &result, const kxPolygonSet &a, double tol)
{
    return Operate(result, ClipperLib::ctUnion, a, kxPolygonSet(), tol);
}

bool kxSubtractPolygons(kxPolygonSet &result, const kxPolygonSet &a, const kxPolygonSet &b,
                        double tol)
{
    return Operate(result, ClipperLib::ctDifference, a, b, tol);
}

bool kxIntersectPolygons(kxPolygonSet &result, const kxPolygonSet &a, const kxPolygonSet &b,
                         double tol)
{
    return Operate(result, ClipperLib::ctIntersection, a, b, tol);
}

bool kxIntersectPolygonRect(kxPolygonSet &result, const kxPolygonSet &a, const kxRect &rect,
                            double tol)
{
    if (rect.IsInverted()) {
        result.clear();
        return true;
    }
    return Operate(result, ClipperLib::ctIntersection, a, kxPolygonSet{RectContour(rect)}, tol);
}

bool kxSplitPolygons(kxPolygonSet &below, kxPolygonSet &above, const kxPolygonSet &a,
                     kxSplitDirection direction, double position, double tol)
{
    // Two half-planes, cut to the set's box grown by a margin so that every edge of the box
    // rectangles lies outside the set except the cutting line.
    kxRect box = kxGetEmptyRect();
    for (const kxPointVector &poly : a)
        for (const kxPoint &p : poly)
            if (std::isfinite(p.x) && std::isfinite(p.y))
                kxAccumulateRectBasic(box, kxRect(p.x, p.y, p.x, p.y));
    if (box.IsInverted() || std::isnan(position)) {
        below.clear();
        above.clear();
        return true;
    }
    kxGrowRect(box, std::max(box.GetWidth(), box.GetHeight()) + 1.0);
    kxRect low = box, high = box;
    if (direction == kxSplitAlongX) {
        low.top = std::min(position, box.top);
        high.bottom = std::max(position, box.bottom);
    } else {
        low.right = std::min(position, box.right);
        high.left = std::max(position, box.left);
    }
    kxPolygonSet lowPart, highPart;
    const bool ok = kxIntersectPolygonRect(lowPart, a, low, tol) &&
                    kxIntersectPolygonRect(highPart, a, high, tol);
    below = std::move(lowPart);
    above = std::move(highPart);
    return ok;
}

double kxGetPolygonSetArea(const kxPolygonSet &set)
{
    double sum = 0.0;
    for (const kxPointVector &poly : set)
        sum += kxGetPolygonSignedArea2(poly);
    return 0.5 * sum;
}
