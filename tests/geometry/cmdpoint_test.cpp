#include "kx/geometry/cmdpoint.h"
#include "kx/geometry/kxpolygon.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"

#include "kxshapetest_util.h"

#include <gtest/gtest.h>

// The coordinates are parameters in every respect: the operations of kxParameter<double> work on
// them directly and through a kxParameter<double>& bound to them, and a polygon sees writes made
// either way.
TEST(CMDPointTest, CoordinatesAreParameters)
{
    kxNameSpace ns;
    kxNamedVariable *w = new kxNamedVariable(&ns);
    ASSERT_TRUE(w->SetName("w"));
    w->SetValue(std::complex<double>(4, 0));

    CMDPoint pt(1.5, 2);
    KXString text;
    pt.x.Write(text);
    EXPECT_STREQ(text.c_str(), "1.500000");
    EXPECT_FALSE(pt.x.IsUndefined());
    pt.y.SetExpression(&ns, "");
    EXPECT_TRUE(pt.y.IsUndefined());

    kxParameter<double> &x = pt.x;
    KXString input("\"w/2\" rest");
    ASSERT_TRUE(x.Read(&ns, input));
    EXPECT_STREQ(input.c_str(), " rest");
    EXPECT_TRUE(pt.x.HasExpression());
    EXPECT_DOUBLE_EQ(pt.x.GetValue(), 2.0);
    w->SetValue(std::complex<double>(10, 0));
    EXPECT_DOUBLE_EQ(static_cast<double>(pt.x), 5.0);
    const kxParameter<double> copy = pt.x;
    EXPECT_TRUE(copy == pt.x);

    // Writes through the base reference are counted like writes through the coordinate.
    KXPolygon poly;
    ASSERT_TRUE(poly.ParseString("0,0,2,0,2,2,0,2"));
    EXPECT_FALSE(poly.Contains(kxPoint(2.5, 1.5)));
    kxParameter<double> &corner = poly.points[3].x; // (2,2)
    const unsigned long before = kxCoordParameter::Writes();
    corner.SetValue(3.0);
    EXPECT_GT(kxCoordParameter::Writes(), before);
    EXPECT_TRUE(poly.Contains(kxPoint(2.5, 1.5)));
    corner = 2.0;
    EXPECT_FALSE(poly.Contains(kxPoint(2.5, 1.5)));
    KXString moved("3");
    ASSERT_TRUE(corner.Read(nullptr, moved));
    EXPECT_TRUE(poly.Contains(kxPoint(2.5, 1.5)));
    corner *= 0.5; // 1.5
    EXPECT_FALSE(poly.Contains(kxPoint(1.8, 1.5)));
    corner.CopyFrom(nullptr, kxParameter<double>(2.0));
    EXPECT_TRUE(poly.Contains(kxPoint(1.8, 1.5)));
}

using CMDPointListTest = ShapeFixture;

TEST_F(CMDPointListTest, PointListKeepsParentsAndCountsChanges)
{
    KXPolygon owner;
    CMDPointList list;
    list.SetParent(&owner);
    list.append(CMDPoint(1, 2));
    list.insert(1, CMDPoint(0, 0));
    list.set_idx(3);
    list.insert(CMDPoint(5, 5)); // at the end: the current index was one past it
    ASSERT_EQ(list.size(), 3);
    for (int i = 1; i <= 3; ++i)
        EXPECT_EQ(list[i].GetParent(), &owner);
    EXPECT_EQ(static_cast<kxPoint>(list[1]), kxPoint(0, 0));
    EXPECT_EQ(static_cast<kxPoint>(list[3]), kxPoint(5, 5));
    const std::vector<const CMDPoint *> &ptrs = list.Pointers();
    ASSERT_EQ(ptrs.size(), 3u);
    EXPECT_EQ(ptrs[1], &list.AsList()[2]);

    // Structural changes advance the list's count; access alone does not, and a coordinate
    // write advances the count of coordinate writes instead.
    const unsigned long v0 = list.Version(), w0 = kxCoordParameter::Writes();
    const CMDPointList &view = list;
    (void)view[2];
    (void)list[2];
    EXPECT_EQ(kxCoordParameter::Writes(), w0);
    list[2].x = 9.0;
    EXPECT_EQ(list.Version(), v0);
    EXPECT_GT(kxCoordParameter::Writes(), w0);
    const unsigned long v1 = list.Version();
    EXPECT_TRUE(list.move(1, 3));
    EXPECT_GT(list.Version(), v1);
    EXPECT_EQ(static_cast<kxPoint>(view[1]), kxPoint(5, 5));
    list.reverse();
    EXPECT_EQ(static_cast<kxPoint>(view[1]), kxPoint(9, 2));
    EXPECT_EQ(list.Pointers().front(), &view[1]); // refreshed after the change

    CMDPointList copy(list);
    EXPECT_EQ(copy.GetParent(), nullptr);
    EXPECT_EQ(copy[1].GetParent(), nullptr);
    EXPECT_TRUE(copy[1].EqualsTo(list[1]));
    list.erase(1);
    list.unalloc();
    EXPECT_EQ(list.size(), 0);
    EXPECT_TRUE(list.Pointers().empty());

    // The polygon sees a vertex moved through its list between two queries.
    KXPolygon poly;
    ASSERT_TRUE(poly.ParseString("0,0,2,0,2,2,0,2"));
    EXPECT_FALSE(poly.Contains(kxPoint(2.5, 0.5)));
    poly.points[2].x = 4.0;
    EXPECT_TRUE(poly.Contains(kxPoint(2.5, 0.5)));
    poly.points.erase(2);
    EXPECT_FALSE(poly.Contains(kxPoint(1.5, 0.2))); // now the triangle (0,0) (2,2) (0,2)
    EXPECT_TRUE(poly.Contains(kxPoint(0.5, 1.5)));

    // A reference taken before a query and written through after it: every query sees the
    // current values, whatever the write path.
    CMDPoint &kept = poly.points[2]; // (2,2)
    EXPECT_FALSE(poly.Contains(kxPoint(2.5, 1.9)));
    kept.x = 3.0;
    EXPECT_TRUE(poly.Contains(kxPoint(2.5, 1.9)));
    kept.x -= 1.0;
    EXPECT_FALSE(poly.Contains(kxPoint(2.5, 1.9)));
    kept.x.SetValue(3.0);
    EXPECT_TRUE(poly.Contains(kxPoint(2.5, 1.9), 1e-9));
    kept = CMDPoint(2, 2);
    EXPECT_FALSE(poly.Contains(kxPoint(2.5, 1.9)));
    ASSERT_TRUE(kept.getPublishedElt("x").SetValueString("3"));
    EXPECT_TRUE(poly.Contains(kxPoint(2.5, 1.9)));
    EXPECT_STREQ(kept.getPublishedElt("x").GetValueString().c_str(), "3");
    kept.CopyFrom(nullptr, CMDPoint(2, 2));
    EXPECT_FALSE(poly.Contains(kxPoint(2.5, 1.9)));
}
