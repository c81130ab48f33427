// Tests of kxNameSpaceSnapshot: recording, Restore through the public operations (events and
// caches follow), Unrestore.
#include "kx/expressions/kxnamespacesnapshot.h"

#include "kxwarningcapture.h"

namespace {

struct ChangeCounter : kxEventListener {
    int changes = 0;
    void OnEvent(kxEvent &, int) override { ++changes; }
};

cx ValueOf(kxNameSpace &ns, const char *name)
{
    kxNamedVariable *v = ns.GetVariableByName(name);
    return v ? v->GetValue() : cx(-1, -1);
}

} // namespace

TEST(KXNameSpaceSnapshotTest, RestoreAndUnrestore)
{
    WarningCapture warnings;
    kxNameSpace ns;
    kxNamedVariable *a = Define(ns, "a", "2");
    kxNamedVariable *b = Define(ns, "b", "a*3");
    Define(ns, "gone", "1");
    kxNameSpace child(&ns);
    kxNamedVariable dependent(&child, kxNamedVariable::NotListed);
    dependent.SetExpression("b+1");
    EXPECT_EQ(dependent.GetValue(), cx(7, 0));

    kxNameSpaceSnapshot snapshot(ns);
    ASSERT_EQ(snapshot.GetCount(), 3);
    EXPECT_FALSE(snapshot.Unrestore()); // nothing restored yet

    // Edit: swap two names, change a value, turn a formula into a value, remove one, add one.
    EXPECT_TRUE(a->SetName("tmp"));
    EXPECT_TRUE(b->SetName("a"));
    EXPECT_TRUE(a->SetName("b"));
    a->SetValue(cx(10, 0));
    b->SetValue(cx(4, 0));
    ns.RemoveVariable(ns.FindVariable("gone"));
    Define(ns, "extra", "5");
    EXPECT_EQ(dependent.GetValue(), cx(11, 0)); // b is now the old a, 10

    ChangeCounter counter;
    counter.ListenTo(ns, kxNameSpace::ChangedEventID(), 0);
    snapshot.Restore();
    EXPECT_GT(counter.changes, 0); // restored through the setters
    EXPECT_EQ(ValueOf(ns, "a"), cx(2, 0));
    EXPECT_EQ(ValueOf(ns, "b"), cx(6, 0));
    EXPECT_EQ(ns.GetVariableByName("b")->GetExpression(), "a*3");
    EXPECT_EQ(ValueOf(ns, "gone"), cx(1, 0));          // made again
    EXPECT_EQ(ns.GetVariableByName("extra"), nullptr); // removed
    EXPECT_EQ(dependent.GetValue(), cx(7, 0));         // caches followed

    EXPECT_TRUE(snapshot.Unrestore()); // back to the edited state
    EXPECT_EQ(ValueOf(ns, "a"), cx(4, 0));
    EXPECT_EQ(ValueOf(ns, "b"), cx(10, 0));
    EXPECT_EQ(ValueOf(ns, "extra"), cx(5, 0));
    EXPECT_EQ(ns.GetVariableByName("gone"), nullptr);
    EXPECT_EQ(dependent.GetValue(), cx(11, 0));
    EXPECT_FALSE(snapshot.Unrestore());

    snapshot.Restore(); // a snapshot can be used again
    EXPECT_EQ(dependent.GetValue(), cx(7, 0));
    EXPECT_EQ(warnings.Take(), "");

    const int before = counter.changes;
    snapshot.Restore(); // nothing differs: no events
    EXPECT_EQ(counter.changes, before);
}
