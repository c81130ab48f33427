// Tests of the plane geometry functions: lengths, angles, lines, rectangles, polygons and
// intersections, with the integer screen-rectangle twins.
#include "kx/geometry/kxplanegeom.h"

#include <gtest/gtest.h>

#include "kx/geometry/kxpolygoncontains.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace {

constexpr double kPi = 3.141592653589793;

void ExpectNear(const kxPoint &expected, const kxPoint &actual, double eps = 1e-12)
{
    EXPECT_NEAR(expected.x, actual.x, eps);
    EXPECT_NEAR(expected.y, actual.y, eps);
}

kxPointVector Square(double x0, double y0, double side)
{
    return {kxPoint(x0, y0), kxPoint(x0 + side, y0), kxPoint(x0 + side, y0 + side),
            kxPoint(x0, y0 + side)};
}

} // namespace

TEST(KXPlaneGeomTest, LengthsAnglesAndRotation)
{
    double r = 0, a = 0;
    kxCartesianToPolar(kxPoint(-3, 4), r, a);
    EXPECT_DOUBLE_EQ(5.0, r);
    ExpectNear(kxPoint(-3, 4), kxPolarToCartesian(r, a));
    EXPECT_DOUBLE_EQ(5.0, kxGetDistance(kxPoint(1, 1), kxPoint(4, 5)));
    EXPECT_DOUBLE_EQ(135.0, kxGetAngleDegrees(kxPoint(1, 1), kxPoint(0, 2)));
    EXPECT_DOUBLE_EQ(-90.0, kxGetAngleDegrees(kxPoint(0, -2)));
    EXPECT_EQ(kxPoint(2, 3), kxGetMidpoint(kxPoint(1, 1), kxPoint(3, 5)));
    EXPECT_EQ(kxPoint(2, 3), kxGetVectorMidpoint(kxPoint(1, 1), kxPoint(3, 5)));

    ExpectNear(kxPoint(-2, 1), kxRotateDegrees(kxPoint(1, 2), 90));
    ExpectNear(kxPoint(-1, 0), kxRotateRadians(kxPoint(1, 0), kPi));
    kxPoint p(2, 1);
    kxRotateAroundPoint(kxPoint(1, 1), p, kPi / 2);
    ExpectNear(kxPoint(1, 2), p);
}

TEST(KXPlaneGeomTest, LinesByPointAndAngle)
{
    const kxPoint o(1, 1);
    // Direction 45 degrees: (0, 2) lies to the left, (2, 0) to the right.
    EXPECT_NEAR(std::sqrt(2.0), kxGetDistanceFromLine(kxPoint(0, 2), o, kPi / 4), 1e-12);
    EXPECT_NEAR(-std::sqrt(2.0), kxGetDistanceFromLine(kxPoint(2, 0), o, kPi / 4), 1e-12);
    EXPECT_NEAR(-std::sqrt(2.0), kxGetDistanceAlongLine(kxPoint(0, 0), o, kPi / 4), 1e-12);
    EXPECT_TRUE(kxIsPointOnLine(kxPoint(3, 3), o, kPi / 4, 1e-9));
    EXPECT_FALSE(kxIsPointOnLine(kxPoint(3, 3.01), o, kPi / 4, 1e-3));
    EXPECT_TRUE(kxIsPointOnLine(kxPoint(3, 3.01), o, kPi / 4, 1e-2));
}

TEST(KXPlaneGeomTest, LinesByTwoPoints)
{
    const kxPoint a(0, 0), b(4, 0);
    EXPECT_DOUBLE_EQ(3.0, kxGetDistanceAlongLine(kxPoint(3, 7), a, b));
    EXPECT_DOUBLE_EQ(0.0, kxGetDistanceAlongLine(kxPoint(3, 7), a, a));
    // Nearest point: clamped to the segment's ends; a degenerate segment gives a.
    EXPECT_EQ(kxPoint(3, 0), kxGetNearestPointOnLine(kxPoint(3, 7), a, b));
    EXPECT_EQ(b, kxGetNearestPointOnLine(kxPoint(9, 1), a, b));
    EXPECT_EQ(a, kxGetNearestPointOnLine(kxPoint(-2, -1), a, b));
    EXPECT_EQ(kxPoint(5, 5), kxGetNearestPointOnLine(kxPoint(9, 1), kxPoint(5, 5), kxPoint(5, 5)));
    // The pick capsule: along tolerance past the ends, across tolerance on both sides.
    EXPECT_TRUE(kxLineIsNearby(kxPoint(2, 0.5), a, b, 0.1, 0.5));
    EXPECT_TRUE(kxLineIsNearby(kxPoint(2, -0.5), a, b, 0.1, 0.5));
    EXPECT_FALSE(kxLineIsNearby(kxPoint(2, 0.6), a, b, 0.1, 0.5));
    EXPECT_TRUE(kxLineIsNearby(kxPoint(4.1, 0), a, b, 0.2, 0.5));
    EXPECT_FALSE(kxLineIsNearby(kxPoint(4.3, 0), a, b, 0.2, 0.5));
    EXPECT_FALSE(kxLineIsNearby(kxPoint(-0.3, 0), a, b, 0.2, 0.5));
}

