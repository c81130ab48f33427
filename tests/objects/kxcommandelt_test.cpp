// Tests of KXCommandElt: the elements an object publishes, as the command language reaches them.
#include "kxtestobjects.h"

using KXCommandEltTest = ObjectFixture;

TEST_F(KXCommandEltTest, CommandElements)
{
    tstShape shape;
    tstRect child;
    shape.children = {&child};

    KXCommandElt width = shape.getPublishedElt("width");
    ASSERT_TRUE(width);
    EXPECT_EQ(width.GetVarPtr<double>(), &shape.width);
    EXPECT_EQ(width.GetVarPtr<int>(), nullptr);
    EXPECT_STREQ(width.GetValueString(), "1.5");
    EXPECT_TRUE(width.SetValueString("2.25"));
    EXPECT_FALSE(width.SetValueString("2.25x"));
    EXPECT_EQ(shape.width, 2.25);

    EXPECT_FALSE(shape.SetParam("count", "5")); // read-only
    EXPECT_EQ(shape.count, 3);
    EXPECT_TRUE(shape.SetParam("label", "lid"));
    EXPECT_STREQ(shape.label, "lid");
    EXPECT_FALSE(shape.SetParam("code", "12345678")); // no room for the terminator
    EXPECT_TRUE(shape.SetParam("code", "1234567"));
    EXPECT_STREQ(shape.code, "1234567");
    EXPECT_FALSE(shape.SetParam("nosuch", "1"));
    EXPECT_FALSE(shape.getPublishedElt("width", true)); // not an object
    EXPECT_EQ(shape.getPublishedElt("child", true).GetObject(), &child);

    List<KXString> args;
    args.append("2");
    KXString result;
    EXPECT_TRUE(shape.getPublishedElt("scale").Call(args, result));
    EXPECT_EQ(shape.width, 4.5);
    EXPECT_STREQ(result, "4.5");
    EXPECT_FALSE(width.Call(args, result));

    List<KXCommandElt> all;
    shape.getChildList(all);
    std::vector<std::string> names;
    for (all.set_idx(0); all.incr_idx();)
        names.push_back(all.curr_cpt().GetName().c_str());
    EXPECT_EQ(names, (std::vector<std::string>{"objtype", "width", "count", "label", "code",
                                               "scratch", "scale", "child"}));
    List<KXCommandElt> objects;
    shape.getChildList(objects, true);
    EXPECT_EQ(objects.size(), 1);

    tstLeaf leaf; // a kind from outside the module, and a matrix
    KXCommandElt len = leaf.getPublishedElt("len");
    EXPECT_STREQ(len.GetTypeName(), "microns");
    EXPECT_STREQ(len.GetValueString(), "4um");
    EXPECT_TRUE(len.IsReadOnly()); // no setText
    leaf.matrix.alloc(1, 2, 0, 1);
    leaf.matrix(1, 0) = 1;
    leaf.matrix(1, 1) = 2.5;
    leaf.matrix(2, 0) = -3;
    leaf.matrix(2, 1) = 4;
    KXCommandElt matrix = leaf.getPublishedElt("matrix");
    EXPECT_EQ(matrix.GetPtrArray<double>(), &leaf.matrix);
    EXPECT_STREQ(matrix.GetValueString(), "1, 2.5; -3, 4");
    CheckSum viaElt;
    matrix.AppendCheckSum(viaElt);
    EXPECT_EQ(viaElt, Sum(2, 2, 1.0, 2.5, -3.0, 4.0));
    EXPECT_EQ(shape.GetOpDepth(), 0);
}
