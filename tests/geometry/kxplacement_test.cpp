// Tests of placements: both planes, the parameter cache, formulas and copies.
#include "kx/geometry/kxplacement.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"

#include <gtest/gtest.h>

namespace {

void ExpectNear(const kxPoint &p, double x, double y)
{
    EXPECT_NEAR(p.x, x, 1e-12);
    EXPECT_NEAR(p.y, y, 1e-12);
}

} // namespace

TEST(KXPlacementTest, PlanesAndMaps)
{
    KXPlacement origin;
    EXPECT_TRUE(origin.IsXYPlane());
    EXPECT_EQ(origin.ToAbs(kxPoint(1, 2)), kxPoint(1, 2));

    KXPlacement xy(3, 4, 90, 1);
    EXPECT_EQ(static_cast<double>(xy.x), 3.0);
    EXPECT_EQ(static_cast<double>(xy.y), 4.0);
    EXPECT_EQ(static_cast<double>(xy.z), 0.0);
    EXPECT_EQ(xy.ToAbs(kxPoint(1, 0)), kxPoint(3, 5)); // exact: Set snaps sin and cos
    ExpectNear(xy.ToObj(kxPoint(3, 5)), 1, 0);
    ExpectNear(xy.ToObj(xy.ToAbs(kxPoint(-2.5, 7))), -2.5, 7);
    EXPECT_EQ(xy.GetOffset(), kxPoint(3, 4));

    // z-x plane: horizontal offset z, vertical offset x; y is ignored.
    KXPlacement zx(3, 4, 0, 0);
    EXPECT_EQ(static_cast<double>(zx.z), 3.0);
    EXPECT_EQ(static_cast<double>(zx.x), 4.0);
    EXPECT_EQ(static_cast<double>(zx.y), 0.0);
    EXPECT_EQ(zx.ToAbs(kxPoint(1, 1)), kxPoint(4, 5));
    zx.y = 100.0;
    EXPECT_EQ(zx.ToAbs(kxPoint(1, 1)), kxPoint(4, 5));
    EXPECT_EQ(zx.GetOffset(), kxPoint(3, 4));

    // The cache follows direct changes of the parameters.
    xy.angle = 0.0;
    EXPECT_EQ(xy.ToAbs(kxPoint(1, 0)), kxPoint(4, 4));
    xy.x = -1.0;
    EXPECT_EQ(xy.ToAbs(kxPoint(1, 0)), kxPoint(0, 4));
    EXPECT_TRUE(xy.GetToParent().IsTranslation());
    // ... and of the plane flag: (x, y) = (-1, 4) as z-x offsets (z, x) = (0, -1).
    xy.plane = 0;
    EXPECT_EQ(xy.ToAbs(kxPoint(1, 0)), kxPoint(1, -1));
    EXPECT_EQ(xy.ToObj(kxPoint(1, -1)), kxPoint(1, 0));
}

TEST(KXPlacementTest, FormulasComparisonAndCopies)
{
    kxNameSpace ns, other;
    kxNamedVariable *d = new kxNamedVariable(&ns);
    ASSERT_TRUE(d->SetName("d"));
    d->SetValue(2.0);
    kxNamedVariable *d2 = new kxNamedVariable(&other);
    ASSERT_TRUE(d2->SetName("d"));
    d2->SetValue(-5.0);

    KXPlacement pl;
    pl.x.SetExpression(&ns, "d*3");
    pl.angle.SetExpression(&ns, "d*45");
    EXPECT_FALSE(pl.AreAllParametersValues());
    ExpectNear(pl.ToAbs(kxPoint(0, 0)), 6, 0);
    ExpectNear(pl.ToAbs(kxPoint(1, 0)), 6, 1); // rotated by 90
    d->SetValue(0.0);
    ExpectNear(pl.ToAbs(kxPoint(1, 0)), 1, 0); // the placement follows the variable

    KXPlacement same(pl);
    EXPECT_TRUE(same == pl);
    KXPlacement rebound;
    rebound.CopyFrom(&other, pl);
    EXPECT_TRUE(rebound == pl); // same formulas
    ExpectNear(rebound.ToAbs(kxPoint(0, 0)), -15, 0);
    KXPlacement frozen;
    frozen.CopyFrom(nullptr, pl);
    EXPECT_TRUE(frozen.AreAllParametersValues());
    EXPECT_TRUE(frozen != pl);
    ExpectNear(frozen.ToAbs(kxPoint(1, 0)), 1, 0);

    KXPlacement a(1, 2, 30, 1), b(1, 2, 30, 1), c(1, 2, 30, 0);
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(a != c); // plane flags differ
    b = c;
    EXPECT_TRUE(b == c);
    ExpectNear(b.ToAbs(kxPoint(0, 0)), 1, 2);
}
