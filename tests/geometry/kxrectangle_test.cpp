// Tests of KXRectangle: containment with and without tolerance.
#include "kxshapetest_util.h"

using KXRectangleTest = ShapeFixture;

TEST_F(KXRectangleTest, RectangleContainment)
{
    KXRectangle r;
    r.setSize(2, 1);
    EXPECT_TRUE(r.Contains(kxPoint(1, 0.5))); // corner: edges inclusive
    EXPECT_TRUE(r.Contains(kxPoint(-1, 0)));
    EXPECT_FALSE(r.Contains(kxPoint(1.0000001, 0)));
    EXPECT_FALSE(r.Contains(kxPoint(0, -0.5000001)));

    bool onB = true;
    EXPECT_TRUE(r.Contains(kxPoint(0.2, 0.1), 1e-6, onB));
    EXPECT_FALSE(onB);
    EXPECT_TRUE(r.Contains(kxPoint(1 + 1e-7, 0.1), 1e-6, onB)); // just outside, within tol
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
