// Tests of KXShape and the shape kinds through it: the text form (ParseShape, WriteShape,
// ParseString messages), copies and comparison, shapes following their variables, published
// names, and the geometry: containment with and without tolerance, sizes and bounds, resizing,
// expanding and contracting, rotation and weighted blends.
#include "kxshapetest_util.h"

#include <cmath>

using KXShapeTest = ShapeFixture;

TEST_F(KXShapeTest, ParseShapeKeywordsAndWriteBack)
{
    auto r = Parse("RECTANGLE(2,1)");
    ASSERT_TRUE(r);
    EXPECT_EQ(r->GetType(), KXShape::kRectangle);
    EXPECT_TRUE(r->IsKindOf("KXRectangle"));
    EXPECT_EQ(Def(*r), "RECTANGLE(2,1)");
    KXString out;
    KXShape::WriteShape(*r, out);
    EXPECT_STREQ(out.c_str(), "RECTANGLE(2,1)");

    auto hex = Parse("   REGPOLY(6,0,2,2)"); // leading blanks are skipped
    ASSERT_TRUE(hex);
    EXPECT_EQ(hex->GetType(), KXShape::kRegularPolygon);
    EXPECT_EQ(Def(*hex), "REGPOLY(6,0,2,2)");
    EXPECT_STREQ(static_cast<KXRegularPolygon &>(*hex).getName(), "Regular Polygon");

    auto tri = Parse("POLYGON(0,0,1,0,0,1)");
    ASSERT_TRUE(tri);
    EXPECT_EQ(Def(*tri), "POLYGON(0,0,1,0,0,1)");
    auto e = Parse("ELLIPSE(0.5, 1.25)");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->GetType(), KXShape::kEllipse);
    EXPECT_EQ(Def(*e), "ELLIPSE(0.5,1.25)");
    // Written texts parse back to equal shapes, including numbers that need all their digits.
    auto fine = Parse("RECTANGLE(0.1,3.0000000000000004)");
    ASSERT_TRUE(fine);
    auto again = Parse(Def(*fine).c_str());
    ASSERT_TRUE(again);
    EXPECT_TRUE(*again == *fine);

    // Failures: empty parentheses, lower case, unknown keyword, a blank before "(", no ")".
    EXPECT_FALSE(Parse("ELLIPSE()"));
    EXPECT_FALSE(Parse("ellipse(1,2)"));
    EXPECT_FALSE(Parse("CIRCLE(1)"));
    EXPECT_FALSE(Parse("RECTANGLE (1,2)"));
    EXPECT_FALSE(Parse("RECTANGLE(1,2"));
    EXPECT_FALSE(Parse(""));
    EXPECT_FALSE(Parse(nullptr));
    EXPECT_EQ(Printed(), ""); // these never reach a shape's parser
}

TEST_F(KXShapeTest, ParseStringMessages)
{
    EXPECT_FALSE(Parse("RECTANGLE(2)"));
    EXPECT_EQ(Printed(), "Invalid rectangle parameters: 2\n   required format: width, height\n");
    printed.clear();
    EXPECT_FALSE(Parse("ELLIPSE(1,)"));
    EXPECT_EQ(Printed(), "Invalid ellipse parameters: 1,\n   required format: width, height\n");
    printed.clear();
    EXPECT_FALSE(Parse("REGPOLY(6,0,x,2)"));
    EXPECT_EQ(Printed(), "Invalid regular polygon parameters: 6,0,x,2\n"
                         "   required format: numvertices, angle, width, height\n");
    printed.clear();
    EXPECT_FALSE(Parse("POLYGON(0,0,1,0)"));
    EXPECT_EQ(Printed(), "Invalid polygon parameters: 0,0,1,0\n"
                         "   polygons must have at least three points\n");
    printed.clear();
    EXPECT_FALSE(Parse("POLYGON(0,0,1,0,1)"));
    EXPECT_EQ(Printed(), "Invalid polygon parameters: 0,0,1,0,1\n"
                         "   required format: point1x, point1y, point2x, point2y, ...\n");
    EXPECT_EQ(GetSyntaxErrCount(), 5);
    auto ok = Parse("POLYGON(0,0,1,0,1,1)");
    ASSERT_TRUE(ok);
    EXPECT_EQ(static_cast<KXPolygon &>(*ok).points.size(), 3);
    auto trailing = Parse("POLYGON( 0, 0, 1, 0, 1, 1, )"); // a final comma ends the list
    ASSERT_TRUE(trailing);
    EXPECT_TRUE(*trailing == *ok);

    // A failed ParseString empties the polygon's list.
    KXPolygon poly;
    ASSERT_TRUE(poly.ParseString("0,0,2,0,2,2"));
    EXPECT_FALSE(poly.ParseString("5,5"));
    EXPECT_EQ(poly.points.size(), 0);

    // Very long texts are quoted cut, never fatally long.
    printed.clear();
    std::string lots = "0,0";
    for (int i = 0; i < 401; ++i)
        lots += ",1";
    EXPECT_FALSE(Parse(("POLYGON(" + lots + ")").c_str()));
    ASSERT_FALSE(printed.empty());
    EXPECT_NE(Printed().find("...\n   required format"), std::string::npos);
}

