// kxpolygoncontains.h - point-in-polygon tests: the winding-angle rule with and without a
// tolerance, and a fast exact equivalent (kxPolygonIndex) for shapes that are queried often.
//
// The winding-angle rule. For each edge Pi -> Pi+1 (the last edge closes back to P0), with
// a = Pi - p: a point on a vertex (a exactly zero) is inside; otherwise a is normalised, b =
// Pi+1 - p, and atan2(a.y b.x - a.x b.y, a.x b.x + a.y b.y) is added to a sum. The point is
// inside when |sum| > pi. Either vertex order gives the same answer, and a self-intersecting
// outline counts a point inside wherever its winding number is not zero.
//
// The tolerance form adds two flags. With a = Pi - p: |a| zero within tol marks the point as on
// a vertex (inside). With c the cross term and dx = a.x b.x, dy = a.y b.y the two halves of the
// dot product: c zero within tol, and dx and dy each negative or zero within tol, marks the
// point as on the edge (inside). The halves dx and dy are tested separately, not their sum, on
// purpose. "Zero within tol" is |v| < tol, and for a negative tol |v| < 1.7e-306. An exactly
// zero |a| counts as a vertex for every tol (a tol of 0 would otherwise normalise a null vector).
//
// The fast form. kxPolygonContains(points, p) without a tolerance, and kxPolygonIndex, give the
// same answer as the angle sum but count an integer winding number (crossings of a ray toward
// +x), which needs no trigonometry. Wherever rounding could make the two disagree - the point
// within 1e-9 of the outline's scale (its largest coordinate magnitude) of an edge or vertex,
// coordinates that are not finite, or an outline too large or too small for that margin - the
// angle sum itself decides. kxPolygonIndex keeps a copy of the vertices with edges sorted into
// horizontal bins, so a query visits only the edges near the point's height; in each bin the
// edges crossing its whole height are kept sorted from left to right, so those wholly right of
// the point are counted at once.
//
// Polygons are given as a List<kxPoint> (indices from 1) or as a contiguous array of n points
// (indices from 0). The closing vertex is not repeated.
#ifndef KX_GEOMETRY_KXPOLYGONCONTAINS_H
#define KX_GEOMETRY_KXPOLYGONCONTAINS_H

#include "kx/foundation/kxlist.h"
#include "kx/geometry/kxgeomtypes.h"

#include <vector>

/// The winding-angle rule on a List; an empty list contains nothing.
[[nodiscard]] bool kxPolygonContains(const List<kxPoint> &points, const kxPoint &p);
/// The tolerance form with both flags discarded.
[[nodiscard]] bool kxPolygonContains(const List<kxPoint> &points, const kxPoint &p, double tol);
/// The tolerance form: onVertex or onEdge is set when the point was found on the outline (both
/// are cleared first); the result is true then.
bool kxPolygonContains(const List<kxPoint> &points, const kxPoint &p, double tol, bool &onVertex,
                       bool &onEdge);

/// Array forms of the three functions above: n points at v[0 .. n-1].
[[nodiscard]] bool kxPolygonContains(const kxPoint *v, int n, const kxPoint &p);
[[nodiscard]] bool kxPolygonContains(const kxPoint *v, int n, const kxPoint &p, double tol);
bool kxPolygonContains(const kxPoint *v, int n, const kxPoint &p, double tol, bool &onVertex,
                       bool &onEdge);

/// The angle sum itself, with no shortcut: the reference the fast forms agree with.
[[nodiscard]] bool kxPolygonContainsByAngle(const kxPoint *v, int n, const kxPoint &p);

/// A copy of a polygon's vertices prepared for many exact containment queries.
///
/// Build copies the vertices; Contains(p) then equals kxPolygonContainsByAngle on them. Memory
/// is O(n) for the vertices plus one index per (edge, bin) pair, bounded at build.
class kxPolygonIndex {
public:
    kxPolygonIndex() = default;

    /// Replaces the polygon with the n points at v (n >= 0).
    void Build(const kxPoint *v, int n);
    /// Empties the index (a query then answers false).
    void Clear() { Build(nullptr, 0); }

    /// Same answer as the winding-angle rule on the stored vertices.
    [[nodiscard]] bool Contains(const kxPoint &p) const;

    int Size() const { return static_cast<int>(v_.size()); }
    /// The stored vertices (valid until the next Build).
    const std::vector<kxPoint> &Vertices() const { return v_; }

private:
    std::vector<kxPoint> v_;
    double xmin_ = 0, xmax_ = 0, ymin_ = 0, ymax_ = 0;
    double margin_ = 0;     ///< distance below which the angle sum decides
    bool exactOnly_ = true; ///< outline unsuited to the integer count: always angle sum
    int nbins_ = 0;         ///< 0: every edge is scanned
    double binScale_ = 0;   ///< bins per unit of y
    /// An edge crossing a bin's whole height: its part in the bin spans [xl, xr] (margins
    /// included); suffix is the sum of the crossing directions (+1 up, -1 down) of this span and
    /// those after it in the bin.
    struct Span {
        double xl, xr;
        int edge;
        int suffix;
    };

    std::vector<int> binStart_;        ///< nbins_ + 1 offsets into binEdges_
    std::vector<int> binEdges_;        ///< edge i joins vertex i to vertex i + 1 (mod n)
    std::vector<int> spanStart_;       ///< nbins_ + 1 offsets into spans_
    std::vector<Span> spans_;          ///< per bin, sorted by xl
    std::vector<double> spanMaxWidth_; ///< per bin, the widest span
};

#endif
