// Tests of the winding-angle containment rule, its tolerance form and the fast equivalents.
#include "kx/geometry/kxpolygoncontains.h"

#include "kx/geometry/kxpolygon.h"
#include "kx/geometry/kxregularpolygon.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

namespace {

const double kTwoPi = 6.283185307179586;

std::vector<kxPoint> RegularPolygon(int n, double r, kxPoint centre = kxPoint(0, 0))
{
    std::vector<kxPoint> v;
    for (int k = 0; k < n; ++k)
        v.emplace_back(centre.x + r * std::cos(k * kTwoPi / n),
                       centre.y + r * std::sin(k * kTwoPi / n));
    return v;
}

std::vector<kxPoint> Star(int n, double rOuter, double rInner)
{
    std::vector<kxPoint> v;
    for (int k = 0; k < n; ++k) {
        const double r = k % 2 ? rInner : rOuter;
        v.emplace_back(r * std::cos(k * kTwoPi / n), r * std::sin(k * kTwoPi / n));
    }
    return v;
}

List<kxPoint> ToList(const std::vector<kxPoint> &v)
{
    List<kxPoint> l;
    for (const kxPoint &p : v)
        l.append(p);
    return l;
}

/// Points spread over the bounding box, exactly on vertices and edges, and at distances from
/// 1e-16 to 1e-2 of the scale off edges and vertices.
std::vector<kxPoint> TestPoints(const std::vector<kxPoint> &v, int count, unsigned seed)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u01(0.0, 1.0);
    double xmin = v[0].x, xmax = v[0].x, ymin = v[0].y, ymax = v[0].y, scale = 0;
    for (const kxPoint &p : v) {
        xmin = std::min(xmin, p.x), xmax = std::max(xmax, p.x);
        ymin = std::min(ymin, p.y), ymax = std::max(ymax, p.y);
        scale = std::max(scale, std::max(std::fabs(p.x), std::fabs(p.y)));
    }
    const double w = xmax - xmin, h = ymax - ymin;
    std::vector<kxPoint> pts;
    const int n = static_cast<int>(v.size());
    while (static_cast<int>(pts.size()) < count) {
        const int kind = static_cast<int>(pts.size() % 5);
        const int i = static_cast<int>(rng() % n);
        const kxPoint a = v[i], b = v[(i + 1) % n];
        const double d =
            scale * std::pow(10.0, -16.0 + 14.0 * u01(rng)) * (u01(rng) < 0.5 ? -1 : 1);
        const double t = u01(rng);
        const double len = std::hypot(b.x - a.x, b.y - a.y);
        const kxPoint onEdge(a.x + t * (b.x - a.x), a.y + t * (b.y - a.y));
        switch (kind) {
        case 0:
            pts.emplace_back(xmin - 0.1 * w + 1.2 * w * u01(rng),
                             ymin - 0.1 * h + 1.2 * h * u01(rng));
            break;
        case 1: pts.push_back(rng() % 2 ? a : onEdge); break;
        case 2:
            if (len > 0)
                pts.emplace_back(onEdge.x - d * (b.y - a.y) / len,
                                 onEdge.y + d * (b.x - a.x) / len);
            break;
        case 3:
            pts.emplace_back(a.x + d * std::cos(kTwoPi * u01(rng)),
                             a.y + d * std::sin(kTwoPi * u01(rng)));
            break;
        default: // same height as a vertex: the ray passes through it
            pts.emplace_back(xmin - 0.1 * w + 1.2 * w * u01(rng), a.y);
            break;
        }
    }
    return pts;
}

/// The array scan, a kxPolygonIndex and (when given) a shape built on the same outline must all
/// equal the angle sum on 100,000 points.
void ExpectAgreement(const std::vector<kxPoint> &v, const std::string &name, unsigned seed,
                     const KXShape *shape = nullptr)
{
    kxPolygonIndex index;
    index.Build(v.data(), static_cast<int>(v.size()));
    const std::vector<kxPoint> pts = TestPoints(v, 100000, seed);
    int inside = 0, mismatchScan = 0, mismatchIndex = 0, mismatchShape = 0;
    for (const kxPoint &p : pts) {
        const bool ref = kxPolygonContainsByAngle(v.data(), static_cast<int>(v.size()), p);
        inside += ref;
        mismatchScan += kxPolygonContains(v.data(), static_cast<int>(v.size()), p) != ref;
        mismatchIndex += index.Contains(p) != ref;
        if (shape)
            mismatchShape += shape->Contains(p) != ref;
    }
    EXPECT_EQ(mismatchScan, 0) << name;
    EXPECT_EQ(mismatchIndex, 0) << name;
    EXPECT_EQ(mismatchShape, 0) << name;
    // Both answers occur in quantity, so agreement is not agreement on a constant.
    EXPECT_GT(inside, 15000) << name;
    EXPECT_LT(inside, 85000) << name;
}

