// kxshape.h - KXShape: the base of the planar cross-section shapes (rectangle, ellipse, polygon,
// regular polygon) whose every number is a kxParameter - a plain value or a formula of project
// variables evaluated in the shape's namespace at the time of each call.
//
// Coordinates are object coordinates: the rectangle, ellipse and regular polygon are centred on
// the origin, the polygon's vertices are given explicitly. Lengths are in microns, angles in
// degrees.
//
// Text form: KEYWORD(p1,p2,...) with the keywords RECTANGLE, ELLIPSE, POLYGON and REGPOLY
// (case-sensitive), each parameter a number or a "formula" in double quotes. ParseShape makes a
// new shape from such a text, bound to a namespace; getDefString writes it back.
//
// Choices where the behaviour was open:
//   - GetNameSpace answers the namespace given to the shape, else its parent object's (SetParent),
//     else null.
//   - operator== compares the concrete class and the parameters in form (formula texts, or
//     values); GetCheckSum folds the type code and the definition text.
//   - Parse failures quote at most 800 characters of the offending text (SyntaxErr refuses
//     messages of 1,000 characters), followed by "..." when cut.
//   - Text after the last parameter a shape needs is ignored ("RECTANGLE(1,2,3)" is 1 by 2).
//   - getDefString writes a formula between double quotes, so that the text parses back, and a
//     number with the fewest of 15, 16 or 17 significant digits that reads back exactly
//     (RECTANGLE(2,1), REGPOLY(6,0,2,2), ELLIPSE(0.1,"w/2")).
//
// Ownership: newCopy, CreateRotatedShape and ParseShape return shapes that the caller owns. A
// shape never owns its namespace or its parent.
#ifndef KX_GEOMETRY_KXSHAPE_H
#define KX_GEOMETRY_KXSHAPE_H

#include "kx/foundation/kxstring.h"
#include "kx/geometry/kxgeomtypes.h"
#include "kx/geometry/kxplacement.h"
#include "kx/geometry/kxweightfunc.h"
#include "kx/objects/kxobject.h"

class kxNameSpace;

class KXShape : public KXObject {
    KX_DECLARE_CLASS(KXShape)
public:
    /// Type codes, published read-only as "type".
    enum {
        kRectangle = 0,
        kEllipse = 1,
        kPolygon = 2,
        kRegularPolygon = 3
    };

    explicit KXShape(int type) : type_(type) {}
    KXShape(const KXShape &other) = default;
    KXShape &operator=(const KXShape &other) = default;
    ~KXShape() override = default;

    int GetType() const { return type_; }

    /// The namespace given to the shape, else the parent object's (see the top).
    kxNameSpace *GetNameSpace() const override;
    /// Publishes "type" after the base members.
    void OnPublish() override;
    /// Remembers the parent object (not owned).
    void SetParent(KXObject *parent) override { parent_ = parent; }
    KXObject *GetParent() const { return parent_; }

    // -- the shape operations ------------------------------------------------------------------
    /// Same concrete kind and equal parameters (in form).
    virtual bool operator==(const KXShape &other) const = 0;
    bool operator!=(const KXShape &other) const { return !(*this == other); }
    /// A new shape of the same class, its parameters copied into ns (formulas re-bound there;
    /// null freezes them into values). The caller owns it.
    [[nodiscard]] virtual KXShape *newCopy(kxNameSpace *ns) const = 0;
    /// A checksum of the shape's definition.
    [[nodiscard]] virtual CheckSum GetCheckSum() = 0;
    /// The one-line text form, e.g. RECTANGLE(2,1).
    virtual KXString getDefString() const = 0;
    /// The required format of the parameters, e.g. "width, height".
    virtual const char *getDefStringComment() const = 0;
    /// Parses the text between the parentheses into the parameters; false (reported as a
    /// syntax error) on failure.
    [[nodiscard]] virtual bool ParseString(const char *text) = 0;
    /// Makes this shape the blend of a and b by the weights w.
    virtual void SetToWeighted(const KXShape &a, const KXShape &b, const WeightType &w) = 0;
    /// Containment within tol; onBoundary tells a hit on the outline.
    virtual bool Contains(const kxPoint &p, double tol, bool &onBoundary) const = 0;
    virtual bool Contains(const kxPoint &p, double tol) const = 0;
    /// Exact containment (the outline is inside).
    virtual bool Contains(const kxPoint &p) const = 0;
    virtual void getSize(double &w, double &h) const = 0;
    virtual kxRect getBoundingRect() const = 0;
    /// The bounding rectangle in the parent frame of the placement.
    [[nodiscard]] virtual kxRect getBoundingRectWithPlacement(const KXPlacement &pl) const = 0;
    /// Radius about the origin of a circle holding the shape.
    virtual double getBoundingCircle() const = 0;
    virtual double GetMinLinearDimension() const = 0;
    virtual void setSize(double w, double h) = 0;
    virtual void Expand(double d) = 0;
    virtual void Contract(double d) = 0;
    /// A new plain-valued shape rotated by angle degrees about the origin. The caller owns it.
    [[nodiscard]] virtual KXShape *CreateRotatedShape(double angle) const = 0;
    /// True when no parameter holds a formula.
    virtual bool AreAllParametersValues() const = 0;

    // -- text form -------------------------------------------------------------------------------
    /// ParseShape(nullptr, text).
    [[nodiscard]] static KXShape *ParseShape(const char *text);
    /// A new shape from its text form, bound to ns, or null (see kxshape.cpp for the rules).
    [[nodiscard]] static KXShape *ParseShape(kxNameSpace *ns, const char *text);
    /// out = shape.getDefString().
    static void WriteShape(KXShape &shape, KXString &out);

protected:
    int type_;
    int reserved_ = 0;           ///< kept zero
    KXObject *parent_ = nullptr; ///< not owned
};

#endif
