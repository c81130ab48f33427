// Tests of the plane geometry functions: lengths, angles, lines, rectangles, polygons and
// intersections, with the integer screen-rectangle twins.
#include "kx/geometry/kxplanegeom.h"

#include <gtest/gtest.h>

#include "kx/geometry/kxpolygoncontains.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <random>
#include <tuple>

namespace {

constexpr double kPi = 3.141592653589793;
typedef kxPoint P;

void ExpectNear(const kxPoint &expected, const kxPoint &actual, double eps = 1e-12)
{
    EXPECT_NEAR(expected.x, actual.x, eps);
    EXPECT_NEAR(expected.y, actual.y, eps);
}

void ExpectPoints(const kxPointVector &expected, const kxPointVector &actual)
{
    ASSERT_EQ(expected.size(), actual.size());
    for (size_t i = 0; i < expected.size(); ++i)
        ExpectNear(expected[i], actual[i]);
}

kxPointVector Square(double x0, double y0, double side)
{
    return {P(x0, y0), P(x0 + side, y0), P(x0 + side, y0 + side), P(x0, y0 + side)};
}

} // namespace

TEST(KXPlaneGeomTest, LengthsAnglesAndRotation)
{
    double r = 0, a = 0;
    kxCartesianToPolar(P(-3, 4), r, a);
    EXPECT_DOUBLE_EQ(5.0, r);
    ExpectNear(P(-3, 4), kxPolarToCartesian(r, a));
    EXPECT_DOUBLE_EQ(135.0, kxGetAngleDegrees(P(1, 1), P(0, 2)));
    ExpectNear(P(-2, 1), kxRotateDegrees(P(1, 2), 90));
    kxPoint p(2, 1);
    kxRotateAroundPoint(P(1, 1), p, kPi / 2);
    ExpectNear(P(1, 2), p);
}

TEST(KXPlaneGeomTest, LinesDistancesAndPicking)
{
    // Direction 45 degrees through (1, 1): (0, 2) lies to the left, (2, 0) to the right.
    const kxPoint o(1, 1);
    EXPECT_NEAR(std::sqrt(2.0), kxGetDistanceFromLine(P(0, 2), o, kPi / 4), 1e-12);
    EXPECT_NEAR(-std::sqrt(2.0), kxGetDistanceFromLine(P(2, 0), o, kPi / 4), 1e-12);
    EXPECT_NEAR(-std::sqrt(2.0), kxGetDistanceAlongLine(P(0, 0), o, kPi / 4), 1e-12);
    EXPECT_FALSE(kxIsPointOnLine(P(3, 3.01), o, kPi / 4, 1e-3));
    EXPECT_TRUE(kxIsPointOnLine(P(3, 3.01), o, kPi / 4, 1e-2));

    const kxPoint a(0, 0), b(4, 0);
    EXPECT_DOUBLE_EQ(3.0, kxGetDistanceAlongLine(P(3, 7), a, b));
    EXPECT_DOUBLE_EQ(0.0, kxGetDistanceAlongLine(P(3, 7), a, a));
    // Nearest point: clamped to the segment's ends; a degenerate segment gives a.
    EXPECT_EQ(P(3, 0), kxGetNearestPointOnLine(P(3, 7), a, b));
    EXPECT_EQ(b, kxGetNearestPointOnLine(P(9, 1), a, b));
    EXPECT_EQ(a, kxGetNearestPointOnLine(P(-2, -1), a, b));
    EXPECT_EQ(P(5, 5), kxGetNearestPointOnLine(P(9, 1), P(5, 5), P(5, 5)));
    // The pick capsule: along tolerance 0.2 past the ends, across tolerance 0.5 on both sides.
    const std::vector<std::pair<kxPoint, bool>> picks{
        {P(2, 0.5), true}, {P(2, -0.5), true}, {P(2, 0.6), false}, {P(2, -0.6), false},
        {P(4.1, 0), true}, {P(4.3, 0), false}, {P(-0.3, 0), false}};
    for (const auto &[p, hit] : picks)
        EXPECT_EQ(hit, kxLineIsNearby(p, a, b, 0.2, 0.5)) << p.x << "," << p.y;
}

