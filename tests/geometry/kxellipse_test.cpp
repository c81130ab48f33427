// Tests of KXEllipse: containment and the tolerance rule.
#include "kxshapetest_util.h"

#include <cmath>

using KXEllipseTest = ShapeFixture;

TEST_F(KXEllipseTest, EllipseContainmentAndToleranceRule)
{
    KXEllipse e;
    e.setSize(4, 2); // semi-axes 2 and 1
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
    EXPECT_TRUE(e.Contains(kxPoint(0, 1 - tol / 2), tol, onB)); // inside, near the rim
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