TEST_F(KXShapeTest, FormulasFollowTheirVariables)
{
    kxNameSpace ns;
    kxNamedVariable *w = AddVariable(ns, "w", "4");
    AddVariable(ns, "h", "w/2");
    auto r = Parse("RECTANGLE(\"w\",\"h\")", &ns);
    ASSERT_TRUE(r);
    EXPECT_EQ(Def(*r), "RECTANGLE(\"w\",\"h\")");
    EXPECT_FALSE(r->AreAllParametersValues());
    double width, height;
    r->getSize(width, height);
    EXPECT_EQ(width, 4.0);
    EXPECT_EQ(height, 2.0);
    EXPECT_TRUE(r->Contains(kxPoint(1.9, 0.9)));
    w->SetValue(2.0); // the next query sees the new value
    r->getSize(width, height);
    EXPECT_EQ(width, 2.0);
    EXPECT_EQ(height, 1.0);
    EXPECT_FALSE(r->Contains(kxPoint(1.9, 0.9)));

    // A polygon and a regular polygon follow too (their kept outlines are refreshed).
    auto poly = Parse("POLYGON(0,0,\"w\",0,\"w\",\"w\",0,\"w\")", &ns);
    auto reg = Parse("REGPOLY(\"w*2\",0,\"w\",\"w\")", &ns);
    ASSERT_TRUE(poly && reg);
    EXPECT_FALSE(poly->Contains(kxPoint(2.5, 2.5)));
    EXPECT_TRUE(reg->Contains(kxPoint(0.9, 0)));
    w->SetValue(3.0);
    EXPECT_TRUE(poly->Contains(kxPoint(2.5, 2.5)));
    EXPECT_TRUE(reg->Contains(kxPoint(1.4, 0)));
    EXPECT_EQ(static_cast<KXRegularPolygon &>(*reg).GetVertices().size(), 6u);

    // Without a namespace, a formula is skipped and the default kept.
    auto loose = Parse("RECTANGLE(\"w\",3)");
    ASSERT_TRUE(loose);
    EXPECT_EQ(Def(*loose), "RECTANGLE(1,3)");
    EXPECT_TRUE(loose->AreAllParametersValues());

    // setSize replaces formulas by values.
    r->setSize(5, 6);
    EXPECT_TRUE(r->AreAllParametersValues());
    EXPECT_EQ(Def(*r), "RECTANGLE(5,6)");
}

