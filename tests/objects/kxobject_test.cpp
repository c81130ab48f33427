// Tests of the object model: class registry, target filters, operation stack, messages,
// publishing, checksums, command elements and Updatable.
#include "kx/objects/kxobject.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
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

// A class that adds nothing to its base but its own class record.
#define TST_PLAIN_SUBCLASS(Name, Base, ...)      \
    class Name : public Base __VA_ARGS__ {       \
        KX_DECLARE_CLASS(Name)                   \
    public:                                      \
        using Base::Base;                        \
    };

struct tstTagged {
    static kxClassInfo ms_classInfo;
};
kxClassInfo tstTagged::ms_classInfo("tstTagged", nullptr, nullptr, nullptr);

TST_PLAIN_SUBCLASS(tstRect, tstShape)
TST_PLAIN_SUBCLASS(tstEllipse, tstShape)
TST_PLAIN_SUBCLASS(tstTaggedRect, tstRect, , public tstTagged)

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

// An Updatable that counts its updates; it also exposes the protected operation stack.
class tstCalc : public Updatable {
    KX_DECLARE_CLASS(tstCalc)
public:
    using KXObject::appendEvent;
    using KXObject::eraseTopEvent;
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

// A checksum built from the values, in order.
template <typename... T>
CheckSum Sum(T... values)
{
    CheckSum s;
    (s.Append(values), ...);
    return s;
}

class KXObjectTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        error.reset();
        gTrace.clear();
    }
    void TearDown() override { error.reset(); }
    // True when the global error holds an internal fault whose text contains `what`; clears it.
    static bool TakeFault(const std::string &what)
    {
        const bool found = int(error) == 507 && std::string(error.chars()).find(what) != std::string::npos;
        error.reset();
        return found;
    }
};

TEST_F(KXObjectTest, ClassRegistry)
{
    EXPECT_EQ(kxClassInfo::FindClass("tstRect"), &tstRect::ms_classInfo);
    EXPECT_EQ(kxClassInfo::FindClass("tstrect"), nullptr);

    // Registry order follows construction order (within this file: tstTagged before tstShape).
    std::vector<std::string> names;
    for (const kxClassInfo *c = kxClassInfo::GetFirst(); c; c = c->GetNext())
        names.push_back(c->GetClassName());
    auto at = [&](const char *n) { return std::find(names.begin(), names.end(), n) - names.begin(); };
    EXPECT_LT(at("tstTagged"), at("tstShape"));
    EXPECT_LT(at("tstShape"), at("tstTaggedRect"));
    EXPECT_LT(at("KXObject"), at("Updatable"));

    // A record unlinks itself when destroyed, and the tail stays right.
    {
        kxClassInfo temporary("tstTemporary", &KXObject::ms_classInfo, nullptr, nullptr);
        EXPECT_EQ(kxClassInfo::FindClass("tstTemporary"), &temporary);
    }
    EXPECT_EQ(kxClassInfo::FindClass("tstTemporary"), nullptr);
    kxClassInfo late("tstLate", nullptr, nullptr, nullptr);
    EXPECT_EQ(kxClassInfo::FindClass("tstLate"), &late);

    KXObject *made = kxClassInfo::CreateObject("tstTaggedRect");
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(made->IsMainType(&tstTaggedRect::ms_classInfo));
    EXPECT_FALSE(made->IsMainType(&tstRect::ms_classInfo));
    delete made;
    EXPECT_EQ(tstAbstract::ms_classInfo.CreateObject(), nullptr);
    EXPECT_EQ(kxClassInfo::CreateObject("noSuchClass"), nullptr);

    tstTaggedRect tagged;
    EXPECT_TRUE(tagged.IsKindOf(&tstTagged::ms_classInfo));   // through base 2
    EXPECT_TRUE(tagged.IsKindOf("KXObject"));                 // through base 1, depth first
    EXPECT_FALSE(tagged.IsKindOf(&tstEllipse::ms_classInfo));
    EXPECT_FALSE(tagged.IsKindOf(static_cast<const kxClassInfo *>(nullptr)));
    EXPECT_FALSE(tstRect().IsKindOf("tstTagged"));
}

