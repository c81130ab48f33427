// Tests of the script node: its block (language, PARAMETER lines, ">" text) written and read
// back, a body without PARAMETER lines, the published commands, and RunScript handing language,
// text and argument string to the installed runner.
#include "kx/project/kxscriptnode.h"

#include "kxnodefiles.h"

#include <string>

namespace {

class KXScriptNodeTest : public kxtest::NodeFilesFixture {
protected:
    void TearDown() override
    {
        kxSetScriptNodeRunner(nullptr);
        NodeFilesFixture::TearDown();
    }
    kxScriptNode *Script(const char *path)
    {
        return dynamic_cast<kxScriptNode *>(manager->FindNode(path));
    }
};

} // namespace

TEST_F(KXScriptNodeTest, BlockRoundTripsLanguageParametersAndText)
{
    const std::string body = "  begin <scriptTB(1.0)> \"sweep\"\n"
                             "    1 //script language\n"
                             "    PARAMETER = 0.5\n"
                             "    PARAMETER = \"out file.txt\"\n"
                             "    >import sys\n"
                             "    >\n"
                             "    >print(sys.argv)\n"
                             "  end\n";
    kxProject *project = Open("s.txt", body);
    ASSERT_NE(project, nullptr) << error.chars();
    kxScriptNode *script = Script("P/sweep");
    ASSERT_NE(script, nullptr);
    EXPECT_EQ(script->GetLanguage(), kxScriptNode::LanguagePython);
    ASSERT_EQ(script->GetParameters().size(), 2);
    EXPECT_EQ(script->GetParameters()[2], "\"out file.txt\"");
    EXPECT_EQ(script->GetText(), "import sys\n\nprint(sys.argv)\n");
    EXPECT_EQ(script->GetArguments(), "0.5 \"out file.txt\" ");
    EXPECT_EQ(Saved(project, "s2.txt"), "begin <kxProject(1.0)> \"P\"\n" + body + "end\n");
}

TEST_F(KXScriptNodeTest, ABodyWithoutParametersIsAllText)
{
    kxProject *project = Open("np.txt", "  begin <scriptTB(1.0)> \"a\"\n"
                                        "    0 //script language\n"
                                        "    >PARAMETER = 1\n"
                                        "      > print \"hi\"\n"
                                        "  end\n"
                                        "  begin <scriptTB(1.0)> \"b\"\n"
                                        "    0\n"
                                        "  end\n");
    ASSERT_NE(project, nullptr) << error.chars();
    kxScriptNode *a = Script("P/a");
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->GetParameters().size(), 0);
    EXPECT_EQ(a->GetText(), "PARAMETER = 1\n print \"hi\"\n");
    kxScriptNode *b = Script("P/b");
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->GetLanguage(), 0);
    EXPECT_EQ(b->GetText(), "");
    EXPECT_EQ(b->GetArguments(), "");
}

TEST_F(KXScriptNodeTest, RunScriptHandsTheScriptToTheRunner)
{
    kxProject *project = Open("run.txt", "  begin <scriptTB(1.0)> \"s\"\n"
                                         "    0 //script language\n"
                                         "    PARAMETER = 3\n"
                                         "    PARAMETER = x\n"
                                         "    >print {nargs}\n"
                                         "  end\n");
    ASSERT_NE(project, nullptr) << error.chars();
    kxScriptNode *script = Script("P/s");
    ASSERT_NE(script, nullptr);

    EXPECT_FALSE(script->RunScript());
    EXPECT_STREQ(error.chars(), "no command object to run scripts\n");
    error.reset();

    int language = -1, calls = 0;
    std::string text, arguments;
    kxScriptNode *ran = nullptr;
    kxSetScriptNodeRunner([&](int l, const char *t, const char *a, kxScriptNode &node) {
        ++calls;
        ran = &node;
        language = l;
        text = t;
        arguments = a;
        return true;
    });
    ASSERT_TRUE(script->RunScript());
    EXPECT_EQ(language, 0);
    EXPECT_EQ(text, "print {nargs}\n");
    EXPECT_EQ(arguments, "3 x ");
    EXPECT_EQ(ran, script);

    // Nothing runs while an error is pending.
    error.set("pending\n");
    EXPECT_FALSE(script->RunScript());
    EXPECT_EQ(calls, 1);
    error.reset();

    // The published commands edit the node as its frame does, and run it.
    KXString result;
    List<KXString> none, one;
    ASSERT_TRUE(script->getPublishedElt("clearparlist").Call(none, result));
    one.append("7");
    ASSERT_TRUE(script->getPublishedElt("appendpar").Call(one, result));
    ASSERT_TRUE(script->getPublishedElt("language").SetValueString("1"));
    EXPECT_EQ(script->getPublishedElt("parlist").GetValueString(), "7");
    EXPECT_EQ(script->getPublishedElt("parlist").GetHelp(), "parameter list");
    EXPECT_EQ(script->getPublishedElt("language").GetHelp(),
              "script language: 0 for app commands, 1 for python");
    EXPECT_EQ(script->getPublishedElt("appendpar").GetHelp(),
              "(string): append a parameter to the parameter list");
    EXPECT_EQ(script->getPublishedElt("clearparlist").GetHelp(), "(): clear parameter list");
    EXPECT_EQ(script->getPublishedElt("runscript").GetHelp(), "(): run the script.");
    EXPECT_EQ(script->getPublishedElt("text").GetHelp(), "entire text");
    ASSERT_TRUE(script->getPublishedElt("runscript").Call(none, result));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(language, 1);
    EXPECT_EQ(arguments, "7 ");
}
