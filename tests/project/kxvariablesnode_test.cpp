// Tests of the variables node: the two reading passes, the syntax errors with their texts,
// writing in the node's order with comments kept, and the commands that change variables.
#include "kx/project/kxvariablesnode.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kxnodefiles.h"
#include "kxtestnodes.h"

#include <complex>

namespace {

class KXVariablesNodeTest : public kxtest::NodeFilesFixture {
protected:
    std::complex<double> Value(kxProject *project, const char *name)
    {
        kxNamedVariable *variable = project->GetNameSpace()->GetVariableByName(name);
        EXPECT_NE(variable, nullptr) << name;
        return variable ? variable->GetValue() : std::complex<double>(-999.0, 0.0);
    }
    kxVariablesNode *Node(kxProject *project, const char *name)
    {
        return dynamic_cast<kxVariablesNode *>(project->FindNode(name));
    }
};

const char *const kRidge = "  begin <kxVariablesTB(1.0)> \"dims\"\n"
                           "    wavelength = 1.55\n"
                           "    film = 0.75 // a number the reader does not give back exactly\n"
                           "    width = height * 2 // twice the height\n"
                           "    // sizes in microns\n"
                           "    height = 0.5\n"
                           "    area = width*height\n"
                           "    // end of the list\n"
                           "  end\n";

} // namespace

TEST_F(KXVariablesNodeTest, ReadAndWriteKeepOrderExpressionsAndComments)
{
    kxProject *project = Open("ridge.txt", kRidge);
    ASSERT_NE(project, nullptr) << error.chars();
    kxVariablesNode *node = Node(project, "dims");
    ASSERT_NE(node, nullptr);
    ASSERT_EQ(node->GetNumVariables(), 5);
    const char *names[] = {"wavelength", "film", "width", "height", "area"};
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(node->GetVariable(i)->GetName(), names[i]);
    EXPECT_EQ(node->GetVariable(2)->GetExpression(), "height * 2");
    EXPECT_DOUBLE_EQ(Value(project, "area").real(), 0.5);

    const std::string saved = Saved(project, "out.txt");
    EXPECT_EQ(saved, std::string("begin <kxProject(1.0)> \"P\"\n") + kRidge + "end\n");

    // A change follows through every dependent value and is what the next save writes.
    node->GetVariable(3)->SetExpression("0.25");
    EXPECT_DOUBLE_EQ(Value(project, "area").real(), 0.125);
    EXPECT_NE(Saved(project, "out2.txt").find("    height = 0.25\n"), std::string::npos);
}

TEST_F(KXVariablesNodeTest, ValuesTheReaderCannotGiveBackStayStableAcrossSaves)
{
    // The plain-number reader scales by exp and log, so no short text reads back to this value.
    kxProject *project = Open("huge.txt", "  begin <kxVariablesTB(1.0)> \"v\"\n"
                                          "    a = 3333333333333313333333333333333333333333333e\n"
                                          "  end\n");
    ASSERT_NE(project, nullptr) << error.chars();
    const std::string first = Saved(project, "huge1.txt");
    EXPECT_NE(first.find("    a = (3.3"), std::string::npos) << first;
    ASSERT_TRUE(manager->ProjectCloseAll());
    kxProject *again =
        Open("huge2.txt",
             first.substr(first.find("  begin"), first.rfind("end\n") - first.find("  begin")));
    ASSERT_NE(again, nullptr) << error.chars();
    EXPECT_EQ(Saved(again, "huge3.txt"), first);
}

TEST_F(KXVariablesNodeTest, ForwardReferencesAcrossNodesResolveOnLoad)
{
    kxtest::RegisterTestNodes();
    manager->RebuildRegistry();
    // The test node evaluates its lines while it is read, before the variables node below it.
    kxProject *project = Open("fwd.txt", "  begin <testNodeTB(1.0)> \"user\"\n"
                                         "    twice = core * 2\n"
                                         "  end\n"
                                         "  begin <kxVariablesTB(1.0)> \"first\"\n"
                                         "    core = clad + 1\n"
                                         "  end\n"
                                         "  begin <kxVariablesTB(1.0)> \"second\"\n"
                                         "    clad = 3\n"
                                         "  end\n");
    ASSERT_NE(project, nullptr) << error.chars();
    auto *user = dynamic_cast<kxTestNode *>(project->FindNode("user"));
    ASSERT_NE(user, nullptr);
    ASSERT_EQ(user->values.size(), 1u);
    EXPECT_DOUBLE_EQ(user->values[0].real(), 8.0);
    EXPECT_EQ(Node(project, "first")->GetNumVariables(), 1);
    EXPECT_EQ(Node(project, "second")->GetNumVariables(), 1);
    EXPECT_FALSE(project->GetNameSpace()->GetVariableByName("core")->IsPreloaded());
}

