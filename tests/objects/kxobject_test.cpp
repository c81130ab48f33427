// Tests of the object model: class registry, target filters, operation stack, messages,
// publishing, checksums, command elements and Updatable.
#include "kx/objects/kxobject.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "kx/foundation/kxerror.h"
#include "kx/objects/kxchecksum.h"

namespace {
std::vector<std::string> gTrace;   // names of the objects that received a message, in order
}

// A small class hierarchy: tstShape <- tstRect <- tstTaggedRect (second base: the mixin
// tstTagged, which is not a KXObject), tstShape <- tstEllipse, and the abstract tstAbstract.
class tstShape : public Checkable {
    KX_DECLARE_CLASS(tstShape)
public:
    explicit tstShape(const char *name = "") : name(name) {}
    void OnMessage(KXMessage &message) override
    {
        gTrace.push_back(name);
        message.SetResult(message.GetResult() + 1);
        Checkable::OnMessage(message);
    }
    void OnPublish() override
    {
        Checkable::OnPublish();
        PublishVar("width", width, "width of shape");
        PublishVar("count", count, "count", kxPublishReadOnly);
        PublishVar("label", label, "label");
        PublishVar("code", code, sizeof code, "code");
        PublishVar("scratch", scratch, "not part of the state", kxPublishNoCheckSum);
        PublishFunc("scale", [this](const List<KXString> &args, KXString &result) {
            double factor = 0;
            if (args.size() != 1 || !kxStringToNumber(args[1], factor))
                return false;
            width *= factor;
            result = numtoA(width);
            return true;
        }, "( factor ): scale the width");
        for (KXObject *child : children)
            PublishObj("child", child, "a child");
    }
    void ResetTop() override { resets++; }

    std::string name;
    double width = 1.5;
    int count = 3;
    KXString label = "box";
    char code[8] = "ab";
    double scratch = 0;
    int resets = 0;
    std::vector<KXObject *> children;
};

class tstRect : public tstShape {
    KX_DECLARE_CLASS(tstRect)
public:
    using tstShape::tstShape;
};

class tstEllipse : public tstShape {
    KX_DECLARE_CLASS(tstEllipse)
public:
    using tstShape::tstShape;
};

struct tstTagged {
    static kxClassInfo ms_classInfo;
};
kxClassInfo tstTagged::ms_classInfo("tstTagged", nullptr, nullptr, nullptr);

class tstTaggedRect : public tstRect, public tstTagged {
    KX_DECLARE_CLASS(tstTaggedRect)
public:
    using tstRect::tstRect;
};

class tstAbstract : public KXObject {
    KX_DECLARE_CLASS(tstAbstract)
public:
    virtual void Pure() = 0;
};

KX_IMPLEMENT_CLASS(tstShape, Checkable)
KX_IMPLEMENT_CLASS(tstRect, tstShape)
KX_IMPLEMENT_CLASS(tstEllipse, tstShape)
KX_IMPLEMENT_CLASS2(tstTaggedRect, tstRect, tstTagged)
KX_IMPLEMENT_ABSTRACT_CLASS(tstAbstract, KXObject)

// A type from "another module", made publishable through kxPublishTraits.
struct tstMicrons {
    double value;
};
const kxPublishedKind kxPublishedMicrons = {
    "microns",
    [](const void *m, int, CheckSum &sum) { sum.Append(static_cast<const tstMicrons *>(m)->value * 2); },
    [](const KXObject &, const void *m, int) { return numtoA(static_cast<const tstMicrons *>(m)->value) + "um"; },
    nullptr};
template <>
struct kxPublishTraits<tstMicrons> {
    static const kxPublishedKind &Kind() { return kxPublishedMicrons; }
};

// Publishes one double, an extension-typed member, and optionally itself or another object.
class tstLeaf : public Checkable {
    KX_DECLARE_CLASS(tstLeaf)
public:
    void OnPublish() override
    {
        Checkable::OnPublish();
        PublishVar("d", d, "a double");
        PublishVar("len", len, "a length");
        PublishObj("other", other, "another object");
        if (matrix.alloced())
            PublishVar("matrix", matrix, "a matrix");
    }
    double d = 0.25;
    Array2d<double> matrix;
    tstMicrons len{4.0};
    KXObject *other = nullptr;
};
KX_IMPLEMENT_CLASS(tstLeaf, Checkable)