TEST(KXPlaneGeomTest, AnglesMeansAndDifferences)
{
    // Mean along the shorter arc; exactly 180 apart takes the second branch.
    const double means[][3] = {{350, 10, 0},    {10, 350, 0},  {10, 30, 20},
                               {370, -330, 20}, {-10, 0, 355}, {0, 180, 270}};
    for (const auto &m : means)
        EXPECT_DOUBLE_EQ(m[2], kxGetMeanDegrees(m[0], m[1])) << m[0] << " " << m[1];
    const double limits[][2] = {{-180, 180}, {540, 180}, {190, -170}, {360, 0}, {-90 + 720, -90}};
    for (const auto &l : limits) {
        EXPECT_NEAR(l[1], kxLimitAngleDegrees(l[0]), 1e-12) << l[0];
        EXPECT_NEAR(l[1] * kPi / 180, kxLimitAngle(l[0] * kPi / 180), 1e-12) << l[0];
    }
    EXPECT_TRUE(std::isnan(kxLimitAngle(NAN)));
    const double differences[][3] = {
        {350, 10, 20}, {10, 350, -20}, {90, -90, 180}, {-90, 90, 180}, {179, -179 + 1080, 2}};
    for (const auto &d : differences) {
        EXPECT_NEAR(d[2], kxGetAngleDifferenceDegrees(d[0], d[1]), 1e-12) << d[0] << " " << d[1];
        EXPECT_NEAR(d[2] * kPi / 180,
                    kxGetAngleDifferenceRadians(d[0] * kPi / 180, d[1] * kPi / 180), 1e-12)
            << d[0] << " " << d[1];
    }
}

TEST(KXPlaneGeomTest, CurvesCircumferenceAndArcStep)
{
    EXPECT_DOUBLE_EQ(2 * kPi, kxGetEllipseCircumference(1, 1));
    EXPECT_NEAR(9.68842109767, kxGetEllipseCircumference(2, 1), 1e-9); // pi (9 - sqrt(35))
    EXPECT_EQ(0.0, kxGetEllipseCircumference(-1, 1));
    EXPECT_EQ(0.0, kxGetEllipseCircumference(1, -1e-300));
    EXPECT_DOUBLE_EQ(0.5, kxGetArcApproximationAngle(4));
    EXPECT_DOUBLE_EQ(kPi / 2, kxGetArcApproximationAngle(0));
}

TEST(KXPlaneGeomTest, RectanglesHalfOpenAndRelations)
{
    const kxRect unit(0, 1, 1, 0);
    EXPECT_TRUE(kxIsPointInRect(unit, 0, 0));
    EXPECT_FALSE(kxIsPointInRect(unit, 1, 0.5));
    EXPECT_FALSE(kxIsPointInRect(unit, P(0.5, 1)));
    EXPECT_TRUE(kxIsPointInRect(unit, 1, 0.5, 0.1));
    EXPECT_TRUE(kxIsPointInRect(unit, P(-0.05, 1.05), 0.1));
    EXPECT_FALSE(kxIsPointInRect(unit, P(0.5, 1.1), 0.1)); // grown top edge stays outside
    EXPECT_FALSE(kxIsPointInRect(unit, 1, 0.5, -0.1));
    kxRect g = unit;
    kxGrowRect(g, 0.5, 2);
    EXPECT_EQ(kxRect(-0.5, 3, 1.5, -2), g);

    EXPECT_TRUE(kxRangesCollide(0, 1, 1, 2));  // touching ends collide
    EXPECT_TRUE(kxRangesCollide(2, 3, 0, 10)); // containment
    EXPECT_FALSE(kxRangesCollide(0, 1, 1.5, 2));
    const kxRect r(0, 2, 2, 0);
    EXPECT_TRUE(kxRectsCollide(r, kxRect(2, 3, 3, 2))); // corner touch
    EXPECT_FALSE(kxRectsCollide(r, kxRect(1, 5, 3, 2.5)));
    EXPECT_TRUE(kxRectIsEnclosed(kxRect(0, 2, 1, 1), r));
    EXPECT_FALSE(kxRectIsEnclosed(kxRect(0, 2.5, 1, 1), r));
    kxRect common(9, 9, 9, 9);
    EXPECT_TRUE(kxIntersectRects(common, r, kxRect(2, 1, 4, -1)));
    EXPECT_EQ(kxRect(2, 1, 2, 0), common);
    EXPECT_FALSE(kxIntersectRects(common, r, kxRect(3, 1, 4, -1)));
    EXPECT_EQ(kxRect(2, 1, 2, 0), common); // untouched on failure

    kxRect acc = kxGetEmptyRect();
    kxAccumulateRect(acc, kxRect(1, 2, 3, 1));
    kxAccumulateRect(acc, kxRect(5, -1, 4, 0)); // inverted: adds nothing
    kxAccumulateRect(acc, kxRect(-1, 0.5, 0, -4));
    EXPECT_EQ(kxRect(-1, 2, 3, -4), acc);
    kxRect basic; // (0, 0, 0, 0): the basic form keeps the origin in
    kxAccumulateRectBasic(basic, kxRect(1, 2, 3, 1));
    EXPECT_EQ(kxRect(0, 2, 3, 0), basic);
}