TEST_F(KXVariablesNodeTest, SyntaxErrorsHaveTheirTextsAndSkipTheLine)
{
    kxOutputCapture capture;
    kxProject *project = Open("bad.txt", "  begin <kxVariablesTB(1.0)> \"v\"\n"
                                         "    a = 1 // comment\n"
                                         "    no equals here\n"
                                         "    = 5\n"
                                         "    a = 2\n"
                                         "    2x = 4\n"
                                         "    End= 5\n"
                                         "    b = a + 1\n"
                                         "    e =  // nothing yet\n"
                                         "  end\n");
    ASSERT_NE(project, nullptr);
    EXPECT_EQ(int(error), int(kxErrSyntax));
    EXPECT_NE(std::string(error.chars()).find("Parts of the project could not be loaded"),
              std::string::npos);
    error.reset();
    const std::string messages = capture.Messages();
    EXPECT_NE(messages.find("Missing equals in variable definition: no equals here   required "
                            "format: name = expression\n"),
              std::string::npos)
        << messages;
    EXPECT_NE(messages.find("Invalid variable name \n   in variable definition: = 5"),
              std::string::npos)
        << messages;
    EXPECT_NE(messages.find("Duplicate variable name a\n   in variable definition: a = 2"),
              std::string::npos)
        << messages;
    EXPECT_NE(messages.find("Invalid variable name 2x\n   in variable definition: 2x = 4"),
              std::string::npos)
        << messages;
    EXPECT_NE(messages.find("Invalid variable name End\n   in variable definition: End= 5"),
              std::string::npos)
        << messages;
    kxVariablesNode *node = Node(project, "v");
    ASSERT_EQ(node->GetNumVariables(), 3);
    EXPECT_TRUE(node->GetVariable(0)->IsValue());
    EXPECT_DOUBLE_EQ(Value(project, "a").real(), 1.0);
    EXPECT_DOUBLE_EQ(Value(project, "b").real(), 2.0);
    // Rejected lines are gone from the next save; the comment stays with its variable.
    EXPECT_EQ(Saved(project, "bad2.txt"), "begin <kxProject(1.0)> \"P\"\n"
                                          "  begin <kxVariablesTB(1.0)> \"v\"\n"
                                          "    a = 1 // comment\n"
                                          "    b = a + 1\n"
                                          "    e =  // nothing yet\n"
                                          "  end\n"
                                          "end\n");
}

TEST_F(KXVariablesNodeTest, LongBadLinesAreQuotedCut)
{
    // A syntax error of 1,000 characters or more would end the program: long lines are quoted
    // cut to 400 characters.
    kxOutputCapture capture;
    const std::string noEquals(2000, 'x');
    const std::string badName = std::string(1500, '9') + " = 1";
    kxProject *project = Open("long.txt", "  begin <kxVariablesTB(1.0)> \"v\"\n    " + noEquals +
                                              "\n    " + badName + "\n    a = 1\n  end\n");
    ASSERT_NE(project, nullptr);
    EXPECT_EQ(int(error), int(kxErrSyntax));
    error.reset();
    const std::string messages = capture.Messages();
    EXPECT_NE(messages.find("Missing equals in variable definition: " + noEquals.substr(0, 400) +
                            "...   required format"),
              std::string::npos);
    EXPECT_NE(messages.find("Invalid variable name " + std::string(400, '9') +
                            "\n   in variable definition: " + std::string(400, '9') + "..."),
              std::string::npos);
    EXPECT_DOUBLE_EQ(Value(project, "a").real(), 1.0);
}

TEST_F(KXVariablesNodeTest, OtherVersionsAreRefusedWhole)
{
    kxOutputCapture capture;
    kxProject *project = Open("v11.txt", "  begin <kxVariablesTB(1.1)> \"v\"\n    a = 1\n  end\n");
    ASSERT_NE(project, nullptr);
    error.reset();
    EXPECT_NE(capture.Messages().find("Unsupported version in block beginning: begin "
                                      "<kxVariablesTB(1.1)> \"v\"   current version: 1.0\n"),
              std::string::npos);
    EXPECT_EQ(project->GetNameSpace()->GetVariableByName("a"), nullptr);
    ASSERT_NE(Node(project, "v"), nullptr);
    EXPECT_EQ(Node(project, "v")->GetNumVariables(), 0);
}