TEST_F(KXShapeTest, CopiesComparisonAndCheckSums)
{
    kxNameSpace ns, other;
    AddVariable(ns, "w", "4");
    AddVariable(other, "w", "10");
    auto r = Parse("RECTANGLE(\"w\",1)", &ns);
    ASSERT_TRUE(r);
    std::unique_ptr<KXShape> rebound(r->newCopy(&other));
    std::unique_ptr<KXShape> frozen(r->newCopy(nullptr));
    double w, h;
    rebound->getSize(w, h);
    EXPECT_EQ(w, 10.0);          // the formula resolves in the new namespace
    EXPECT_TRUE(*rebound == *r); // same form
    frozen->getSize(w, h);
    EXPECT_EQ(w, 4.0);
    EXPECT_TRUE(frozen->AreAllParametersValues());
    EXPECT_FALSE(*frozen == *r); // a value never equals a formula

    // Equal kinds and parameters compare equal; different kinds never do.
    auto e1 = Parse("ELLIPSE(2,1)"), e2 = Parse("ELLIPSE(2,1)"), r2 = Parse("RECTANGLE(2,1)");
    EXPECT_TRUE(*e1 == *e2);
    EXPECT_FALSE(*e1 == *r2);
    EXPECT_TRUE(*e1 != *r2);
    EXPECT_TRUE(e1->GetCheckSum() == e2->GetCheckSum());
    EXPECT_TRUE(e1->GetCheckSum() != r2->GetCheckSum());
    static_cast<KXEllipse &>(*e2).width = 2.5;
    EXPECT_FALSE(*e1 == *e2);
    EXPECT_TRUE(e1->GetCheckSum() != e2->GetCheckSum());
    auto p1 = Parse("POLYGON(0,0,1,0,0,1)"), p2 = Parse("POLYGON(0,0,1,0,0,1,1,1)");
    EXPECT_FALSE(*p1 == *p2);
    std::unique_ptr<KXShape> p3(p2->newCopy(nullptr));
    EXPECT_TRUE(*p3 == *p2);

    // Class-level copies of the polygon keep their points' parent right.
    KXPolygon a;
    a.SetNameSpace(&ns);
    ASSERT_TRUE(a.ParseString("0,0,\"w\",0,0,\"w\""));
    KXPolygon b(a);
    EXPECT_EQ(b.points[2].GetParent(), &b);
    EXPECT_EQ(b.points[2].GetNameSpace(), &ns);
    KXPolygon c;
    c = a;
    EXPECT_EQ(c.points[3].GetParent(), &c);
    EXPECT_TRUE(c == a);

    // The namespace falls back to the parent object's.
    KXRectangle child;
    KXPolygon parent;
    parent.SetNameSpace(&other);
    child.SetParent(&parent);
    EXPECT_EQ(child.GetNameSpace(), &other);
    child.SetNameSpace(&ns);
    EXPECT_EQ(child.GetNameSpace(), &ns);
}

TEST_F(KXShapeTest, PublishedNamesAndHelp)
{
    KXRegularPolygon reg(5);
    List<KXCommandElt> elts;
    reg.getChildList(elts);
    std::vector<std::string> names, helps;
    for (int i = 1; i <= elts.size(); ++i) {
        names.emplace_back(elts[i].GetName().c_str());
        helps.emplace_back(elts[i].GetHelp().c_str());
    }
    const std::vector<std::string> want = {"objtype", "type",   "numvertices",   "angle",
                                           "width",   "height", "setnumvertices"};
    EXPECT_EQ(names, want);
    EXPECT_EQ(helps[1], "type of shape");
    EXPECT_EQ(helps[2], "number of vertices in regular polygon");
    EXPECT_EQ(helps[4], std::string("width of regular polygon in ") + kxMicronsString.c_str());
    EXPECT_EQ(helps[6], "( n ): set number of verticies");

    KXPolygon poly;
    poly.AddPoint(0, 0);
    poly.AddPoint(2, 0);
    poly.AddPoint(0, 2);
    KXCommandElt plist = poly.getPublishedElt("plist");
    ASSERT_TRUE(static_cast<bool>(plist));
    EXPECT_STREQ(plist.GetHelp().c_str(), "list of vertex coords");
    KXCommandElt npoints = poly.getPublishedElt("npoints");
    ASSERT_TRUE(static_cast<bool>(npoints));
    EXPECT_STREQ(npoints.GetHelp().c_str(), "number of vertices");
    EXPECT_STREQ(poly.getPublishedElt("insertpoint").GetHelp().c_str(),
                 "(at): insert point into the polygon at given position");
    EXPECT_STREQ(poly.getPublishedElt("removepoint").GetHelp().c_str(),
                 "(at): remove point from the polygon at given position");

    KXRectangle rect;
    EXPECT_STREQ(rect.getPublishedElt("height").GetHelp().c_str(),
                 (std::string("height of rectangle in ") + kxMicronsString.c_str()).c_str());
    KXEllipse ell;
    EXPECT_STREQ(ell.getPublishedElt("width").GetHelp().c_str(),
                 (std::string("width of ellipse in ") + kxMicronsString.c_str()).c_str());
    CMDPoint pt;
    EXPECT_STREQ(pt.getPublishedElt("y").GetHelp().c_str(),
                 (std::string("y coordinate in ") + kxMicronsString.c_str()).c_str());

    // Driving the members by command: values, formulas, the methods.
    kxNameSpace ns;
    AddVariable(ns, "w", "7");
    rect.SetNameSpace(&ns);
    EXPECT_TRUE(rect.getPublishedElt("width").SetValueString("w+1"));
    EXPECT_STREQ(rect.getPublishedElt("width").GetValueString().c_str(), "w+1");
    EXPECT_EQ(rect.GetMinLinearDimension(), 1.0);
    EXPECT_TRUE(rect.getPublishedElt("height").SetValueString("12.5"));
    EXPECT_EQ(rect.GetMinLinearDimension(), 8.0);
    EXPECT_FALSE(rect.getPublishedElt("type").SetValueString("3")); // read-only

    List<KXString> args;
    KXString result;
    args.append(KXString("2"));
    ASSERT_TRUE(poly.getPublishedElt("insertpoint").Call(args, result));
    EXPECT_EQ(Def(poly), "POLYGON(0,0,1,0,2,0,0,2)"); // the midpoint of its neighbours
    EXPECT_STREQ(poly.getPublishedElt("npoints").GetValueString().c_str(), "4");
    ASSERT_TRUE(poly.getPublishedElt("removepoint").Call(args, result));
    EXPECT_EQ(Def(poly), "POLYGON(0,0,2,0,0,2)");
    args[1] = "9";
    EXPECT_FALSE(poly.getPublishedElt("removepoint").Call(args, result));
    error.reset();
    EXPECT_TRUE(plist.SetValueString("0,0,3,0,3,3"));
    EXPECT_EQ(Def(poly), "POLYGON(0,0,3,0,3,3)");
    EXPECT_STREQ(plist.GetValueString().c_str(), "0,0,3,0,3,3");

    args[1] = "12";
    ASSERT_TRUE(reg.getPublishedElt("setnumvertices").Call(args, result));
    EXPECT_EQ(static_cast<int>(reg.numvertices), 12);
}