// Exposes the protected operation stack.
class tstStack : public KXObject {
    KX_DECLARE_CLASS(tstStack)
public:
    using KXObject::appendEvent;
    using KXObject::eraseTopEvent;
};
KX_IMPLEMENT_CLASS(tstStack, KXObject)

class tstCalc : public Updatable {
    KX_DECLARE_CLASS(tstCalc)
public:
    void OnPublish() override
    {
        Updatable::OnPublish();
        PublishVar("input", input, "input");
    }
    bool Update(const char *target) override
    {
        ++updates;
        return Updatable::Update(target);
    }
    double input = 1;
    int updates = 0;
};
KX_IMPLEMENT_CLASS(tstCalc, Updatable)

class KXObjectTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        error.reset();
        gTrace.clear();
    }
    void TearDown() override { error.reset(); }
};

TEST_F(KXObjectTest, ClassRegistry)
{
    EXPECT_EQ(kxClassInfo::FindClass("tstRect"), &tstRect::ms_classInfo);
    EXPECT_EQ(kxClassInfo::FindClass("KXObject"), &KXObject::ms_classInfo);
    EXPECT_EQ(kxClassInfo::FindClass("tstrect"), nullptr);
    EXPECT_EQ(kxClassInfo::FindClass(nullptr), nullptr);

    // Registry order follows construction order (within this file: tstTagged before tstShape).
    std::vector<std::string> names;
    for (const kxClassInfo *c = kxClassInfo::GetFirst(); c; c = c->GetNext())
        names.push_back(c->GetClassName());
    auto at = [&](const char *n) { return std::find(names.begin(), names.end(), n) - names.begin(); };
    EXPECT_LT(at("tstTagged"), at("tstShape"));
    EXPECT_LT(at("tstShape"), at("tstRect"));
    EXPECT_LT(at("tstRect"), at("tstTaggedRect"));
    EXPECT_LT(at("KXObject"), at("Updatable"));
    EXPECT_LT(at("tstStack"), int(names.size()));

    // A record unlinks itself when destroyed.
    {
        kxClassInfo temporary("tstTemporary", &KXObject::ms_classInfo, nullptr, nullptr);
        EXPECT_EQ(kxClassInfo::FindClass("tstTemporary"), &temporary);
    }
    EXPECT_EQ(kxClassInfo::FindClass("tstTemporary"), nullptr);
    kxClassInfo late("tstLate", nullptr, nullptr, nullptr);   // the tail is still right
    EXPECT_EQ(kxClassInfo::FindClass("tstLate"), &late);

    KXObject *made = kxClassInfo::CreateObject("tstTaggedRect");
    ASSERT_NE(made, nullptr);
    EXPECT_STREQ(made->getClassName(), "tstTaggedRect");
    EXPECT_TRUE(made->IsMainType(&tstTaggedRect::ms_classInfo));
    EXPECT_FALSE(made->IsMainType(&tstRect::ms_classInfo));
    delete made;
    EXPECT_EQ(tstAbstract::ms_classInfo.CreateObject(), nullptr);
    EXPECT_FALSE(tstAbstract::ms_classInfo.IsDynamic());
    EXPECT_EQ(kxClassInfo::CreateObject("tstAbstract"), nullptr);
    EXPECT_EQ(kxClassInfo::CreateObject("noSuchClass"), nullptr);

    tstTaggedRect tagged;
    EXPECT_TRUE(tagged.IsKindOf(&tstTagged::ms_classInfo));      // through base 2
    EXPECT_TRUE(tagged.IsKindOf(&Checkable::ms_classInfo));      // through base 1, depth first
    EXPECT_TRUE(tagged.IsKindOf("KXObject"));
    EXPECT_TRUE(tagged.IsKindOf("tstTagged"));
    EXPECT_FALSE(tagged.IsKindOf(&tstEllipse::ms_classInfo));
    EXPECT_FALSE(tagged.IsKindOf(static_cast<const kxClassInfo *>(nullptr)));
    EXPECT_FALSE(tstRect().IsKindOf("tstTagged"));
    EXPECT_FALSE(KXObject().IsKindOf("Checkable"));
}

