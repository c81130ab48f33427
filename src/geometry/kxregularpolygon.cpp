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

#define KX_UNIT "kxregularpolygon"

KX_IMPLEMENT_CLASS(KXRegularPolygon, KXShape)

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;
/// Outlines with more vertices are not kept in memory.
constexpr int kMaxKeptVertices = 1 << 20;

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
    return Key{kxReadParam(numvertices), kxReadParam(angle), kxReadParam(width), kxReadParam(height)};
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
    return VertexOf{angleDeg * kPi / 180.0, kTwoPi / n, w / 2, h / 2};
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
    if (key.n == key_.n && key.angle == key_.angle && key.width == key_.width && key.height == key_.height)
        return true;
    key_ = key;
    const std::vector<kxPoint> v = VerticesFor(key);
    index_.Build(v.data(), static_cast<int>(v.size()));
    return true;
}

void KXRegularPolygon::OnPublish()
{
    KXShape::OnPublish();
    kxPublishParam(*this, "numvertices", numvertices, "number of vertices in regular polygon");
    kxPublishParam(*this, "angle", angle,
                   "angle of first vertex of regular polygon from positive object-coordinates x-axis in degrees");
    kxPublishParam(*this, "width", width, kxMicronsHelp("width of regular polygon in ").c_str());
    kxPublishParam(*this, "height", height, kxMicronsHelp("height of regular polygon in ").c_str());
    PublishFunc("setnumvertices",
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
    return numvertices == r.numvertices && angle == r.angle && width == r.width && height == r.height;
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
        return index_.Contains(p);
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