TEST_F(KXObjectTest, TargetFilterGrammar)
{
    tstShape shape;
    tstRect rect;
    tstTaggedRect tagged;
    tstEllipse ellipse;
    KXObject plain;
    const std::string fits = std::string(991, 'x') + ",tstRect";   // only 999 characters count
    const std::string cut = std::string(992, 'x') + ",tstRect";     // leaves ",tstRec"
    const std::vector<std::tuple<const char *, const KXObject *, bool>> cases{
        {nullptr, &plain, true}, {"", &rect, true},
        {"*,-tstShape", &rect, false}, {"*,-tstShape", &shape, false}, {"*,-tstShape", &plain, true},
        {"-tstShape, *", &rect, false}, {"-tstShape,*", &shape, false}, {"-tstShape,*", &plain, true},
        {"tstShape", &ellipse, true}, {"tstShape", &tagged, true}, {"tstShape", &plain, false},
        {"MAINTYPE(tstShape)", &shape, true}, {"MAINTYPE(tstShape)", &rect, false},
        {"MAINTYPE(tstRect)", &tagged, false}, {"MAINTYPE(tstRect", &rect, true},   // name runs to the end
        {"tstTagged", &tagged, true},                                                // a second base counts
        {"tstrect", &rect, false}, {"tstRect ", &rect, false},   // case and trailing blanks count
        {"tstEllipse,   tstRect", &rect, true},                   // leading blanks are skipped
        {"tstRect,-tstRect", &rect, true}, {"-tstRect,tstRect", &rect, false},   // the first match decides
        {"-MAINTYPE(tstRect),tstShape", &rect, false}, {"-MAINTYPE(tstRect),tstShape", &tagged, true},
        {"-tstEllipse", &rect, false}, {"*", &plain, true}, {"-*", &plain, false}, {",,", &plain, false},
        {fits.c_str(), &rect, true}, {cut.c_str(), &rect, false}};
    for (const auto &[filter, object, expected] : cases)
        EXPECT_EQ(object->MatchesTarget(filter), expected) << (filter ? filter : "(null)") << " "
                                                           << object->getClassName();
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
    EXPECT_EQ(s.appendEvent(again), kxAppendRecursion);   // the same message is on the stack
    EXPECT_EQ(s.appendEvent(c2), kxAppendRecursion);      // any checksum is
    EXPECT_EQ(s.GetOpDepth(), 2);
    EXPECT_EQ(int(error), 0);
    s.eraseTopEvent();

    r1.below = &r0;   // corrupt the chain: one record too many below the depth
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

    post.SetResult(9);   // Init replaces everything and clears the result
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
    EXPECT_EQ(self.sendMessage(nullptr, 1), 1);   // delivered once, the second visit refused
    EXPECT_TRUE(TakeFault("Code Error: KXObject::sendMessage1\nAt kxobject:"));
    EXPECT_EQ(self.GetOpDepth(), 0);

    tstLeaf leaf;
    leaf.other = &leaf;
    EXPECT_TRUE(leaf.getCurrCheckSum().IsZero());
    EXPECT_TRUE(TakeFault("tstLeaf::getCurrCheckSum. Recursive structure!\nAt kxobject:"));
    EXPECT_EQ(leaf.GetOpDepth(), 0);

    tstLeaf a, b;   // a cycle through two objects
    a.other = &b;
    b.other = &a;
    EXPECT_TRUE(a.getCurrCheckSum().IsZero());
    EXPECT_TRUE(TakeFault("Recursive structure!"));
    b.other = nullptr;   // broken cycle: a sensible value again
    EXPECT_FALSE(a.getCurrCheckSum().IsZero());
    EXPECT_EQ(int(error), 0);
}

