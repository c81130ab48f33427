// Tests of kxNameSpace: variable codes through the parent chain, propagation of changes to
// child namespaces, events, removal and SetNameSpace.
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/objects/kxobject.h"

#include "kxwarningcapture.h"

#include <gtest/gtest.h>

#include <complex>
#include <vector>

namespace {

using cx = std::complex<double>;

kxNamedVariable *Make(kxNameSpace &ns, const char *name, const char *definition)
{
    auto *v = new kxNamedVariable(&ns);
    EXPECT_TRUE(v->SetName(name)) << name;
    v->SetValueOrExpression(definition);
    return v;
}

/// Records the events it receives: (id, data1, data2).
struct Recorder : kxEventListener {
    struct Entry {
        int id;
        void *data1;
        void *data2;
    };
    std::vector<Entry> events;
    void OnEvent(kxEvent &event, int) override
    {
        events.push_back({event.GetId(), event.GetData1(), event.GetData2()});
    }
};

} // namespace

TEST(KXNameSpaceTest, CodesThroughParents)
{
    kxNameSpace root;
    kxNameSpace parent(&root);
    kxNameSpace child(&parent);
    Make(root, "r", "1");
    Make(parent, "p0", "2");
    kxNamedVariable *w = Make(parent, "w", "3");
    kxNamedVariable *own = Make(child, "w", "4");   // shadows the parent's w

    EXPECT_EQ(parent.FindVariable("w"), 1);
    EXPECT_EQ(child.FindVariable("w"), 0);
    EXPECT_EQ(child.FindVariable("p0"), 0x10000);
    EXPECT_EQ(child.FindVariable("r"), 0x20000);
    EXPECT_EQ(child.FindVariable("r", false), -1);
    EXPECT_EQ(child.FindVariable("nothing"), -1);
    EXPECT_EQ(child.GetVariable(0x10001), w);
    EXPECT_EQ(child.GetVariable(0), own);
    EXPECT_EQ(root.GetVariable(0x30000)->GetName(), "r");   // climbing stops at the root
    EXPECT_EQ(child.GetVariableByName("r")->GetName(), "r");
    EXPECT_EQ(child.GetVariableByName("r", false), nullptr);
}

TEST(KXNameSpaceTest, GetVariableOutsideTheArrayIsFatal)
{
    kxNameSpace ns;
    Make(ns, "a", "1");
    EXPECT_EXIT((dup2(2, 1), (void)ns.GetVariable(5)), ::testing::ExitedWithCode(1),
                "Dynamic array index 5 out of bounds 0 <= index < 1");
}

TEST(KXNameSpaceTest, ChildFormulasFollowAncestors)
{
    WarningCapture warnings;
    kxNameSpace project;
    kxNamedVariable *width = Make(project, "width", "2");
    kxNameSpace object(&project);
    kxNameSpace part(&object);
    kxNamedVariable anonymous(&part, kxNamedVariable::NotListed);
    anonymous.SetExpression("width/2");
    EXPECT_EQ(anonymous.GetValue(), cx(1, 0));

    width->SetExpression("10");
    EXPECT_EQ(anonymous.GetValue(), cx(5, 0));

    // A name defined nearer later does not re-bind a reference that still works ...
    Make(object, "width", "100");
    EXPECT_EQ(anonymous.GetValue(), cx(5, 0));
    // ... but a new formula text looks every name up again.
    anonymous.SetExpression("width/2");
    EXPECT_EQ(anonymous.GetValue(), cx(50, 0));

    // Re-parenting moves the pseudo-time and formulas resolve in the new chain.
    kxNameSpace other;
    Make(other, "width", "8");
    object.setParent(nullptr);
    part.setParent(&other);
    anonymous.SetExpression("width");
    EXPECT_EQ(anonymous.GetValue(), cx(8, 0));
    EXPECT_EQ(warnings.Take(), "");
}

TEST(KXNameSpaceTest, ParentDestroyedFirst)
{
    auto *parent = new kxNameSpace;
    kxNameSpace child(parent);
    Make(*parent, "a", "1");
    delete parent;                          // the child becomes a root
    EXPECT_EQ(child.getParent(), nullptr);
    EXPECT_EQ(child.FindVariable("a"), -1);
}