TEST(KXPlaneGeomTest, AnglesMeansAndDifferences)
{
    EXPECT_DOUBLE_EQ(0.0, kxGetMeanDegrees(350, 10));
    EXPECT_DOUBLE_EQ(0.0, kxGetMeanDegrees(10, 350));
    EXPECT_DOUBLE_EQ(20.0, kxGetMeanDegrees(10, 30));
    EXPECT_DOUBLE_EQ(20.0, kxGetMeanDegrees(370, -330));
    EXPECT_DOUBLE_EQ(355.0, kxGetMeanDegrees(-10, 0));
    EXPECT_DOUBLE_EQ(270.0, kxGetMeanDegrees(0, 180));   // exactly 180 apart: second branch

    EXPECT_DOUBLE_EQ(kPi, kxLimitAngle(kPi));
    EXPECT_DOUBLE_EQ(kPi, kxLimitAngle(-kPi));
    EXPECT_NEAR(0.0, kxLimitAngle(2 * kPi), 1e-15);
    EXPECT_NEAR(-kPi / 2, kxLimitAngle(3 * kPi / 2 + 4 * kPi), 1e-12);
    EXPECT_DOUBLE_EQ(180.0, kxLimitAngleDegrees(-180));
    EXPECT_DOUBLE_EQ(180.0, kxLimitAngleDegrees(540));
    EXPECT_DOUBLE_EQ(-170.0, kxLimitAngleDegrees(190));
    EXPECT_TRUE(std::isnan(kxLimitAngle(NAN)));

    EXPECT_DOUBLE_EQ(20.0, kxGetAngleDifferenceDegrees(350, 10));
    EXPECT_DOUBLE_EQ(-20.0, kxGetAngleDifferenceDegrees(10, 350));
    EXPECT_DOUBLE_EQ(180.0, kxGetAngleDifferenceDegrees(90, -90));
    EXPECT_DOUBLE_EQ(180.0, kxGetAngleDifferenceDegrees(-90, 90));
    EXPECT_NEAR(0.2, kxGetAngleDifferenceRadians(kPi - 0.1, -kPi + 0.1), 1e-12);
    EXPECT_NEAR(-0.2, kxGetAngleDifferenceRadians(-kPi + 0.1, kPi - 0.1 + 6 * kPi), 1e-12);
}

TEST(KXPlaneGeomTest, CurvesCircumferenceAndArcStep)
{
    EXPECT_DOUBLE_EQ(2 * kPi, kxGetEllipseCircumference(1, 1));
    EXPECT_NEAR(9.68842109767, kxGetEllipseCircumference(2, 1), 1e-9);   // pi (9 - sqrt(35))
    EXPECT_EQ(0.0, kxGetEllipseCircumference(-1, 1));
    EXPECT_EQ(0.0, kxGetEllipseCircumference(1, -1e-300));
    EXPECT_DOUBLE_EQ(0.5, kxGetArcApproximationAngle(4));
    EXPECT_DOUBLE_EQ(kPi / 2, kxGetArcApproximationAngle(0));
    EXPECT_DOUBLE_EQ(kPi / 2, kxGetArcApproximationAngle(-1));
}

TEST(KXPlaneGeomTest, RectanglesHalfOpenAndTolerance)
{
    const kxRect r(0, 1, 1, 0);
    EXPECT_TRUE(kxIsPointInRect(r, 0, 0));
    EXPECT_FALSE(kxIsPointInRect(r, 1, 0.5));
    EXPECT_FALSE(kxIsPointInRect(r, kxPoint(0.5, 1)));
    EXPECT_TRUE(kxIsPointInRect(r, 1, 0.5, 0.1));
    EXPECT_TRUE(kxIsPointInRect(r, kxPoint(-0.05, 1.05), 0.1));
    EXPECT_FALSE(kxIsPointInRect(r, kxPoint(0.5, 1.1), 0.1));   // grown top edge stays outside
    EXPECT_FALSE(kxIsPointInRect(r, 1, 0.5, -0.1));

    kxRect g = r;
    kxGrowRect(g, 0.5, 2);
    EXPECT_EQ(kxRect(-0.5, 3, 1.5, -2), g);
    kxDisplaceRect(g, kxPoint(1, -1));
    EXPECT_EQ(kxRect(0.5, 2, 2.5, -3), g);
    EXPECT_EQ(kxRect(1, 2, 2, 1), kxGetDisplacedRect(r, 1, 1));
}

