// Tests of the notes node: the ">" text of its block written and read back, the reading rule
// for lines with and without ">", and the published text commands.
#include "kx/project/kxnotesnode.h"

#include "kxnodefiles.h"

namespace {

class KXNotesNodeTest : public kxtest::NodeFilesFixture {};

} // namespace

TEST_F(KXNotesNodeTest, TextRoundTripsThroughTheBlock)
{
    kxProject *project = Open("empty.txt", "");
    ASSERT_NE(project, nullptr) << error.chars();
    auto *notes = dynamic_cast<kxNotesNode *>(project->AddSubnode("notesTB", "readme"));
    ASSERT_NE(notes, nullptr) << error.chars();
    // Lines that look like comments, blocks or nothing at all are text like any other.
    notes->SetText("first line\n// not a comment\n\nend of story\n  indented > arrow\nlast");
    const std::string saved = Saved(project, "notes.txt");
    EXPECT_EQ(saved, "begin <kxProject(1.0)> \"P\"\n"
                     "  begin <notesTB(1.0)> \"readme\"\n"
                     "    >first line\n"
                     "    >// not a comment\n"
                     "    >\n"
                     "    >end of story\n"
                     "    >  indented > arrow\n"
                     "    >last\n"
                     "  end\n"
                     "end\n");
    ASSERT_TRUE(manager->ProjectCloseAll());
    ASSERT_TRUE(manager->ProjectOpen(Path("notes.txt").c_str())) << error.chars();
    auto *again = dynamic_cast<kxNotesNode *>(manager->FindNode("P/readme"));
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->GetText(),
              "first line\n// not a comment\n\nend of story\n  indented > arrow\nlast\n");
}

TEST_F(KXNotesNodeTest, ReadingTakesTheTextAfterTheFirstArrow)
{
    kxProject *project = Open("rule.txt", "  begin <notesTB(1.0)> \"n\"\n"
                                          "    >kept\n"
                                          "    no arrow: lost\n"
                                          "        >indented: blanks dropped\n"
                                          "    x>y>z\n"
                                          "    >\n"
                                          "  end\n");
    ASSERT_NE(project, nullptr) << error.chars();
    auto *notes = dynamic_cast<kxNotesNode *>(project->FindNode("n"));
    ASSERT_NE(notes, nullptr);
    EXPECT_EQ(notes->GetText(), "kept\nindented: blanks dropped\ny>z\n\n");
}

TEST_F(KXNotesNodeTest, CommandsChangeTheTextAndOtherVersionsAreRefused)
{
    kxProject *project = Open("cmd.txt", "  begin <notesTB(1.0)> \"n\"\n    >a\n  end\n");
    ASSERT_NE(project, nullptr) << error.chars();
    kxProjectNode *notes = project->FindNode("n");
    KXCommandElt text = notes->getPublishedElt("text");
    ASSERT_TRUE(bool(text));
    EXPECT_EQ(text.GetHelp(), "entire text");
    ASSERT_EQ(notes->getPublishedElt("appendtext").GetHelp(),
              KXString("(string): append a string"));
    EXPECT_EQ(notes->getPublishedElt("cleartext").GetHelp(), KXString("(): clear contents"));
    project->setModified(false);
    KXString result;
    List<KXString> args;
    args.append("b\n");
    ASSERT_TRUE(notes->getPublishedElt("appendtext").Call(args, result));
    EXPECT_EQ(static_cast<kxNotesNode *>(notes)->GetText(), "a\nb\n");
    EXPECT_TRUE(project->IsModified());
    ASSERT_TRUE(notes->getPublishedElt("cleartext").Call(List<KXString>(), result));
    EXPECT_EQ(static_cast<kxNotesNode *>(notes)->GetText(), "");

    kxNotesNode other;
    TextBlock block;
    ASSERT_TRUE(block.LoadBlock("begin <notesTB(2.0)> \"x\"\n  >a\nend\n"));
    EXPECT_FALSE(other.ReadTB(block));
    EXPECT_NE(std::string(error.chars()).find("Expected version (1.0)"), std::string::npos);
    error.reset();
}
