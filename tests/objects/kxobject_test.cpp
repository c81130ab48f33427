// Tests of KXObject: target filters, operation stack, messages, publishing and namespace handles.
#include "kxtestobjects.h"

using KXObjectTest = ObjectFixture;

TEST_F(KXObjectTest, TargetFilterGrammar)
{
    tstShape shape;
    tstRect rect;
    tstTaggedRect tagged;
    tstEllipse ellipse;
    KXObject plain;
    const std::string fits = std::string(991, 'x') + ",tstRect"; // only 999 characters count
    const std::string cut = std::string(992, 'x') + ",tstRect";  // leaves ",tstRec"
    const std::vector<std::tuple<const char *, const KXObject *, bool>> cases{
        {nullptr, &plain, true},
        {"", &rect, true},
        {"*,-tstShape", &rect, false},
        {"*,-tstShape", &shape, false},
        {"*,-tstShape", &plain, true},
        {"-tstShape, *", &rect, false},
        {"-tstShape,*", &shape, false},
        {"-tstShape,*", &plain, true},
        {"tstShape", &ellipse, true},
        {"tstShape", &tagged, true},
        {"tstShape", &plain, false},
        {"MAINTYPE(tstShape)", &shape, true},
        {"MAINTYPE(tstShape)", &rect, false},
        {"MAINTYPE(tstRect)", &tagged, false},
        {"MAINTYPE(tstRect", &rect, true}, // name runs to the end
        {"tstTagged", &tagged, true},      // a second base counts
        {"tstrect", &rect, false},
        {"tstRect ", &rect, false},             // case and trailing blanks count
        {"tstEllipse,   tstRect", &rect, true}, // leading blanks are skipped
        {"tstRect,-tstRect", &rect, true},
        {"-tstRect,tstRect", &rect, false}, // the first match decides
        {"-MAINTYPE(tstRect),tstShape", &rect, false},
        {"-MAINTYPE(tstRect),tstShape", &tagged, true},
        {"-tstEllipse", &rect, false},
        {"*", &plain, true},
        {"-*", &plain, false},
        {",,", &plain, false},
        {fits.c_str(), &rect, true},
        {cut.c_str(), &rect, false}};
    for (const auto &[filter, object, expected] : cases)
        EXPECT_EQ(object->MatchesTarget(filter), expected)
            << (filter ? filter : "(null)") << " " << object->getClassName();
}

TEST_F(KXObjectTest, OperationStackFaults)
{
    tstCalc s;
    s.eraseTopEvent();
    EXPECT_TRUE(TakeFault("tstCalc::eraseTopEvent 0\nAt kxobject:")) << error.chars();

    CheckSum sum, other;
    KXMessage m1, m2;
    KXObjectEvent r0 = KXObjectEvent::ForMessage(1, nullptr, m1);
    KXObjectEvent r1 = KXObjectEvent::ForMessage(1, nullptr, m2);
    KXObjectEvent again = KXObjectEvent::ForMessage(2, "x", m2);
    KXObjectEvent c1 = KXObjectEvent::ForCheckSum(sum);
    KXObjectEvent c2 = KXObjectEvent::ForCheckSum(other);
    ASSERT_EQ(s.appendEvent(r1), kxAppended);
    ASSERT_EQ(s.appendEvent(c1), kxAppended);
    EXPECT_EQ(s.appendEvent(again), kxAppendRecursion); // the same message is on the stack
    EXPECT_EQ(s.appendEvent(c2), kxAppendRecursion);    // any checksum is
    EXPECT_EQ(s.GetOpDepth(), 2);
    EXPECT_EQ(int(error), 0);
    s.eraseTopEvent();

    r1.below = &r0; // corrupt the chain: one record too many below the depth
    s.eraseTopEvent();
    EXPECT_TRUE(TakeFault("tstCalc::eraseTopEvent 2"));
    EXPECT_EQ(s.appendEvent(c1), kxAppendFault);
    EXPECT_TRUE(TakeFault("tstCalc::appendEvent 1"));
    s.eraseTopEvent();
    EXPECT_TRUE(TakeFault("tstCalc::eraseTopEvent 1"));
}

