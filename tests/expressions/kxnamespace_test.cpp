// Tests of kxNameSpace: variable codes through the parent chain, propagation of changes to
// child namespaces, events, removal and SetNameSpace.
#include "kx/objects/kxobject.h"

#include "kxfatal_test_util.h"
#include "kxwarningcapture.h"

#include <string>
#include <vector>

namespace {

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

struct OwnSpaceObject : KXObject {
    kxNameSpace *own = nullptr;
    kxNameSpace *GetNameSpace() const override { return own; }
};

} // namespace

TEST(KXNameSpaceTest, CodesThroughParents)
{
    kxNameSpace root;
    kxNameSpace parent(&root);
    kxNameSpace child(&parent);
    Define(root, "r", "1");
    Define(parent, "p0", "2");
    kxNamedVariable *w = Define(parent, "w", "3");
    kxNamedVariable *own = Define(child, "w", "4"); // shadows the parent's w

    EXPECT_EQ(parent.FindVariable("w"), 1);
    EXPECT_EQ(child.FindVariable("w"), 0);
    EXPECT_EQ(child.FindVariable("p0"), 0x10000);
    EXPECT_EQ(child.FindVariable("r"), 0x20000);
    EXPECT_EQ(child.FindVariable("r", false), -1);
    EXPECT_EQ(child.FindVariable("nothing"), -1);
    EXPECT_EQ(child.GetVariable(0x10001), w);
    EXPECT_EQ(child.GetVariable(0), own);
    EXPECT_EQ(root.GetVariable(0x30000)->GetName(), "r"); // climbing stops at the root
    EXPECT_EQ(child.GetVariableByName("r", false), nullptr);

    EXPECT_KX_EXIT((void)root.GetVariable(5), 1,
                   "Dynamic array index 5 out of bounds 0 <= index < 1");
}

TEST(KXNameSpaceTest, ChildFormulasFollowAncestors)
{
    WarningCapture warnings;
    kxNameSpace project;
    kxNamedVariable *width = Define(project, "width", "2");
    kxNameSpace object(&project);
    kxNameSpace part(&object);
    kxNamedVariable anonymous(&part, kxNamedVariable::NotListed);
    anonymous.SetExpression("width/2");
    EXPECT_EQ(anonymous.GetValue(), cx(1, 0));
    width->SetExpression("10");
    EXPECT_EQ(anonymous.GetValue(), cx(5, 0));

    // A name defined nearer later does not re-bind a reference that still works ...
    Define(object, "width", "100");
    EXPECT_EQ(anonymous.GetValue(), cx(5, 0));
    // ... but a new formula text looks every name up again.
    anonymous.SetExpression("width/2");
    EXPECT_EQ(anonymous.GetValue(), cx(50, 0));

    // Re-parenting moves the pseudo-time and formulas resolve in the new chain.
    kxNameSpace other;
    Define(other, "width", "8");
    object.setParent(nullptr);
    part.setParent(&other);
    anonymous.SetExpression("width");
    EXPECT_EQ(anonymous.GetValue(), cx(8, 0));
    EXPECT_EQ(warnings.Take(), "");

    auto *parent = new kxNameSpace;
    kxNameSpace orphan(parent);
    Define(*parent, "a", "1");
    delete parent; // the child becomes a root
    EXPECT_EQ(orphan.getParent(), nullptr);
    EXPECT_EQ(orphan.FindVariable("a"), -1);
    for (kxNameSpace *handle : {kxNoNameSpace(), kxOwnNameSpace()}) { // reserved: no parent
        kxNameSpace root(handle);
        EXPECT_EQ(root.getParent(), nullptr);
        orphan.setParent(handle);
        EXPECT_EQ(orphan.getParent(), nullptr);
    }
}

