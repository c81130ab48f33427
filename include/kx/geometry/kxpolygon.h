// kxpolygon.h - KXPolygon: a polygon given by its vertices in order (CMDPoints, coordinates that
// are parameters). Text form POLYGON(x1,y1,x2,y2,...); a valid polygon has at least three
// points. The last vertex joins the first.
//
// Containment follows the winding-angle rule (kxpolygoncontains.h): either vertex order, and a
// self-intersecting outline contains the points it winds around. The polygon keeps a binned copy
// of its outline, so repeated queries cost about the edges near the point's height. The copy is
// checked at every query: when any point holds a formula every vertex is evaluated and compared
// (so the shape follows its variables); with plain values only, the vertices are read again
// after any change of the list's structure or any write to a coordinate (both are counted, see
// cmdpoint.h), so every query sees the current values. The outline is rebuilt when a vertex has
// moved.
//
// Choices where the behaviour was open:
//   - Expand computes every new vertex from the outline as it stood before the call; when a
//     vertex meets a degenerate or parallel pair of edges the pass stops there and that vertex
//     and the ones after it keep their positions.
//   - setSize leaves the x (or y) coordinates as they are when the current width (or height) is
//     zero, rather than dividing by zero.
//   - "insertpoint" (at) inserts the midpoint of the points before and at `at` (wrapping), so the
//     outline keeps its shape; "removepoint" (at) erases the point at `at`. Positions are from 1.
//   - GetMinLinearDimension is 0.0, on purpose.
#ifndef KX_GEOMETRY_KXPOLYGON_H
#define KX_GEOMETRY_KXPOLYGON_H

#include "kx/geometry/cmdpoint.h"
#include "kx/geometry/kxpolygoncontains.h"
#include "kx/geometry/kxshape.h"

#include <vector>

class KXPolygon : public KXShape {
    KX_DECLARE_CLASS(KXPolygon)
public:
    KXPolygon() : KXShape(kPolygon) { points.SetParent(this); }
    KXPolygon(const KXPolygon &other);
    KXPolygon &operator=(const KXPolygon &other);

    /// Copies other's points into ns (formulas re-bound; null freezes) and binds to ns.
    void CopyFrom(kxNameSpace *ns, const KXPolygon &other);
    /// Appends a plain-valued vertex.
    void AddPoint(double x, double y) { points.append(CMDPoint(x, y)); }
    /// The vertices read now, indexed from 0.
    std::vector<kxPoint> GetVertices() const;

    void OnPublish() override;

    bool operator==(const KXShape &other) const override;
    [[nodiscard]] KXShape *newCopy(kxNameSpace *ns) const override;
    [[nodiscard]] CheckSum GetCheckSum() override;
    KXString getDefString() const override;
    const char *getDefStringComment() const override
    {
        return "point1x, point1y, point2x, point2y, ...";
    }
    [[nodiscard]] bool ParseString(const char *text) override;
    /// Needs a, b and this of the same class with equal vertex counts, else the global error
    /// "Cannot create weighted shape  - incompatible geometry\n" and no change.
    void SetToWeighted(const KXShape &a, const KXShape &b, const WeightType &w) override;
    bool Contains(const kxPoint &p, double tol, bool &onBoundary) const override;
    bool Contains(const kxPoint &p, double tol) const override;
    bool Contains(const kxPoint &p) const override;
    void getSize(double &w, double &h) const override;
    kxRect getBoundingRect() const override;
    [[nodiscard]] kxRect getBoundingRectWithPlacement(const KXPlacement &pl) const override;
    double getBoundingCircle() const override;
    double GetMinLinearDimension() const override { return 0.0; }
    void setSize(double w, double h) override;
    void Expand(double d) override;
    void Contract(double d) override { Expand(-d); }
    [[nodiscard]] KXShape *CreateRotatedShape(double angle) const override;
    bool AreAllParametersValues() const override;

    CMDPointList points;

private:
    /// Reads the vertices and refreshes the index when they changed.
    const kxPolygonIndex &Index() const;

    mutable kxPolygonIndex index_;
    mutable bool indexed_ = false;
    mutable bool indexedFormula_ = false;      ///< some kept point holds a formula
    mutable unsigned long indexedVersion_ = 0; ///< points.Version() when last read
    mutable unsigned long indexedWrites_ = 0;  ///< kxCoordParameter::Writes() when last read
    int npoints_ = 0;                          ///< published copy of the vertex count
};

#endif