TEST(KXPlaneGeomTest, RectangleRelations)
{
    EXPECT_TRUE(kxRangesCollide(0, 1, 1, 2));      // touching ends collide
    EXPECT_TRUE(kxRangesCollide(2, 3, 0, 10));     // containment
    EXPECT_FALSE(kxRangesCollide(0, 1, 1.5, 2));

    const kxRect r(0, 2, 2, 0);
    EXPECT_TRUE(kxRectsCollide(r, kxRect(2, 3, 3, 2)));   // corner touch
    EXPECT_FALSE(kxRectsCollide(r, kxRect(1, 5, 3, 2.5)));
    EXPECT_TRUE(kxRectIsEnclosed(kxRect(0, 2, 1, 1), r));
    EXPECT_FALSE(kxRectIsEnclosed(kxRect(0, 2.5, 1, 1), r));

    kxRect common(9, 9, 9, 9);
    EXPECT_TRUE(kxIntersectRects(common, r, kxRect(1, 5, 3, 1)));
    EXPECT_EQ(kxRect(1, 2, 2, 1), common);
    EXPECT_TRUE(kxIntersectRects(common, r, kxRect(2, 1, 4, -1)));
    EXPECT_EQ(kxRect(2, 1, 2, 0), common);
    EXPECT_FALSE(kxIntersectRects(common, r, kxRect(3, 1, 4, -1)));
    EXPECT_EQ(kxRect(2, 1, 2, 0), common);   // untouched on failure

    kxRect acc = kxGetEmptyRect();
    kxAccumulateRect(acc, kxRect(1, 2, 3, 1));
    kxAccumulateRect(acc, kxRect(5, -1, 4, 0));   // inverted: adds nothing
    kxAccumulateRect(acc, kxRect(-1, 0.5, 0, -4));
    EXPECT_EQ(kxRect(-1, 2, 3, -4), acc);
    kxRect basic;   // (0, 0, 0, 0): the basic form keeps the origin in
    kxAccumulateRectBasic(basic, kxRect(1, 2, 3, 1));
    EXPECT_EQ(kxRect(0, 2, 3, 0), basic);
}

TEST(KXPlaneGeomTest, LineClippingAndSortPoints)
{
    const kxRect r(0, 1, 2, 0);
    double x1 = -1, y1 = 0.5, x2 = 3, y2 = 0.5;
    EXPECT_TRUE(kxLimitLineToRect(r, x1, y1, x2, y2));
    EXPECT_EQ(0.0, x1);
    EXPECT_EQ(2.0, x2);
    EXPECT_EQ(0.5, y1);
    kxPoint p(-1, -1), q(3, 3);   // diagonal through the corner (0, 0) and out at (1, 1)
    EXPECT_TRUE(kxLimitLineToRect(r, p, q));
    ExpectNear(kxPoint(0, 0), p);
    ExpectNear(kxPoint(1, 1), q);
    kxPoint in1(0.25, 0.25), in2(1.75, 0.75);
    EXPECT_TRUE(kxLimitLineToRect(r, in1, in2));
    EXPECT_EQ(kxPoint(0.25, 0.25), in1);   // inside: untouched
    EXPECT_EQ(kxPoint(1.75, 0.75), in2);
    EXPECT_FALSE(kxIsLineInRect(r, -1, 2, 3, 2));
    EXPECT_TRUE(kxIsLineInRect(r, -1, 2, 1, 0));   // touches the corner (0, 1)
    EXPECT_FALSE(kxIsLineInRect(r, 3, 0.5, 3, 0.5));
    EXPECT_TRUE(kxIsLineInRect(r, 1, 0.5, 1, 0.5));

    kxPoint a(3, 1), b(1, 2);
    kxSortPoints(a, b, false);
    EXPECT_EQ(kxPoint(1, 1), a);
    EXPECT_EQ(kxPoint(3, 2), b);
    kxSortPoints(a, b, true);   // already in order by y
    EXPECT_EQ(kxPoint(1, 1), a);
}