TEST_F(KXShapeTest, PolygonAndRegularPolygonContainment)
{
    KXPolygon tri = MakePolygon({{0, 0}, {2, 0}, {0, 2}});
    EXPECT_TRUE(tri.Contains(kxPoint(2, 0))); // vertex
    EXPECT_TRUE(tri.Contains(kxPoint(0.5, 0.5)));
    EXPECT_FALSE(tri.Contains(kxPoint(1.5, 1.5)));
    EXPECT_FALSE(KXPolygon().Contains(kxPoint(0, 0))); // empty list
    bool onB = false;
    EXPECT_TRUE(tri.Contains(kxPoint(1, 1 + 1e-9), 1e-6, onB)); // on the hypotenuse, within tol
    EXPECT_TRUE(onB);
    EXPECT_TRUE(tri.Contains(kxPoint(0.5, 0.25), 1e-6, onB));
    EXPECT_FALSE(onB);
    EXPECT_FALSE(tri.Contains(kxPoint(1.2, 1.2), 1e-6));
    // Changing a vertex directly is seen by the next query.
    tri.points[2].x = 4.0;
    EXPECT_TRUE(tri.Contains(kxPoint(1.5, 0.4)));
    EXPECT_FALSE(tri.Contains(kxPoint(1.5, 1.5)));
    tri.points[2].x = 1.0;
    EXPECT_FALSE(tri.Contains(kxPoint(1.5, 0.1)));

    KXRegularPolygon sq(4);
    sq.setSize(2, 2); // vertices (1,0), (0,1), (-1,0), (0,-1) up to rounding
    EXPECT_TRUE(sq.Contains(sq.GetVertices()[1]));
    EXPECT_TRUE(sq.Contains(kxPoint(0.4, 0.4)));
    EXPECT_FALSE(sq.Contains(kxPoint(0.6, 0.6)));
    EXPECT_TRUE(sq.Contains(kxPoint(0.5 + 1e-9, 0.5), 1e-6, onB));
    EXPECT_TRUE(onB);
    sq.angle = 45.0; // now axis-aligned with half side sqrt(1/2)
    EXPECT_TRUE(sq.Contains(kxPoint(0.6, 0.6)));
    sq.numvertices = 2; // fewer than three vertices contain nothing
    EXPECT_FALSE(sq.Contains(kxPoint(0, 0)));
    EXPECT_FALSE(sq.Contains(kxPoint(0, 0), 1.0));
    // A stretched regular polygon is inscribed in its ellipse.
    KXRegularPolygon hex(6);
    hex.setSize(4, 2);
    EXPECT_TRUE(hex.Contains(kxPoint(2, 0)));
    EXPECT_FALSE(hex.Contains(kxPoint(0, 0.95))); // top edge at y = sin 60 = 0.866
    EXPECT_TRUE(hex.Contains(kxPoint(0, 0.85)));
}