TEST(KXPlaneGeomTest, LineClippingAndSortPoints)
{
    const kxRect r(0, 1, 2, 0);
    double x1 = -1, y1 = 0.5, x2 = 3, y2 = 0.5;
    EXPECT_TRUE(kxLimitLineToRect(r, x1, y1, x2, y2));
    EXPECT_EQ(std::make_tuple(0.0, 0.5, 2.0, 0.5), std::make_tuple(x1, y1, x2, y2));
    kxPoint p(-1, -1), q(3, 3); // diagonal through the corner (0, 0) and out at (1, 1)
    EXPECT_TRUE(kxLimitLineToRect(r, p, q));
    ExpectPoints({P(0, 0), P(1, 1)}, {p, q});
    kxPoint in1(0.25, 0.25), in2(1.75, 0.75);
    EXPECT_TRUE(kxLimitLineToRect(r, in1, in2));
    EXPECT_EQ(kxPointVector({P(0.25, 0.25), P(1.75, 0.75)}),
              kxPointVector({in1, in2})); // untouched
    EXPECT_FALSE(kxIsLineInRect(r, -1, 2, 3, 2));
    EXPECT_TRUE(kxIsLineInRect(r, -1, 2, 1, 0)); // touches the corner (0, 1)
    EXPECT_FALSE(kxIsLineInRect(r, 3, 0.5, 3, 0.5));
    EXPECT_TRUE(kxIsLineInRect(r, 1, 0.5, 1, 0.5));

    kxPoint a(3, 1), b(1, 2); // only the sorted coordinate moves
    kxSortPoints(a, b, false);
    EXPECT_EQ(kxPointVector({P(1, 1), P(3, 2)}), kxPointVector({a, b}));
    kxSortPoints(a, b, true);
    EXPECT_EQ(P(1, 1), a);
}

TEST(KXPlaneGeomTest, PolygonProperties)
{
    const kxPointVector sq = Square(1, 2, 3);
    EXPECT_EQ(kxRect(1, 5, 4, 2), kxGetPolygonBoundingRect(sq));
    EXPECT_EQ(kxRect(), kxGetPolygonBoundingRect(kxPointVector()));
    EXPECT_TRUE(kxCheckPolygonVerticesAntiClockwise(sq));
    EXPECT_FALSE(kxCheckPolygonVerticesAntiClockwise(kxPointVector(sq.rbegin(), sq.rend())));
    EXPECT_FALSE(kxCheckPolygonVerticesAntiClockwise({P(0, 0), P(1, 1), P(2, 2)}));
    EXPECT_DOUBLE_EQ(18.0, kxGetPolygonSignedArea2(sq));

    const std::vector<std::pair<kxPointVector, bool>> edgeCases{
        {sq, false},
        {{P(0, 0), P(0, 0), P(2, 0), P(2, 2), P(0, 2), P(0, 0)}, false}, // repeated vertices
        {{P(0, 0), P(4, 0), P(4, 4), P(2, 1), P(0, 4)}, false},          // concave but simple
        {{P(0, 0), P(2, 2), P(2, 0), P(0, 2)}, true},                    // bow tie
        {{P(0, 0), P(4, 0), P(4, 4), P(2, 0), P(0, 4)}, true},           // vertex on another edge
        {{P(0, 0), P(4, 0), P(2, 0), P(2, 3)}, true}};                   // spike folding back
    for (size_t i = 0; i < edgeCases.size(); ++i)
        EXPECT_EQ(edgeCases[i].second, kxCheckPolygonEdgesIntersect(edgeCases[i].first)) << i;
}

