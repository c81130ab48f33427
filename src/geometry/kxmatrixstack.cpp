// kxmatrixstack.cpp - kxMatrixStack, the stack of nested placements.
//
// Internal faults are reported under the unit name "kxtransform".
#define KX_UNIT "kxtransform"

#include "kx/geometry/kxmatrixstack.h"

#include "kx/foundation/kxerror.h"

void kxMatrixStack::PushMatrix(double angle, double tx, double ty)
{
    kxTransformMatrix m;
    m.Set(angle, tx, ty);
    forward_.append(m);
    m.SetInverse(angle, tx, ty);
    inverse_.append(m);
    Recombine();
}

void kxMatrixStack::PopMatrix()
{
    KX_CHECK_RET(!IsEmpty(), "kxMatrixStack::PopMatrix on an empty stack");
    forward_.erase(forward_.size());
    inverse_.erase(inverse_.size());
    Recombine();
}

void kxMatrixStack::Recombine()
{
    combined_.SetIdentity();
    combinedInverse_.SetIdentity();
    for (int i = 1; i <= forward_.size(); ++i) {
        combined_ = combined_.Multiply(forward_[i]);
        combinedInverse_ = inverse_[i].Multiply(combinedInverse_);
    }
}

kxPoint kxMatrixStack::ToAbs(const kxPoint &p) const
{
    return IsEmpty() ? p : combined_.Multiply(p);
}

kxPoint kxMatrixStack::ToObj(const kxPoint &p) const
{
    return IsEmpty() ? p : combinedInverse_.Multiply(p);
}

double kxMatrixStack::ToAbs(double angle) const
{
    return IsEmpty() ? angle : combined_.TransformAngleDegrees(angle);
}

double kxMatrixStack::ToObj(double angle) const
{
    return IsEmpty() ? angle : combinedInverse_.TransformAngleDegrees(angle);
}
