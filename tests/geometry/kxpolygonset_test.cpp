// Tests of the polygon set operations: orientation and holes of the results, grid snapping,
// degenerate inputs, rectangles, splitting, and a randomized check of the area identities.
#include "kx/geometry/kxplanegeom.h"
#include "kx/geometry/kxpolygonset.h"

#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>

namespace {

constexpr double kPi = 3.141592653589793;

kxPointVector Rect(double l, double b, double r, double t)
{
    return {kxPoint(l, b), kxPoint(r, b), kxPoint(r, t), kxPoint(l, t)};
}

kxPointVector Reversed(kxPointVector p)
{
    std::reverse(p.begin(), p.end());
    return p;
}

double Area(const kxPointVector &p) { return 0.5 * kxGetPolygonSignedArea2(p); }

} // namespace

TEST(KXPolygonSetTest, OrientationHolesAndIslands)
{
    const kxPolygonSet a{Rect(0, 0, 2, 2)}, b{Reversed(Rect(1, 1, 3, 3))}; // b clockwise
    kxPolygonSet r;
    ASSERT_TRUE(kxAddPolygons(r, a, b, -1));
    ASSERT_EQ(1u, r.size());
    EXPECT_EQ(8u, r[0].size());
    EXPECT_NEAR(7.0, Area(r[0]), 1e-9); // anticlockwise: positive
    ASSERT_TRUE(kxIntersectPolygons(r, a, b, -1));
    ASSERT_EQ(1u, r.size());
    EXPECT_EQ(kxRect(1, 2, 2, 1), kxGetPolygonBoundingRect(r[0]));
    ASSERT_TRUE(kxSubtractPolygons(r, b, a, -1));
    EXPECT_NEAR(3.0, kxGetPolygonSetArea(r), 1e-9);
    // Overlapping contours of one set are read with the nonzero rule: the overlap counts once.
    ASSERT_TRUE(kxAddPolygons(r, {Rect(0, 0, 2, 2), Rect(1, 1, 3, 3)}, -1));
    EXPECT_NEAR(7.0, kxGetPolygonSetArea(r), 1e-9);
    // Disjoint pieces stay separate; the result may be one of the inputs.
    kxPolygonSet s{Rect(0, 0, 1, 1)};
    ASSERT_TRUE(kxAddPolygons(s, s, kxPolygonSet{Rect(5, 5, 6, 6)}, -1));
    EXPECT_EQ(2u, s.size());

    // Outer boundaries anticlockwise, each followed by its holes (clockwise), islands in a
    // hole after the hole.
    kxPolygonSet ring, all;
    ASSERT_TRUE(kxSubtractPolygons(ring, {Rect(0, 0, 10, 10)}, {Rect(2, 2, 8, 8)}, -1));
    ASSERT_TRUE(kxAddPolygons(all, ring, {Rect(4, 4, 6, 6)}, -1));
    ASSERT_EQ(3u, all.size());
    EXPECT_NEAR(100.0, Area(all[0]), 1e-9);
    EXPECT_NEAR(-36.0, Area(all[1]), 1e-9);
    EXPECT_NEAR(4.0, Area(all[2]), 1e-9);

    // A result read back keeps its holes, and a set given wholly clockwise is reversed.
    kxPolygonSet again;
    ASSERT_TRUE(kxAddPolygons(again, all, -1));
    EXPECT_NEAR(68.0, kxGetPolygonSetArea(again), 1e-9);
    kxPolygonSet flipped;
    for (const kxPointVector &p : ring)
        flipped.push_back(Reversed(p));
    ASSERT_TRUE(kxAddPolygons(again, flipped, -1));
    EXPECT_NEAR(64.0, kxGetPolygonSetArea(again), 1e-9);
    EXPECT_EQ(2u, again.size());
}

