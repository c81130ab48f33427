// Tests of the 2-D and 3-D transform matrices and the matrix stack.
#include "kx/geometry/kxmatrixstack.h"
#include "kx/geometry/kxtransform3dmatrix.h"
#include "kx/geometry/kxtransformmatrix.h"

#include "kx/foundation/kxerror.h"

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
    EXPECT_NE(inv.Get(0, 0), 0.0);               // cos(pi/2) is left as computed
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
    m.Set(360, 3, 4);   // sin(2 pi) is below the snap, cos is 1 within the relative rule
    EXPECT_TRUE(m.IsTranslation());
    m.Set(1e-6, 0, 0);  // a real, if tiny, rotation
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

TEST(KXTransform3dMatrixTest, LoadsAndProducts)
{
    kxTransform3dMatrix m;
    EXPECT_EQ(m * Point3dT<double>(1, 2, 3), Point3dT<double>(1, 2, 3));
    auto expectNear = [](const Point3dT<double> &p, double x, double y, double z) {
        EXPECT_NEAR(p.x, x, 1e-15);
        EXPECT_NEAR(p.y, y, 1e-15);
        EXPECT_NEAR(p.z, z, 1e-15);
    };
    m.loadRotationOZ(90);
    expectNear(m * Point3dT<double>(1, 0, 0), 0, 1, 0);
    m.loadRotationOX(90);
    expectNear(m * Point3dT<double>(0, 1, 0), 0, 0, 1);
    m.loadRotationOY(90);
    expectNear(m * Point3dT<double>(0, 0, 1), 1, 0, 0);

    kxTransform3dMatrix t, s;
    t.loadTranslation(1, 2, 3);
    s.loadScaling(2, 3, 4);
    expectNear((t * s) * Point3dT<double>(1, 1, 1), 3, 5, 7);   // scaled first
    expectNear((s * t) * Point3dT<double>(1, 1, 1), 4, 9, 16);  // translated first
    // A hand-set projective row divides by w.
    kxTransform3dMatrix p;
    p.SetElement(3, 3, 2.0);
    expectNear(p * Point3dT<double>(2, 4, 6), 1, 2, 3);
}

TEST(KXMatrixStackTest, PushPopAndCopies)
{
    kxMatrixStack st;
    EXPECT_TRUE(st.IsEmpty());
    EXPECT_TRUE(st.IsTranslation());
    EXPECT_EQ(st.ToAbs(kxPoint(1.5, -2)), kxPoint(1.5, -2));
    EXPECT_EQ(st.ToObj(kxPoint(1.5, -2)), kxPoint(1.5, -2));
    EXPECT_EQ(st.ToAbs(400.0), 400.0);   // not even reduced to one turn
    EXPECT_EQ(st.ToObj(-30.0), -30.0);

    st.PushMatrix(90, 1, 0);
    st.PushMatrix(0, 0, 2);
    EXPECT_EQ(st.Depth(), 2);
    // The innermost frame applies first: (0,0) -> (0,2) -> rotated (-2,0) -> shifted (-1,0).
    ExpectNear(st.ToAbs(kxPoint(0, 0)), -1, 0);
    ExpectNear(st.ToObj(kxPoint(-1, 0)), 0, 0);
    ExpectNear(st.ToObj(st.ToAbs(kxPoint(3, -4))), 3, -4);
    EXPECT_NEAR(st.ToAbs(10.0), 100, 1e-12);
    EXPECT_NEAR(st.ToObj(100.0), 10, 1e-12);
    EXPECT_FALSE(st.IsTranslation());

    kxMatrixStack copy(st);
    st.PopMatrix();
    ExpectNear(st.ToAbs(kxPoint(0, 0)), 1, 0);
    ExpectNear(copy.ToAbs(kxPoint(0, 0)), -1, 0);   // the copy is independent
    kxMatrixStack assigned;
    assigned = copy;
    ExpectNear(assigned.ToObj(kxPoint(-1, 0)), 0, 0);

    st.PopMatrix();
    EXPECT_TRUE(st.IsEmpty());
    EXPECT_EQ(st.ToAbs(kxPoint(7, 8)), kxPoint(7, 8));
    error.reset();
    st.PopMatrix();   // an internal fault, reported and survived
    EXPECT_EQ(static_cast<int>(error), 507);
    EXPECT_NE(std::strstr(error.chars(), "kxtransform"), nullptr);
    error.reset();
}
