// Tests of kxMatrixStack, the stack of nested placements.
#include "kx/geometry/kxmatrixstack.h"

#include "kx/foundation/kxerror.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace {

void ExpectNear(const kxPoint &p, double x, double y, double tol = 1e-12)
{
    EXPECT_NEAR(p.x, x, tol);
    EXPECT_NEAR(p.y, y, tol);
}

} // namespace

TEST(KXMatrixStackTest, PushPopAndCopies)
{
    kxMatrixStack st;
    EXPECT_TRUE(st.IsEmpty());
    EXPECT_TRUE(st.IsTranslation());
    EXPECT_EQ(st.ToAbs(kxPoint(1.5, -2)), kxPoint(1.5, -2));
    EXPECT_EQ(st.ToObj(kxPoint(1.5, -2)), kxPoint(1.5, -2));
    EXPECT_EQ(st.ToAbs(400.0), 400.0); // not even reduced to one turn
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
    ExpectNear(copy.ToAbs(kxPoint(0, 0)), -1, 0); // the copy is independent
    kxMatrixStack assigned;
    assigned = copy;
    ExpectNear(assigned.ToObj(kxPoint(-1, 0)), 0, 0);

    st.PopMatrix();
    EXPECT_TRUE(st.IsEmpty());
    EXPECT_EQ(st.ToAbs(kxPoint(7, 8)), kxPoint(7, 8));
    error.reset();
    st.PopMatrix(); // an internal fault, reported and survived
    EXPECT_EQ(static_cast<int>(error), 507);
    EXPECT_NE(std::strstr(error.chars(), "kxtransform"), nullptr);
    error.reset();
}