TEST(KXPolygonSetTest, GridSnappingAndMerging)
{
    // tol 0.1: vertices land on multiples of 0.1; the sliver at x = 1.02 merges into 1.0.
    const kxPolygonSet a{
        {kxPoint(0.02, -0.01), kxPoint(1, 0), kxPoint(1.02, 0.5), kxPoint(1, 1), kxPoint(0, 1.04)}};
    kxPolygonSet r;
    ASSERT_TRUE(kxAddPolygons(r, a, 0.1));
    ASSERT_EQ(1u, r.size());
    EXPECT_EQ(4u, r[0].size());
    for (const kxPoint &p : r[0]) {
        EXPECT_NEAR(0.0, std::remainder(p.x, 0.1), 1e-12);
        EXPECT_NEAR(0.0, std::remainder(p.y, 0.1), 1e-12);
    }
    EXPECT_NEAR(1.0, kxGetPolygonSetArea(r), 1e-12);

    // The default grid of 1e-6 micron keeps small features that tol 0.1 loses.
    const kxPolygonSet small{Rect(0, 0, 0.04, 0.04)};
    ASSERT_TRUE(kxAddPolygons(r, small, 0.0));
    EXPECT_NEAR(0.0016, kxGetPolygonSetArea(r), 1e-12);
    ASSERT_TRUE(kxAddPolygons(r, small, 0.1));
    EXPECT_TRUE(r.empty());

    // Coordinates too large for the grid: it is coarsened, not overflowed.
    ASSERT_TRUE(kxAddPolygons(r, {Rect(-1e15, -1e15, 1e15, 1e15)}, {Rect(0, 0, 2e15, 2e15)}, -1));
    EXPECT_NEAR(7e30, kxGetPolygonSetArea(r), 7e30 * 1e-9);
}

TEST(KXPolygonSetTest, DegenerateInputsGiveEmptyResults)
{
    typedef kxPoint P;
    const std::vector<kxPolygonSet> degenerate{
        {},
        {{}},
        {{P(0, 0), P(1, 1)}},
        {{P(0, 0), P(1, 1), P(3, 3)}}, // collinear
        {{P(1, 1), P(1, 1), P(1, 1), P(1, 1)}},
        {{P(0, 0), P(2, 0), P(0, 0), P(2, 0)}}, // back and forth
        {{P(0, 0), P(1e-8, 0), P(0, 1e-8)}},    // below the grid
        {{P(0, 0), P(NAN, 0), P(0, 1)}},
        {{P(0, 0), P(INFINITY, 0), P(0, 1)}}};
    const kxPolygonSet square{Rect(0, 0, 1, 1)};
    for (size_t i = 0; i < degenerate.size(); ++i) {
        SCOPED_TRACE(i);
        const kxPolygonSet &d = degenerate[i];
        kxPolygonSet r{Rect(7, 7, 8, 8)};
        ASSERT_TRUE(kxAddPolygons(r, d, d, -1));
        EXPECT_TRUE(r.empty());
        ASSERT_TRUE(kxIntersectPolygons(r, d, square, -1));
        EXPECT_TRUE(r.empty());
        ASSERT_TRUE(kxSubtractPolygons(r, d, square, -1));
        EXPECT_TRUE(r.empty());
        ASSERT_TRUE(kxIntersectPolygonRect(r, d, kxRect(-5, 5, 5, -5), -1));
        EXPECT_TRUE(r.empty());
        // Against a proper polygon a degenerate one adds and removes nothing.
        ASSERT_TRUE(kxSubtractPolygons(r, square, d, -1));
        EXPECT_NEAR(1.0, kxGetPolygonSetArea(r), 1e-12);
        ASSERT_TRUE(kxAddPolygons(r, square, d, -1));
        EXPECT_NEAR(1.0, kxGetPolygonSetArea(r), 1e-12);
    }
    EXPECT_EQ(0, static_cast<int>(error)) << error.chars();
}

TEST(KXPolygonSetTest, RectangleAndSplit)
{
    const kxPolygonSet tri{{kxPoint(0, 0), kxPoint(4, 0), kxPoint(0, 4)}};
    kxPolygonSet r;
    ASSERT_TRUE(kxIntersectPolygonRect(r, tri, kxRect(1, 2, 5, -1), -1));
    EXPECT_NEAR(4.0, kxGetPolygonSetArea(r), 1e-9); // x in [1, 4], y in [0, min(2, 4 - x)]
    ASSERT_TRUE(kxIntersectPolygonRect(r, tri, kxRect(5, 2, 1, -1), -1)); // inverted rectangle
    EXPECT_TRUE(r.empty());

    // Splitting a 4 x 4 square: the areas below and above the line.
    const kxPolygonSet sq{Rect(0, 0, 4, 4)};
    const std::tuple<kxSplitDirection, double, double, double> splits[] = {
        {kxSplitAlongY, 1.0, 4, 12},
        {kxSplitAlongX, 3.0, 12, 4},
        {kxSplitAlongX, 9.0, 16, 0},
        {kxSplitAlongY, -INFINITY, 0, 16},
        {kxSplitAlongY, NAN, 0, 0}};
    for (const auto &[direction, at, lowArea, highArea] : splits) {
        kxPolygonSet low{Rect(7, 7, 8, 8)}, high;
        ASSERT_TRUE(kxSplitPolygons(low, high, sq, direction, at, -1));
        EXPECT_NEAR(lowArea, kxGetPolygonSetArea(low), 1e-9) << at;
        EXPECT_NEAR(highArea, kxGetPolygonSetArea(high), 1e-9) << at;
        EXPECT_EQ(lowArea == 0, low.empty());
        EXPECT_EQ(highArea == 0, high.empty());
    }
    kxPolygonSet low, high; // which coordinate the line is given in
    ASSERT_TRUE(kxSplitPolygons(low, high, sq, kxSplitAlongY, 1.0, -1));
    EXPECT_EQ(kxRect(0, 4, 1, 0), kxGetPolygonBoundingRect(low[0]));
}