/// A regular polygon shape and its agreement check.
void ExpectRegularAgreement(int n, double angle, double w, double h, unsigned seed)
{
    KXRegularPolygon reg(n);
    reg.angle = angle;
    reg.setSize(w, h);
    ExpectAgreement(reg.GetVertices(), "regular " + std::to_string(n), seed, &reg);
}

} // namespace

TEST(KXPolygonContainsTest, AngleRuleOnSimpleOutlines)
{
    const std::vector<kxPoint> square = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    const List<kxPoint> sq = ToList(square);
    EXPECT_TRUE(kxPolygonContains(sq, kxPoint(0.5, 0.5)));
    EXPECT_FALSE(kxPolygonContains(sq, kxPoint(1.5, 0.5)));
    EXPECT_FALSE(kxPolygonContains(sq, kxPoint(0.5, -0.01)));
    EXPECT_TRUE(kxPolygonContains(sq, kxPoint(1, 1))); // on a vertex
    EXPECT_TRUE(kxPolygonContains(sq, kxPoint(0, 0)));
    // Either vertex order.
    std::vector<kxPoint> cw(square.rbegin(), square.rend());
    EXPECT_TRUE(kxPolygonContains(ToList(cw), kxPoint(0.25, 0.75)));
    EXPECT_FALSE(kxPolygonContains(ToList(cw), kxPoint(-0.25, 0.75)));
    // Concave: the notch of an L is outside.
    const std::vector<kxPoint> ell = {{0, 0}, {2, 0}, {2, 1}, {1, 1}, {1, 2}, {0, 2}};
    EXPECT_FALSE(kxPolygonContains(ToList(ell), kxPoint(1.5, 1.5)));
    EXPECT_TRUE(kxPolygonContains(ToList(ell), kxPoint(0.5, 1.5)));
    // A pentagram winds twice around its centre: inside by the non-zero rule.
    std::vector<kxPoint> pentagram;
    for (int k = 0; k < 5; ++k)
        pentagram.emplace_back(std::cos(k * 2 * kTwoPi / 5), std::sin(k * 2 * kTwoPi / 5));
    EXPECT_TRUE(kxPolygonContains(ToList(pentagram), kxPoint(0, 0)));
    EXPECT_TRUE(kxPolygonContainsByAngle(pentagram.data(), 5, kxPoint(0, 0)));
    // Empty and degenerate outlines.
    EXPECT_FALSE(kxPolygonContains(List<kxPoint>(), kxPoint(0, 0)));
    const kxPoint one(1, 2);
    EXPECT_TRUE(kxPolygonContains(&one, 1, one));
    EXPECT_FALSE(kxPolygonContains(&one, 1, kxPoint(1, 3)));
}