TEST_F(KXShapeTest, SizesBoundsAndCircles)
{
    KXRectangle r;
    r.setSize(4, 2);
    double w, h;
    r.getSize(w, h);
    EXPECT_EQ(w, 4.0);
    EXPECT_EQ(h, 2.0);
    ExpectRect(r.getBoundingRect(), -2, 1, 2, -1);
    EXPECT_DOUBLE_EQ(r.getBoundingCircle(), std::sqrt(5.0));
    EXPECT_EQ(r.GetMinLinearDimension(), 2.0);
    ExpectRect(r.getBoundingRectWithPlacement(KXPlacement(10, 20, 90, 1)), 9, 22, 11, 18);

    KXEllipse e;
    e.setSize(4, 2);
    EXPECT_EQ(e.getBoundingCircle(), 2.0);
    EXPECT_EQ(e.GetMinLinearDimension(), 2.0);
    ExpectRect(e.getBoundingRect(), -2, 1, 2, -1);
    ExpectRect(e.getBoundingRectWithPlacement(KXPlacement(0, 0, 90, 1)), -1, 2, 1, -2);
    const double ex = std::sqrt(4 * 0.5 + 1 * 0.5); // rotated 45 degrees
    ExpectRect(e.getBoundingRectWithPlacement(KXPlacement(1, 0, 45, 1)), 1 - ex, ex, 1 + ex, -ex);
    // z-x plane: horizontal offset z, vertical offset x.
    ExpectRect(e.getBoundingRectWithPlacement(KXPlacement(5, 3, 0, 0)), 3, 4, 7, 2);

    KXPolygon p = MakePolygon({{1, 1}, {4, 1}, {4, 3}, {1, 3}});
    p.getSize(w, h);
    EXPECT_EQ(w, 3.0);
    EXPECT_EQ(h, 2.0);
    ExpectRect(p.getBoundingRect(), 1, 3, 4, 1);
    EXPECT_DOUBLE_EQ(p.getBoundingCircle(), 5.0);
    EXPECT_EQ(p.GetMinLinearDimension(), 0.0); // deliberately
    ExpectRect(p.getBoundingRectWithPlacement(KXPlacement(0, 0, 180, 1)), -4, -1, -1, -3);
    EXPECT_EQ(KXPolygon().getBoundingCircle(), 0.0);

    KXRegularPolygon hex(6);
    hex.setSize(2, 2);
    hex.getSize(w, h);
    EXPECT_EQ(w, 2.0);
    ExpectRect(hex.getBoundingRect(), -1, std::sin(kPi / 3), 1, -std::sin(kPi / 3));
    EXPECT_DOUBLE_EQ(hex.getBoundingCircle(), 1.0);
    EXPECT_EQ(hex.GetMinLinearDimension(), 2.0);
    ExpectRect(hex.getBoundingRectWithPlacement(KXPlacement(0, 0, 90, 1)), -std::sin(kPi / 3), 1,
               std::sin(kPi / 3), -1);
}

