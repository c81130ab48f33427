// kxrectangle.h - KXRectangle: an axis-aligned rectangle centred on the origin, width by height,
// each a parameter (default 1). Text form RECTANGLE(width,height).
//
// Contains(p) takes the edges as inside. Rotating gives a KXPolygon of the four corners. A
// negative width or height (for instance after Contract) is kept as it is and then contains no
// point.
#ifndef KX_GEOMETRY_KXRECTANGLE_H
#define KX_GEOMETRY_KXRECTANGLE_H

#include "kx/expressions/kxparameter.h"
#include "kx/geometry/kxshape.h"

class KXRectangle : public KXShape {
    KX_DECLARE_CLASS(KXRectangle)
public:
    KXRectangle() : KXShape(kRectangle), width(1.0), height(1.0) {}
    KXRectangle(const KXRectangle &other) = default;
    KXRectangle &operator=(const KXRectangle &other) = default;

    /// Copies other's parameters into ns (formulas re-bound; null freezes) and binds to ns.
    void CopyFrom(kxNameSpace *ns, const KXRectangle &other);

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
