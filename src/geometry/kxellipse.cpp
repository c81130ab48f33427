// kxellipse.cpp - the ellipse shape.
#include "kx/geometry/kxellipse.h"

#include "kx/foundation/kxmath.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/geometry/kxplanegeom.h"
#include "kx/geometry/kxpolygon.h"
#include "kx/geometry/kxtransformmatrix.h"

#include "kxparamread.h"
#include "kxshapeutil.h"

#include <algorithm>
#include <cmath>

KX_IMPLEMENT_CLASS(KXEllipse, KXShape)

namespace {
constexpr double kTwoPi = 6.283185307179586;
constexpr int kMinArcPoints = 8;
constexpr int kMaxArcPoints = 65536;
} // namespace

void KXEllipse::CopyFrom(kxNameSpace *ns, const KXEllipse &other)
{
    if (this == &other)
        return;
    SetNameSpace(ns);
    width.CopyFrom(ns, other.width);
    height.CopyFrom(ns, other.height);
}

void KXEllipse::OnPublish()
{
    KXShape::OnPublish();
    kxPublishParam(*this, "width", width, kxMicronsHelp("width of ellipse in ").c_str());
    kxPublishParam(*this, "height", height, kxMicronsHelp("height of ellipse in ").c_str());
}

bool KXEllipse::operator==(const KXShape &other) const
{
    if (other.getClassInfo() != getClassInfo())
        return false;
    const KXEllipse &e = static_cast<const KXEllipse &>(other);
    return width == e.width && height == e.height;
}

KXShape *KXEllipse::newCopy(kxNameSpace *ns) const
{
    KXEllipse *copy = new KXEllipse();
    copy->CopyFrom(ns, *this);
    return copy;
}

CheckSum KXEllipse::GetCheckSum()
{
    CheckSum sum;
    sum.Append(type_);
    sum.Append(getDefString().c_str());
    return sum;
}

KXString KXEllipse::getDefString() const
{
    KXString s("ELLIPSE(");
    kxAppendDefParam(s, width);
    s += ",";
    kxAppendDefParam(s, height);
    s += ")";
    return s;
}

bool KXEllipse::ParseString(const char *text)
{
    kxNameSpace *ns = GetNameSpace();
    KXString rest(text ? text : "");
    if (kxReadFirstParam(ns, rest, width) && kxReadNextParam(ns, rest, height))
        return true;
    SyntaxErr("Invalid ellipse parameters: %s\n   required format: %s\n",
              kxQuoteForMessage(text).c_str(), getDefStringComment());
    return false;
}

void KXEllipse::SetToWeighted(const KXShape &a, const KXShape &b, const WeightType &w)
{
    if (!a.IsMainType(getClassInfo()) || !b.IsMainType(getClassInfo())) {
        error.set("Cannot created weighted shape  - incompatible geometry\n");
        return;
    }
    const KXEllipse &ea = static_cast<const KXEllipse &>(a);
    const KXEllipse &eb = static_cast<const KXEllipse &>(b);
    width = weightedVal(kxReadParam(ea.width), kxReadParam(eb.width), w.wx);
    height = weightedVal(kxReadParam(ea.height), kxReadParam(eb.height), w.wy);
}

bool KXEllipse::Contains(const kxPoint &p, double tol, bool &onBoundary) const
{
    onBoundary = false;
    if (tol < 0.0) {
        const double qx = p.x / (kxReadParam(width) / 2), qy = p.y / (kxReadParam(height) / 2);
        const double q = qx * qx + qy * qy;
        onBoundary = q == 1.0;
        return q <= 1.0;
    }
    const bool centre = Contains(p);
    const kxPoint around[4] = {kxPoint(p.x + tol, p.y), kxPoint(p.x - tol, p.y),
                               kxPoint(p.x, p.y + tol), kxPoint(p.x, p.y - tol)};
    int inside = centre;
    for (const kxPoint &q : around)
        inside += Contains(q);
    if (inside == 0)
        return false;
    onBoundary = inside != 5;
    return true;
}

bool KXEllipse::Contains(const kxPoint &p, double tol) const
{
    bool onBoundary;
    return Contains(p, tol, onBoundary);
}

bool KXEllipse::Contains(const kxPoint &p) const
{
    const double w = kxReadParam(width), h = kxReadParam(height);
    if (DoubleIsZero(w) || DoubleIsZero(h))
        return false;
    const double qx = 2 * p.x / w, qy = 2 * p.y / h;
    return qx * qx + qy * qy <= 1.0;
}

void KXEllipse::getSize(double &w, double &h) const
{
    w = kxReadParam(width);
    h = kxReadParam(height);
}

kxRect KXEllipse::getBoundingRect() const
{
    const double w = kxReadParam(width), h = kxReadParam(height);
    return kxRect(-w / 2, h / 2, w / 2, -h / 2);
}

kxRect KXEllipse::getBoundingRectWithPlacement(const KXPlacement &pl) const
{
    // Points (a cos t, b sin t) map to c + L (a cos t, b sin t); each coordinate's extent is the
    // length of the corresponding row of L scaled by the semi-axes.
    const double a = kxReadParam(width) / 2, b = kxReadParam(height) / 2;
    const kxTransformMatrix &m = pl.GetToParent();
    const kxPoint c = pl.ToAbs(kxPoint(0, 0));
    const double ex = std::hypot(m.Get(0, 0) * a, m.Get(0, 1) * b);
    const double ey = std::hypot(m.Get(1, 0) * a, m.Get(1, 1) * b);
    return kxRect(c.x - ex, c.y + ey, c.x + ex, c.y - ey);
}

double KXEllipse::getBoundingCircle() const
{
    return std::max(kxReadParam(width) / 2, kxReadParam(height) / 2);
}

double KXEllipse::GetMinLinearDimension() const
{
    return std::min(kxReadParam(width), kxReadParam(height));
}

void KXEllipse::setSize(double w, double h)
{
    width = w;
    height = h;
}

void KXEllipse::Expand(double d)
{
    setSize(kxReadParam(width) + 2 * d, kxReadParam(height) + 2 * d);
}

void KXEllipse::Contract(double d)
{
    setSize(kxReadParam(width) - 2 * d, kxReadParam(height) - 2 * d);
}

KXShape *KXEllipse::CreateRotatedShape(double angle) const
{
    const double w = kxReadParam(width), h = kxReadParam(height);
    const double quarters = angle / 90.0;
    if (std::isfinite(quarters) && quarters == std::floor(quarters)) {
        KXEllipse *e = new KXEllipse();
        const bool odd = std::fmod(std::fabs(quarters), 2.0) == 1.0;
        e->setSize(odd ? h : w, odd ? w : h);
        return e;
    }
    const double a = w / 2, b = h / 2;
    const double step = kxGetArcApproximationAngle(std::max(std::fabs(a), std::fabs(b)));
    int n = kMinArcPoints;
    if (std::isfinite(step) && step > 0.0)
        n = static_cast<int>(
            std::clamp(std::ceil(kTwoPi / step), double(kMinArcPoints), double(kMaxArcPoints)));
    kxTransformMatrix rot;
    rot.Set(angle, 0, 0);
    KXPolygon *poly = new KXPolygon();
    for (int k = 0; k < n; ++k) {
        const double t = k * kTwoPi / n;
        const kxPoint q = rot.Multiply(kxPoint(a * std::cos(t), b * std::sin(t)));
        poly->AddPoint(q.x, q.y);
    }
    return poly;
}

bool KXEllipse::AreAllParametersValues() const
{
    return !width.HasExpression() && !height.HasExpression();
}
