// Tests of marching squares and automatic contour levels.
#include "kx/graph/qvcontour.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

struct Grid {
    std::vector<double> x, y, z;
    int n;
    explicit Grid(int n, double lo, double hi) : n(n)
    {
        for (int i = 0; i < n; ++i)
            x.push_back(lo + (hi - lo) * i / (n - 1));
        y = x;
    }
};

} // namespace

TEST(QVContourTest, CircleOfSquaredRadius)
{
    Grid g(41, -2, 2);
    for (double yv : g.y)
        for (double xv : g.x)
            g.z.push_back(xv * xv + yv * yv);
    std::vector<qvSegment> segs = qvContourLevel(g.x.data(), g.n, g.y.data(), g.n, g.z.data(), 1);
    ASSERT_GT(segs.size(), 20u);
    double h = g.x[1] - g.x[0];
    double angleCover = 0;
    for (const qvSegment &s : segs) {
        // Both ends on the circle within the grid's resolution (linear interpolation of r^2).
        EXPECT_NEAR(std::hypot(s.x0, s.y0), 1, h * h);
        EXPECT_NEAR(std::hypot(s.x1, s.y1), 1, h * h);
        double a = std::atan2(s.y1, s.x1) - std::atan2(s.y0, s.x0);
        if (a > M_PI)
            a -= 2 * M_PI;
        if (a < -M_PI)
            a += 2 * M_PI;
        angleCover += std::fabs(a);
    }
    // The segments go once around: the whole circle, without overlap.
    EXPECT_NEAR(angleCover, 2 * M_PI, 1e-9);
    // A level outside the data gives nothing; a NaN cell gives nothing either.
    EXPECT_TRUE(qvContourLevel(g.x.data(), g.n, g.y.data(), g.n, g.z.data(), 100).empty());
    std::vector<double> z(g.z);
    for (double &v : z)
        v = NAN;
    EXPECT_TRUE(qvContourLevel(g.x.data(), g.n, g.y.data(), g.n, z.data(), 1).empty());
}

TEST(QVContourTest, SaddleAndStraightLevel)
{
    // z = x on a 2 x 2 grid: one vertical segment at x = 0.25.
    double x[] = {0, 1}, y[] = {0, 1}, z[] = {0, 1, 0, 1};
    std::vector<qvSegment> s = qvContourLevel(x, 2, y, 2, z, 0.25);
    ASSERT_EQ(s.size(), 1u);
    EXPECT_DOUBLE_EQ(s[0].x0, 0.25);
    EXPECT_DOUBLE_EQ(s[0].x1, 0.25);
    // Saddle: corners 0 and 2 high, mean above the level: corners 1 and 3 are cut off.
    double zs[] = {1, 0, 0, 1}; // (0,0)=1 (1,0)=0 / (0,1)=0 (1,1)=1
    s = qvContourLevel(x, 2, y, 2, zs, 0.4);
    ASSERT_EQ(s.size(), 2u);
    for (const qvSegment &g : s) {
        // Each segment stays near one of the low corners (1,0) or (0,1).
        double cx = (g.x0 + g.x1) / 2, cy = (g.y0 + g.y1) / 2;
        EXPECT_TRUE((cx > 0.5 && cy < 0.5) || (cx < 0.5 && cy > 0.5)) << cx << " " << cy;
    }
}

TEST(QVContourTest, AutomaticLevels)
{
    std::vector<double> l = qvAutoLevels(0, 1, 9);
    ASSERT_FALSE(l.empty());
    EXPECT_LE(l.size(), 9u);
    for (size_t i = 0; i < l.size(); ++i) {
        EXPECT_GT(l[i], 0);
        EXPECT_LT(l[i], 1);
        if (i) {
            EXPECT_GT(l[i], l[i - 1]);
        }
    }
    EXPECT_LE(qvAutoLevels(-3.3, 7.1, 20).size(), 20u);
    EXPECT_TRUE(qvAutoLevels(1, 1, 5).empty());
    EXPECT_TRUE(qvAutoLevels(0, NAN, 5).empty());
}