TEST(KXNameSpaceTest, EventsAndPseudoTime)
{
    const int willChange = kxNameSpace::WillChangeEventID();
    const int changed = kxNameSpace::ChangedEventID();
    EXPECT_GT(willChange, 0);
    EXPECT_GT(changed, 0);
    EXPECT_NE(willChange, changed);
    EXPECT_EQ(kxNameSpace::WillChangeEventID(), willChange);   // taken once

    kxNameSpace ns;
    kxNameSpace child(&ns);
    Recorder recorder, childRecorder;
    recorder.ListenTo(ns, 0, 0);
    childRecorder.ListenTo(child, changed, 0);

    auto *v = new kxNamedVariable(&ns);
    int time = ns.GetPseudoTime();
    EXPECT_TRUE(v->SetName("v"));
    EXPECT_GT(ns.GetPseudoTime(), time);
    EXPECT_EQ(v->GetNameStamp(), ns.GetPseudoTime());
    v->SetExpression("1+1");
    EXPECT_EQ(v->GetExpressionStamp(), ns.GetPseudoTime());
    v->SetValue(cx(3, 0));
    ASSERT_EQ(recorder.events.size(), 6u);
    for (size_t i = 0; i < 6; i += 2) {
        EXPECT_EQ(recorder.events[i].id, willChange);
        EXPECT_EQ(recorder.events[i].data1, &ns);
        EXPECT_EQ(recorder.events[i + 1].id, changed);
        EXPECT_EQ(recorder.events[i + 1].data1, &ns);
        EXPECT_EQ(recorder.events[i + 1].data2, v);
    }
    ASSERT_EQ(childRecorder.events.size(), 3u);     // passed on by the child namespace
    EXPECT_EQ(childRecorder.events[0].data1, &child);
    EXPECT_EQ(childRecorder.events[0].data2, v);

    // Anonymous, temporary and non-property variables raise nothing but still move time.
    recorder.events.clear();
    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed);
    kxNamedVariable temporary(&ns, kxNamedVariable::Temporary, 3);
    kxNamedVariable hidden(&ns, kxNamedVariable::NotProperty);
    time = ns.GetPseudoTime();
    anonymous.SetExpression("2");
    temporary.SetValue(cx(1, 0));
    EXPECT_TRUE(hidden.SetName("hidden"));
    EXPECT_EQ(ns.GetPseudoTime(), time + 3);
    EXPECT_TRUE(recorder.events.empty());

    int stamp = 0;
    ns.NotifyVariableChanged(-1, &stamp);
    EXPECT_EQ(stamp, ns.GetPseudoTime());
    EXPECT_TRUE(recorder.events.empty());

    ns.RemoveVariable(v->GetIndex());
    ASSERT_EQ(recorder.events.size(), 2u);
    EXPECT_EQ(recorder.events[1].id, changed);
    EXPECT_EQ(recorder.events[1].data2, nullptr);
}

TEST(KXNameSpaceTest, UnallocAndReuseOfSlots)
{
    WarningCapture warnings;
    kxNameSpace ns;
    Make(ns, "a", "1");
    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed);
    anonymous.SetExpression("a+1");
    EXPECT_EQ(anonymous.GetValue(), cx(2, 0));
    ns.unalloc();
    EXPECT_EQ(ns.GetVariableCount(), 0);
    EXPECT_EQ(ns.FindVariable("a"), -1);
    Make(ns, "b", "5");                     // takes slot 0, where a was
    EXPECT_EQ(anonymous.GetValue(), cx(1, 0));
    EXPECT_EQ(warnings.Take(), "Expression \"a+1\" refers to undefined variable a\n");
}

TEST(KXNameSpaceTest, LargeNamespaceResolvesBeyondSixteenBits)
{
    kxNameSpace ns;
    char name[16];
    for (int i = 0; i < 70000; ++i) {
        std::snprintf(name, sizeof name, "n%d", i);
        auto *v = new kxNamedVariable(&ns);
        ASSERT_TRUE(v->SetName(name));
        v->SetValue(cx(i, 0));
    }
    EXPECT_EQ(ns.FindVariable("n69999", false), 69999);
    kxNameSpace child(&ns);
    kxNamedVariable anonymous(&child, kxNamedVariable::NotListed);
    anonymous.SetExpression("n69999+n5");
    EXPECT_EQ(anonymous.GetValue(), cx(70004, 0));
}

namespace {
struct OwnSpaceObject : KXObject {
    kxNameSpace *own = nullptr;
    kxNameSpace *GetNameSpace() const override { return own; }
};
} // namespace

TEST(KXNameSpaceTest, SetNameSpaceHandles)
{
    kxNameSpace ns, mine;
    OwnSpaceObject object;
    object.own = &mine;
    kxNameSpace::SetNameSpace(object, &ns);
    EXPECT_EQ(object.KXObject::GetNameSpace(), &ns);
    kxNameSpace::SetNameSpace(object, kxNoNameSpace());
    EXPECT_EQ(object.KXObject::GetNameSpace(), nullptr);
    kxNameSpace::SetNameSpace(object, kxOwnNameSpace());
    EXPECT_EQ(object.KXObject::GetNameSpace(), &mine);
    EXPECT_FALSE(kxNameSpace::IsActual(nullptr));
    EXPECT_FALSE(kxNameSpace::IsActual(kxNoNameSpace()));
    EXPECT_FALSE(kxNameSpace::IsActual(kxOwnNameSpace()));
    EXPECT_TRUE(kxNameSpace::IsActual(&ns));
}
