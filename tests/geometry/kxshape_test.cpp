// Tests of the shape text form (ParseShape, WriteShape, ParseString messages), the shape
// container, copies and comparison, and shapes following their variables.
#include "kx/geometry/kxellipse.h"
#include "kx/geometry/kxpolygon.h"
#include "kx/geometry/kxrectangle.h"
#include "kx/geometry/kxregularpolygon.h"
#include "kx/geometry/kxshape.h"
#include "kx/geometry/kxshapecontainer.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/foundation/kxunits.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

std::vector<std::string> printed;
void Capture(int, const char *line) { printed.emplace_back(line); }

class ShapeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        InitialiseKXUtils("test", KXString("v"), 1, nullptr, nullptr, nullptr, Capture, nullptr);
        printed.clear();
        error.reset();
        ResetSyntaxErrFlag();
    }
    void TearDown() override { error.reset(); }

    static std::string Printed()
    {
        std::string all;
        for (const std::string &s : printed)
            all += s;
        return all;
    }
    static std::unique_ptr<KXShape> Parse(const char *text, kxNameSpace *ns = nullptr)
    {
        return std::unique_ptr<KXShape>(KXShape::ParseShape(ns, text));
    }
    static std::string Def(const KXShape &s) { return s.getDefString().c_str(); }
};

kxNamedVariable *AddVariable(kxNameSpace &ns, const char *name, const char *value)
{
    kxNamedVariable *v = new kxNamedVariable(&ns);   // owned by the namespace
    EXPECT_TRUE(v->SetName(name));
    v->SetValueOrExpression(value);
    return v;
}

} // namespace

TEST_F(ShapeTest, ParseShapeKeywordsAndWriteBack)
{
    auto r = Parse("RECTANGLE(2,1)");
    ASSERT_TRUE(r);
    EXPECT_EQ(r->GetType(), KXShape::kRectangle);
    EXPECT_TRUE(r->IsKindOf("KXRectangle"));
    EXPECT_EQ(Def(*r), "RECTANGLE(2,1)");
    KXString out;
    KXShape::WriteShape(*r, out);
    EXPECT_STREQ(out.c_str(), "RECTANGLE(2,1)");

    auto hex = Parse("   REGPOLY(6,0,2,2)");   // leading blanks are skipped
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
    EXPECT_EQ(Printed(), "");   // these never reach a shape's parser
}

TEST_F(ShapeTest, ParseStringMessages)
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
    auto trailing = Parse("POLYGON( 0, 0, 1, 0, 1, 1, )");   // a final comma ends the list
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

TEST_F(ShapeTest, FormulasFollowTheirVariables)
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
    w->SetValue(2.0);   // the next query sees the new value
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

TEST_F(ShapeTest, CopiesComparisonAndCheckSums)
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
    EXPECT_EQ(w, 10.0);        // the formula resolves in the new namespace
    EXPECT_TRUE(*rebound == *r);   // same form
    frozen->getSize(w, h);
    EXPECT_EQ(w, 4.0);
    EXPECT_TRUE(frozen->AreAllParametersValues());
    EXPECT_FALSE(*frozen == *r);   // a value never equals a formula

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

TEST_F(ShapeTest, ContainerOwnsOneShape)
{
    kxNameSpace ns;
    AddVariable(ns, "w", "4");
    KXShapeContainer box;
    EXPECT_EQ(box.GetShape(), nullptr);
    EXPECT_EQ(box.SetShape(&ns, "RECTANGLE(\"w\", 2)"), 1);
    ASSERT_NE(box.GetShape(), nullptr);
    EXPECT_FALSE(box.GetShape()->AreAllParametersValues());

    KXShapeContainer copy(box);   // deep, frozen
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
    copy = same;   // self-assignment keeps the shape
    EXPECT_NE(copy.GetShape(), nullptr);

    EXPECT_EQ(box.SetShape(&ns, "NOTASHAPE(1)"), 0);
    EXPECT_EQ(box.GetShape(), nullptr);
    EXPECT_EQ(Printed(), "syntax error in line NOTASHAPE(1)\n");
    box.Clear();
    EXPECT_EQ(box.GetShape(), nullptr);
}

TEST_F(ShapeTest, PublishedNamesAndHelp)
{
    KXRegularPolygon reg(5);
    List<KXCommandElt> elts;
    reg.getChildList(elts);
    std::vector<std::string> names, helps;
    for (int i = 1; i <= elts.size(); ++i) {
        names.emplace_back(elts[i].GetName().c_str());
        helps.emplace_back(elts[i].GetHelp().c_str());
    }
    const std::vector<std::string> want = {"objtype", "type", "numvertices", "angle", "width",
                                           "height", "setnumvertices"};
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
    EXPECT_FALSE(rect.getPublishedElt("type").SetValueString("3"));   // read-only

    List<KXString> args;
    KXString result;
    args.append(KXString("2"));
    ASSERT_TRUE(poly.getPublishedElt("insertpoint").Call(args, result));
    EXPECT_EQ(Def(poly), "POLYGON(0,0,1,0,2,0,0,2)");   // the midpoint of its neighbours
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

TEST_F(ShapeTest, PointListKeepsParentsAndCountsChanges)
{
    KXPolygon owner;
    CMDPointList list;
    list.SetParent(&owner);
    list.append(CMDPoint(1, 2));
    list.insert(1, CMDPoint(0, 0));
    list.set_idx(3);
    list.insert(CMDPoint(5, 5));   // at the end: the current index was one past it
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
    EXPECT_EQ(list.Pointers().front(), &view[1]);   // refreshed after the change

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
    EXPECT_FALSE(poly.Contains(kxPoint(1.5, 0.2)));   // now the triangle (0,0) (2,2) (0,2)
    EXPECT_TRUE(poly.Contains(kxPoint(0.5, 1.5)));

    // A reference taken before a query and written through after it: every query sees the
    // current values, whatever the write path.
    CMDPoint &kept = poly.points[2];                  // (2,2)
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
