// kxplacement.cpp - placements of objects in their parent frame.
#include "kx/geometry/kxplacement.h"

#include "kxparamread.h"

#include <cmath>

namespace {
constexpr double kUnset = NAN; // never equal to anything: the first use builds the matrices
}

KXPlacement::KXPlacement() : cache_{kUnset, kUnset, kUnset, kUnset} {}

KXPlacement::KXPlacement(double horizontal, double vertical, double angleDeg, int planeFlag)
    : angle(angleDeg), plane(planeFlag), cache_{kUnset, kUnset, kUnset, kUnset}
{
    if (plane) {
        x = horizontal;
        y = vertical;
    } else {
        z = horizontal;
        x = vertical;
    }
}

KXPlacement::KXPlacement(const KXPlacement &other)
    : x(other.x), y(other.y), z(other.z), angle(other.angle),
      plane(other.plane), cache_{kUnset, kUnset, kUnset, kUnset}
{
}

KXPlacement &KXPlacement::operator=(const KXPlacement &other)
{
    if (this == &other)
        return *this;
    x = other.x;
    y = other.y;
    z = other.z;
    angle = other.angle;
    plane = other.plane;
    cache_[0] = kUnset;
    return *this;
}

void KXPlacement::CopyFrom(kxNameSpace *ns, const KXPlacement &other)
{
    x.CopyFrom(ns, other.x);
    y.CopyFrom(ns, other.y);
    z.CopyFrom(ns, other.z);
    angle.CopyFrom(ns, other.angle);
    plane = other.plane;
    cache_[0] = kUnset;
}

void KXPlacement::Refresh() const
{
    const double v[4] = {kxReadParam(x), kxReadParam(y), kxReadParam(z), kxReadParam(angle)};
    if (v[0] == cache_[0] && v[1] == cache_[1] && v[2] == cache_[2] && v[3] == cache_[3] &&
        (plane != 0) == cachedXY_)
        return;
    for (int i = 0; i < 4; ++i)
        cache_[i] = v[i];
    cachedXY_ = plane != 0;
    const double h = plane ? v[0] : v[2];
    const double vert = plane ? v[1] : v[0];
    toParent_.Set(v[3], h, vert);
    toObject_.SetInverse(v[3], h, vert);
}

kxPoint KXPlacement::ToAbs(const kxPoint &p) const
{
    Refresh();
    return toParent_.Multiply(p);
}

kxPoint KXPlacement::ToObj(const kxPoint &p) const
{
    Refresh();
    return toObject_.Multiply(p);
}

const kxTransformMatrix &KXPlacement::GetToParent() const
{
    Refresh();
    return toParent_;
}

const kxTransformMatrix &KXPlacement::GetToObject() const
{
    Refresh();
    return toObject_;
}

kxPoint KXPlacement::GetOffset() const
{
    return plane ? kxPoint(kxReadParam(x), kxReadParam(y))
                 : kxPoint(kxReadParam(z), kxReadParam(x));
}

bool KXPlacement::AreAllParametersValues() const
{
    return !x.HasExpression() && !y.HasExpression() && !z.HasExpression() && !angle.HasExpression();
}

bool operator==(const KXPlacement &a, const KXPlacement &b)
{
    return (a.plane != 0) == (b.plane != 0) && a.x == b.x && a.y == b.y && a.z == b.z &&
           a.angle == b.angle;
}