TEST(KXPolygonContainsTest, ToleranceFlagsOnVerticesAndEdges)
{
    const List<kxPoint> sq = ToList({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
    bool onVertex = true, onEdge = true;
    EXPECT_TRUE(kxPolygonContains(sq, kxPoint(0.5, 0.5), 1e-6, onVertex, onEdge));
    EXPECT_FALSE(onVertex);
    EXPECT_FALSE(onEdge);

    // Edges are visited in order: near vertex 0 the vertex test of edge 0 fires first, while
    // near vertex 2 the edge test of edge 1 does.
    EXPECT_TRUE(kxPolygonContains(sq, kxPoint(-1e-7, 0), 1e-6, onVertex, onEdge));
    EXPECT_TRUE(onVertex);
    EXPECT_FALSE(onEdge);
    EXPECT_TRUE(kxPolygonContains(sq, kxPoint(1 + 1e-7, 1), 1e-6, onVertex, onEdge));
    EXPECT_FALSE(onVertex);
    EXPECT_TRUE(onEdge);
    // Exactly on a vertex counts even with tol 0.
    EXPECT_TRUE(kxPolygonContains(sq, kxPoint(0, 1), 0.0, onVertex, onEdge));
    EXPECT_TRUE(onVertex);

    // Just outside an edge, within tol: on the edge and contained.
    EXPECT_TRUE(kxPolygonContains(sq, kxPoint(1 + 1e-8, 0.5), 1e-6, onVertex, onEdge));
    EXPECT_FALSE(onVertex);
    EXPECT_TRUE(onEdge);
    // The same point with a tighter tol is outside.
    EXPECT_FALSE(kxPolygonContains(sq, kxPoint(1 + 1e-8, 0.5), 1e-10, onVertex, onEdge));
    EXPECT_FALSE(onEdge);
    // Negative tol: the 1.7e-306 threshold; a point exactly on an axis-parallel edge is on it.
    EXPECT_TRUE(kxPolygonContains(sq, kxPoint(0.5, 0), -1.0, onVertex, onEdge));
    EXPECT_TRUE(onEdge);
    // On the line of an edge but beyond its end: not on the edge, and outside.
    EXPECT_FALSE(kxPolygonContains(sq, kxPoint(2, 0), 1e-6, onVertex, onEdge));
    EXPECT_FALSE(onEdge);
    EXPECT_FALSE(onVertex);
    // The flag-less tolerance form.
    EXPECT_TRUE(kxPolygonContains(sq, kxPoint(-1e-9, 0.3), 1e-6));
    EXPECT_FALSE(kxPolygonContains(sq, kxPoint(-1e-3, 0.3), 1e-6));
}

TEST(KXPolygonContainsTest, FastFormsAgreeWithAngleRuleOnRandomPoints)
{
    // Regular polygons through the shape (half-planes) as well; the last one mirrored.
    ExpectRegularAgreement(8, 7.5, 2, 2, 1);
    ExpectRegularAgreement(5, -30, 1, 3, 2);
    ExpectRegularAgreement(64, 0, 3, 1, 3);
    ExpectRegularAgreement(1024, 1, 2, 2, 4);
    ExpectRegularAgreement(12, 200, -2, 1, 9);
    KXPolygon star;
    for (const kxPoint &q : Star(1024, 1.0, 0.45))
        star.AddPoint(q.x, q.y);
    ExpectAgreement(star.GetVertices(), "star 1024", 10, &star);
    ExpectAgreement({{0, 0}, {2, 0}, {2, 1}, {1, 1}, {1, 2}, {0, 2}}, "L", 5);
    // Clockwise, off-centre, large offset.
    std::vector<kxPoint> cw = RegularPolygon(37, 2.0, kxPoint(1e4, -3e3));
    std::reverse(cw.begin(), cw.end());
    ExpectAgreement(cw, "clockwise offset 37", 6);
    // Small scale, repeated and collinear vertices.
    ExpectAgreement({{0, 0}, {1e-6, 0}, {1e-6, 0}, {2e-6, 0}, {2e-6, 2e-6}, {0, 2e-6}, {0, 2e-6}},
                    "tiny with repeats", 7);
    // Self-intersecting: a pentagram with winding number 2 in its centre.
    std::vector<kxPoint> pentagram;
    for (int k = 0; k < 5; ++k)
        pentagram.emplace_back(std::cos(k * 2 * kTwoPi / 5), std::sin(k * 2 * kTwoPi / 5));
    ExpectAgreement(pentagram, "pentagram", 8);
}

TEST(KXPolygonContainsTest, IndexHandlesDegenerateInput)
{
    kxPolygonIndex index;
    EXPECT_FALSE(index.Contains(kxPoint(0, 0)));
    const std::vector<kxPoint> flat = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}};
    index.Build(flat.data(), 5);
    for (double x : {-1.0, 0.0, 0.5, 2.0, 4.0, 5.0})
        EXPECT_EQ(index.Contains(kxPoint(x, 0)),
                  kxPolygonContainsByAngle(flat.data(), 5, kxPoint(x, 0)));
    EXPECT_FALSE(index.Contains(kxPoint(1, 1)));
    for (const std::vector<kxPoint> &bad :
         {std::vector<kxPoint>{{0, 0}, {NAN, 0}, {1, 1}, {0, 1}},
          std::vector<kxPoint>{{0, 0}, {1, NAN}, {1, 1}, {0, 1}},
          std::vector<kxPoint>{{0, 0}, {1, 0}, {1, INFINITY}, {0, 1}}}) {
        index.Build(bad.data(), 4);
        for (const kxPoint &p :
             {kxPoint(0.2, 0.5), kxPoint(0.9, 0.1), kxPoint(0, 0), kxPoint(5, 5)}) {
            EXPECT_EQ(index.Contains(p), kxPolygonContainsByAngle(bad.data(), 4, p));
            EXPECT_EQ(kxPolygonContains(bad.data(), 4, p),
                      kxPolygonContainsByAngle(bad.data(), 4, p));
        }
    }
    const std::vector<kxPoint> sq = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    index.Build(sq.data(), 4);
    EXPECT_FALSE(index.Contains(kxPoint(INFINITY, 0.5)));
    EXPECT_TRUE(index.Contains(kxPoint(0.5, 0.5)));
    index.Clear();
    EXPECT_EQ(index.Size(), 0);
    EXPECT_FALSE(index.Contains(kxPoint(0.5, 0.5)));
}
