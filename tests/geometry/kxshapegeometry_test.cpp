// Tests of the shapes' geometry: containment with and without tolerance, sizes and bounds,
// resizing, expanding and contracting, rotation and weighted blends.
#include "kx/geometry/kxellipse.h"
#include "kx/geometry/kxpolygon.h"
#include "kx/geometry/kxrectangle.h"
#include "kx/geometry/kxregularpolygon.h"

#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>

namespace {

const double kPi = 3.141592653589793;

KXPolygon MakePolygon(std::initializer_list<kxPoint> pts)
{
    KXPolygon p;
    for (const kxPoint &q : pts)
        p.AddPoint(q.x, q.y);
    return p;
}

void ExpectRect(const kxRect &r, double l, double t, double rt, double b, double tol = 1e-12)
{
    EXPECT_NEAR(r.left, l, tol);
    EXPECT_NEAR(r.top, t, tol);
    EXPECT_NEAR(r.right, rt, tol);
    EXPECT_NEAR(r.bottom, b, tol);
}

class ShapeGeometryTest : public ::testing::Test {
protected:
    void SetUp() override { error.reset(); }
    void TearDown() override { error.reset(); }
};

} // namespace

TEST_F(ShapeGeometryTest, RectangleContainment)
{
    KXRectangle r;
    r.setSize(2, 1);
    EXPECT_TRUE(r.Contains(kxPoint(1, 0.5)));     // corner: edges inclusive
    EXPECT_TRUE(r.Contains(kxPoint(-1, 0)));
    EXPECT_FALSE(r.Contains(kxPoint(1.0000001, 0)));
    EXPECT_FALSE(r.Contains(kxPoint(0, -0.5000001)));

    bool onB = true;
    EXPECT_TRUE(r.Contains(kxPoint(0.2, 0.1), 1e-6, onB));
    EXPECT_FALSE(onB);
    EXPECT_TRUE(r.Contains(kxPoint(1 + 1e-7, 0.1), 1e-6, onB));   // just outside, within tol
    EXPECT_TRUE(onB);
    EXPECT_TRUE(r.Contains(kxPoint(0.3, -0.5), 1e-6, onB));
    EXPECT_TRUE(onB);
    EXPECT_FALSE(r.Contains(kxPoint(1 + 1e-5, 0.1), 1e-6, onB));
    EXPECT_FALSE(onB);
    EXPECT_FALSE(r.Contains(kxPoint(0.1, 0.6), 1e-6));
    // Negative tol: the relative comparison; an exact edge point is on the boundary.
    EXPECT_TRUE(r.Contains(kxPoint(1, 0.2), -1, onB));
    EXPECT_TRUE(onB);
    EXPECT_FALSE(r.Contains(kxPoint(1 + 1e-9, 0.2), -1, onB));
    // tol 0: nothing is within it, so an edge point is inside but not on the boundary.
    EXPECT_TRUE(r.Contains(kxPoint(1, 0.2), 0.0, onB));
    EXPECT_FALSE(onB);
    EXPECT_FALSE(r.Contains(kxPoint(1 + 1e-12, 0.2), 0.0, onB));
}