// At least 10,000 random pairs, convex, star-shaped (simple, not convex) and arbitrary
// (self-intersecting), in random orientation: the area identities hold, the difference and
// the intersection are disjoint, and every result is in the documented form.
TEST(KXPolygonSetTest, RandomPairsKeepAreaIdentities)
{
    std::mt19937 rng(20261122);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::uniform_int_distribution<int> vertexCount(3, 24), kindPick(0, 2);

    auto randomPolygon = [&](int kind) {
        const int n = vertexCount(rng);
        const kxPoint c(10 * unit(rng) - 5, 10 * unit(rng) - 5);
        const double radius = 0.5 + 4.5 * unit(rng);
        kxPointVector p;
        if (kind == 2) {
            for (int i = 0; i < n; ++i)
                p.push_back(c +
                            kxPoint(radius * (2 * unit(rng) - 1), radius * (2 * unit(rng) - 1)));
        } else {
            std::vector<double> angles(n);
            for (double &a : angles)
                a = 2 * kPi * unit(rng);
            std::sort(angles.begin(), angles.end());
            for (double a : angles) {
                const double r = kind == 0 ? radius : radius * (0.2 + 0.8 * unit(rng));
                p.push_back(c + kxPoint(r * std::cos(a), r * std::sin(a)));
            }
        }
        if (unit(rng) < 0.5)
            std::reverse(p.begin(), p.end());
        return p;
    };
    auto checkForm = [](const kxPolygonSet &s) {
        for (const kxPointVector &p : s)
            if (p.size() < 3)
                return false;
        return kxGetPolygonSetArea(s) >= 0.0 && (s.empty() || Area(s[0]) > 0.0);
    };

    constexpr int kPairs = 10000;
    double worst = 0.0;
    for (int i = 0; i < kPairs; ++i) {
        const kxPolygonSet a{randomPolygon(kindPick(rng))}, b{randomPolygon(kindPick(rng))};
        kxPolygonSet na, nb, u, x, d, dx;
        ASSERT_TRUE(kxAddPolygons(na, a, -1));
        ASSERT_TRUE(kxAddPolygons(nb, b, -1));
        ASSERT_TRUE(kxAddPolygons(u, a, b, -1));
        ASSERT_TRUE(kxIntersectPolygons(x, a, b, -1));
        ASSERT_TRUE(kxSubtractPolygons(d, a, b, -1));
        ASSERT_TRUE(kxIntersectPolygons(dx, d, x, -1));
        const double areaA = kxGetPolygonSetArea(na), areaB = kxGetPolygonSetArea(nb);
        const double areaU = kxGetPolygonSetArea(u), areaX = kxGetPolygonSetArea(x);
        const double areaD = kxGetPolygonSetArea(d), areaDX = kxGetPolygonSetArea(dx);
        // Snapping to the 1e-6 grid moves each new vertex by under a micro-micron; figures
        // here are up to 10 across, so the areas agree far better than this bound.
        const double bound = 1e-6 * (1.0 + areaA + areaB);
        const double e1 = std::fabs(areaU + areaX - areaA - areaB);
        const double e2 = std::fabs(areaD + areaX - areaA);
        worst = std::max({worst, e1 / bound, e2 / bound, std::fabs(areaDX) / bound});
        ASSERT_LE(e1, bound) << "pair " << i;
        ASSERT_LE(e2, bound) << "pair " << i;
        ASSERT_LE(std::fabs(areaDX), bound) << "pair " << i;
        ASSERT_LE(areaX, std::min(areaA, areaB) + bound) << "pair " << i;
        ASSERT_GE(areaU + bound, std::max(areaA, areaB)) << "pair " << i;
        ASSERT_TRUE(checkForm(na) && checkForm(u) && checkForm(x) && checkForm(d)) << "pair " << i;
    }
    EXPECT_EQ(0, static_cast<int>(error)) << error.chars();
    std::printf("worst area error / bound: %g\n", worst);
}