TEST(KXPlaneGeomTest, IntersectLines)
{
    kxPoint r;
    ASSERT_TRUE(kxIntersectLines(P(0, 0), kPi / 4, P(2, 0), 3 * kPi / 4, r));
    ExpectNear(P(1, 1), r);
    r = P(7, 7);
    EXPECT_FALSE(kxIntersectLines(P(0, 0), 0.0, P(0, 1), kPi, r)); // anti-parallel
    EXPECT_FALSE(kxIntersectLines(P(0, 0), 1.0, P(5, 1), 1.0, r));
    EXPECT_EQ(P(7, 7), r);

    // The general segment routine: count, points and parameters (NaN: not checked).
    const double _ = NAN;
    struct Case {
        kxPoint a1, a2, b1, b2;
        double tol;
        int count;
        kxPoint p1, p2;
        double t1, t2;
    };
    const Case cases[] = {
        {P(0, 0), P(4, 0), P(1, -1), P(1, 3), -1, 1, P(1, 0), P(_, _), 0.25, 0.25}, // crossing
        {P(0, 0), P(4, 0), P(2, 0), P(2, 3), -1, 1, P(2, 0), P(_, _), 0.5, 0},  // touching an end
        {P(0, 0), P(4, 0), P(2, 0.01), P(2, 3), -1, 0, P(_, _), P(_, _), _, _}, // just missing it
        {P(0, 0), P(4, 0), P(2, 0.01), P(2, 3), 0.02, 1, P(_, _), P(_, _), _,
         _},                                                                  // unless within tol
        {P(0, 0), P(1, 0), P(2, -1), P(2, 1), -1, 0, P(_, _), P(_, _), _, _}, // not reaching
        {P(0, 0), P(4, 0), P(0, 1), P(4, 1), -1, 0, P(_, _), P(_, _), _, _},  // parallel apart
        {P(0, 0), P(4, 4), P(3, 3), P(1, 1), -1, 2, P(1, 1), P(3, 3), 0.25,
         0.75},                                                                 // collinear overlap
        {P(0, 0), P(2, 0), P(2, 0), P(5, 0), -1, 1, P(2, 0), P(_, _), 1, 0},    // end to end
        {P(0, 0), P(2, 0), P(3, 0), P(5, 0), -1, 0, P(_, _), P(_, _), _, _},    // collinear apart
        {P(1, 1), P(1, 1), P(0, 0), P(4, 4), -1, 1, P(_, _), P(_, _), _, 0.25}, // zero length on
        {P(1, 2), P(1, 2), P(0, 0), P(4, 4), -1, 0, P(_, _), P(_, _), _, _},    // zero length off
        {P(0, 0), P(4, 4), P(4, 4), P(4, 4), -1, 1, P(_, _), P(_, _), _, _}};
    for (size_t i = 0; i < std::size(cases); ++i) {
        const Case &c = cases[i];
        kxPoint p[2];
        double t[2] = {-9, -9};
        ASSERT_EQ(c.count, kxIntersectLines(c.a1, c.a2, c.b1, c.b2, p[0], p[1], t[0], t[1], c.tol))
            << i;
        const kxPoint wantP[2] = {c.p1, c.p2};
        const double wantT[2] = {c.t1, c.t2};
        for (int k = 0; k < 2 && c.count > 0; ++k) {
            if (!std::isnan(wantP[k].x)) {
                EXPECT_EQ(wantP[k], p[k]) << i;
            }
            if (!std::isnan(wantT[k])) {
                EXPECT_DOUBLE_EQ(wantT[k], t[k]) << i;
            }
        }
    }

    // The boolean two-segment form: exactly one proper intersection.
    r = P(9, 9);
    ASSERT_TRUE(kxIntersectLines(P(0, 0), P(2, 2), P(0, 2), P(2, 0), r));
    EXPECT_EQ(P(1, 1), r);
    r = P(9, 9);
    EXPECT_FALSE(kxIntersectLines(P(0, 0), P(4, 0), P(1, 0), P(6, 0), r)); // collinear overlap
    EXPECT_FALSE(kxIntersectLines(P(0, 0), P(4, 0), P(4, 0), P(6, 0), r)); // collinear touch
    EXPECT_FALSE(
        kxIntersectLines(P(0, 0), P(1, 1), P(2, 0), P(3, -5), r)); // lines cross, segments not
    EXPECT_FALSE(kxIntersectLines(P(1, 1), P(1, 1), P(0, 0), P(2, 2), r)); // both products zero
    EXPECT_EQ(P(9, 9), r);
    // The parallel test is relative: tiny perpendicular segments still cross.
    ASSERT_TRUE(kxIntersectLines(P(0, 0), P(1e-10, 0), P(5e-11, -1e-10), P(5e-11, 1e-10), r));
    ExpectNear(P(5e-11, 0), r, 1e-24);
}