TEST_F(ShapeGeometryTest, EllipseContainmentAndToleranceRule)
{
    KXEllipse e;
    e.setSize(4, 2);   // semi-axes 2 and 1
    EXPECT_TRUE(e.Contains(kxPoint(2, 0)));
    EXPECT_TRUE(e.Contains(kxPoint(0, -1)));
    EXPECT_TRUE(e.Contains(kxPoint(1, 0.8)));
    EXPECT_FALSE(e.Contains(kxPoint(1.5, 0.7)));

    bool onB = true;
    const double tol = 1e-3;
    // A point tol/2 outside the rim: its inner neighbour is inside, so it is on the boundary.
    EXPECT_TRUE(e.Contains(kxPoint(2 + tol / 2, 0), tol, onB));
    EXPECT_TRUE(onB);
    EXPECT_TRUE(e.Contains(kxPoint(0.5, 0.2), tol, onB));
    EXPECT_FALSE(onB);
    EXPECT_FALSE(e.Contains(kxPoint(2 + 3 * tol, 0), tol, onB));
    EXPECT_FALSE(onB);
    EXPECT_TRUE(e.Contains(kxPoint(0, 1 - tol / 2), tol, onB));   // inside, near the rim
    EXPECT_TRUE(onB);
    // Negative tol: onBoundary only for exactly q == 1.
    EXPECT_TRUE(e.Contains(kxPoint(2, 0), -1, onB));
    EXPECT_TRUE(onB);
    EXPECT_TRUE(e.Contains(kxPoint(1.9, 0), -1, onB));
    EXPECT_FALSE(onB);
    EXPECT_FALSE(e.Contains(kxPoint(2.1, 0), -1, onB));

    // Degenerate ellipses contain nothing.
    e.setSize(0, 2);
    EXPECT_FALSE(e.Contains(kxPoint(0, 0)));
    e.setSize(3, 1e-307);
    EXPECT_FALSE(e.Contains(kxPoint(0, 0)));
}

TEST_F(ShapeGeometryTest, PolygonAndRegularPolygonContainment)
{
    KXPolygon tri = MakePolygon({{0, 0}, {2, 0}, {0, 2}});
    EXPECT_TRUE(tri.Contains(kxPoint(2, 0)));        // vertex
    EXPECT_TRUE(tri.Contains(kxPoint(0.5, 0.5)));
    EXPECT_FALSE(tri.Contains(kxPoint(1.5, 1.5)));
    EXPECT_FALSE(KXPolygon().Contains(kxPoint(0, 0)));   // empty list
    bool onB = false;
    EXPECT_TRUE(tri.Contains(kxPoint(1, 1 + 1e-9), 1e-6, onB));   // on the hypotenuse, within tol
    EXPECT_TRUE(onB);
    EXPECT_TRUE(tri.Contains(kxPoint(0.5, 0.25), 1e-6, onB));
    EXPECT_FALSE(onB);
    EXPECT_FALSE(tri.Contains(kxPoint(1.2, 1.2), 1e-6));
    // Changing a vertex directly is seen by the next query.
    tri.points[2].x = 4.0;
    EXPECT_TRUE(tri.Contains(kxPoint(1.5, 0.4)));
    EXPECT_FALSE(tri.Contains(kxPoint(1.5, 1.5)));
    tri.points[2].x = 1.0;
    EXPECT_FALSE(tri.Contains(kxPoint(1.5, 0.1)));

    KXRegularPolygon sq(4);
    sq.setSize(2, 2);   // vertices (1,0), (0,1), (-1,0), (0,-1) up to rounding
    EXPECT_TRUE(sq.Contains(sq.GetVertices()[1]));
    EXPECT_TRUE(sq.Contains(kxPoint(0.4, 0.4)));
    EXPECT_FALSE(sq.Contains(kxPoint(0.6, 0.6)));
    EXPECT_TRUE(sq.Contains(kxPoint(0.5 + 1e-9, 0.5), 1e-6, onB));
    EXPECT_TRUE(onB);
    sq.angle = 45.0;   // now axis-aligned with half side sqrt(1/2)
    EXPECT_TRUE(sq.Contains(kxPoint(0.6, 0.6)));
    sq.numvertices = 2;   // fewer than three vertices contain nothing
    EXPECT_FALSE(sq.Contains(kxPoint(0, 0)));
    EXPECT_FALSE(sq.Contains(kxPoint(0, 0), 1.0));
    // A stretched regular polygon is inscribed in its ellipse.
    KXRegularPolygon hex(6);
    hex.setSize(4, 2);
    EXPECT_TRUE(hex.Contains(kxPoint(2, 0)));
    EXPECT_FALSE(hex.Contains(kxPoint(0, 0.95)));   // top edge at y = sin 60 = 0.866
    EXPECT_TRUE(hex.Contains(kxPoint(0, 0.85)));
}

