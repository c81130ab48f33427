// Tests of kxTransformMatrix, the 2-D transform.
#include "kx/geometry/kxtransformmatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace {

void ExpectMatrix(const kxTransformMatrix &m, const double (&want)[3][3])
{
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_EQ(m.Get(i, j), want[i][j]) << "element " << i << "," << j;
}

void ExpectNear(const kxPoint &p, double x, double y, double tol = 1e-12)
{
    EXPECT_NEAR(p.x, x, tol);
    EXPECT_NEAR(p.y, y, tol);
}

} // namespace

TEST(KXTransformMatrixTest, SetSnapsAndSetInverseDoesNot)
{
    kxTransformMatrix m;
    ExpectMatrix(m, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}});
    m.Set(90, 0, 0);
    ExpectMatrix(m, {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}});
    m.Set(180, 2, -3);
    ExpectMatrix(m, {{-1, 0, 2}, {0, -1, -3}, {0, 0, 1}});
    m.Set(30, 1, 2);
    EXPECT_DOUBLE_EQ(m.Get(0, 0), std::sqrt(3.0) / 2);
    EXPECT_DOUBLE_EQ(m.Get(1, 0), 0.5);
    EXPECT_EQ(m.Get(0, 1), -m.Get(1, 0));

    kxTransformMatrix inv;
    inv.SetInverse(90, 0, 0);
    EXPECT_NE(inv.Get(0, 0), 0.0); // cos(pi/2) is left as computed
    EXPECT_LT(std::fabs(inv.Get(0, 0)), 1e-15);
    EXPECT_EQ(inv.Get(0, 1), 1.0);
    EXPECT_EQ(inv.Get(1, 0), -1.0);

    // The inverse undoes the forward map for any angle and offset.
    for (double a : {-725.0, -90.0, 0.0, 17.5, 90.0, 270.0, 1000.0}) {
        m.Set(a, 3.5, -7.25);
        inv.SetInverse(a, 3.5, -7.25);
        const kxTransformMatrix id = m.Multiply(inv);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                EXPECT_NEAR(id.Get(i, j), i == j ? 1.0 : 0.0, 1e-14) << a;
        ExpectNear(inv.Multiply(m.Multiply(kxPoint(2, 5))), 2, 5);
    }
}

TEST(KXTransformMatrixTest, PointsAnglesAndTranslation)
{
    kxTransformMatrix m;
    m.Set(90, 10, 20);
    const kxPoint q = m.Multiply(kxPoint(1, 2));
    EXPECT_EQ(q.x, 8.0);
    EXPECT_EQ(q.y, 21.0);
    EXPECT_NEAR(m.TransformAngleDegrees(30), 120, 1e-12);
    EXPECT_NEAR(m.TransformAngleRadians(0), 3.141592653589793 / 2, 1e-15);
    EXPECT_FALSE(m.IsTranslation());
    m.Set(0, 3, 4);
    EXPECT_TRUE(m.IsTranslation());
    EXPECT_NEAR(m.TransformAngleDegrees(-45), -45, 1e-12);
    m.Set(360, 3, 4); // sin(2 pi) is below the snap, cos is 1 within the relative rule
    EXPECT_TRUE(m.IsTranslation());
    m.Set(1e-6, 0, 0); // a real, if tiny, rotation
    EXPECT_FALSE(m.IsTranslation());

    // Product order: (A B) p = A (B p).
    kxTransformMatrix a, b;
    a.Set(90, 1, 0);
    b.Set(0, 0, 2);
    ExpectNear(a.Multiply(b).Multiply(kxPoint(0, 0)), -1, 0);
    ExpectNear(b.Multiply(a).Multiply(kxPoint(0, 0)), 1, 2);
    EXPECT_TRUE(a == a.Multiply(kxTransformMatrix()));
    EXPECT_TRUE(a != b);
}
