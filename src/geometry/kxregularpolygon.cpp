// kxregularpolygon.cpp - the regular polygon shape.
#include "kx/geometry/kxregularpolygon.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxmath.h"
#include "kx/foundation/kxtextblock.h"

#include "kxparamread.h"
#include "kxshapeutil.h"
#include "kxwindingangle.h"

#include <algorithm>
#include <cmath>

KX_IMPLEMENT_CLASS(KXRegularPolygon, KXShape)

namespace {

constexpr double kTwoPi = 6.283185307179586;
/// Outlines with more vertices are not kept in memory.
constexpr int kMaxKeptVertices = 1 << 20;
/// Outlines up to this many vertices test every edge as a half-plane.
constexpr int kAllEdgesBelow = 16;
/// Half-plane answers closer than this fraction of the outline's scale to an edge are left to
/// the exact index (rounding of the half-planes is some 1e-15 of the scale).
constexpr double kConvexMarginFraction = 1e-8;
constexpr double kMinConvexScale = 1e-140;
constexpr double kMaxConvexScale = 1e140;
/// Flatter outlines are left to the index: a point a margin inside the edge its ray crosses is
/// then at least margin * aspect inside every edge.
constexpr double kMinConvexAspect = 1e-4;
/// Larger first-vertex angles (radians) lose too much precision to place a point's sector.
constexpr double kMaxConvexAngle = 1e6;

} // namespace

KXRegularPolygon::KXRegularPolygon(int n)
    : KXShape(kRegularPolygon), numvertices(n), angle(0.0), width(1.0), height(1.0)
{
}

KXRegularPolygon::KXRegularPolygon(const KXRegularPolygon &other)
    : KXShape(other), numvertices(other.numvertices), angle(other.angle), width(other.width),
      height(other.height)
{
}

KXRegularPolygon &KXRegularPolygon::operator=(const KXRegularPolygon &other)
{
    if (this == &other)
        return *this;
    KXShape::operator=(other);
    numvertices = other.numvertices;
    angle = other.angle;
    width = other.width;
    height = other.height;
    return *this;
}

void KXRegularPolygon::CopyFrom(kxNameSpace *ns, const KXRegularPolygon &other)
{
    if (this == &other)
        return;
    SetNameSpace(ns);
    numvertices.CopyFrom(ns, other.numvertices);
    angle.CopyFrom(ns, other.angle);
    width.CopyFrom(ns, other.width);
    height.CopyFrom(ns, other.height);
}

KXRegularPolygon::Key KXRegularPolygon::ReadKey() const
{
    return Key{kxReadParam(numvertices), kxReadParam(angle), kxReadParam(width),
               kxReadParam(height)};
}

namespace {

/// Vertex k of the outline for `key`.
struct VertexOf {
    double a0, step, hw, hh;
    kxPoint operator()(int k) const
    {
        const double t = a0 + k * step;
        return kxPoint(hw * std::cos(t), hh * std::sin(t));
    }
};

VertexOf VertexRule(int n, double angleDeg, double w, double h)
{
    return VertexOf{kxDegreesToRadians(angleDeg), kTwoPi / n, w / 2, h / 2};
}

} // namespace

std::vector<kxPoint> KXRegularPolygon::VerticesFor(const Key &key)
{
    std::vector<kxPoint> v;
    if (key.n < 1)
        return v;
    const VertexOf at = VertexRule(key.n, key.angle, key.width, key.height);
    v.reserve(static_cast<size_t>(key.n));
    for (int k = 0; k < key.n; ++k)
        v.push_back(at(k));
    return v;
}

std::vector<kxPoint> KXRegularPolygon::GetVertices() const { return VerticesFor(ReadKey()); }

bool KXRegularPolygon::Refresh(const Key &key) const
{
    if (key.n > kMaxKeptVertices)
        return false;
    if (key.n == key_.n && key.angle == key_.angle && key.width == key_.width &&
        key.height == key_.height)
        return true;
    key_ = key;
    const std::vector<kxPoint> v = VerticesFor(key);
    index_.Build(v.data(), static_cast<int>(v.size()));
    PrepareConvex(key);
    return true;
}