TEST_F(ShapeGeometryTest, SizesBoundsAndCircles)
{
    KXRectangle r;
    r.setSize(4, 2);
    double w, h;
    r.getSize(w, h);
    EXPECT_EQ(w, 4.0);
    EXPECT_EQ(h, 2.0);
    ExpectRect(r.getBoundingRect(), -2, 1, 2, -1);
    EXPECT_DOUBLE_EQ(r.getBoundingCircle(), std::sqrt(5.0));
    EXPECT_EQ(r.GetMinLinearDimension(), 2.0);
    ExpectRect(r.getBoundingRectWithPlacement(KXPlacement(10, 20, 90, 1)), 9, 22, 11, 18);

    KXEllipse e;
    e.setSize(4, 2);
    EXPECT_EQ(e.getBoundingCircle(), 2.0);
    EXPECT_EQ(e.GetMinLinearDimension(), 2.0);
    ExpectRect(e.getBoundingRect(), -2, 1, 2, -1);
    ExpectRect(e.getBoundingRectWithPlacement(KXPlacement(0, 0, 90, 1)), -1, 2, 1, -2);
    const double ex = std::sqrt(4 * 0.5 + 1 * 0.5);   // rotated 45 degrees
    ExpectRect(e.getBoundingRectWithPlacement(KXPlacement(1, 0, 45, 1)), 1 - ex, ex, 1 + ex, -ex);
    // z-x plane: horizontal offset z, vertical offset x.
    ExpectRect(e.getBoundingRectWithPlacement(KXPlacement(5, 3, 0, 0)), 3, 4, 7, 2);

    KXPolygon p = MakePolygon({{1, 1}, {4, 1}, {4, 3}, {1, 3}});
    p.getSize(w, h);
    EXPECT_EQ(w, 3.0);
    EXPECT_EQ(h, 2.0);
    ExpectRect(p.getBoundingRect(), 1, 3, 4, 1);
    EXPECT_DOUBLE_EQ(p.getBoundingCircle(), 5.0);
    EXPECT_EQ(p.GetMinLinearDimension(), 0.0);   // deliberately
    ExpectRect(p.getBoundingRectWithPlacement(KXPlacement(0, 0, 180, 1)), -4, -1, -1, -3);
    EXPECT_EQ(KXPolygon().getBoundingCircle(), 0.0);

    KXRegularPolygon hex(6);
    hex.setSize(2, 2);
    hex.getSize(w, h);
    EXPECT_EQ(w, 2.0);
    ExpectRect(hex.getBoundingRect(), -1, std::sin(kPi / 3), 1, -std::sin(kPi / 3));
    EXPECT_DOUBLE_EQ(hex.getBoundingCircle(), 1.0);
    EXPECT_EQ(hex.GetMinLinearDimension(), 2.0);
    ExpectRect(hex.getBoundingRectWithPlacement(KXPlacement(0, 0, 90, 1)), -std::sin(kPi / 3), 1,
               std::sin(kPi / 3), -1);
}