TEST(KXPlaneGeomTest, PolygonProperties)
{
    const kxPointVector sq = Square(1, 2, 3);
    EXPECT_EQ(kxRect(1, 5, 4, 2), kxGetPolygonBoundingRect(sq));
    EXPECT_EQ(kxRect(), kxGetPolygonBoundingRect(kxPointVector()));
    EXPECT_TRUE(kxCheckPolygonVerticesAntiClockwise(sq));
    EXPECT_FALSE(kxCheckPolygonVerticesAntiClockwise(kxPointVector(sq.rbegin(), sq.rend())));
    EXPECT_FALSE(kxCheckPolygonVerticesAntiClockwise({kxPoint(0, 0), kxPoint(1, 1), kxPoint(2, 2)}));
    EXPECT_DOUBLE_EQ(18.0, kxGetPolygonSignedArea2(sq));

    EXPECT_FALSE(kxCheckPolygonEdgesIntersect(sq));
    EXPECT_FALSE(kxCheckPolygonEdgesIntersect(
        {kxPoint(0, 0), kxPoint(0, 0), kxPoint(2, 0), kxPoint(2, 2), kxPoint(0, 2), kxPoint(0, 0)}));
    EXPECT_FALSE(kxCheckPolygonEdgesIntersect(   // concave but simple
        {kxPoint(0, 0), kxPoint(4, 0), kxPoint(4, 4), kxPoint(2, 1), kxPoint(0, 4)}));
    EXPECT_TRUE(kxCheckPolygonEdgesIntersect(   // bow tie
        {kxPoint(0, 0), kxPoint(2, 2), kxPoint(2, 0), kxPoint(0, 2)}));
    EXPECT_TRUE(kxCheckPolygonEdgesIntersect(   // a vertex touching another edge
        {kxPoint(0, 0), kxPoint(4, 0), kxPoint(4, 4), kxPoint(2, 0), kxPoint(0, 4)}));
    EXPECT_TRUE(kxCheckPolygonEdgesIntersect(   // a spike folding back on its edge
        {kxPoint(0, 0), kxPoint(4, 0), kxPoint(2, 0), kxPoint(2, 3)}));
}

TEST(KXPlaneGeomTest, IntersectLinesByAngle)
{
    kxPoint r;
    ASSERT_TRUE(kxIntersectLines(kxPoint(0, 1), 0.0, kxPoint(3, 0), kPi / 2, r));
    ExpectNear(kxPoint(3, 1), r);
    ASSERT_TRUE(kxIntersectLines(kxPoint(0, 0), kPi / 4, kxPoint(2, 0), 3 * kPi / 4, r));
    ExpectNear(kxPoint(1, 1), r);
    r = kxPoint(7, 7);
    EXPECT_FALSE(kxIntersectLines(kxPoint(0, 0), 0.0, kxPoint(0, 1), kPi, r));   // anti-parallel
    EXPECT_FALSE(kxIntersectLines(kxPoint(0, 0), 1.0, kxPoint(5, 1), 1.0, r));
    EXPECT_EQ(kxPoint(7, 7), r);
}