TEST_F(KXShapeTest, ResizeExpandContract)
{
    // A polygon not centred on the origin is scaled about the origin, so it moves.
    KXPolygon p = MakePolygon({{1, 1}, {3, 1}, {3, 2}, {1, 2}});
    p.setSize(4, 3);
    EXPECT_EQ(p.getDefString(), KXString("POLYGON(2,3,6,3,6,6,2,6)"));
    KXPolygon flat = MakePolygon({{1, 1}, {3, 1}, {2, 1}});
    flat.setSize(4, 5); // zero height: y left alone
    EXPECT_EQ(flat.getDefString(), KXString("POLYGON(2,1,6,1,4,1)"));

    // Counter-clockwise outline: the edge normals (-dy, dx) point inward, so d > 0 shrinks it.
    KXPolygon sq = MakePolygon({{0, 0}, {4, 0}, {4, 4}, {0, 4}});
    sq.Expand(1);
    EXPECT_EQ(sq.getDefString(), KXString("POLYGON(1,1,3,1,3,3,1,3)"));
    sq.Contract(1);
    EXPECT_EQ(sq.getDefString(), KXString("POLYGON(0,0,4,0,4,4,0,4)"));
    // Clockwise: the same d grows it.
    KXPolygon cw = MakePolygon({{0, 0}, {0, 4}, {4, 4}, {4, 0}});
    cw.Expand(1);
    EXPECT_EQ(cw.getDefString(), KXString("POLYGON(-1,-1,-1,5,5,5,5,-1)"));
    // A collinear vertex stops the pass there: it and the vertices after it stay put.
    KXPolygon col = MakePolygon({{0, 0}, {2, 0}, {4, 0}, {4, 4}, {0, 4}});
    col.Expand(1);
    EXPECT_EQ(col.getDefString(), KXString("POLYGON(1,1,2,0,4,0,4,4,0,4)"));
    // Every new vertex comes from the outline before the call (a non-square check).
    KXPolygon tri = MakePolygon({{0, 0}, {6, 0}, {0, 6}});
    tri.Expand(1);
    const double s2 = std::sqrt(2.0);
    EXPECT_NEAR(tri.points[1].x, 1, 1e-12);
    EXPECT_NEAR(tri.points[1].y, 1, 1e-12);
    EXPECT_NEAR(tri.points[2].x, 5 - s2, 1e-12); // on y = 1 and x + y = 6 - sqrt 2
    EXPECT_NEAR(tri.points[2].y, 1, 1e-12);
    EXPECT_NEAR(tri.points[3].x, 1, 1e-12);
    EXPECT_NEAR(tri.points[3].y, 5 - s2, 1e-12);

    KXRectangle r;
    r.setSize(1, 3);
    r.Expand(0.5);
    double w, h;
    r.getSize(w, h);
    EXPECT_EQ(w, 2.0);
    EXPECT_EQ(h, 4.0);
    r.Contract(1.5); // narrower than 2d: the negative width is kept
    r.getSize(w, h);
    EXPECT_EQ(w, -1.0);
    EXPECT_EQ(h, 1.0);
    EXPECT_FALSE(r.Contains(kxPoint(0, 0)));

    KXEllipse e;
    e.Expand(1);
    e.getSize(w, h);
    EXPECT_EQ(w, 3.0);
    KXRegularPolygon reg(5);
    reg.Contract(0.25);
    reg.getSize(w, h);
    EXPECT_EQ(h, 0.5);
}

TEST_F(KXShapeTest, Rotation)
{
    KXRectangle r;
    r.setSize(2, 4);
    std::unique_ptr<KXShape> rr(r.CreateRotatedShape(90));
    ASSERT_TRUE(rr->IsMainType(&KXPolygon::ms_classInfo));
    EXPECT_EQ(rr->getDefString(), KXString("POLYGON(2,-1,2,1,-2,1,-2,-1)"));
    double w, h;
    rr->getSize(w, h);
    EXPECT_EQ(w, 4.0);
    EXPECT_EQ(h, 2.0);

    KXPolygon p = MakePolygon({{1, 0}, {2, 0}, {2, 1}});
    std::unique_ptr<KXShape> pr(p.CreateRotatedShape(180));
    EXPECT_EQ(pr->getDefString(), KXString("POLYGON(-1,0,-2,0,-2,-1)"));
    EXPECT_TRUE(pr->AreAllParametersValues());

    KXRegularPolygon reg(7);
    reg.angle = 10.0;
    reg.setSize(3, 2);
    std::unique_ptr<KXShape> regr(reg.CreateRotatedShape(25));
    EXPECT_EQ(regr->getDefString(), KXString("REGPOLY(7,35,3,2)"));

    KXEllipse e;
    e.setSize(4, 2);
    std::unique_ptr<KXShape> e90(e.CreateRotatedShape(-270));
    EXPECT_EQ(e90->getDefString(), KXString("ELLIPSE(2,4)"));
    std::unique_ptr<KXShape> e180(e.CreateRotatedShape(180));
    EXPECT_EQ(e180->getDefString(), KXString("ELLIPSE(4,2)"));
    std::unique_ptr<KXShape> e30(e.CreateRotatedShape(30));
    ASSERT_TRUE(e30->IsMainType(&KXPolygon::ms_classInfo));
    const KXPolygon &poly = static_cast<const KXPolygon &>(*e30);
    EXPECT_GE(poly.points.size(), 8);
    // Every point lies on the rotated ellipse.
    for (const kxPoint &q : poly.GetVertices()) {
        const double c = std::cos(-30 * kPi / 180), s = std::sin(-30 * kPi / 180);
        const double x = c * q.x - s * q.y, y = s * q.x + c * q.y;
        EXPECT_NEAR(x * x / 4 + y * y, 1.0, 1e-12);
    }
    // A larger ellipse gets a finer polygon (arc step sqrt(1/r)).
    e.setSize(200, 100);
    std::unique_ptr<KXShape> big(e.CreateRotatedShape(30));
    EXPECT_GT(static_cast<const KXPolygon &>(*big).points.size(), 60);
}

