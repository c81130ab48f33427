// Tests of kxTransform3dMatrix, the 3-D transform.
#include "kx/geometry/kxtransform3dmatrix.h"

#include <gtest/gtest.h>

#include <cmath>

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
    expectNear((t * s) * Point3dT<double>(1, 1, 1), 3, 5, 7);  // scaled first
    expectNear((s * t) * Point3dT<double>(1, 1, 1), 4, 9, 16); // translated first
    // A hand-set projective row divides by w.
    kxTransform3dMatrix p;
    p.SetElement(3, 3, 2.0);
    expectNear(p * Point3dT<double>(2, 4, 6), 1, 2, 3);
}
