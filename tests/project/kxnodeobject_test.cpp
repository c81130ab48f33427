// Tests of node objects: counting, the delete notifier, delegated events, and copying graphs of
// shared objects (shared once, cycles, owned objects, clones, class mismatch).
#include "kx/project/kxnodeobject.h"

#include "kx/expressions/kxnamespace.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// A shared object holding a number and two references to other shared objects.
class kxTestShared : public kxNodeObject {
    KX_DECLARE_CLASS(kxTestShared)
public:
    int value = 0;
    kxRefPtr<kxTestShared> first;
    kxRefPtr<kxTestShared> second;

protected:
    bool DoCopy(const kxNodeObject &source, kxNodeObjCopyList &list) override
    {
        if (!kxNodeObject::DoCopy(source, list))
            return false;
        const auto &from = static_cast<const kxTestShared &>(source);
        value = from.value;
        return first.CopyFrom(from.first, list) && second.CopyFrom(from.second, list);
    }
};

class kxOtherShared : public kxNodeObject {
    KX_DECLARE_CLASS(kxOtherShared)
};

std::vector<kxNodeObject *> g_deleted;
void RecordDelete(kxNodeObject *object) { g_deleted.push_back(object); }

class Listener : public kxEventListener {
public:
    void OnEvent(kxEvent &event, int) override { ids.push_back(event.GetId()); }
    std::vector<int> ids;
};

} // namespace

KX_IMPLEMENT_CLASS(kxTestShared, kxNodeObject)
KX_IMPLEMENT_CLASS(kxOtherShared, kxNodeObject)

TEST(KXNodeObjectTest, CountingAndDeleteNotifier)
{
    kxNodeObject::RegisterDeleteNotifier(&RecordDelete);
    g_deleted.clear();
    auto *shared = new kxTestShared;
    EXPECT_EQ(shared->getRefcount(), 0);
    {
        kxRefPtr<kxTestShared> a(shared);
        kxBaseRefPtr b(a);
        EXPECT_EQ(shared->getRefcount(), 2);
        b.set(nullptr);
        EXPECT_EQ(shared->getRefcount(), 1);
        EXPECT_TRUE(g_deleted.empty());
    }
    ASSERT_EQ(g_deleted.size(), 1u); // the last pointer destroyed it
    EXPECT_EQ(g_deleted[0], shared);
    // An owned object outlives its pointers.
    kxTestShared owned;
    owned.setOwner(&owned);
    {
        kxRefPtr<kxTestShared> p(&owned);
    }
    EXPECT_EQ(owned.getRefcount(), 0);
    EXPECT_EQ(g_deleted.size(), 1u);
    kxNodeObject::RegisterDeleteNotifier(nullptr);
    EXPECT_EQ(kxNodeObject::GetDeleteNotifier(), nullptr);
}

TEST(KXNodeObjectTest, ListenAndDelegatePassesEventsOn)
{
    kxTestShared source, relay;
    Listener listener;
    listener.ListenTo(relay.GetEventSource(), 0, 0);
    relay.ListenAndDelegate(source, 42);
    source.GetEventSource().RaiseEvent(42);
    source.GetEventSource().RaiseEvent(7); // not delegated: another id
    EXPECT_EQ(listener.ids, std::vector<int>{42});
    relay.StopDelegating(source);
    source.GetEventSource().RaiseEvent(42);
    EXPECT_EQ(listener.ids.size(), 1u);
}

