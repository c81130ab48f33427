// kxplacement.h - KXPlacement: where an object sits in its parent frame, as an offset and a
// rotation whose numbers are parameters (values or formulas).
//
// x-y plane (plane flag non-zero): the offset is (x, y); z is ignored.
// z-x plane (plane flag zero): the horizontal offset is z and the vertical offset is x; y is
// ignored. The angle (degrees, counter-clockwise) applies in both.
//
// ToAbs maps object -> parent coordinates and ToObj parent -> object. Both read the four
// parameters at each call and compare them exactly with the values they last used; when any
// differs, the two matrices are rebuilt (to-parent by kxTransformMatrix::Set, to-object by
// SetInverse), so a placement follows the variables its formulas use. A change of the public
// plane flag also rebuilds them. The cache is refreshed
// inside const calls (it is mutable), so a placement is not to be shared between threads.
//
// A plain value class: no virtual functions. Copies carry the parameters (formulas stay in the
// source's namespace; CopyFrom re-binds them in another) and the plane flag, not the cache. The
// default placement lies in the x-y plane at the origin, unrotated.
#ifndef KX_GEOMETRY_KXPLACEMENT_H
#define KX_GEOMETRY_KXPLACEMENT_H

#include "kx/expressions/kxparameter.h"
#include "kx/geometry/kxtransformmatrix.h"

class kxNameSpace;

class KXPlacement {
public:
    /// All four parameters zero, x-y plane.
    KXPlacement();
    /// Plane flag non-zero: x = horizontal, y = vertical, z = 0. Plane flag zero: z =
    /// horizontal, x = vertical, y = 0. The angle in degrees either way.
    KXPlacement(double horizontal, double vertical, double angle, int plane);
    KXPlacement(const KXPlacement &other);
    KXPlacement &operator=(const KXPlacement &other);

    /// Copies other's parameters into namespace ns (formulas re-bound there; null freezes them)
    /// and its plane flag.
    void CopyFrom(kxNameSpace *ns, const KXPlacement &other);

    /// Object -> parent.
    [[nodiscard]] kxPoint ToAbs(const kxPoint &p) const;
    /// Parent -> object.
    [[nodiscard]] kxPoint ToObj(const kxPoint &p) const;
    /// The to-parent and to-object matrices for the current parameter values.
    const kxTransformMatrix &GetToParent() const;
    const kxTransformMatrix &GetToObject() const;

    /// Same plane flag and the four parameters equal in form (formula texts or values).
    friend bool operator==(const KXPlacement &a, const KXPlacement &b);
    friend bool operator!=(const KXPlacement &a, const KXPlacement &b) { return !(a == b); }

    bool IsXYPlane() const { return plane != 0; }
    /// The (horizontal, vertical) offset in the parent frame for the current values.
    kxPoint GetOffset() const;
    /// True when every parameter is a plain value.
    bool AreAllParametersValues() const;

    kxParameter<double> x;
    kxParameter<double> y;
    kxParameter<double> z;
    kxParameter<double> angle; ///< degrees
    int plane = 1;             ///< non-zero: x-y plane; zero: z-x plane

private:
    void Refresh() const;

    mutable double cache_[4];
    mutable bool cachedXY_ = true; ///< the plane the matrices were built for
    mutable kxTransformMatrix toParent_;
    mutable kxTransformMatrix toObject_;
};

#endif