TEST_F(KXObjectTest, TargetFilterGrammar)
{
    tstShape shape;
    tstRect rect;
    tstTaggedRect tagged;
    tstEllipse ellipse;
    KXObject plain;
    auto reaches = [](const char *filter, const KXObject &o) { return o.MatchesTarget(filter); };

    EXPECT_TRUE(reaches(nullptr, plain));
    EXPECT_TRUE(reaches("", rect));
    // "*" with an exclusion, in either order.
    for (const char *f : {"*,-tstShape", "-tstShape,*", "-tstShape, *"}) {
        EXPECT_FALSE(reaches(f, rect)) << f;
        EXPECT_FALSE(reaches(f, shape)) << f;
        EXPECT_TRUE(reaches(f, plain)) << f;
    }
    EXPECT_TRUE(reaches("tstShape", ellipse));
    EXPECT_TRUE(reaches("tstShape", tagged));
    EXPECT_FALSE(reaches("tstShape", plain));
    EXPECT_TRUE(reaches("MAINTYPE(tstShape)", shape));
    EXPECT_FALSE(reaches("MAINTYPE(tstShape)", rect));
    EXPECT_FALSE(reaches("MAINTYPE(tstRect)", tagged));
    EXPECT_TRUE(reaches("MAINTYPE(tstRect", rect));       // the name runs to the item's end
    EXPECT_TRUE(reaches("tstTagged", tagged));              // a second base counts
    EXPECT_FALSE(reaches("tstrect", rect));                 // names compare with case
    EXPECT_FALSE(reaches("tstRect ", rect));                // trailing blanks belong to the name
    EXPECT_TRUE(reaches("tstEllipse,   tstRect", rect));    // leading blanks are skipped
    // The first item that matches decides.
    EXPECT_TRUE(reaches("tstRect,-tstRect", rect));
    EXPECT_FALSE(reaches("-tstRect,tstRect", rect));
    EXPECT_FALSE(reaches("-MAINTYPE(tstRect),tstShape", rect));
    EXPECT_TRUE(reaches("-MAINTYPE(tstRect),tstShape", tagged));
    EXPECT_FALSE(reaches("-tstEllipse", rect));             // no match and no "*"
    EXPECT_TRUE(reaches("*", plain));
    EXPECT_FALSE(reaches("-*", plain));
    EXPECT_FALSE(reaches(",,", plain));
    // Only the first 999 characters are looked at.
    const std::string fits = std::string(990, 'x') + ",tstRect";
    const std::string cut = std::string(995, 'x') + ",tstRect";
    EXPECT_TRUE(reaches(fits.c_str(), rect));
    EXPECT_FALSE(reaches(cut.c_str(), rect));
}

TEST_F(KXObjectTest, OperationStackFaults)
{
    tstStack s;
    s.eraseTopEvent();
    EXPECT_EQ(int(error), 507);
    EXPECT_NE(std::string(error.chars()).find("tstStack::eraseTopEvent 0\nAt kxobject:"), std::string::npos)
        << error.chars();
    error.reset();

    CheckSum sum;
    KXMessage m1, m2;
    KXObjectEvent r0 = KXObjectEvent::ForMessage(1, nullptr, m1);
    KXObjectEvent r1 = KXObjectEvent::ForMessage(1, nullptr, m2);
    KXObjectEvent again = KXObjectEvent::ForMessage(2, "x", m2);
    KXObjectEvent c1 = KXObjectEvent::ForCheckSum(sum);
    CheckSum other;
    KXObjectEvent c2 = KXObjectEvent::ForCheckSum(other);
    ASSERT_EQ(s.appendEvent(r1), kxAppended);
    ASSERT_EQ(s.appendEvent(c1), kxAppended);
    EXPECT_EQ(s.appendEvent(again), kxAppendRecursion);   // the same message is on the stack
    EXPECT_EQ(s.appendEvent(c2), kxAppendRecursion);      // any checksum is
    EXPECT_EQ(s.GetOpDepth(), 2);
    EXPECT_EQ(int(error), 0);
    s.eraseTopEvent();

    r1.below = &r0;   // corrupt the chain: one record too many below the depth
    s.eraseTopEvent();
    EXPECT_NE(std::string(error.chars()).find("tstStack::eraseTopEvent 2"), std::string::npos);
    error.reset();
    EXPECT_EQ(s.appendEvent(c1), kxAppendFault);
    EXPECT_NE(std::string(error.chars()).find("tstStack::appendEvent 1"), std::string::npos);
    error.reset();
    s.eraseTopEvent();
    EXPECT_NE(std::string(error.chars()).find("tstStack::eraseTopEvent 1"), std::string::npos);
}