TEST_F(ShapeGeometryTest, ResizeExpandContract)
{
    // A polygon not centred on the origin is scaled about the origin, so it moves.
    KXPolygon p = MakePolygon({{1, 1}, {3, 1}, {3, 2}, {1, 2}});
    p.setSize(4, 3);
    EXPECT_EQ(p.getDefString(), KXString("POLYGON(2,3,6,3,6,6,2,6)"));
    KXPolygon flat = MakePolygon({{1, 1}, {3, 1}, {2, 1}});
    flat.setSize(4, 5);   // zero height: y left alone
    EXPECT_EQ(flat.getDefString(), KXString("POLYGON(2,1,6,1,4,1)"));

    // Counter-clockwise outline: the edge normals (-dy, dx) point inward, so d > 0 shrinks it.
    KXPolygon sq = MakePolygon({{0, 0}, {4, 0}, {4, 4}, {0, 4}});
    sq.Expand(1);
    EXPECT_EQ(sq.getDefString(), KXString("POLYGON(1,1,3,1,3,3,1,3)"));
    sq.Contract(1);
    EXPECT_EQ(sq.getDefString(), KXString("POLYGON(0,0,4,0,4,4,0,4)"));
    // Clockwise: the same d grows it.
    KXPolygon cw = MakePolygon({{0, 0}, {0, 4}, {4, 4}, {4, 0}});
    cw.Expand(1);
    EXPECT_EQ(cw.getDefString(), KXString("POLYGON(-1,-1,-1,5,5,5,5,-1)"));
    // A collinear vertex stops the pass there: it and the vertices after it stay put.
    KXPolygon col = MakePolygon({{0, 0}, {2, 0}, {4, 0}, {4, 4}, {0, 4}});
    col.Expand(1);
    EXPECT_EQ(col.getDefString(), KXString("POLYGON(1,1,2,0,4,0,4,4,0,4)"));
    // Every new vertex comes from the outline before the call (a non-square check).
    KXPolygon tri = MakePolygon({{0, 0}, {6, 0}, {0, 6}});
    tri.Expand(1);
    const double s2 = std::sqrt(2.0);
    EXPECT_NEAR(tri.points[1].x, 1, 1e-12);
    EXPECT_NEAR(tri.points[1].y, 1, 1e-12);
    EXPECT_NEAR(tri.points[2].x, 5 - s2, 1e-12);   // on y = 1 and x + y = 6 - sqrt 2
    EXPECT_NEAR(tri.points[2].y, 1, 1e-12);
    EXPECT_NEAR(tri.points[3].x, 1, 1e-12);
    EXPECT_NEAR(tri.points[3].y, 5 - s2, 1e-12);

    KXRectangle r;
    r.setSize(1, 3);
    r.Expand(0.5);
    double w, h;
    r.getSize(w, h);
    EXPECT_EQ(w, 2.0);
    EXPECT_EQ(h, 4.0);
    r.Contract(1.5);   // narrower than 2d: the negative width is kept
    r.getSize(w, h);
    EXPECT_EQ(w, -1.0);
    EXPECT_EQ(h, 1.0);
    EXPECT_FALSE(r.Contains(kxPoint(0, 0)));

    KXEllipse e;
    e.Expand(1);
    e.getSize(w, h);
    EXPECT_EQ(w, 3.0);
    KXRegularPolygon reg(5);
    reg.Contract(0.25);
    reg.getSize(w, h);
    EXPECT_EQ(h, 0.5);
}

TEST_F(ShapeGeometryTest, Rotation)
{
    KXRectangle r;
    r.setSize(2, 4);
    std::unique_ptr<KXShape> rr(r.CreateRotatedShape(90));
    ASSERT_TRUE(rr->IsMainType(&KXPolygon::ms_classInfo));
    EXPECT_EQ(rr->getDefString(), KXString("POLYGON(2,-1,2,1,-2,1,-2,-1)"));
    double w, h;
    rr->getSize(w, h);
    EXPECT_EQ(w, 4.0);
    EXPECT_EQ(h, 2.0);

    KXPolygon p = MakePolygon({{1, 0}, {2, 0}, {2, 1}});
    std::unique_ptr<KXShape> pr(p.CreateRotatedShape(180));
    EXPECT_EQ(pr->getDefString(), KXString("POLYGON(-1,0,-2,0,-2,-1)"));
    EXPECT_TRUE(pr->AreAllParametersValues());

    KXRegularPolygon reg(7);
    reg.angle = 10.0;
    reg.setSize(3, 2);
    std::unique_ptr<KXShape> regr(reg.CreateRotatedShape(25));
    EXPECT_EQ(regr->getDefString(), KXString("REGPOLY(7,35,3,2)"));

    KXEllipse e;
    e.setSize(4, 2);
    std::unique_ptr<KXShape> e90(e.CreateRotatedShape(-270));
    EXPECT_EQ(e90->getDefString(), KXString("ELLIPSE(2,4)"));
    std::unique_ptr<KXShape> e180(e.CreateRotatedShape(180));
    EXPECT_EQ(e180->getDefString(), KXString("ELLIPSE(4,2)"));
    std::unique_ptr<KXShape> e30(e.CreateRotatedShape(30));
    ASSERT_TRUE(e30->IsMainType(&KXPolygon::ms_classInfo));
    const KXPolygon &poly = static_cast<const KXPolygon &>(*e30);
    EXPECT_GE(poly.points.size(), 8);
    // Every point lies on the rotated ellipse.
    for (const kxPoint &q : poly.GetVertices()) {
        const double c = std::cos(-30 * kPi / 180), s = std::sin(-30 * kPi / 180);
        const double x = c * q.x - s * q.y, y = s * q.x + c * q.y;
        EXPECT_NEAR(x * x / 4 + y * y, 1.0, 1e-12);
    }
    // A larger ellipse gets a finer polygon (arc step sqrt(1/r)).
    e.setSize(200, 100);
    std::unique_ptr<KXShape> big(e.CreateRotatedShape(30));
    EXPECT_GT(static_cast<const KXPolygon &>(*big).points.size(), 60);
}

