// Tests of KXShapeContainer.
#include "kx/geometry/kxshapecontainer.h"

#include "kxshapetest_util.h"

using KXShapeContainerTest = ShapeFixture;

TEST_F(KXShapeContainerTest, ContainerOwnsOneShape)
{
    kxNameSpace ns;
    AddVariable(ns, "w", "4");
    KXShapeContainer box;
    EXPECT_EQ(box.GetShape(), nullptr);
    EXPECT_EQ(box.SetShape(&ns, "RECTANGLE(\"w\", 2)"), 1);
    ASSERT_NE(box.GetShape(), nullptr);
    EXPECT_FALSE(box.GetShape()->AreAllParametersValues());

    KXShapeContainer copy(box); // deep, frozen
    ASSERT_NE(copy.GetShape(), nullptr);
    EXPECT_NE(copy.GetShape(), box.GetShape());
    EXPECT_EQ(Def(*copy.GetShape()), "RECTANGLE(4,2)");

    KXShapeContainer bound;
    bound.CopyFrom(&ns, box);
    EXPECT_EQ(Def(*bound.GetShape()), "RECTANGLE(\"w\",2)");

    KXEllipse e;
    box.SetShape(e);
    EXPECT_EQ(Def(*box.GetShape()), "ELLIPSE(1,1)");
    copy = box;
    EXPECT_EQ(Def(*copy.GetShape()), "ELLIPSE(1,1)");
    const KXShapeContainer &same = copy;
    copy = same; // self-assignment keeps the shape
    EXPECT_NE(copy.GetShape(), nullptr);

    EXPECT_EQ(box.SetShape(&ns, "NOTASHAPE(1)"), 0);
    EXPECT_EQ(box.GetShape(), nullptr);
    EXPECT_EQ(Printed(), "syntax error in line NOTASHAPE(1)\n");
    box.Clear();
    EXPECT_EQ(box.GetShape(), nullptr);
}
