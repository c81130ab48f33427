#include "kx/geometry/cmdpoint.h"
#include "kx/geometry/kxpolygon.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"

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
    kxParameter<double> &corner = poly.points[3].x;   // (2,2)
    const unsigned long before = kxCoordParameter::Writes();
    corner.SetValue(3.0);
    EXPECT_GT(kxCoordParameter::Writes(), before);
    EXPECT_TRUE(poly.Contains(kxPoint(2.5, 1.5)));
    corner = 2.0;
    EXPECT_FALSE(poly.Contains(kxPoint(2.5, 1.5)));
    KXString moved("3");
    ASSERT_TRUE(corner.Read(nullptr, moved));
    EXPECT_TRUE(poly.Contains(kxPoint(2.5, 1.5)));
    corner *= 0.5;                                     // 1.5
    EXPECT_FALSE(poly.Contains(kxPoint(1.8, 1.5)));
    corner.CopyFrom(nullptr, kxParameter<double>(2.0));
    EXPECT_TRUE(poly.Contains(kxPoint(1.8, 1.5)));
}
