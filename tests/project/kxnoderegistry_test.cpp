// Tests of the node-type registry: registration order, first registration wins, the finders,
// the child-class limit and view records.
#include "kx/project/kxnoderegistry.h"

#include "kx/project/kxprojnode.h"
#include "kxtestnodes.h"

#include <gtest/gtest.h>

#include <string>

namespace {

class kxViewStub : public KXObject {
    KX_DECLARE_CLASS(kxViewStub)
};

} // namespace

KX_IMPLEMENT_CLASS(kxViewStub, KXObject)

TEST(KXMetaDataTableTest, FirstRegistrationWinsAndFinders)
{
    kxtest::RegisterTestNodes();
    static const kxClassInfo *const none[] = {nullptr};
    // A second record for the test node class, registered later: refused with a message.
    static kxProjectNodeInfoClass again(
        {KX_CLASSINFO_OF(kxTestNode), none, TBlockSig{"otherTB", 2, 0}, "Duplicate", 9, "dup"});
    again.Register();
    again.Register(); // once only
    static kxProjectNodeViewInfoClass view({KX_CLASSINFO_OF(kxTestNode),
                                            KX_CLASSINFO_OF(kxViewStub), nullptr, "view", "&View",
                                            "shows it", nullptr, nullptr});
    view.Register();

    kxOutputCapture capture;
    kxMetaDataTable table;
    table.Build();
    EXPECT_EQ(capture.Messages(), "registration of duplicate node:\n\"Duplicate\"\nignored\n");
    kxMetaData *entry = table.FindMetaDataByClassInfo(KX_CLASSINFO_OF(kxTestNode));
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(std::string(entry->getDisplayName()), "Test node");
    EXPECT_EQ(table.FindMetaDataByClass("kxTestNode"), entry);
    EXPECT_EQ(table.FindMetaDataByName("Test node"), entry);
    EXPECT_EQ(table.FindMetaDataByName("Duplicate"), nullptr);
    EXPECT_EQ(table.FindMetaDataByBlockType("TESTNODETB"), entry); // block types ignore case
    EXPECT_EQ(table.FindMetaDataByBlockType("otherTB"), nullptr);
    EXPECT_EQ(table.FindMetaDataBySuffix("tnd"), entry);
    EXPECT_EQ(table.FindMetaDataBySuffix(""), nullptr);
    EXPECT_EQ(table.FindMetaDataFlags(KX_CLASSINFO_OF(kxTestNode)), 0);
    EXPECT_EQ(table.FindMetaDataFlags(KX_CLASSINFO_OF(kxViewStub)), 0);
    EXPECT_EQ(entry->getViewClass(), KX_CLASSINFO_OF(kxViewStub));
    EXPECT_STREQ(entry->getViewInfo()->menuText, "&View");
    EXPECT_TRUE(entry->AllowsChild(KX_CLASSINFO_OF(kxTestLeaf)));
    EXPECT_FALSE(entry->AllowsChild(KX_CLASSINFO_OF(kxProjectNode)));
    // Oldest first: the core types come before the test types.
    EXPECT_EQ(std::string(table.getEntry(1)->getClassName()), "kxProjectManager");
    EXPECT_EQ(std::string(table.getEntry(2)->getClassName()), "kxProject");
    EXPECT_EQ(std::string(table.getEntry(3)->getClassName()), "kxVariablesNode");
    EXPECT_EQ(std::string(table.getEntry(4)->getClassName()), "kxNotesNode");
    EXPECT_EQ(std::string(table.getEntry(5)->getClassName()), "kxScriptNode");
    EXPECT_EQ(std::string(table.getEntry(6)->getClassName()), "kxTestNode");
    EXPECT_EQ(table.size(), 7);
    // The newest record heads the list.
    EXPECT_EQ(kxProjectNodeInfoClass::getFirst(), &again);
}

TEST(KXMetaDataTableTest, AtMostTwentyChildClassesAndUnlinking)
{
    const kxClassInfo *many[25];
    for (int i = 0; i < 24; ++i)
        many[i] = i == 21 ? KX_CLASSINFO_OF(kxTestLeaf) : KX_CLASSINFO_OF(kxViewStub);
    many[24] = nullptr;
    const kxProjectNodeInfo info{
        KX_CLASSINFO_OF(kxViewStub), many, TBlockSig{"manyTB", 1, 0}, "Many", 3, ""};
    kxMetaData entry(info, nullptr);
    EXPECT_EQ(entry.getChildClassCount(), kxMaxChildClasses);
    EXPECT_FALSE(entry.AllowsChild(KX_CLASSINFO_OF(kxTestLeaf))); // the 22nd is ignored
    EXPECT_EQ(entry.getFlags(), 3);

    kxMetaDataTable table;
    const kxProjectNodeInfoClass *head = kxProjectNodeInfoClass::getFirst();
    {
        kxProjectNodeInfoClass local(info);
        local.Register();
        EXPECT_EQ(kxProjectNodeInfoClass::getFirst(), &local);
        table.Build();
        EXPECT_NE(table.FindMetaDataByBlockType("manyTB"), nullptr);
    }
    EXPECT_EQ(kxProjectNodeInfoClass::getFirst(), head); // a destroyed record unlinks itself
    table.Build();
    EXPECT_EQ(table.FindMetaDataByBlockType("manyTB"), nullptr);
    // An entry without a class is kept but never creates nodes.
    EXPECT_TRUE(table.AddNode(new kxMetaData(
        kxProjectNodeInfo{nullptr, nullptr, TBlockSig{"ghostTB", 1, 0}, "Ghost", 0, ""}, nullptr)));
    EXPECT_EQ(table.FindMetaDataByClass(""), nullptr);
    EXPECT_NE(table.FindMetaDataByBlockType("ghostTB"), nullptr);
}