TEST_F(KXObjectTest, MessageModesAndOrdering)
{
    tstShape root("root");
    tstRect a("a"), a1("a1");
    tstEllipse b("b");
    KXObject plain;
    root.children = {&a, &b, &plain};
    a.children = {&a1};
    auto trace = [](std::vector<std::string> expected) {
        EXPECT_EQ(gTrace, expected);
        gTrace.clear();
    };

    EXPECT_EQ(root.sendMessage(nullptr, 7), 4);
    trace({"root", "a", "a1", "b"});
    KXMessage post("tstRect", 7);
    EXPECT_EQ(root.sendMessage(post, kxMsgPostOrder), 2);
    trace({"a1", "a"});
    KXMessage only(nullptr, 7);
    EXPECT_EQ(root.sendMessage(only, kxMsgThisOnly), 1);
    trace({"root"});
    // An excluded object gets nothing, but the message still passes through it to its children.
    KXMessage excluded("*,-MAINTYPE(tstRect)", 7);
    tstEllipse e1("e1");
    a.children = {&e1};
    root.sendMessage(excluded);
    trace({"root", "e1", "b"});

    post.SetResult(9); // Init replaces everything and clears the result
    post.Init(nullptr, 3, &root, nullptr);
    EXPECT_EQ(post.GetResult(), 0);
    EXPECT_EQ(post.GetTarget(), nullptr);

    // ResetAll reaches ResetTop of the objects the target names.
    root.ResetAll("tstEllipse");
    EXPECT_EQ(std::make_tuple(b.resets, e1.resets, root.resets), std::make_tuple(1, 1, 0));

    // An unknown mode is an internal fault; the stack is left empty.
    KXMessage odd(nullptr, 1);
    root.sendMessage(odd, kxMsgMode(9));
    EXPECT_EQ(int(error), 507);
    EXPECT_EQ(root.GetOpDepth(), 0);
}

TEST_F(KXObjectTest, RecursionIsRefused)
{
    tstShape self("self");
    self.children = {&self};
    EXPECT_EQ(self.sendMessage(nullptr, 1), 1); // delivered once, the second visit refused
    EXPECT_TRUE(TakeFault("Code Error: KXObject::sendMessage1\nAt kxobject:"));
    EXPECT_EQ(self.GetOpDepth(), 0);

    tstLeaf leaf;
    leaf.other = &leaf;
    EXPECT_TRUE(leaf.getCurrCheckSum().IsZero());
    EXPECT_TRUE(TakeFault("tstLeaf::getCurrCheckSum. Recursive structure!\nAt kxobject:"));
    EXPECT_EQ(leaf.GetOpDepth(), 0);

    tstLeaf a, b; // a cycle through two objects
    a.other = &b;
    b.other = &a;
    EXPECT_TRUE(a.getCurrCheckSum().IsZero());
    EXPECT_TRUE(TakeFault("Recursive structure!"));
    b.other = nullptr; // broken cycle: a sensible value again
    EXPECT_FALSE(a.getCurrCheckSum().IsZero());
    EXPECT_EQ(int(error), 0);
}

TEST_F(KXObjectTest, NameSpaceHandles)
{
    KXObject o;
    kxNameSpace *ns = reinterpret_cast<kxNameSpace *>(&o);
    o.SetNameSpace(ns);
    o.SetNameSpace(kxOwnNameSpace()); // asks GetNameSpace: unchanged
    EXPECT_EQ(KXObject(o).GetNameSpace(), ns);
    o.SetNameSpace(kxNoNameSpace());
    EXPECT_EQ(o.GetNameSpace(), nullptr);
}
