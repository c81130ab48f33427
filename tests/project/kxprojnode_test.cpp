// Tests of the project tree: path lookup, names, tree changes with their messages, clipboard,
// locks, events and the published commands.
#include "kx/project/kxprojnode.h"

#include "kx/project/kxappnotify.h"
#include "kx/project/kxclipboard.h"
#include "kx/project/kxprojman.h"
#include "kxtestnodes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class ProjNodeFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        kxtest::RegisterTestNodes();
        error.reset();
        kxClearClipboard();
        manager = new kxProjectManager;
        project = static_cast<kxProject *>(manager->AddSubnode("kxProject", "P"));
        ASSERT_NE(project, nullptr);
    }
    void TearDown() override
    {
        delete manager;
        error.reset();
    }

    kxTestNode *AddTest(kxProjectNode *parent, const char *name)
    {
        return static_cast<kxTestNode *>(parent->AddSubnode("testNodeTB", name));
    }

    /// Calls the published function `name` of `object` with the arguments.
    static bool Call(KXObject &object, const char *name, std::vector<KXString> args,
                     KXString &result)
    {
        KXCommandElt elt = object.getPublishedElt(name);
        if (elt.GetKind() != kxEltFunction)
            return false;
        List<KXString> list;
        for (const KXString &a : args)
            list.append(a);
        return elt.Call(list, result);
    }

    kxProjectManager *manager = nullptr;
    kxProject *project = nullptr;
};

class RecordingListener : public kxAppListener {
public:
    void OnProjectNotify(int code, kxProjectNode *node, const char *) override
    {
        codes.push_back(code);
        nodes.push_back(node);
    }
    std::vector<int> codes;
    std::vector<kxProjectNode *> nodes;
};

class EventCounter : public kxEventListener {
public:
    void OnEvent(kxEvent &event, int) override
    {
        ids.push_back(event.GetId());
        data.push_back(event.GetData1());
    }
    std::vector<int> ids;
    std::vector<void *> data;
};

} // namespace

using KXProjectNodeTest = ProjNodeFixture;

TEST_F(KXProjectNodeTest, NameValidity)
{
    EXPECT_TRUE(kxIsNodeNameValid("a"));
    EXPECT_TRUE(kxIsNodeNameValid("."));
    EXPECT_TRUE(kxIsNodeNameValid(".."));
    EXPECT_TRUE(kxIsNodeNameValid("Name with blanks.txt"));
    EXPECT_FALSE(kxIsNodeNameValid(""));
    EXPECT_FALSE(kxIsNodeNameValid(nullptr));
    for (const char *bad :
         {"a<", "a>", "a|b", "a?", "a:b", "a,b", "a;b", "a\"b", "a\\b", "a/b", "a\nb", "a=b"})
        EXPECT_FALSE(kxIsNodeNameValid(bad)) << bad;
}