TEST_F(KXVariablesNodeTest, SettingRemovingAndDeletingChangeTheNamespace)
{
    kxProject *project =
        Open("set.txt", "  begin <kxVariablesTB(1.0)> \"v\"\n    a = 1\n  end\n"
                        "  begin <kxVariablesTB(1.0)> \"w\"\n    b = a*10\n  end\n");
    ASSERT_NE(project, nullptr) << error.chars();
    kxVariablesNode *v = Node(project, "v");
    kxVariablesNode *w = Node(project, "w");
    ASSERT_TRUE(v->SetVariable("c", "b + 1"));
    EXPECT_EQ(v->GetNumVariables(), 2);
    EXPECT_DOUBLE_EQ(Value(project, "c").real(), 11.0);
    EXPECT_FALSE(v->SetVariable("b", "3"));
    EXPECT_STREQ(error.chars(), "variable b belongs to another node\n");
    error.reset();
    EXPECT_FALSE(v->SetVariable("bad name", "3"));
    error.reset();
    EXPECT_EQ(v->GetNumVariables(), 2);

    ASSERT_TRUE(v->RemoveVariable("a"));
    EXPECT_EQ(project->GetNameSpace()->GetVariableByName("a"), nullptr);
    EXPECT_EQ(v->GetNumVariables(), 1);
    EXPECT_FALSE(v->RemoveVariable("b"));
    error.reset();

    // The commands give the definitions as the save writes them, plain values included.
    ASSERT_TRUE(v->SetVariable("d", "1.55"));
    KXString result;
    List<KXString> args;
    args.append("d");
    ASSERT_TRUE(v->getPublishedElt("getexpression").Call(args, result)) << error.chars();
    EXPECT_EQ(result, "1.55");
    ASSERT_TRUE(v->getPublishedElt("listvariables").Call(List<KXString>(), result));
    EXPECT_EQ(result, "c = b + 1\nd = 1.55\n");
    ASSERT_TRUE(v->RemoveVariable("d"));

    ASSERT_TRUE(w->Delete());
    EXPECT_EQ(project->GetNameSpace()->GetVariableByName("b"), nullptr);
    EXPECT_EQ(Saved(project, "set2.txt"), "begin <kxProject(1.0)> \"P\"\n"
                                          "  begin <kxVariablesTB(1.0)> \"v\"\n"
                                          "    c = b + 1\n"
                                          "  end\n"
                                          "end\n");
}

TEST_F(KXVariablesNodeTest, NodesHoldMoreThan65536Variables)
{
    std::string body = "  begin <kxVariablesTB(1.0)> \"many\"\n";
    const int n = 70000;
    for (int i = 0; i < n; ++i)
        body += "    m" + std::to_string(i) + " = " + std::to_string(i) + "\n";
    body += "    last = m69999 + 1\n  end\n";
    kxProject *project = Open("many.txt", body);
    ASSERT_NE(project, nullptr) << error.chars();
    kxVariablesNode *node = Node(project, "many");
    ASSERT_EQ(node->GetNumVariables(), n + 1);
    EXPECT_EQ(node->GetVariable(n)->GetName(), "last");
    EXPECT_DOUBLE_EQ(Value(project, "last").real(), 70000.0);
}

TEST(KXVariablesLineTest, SplitsAtTheFirstEqualsBeforeAComment)
{
    KXString name, expression;
    ASSERT_TRUE(kxSplitVariableLine("  a = 1 // b = 2\n", name, expression));
    EXPECT_EQ(name, "a");
    EXPECT_EQ(expression, "1");
    ASSERT_TRUE(kxSplitVariableLine("x=y==z\r\n", name, expression));
    EXPECT_EQ(name, "x");
    EXPECT_EQ(expression, "y==z");
    EXPECT_FALSE(kxSplitVariableLine("a // = 1", name, expression));
    ASSERT_TRUE(kxSplitVariableLine("=", name, expression));
    EXPECT_EQ(name, "");
    EXPECT_EQ(expression, "");
}