TEST_F(KXShapeTest, WeightedBlends)
{
    KXRectangle a, b, r;
    a.setSize(2, 4);
    b.setSize(4, 8);
    r.SetToWeighted(a, b, WeightType(0.5, 0.25, 0.9));
    double w, h;
    r.getSize(w, h);
    EXPECT_EQ(w, 3.0);
    EXPECT_EQ(h, 5.0);
    EXPECT_EQ(static_cast<int>(error), 0);

    KXEllipse e;
    r.SetToWeighted(a, e, WeightType(1, 1, 1));
    EXPECT_STREQ(error.chars(), "Cannot created weighted shape  - incompatible geometry\n");
    r.getSize(w, h);
    EXPECT_EQ(w, 3.0); // unchanged
    error.reset();
    e.SetToWeighted(a, b, WeightType(1, 1, 1));
    EXPECT_STREQ(error.chars(), "Cannot created weighted shape  - incompatible geometry\n");
    error.reset();
    KXEllipse ea, eb;
    eb.setSize(3, 5);
    e.SetToWeighted(ea, eb, WeightType(0.5, 1, 0));
    e.getSize(w, h);
    EXPECT_EQ(w, 2.0);
    EXPECT_EQ(h, 5.0);

    KXPolygon pa = MakePolygon({{0, 0}, {2, 0}, {0, 2}});
    KXPolygon pb = MakePolygon({{2, 2}, {6, 2}, {2, 10}});
    KXPolygon pc = MakePolygon({{9, 9}, {9, 9}, {9, 9}});
    pc.SetToWeighted(pa, pb, WeightType(0.5, 0.25, 0));
    EXPECT_EQ(pc.getDefString(), KXString("POLYGON(1,0.5,4,0.5,1,4)"));
    KXPolygon four = MakePolygon({{0, 0}, {1, 0}, {1, 1}, {0, 1}});
    four.SetToWeighted(pa, pb, WeightType(0.5, 0.5, 0.5));
    EXPECT_STREQ(error.chars(), "Cannot create weighted shape  - incompatible geometry\n");
    EXPECT_EQ(four.getDefString(), KXString("POLYGON(0,0,1,0,1,1,0,1)"));
    error.reset();
    pc.SetToWeighted(pa, r, WeightType(0.5, 0.5, 0.5));
    EXPECT_STREQ(error.chars(), "Cannot create weighted shape  - incompatible geometry\n");
    error.reset();

    // Regular polygons: no compatibility test, the vertex count stays, angle by the overall weight.
    KXRegularPolygon ra(5), rb(9), rc(3);
    ra.angle = 0.0;
    rb.angle = 90.0;
    rb.setSize(3, 5);
    rc.SetToWeighted(ra, rb, WeightType(0.5, 0.5, 0.5));
    EXPECT_EQ(rc.getDefString(), KXString("REGPOLY(3,45,2,3)"));
    EXPECT_EQ(static_cast<int>(error), 0);
}