TEST_F(KXProjectNodeTest, FindNodePaths)
{
    kxTestNode *a = AddTest(project, "a");
    kxTestNode *b = AddTest(a, "b");
    kxTestNode *c = AddTest(project, "c");
    kxTestNode *dots = AddTest(a, "..");
    ASSERT_TRUE(a && b && c && dots);

    EXPECT_EQ(project->FindNode("a"), a);
    EXPECT_EQ(project->FindNode("a/b"), b);
    EXPECT_EQ(project->FindNode("a/x"), nullptr); // first component exists, second does not
    EXPECT_EQ(project->FindNode("x/b"), nullptr);
    EXPECT_EQ(b->FindNode("../../c"), c);
    EXPECT_EQ(b->FindNode("/P/c"), c);
    EXPECT_EQ(c->FindNode("/P/a/b"), b);
    EXPECT_EQ(manager->FindNode("P/a/b"), b);
    // ".." without a slash is a child's name, not the parent.
    EXPECT_EQ(a->FindNode(".."), dots);
    EXPECT_EQ(b->FindNode(".."), nullptr);
    EXPECT_EQ(manager->FindNode("../P"), nullptr); // the top has no parent
    // exclude and classInfo apply to the last step only.
    EXPECT_EQ(project->FindNode("a", a), nullptr);
    EXPECT_EQ(project->FindNode("a/b", a), b);
    EXPECT_EQ(project->FindNode("a", nullptr, KX_CLASSINFO_OF(kxTestLeaf)), nullptr);
    EXPECT_EQ(project->FindNode("a", nullptr, KX_CLASSINFO_OF(kxProjectNode)), a);

    EXPECT_EQ(std::string(getAbsolutePathName(b)), "/P/a/b");
    EXPECT_EQ(std::string(getAbsolutePathName(manager)), "/");
    EXPECT_EQ(std::string(getRelativePathName(c, b)), "../../c");
    EXPECT_EQ(std::string(getRelativePathName(b, project)), "a/b");
    EXPECT_EQ(b->FindNode(getRelativePathName(c, b)), c);
    // An ancestor cannot be reached by a relative path: the absolute one is given.
    EXPECT_EQ(std::string(getRelativePathName(a, b)), "/P/a");

    EXPECT_EQ(b->getRootProject(), project);
    EXPECT_EQ(b->getRootProjectNode(), project);
    EXPECT_TRUE(project->IsRootProject());
    EXPECT_FALSE(a->IsRootProject());
    EXPECT_EQ(manager->getRootProject(), nullptr);
    EXPECT_EQ(manager->getRootProjectNode(), nullptr);
    EXPECT_EQ(c->FindPreviousSibling(), a);
    EXPECT_EQ(a->FindPreviousSibling(), nullptr);
    EXPECT_EQ(a->FindPreviousSibling(true), c);
    EXPECT_EQ(b->GetNameSpace(), project->getOwnNameSpace());
    EXPECT_EQ(std::string(a->getTypeName()), "Test node");
}

TEST_F(KXProjectNodeTest, AddNodeAndAddSubnodeMessages)
{
    AddTest(project, "a");
    kxTestNode *dup = new kxTestNode;
    dup->setName("a");
    EXPECT_FALSE(project->AddNode(dup));
    EXPECT_STREQ(error.chars(), "Item with name \"a\" already exists in P\n");
    error.reset();
    // Under a parent with an empty name the message has no " in ...".
    kxTestNode unnamed;
    kxTestNode *x1 = new kxTestNode, *x2 = new kxTestNode;
    x1->setName("x");
    x2->setName("x");
    EXPECT_TRUE(unnamed.AddNode(x1));
    EXPECT_FALSE(unnamed.AddNode(x2));
    EXPECT_STREQ(error.chars(), "Item with name \"x\" already exists\n");
    error.reset();
    delete x2;
    delete dup;

    EXPECT_EQ(project->AddSubnode("noSuchTB", "n"), nullptr);
    EXPECT_STREQ(error.chars(), "node type \"noSuchTB\" unknown");
    error.reset();
    kxProjectNode *leaf = project->AddSubnode("testLeafTB", "leaf");
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->AddSubnode("testNodeTB", "n"), nullptr);
    EXPECT_STREQ(error.chars(), "child type Test node not allowed\n");
    error.reset();
    EXPECT_EQ(project->AddSubnode("testNodeTB", "a"), nullptr);
    EXPECT_STREQ(error.chars(), "name \"a\" is already in use.\n");
    error.reset();
    EXPECT_EQ(project->AddSubnode("testNodeTB", "a/b"), nullptr);
    EXPECT_STREQ(error.chars(), "invalid name \"a/b\"\n");
    error.reset();
    // A path to an existing node is still an invalid name, not a clash.
    EXPECT_EQ(project->FindNode("a")->AddSubnode("testNodeTB", "../a"), nullptr);
    EXPECT_STREQ(error.chars(), "invalid name \"../a\"\n");
    // With an error pending nothing is made.
    EXPECT_EQ(project->AddSubnode("testNodeTB", "fresh"), nullptr);
    EXPECT_EQ(project->FindNode("fresh"), nullptr);
    error.reset();
    EXPECT_EQ(project->getNodeCount(), 2);
}

