// kxpolygon.cpp - KXPolygon, the polygon shape given by a list of parameter points.
#include "kx/geometry/kxpolygon.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxmath.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/foundation/kxunits.h"
#include "kx/geometry/kxtransformmatrix.h"

#include "kxparamread.h"
#include "kxshapeutil.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

KX_IMPLEMENT_CLASS(KXPolygon, KXShape)

namespace {

constexpr double kTiny = 1e-307;

kxPoint ReadPoint(const CMDPoint &pt) { return kxPoint(pt.x, pt.y); }

/// The coordinates as written between the parentheses of the text form.
KXString PointsText(const CMDPointList &points)
{
    KXString s;
    for (int i = 1; i <= points.size(); ++i) {
        if (i > 1)
            s += ",";
        kxAppendDefParam(s, points[i].x.Param());
        s += ",";
        kxAppendDefParam(s, points[i].y.Param());
    }
    return s;
}

void AppendPointsCheckSum(const void *member, int, CheckSum &sum)
{
    sum.Append(PointsText(*static_cast<const CMDPointList *>(member)).c_str());
}

KXString GetPointsText(const KXObject &, const void *member, int)
{
    return PointsText(*static_cast<const CMDPointList *>(member));
}

bool SetPointsText(KXObject &owner, void *, int, const char *text)
{
    return static_cast<KXPolygon &>(owner).ParseString(text);
}

const kxPublishedKind kPointListKind = {"CMDPointList", AppendPointsCheckSum, GetPointsText,
                                        SetPointsText};

std::string StripBlanks(const char *text)
{
    std::string s = text ? text : "";
    const size_t b = s.find_first_not_of(" \t");
    if (b == std::string::npos)
        return std::string();
    const size_t e = s.find_last_not_of(" \t");
    return s.substr(b, e - b + 1);
}

bool ReadPosition(const List<KXString> &args, int &at)
{
    return args.size() >= 1 && kxStringToNumber(args[1].c_str(), at);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// KXPolygon

KXPolygon::KXPolygon(const KXPolygon &other) : KXShape(other), points(other.points)
{
    points.SetParent(this);
}

KXPolygon &KXPolygon::operator=(const KXPolygon &other)
{
    if (this == &other)
        return *this;
    KXShape::operator=(other);
    points = other.points;
    points.SetParent(this);
    indexed_ = false;
    return *this;
}

void KXPolygon::CopyFrom(kxNameSpace *ns, const KXPolygon &other)
{
    if (this == &other)
        return;
    SetNameSpace(ns);
    points.unalloc();
    for (int i = 1; i <= other.points.size(); ++i) {
        CMDPoint pt;
        pt.CopyFrom(ns, other.points[i]);
        points.append(pt);
    }
    indexed_ = false;
}

std::vector<kxPoint> KXPolygon::GetVertices() const
{
    std::vector<kxPoint> v;
    v.reserve(static_cast<size_t>(points.size()));
    for (int i = 1; i <= points.size(); ++i)
        v.push_back(ReadPoint(points[i]));
    return v;
}

const kxPolygonIndex &KXPolygon::Index() const
{
    // Plain points can only have changed after a change of the list's structure or a write to
    // some coordinate (both counted); points with formulas are evaluated every time. Either way
    // the outline is rebuilt only when a vertex moved.
    const unsigned long writes = kxCoordParameter::Writes();
    if (indexed_ && !indexedFormula_ && points.Version() == indexedVersion_ &&
        writes == indexedWrites_)
        return index_;
    const std::vector<const CMDPoint *> &pts = points.Pointers();
    const size_t n = pts.size();
    std::vector<kxPoint> v(n);
    bool formula = false;
    for (size_t i = 0; i < n; ++i) {
        v[i] = ReadPoint(*pts[i]);
        formula = formula || pts[i]->x.HasExpression() || pts[i]->y.HasExpression();
    }
    if (!indexed_ || v != index_.Vertices())
        index_.Build(v.data(), static_cast<int>(n));
    indexed_ = true;
    indexedFormula_ = formula;
    indexedVersion_ = points.Version();
    indexedWrites_ = writes;
    return index_;
}

void KXPolygon::OnPublish()
{
    KXShape::OnPublish();
    PublishValue("plist", "list of vertex coords", 0, kPointListKind, &points, 0);
    npoints_ = points.size();
    PublishVar("npoints", npoints_, "number of vertices", kxPublishReadOnly);
    PublishFunc(
        "insertpoint",
        [this](const List<KXString> &args, KXString &) {
            int at = 0;
            const int n = points.size();
            if (!ReadPosition(args, at) || at < 1 || at > n + 1) {
                error.set("insertpoint: position out of range\n");
                return false;
            }
            CMDPoint pt;
            if (n > 0) {
                const kxPoint a = ReadPoint(points[at == 1 ? n : at - 1]);
                const kxPoint b = ReadPoint(points[at == n + 1 ? 1 : at]);
                pt = CMDPoint((a.x + b.x) / 2, (a.y + b.y) / 2);
            }
            points.insert(at, pt);
            return true;
        },
        "(at): insert point into the polygon at given position");
    PublishFunc(
        "removepoint",
        [this](const List<KXString> &args, KXString &) {
            int at = 0;
            if (!ReadPosition(args, at) || at < 1 || at > points.size()) {
                error.set("removepoint: position out of range\n");
                return false;
            }
            points.erase(at);
            return true;
        },
        "(at): remove point from the polygon at given position");
}

bool KXPolygon::operator==(const KXShape &other) const
{
    if (other.getClassInfo() != getClassInfo())
        return false;
    const KXPolygon &o = static_cast<const KXPolygon &>(other);
    if (o.points.size() != points.size())
        return false;
    for (int i = 1; i <= points.size(); ++i)
        if (!points[i].EqualsTo(o.points[i]))
            return false;
    return true;
}

KXShape *KXPolygon::newCopy(kxNameSpace *ns) const
{
    KXPolygon *copy = new KXPolygon();
    copy->CopyFrom(ns, *this);
    return copy;
}

CheckSum KXPolygon::GetCheckSum()
{
    CheckSum sum;
    sum.Append(type_);
    sum.Append(getDefString().c_str());
    return sum;
}

KXString KXPolygon::getDefString() const
{
    KXString s("POLYGON(");
    s += PointsText(points);
    s += ")";
    return s;
}

bool KXPolygon::ParseString(const char *text)
{
    kxNameSpace *ns = GetNameSpace();
    points.unalloc();
    indexed_ = false;
    KXString rest(StripBlanks(text).c_str());
    while (!rest.Empty()) {
        points.append(CMDPoint());
        CMDPoint &pt = points.last_cpt();
        bool ok = pt.x.Read(ns, rest);
        const char *comma = ok ? std::strchr(rest.c_str(), ',') : nullptr;
        if (comma) {
            rest = KXString(comma + 1);
            ok = !rest.Empty() && pt.y.Read(ns, rest);
        }
        if (!ok || !comma) {
            SyntaxErr("Invalid polygon parameters: %s\n   required format: %s\n",
                      kxQuoteForMessage(text).c_str(), getDefStringComment());
            points.unalloc();
            return false;
        }
        comma = std::strchr(rest.c_str(), ',');
        rest = KXString(comma ? StripBlanks(comma + 1).c_str() : "");
    }
    if (points.size() < 3) {
        SyntaxErr("Invalid polygon parameters: %s\n   polygons must have at least three points\n",
                  kxQuoteForMessage(text).c_str());
        points.unalloc();
        return false;
    }
    return true;
}

void KXPolygon::SetToWeighted(const KXShape &a, const KXShape &b, const WeightType &w)
{
    const KXPolygon *pa =
        a.IsMainType(getClassInfo()) ? static_cast<const KXPolygon *>(&a) : nullptr;
    const KXPolygon *pb =
        b.IsMainType(getClassInfo()) ? static_cast<const KXPolygon *>(&b) : nullptr;
    const int n = points.size();
    if (!pa || !pb || pa->points.size() != n || pb->points.size() != n) {
        error.set("Cannot create weighted shape  - incompatible geometry\n");
        return;
    }
    for (int i = 1; i <= n; ++i) {
        const kxPoint va = ReadPoint(pa->points[i]), vb = ReadPoint(pb->points[i]);
        CMDPoint &pt = points[i];
        pt.x = weightedVal(va.x, vb.x, w.wx);
        pt.y = weightedVal(va.y, vb.y, w.wy);
    }
}

bool KXPolygon::Contains(const kxPoint &p, double tol, bool &onBoundary) const
{
    onBoundary = false;
    if (points.size() == 0)
        return false;
    const std::vector<kxPoint> &v = Index().Vertices();
    bool onVertex, onEdge;
    const bool in =
        kxPolygonContains(v.data(), static_cast<int>(v.size()), p, tol, onVertex, onEdge);
    onBoundary = onVertex || onEdge;
    return in;
}

bool KXPolygon::Contains(const kxPoint &p, double tol) const
{
    bool onBoundary;
    return Contains(p, tol, onBoundary);
}

bool KXPolygon::Contains(const kxPoint &p) const
{
    return points.size() != 0 && Index().Contains(p);
}

void KXPolygon::getSize(double &w, double &h) const
{
    const kxRect r = getBoundingRect();
    w = r.right - r.left;
    h = r.top - r.bottom;
}

kxRect KXPolygon::getBoundingRect() const
{
    const std::vector<kxPoint> v = GetVertices();
    return kxBoundsOf(v.data(), static_cast<int>(v.size()));
}

kxRect KXPolygon::getBoundingRectWithPlacement(const KXPlacement &pl) const
{
    std::vector<kxPoint> v = GetVertices();
    for (kxPoint &q : v)
        q = pl.ToAbs(q);
    return kxBoundsOf(v.data(), static_cast<int>(v.size()));
}

double KXPolygon::getBoundingCircle() const
{
    double r = 0.0;
    for (const kxPoint &q : GetVertices())
        r = std::max(r, std::hypot(q.x, q.y));
    return r;
}

void KXPolygon::setSize(double w, double h)
{
    double cw, ch;
    getSize(cw, ch);
    for (int i = 1; i <= points.size(); ++i) {
        CMDPoint &pt = points[i];
        const kxPoint q = ReadPoint(pt);
        if (cw != 0.0)
            pt.x = q.x * (w / std::fabs(cw));
        if (ch != 0.0)
            pt.y = q.y * (h / std::fabs(ch));
    }
}

void KXPolygon::Expand(double d)
{
    const std::vector<kxPoint> v = GetVertices();
    const int n = static_cast<int>(v.size());
    for (int i = 0; i < n; ++i) {
        const kxPoint prev = v[(i + n - 1) % n], cur = v[i], next = v[(i + 1) % n];
        const double e1x = cur.x - prev.x, e1y = cur.y - prev.y;
        const double e2x = next.x - cur.x, e2y = next.y - cur.y;
        const double l1 = std::hypot(e1x, e1y), l2 = std::hypot(e2x, e2y);
        const double cross = e1x * e2y - e1y * e2x;
        if (l1 < kTiny || l2 < kTiny || std::fabs(cross) < kTiny)
            return;
        // Edge k shifted by d along (-dy, dx)/length; the new vertex is where the shifted
        // edges meet: cur + d n1 + s e1 with s e1 - t e2 = d (n2 - n1).
        const double n1x = -e1y / l1, n1y = e1x / l1, n2x = -e2y / l2, n2y = e2x / l2;
        const double rx = d * (n2x - n1x), ry = d * (n2y - n1y);
        const double s = (rx * e2y - ry * e2x) / cross;
        CMDPoint &pt = points[i + 1];
        pt.x = cur.x + d * n1x + s * e1x;
        pt.y = cur.y + d * n1y + s * e1y;
    }
}

KXShape *KXPolygon::CreateRotatedShape(double angle) const
{
    kxTransformMatrix rot;
    rot.Set(angle, 0, 0);
    KXPolygon *poly = new KXPolygon();
    for (const kxPoint &q : GetVertices()) {
        const kxPoint r = rot.Multiply(q);
        poly->AddPoint(r.x, r.y);
    }
    return poly;
}

bool KXPolygon::AreAllParametersValues() const
{
    for (int i = 1; i <= points.size(); ++i)
        if (points[i].x.HasExpression() || points[i].y.HasExpression())
            return false;
    return true;
}