TEST(KXNameSpaceTest, EventsAndPseudoTime)
{
    const int willChange = kxNameSpace::WillChangeEventID();
    const int changed = kxNameSpace::ChangedEventID();
    EXPECT_NE(willChange, changed);
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
    ASSERT_EQ(recorder.events.size(), 6u); // will-change, changed for each of the three
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(recorder.events[i].id, i % 2 ? changed : willChange) << i;
        EXPECT_EQ(recorder.events[i].data1, &ns) << i;
        EXPECT_EQ(recorder.events[i].data2, i % 2 ? static_cast<void *>(v) : nullptr) << i;
    }
    ASSERT_EQ(childRecorder.events.size(), 3u); // passed on by the child namespace
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
    int stamp = 0;
    ns.NotifyVariableChanged(-1, &stamp);
    EXPECT_EQ(stamp, time + 4);
    EXPECT_TRUE(recorder.events.empty());

    ns.RemoveVariable(v->GetIndex());
    ASSERT_EQ(recorder.events.size(), 2u);
    EXPECT_EQ(recorder.events[1].id, changed);
    EXPECT_EQ(recorder.events[1].data2, nullptr);
}

TEST(KXNameSpaceTest, UnallocAndLargeNamespaces)
{
    WarningCapture warnings;
    kxNameSpace ns;
    Define(ns, "a", "1");
    kxNamedVariable anonymous(&ns, kxNamedVariable::NotListed);
    anonymous.SetExpression("a+1");
    EXPECT_EQ(anonymous.GetValue(), cx(2, 0));
    ns.unalloc();
    EXPECT_EQ(ns.GetVariableCount(), 0);
    Define(ns, "b", "5"); // takes slot 0, where a was
    EXPECT_EQ(anonymous.GetValue(), cx(1, 0));
    EXPECT_EQ(warnings.Take(), "Expression \"a+1\" refers to undefined variable a\n");

    for (int i = 1; i < 70000; ++i) // indexes beyond 16 bits still resolve
        Define(ns, ("n" + std::to_string(i)).c_str(), std::to_string(i).c_str());
    EXPECT_EQ(ns.FindVariable("n69999", false), 69999);
    kxNameSpace child(&ns);
    kxNamedVariable far(&child, kxNamedVariable::NotListed);
    far.SetExpression("n69999+n5");
    EXPECT_EQ(far.GetValue(), cx(70004, 0));
}

TEST(KXNameSpaceTest, NameIndexThroughRemovalsAndRenames)
{
    // Many names, a third removed, a third renamed: every lookup still finds exactly the
    // variable that holds the name now, through the deleted entries left in the index.
    kxNameSpace ns;
    constexpr int kCount = 3000;
    for (int i = 0; i < kCount; ++i)
        Define(ns, ("w" + std::to_string(i)).c_str(), "1");
    for (int i = 0; i < kCount; i += 3)
        ns.RemoveVariable(i);
    for (int i = 1; i < kCount; i += 3)
        ASSERT_TRUE(ns.GetVariableAt(i)->SetName(("r" + std::to_string(i)).c_str()));
    for (int i = 0; i < kCount; ++i) {
        const std::string w = "w" + std::to_string(i), r = "r" + std::to_string(i);
        EXPECT_EQ(ns.FindVariable(w.c_str(), false), i % 3 == 2 ? i : -1) << w;
        EXPECT_EQ(ns.FindVariable(r.c_str(), false), i % 3 == 1 ? i : -1) << r;
    }
    // A freed name can be taken again; a name in use cannot.
    EXPECT_TRUE(ns.GetVariableAt(2)->SetName("w0"));
    EXPECT_FALSE(ns.GetVariableAt(5)->SetName("w0"));
    EXPECT_EQ(ns.FindVariable("w0", false), 2);
    EXPECT_EQ(ns.FindVariable("w2", false), -1);
}

TEST(KXNameSpaceTest, SetNameSpaceHandles)
{
    kxNameSpace ns, mine;
    OwnSpaceObject object;
    object.own = &mine;
    const struct {
        kxNameSpace *given, *stored;
    } cases[] = {{&ns, &ns}, {kxNoNameSpace(), nullptr}, {kxOwnNameSpace(), &mine}};
    for (const auto &c : cases) {
        kxNameSpace::SetNameSpace(object, c.given);
        EXPECT_EQ(object.KXObject::GetNameSpace(), c.stored);
        EXPECT_EQ(kxNameSpace::IsActual(c.given), c.given == &ns);
    }
    EXPECT_FALSE(kxNameSpace::IsActual(nullptr));
}