TEST(KXPlaneGeomTest, GeneralSegmentRoutine)
{
    kxPoint p1, p2;
    double t1 = 0, t2 = 0;
    // Crossing.
    ASSERT_EQ(1, kxIntersectLines(kxPoint(0, 0), kxPoint(4, 0), kxPoint(1, -1), kxPoint(1, 3), p1, p2, t1, t2, -1));
    EXPECT_EQ(kxPoint(1, 0), p1);
    EXPECT_DOUBLE_EQ(0.25, t1);
    EXPECT_DOUBLE_EQ(0.25, t2);
    // Touching at an end, and just missing it unless within tol.
    ASSERT_EQ(1, kxIntersectLines(kxPoint(0, 0), kxPoint(4, 0), kxPoint(2, 0), kxPoint(2, 3), p1, p2, t1, t2, -1));
    EXPECT_EQ(kxPoint(2, 0), p1);
    EXPECT_EQ(0.0, t2);
    EXPECT_EQ(0, kxIntersectLines(kxPoint(0, 0), kxPoint(4, 0), kxPoint(2, 0.01), kxPoint(2, 3), p1, p2, t1, t2, -1));
    EXPECT_EQ(1, kxIntersectLines(kxPoint(0, 0), kxPoint(4, 0), kxPoint(2, 0.01), kxPoint(2, 3), p1, p2, t1, t2, 0.02));
    // Not reaching, and parallel apart.
    EXPECT_EQ(0, kxIntersectLines(kxPoint(0, 0), kxPoint(1, 0), kxPoint(2, -1), kxPoint(2, 1), p1, p2, t1, t2, -1));
    EXPECT_EQ(0, kxIntersectLines(kxPoint(0, 0), kxPoint(4, 0), kxPoint(0, 1), kxPoint(4, 1), p1, p2, t1, t2, -1));
    // Collinear: overlap, end-to-end touch, apart.
    ASSERT_EQ(2, kxIntersectLines(kxPoint(0, 0), kxPoint(4, 4), kxPoint(3, 3), kxPoint(1, 1), p1, p2, t1, t2, -1));
    EXPECT_EQ(kxPoint(1, 1), p1);
    EXPECT_EQ(kxPoint(3, 3), p2);
    EXPECT_DOUBLE_EQ(0.25, t1);
    EXPECT_DOUBLE_EQ(0.75, t2);
    ASSERT_EQ(1, kxIntersectLines(kxPoint(0, 0), kxPoint(2, 0), kxPoint(2, 0), kxPoint(5, 0), p1, p2, t1, t2, -1));
    EXPECT_EQ(kxPoint(2, 0), p1);
    EXPECT_EQ(1.0, t1);
    EXPECT_EQ(0.0, t2);
    EXPECT_EQ(0, kxIntersectLines(kxPoint(0, 0), kxPoint(2, 0), kxPoint(3, 0), kxPoint(5, 0), p1, p2, t1, t2, -1));
    // Zero-length segments.
    ASSERT_EQ(1, kxIntersectLines(kxPoint(1, 1), kxPoint(1, 1), kxPoint(0, 0), kxPoint(4, 4), p1, p2, t1, t2, -1));
    EXPECT_DOUBLE_EQ(0.25, t2);
    EXPECT_EQ(0, kxIntersectLines(kxPoint(1, 2), kxPoint(1, 2), kxPoint(0, 0), kxPoint(4, 4), p1, p2, t1, t2, -1));
    EXPECT_EQ(1, kxIntersectLines(kxPoint(0, 0), kxPoint(4, 4), kxPoint(4, 4), kxPoint(4, 4), p1, p2, t1, t2, -1));
}

TEST(KXPlaneGeomTest, BooleanSegmentForm)
{
    kxPoint r(9, 9);
    ASSERT_TRUE(kxIntersectLines(kxPoint(0, 0), kxPoint(2, 2), kxPoint(0, 2), kxPoint(2, 0), r));
    EXPECT_EQ(kxPoint(1, 1), r);
    r = kxPoint(9, 9);
    EXPECT_FALSE(kxIntersectLines(kxPoint(0, 0), kxPoint(4, 0), kxPoint(1, 0), kxPoint(6, 0), r));   // collinear overlap
    EXPECT_FALSE(kxIntersectLines(kxPoint(0, 0), kxPoint(4, 0), kxPoint(4, 0), kxPoint(6, 0), r));   // collinear touch
    EXPECT_FALSE(kxIntersectLines(kxPoint(0, 0), kxPoint(1, 1), kxPoint(2, 0), kxPoint(3, -5), r));  // lines cross, segments not
    EXPECT_EQ(kxPoint(9, 9), r);
}