void KXRegularPolygon::PrepareConvex(const Key &key) const
{
    convex_ = false;
    halfPlanes_.clear();
    const std::vector<kxPoint> &v = index_.Vertices();
    const int n = static_cast<int>(v.size());
    hw_ = key.width / 2;
    hh_ = key.height / 2;
    a0_ = kxDegreesToRadians(key.angle);
    step_ = kTwoPi / n;
    const double scale = std::max(std::fabs(hw_), std::fabs(hh_));
    if (n < 3 || !std::isfinite(scale) || scale < kMinConvexScale || scale > kMaxConvexScale ||
        std::min(std::fabs(hw_), std::fabs(hh_)) < kMinConvexAspect * scale ||
        !(std::fabs(a0_) < kMaxConvexAngle))
        return;
    const double orient = hw_ * hh_ > 0.0 ? 1.0 : -1.0; // a mirrored outline runs clockwise
    halfPlanes_.resize(3 * static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const kxPoint &a = v[i], &b = v[i + 1 == n ? 0 : i + 1];
        const double ex = b.x - a.x, ey = b.y - a.y, len = std::hypot(ex, ey);
        if (!(len > 0.0))
            return;
        const double nx = -orient * ey / len, ny = orient * ex / len;
        halfPlanes_[3 * i] = nx;
        halfPlanes_[3 * i + 1] = ny;
        halfPlanes_[3 * i + 2] = nx * a.x + ny * a.y;
    }
    convexMargin_ = kConvexMarginFraction * scale;
    convex_ = true;
}

bool KXRegularPolygon::ContainsConvex(const kxPoint &p) const
{
    if (!convex_ || !std::isfinite(p.x) || !std::isfinite(p.y))
        return index_.Contains(p);
    const int n = static_cast<int>(halfPlanes_.size() / 3);
    const double *hp = halfPlanes_.data();
    double dmin = INFINITY;
    if (n <= kAllEdgesBelow) {
        for (int i = 0; i < n; ++i)
            dmin = std::min(dmin, hp[3 * i] * p.x + hp[3 * i + 1] * p.y - hp[3 * i + 2]);
    } else {
        // The sector of the point's angle, taken on the circle the outline is mapped to.
        double t = std::atan2(p.y / hh_, p.x / hw_) - a0_;
        t -= kTwoPi * std::floor(t / kTwoPi);
        int k = static_cast<int>(t / step_);
        for (int j = k - 1; j <= k + 1; ++j) {
            const int i = (j + n) % n;
            dmin = std::min(dmin, hp[3 * i] * p.x + hp[3 * i + 1] * p.y - hp[3 * i + 2]);
        }
    }
    if (dmin > convexMargin_)
        return true;
    if (dmin < -convexMargin_)
        return false;
    return index_.Contains(p);
}

void KXRegularPolygon::OnPublish()
{
    KXShape::OnPublish();
    kxPublishParam(*this, "numvertices", numvertices, "number of vertices in regular polygon");
    kxPublishParam(*this, "angle", angle,
                   "angle of first vertex of regular polygon from positive object-coordinates "
                   "x-axis in degrees");
    kxPublishParam(*this, "width", width, kxMicronsHelp("width of regular polygon in ").c_str());
    kxPublishParam(*this, "height", height, kxMicronsHelp("height of regular polygon in ").c_str());
    PublishFunc(
        "setnumvertices",
        [this](const List<KXString> &args, KXString &) {
            int n = 0;
            if (args.size() < 1 || !kxStringToNumber(args[1].c_str(), n)) {
                error.set("setnumvertices: a whole number is needed\n");
                return false;
            }
            numvertices = n;
            return true;
        },
        "( n ): set number of verticies");
}

bool KXRegularPolygon::operator==(const KXShape &other) const
{
    if (other.getClassInfo() != getClassInfo())
        return false;
    const KXRegularPolygon &r = static_cast<const KXRegularPolygon &>(other);
    return numvertices == r.numvertices && angle == r.angle && width == r.width &&
           height == r.height;
}

KXShape *KXRegularPolygon::newCopy(kxNameSpace *ns) const
{
    KXRegularPolygon *copy = new KXRegularPolygon();
    copy->CopyFrom(ns, *this);
    return copy;
}

CheckSum KXRegularPolygon::GetCheckSum()
{
    CheckSum sum;
    sum.Append(type_);
    sum.Append(getDefString().c_str());
    return sum;
}

KXString KXRegularPolygon::getDefString() const
{
    KXString s("REGPOLY(");
    kxAppendDefParam(s, numvertices);
    s += ",";
    kxAppendDefParam(s, angle);
    s += ",";
    kxAppendDefParam(s, width);
    s += ",";
    kxAppendDefParam(s, height);
    s += ")";
    return s;
}

bool KXRegularPolygon::ParseString(const char *text)
{
    kxNameSpace *ns = GetNameSpace();
    KXString rest(text ? text : "");
    if (kxReadFirstParam(ns, rest, numvertices) && kxReadNextParam(ns, rest, angle) &&
        kxReadNextParam(ns, rest, width) && kxReadNextParam(ns, rest, height))
        return true;
    SyntaxErr("Invalid regular polygon parameters: %s\n   required format: %s\n",
              kxQuoteForMessage(text).c_str(), getDefStringComment());
    return false;
}

