// kxrectangle.cpp - the rectangle shape.
#include "kx/geometry/kxrectangle.h"

#include "kx/foundation/kxmath.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/geometry/kxpolygon.h"
#include "kx/geometry/kxtransformmatrix.h"

#include "kxparamread.h"
#include "kxshapeutil.h"

#include <algorithm>
#include <cmath>

KX_IMPLEMENT_CLASS(KXRectangle, KXShape)

namespace {
/// a equal to b within tol: |a - b| < tol (never for tol 0); a negative tol takes the relative
/// rule.
bool EqualWithin(double a, double b, double tol)
{
    return tol >= 0.0 ? std::fabs(a - b) < tol : DoublesAreEqual(a, b);
}
} // namespace

void KXRectangle::CopyFrom(kxNameSpace *ns, const KXRectangle &other)
{
    if (this == &other)
        return;
    SetNameSpace(ns);
    width.CopyFrom(ns, other.width);
    height.CopyFrom(ns, other.height);
}

void KXRectangle::OnPublish()
{
    KXShape::OnPublish();
    kxPublishParam(*this, "width", width, kxMicronsHelp("width of rectangle in ").c_str());
    kxPublishParam(*this, "height", height, kxMicronsHelp("height of rectangle in ").c_str());
}

bool KXRectangle::operator==(const KXShape &other) const
{
    if (other.getClassInfo() != getClassInfo())
        return false;
    const KXRectangle &r = static_cast<const KXRectangle &>(other);
    return width == r.width && height == r.height;
}

KXShape *KXRectangle::newCopy(kxNameSpace *ns) const
{
    KXRectangle *copy = new KXRectangle();
    copy->CopyFrom(ns, *this);
    return copy;
}

CheckSum KXRectangle::GetCheckSum()
{
    CheckSum sum;
    sum.Append(type_);
    sum.Append(getDefString().c_str());
    return sum;
}

KXString KXRectangle::getDefString() const
{
    KXString s("RECTANGLE(");
    kxAppendDefParam(s, width);
    s += ",";
    kxAppendDefParam(s, height);
    s += ")";
    return s;
}

bool KXRectangle::ParseString(const char *text)
{
    kxNameSpace *ns = GetNameSpace();
    KXString rest(text ? text : "");
    if (kxReadFirstParam(ns, rest, width) && kxReadNextParam(ns, rest, height))
        return true;
    SyntaxErr("Invalid rectangle parameters: %s\n   required format: %s\n",
              kxQuoteForMessage(text).c_str(), getDefStringComment());
    return false;
}

void KXRectangle::SetToWeighted(const KXShape &a, const KXShape &b, const WeightType &w)
{
    if (!a.IsMainType(getClassInfo()) || !b.IsMainType(getClassInfo())) {
        error.set("Cannot created weighted shape  - incompatible geometry\n");
        return;
    }
    const KXRectangle &ra = static_cast<const KXRectangle &>(a);
    const KXRectangle &rb = static_cast<const KXRectangle &>(b);
    width = weightedVal(kxReadParam(ra.width), kxReadParam(rb.width), w.wx);
    height = weightedVal(kxReadParam(ra.height), kxReadParam(rb.height), w.wy);
}

bool KXRectangle::Contains(const kxPoint &p, double tol, bool &onBoundary) const
{
    onBoundary = false;
    const double hw = kxReadParam(width) / 2, hh = kxReadParam(height) / 2;
    const double ax = std::fabs(p.x), ay = std::fabs(p.y);
    const bool onX = EqualWithin(ax, hw, tol), onY = EqualWithin(ay, hh, tol);
    if ((ax > hw && !onX) || (ay > hh && !onY))
        return false;
    onBoundary = onX || onY;
    return true;
}

bool KXRectangle::Contains(const kxPoint &p, double tol) const
{
    bool onBoundary;
    return Contains(p, tol, onBoundary);
}

bool KXRectangle::Contains(const kxPoint &p) const
{
    return std::fabs(p.x) <= kxReadParam(width) / 2 && std::fabs(p.y) <= kxReadParam(height) / 2;
}

void KXRectangle::getSize(double &w, double &h) const
{
    w = kxReadParam(width);
    h = kxReadParam(height);
}

kxRect KXRectangle::getBoundingRect() const
{
    const double w = kxReadParam(width), h = kxReadParam(height);
    return kxRect(-w / 2, h / 2, w / 2, -h / 2);
}

kxRect KXRectangle::getBoundingRectWithPlacement(const KXPlacement &pl) const
{
    const double hw = kxReadParam(width) / 2, hh = kxReadParam(height) / 2;
    const kxPoint corners[4] = {pl.ToAbs(kxPoint(-hw, -hh)), pl.ToAbs(kxPoint(hw, -hh)),
                                pl.ToAbs(kxPoint(hw, hh)), pl.ToAbs(kxPoint(-hw, hh))};
    return kxBoundsOf(corners, 4);
}

double KXRectangle::getBoundingCircle() const
{
    const double hw = kxReadParam(width) / 2, hh = kxReadParam(height) / 2;
    return std::sqrt(hw * hw + hh * hh);
}

double KXRectangle::GetMinLinearDimension() const
{
    return std::min(kxReadParam(width), kxReadParam(height));
}

void KXRectangle::setSize(double w, double h)
{
    width = w;
    height = h;
}

void KXRectangle::Expand(double d)
{
    setSize(kxReadParam(width) + 2 * d, kxReadParam(height) + 2 * d);
}

void KXRectangle::Contract(double d)
{
    setSize(kxReadParam(width) - 2 * d, kxReadParam(height) - 2 * d);
}

KXShape *KXRectangle::CreateRotatedShape(double angle) const
{
    const double hw = kxReadParam(width) / 2, hh = kxReadParam(height) / 2;
    kxTransformMatrix rot;
    rot.Set(angle, 0, 0);
    KXPolygon *poly = new KXPolygon();
    for (const kxPoint &c :
         {kxPoint(-hw, -hh), kxPoint(hw, -hh), kxPoint(hw, hh), kxPoint(-hw, hh)}) {
        const kxPoint r = rot.Multiply(c);
        poly->AddPoint(r.x, r.y);
    }
    return poly;
}

bool KXRectangle::AreAllParametersValues() const
{
    return !width.HasExpression() && !height.HasExpression();
}