TEST_F(KXProjectNodeTest, AddSubnodeNotifiesAndRaisesEvents)
{
    RecordingListener listener;
    kxSetAppListener(&listener);
    EventCounter events;
    events.ListenTo(manager->GetEventSource(), 0, 0);
    project->setModified(false);
    kxTestNode *a = AddTest(project, "a");
    kxSetAppListener(nullptr);
    ASSERT_NE(a, nullptr);
    ASSERT_EQ(listener.codes.size(), 1u);
    EXPECT_EQ(listener.codes[0], kxNotifyNodeAdded);
    EXPECT_EQ(listener.nodes[0], a);
    EXPECT_TRUE(a->IsNewNode());
    EXPECT_TRUE(a->IsPrepared());
    EXPECT_TRUE(project->IsModified());
    // The change reached the top through every ancestor.
    ASSERT_EQ(events.ids.size(), 1u);
    EXPECT_EQ(events.ids[0], kxEventNodeChanged);
    EXPECT_EQ(events.data[0], a);
    // A new project under the manager gets the working directory as its file name.
    EXPECT_FALSE(project->getFilename().Empty());
    EXPECT_EQ(project->getFilename()[project->getFilename().Length() - 1], '/');
}

TEST_F(KXProjectNodeTest, RenameCutCopyPasteDelete)
{
    kxTestNode *a = AddTest(project, "a");
    AddTest(project, "b");
    a->lines = {"x = 1", "// note"};
    EXPECT_FALSE(a->Rename("b"));
    EXPECT_STREQ(error.chars(), "name is already in use.\n");
    error.reset();
    EXPECT_FALSE(a->Rename("b;c"));
    EXPECT_STREQ(error.chars(), "invalid name.\n");
    error.reset();
    EXPECT_TRUE(a->Rename("a")); // its own name is no clash
    EXPECT_TRUE(a->Rename("a2"));
    EXPECT_EQ(project->FindNode("a2"), a);

    ASSERT_TRUE(a->Copy());
    EXPECT_TRUE(project->CanEnPaste());
    EXPECT_EQ(kxGetPrjNodeRefFromClipboard(manager), a);
    EXPECT_FALSE(project->Paste("a2"));
    EXPECT_STREQ(error.chars(), "name \"a2\" is already in use.\n");
    error.reset();
    EXPECT_FALSE(project->Paste("x/y"));
    EXPECT_STREQ(error.chars(), "invalid name.\n");
    error.reset();
    RecordingListener listener;
    kxSetAppListener(&listener);
    ASSERT_TRUE(project->Paste("pasted"));
    kxSetAppListener(nullptr);
    auto *pasted = static_cast<kxTestNode *>(project->FindNode("pasted"));
    ASSERT_NE(pasted, nullptr);
    EXPECT_NE(pasted, a);
    EXPECT_EQ(pasted->lines, a->lines);
    EXPECT_TRUE(pasted->IsNewNode());
    ASSERT_EQ(listener.codes.size(), 1u);
    EXPECT_EQ(listener.codes[0], kxNotifyNodePasted);
    // A leaf cannot take a test node.
    kxProjectNode *leaf = project->AddSubnode("testLeafTB", "leaf");
    EXPECT_FALSE(leaf->CanEnPaste());

    ASSERT_TRUE(a->Cut());
    EXPECT_EQ(project->FindNode("a2"), nullptr);
    EXPECT_TRUE(project->Paste("a2"));
    EXPECT_EQ(static_cast<kxTestNode *>(project->FindNode("a2"))->lines.size(), 2u);
    ASSERT_TRUE(project->FindNode("pasted")->Delete());
    EXPECT_EQ(project->FindNode("pasted"), nullptr);
    EXPECT_FALSE(manager->Delete()); // the top cannot go

    kxClearClipboard();
    EXPECT_FALSE(project->CanEnPaste());
    EXPECT_FALSE(project->Paste("other"));
    EXPECT_EQ(error, 0);
}