TEST(KXPlaneGeomTest, LineCircleEllipseAndCurve)
{
    kxPoint r1, r2;
    ASSERT_EQ(2, kxIntersectLineCircle(kxPoint(-5, 0), 0.0, kxPoint(0, 0), 2, r1, r2));
    ExpectNear(kxPoint(-2, 0), r1);   // in the line's direction
    ExpectNear(kxPoint(2, 0), r2);
    ASSERT_EQ(2, kxIntersectLineCircle(kxPoint(5, 0), kPi, kxPoint(0, 0), 2, r1, r2));
    ExpectNear(kxPoint(2, 0), r1);
    ASSERT_EQ(1, kxIntersectLineCircle(kxPoint(3, 3), kPi / 2, kxPoint(1, 3), 2, r1, r2));
    ExpectNear(kxPoint(3, 3), r1);
    EXPECT_EQ(0, kxIntersectLineCircle(kxPoint(3.1, 3), kPi / 2, kxPoint(1, 3), 2, r1, r2));
    EXPECT_EQ(0, kxIntersectLineCircle(kxPoint(0, 0), 0.0, kxPoint(0, 0), -1, r1, r2));

    ASSERT_EQ(2, kxIntersectLineEllipse(kxPoint(1, 0), 0.0, kxPoint(1, 0), 2, 1, r1, r2));
    ExpectNear(kxPoint(-1, 0), r1);
    ExpectNear(kxPoint(3, 0), r2);
    ASSERT_EQ(2, kxIntersectLineEllipse(kxPoint(0, 5), -kPi / 2, kxPoint(0, 0), 2, 1, r1, r2));
    ExpectNear(kxPoint(0, 1), r1);
    ExpectNear(kxPoint(0, -1), r2);
    ASSERT_EQ(1, kxIntersectLineEllipse(kxPoint(-4, 1), 0.0, kxPoint(0, 0), 2, 1, r1, r2));
    ExpectNear(kxPoint(0, 1), r1);
    EXPECT_EQ(0, kxIntersectLineEllipse(kxPoint(-4, 1.5), 0.0, kxPoint(0, 0), 2, 1, r1, r2));
    EXPECT_EQ(0, kxIntersectLineEllipse(kxPoint(0, 0), 0.0, kxPoint(0, 0), 2, 0, r1, r2));

    kxPoint c;
    auto square = [](double x) { return x * x; };
    ASSERT_TRUE(kxIntersectLineCurve(c, kxPoint(0, 1), kxPoint(3, 1), square, 1e-10));
    ExpectNear(kxPoint(1, 1), c, 1e-9);
    ASSERT_TRUE(kxIntersectLineCurve(c, kxPoint(0.5, -1), kxPoint(0.5, 1), square, 1e-10));   // vertical
    ExpectNear(kxPoint(0.5, 0.25), c, 1e-9);
    ASSERT_TRUE(kxIntersectLineCurve(c, kxPoint(-2, 0), kxPoint(2, 4), square, 1e-12));   // first of two
    ExpectNear(kxPoint(-1, 1), c, 1e-9);
    EXPECT_FALSE(kxIntersectLineCurve(c, kxPoint(0, -1), kxPoint(3, -1), square, 1e-10));
    EXPECT_FALSE(kxIntersectLineCurve(c, kxPoint(0, -1), kxPoint(3, -1), nullptr, 1e-10));
}

