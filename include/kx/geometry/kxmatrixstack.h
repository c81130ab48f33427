// kxmatrixstack.h - kxMatrixStack: nested placements composed into one map from the innermost
// object frame to the outermost (absolute) frame, and back.
//
// PushMatrix(angle, tx, ty) enters a child frame placed in the current one by a rotation of
// `angle` degrees and an offset (tx, ty). The combined forward map is M1 M2 ... Mn (the last
// pushed applies to a point first) and the combined inverse Inv_n ... Inv_1, kept up to date on
// every push and pop. With an empty stack ToAbs and ToObj return their argument unchanged.
// Angles (degrees) are mapped as directions through the linear part of the combined map.
// Copies are deep. Popping an empty stack is an internal fault reported through CodeError.
#ifndef KX_GEOMETRY_KXMATRIXSTACK_H
#define KX_GEOMETRY_KXMATRIXSTACK_H

#include "kx/foundation/kxlist.h"
#include "kx/geometry/kxtransformmatrix.h"

class kxMatrixStack {
public:
    kxMatrixStack() = default;

    /// Enters a child frame: forward Set(angle, tx, ty), inverse SetInverse(angle, tx, ty).
    void PushMatrix(double angle, double tx, double ty);
    /// Leaves the innermost frame.
    void PopMatrix();

    /// Innermost frame -> absolute frame.
    [[nodiscard]] kxPoint ToAbs(const kxPoint &p) const;
    /// Absolute frame -> innermost frame.
    [[nodiscard]] kxPoint ToObj(const kxPoint &p) const;
    /// A direction in degrees, innermost -> absolute.
    [[nodiscard]] double ToAbs(double angle) const;
    /// A direction in degrees, absolute -> innermost.
    [[nodiscard]] double ToObj(double angle) const;

    bool IsEmpty() const { return forward_.size() == 0; }
    /// True when the combined map only translates (also for an empty stack).
    bool IsTranslation() const { return combined_.IsTranslation(); }
    /// Number of pushed frames.
    int Depth() const { return forward_.size(); }
    const kxTransformMatrix &GetCombined() const { return combined_; }
    const kxTransformMatrix &GetCombinedInverse() const { return combinedInverse_; }

private:
    void Recombine();

    List<kxTransformMatrix> forward_; ///< pushed matrices, index 1 = outermost
    List<kxTransformMatrix> inverse_; ///< their inverses, same order
    kxTransformMatrix combined_;
    kxTransformMatrix combinedInverse_;
};

#endif