TEST(KXPlaneGeomTest, LineCircleEllipseAndCurve)
{
    // Line by point and angle; the points come in the line's direction.
    auto circle = [](kxPoint origin, double angle, kxPoint centre, double radius) {
        kxPoint r[2];
        return kxPointVector(r,
                             r + kxIntersectLineCircle(origin, angle, centre, radius, r[0], r[1]));
    };
    auto ellipse = [](kxPoint origin, double angle, kxPoint centre, double a, double b) {
        kxPoint r[2];
        return kxPointVector(r,
                             r + kxIntersectLineEllipse(origin, angle, centre, a, b, r[0], r[1]));
    };
    ExpectPoints({P(-2, 0), P(2, 0)}, circle(P(-5, 0), 0.0, P(0, 0), 2));
    ExpectPoints({P(2, 0), P(-2, 0)}, circle(P(5, 0), kPi, P(0, 0), 2));
    ExpectPoints({P(3, 3)}, circle(P(3, 3), kPi / 2, P(1, 3), 2)); // tangent
    ExpectPoints({}, circle(P(3.1, 3), kPi / 2, P(1, 3), 2));
    ExpectPoints({}, circle(P(0, 0), 0.0, P(0, 0), -1));
    ExpectPoints({P(-1, 0), P(3, 0)}, ellipse(P(1, 0), 0.0, P(1, 0), 2, 1));
    ExpectPoints({P(0, 1), P(0, -1)}, ellipse(P(0, 5), -kPi / 2, P(0, 0), 2, 1));
    ExpectPoints({P(0, 1)}, ellipse(P(-4, 1), 0.0, P(0, 0), 2, 1));
    ExpectPoints({}, ellipse(P(-4, 1.5), 0.0, P(0, 0), 2, 1));
    ExpectPoints({}, ellipse(P(0, 0), 0.0, P(0, 0), 2, 0));

    kxPoint c;
    auto square = [](double x) { return x * x; };
    ASSERT_TRUE(kxIntersectLineCurve(c, P(0, 1), P(3, 1), square, 1e-10));
    ExpectNear(P(1, 1), c, 1e-9);
    ASSERT_TRUE(kxIntersectLineCurve(c, P(0.5, -1), P(0.5, 1), square, 1e-10)); // vertical
    ExpectNear(P(0.5, 0.25), c, 1e-9);
    ASSERT_TRUE(kxIntersectLineCurve(c, P(-2, 0), P(2, 4), square, 1e-12)); // first of two
    ExpectNear(P(-1, 1), c, 1e-9);
    EXPECT_FALSE(kxIntersectLineCurve(c, P(0, -1), P(3, -1), square, 1e-10));
    EXPECT_FALSE(kxIntersectLineCurve(c, P(0, -1), P(3, -1), nullptr, 1e-10));
}

