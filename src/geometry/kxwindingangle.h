// kxwindingangle.h - the winding-angle rule over any vertex source: `at(i)` gives vertex i,
// 0 <= i < n. Shared by the array forms of kxPolygonContains and by outlines whose vertices are
// computed rather than stored.
#ifndef KX_GEOMETRY_KXWINDINGANGLE_H
#define KX_GEOMETRY_KXWINDINGANGLE_H

#include "kx/foundation/kxmath.h"
#include "kx/geometry/kxgeomtypes.h"

#include <cmath>

namespace kxwinding {

/// Zero within tol; a negative tol takes the library-wide zero test.
inline bool ZeroWithin(double v, double tol)
{
    return tol < 0.0 ? DoubleIsZero(v) : std::fabs(v) < tol;
}

/// The exact rule: a vertex hit is inside; else |sum of angles| > pi.
template <class VertexAt>
bool Contains(int n, VertexAt at, const kxPoint &p)
{
    double sum = 0.0;
    if (n <= 0)
        return false;
    kxPoint cur = at(0);
    const kxPoint first = cur;
    for (int i = 0; i < n; ++i) {
        const kxPoint next = i + 1 == n ? first : at(i + 1);
        double ax = cur.x - p.x, ay = cur.y - p.y;
        if (ax == 0.0 && ay == 0.0)
            return true;
        const double len = std::hypot(ax, ay);
        ax /= len;
        ay /= len;
        const double bx = next.x - p.x, by = next.y - p.y;
        sum += std::atan2(ay * bx - ax * by, ax * bx + ay * by);
        cur = next;
    }
    return std::fabs(sum) > kxPi;
}

/// The rule with a tolerance and the vertex and edge flags (see kxpolygoncontains.h).
template <class VertexAt>
bool Contains(int n, VertexAt at, const kxPoint &p, double tol, bool &onVertex, bool &onEdge)
{
    onVertex = false;
    onEdge = false;
    if (n <= 0)
        return false;
    double sum = 0.0;
    kxPoint cur = at(0);
    const kxPoint first = cur;
    for (int i = 0; i < n; ++i) {
        const kxPoint next = i + 1 == n ? first : at(i + 1);
        double ax = cur.x - p.x, ay = cur.y - p.y;
        const double len = std::hypot(ax, ay);
        if (len == 0.0 || ZeroWithin(len, tol)) {
            onVertex = true;
            return true;
        }
        ax /= len;
        ay /= len;
        const double bx = next.x - p.x, by = next.y - p.y;
        const double c = ay * bx - ax * by;
        const double dx = ax * bx, dy = ay * by;
        if (ZeroWithin(c, tol) && (dx < 0.0 || ZeroWithin(dx, tol)) &&
            (dy < 0.0 || ZeroWithin(dy, tol))) {
            onEdge = true;
            return true;
        }
        sum += std::atan2(c, dx + dy);
        cur = next;
    }
    return std::fabs(sum) > kxPi;
}

} // namespace kxwinding

#endif
