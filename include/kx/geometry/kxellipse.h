// kxellipse.h - KXEllipse: an axis-aligned ellipse centred on the origin, width by height (the
// diameters), each a parameter (default 1). Text form ELLIPSE(width,height).
//
// An ellipse with a zero width or height contains nothing. Within a tolerance, the point and its
// four neighbours at +-tol along x and y are tested: all inside is inside, all outside is
// outside, and any mix is a hit on the boundary (also for a point just outside).
//
// CreateRotatedShape: for an odd multiple of 90 degrees, an ellipse with width and height
// swapped; for an even multiple, a plain copy; otherwise a KXPolygon through points of the
// rotated ellipse, one every kxGetArcApproximationAngle(larger semi-axis) radians (at least 8
// points, at most 65,536).
#ifndef KX_GEOMETRY_KXELLIPSE_H
#define KX_GEOMETRY_KXELLIPSE_H

#include "kx/expressions/kxparameter.h"
#include "kx/geometry/kxshape.h"

class KXEllipse : public KXShape {
    KX_DECLARE_CLASS(KXEllipse)
public:
    KXEllipse() : KXShape(kEllipse), width(1.0), height(1.0) {}
    KXEllipse(const KXEllipse &other) = default;
    KXEllipse &operator=(const KXEllipse &other) = default;

    /// Copies other's parameters into ns (formulas re-bound; null freezes) and binds to ns.
    void CopyFrom(kxNameSpace *ns, const KXEllipse &other);

    void OnPublish() override;

    bool operator==(const KXShape &other) const override;
    [[nodiscard]] KXShape *newCopy(kxNameSpace *ns) const override;
    [[nodiscard]] CheckSum GetCheckSum() override;
    KXString getDefString() const override;
    const char *getDefStringComment() const override { return "width, height"; }
    [[nodiscard]] bool ParseString(const char *text) override;
    /// Needs a, b and this of the same class, else the global error "Cannot created weighted
    /// shape  - incompatible geometry\n" and no change.
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

    kxParameter<double> width;
    kxParameter<double> height;
};

#endif