TEST(KXPlaneGeomTest, LinePolygonCrossings)
{
    const kxPointVector sq = Square(0, 0, 2);
    // A U shape: four crossings through the arms; a line along the inner floor meets the arm
    // corners, and one through the tips runs inside along both tops.
    const kxPointVector u{P(0, 0), P(3, 0), P(3, 3), P(2, 3), P(2, 1), P(1, 1), P(1, 3), P(0, 3)};
    struct Case {
        kxPoint a, b;
        kxPointVector polygon;
        std::vector<kxPoint> crossings;
    };
    const std::vector<Case> cases{
        {P(-1, -1), P(3, 3), sq, {P(0, 0), P(2, 2)}}, // through two vertices: each once
        {P(1, 3), P(3, 1), sq, {}},                   // touching one vertex only
        {P(-1, 5), P(3, 5), sq, {}},
        {P(-1, 0), P(5, 0), sq, {P(0, 0), P(2, 0)}}, // along an edge: the edge is inside
        {P(5, 2), P(-1, 2), sq, {P(2, 2), P(0, 2)}},
        {P(-1, 2), P(4, 2), u, {P(0, 2), P(1, 2), P(2, 2), P(3, 2)}},
        {P(-1, 1), P(4, 1), u, {P(0, 1), P(3, 1)}},
        {P(-1, 3), P(4, 3), u, {P(0, 3), P(1, 3), P(2, 3), P(3, 3)}},
        {P(1, -1), P(1, 5), u, {P(1, 0), P(1, 3)}},   // through the notch's corner (1, 1)
        {P(1, 1), P(1, 1), sq, {}},                   // no line
        {P(-1, 0), P(1, 0), {P(0, 0), P(1, 0)}, {}}}; // no polygon
    for (size_t i = 0; i < cases.size(); ++i) {
        kxPointVector pts{P(42, 42)};
        EXPECT_EQ(int(cases[i].crossings.size()),
                  kxIntersectLinePolygon(pts, cases[i].a, cases[i].b, cases[i].polygon, -1))
            << i;
        SCOPED_TRACE(i);
        ExpectPoints(cases[i].crossings, pts); // the old content is gone
    }

    // Positions along the line: ordered whichever way it runs, and the line is infinite.
    std::vector<double> t;
    for (const auto &[a, b, first, second] : {std::make_tuple(P(-1, 1), P(3, 1), 0.25, 0.75),
                                              std::make_tuple(P(3, 1), P(-1, 1), 0.25, 0.75),
                                              std::make_tuple(P(10, 1), P(11, 1), -10.0, -8.0)}) {
        ASSERT_EQ(2, kxIntersectLinePolygon(t, a, b, sq, 1e-9));
        EXPECT_NEAR(first, t[0], 1e-9);
        EXPECT_NEAR(second, t[1], 1e-9);
    }
    // Crossings closer than tol merge: a sliver narrower than tol is not seen.
    const kxPointVector sliver{P(0, 0), P(1, 0), P(1, 1e-7), P(0, 1e-7)};
    EXPECT_EQ(2, kxIntersectLinePolygon(t, P(0.5, -1), P(0.5, 1), sliver, 1e-9));
    EXPECT_EQ(0, kxIntersectLinePolygon(t, P(0.5, -1), P(0.5, 1), sliver, 1e-6));

    ASSERT_EQ(2, kxIntersectLineRect(t, P(0, 0), P(4, 2), kxRect(1, 3, 3, 0), -1));
    EXPECT_NEAR(0.25, t[0], 1e-12);
    EXPECT_NEAR(0.75, t[1], 1e-12);
    kxPointVector pts;
    EXPECT_EQ(2, kxIntersectLineRect(pts, P(0, 3), P(1, 3), kxRect(1, 3, 3, 0), -1));
    EXPECT_EQ(0, kxIntersectLineRect(pts, P(0, 2), P(1, 3), kxRect(1, 3, 3, 0), -1));
}

TEST(KXPlaneGeomTest, LinePolygonManyCrossingsAndListForms)
{
    // A comb with 20 teeth: 40 crossings along y = 5, many enough for the indexed path; along
    // y = 0.5, the top of the base, the line runs inside from end to end.
    kxPointVector comb{P(0, 0), P(40, 0), P(40, 0.5)};
    for (int k = 19; k >= 0; --k)
        for (const kxPoint &p : {P(1.5, 0.5), P(1.5, 10), P(0.5, 10), P(0.5, 0.5)})
            comb.push_back(p + P(2.0 * k, 0));
    comb.emplace_back(0, 0.5);
    std::vector<double> t;
    ASSERT_EQ(40, kxIntersectLinePolygon(t, P(0, 5), P(40, 5), comb, -1));
    for (int k = 0; k < 40; ++k)
        EXPECT_NEAR((k + 0.5) / 40, t[k], 1e-12);
    ASSERT_EQ(2, kxIntersectLinePolygon(t, P(-1, 0.5), P(0, 0.5), comb, -1));
    EXPECT_NEAR(1.0, t[0], 1e-12);
    EXPECT_NEAR(41.0, t[1], 1e-12);

    List<kxPoint> list;
    for (const kxPoint &p : comb)
        list.append(p);
    EXPECT_EQ(comb, kxToPointVector(list));
    List<double> ts;
    ts.append(99);
    ASSERT_EQ(40, kxIntersectLinePolygon(ts, P(0, 5), P(40, 5), list, -1));
    EXPECT_NEAR(0.5 / 40, ts[1], 1e-12); // the old content is gone; indices from 1
}