void KXRegularPolygon::SetToWeighted(const KXShape &a, const KXShape &b, const WeightType &w)
{
    const KXRegularPolygon *ra = dynamic_cast<const KXRegularPolygon *>(&a);
    const KXRegularPolygon *rb = dynamic_cast<const KXRegularPolygon *>(&b);
    if (!ra || !rb)
        return;
    const double aa = kxReadParam(ra->angle), ab = kxReadParam(rb->angle);
    const double wa = kxReadParam(ra->width), wb = kxReadParam(rb->width);
    const double ha = kxReadParam(ra->height), hb = kxReadParam(rb->height);
    angle = weightedVal(aa, ab, w.w);
    width = weightedVal(wa, wb, w.wx);
    height = weightedVal(ha, hb, w.wy);
}

bool KXRegularPolygon::Contains(const kxPoint &p, double tol, bool &onBoundary) const
{
    onBoundary = false;
    const Key key = ReadKey();
    if (key.n < 3)
        return false;
    bool onVertex = false, onEdge = false, in;
    if (Refresh(key)) {
        const std::vector<kxPoint> &v = index_.Vertices();
        in = kxPolygonContains(v.data(), key.n, p, tol, onVertex, onEdge);
    } else {
        in = kxwinding::Contains(key.n, VertexRule(key.n, key.angle, key.width, key.height), p, tol,
                                 onVertex, onEdge);
    }
    onBoundary = onVertex || onEdge;
    return in;
}

bool KXRegularPolygon::Contains(const kxPoint &p, double tol) const
{
    bool onBoundary;
    return Contains(p, tol, onBoundary);
}

bool KXRegularPolygon::Contains(const kxPoint &p) const
{
    const Key key = ReadKey();
    if (key.n < 3)
        return false;
    if (Refresh(key))
        return ContainsConvex(p);
    return kxwinding::Contains(key.n, VertexRule(key.n, key.angle, key.width, key.height), p);
}

void KXRegularPolygon::getSize(double &w, double &h) const
{
    w = kxReadParam(width);
    h = kxReadParam(height);
}

namespace {

/// Bounds of the n vertices of `at`, each mapped by `map`.
template <class Map>
kxRect BoundsOfVertices(int n, const VertexOf &at, Map map)
{
    if (n < 1)
        return kxRect();
    const kxPoint p0 = map(at(0));
    kxRect r(p0.x, p0.y, p0.x, p0.y);
    for (int k = 1; k < n; ++k) {
        const kxPoint q = map(at(k));
        r.left = std::min(r.left, q.x);
        r.right = std::max(r.right, q.x);
        r.bottom = std::min(r.bottom, q.y);
        r.top = std::max(r.top, q.y);
    }
    return r;
}

} // namespace

kxRect KXRegularPolygon::getBoundingRect() const
{
    const Key key = ReadKey();
    if (key.n < 1)
        return kxRect();
    return BoundsOfVertices(key.n, VertexRule(key.n, key.angle, key.width, key.height),
                            [](const kxPoint &q) { return q; });
}

kxRect KXRegularPolygon::getBoundingRectWithPlacement(const KXPlacement &pl) const
{
    const Key key = ReadKey();
    if (key.n < 1)
        return kxRect();
    const kxTransformMatrix &m = pl.GetToParent();
    return BoundsOfVertices(key.n, VertexRule(key.n, key.angle, key.width, key.height),
                            [&m](const kxPoint &q) { return m.Multiply(q); });
}

double KXRegularPolygon::getBoundingCircle() const
{
    const Key key = ReadKey();
    double r = 0.0;
    if (key.n < 1)
        return r;
    const VertexOf at = VertexRule(key.n, key.angle, key.width, key.height);
    for (int k = 0; k < key.n; ++k) {
        const kxPoint q = at(k);
        r = std::max(r, std::hypot(q.x, q.y));
    }
    return r;
}

double KXRegularPolygon::GetMinLinearDimension() const
{
    return std::min(kxReadParam(width), kxReadParam(height));
}

void KXRegularPolygon::setSize(double w, double h)
{
    width = w;
    height = h;
}

void KXRegularPolygon::Expand(double d)
{
    setSize(kxReadParam(width) + 2 * d, kxReadParam(height) + 2 * d);
}

void KXRegularPolygon::Contract(double d)
{
    setSize(kxReadParam(width) - 2 * d, kxReadParam(height) - 2 * d);
}

KXShape *KXRegularPolygon::CreateRotatedShape(double by) const
{
    const Key key = ReadKey();
    KXRegularPolygon *r = new KXRegularPolygon(key.n);
    r->angle = key.angle + by;
    r->width = key.width;
    r->height = key.height;
    return r;
}

bool KXRegularPolygon::AreAllParametersValues() const
{
    return !numvertices.HasExpression() && !angle.HasExpression() && !width.HasExpression() &&
           !height.HasExpression();
}