TEST_F(KXObjectTest, MessageModesAndOrdering)
{
    tstShape root("root");
    tstRect a("a");
    tstEllipse b("b");
    tstRect a1("a1");
    KXObject plain;
    root.children = {&a, &b, &plain};
    a.children = {&a1};

    EXPECT_EQ(root.sendMessage(nullptr, 7), 4);
    EXPECT_EQ(gTrace, (std::vector<std::string>{"root", "a", "a1", "b"}));

    gTrace.clear();
    KXMessage post("tstRect", 7);
    EXPECT_EQ(root.sendMessage(post, kxMsgPostOrder), 2);
    EXPECT_EQ(gTrace, (std::vector<std::string>{"a1", "a"}));

    gTrace.clear();
    KXMessage only(nullptr, 7);
    EXPECT_EQ(root.sendMessage(only, kxMsgThisOnly), 1);
    EXPECT_EQ(gTrace, (std::vector<std::string>{"root"}));

    gTrace.clear();
    KXMessage excluded("*,-MAINTYPE(tstRect)", 7);
    root.sendMessage(excluded);
    EXPECT_EQ(gTrace, (std::vector<std::string>{"root", "b"}));
    // An excluded object gets nothing, but the message still passes through it to its children.
    gTrace.clear();
    tstEllipse e1("e1");
    a.children = {&e1};
    root.sendMessage(excluded);
    EXPECT_EQ(gTrace, (std::vector<std::string>{"root", "e1", "b"}));

    // Init replaces everything and clears the result.
    post.SetResult(9);
    post.Init(nullptr, 3, &root, nullptr);
    EXPECT_EQ(post.GetResult(), 0);
    EXPECT_EQ(post.GetTarget(), nullptr);
    EXPECT_EQ(post.GetId(), 3);
    EXPECT_EQ(post.GetData1(), &root);

    // ResetAll reaches ResetTop of the objects the target names.
    root.ResetAll("tstEllipse");
    EXPECT_EQ(b.resets, 1);
    EXPECT_EQ(e1.resets, 1);
    EXPECT_EQ(root.resets, 0);

    // An unknown mode is an internal fault; the stack is left empty.
    KXMessage odd(nullptr, 1);
    root.sendMessage(odd, kxMsgMode(9));
    EXPECT_EQ(int(error), 507);
    EXPECT_EQ(root.GetOpDepth(), 0);
}

TEST_F(KXObjectTest, MessageRecursionIsRefused)
{
    tstShape self("self");
    self.children = {&self};
    EXPECT_EQ(self.sendMessage(nullptr, 1), 1);   // delivered once, the second visit refused
    EXPECT_EQ(int(error), 507);
    EXPECT_NE(std::string(error.chars()).find("Code Error: KXObject::sendMessage1\nAt kxobject:"),
              std::string::npos);
    EXPECT_EQ(self.GetOpDepth(), 0);
}