// Random lattice polygons (self-intersecting, with vertices on the lines, edges along them)
// against lines through lattice points: sampled points of the line are inside by the exact
// test exactly when they lie between an entering and a leaving crossing.
TEST(KXPlaneGeomTest, LinePolygonMatchesContainmentOnRandomPolygons)
{
    std::mt19937 rng(7);
    std::uniform_int_distribution<int> coord(0, 8), count(3, 30), dirPick(0, 3);
    const kxPoint dirs[4] = {P(1, 0), P(0, 1), P(1, 1), P(2, -1)};
    int checked = 0;
    for (int round = 0; round < 400; ++round) {
        kxPointVector poly(count(rng));
        for (kxPoint &p : poly)
            p = P(coord(rng), coord(rng));
        const kxPoint a(coord(rng), coord(rng) + (round % 3 == 0 ? 0.5 : 0.0));
        const kxPoint b = a + dirs[dirPick(rng)];
        std::vector<double> t;
        const int k = kxIntersectLinePolygon(t, a, b, poly, -1);
        ASSERT_EQ(0, k % 2) << "round " << round;
        ASSERT_TRUE(std::is_sorted(t.begin(), t.end()));
        for (int j = 0; j <= 400; ++j) {
            const double u = -20.0 + 40.0 * j / 400 + 1e-3;
            bool nearCrossing = false, between = false, onVertex = false, onEdge = false;
            for (int c = 0; c < k; ++c)
                nearCrossing = nearCrossing || std::fabs(u - t[c]) < 1e-6;
            for (int c = 0; c + 1 < k; c += 2)
                between = between || (t[c] < u && u < t[c + 1]);
            const bool contains = kxPolygonContains(poly.data(), static_cast<int>(poly.size()),
                                                    a + (b - a) * u, 1e-9, onVertex, onEdge);
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
    const kxIntRect r(10, 20, 5, 4); // columns 10..14, rows 20..23
    EXPECT_TRUE(kxIsPointInRect(r, 10, 20));
    EXPECT_TRUE(kxIsPointInRect(r, kxIntPoint(14, 23)));
    EXPECT_FALSE(kxIsPointInRect(r, 15, 21));
    EXPECT_FALSE(kxIsPointInRect(r, 12, 24));
    EXPECT_TRUE(kxIsPointInRect(r, 15, 24, 1));
    EXPECT_FALSE(kxIsPointInRect(r, 15, 24, -1));

    kxIntRect g = r;
    kxGrowRect(g, 1, 2);
    EXPECT_EQ(kxIntRect(9, 18, 7, 8), g);
    EXPECT_TRUE(kxRectsCollide(r, kxIntRect(14, 23, 3, 3)));  // share pixel (14, 23)
    EXPECT_FALSE(kxRectsCollide(r, kxIntRect(15, 20, 3, 3))); // adjacent, no common pixel
    EXPECT_FALSE(kxRectIsEnclosed(kxIntRect(10, 20, 6, 1), r));
    kxIntRect common;
    ASSERT_TRUE(kxIntersectRects(common, r, kxIntRect(12, 0, 100, 22)));
    EXPECT_EQ(kxIntRect(12, 20, 3, 2), common);
    EXPECT_FALSE(kxIntersectRects(common, r, kxIntRect(15, 20, 3, 3)));

    kxIntRect acc; // empty: replaced by the first rectangle, empty ones add nothing
    kxAccumulateRect(acc, r);
    kxAccumulateRect(acc, kxIntRect(0, 0, 0, 7));
    kxAccumulateRect(acc, kxIntRect(0, 30, 1, 1));
    EXPECT_EQ(kxIntRect(0, 20, 15, 11), acc);

    int x1 = 0, y1 = 21, x2 = 100, y2 = 21;
    ASSERT_TRUE(kxLimitLineToRect(r, x1, y1, x2, y2));
    EXPECT_EQ(std::make_pair(10, 14), std::make_pair(x1, x2));
    EXPECT_FALSE(kxIsLineInRect(r, 0, 0, 100, 0));
}