TEST(KXPlaneGeomTest, LinePolygonCrossings)
{
    const kxPointVector sq = Square(0, 0, 2);
    std::vector<double> t{42};
    // Straight through: ordered along the line whichever way it runs.
    ASSERT_EQ(2, kxIntersectLinePolygon(t, kxPoint(-1, 1), kxPoint(3, 1), sq, 1e-9));
    EXPECT_NEAR(0.25, t[0], 1e-12);
    EXPECT_NEAR(0.75, t[1], 1e-12);
    ASSERT_EQ(2, kxIntersectLinePolygon(t, kxPoint(3, 1), kxPoint(-1, 1), sq, 1e-9));
    EXPECT_NEAR(0.25, t[0], 1e-12);
    // The line is infinite: a and b far to one side still find the crossings.
    ASSERT_EQ(2, kxIntersectLinePolygon(t, kxPoint(10, 1), kxPoint(11, 1), sq, 1e-9));
    EXPECT_NEAR(-10.0, t[0], 1e-9);
    EXPECT_NEAR(-8.0, t[1], 1e-9);
    // Through two vertices: each vertex once.
    kxPointVector pts;
    ASSERT_EQ(2, kxIntersectLinePolygon(pts, kxPoint(-1, -1), kxPoint(3, 3), sq, -1));
    ExpectNear(kxPoint(0, 0), pts[0]);
    ExpectNear(kxPoint(2, 2), pts[1]);
    // Touching one vertex only: no crossing; outside: none; the list is emptied.
    EXPECT_EQ(0, kxIntersectLinePolygon(t, kxPoint(1, 3), kxPoint(3, 1), sq, -1));
    EXPECT_TRUE(t.empty());
    EXPECT_EQ(0, kxIntersectLinePolygon(t, kxPoint(-1, 5), kxPoint(3, 5), sq, -1));
    // Along an edge: the edge is the line's part in the closed polygon.
    ASSERT_EQ(2, kxIntersectLinePolygon(pts, kxPoint(-1, 0), kxPoint(5, 0), sq, -1));
    ExpectNear(kxPoint(0, 0), pts[0]);
    ExpectNear(kxPoint(2, 0), pts[1]);
    ASSERT_EQ(2, kxIntersectLinePolygon(pts, kxPoint(5, 2), kxPoint(-1, 2), sq, -1));
    ExpectNear(kxPoint(2, 2), pts[0]);

    // A U shape: four crossings through the arms; a line along the inner floor meets the arm
    // corners, and one through the tips runs inside along both tops.
    const kxPointVector u{kxPoint(0, 0), kxPoint(3, 0), kxPoint(3, 3), kxPoint(2, 3),
                          kxPoint(2, 1), kxPoint(1, 1), kxPoint(1, 3), kxPoint(0, 3)};
    ASSERT_EQ(4, kxIntersectLinePolygon(pts, kxPoint(-1, 2), kxPoint(4, 2), u, -1));
    ExpectNear(kxPoint(0, 2), pts[0]);
    ExpectNear(kxPoint(1, 2), pts[1]);
    ExpectNear(kxPoint(2, 2), pts[2]);
    ExpectNear(kxPoint(3, 2), pts[3]);
    ASSERT_EQ(2, kxIntersectLinePolygon(pts, kxPoint(-1, 1), kxPoint(4, 1), u, -1));
    ExpectNear(kxPoint(0, 1), pts[0]);
    ExpectNear(kxPoint(3, 1), pts[1]);
    ASSERT_EQ(4, kxIntersectLinePolygon(pts, kxPoint(-1, 3), kxPoint(4, 3), u, -1));
    ExpectNear(kxPoint(1, 3), pts[1]);
    ExpectNear(kxPoint(2, 3), pts[2]);
    // Vertical through the notch's corner vertices (1, 1): in at y = 0, out at y = 3.
    ASSERT_EQ(2, kxIntersectLinePolygon(pts, kxPoint(1, -1), kxPoint(1, 5), u, -1));
    ExpectNear(kxPoint(1, 0), pts[0]);
    ExpectNear(kxPoint(1, 3), pts[1]);

    // Crossings closer than tol merge: a sliver narrower than tol is not seen.
    const kxPointVector sliver{kxPoint(0, 0), kxPoint(1, 0), kxPoint(1, 1e-7), kxPoint(0, 1e-7)};
    EXPECT_EQ(2, kxIntersectLinePolygon(t, kxPoint(0.5, -1), kxPoint(0.5, 1), sliver, 1e-9));
    EXPECT_EQ(0, kxIntersectLinePolygon(t, kxPoint(0.5, -1), kxPoint(0.5, 1), sliver, 1e-6));
    // Degenerate input.
    EXPECT_EQ(0, kxIntersectLinePolygon(t, kxPoint(1, 1), kxPoint(1, 1), sq, -1));
    EXPECT_EQ(0, kxIntersectLinePolygon(t, kxPoint(-1, 0), kxPoint(1, 0), {kxPoint(0, 0), kxPoint(1, 0)}, -1));

    // Rectangles.
    ASSERT_EQ(2, kxIntersectLineRect(t, kxPoint(0, 0), kxPoint(4, 2), kxRect(1, 3, 3, 0), -1));
    EXPECT_NEAR(0.25, t[0], 1e-12);
    EXPECT_NEAR(0.75, t[1], 1e-12);
    EXPECT_EQ(2, kxIntersectLineRect(pts, kxPoint(0, 3), kxPoint(1, 3), kxRect(1, 3, 3, 0), -1));
    EXPECT_EQ(0, kxIntersectLineRect(pts, kxPoint(0, 2), kxPoint(1, 3), kxRect(1, 3, 3, 0), -1));
}

TEST(KXPlaneGeomTest, LinePolygonManyCrossingsAndListForms)
{
    // A comb with 20 teeth: 40 crossings along y = 5, many enough for the indexed path; along
    // y = 0.5, the top of the base, the line runs inside from end to end.
    kxPointVector comb{kxPoint(0, 0), kxPoint(40, 0), kxPoint(40, 0.5)};
    for (int k = 19; k >= 0; --k) {
        comb.emplace_back(2.0 * k + 1.5, 0.5);
        comb.emplace_back(2.0 * k + 1.5, 10);
        comb.emplace_back(2.0 * k + 0.5, 10);
        comb.emplace_back(2.0 * k + 0.5, 0.5);
    }
    comb.emplace_back(0, 0.5);
    std::vector<double> t;
    ASSERT_EQ(40, kxIntersectLinePolygon(t, kxPoint(0, 5), kxPoint(40, 5), comb, -1));
    for (int k = 0; k < 20; ++k) {
        EXPECT_NEAR((2.0 * k + 0.5) / 40, t[2 * k], 1e-12);
        EXPECT_NEAR((2.0 * k + 1.5) / 40, t[2 * k + 1], 1e-12);
    }
    ASSERT_EQ(2, kxIntersectLinePolygon(t, kxPoint(-1, 0.5), kxPoint(0, 0.5), comb, -1));
    EXPECT_NEAR(1.0, t[0], 1e-12);
    EXPECT_NEAR(41.0, t[1], 1e-12);

    List<kxPoint> list;
    for (const kxPoint &p : comb)
        list.append(p);
    EXPECT_EQ(comb, kxToPointVector(list));
    List<double> ts;
    ts.append(99);
    ASSERT_EQ(40, kxIntersectLinePolygon(ts, kxPoint(0, 5), kxPoint(40, 5), list, -1));
    EXPECT_NEAR(0.5 / 40, ts[1], 1e-12);   // the old content is gone; indices from 1
}