TEST_F(KXProjectNodeTest, PasteProjectUnderManagerGetsOwnNameSpace)
{
    AddTest(project, "v")->lines = {"w = 2"};
    ASSERT_TRUE(project->Copy());
    ASSERT_TRUE(manager->Paste("Q"));
    auto *q = static_cast<kxProject *>(manager->FindNode("Q"));
    ASSERT_NE(q, nullptr);
    EXPECT_NE(q->getOwnNameSpace(), nullptr);
    EXPECT_NE(q->getOwnNameSpace(), project->getOwnNameSpace());
    // The pasted variable lives in the new project's namespace.
    EXPECT_NE(q->getOwnNameSpace()->FindVariable("w", false), -1);
    auto *v = static_cast<kxTestNode *>(q->FindNode("v"));
    ASSERT_NE(v, nullptr);
    ASSERT_EQ(v->values.size(), 1u);
    EXPECT_EQ(v->values[0].real(), 2.0);
}

TEST_F(KXProjectNodeTest, NestedLocksAreAPlainFlag)
{
    kxTestNode *a = AddTest(project, "a");
    EXPECT_FALSE(a->IsLocked());
    {
        kxProjNodeLock outer(a);
        EXPECT_TRUE(project->IsLocked());
        {
            kxProjNodeLock inner(project);
            EXPECT_TRUE(a->IsLocked());
        }
        EXPECT_FALSE(a->IsLocked()); // the inner end unlocked it
    }
    EXPECT_FALSE(a->IsLocked());
    // Outside any project: never locked.
    kxTestNode loose;
    loose.setLocked(true);
    EXPECT_FALSE(loose.IsLocked());
    EXPECT_FALSE(manager->IsLocked());
}

TEST_F(KXProjectNodeTest, PublishedCommands)
{
    kxTestNode *a = AddTest(project, "a");
    KXString result;
    ASSERT_TRUE(Call(*project, "addsubnode", {"testNodeTB", "b"}, result));
    EXPECT_EQ(std::string(result), "/P/b");
    ASSERT_TRUE(Call(*project, "numsubnodes", {}, result));
    EXPECT_EQ(std::string(result), "2");
    ASSERT_TRUE(Call(*a, "nodename", {}, result));
    EXPECT_EQ(std::string(result), "a");
    ASSERT_TRUE(Call(*a, "getparent", {}, result));
    EXPECT_EQ(std::string(result), "/P");
    ASSERT_TRUE(Call(*project, "findnode", {"b"}, result));
    EXPECT_EQ(std::string(result), "/P/b");
    EXPECT_FALSE(Call(*project, "findnode", {"zz"}, result));
    error.reset();
    ASSERT_TRUE(Call(*a, "rename", {"a1"}, result));
    EXPECT_EQ(project->FindNode("a1"), a);
    ASSERT_TRUE(Call(*a, "copy", {}, result));
    ASSERT_TRUE(Call(*project, "paste", {"a2"}, result));
    EXPECT_NE(project->FindNode("a2"), nullptr);
    ASSERT_TRUE(Call(*project->FindNode("a2"), "delete", {}, result));
    EXPECT_EQ(project->FindNode("a2"), nullptr);

    // Help texts, and the children reached through "subnodes".
    EXPECT_STREQ(a->getPublishedElt("numsubnodes").GetHelp(), "(): get number of subnodes");
    EXPECT_STREQ(a->getPublishedElt("addsubnode").GetHelp(),
                 "( blocktype, newname ): add a new subnode; blocktype=testNodeTB,testLeafTB");
    EXPECT_STREQ(a->getPublishedElt("findorcreateview").GetHelp(),
                 "(): find or create a view of the node");
    EXPECT_STREQ(manager->getPublishedElt("addsubnode").GetHelp(),
                 "( blocktype,newname ): add a new subnode; blocktype=kxProject");
    EXPECT_STREQ(manager->getPublishedElt("getparent").GetHelp(), "(): get the parent");
    EXPECT_FALSE(manager->getPublishedElt("rename"));
    EXPECT_STREQ(project->getPublishedElt("filename").GetHelp(),
                 "project file name (used by save)");
    KXObject *subnodes = project->getPublishedElt("subnodes").GetObject();
    ASSERT_NE(subnodes, nullptr);
    EXPECT_EQ(subnodes->getPublishedElt("a1").GetObject(), a);
    KXObject *viaManager = manager->getPublishedElt("subnodes").GetObject();
    ASSERT_NE(viaManager, nullptr);
    EXPECT_EQ(viaManager->getPublishedElt("P").GetObject(), project);

    // Events for the views.
    EventCounter events;
    events.ListenTo(a->GetEventSource(), 0, 0);
    ASSERT_TRUE(Call(*a, "updateviews", {}, result));
    ASSERT_TRUE(Call(*a, "findorcreateview", {}, result));
    EXPECT_EQ(events.ids, (std::vector<int>{kxEventUpdateViews, kxEventFindOrCreateView}));
    // Closing through the project's own command.
    ASSERT_TRUE(Call(*project, "close", {}, result));
    EXPECT_EQ(manager->ProjectCount(), 0);
}