TEST(KXNodeObjectTest, CopyingAGraphCopiesSharedObjectsOnce)
{
    // holder.first and holder.second share one object, which points back to holder (a cycle).
    auto *holder = new kxTestShared;
    kxRefPtr<kxTestShared> keep(holder);
    auto *shared = new kxTestShared;
    shared->value = 7;
    holder->value = 1;
    holder->first.set(shared);
    holder->second.set(shared);
    shared->first.set(holder);

    kxTestShared copy;
    kxNodeObjCopyList list;
    ASSERT_TRUE(copy.CopyFrom(*holder, &list));
    EXPECT_FALSE(list.IsClone());
    EXPECT_EQ(copy.value, 1);
    ASSERT_NE(copy.first.get(), nullptr);
    EXPECT_NE(copy.first.get(), shared);
    EXPECT_EQ(copy.first.get(), copy.second.get()); // one copy referenced twice
    // Counted by copy.first and copy.second, and by both pointers of the copy of holder that
    // the cycle made (the target of CopyFrom itself is not in the list).
    EXPECT_EQ(copy.first->getRefcount(), 4);
    EXPECT_EQ(copy.first->value, 7);
    // The cycle ended at a copy of holder, made once.
    ASSERT_NE(copy.first->first.get(), nullptr);
    EXPECT_NE(copy.first->first.get(), holder);
    EXPECT_EQ(copy.first->first->first.get(), copy.first.get());
    EXPECT_EQ(list.FindCopy(shared), copy.first.get());
    EXPECT_EQ(list.size(), 2);

    // Break the cycles so that the counts free everything.
    copy.first->first->first.set(nullptr);
    copy.first->first->second.set(nullptr);
    copy.first->first.set(nullptr);
    shared->first.set(nullptr);
}

TEST(KXNodeObjectTest, OwnedObjectsSharedByCopiesCopiedByClones)
{
    kxTestShared owned;
    owned.setOwner(&owned);
    owned.value = 5;
    kxTestShared holder;
    holder.first.set(&owned);

    kxTestShared copy;
    ASSERT_TRUE(copy.CopyFrom(holder));
    EXPECT_EQ(copy.first.get(), &owned); // a plain copy shares what the tree owns
    kxTestShared clone;
    ASSERT_TRUE(clone.CloneFrom(holder));
    ASSERT_NE(clone.first.get(), nullptr);
    EXPECT_NE(clone.first.get(), &owned);
    EXPECT_EQ(clone.first->value, 5);
    EXPECT_FALSE(clone.first->IsOwned());
    copy.first.set(nullptr);
    holder.first.set(nullptr);

    // Copying onto itself does nothing; a foreign class is an internal fault.
    error.reset();
    EXPECT_TRUE(owned.CopyFrom(owned));
    kxOtherShared other;
    EXPECT_FALSE(other.CopyFrom(owned));
    EXPECT_EQ(error, kxErrCode);
    EXPECT_NE(std::string(error.chars()).find("kxNodeObject::CloneFrom"), std::string::npos);
    EXPECT_NE(std::string(error.chars()).find("kxnodeobject"), std::string::npos);
    error.reset();
}

TEST(KXNodeObjectTest, NamespaceHandlesOfCopies)
{
    kxNameSpace ns, target;
    kxTestShared source;
    kxTestShared copy;
    copy.SetNameSpace(&target);
    ASSERT_TRUE(copy.CopyFrom(source, nullptr, kxOwnNameSpace()));
    EXPECT_EQ(copy.GetNameSpace(), &target); // 2: kept
    ASSERT_TRUE(copy.CopyFrom(source, nullptr, kxNoNameSpace()));
    EXPECT_EQ(copy.GetNameSpace(), nullptr); // 1: none
    ASSERT_TRUE(copy.CopyFrom(source, nullptr, &ns));
    EXPECT_EQ(copy.GetNameSpace(), &ns);
    // New copies of shared objects get the namespace given to FindOrCreateCopy.
    auto *shared = new kxTestShared;
    source.first.set(shared);
    kxNodeObjCopyList list;
    kxNodeObject *made = source.first.FindOrCreateCopy(list, &ns);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->GetNameSpace(), &ns);
    kxBaseRefPtr hold(made); // frees the copy
    kxBaseRefPtr none;
    EXPECT_EQ(none.FindOrCreateCopy(list), nullptr);
}