TEST_F(ShapeGeometryTest, WeightedBlends)
{
    KXRectangle a, b, r;
    a.setSize(2, 4);
    b.setSize(4, 8);
    r.SetToWeighted(a, b, WeightType(0.5, 0.25, 0.9));
    double w, h;
    r.getSize(w, h);
    EXPECT_EQ(w, 3.0);
    EXPECT_EQ(h, 5.0);
    EXPECT_EQ(static_cast<int>(error), 0);

    KXEllipse e;
    r.SetToWeighted(a, e, WeightType(1, 1, 1));
    EXPECT_STREQ(error.chars(), "Cannot created weighted shape  - incompatible geometry\n");
    r.getSize(w, h);
    EXPECT_EQ(w, 3.0);   // unchanged
    error.reset();
    e.SetToWeighted(a, b, WeightType(1, 1, 1));
    EXPECT_STREQ(error.chars(), "Cannot created weighted shape  - incompatible geometry\n");
    error.reset();
    KXEllipse ea, eb;
    eb.setSize(3, 5);
    e.SetToWeighted(ea, eb, WeightType(0.5, 1, 0));
    e.getSize(w, h);
    EXPECT_EQ(w, 2.0);
    EXPECT_EQ(h, 5.0);

    KXPolygon pa = MakePolygon({{0, 0}, {2, 0}, {0, 2}});
    KXPolygon pb = MakePolygon({{2, 2}, {6, 2}, {2, 10}});
    KXPolygon pc = MakePolygon({{9, 9}, {9, 9}, {9, 9}});
    pc.SetToWeighted(pa, pb, WeightType(0.5, 0.25, 0));
    EXPECT_EQ(pc.getDefString(), KXString("POLYGON(1,0.5,4,0.5,1,4)"));
    KXPolygon four = MakePolygon({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
    four.SetToWeighted(pa, pb, WeightType(0.5, 0.5, 0.5));
    EXPECT_STREQ(error.chars(), "Cannot create weighted shape  - incompatible geometry\n");
    EXPECT_EQ(four.getDefString(), KXString("POLYGON(0,0,1,0,1,1,0,1)"));
    error.reset();
    pc.SetToWeighted(pa, r, WeightType(0.5, 0.5, 0.5));
    EXPECT_STREQ(error.chars(), "Cannot create weighted shape  - incompatible geometry\n");
    error.reset();

    // Regular polygons: no compatibility test, the vertex count stays, angle by the overall weight.
    KXRegularPolygon ra(5), rb(9), rc(3);
    ra.angle = 0.0;
    rb.angle = 90.0;
    rb.setSize(3, 5);
    rc.SetToWeighted(ra, rb, WeightType(0.5, 0.5, 0.5));
    EXPECT_EQ(rc.getDefString(), KXString("REGPOLY(3,45,2,3)"));
    EXPECT_EQ(static_cast<int>(error), 0);
}