TEST_F(KXObjectTest, CheckSumArithmetic)
{
    EXPECT_TRUE(Sum(0).IsZero());
    EXPECT_EQ(Sum(1, 1), CheckSum(9, 0, 0, 0));
    // The rotation happens on every Append and carries across all four words, w3 into w0.
    CheckSum carry(0xE0000000u, 0, 0, 0x20000000u);
    carry.Append(CheckSum());
    EXPECT_EQ(carry, CheckSum(1, 7, 0, 0));

    EXPECT_EQ(Sum("abc"), CheckSum(0xFE636261u, 0, 0, 0));
    EXPECT_EQ(Sum("abcd"), CheckSum(0x64636261u, 0xFEFEFEFEu, 0, 0));
    EXPECT_EQ(Sum(""), CheckSum(0xFEFEFEFEu, 0, 0, 0));
    const CheckSum wrapped = Sum("abcdefghijklmnop");   // 5 words: the fifth goes into w0 again
    EXPECT_EQ(wrapped.GetWord(0), 0x64636261u ^ 0xFEFEFEFEu);
    EXPECT_EQ(wrapped.GetWord(3), 0x706f6e6du);
    EXPECT_EQ(Sum(1.0), CheckSum(0, 0x3FF00000u, 0, 0));
    EXPECT_EQ(Sum(std::complex<double>(1.0, 2.0)), CheckSum(0, 0x3FF00000u, 0, 0x40000000u));
    EXPECT_EQ(Sum(true), CheckSum(1, 0, 0, 0));
    EXPECT_NE(Sum(true), Sum(1.0));

    char buffer[40];
    EXPECT_TRUE(CheckSum(1, 2, 3, 0xABCDEF01u).WriteString(buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "abcdef01000000030000000200000001");
    EXPECT_FALSE(CheckSum(1, 2, 3, 4).WriteString(buffer, 9));
    EXPECT_STREQ(buffer, "00000004");
}

TEST_F(KXObjectTest, CheckSumFollowsPublishedState)
{
    tstLeaf leaf, parent;
    const CheckSum expected = Sum("tstLeaf", 0.25, 8.0);   // "objtype", d, twice len
    EXPECT_EQ(leaf.getCurrCheckSum(), expected);
    parent.other = &leaf;
    EXPECT_EQ(parent.getCurrCheckSum(), Sum("tstLeaf", 0.25, 8.0, expected));

    tstShape shape;
    const CheckSum before = shape.getCurrCheckSum();
    shape.scratch = 99;   // not part of the checksum
    EXPECT_EQ(shape.getCurrCheckSum(), before);
    for (auto change : std::vector<std::function<void(tstShape &)>>{
             [](tstShape &s) { s.width = 1.5000000000000002; }, [](tstShape &s) { s.count = 4; },
             [](tstShape &s) { s.label = "box2"; }, [](tstShape &s) { s.code[2] = 'c'; }}) {
        tstShape changed;
        change(changed);
        EXPECT_NE(changed.getCurrCheckSum(), before);
    }
    EXPECT_NE(tstRect().getCurrCheckSum(), before);   // same data, other "objtype"
    EXPECT_EQ(int(error), 0);
}

TEST_F(KXObjectTest, CommandElements)
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

    EXPECT_FALSE(shape.SetParam("count", "5"));   // read-only
    EXPECT_EQ(shape.count, 3);
    EXPECT_TRUE(shape.SetParam("label", "lid"));
    EXPECT_STREQ(shape.label, "lid");
    EXPECT_FALSE(shape.SetParam("code", "12345678"));   // no room for the terminator
    EXPECT_TRUE(shape.SetParam("code", "1234567"));
    EXPECT_STREQ(shape.code, "1234567");
    EXPECT_FALSE(shape.SetParam("nosuch", "1"));
    EXPECT_FALSE(shape.getPublishedElt("width", true));   // not an object
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

    tstLeaf leaf;   // a kind from outside the module, and a matrix
    KXCommandElt len = leaf.getPublishedElt("len");
    EXPECT_STREQ(len.GetTypeName(), "microns");
    EXPECT_STREQ(len.GetValueString(), "4um");
    EXPECT_TRUE(len.IsReadOnly());   // no setText
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

TEST_F(KXObjectTest, UpdatableTracksItsState)
{
    tstCalc calc;
    EXPECT_TRUE(calc.IsOutOfDate());   // nothing stored yet
    EXPECT_EQ(calc.getUpdatedCheckSum(nullptr), calc.GetCheckSum());
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
    o.SetNameSpace(kxOwnNameSpace());   // asks GetNameSpace: unchanged
    EXPECT_EQ(KXObject(o).GetNameSpace(), ns);
    o.SetNameSpace(kxNoNameSpace());
    EXPECT_EQ(o.GetNameSpace(), nullptr);
}