TEST_F(KXProjectNodeTest, ClipboardInterfaceAndReferences)
{
    class FakeClipboard : public kxClipboard {
    public:
        bool SetText(const char *t) override
        {
            text = t;
            return true;
        }
        bool GetText(KXString &t) override
        {
            t = text.c_str();
            return !text.empty();
        }
        void Clear() override { text.clear(); }
        std::string text;
    } fake;
    kxTestNode *a = AddTest(project, "a");
    AddTest(a, "b");
    kxSetClipboard(&fake);
    ASSERT_TRUE(a->FindNode("b")->Copy());
    EXPECT_EQ(fake.text, "kxnoderef:/P/a/b");
    EXPECT_EQ(kxGetPrjNodeRefFromClipboard(project), a->FindNode("b"));
    fake.text = "/P/a"; // a path without the prefix is not a reference
    EXPECT_EQ(kxGetPrjNodeRefFromClipboard(project), nullptr);
    kxSetClipboard(nullptr);
    TextBlock block;
    EXPECT_TRUE(kxGetBlockFromLocalClipboard(block));
    TBlockSig sig;
    ASSERT_TRUE(kxGetBlockSignature(block, &sig));
    EXPECT_STREQ(sig.type, "testNodeTB");
    EXPECT_STREQ(block.getName(), "b");
}

TEST_F(KXProjectNodeTest, PrepareAndAncestryReachEveryChild)
{
    class Counting : public kxTestNode {
    public:
        void OnAncestryChanged() override
        {
            ++moves;
            kxTestNode::OnAncestryChanged();
        }
        int moves = 0;
    };
    auto *a = new Counting, *b = new Counting;
    a->setName("a");
    b->setName("b");
    ASSERT_TRUE(project->AddNode(a));
    ASSERT_TRUE(a->AddNode(b));
    EXPECT_FALSE(b->IsPrepared());
    project->Prepare();
    EXPECT_TRUE(b->IsPrepared());
    a->OnAncestryChanged();
    EXPECT_EQ(a->moves, 1);
    EXPECT_EQ(b->moves, 1);
    // RemoveNode without deleting hands the child back unlinked.
    project->RemoveNode(a, false);
    EXPECT_EQ(a->getParent(), nullptr);
    EXPECT_EQ(project->FindNode("a"), nullptr);
    delete a;
}