// Random lattice polygons (self-intersecting, with vertices on the lines, edges along them)
// against lines through lattice points: sampled points of the line are inside by the exact
// test exactly when they lie between an entering and a leaving crossing.
TEST(KXPlaneGeomTest, LinePolygonMatchesContainmentOnRandomPolygons)
{
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> coord(0, 8), count(3, 30), dirPick(0, 3);
    const kxPoint dirs[4] = {kxPoint(1, 0), kxPoint(0, 1), kxPoint(1, 1), kxPoint(2, -1)};
    int checked = 0;
    for (int round = 0; round < 400; ++round) {
        kxPointVector poly(count(rng));
        for (kxPoint &p : poly)
            p = kxPoint(coord(rng), coord(rng));
        const kxPoint a(coord(rng), coord(rng) + (round % 3 == 0 ? 0.5 : 0.0));
        const kxPoint b = a + dirs[dirPick(rng)];
        std::vector<double> t;
        const int k = kxIntersectLinePolygon(t, a, b, poly, -1);
        ASSERT_EQ(0, k % 2) << "round " << round;
        ASSERT_TRUE(std::is_sorted(t.begin(), t.end()));
        for (int j = 0; j <= 400; ++j) {
            const double u = -20.0 + 40.0 * j / 400 + 1e-3;
            bool nearCrossing = false, between = false;
            for (int c = 0; c < k; ++c)
                nearCrossing = nearCrossing || std::fabs(u - t[c]) < 1e-6;
            for (int c = 0; c + 1 < k; c += 2)
                between = between || (t[c] < u && u < t[c + 1]);
            const kxPoint p = a + (b - a) * u;
            bool onVertex = false, onEdge = false;
            const bool contains = kxPolygonContains(poly.data(), static_cast<int>(poly.size()), p,
                                                    1e-9, onVertex, onEdge);
            if (nearCrossing || onVertex || onEdge)
                continue;
            ++checked;
            ASSERT_EQ(contains, between) << "round " << round << " u " << u;
        }
    }
    EXPECT_GT(checked, 100000);
}

TEST(KXPlaneGeomTest, IntegerTwins)
{
    const kxIntRect r(10, 20, 5, 4);   // columns 10..14, rows 20..23
    EXPECT_TRUE(kxIsPointInRect(r, 10, 20));
    EXPECT_TRUE(kxIsPointInRect(r, kxIntPoint(14, 23)));
    EXPECT_FALSE(kxIsPointInRect(r, 15, 21));
    EXPECT_FALSE(kxIsPointInRect(r, 12, 24));
    EXPECT_TRUE(kxIsPointInRect(r, 15, 24, 1));
    EXPECT_FALSE(kxIsPointInRect(r, 15, 24, -1));

    kxIntRect g = r;
    kxGrowRect(g, 1, 2);
    EXPECT_EQ(kxIntRect(9, 18, 7, 8), g);
    EXPECT_TRUE(kxRectsCollide(r, kxIntRect(14, 23, 3, 3)));    // share pixel (14, 23)
    EXPECT_FALSE(kxRectsCollide(r, kxIntRect(15, 20, 3, 3)));   // adjacent, no common pixel
    EXPECT_FALSE(kxRectIsEnclosed(kxIntRect(10, 20, 6, 1), r));
    kxIntRect common;
    ASSERT_TRUE(kxIntersectRects(common, r, kxIntRect(12, 0, 100, 22)));
    EXPECT_EQ(kxIntRect(12, 20, 3, 2), common);
    EXPECT_FALSE(kxIntersectRects(common, r, kxIntRect(15, 20, 3, 3)));

    kxIntRect acc;   // empty: replaced by the first rectangle, empty ones add nothing
    kxAccumulateRect(acc, r);
    kxAccumulateRect(acc, kxIntRect(0, 0, 0, 7));
    kxAccumulateRect(acc, kxIntRect(0, 30, 1, 1));
    EXPECT_EQ(kxIntRect(0, 20, 15, 11), acc);

    int x1 = 0, y1 = 21, x2 = 100, y2 = 21;
    ASSERT_TRUE(kxLimitLineToRect(r, x1, y1, x2, y2));
    EXPECT_EQ(10, x1);
    EXPECT_EQ(14, x2);
    EXPECT_FALSE(kxIsLineInRect(r, 0, 0, 100, 0));
}