TEST_F(KXObjectTest, CheckSumArithmetic)
{
    CheckSum s;
    s.Append(0);
    EXPECT_TRUE(s.IsZero());
    s.Append(1);
    s.Append(1);
    EXPECT_EQ(s, CheckSum(9, 0, 0, 0));

    // The rotation carries across all four words, w3 into w0.
    CheckSum carry(0xE0000000u, 0, 0, 0x20000000u);
    carry.Append(CheckSum());
    EXPECT_EQ(carry, CheckSum(1, 7, 0, 0));

    CheckSum text;
    text.Append("abc");
    EXPECT_EQ(text, CheckSum(0xFE636261u, 0, 0, 0));
    CheckSum four;
    four.Append("abcd");
    EXPECT_EQ(four, CheckSum(0x64636261u, 0xFEFEFEFEu, 0, 0));
    CheckSum empty;
    empty.Append("");
    EXPECT_EQ(empty, CheckSum(0xFEFEFEFEu, 0, 0, 0));
    CheckSum wrapped;   // 5 words: the fifth goes into w0 again
    wrapped.Append("abcdefghijklmnop");
    EXPECT_EQ(wrapped.GetWord(0), 0x64636261u ^ 0xFEFEFEFEu);
    EXPECT_EQ(wrapped.GetWord(3), 0x706f6e6du);

    CheckSum d;
    d.Append(1.0);
    EXPECT_EQ(d, CheckSum(0, 0x3FF00000u, 0, 0));
    CheckSum z;
    z.Append(std::complex<double>(1.0, 2.0));
    EXPECT_EQ(z, CheckSum(0, 0x3FF00000u, 0, 0x40000000u));
    CheckSum b;
    b.Append(true);
    EXPECT_EQ(b, CheckSum(1, 0, 0, 0));
    EXPECT_NE(b, d);

    char buffer[40];
    EXPECT_TRUE(CheckSum(1, 2, 3, 0xABCDEF01u).WriteString(buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "abcdef01000000030000000200000001");
    EXPECT_FALSE(CheckSum(1, 2, 3, 4).WriteString(buffer, 9));
    EXPECT_STREQ(buffer, "00000004");
}

TEST_F(KXObjectTest, CheckSumFollowsPublishedState)
{
    tstLeaf leaf;
    CheckSum expected;
    expected.Append("tstLeaf");   // "objtype"
    expected.Append(0.25);
    expected.Append(8.0);         // the extension kind appends twice the value
    EXPECT_EQ(leaf.getCurrCheckSum(), expected);

    tstLeaf parent;
    parent.other = &leaf;
    CheckSum withChild;
    withChild.Append("tstLeaf");
    withChild.Append(0.25);
    withChild.Append(8.0);
    withChild.Append(expected);
    EXPECT_EQ(parent.getCurrCheckSum(), withChild);

    tstShape shape;
    const CheckSum before = shape.getCurrCheckSum();
    shape.scratch = 99;                            // not part of the checksum
    EXPECT_EQ(shape.getCurrCheckSum(), before);
    for (auto change : std::vector<std::function<void(tstShape &)>>{
             [](tstShape &s) { s.width = 1.5000000000000002; },
             [](tstShape &s) { s.count = 4; },
             [](tstShape &s) { s.label = "box2"; },
             [](tstShape &s) { s.code[2] = 'c'; s.code[3] = 0; }}) {
        tstShape changed;
        change(changed);
        EXPECT_NE(changed.getCurrCheckSum(), before);
    }
    // Different classes with the same data differ by "objtype".
    EXPECT_NE(tstRect().getCurrCheckSum(), before);
    EXPECT_EQ(int(error), 0);
}

TEST_F(KXObjectTest, RecursiveStructureGivesZero)
{
    tstLeaf self;
    self.other = &self;
    EXPECT_TRUE(self.getCurrCheckSum().IsZero());
    EXPECT_EQ(int(error), 507);
    EXPECT_NE(std::string(error.chars()).find("tstLeaf::getCurrCheckSum. Recursive structure!\nAt kxobject:"),
              std::string::npos);
    EXPECT_EQ(self.GetOpDepth(), 0);
    error.reset();

    tstLeaf a, b;   // a cycle through two objects
    a.other = &b;
    b.other = &a;
    EXPECT_TRUE(a.getCurrCheckSum().IsZero());
    EXPECT_EQ(int(error), 507);
    error.reset();
    b.other = nullptr;   // broken cycle: a sensible value again
    EXPECT_FALSE(a.getCurrCheckSum().IsZero());
    EXPECT_EQ(int(error), 0);
}

TEST_F(KXObjectTest, CommandElements)
{
    tstShape shape;
    tstRect child;
    shape.children = {&child};

    KXCommandElt width = shape.getPublishedElt("width");
    ASSERT_TRUE(width);
    EXPECT_EQ(width.GetKind(), kxEltVariable);
    EXPECT_STREQ(width.GetTypeName(), "double");
    EXPECT_STREQ(width.GetHelp(), "width of shape");
    EXPECT_EQ(width.GetVarPtr<double>(), &shape.width);
    EXPECT_EQ(width.GetVarPtr<int>(), nullptr);
    EXPECT_STREQ(width.GetValueString(), "1.5");
    EXPECT_TRUE(width.SetValueString("2.25"));
    EXPECT_EQ(shape.width, 2.25);
    EXPECT_FALSE(width.SetValueString("2.25x"));
    EXPECT_EQ(shape.width, 2.25);

    KXCommandElt type = shape.getPublishedElt("objtype");
    EXPECT_TRUE(type.IsReadOnly());
    EXPECT_STREQ(type.GetValueString(), "tstShape");
    EXPECT_FALSE(type.SetValueString("other"));
    EXPECT_FALSE(shape.SetParam("count", "5"));   // read-only
    EXPECT_EQ(shape.count, 3);
    EXPECT_TRUE(shape.SetParam("label", "lid"));
    EXPECT_STREQ(shape.label, "lid");
    EXPECT_FALSE(shape.SetParam("code", "12345678"));   // no room for the terminator
    EXPECT_TRUE(shape.SetParam("code", "1234567"));
    EXPECT_STREQ(shape.code, "1234567");
    EXPECT_FALSE(shape.SetParam("nosuch", "1"));
    EXPECT_FALSE(shape.getPublishedElt("nosuch"));
    EXPECT_FALSE(shape.getPublishedElt("width", true));   // not an object

    KXCommandElt obj = shape.getPublishedElt("child", true);
    EXPECT_EQ(obj.GetObject(), &child);
    EXPECT_STREQ(obj.GetTypeName(), "tstRect");

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

    tstLeaf leaf;
    KXCommandElt len = leaf.getPublishedElt("len");
    EXPECT_STREQ(len.GetTypeName(), "microns");
    EXPECT_EQ(len.GetVarPtr<tstMicrons>(), &leaf.len);
    EXPECT_STREQ(len.GetValueString(), "4um");
    EXPECT_TRUE(len.IsReadOnly());   // no setText

    leaf.matrix.alloc(1, 2, 0, 1);
    leaf.matrix(1, 0) = 1;
    leaf.matrix(1, 1) = 2.5;
    leaf.matrix(2, 0) = -3;
    leaf.matrix(2, 1) = 4;
    KXCommandElt matrix = leaf.getPublishedElt("matrix");
    EXPECT_EQ(matrix.GetPtrArray<double>(), &leaf.matrix);
    EXPECT_EQ(len.GetPtrArray<double>(), nullptr);
    EXPECT_STREQ(matrix.GetValueString(), "1, 2.5; -3, 4");
    CheckSum viaElt, expected;
    matrix.AppendCheckSum(viaElt);
    for (int v : {2, 2})
        expected.Append(v);
    for (double v : {1.0, 2.5, -3.0, 4.0})
        expected.Append(v);
    EXPECT_EQ(viaElt, expected);
    EXPECT_EQ(shape.GetOpDepth(), 0);
}

TEST_F(KXObjectTest, UpdatableTracksItsState)
{
    tstCalc calc;
    EXPECT_TRUE(calc.IsOutOfDate());   // nothing stored yet
    const CheckSum current = calc.getUpdatedCheckSum(nullptr);
    EXPECT_EQ(calc.updates, 1);
    EXPECT_EQ(calc.GetCheckSum(), current);
    EXPECT_FALSE(calc.IsOutOfDate());
    (void)calc.getUpdatedCheckSum(nullptr);   // up to date: no recomputation
    EXPECT_EQ(calc.updates, 1);

    calc.SaveState();
    calc.input = 2;
    EXPECT_TRUE(calc.IsOutOfDate());
    (void)calc.getUpdatedCheckSum("tstShape");   // filtered out
    EXPECT_EQ(calc.updates, 1);
    (void)calc.getUpdatedCheckSum("Updatable");
    EXPECT_EQ(calc.updates, 2);
    EXPECT_FALSE(calc.IsOutOfDate());
    calc.LoadState();   // back to the checksum of input 1
    EXPECT_TRUE(calc.IsOutOfDate());
    calc.input = 1;
    EXPECT_FALSE(calc.IsOutOfDate());
    calc.ResetAll(nullptr);   // ResetTop forgets the stored checksum
    EXPECT_TRUE(calc.IsOutOfDate());

    // A tree is out of date when any of its Updatables is.
    tstShape owner;
    owner.children = {&calc};
    EXPECT_TRUE(owner.IsOutOfDate());
    (void)owner.getUpdatedCheckSum(nullptr);
    EXPECT_FALSE(owner.IsOutOfDate());
    calc.input = 3;
    EXPECT_TRUE(owner.IsOutOfDate());
}

TEST_F(KXObjectTest, NameSpaceHandles)
{
    KXObject o;
    kxNameSpace *ns = reinterpret_cast<kxNameSpace *>(&o);
    o.SetNameSpace(ns);
    EXPECT_EQ(o.GetNameSpace(), ns);
    o.SetNameSpace(kxOwnNameSpace());   // asks GetNameSpace: unchanged
    EXPECT_EQ(o.GetNameSpace(), ns);
    KXObject copy(o);
    EXPECT_EQ(copy.GetNameSpace(), ns);
    o.SetNameSpace(kxNoNameSpace());
    EXPECT_EQ(o.GetNameSpace(), nullptr);
    EXPECT_EQ(o.Clone(), nullptr);
}
