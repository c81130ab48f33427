// kxregularpolygon.h - KXRegularPolygon: n vertices on the ellipse of the given width and height
// centred on the origin, the first at `angle` degrees from the x axis: vertex k at
// ((width/2) cos t, (height/2) sin t), t = angle pi/180 + k 2pi/n. Text form
// REGPOLY(numvertices,angle,width,height); ParseShape starts from 8 vertices.
//
// Fewer than 3 vertices contain nothing. Containment reads the four parameters at each call and
// keeps the vertices and a binned index while they stay the same. Outlines of more than 2^20
// vertices are not kept: they are answered by the angle sum directly, vertex by vertex.
//
// SetToWeighted blends the angle by the overall weight, the width by the x weight and the
// height by the y weight, and keeps the vertex count; there is no compatibility test and no
// error, but a blend partner that is not a regular polygon leaves this shape unchanged.
#ifndef KX_GEOMETRY_KXREGULARPOLYGON_H
#define KX_GEOMETRY_KXREGULARPOLYGON_H

#include "kx/expressions/kxparameter.h"
#include "kx/geometry/kxpolygoncontains.h"
#include "kx/geometry/kxshape.h"

#include <vector>

class KXRegularPolygon : public KXShape {
    KX_DECLARE_CLASS(KXRegularPolygon)
public:
    /// A regular polygon of n vertices, angle 0, width and height 1.
    explicit KXRegularPolygon(int n = 8);
    KXRegularPolygon(const KXRegularPolygon &other);
    KXRegularPolygon &operator=(const KXRegularPolygon &other);

    /// Copies other's parameters into ns (formulas re-bound; null freezes) and binds to ns.
    void CopyFrom(kxNameSpace *ns, const KXRegularPolygon &other);
    /// The vertices for the current parameter values, indexed from 0 (none when n < 1).
    std::vector<kxPoint> GetVertices() const;

    void OnPublish() override;

    bool operator==(const KXShape &other) const override;
    [[nodiscard]] KXShape *newCopy(kxNameSpace *ns) const override;
    [[nodiscard]] CheckSum GetCheckSum() override;
    KXString getDefString() const override;
    const char *getDefStringComment() const override { return "numvertices, angle, width, height"; }
    [[nodiscard]] bool ParseString(const char *text) override;
    void SetToWeighted(const KXShape &a, const KXShape &b, const WeightType &w) override;
    bool Contains(const kxPoint &p, double tol, bool &onBoundary) const override;
    bool Contains(const kxPoint &p, double tol) const override;
    bool Contains(const kxPoint &p) const override;
    void getSize(double &w, double &h) const override;
    kxRect getBoundingRect() const override;
    [[nodiscard]] kxRect getBoundingRectWithPlacement(const KXPlacement &pl) const override;
    double getBoundingCircle() const override;
    double GetMinLinearDimension() const override;
    void setSize(double w, double h) override;
    void Expand(double d) override;
    void Contract(double d) override;
    [[nodiscard]] KXShape *CreateRotatedShape(double angle) const override;
    bool AreAllParametersValues() const override;
    /// The display name, "Regular Polygon".
    virtual const char *getName() const { return "Regular Polygon"; }

    kxParameter<int> numvertices;
    kxParameter<double> angle; ///< degrees
    kxParameter<double> width;
    kxParameter<double> height;

private:
    struct Key {
        int n;
        double angle, width, height;
    };
    /// The current parameter values.
    Key ReadKey() const;
    /// Vertices for `key` (empty when n < 1).
    [[nodiscard]] static std::vector<kxPoint> VerticesFor(const Key &key);
    /// Refreshes the kept outline; false when it is too large to keep.
    bool Refresh(const Key &key) const;
    /// Prepares the half-plane form of the kept outline (see ContainsConvex).
    void PrepareConvex(const Key &key) const;
    /// The exact answer for the kept outline. The outline is convex and holds the origin, so a
    /// point is inside when it is inside the edge crossed by the ray from the origin through it:
    /// that edge and its two neighbours (found from the point's angle) are tested as half-planes,
    /// or all edges of a small outline. Within a margin of an edge the index decides.
    [[nodiscard]] bool ContainsConvex(const kxPoint &p) const;

    mutable Key key_{-1, 0, 0, 0};
    mutable kxPolygonIndex index_;
    mutable std::vector<double> halfPlanes_; ///< per edge: inward unit normal x, y, offset
    mutable bool convex_ = false;            ///< the half-plane form is usable
    mutable double convexMargin_ = 0;
    mutable double a0_ = 0, step_ = 0, hw_ = 0, hh_ = 0;
};

#endif
