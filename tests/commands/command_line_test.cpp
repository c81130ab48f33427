// Tests of the command language on a small tree of test objects: paths and indexing, assignment
// through each published kind, calls, substitution, set / for / if, error texts, switches,
// scripts, completion and the typed result of the last statement.
#include "kx/commands/command_line.h"

#include "geometry/kxshapeutil.h"
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/expressions/kxparameter.h"
#include "kx/foundation/kxerror.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxprojman.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <deque>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

/// A node of the test tree: one variable of every built-in kind, a formula parameter, a
/// read-only value, functions, and children published as "subnodes".
class tstNode : public KXObject {
public:
    static kxClassInfo ms_classInfo;
    const kxClassInfo *getClassInfo() const override { return &ms_classInfo; }

    explicit tstNode(const char *name, kxNameSpace *ns = nullptr) : name_(name)
    {
        SetNameSpace(ns);
    }

    tstNode &Add(const char *name)
    {
        kids.push_back(std::make_unique<tstNode>(name, GetNameSpace()));
        return *kids.back();
    }

    void OnPublish() override
    {
        KXObject::OnPublish();
        PublishVar("flag", flag, "a bool");
        PublishVar("letter", letter, "a char");
        PublishVar("small", small, "a short");
        PublishVar("n", n, "an int");
        PublishVar("f", f, "a float");
        PublishVar("x", x, "a double");
        PublishVar("z", z, "a complex");
        PublishVar("buf", buf, int(sizeof buf), "a char array");
        PublishVar("label", label, "a text");
        PublishVar("fixed", fixed, "read-only", kxPublishReadOnly);
        kxPublishParam(*this, "w", w, "a formula parameter");
        PublishFunc(
            "nodename",
            [this](const List<KXString> &, KXString &r) {
                r = name_.c_str();
                return true;
            },
            "(): get name of the node");
        PublishFunc(
            "join",
            [this](const List<KXString> &args, KXString &r) {
                ++calls;
                std::string joined;
                for (int i = 1; i <= args.size(); ++i)
                    joined += (i > 1 ? "|" : "") + std::string(args[i].c_str());
                r = joined.c_str();
                return true;
            },
            "(a, b, ...): join the arguments with |");
        PublishFunc(
            "count",
            [this](const List<KXString> &, KXString &r) {
                r = numtoA(int(kids.size()));
                return true;
            },
            "(): number of children");
        PublishFunc(
            "fail",
            [](const List<KXString> &, KXString &) {
                error.Raise(kxErrFile, "cannot do it\n");
                return false;
            },
            "(): always fails");
        PublishFunc(
            "state",
            [this](const List<KXString> &, KXString &r) {
                r = numtoA(owner ? owner->GetRunningState() : -1);
                return true;
            },
            "(): running state of the command object");
        PublishObj("subnodes", &subnodes, "the child nodes");
        PublishObj("items", &items, "the child nodes, unnamed");
    }

    std::string name_;
    bool flag = false;
    char letter = 'a';
    short small = 0;
    int n = 0;
    float f = 0;
    double x = 0;
    std::complex<double> z;
    char buf[8] = "abc";
    KXString label;
    double fixed = 7;
    kxParameter<double> w;
    int calls = 0;
    kxCommandObject *owner = nullptr;
    std::vector<std::unique_ptr<tstNode>> kids;

    /// A child list: publishes the children under their names (or unnamed).
    class Children : public KXObject {
    public:
        Children(tstNode &owner, bool named) : owner_(owner), named_(named) {}
        void OnPublish() override
        {
            for (auto &k : owner_.kids)
                PublishObj(named_ ? k->name_.c_str() : "", k.get(), "");
        }

    private:
        tstNode &owner_;
        bool named_;
    };
    Children subnodes{*this, true};
    Children items{*this, false};
};
kxClassInfo tstNode::ms_classInfo("tstNode", &KXObject::ms_classInfo, nullptr, nullptr);

std::deque<bool> g_answers;
std::vector<std::string> g_questions;
bool Choose(int, const char *message)
{
    g_questions.push_back(message);
    if (g_answers.empty())
        return true;
    const bool a = g_answers.front();
    g_answers.pop_front();
    return a;
}

std::string TempPath(const char *name)
{
    return std::string(::testing::TempDir()) + "kxcmd_" + std::to_string(getpid()) + "_" + name;
}

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

class kxCommandObjectTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        InitialiseKXUtils(
            "test", KXString("kxtest"), 1, nullptr, nullptr, &Choose, [](int, const char *) {},
            nullptr);
        g_answers.clear();
        g_questions.clear();
        error.reset();
        Define("a", "3");
        tstNode &p1 = app.Add("proj1");
        p1.Add("ridge").x = 1.5;
        p1.Add("slab").x = 2.5;
        p1.Add("core");
        app.Add("proj2");
        p1.kids[0]->owner = &cmd;
    }
    void TearDown() override { error.reset(); }

    void Define(const char *name, const char *value)
    {
        auto *v = new kxNamedVariable(&projectNs);
        v->SetName(name);
        v->SetValueOrExpression(value);
    }
    /// Runs a command that must succeed and returns its output.
    std::string Run(const char *text)
    {
        const bool ok = cmd.Execute(text);
        EXPECT_TRUE(ok) << text << "\n" << error.chars();
        return cmd.GetOutput().c_str();
    }
    /// Runs a command that must fail and returns the error text (the error is cleared).
    std::string Fail(const char *text, int code)
    {
        EXPECT_FALSE(cmd.Execute(text)) << text;
        EXPECT_EQ(int(error), code) << text << "\n" << error.chars();
        std::string message = error.chars();
        error.reset();
        return message;
    }
    tstNode &Ridge() { return *app.kids[0]->kids[0]; }

    kxNameSpace projectNs;
    tstNode app{"app", &projectNs};
    kxCommandObject cmd{&app};
};

TEST_F(kxCommandObjectTest, PathsAndIndexing)
{
    EXPECT_EQ(Run("app.subnodes[1].subnodes[1].x"), "1.5\n");
    EXPECT_EQ(Run("app.subnodes[1].subnodes[\"slab\"].x"), "2.5\n");
    EXPECT_EQ(Run("set k = 1; app.subnodes[k].subnodes[k+1].x"), "2.5\n");
    EXPECT_EQ(Run("app.subnodes.proj1.subnodes.slab.x"), "2.5\n");
    // A list publishing its items unnamed: by position, and by the items' own "nodename".
    EXPECT_EQ(Run("app.subnodes[1].items[3].nodename()"), "core\n");
    EXPECT_EQ(Run("app.subnodes[1].items[\"slab\"].x"), "2.5\n");
    EXPECT_EQ(Run("app.subnodes[2].nodename()"), "proj2\n");
    // A member listing names each member once, in publication order.
    const std::string listing = Run("app.subnodes[1]");
    EXPECT_LT(listing.find("objtype"), listing.find("flag"));
    EXPECT_LT(listing.find("flag"), listing.find("nodename"));
    EXPECT_NE(listing.find("subnodes"), std::string::npos);
    EXPECT_NE(listing.find("the child nodes"), std::string::npos);
    EXPECT_NE(listing.find("a formula parameter"), std::string::npos);
    EXPECT_EQ(cmd.GetLastResult().type, kxCmdObject);
    EXPECT_EQ(cmd.GetLastResult().object, app.kids[0].get());
    EXPECT_EQ(Run("app.subnodes[1].subnodes"),
              "ridge  object tstNode\nslab   object tstNode\ncore   object tstNode\n");
    // A function's help.
    EXPECT_EQ(Run("app.subnodes[1].nodename"), "nodename(): get name of the node\n");
    // cd / pwd and paths starting at the current object.
    EXPECT_EQ(Run("cd app.subnodes[1]; pwd; .subnodes[2].x"), "app.subnodes[1]\n2.5\n");
    EXPECT_EQ(Run("cd .subnodes[\"core\"]; pwd; .nodename()"),
              "app.subnodes[1].subnodes[\"core\"]\ncore\n");
    EXPECT_EQ(cmd.GetCurrentObject(), app.kids[0]->kids[2].get());
    EXPECT_EQ(Run("cd; pwd"), "\n");
    cmd.SetCurrentObject(&Ridge());
    EXPECT_EQ(Run(".x = 4; .x"), "4\n");
    EXPECT_EQ(Ridge().x, 4);
    // The root's own members and the command variables.
    EXPECT_EQ(Run("stopOnError"), "1\n");
    EXPECT_EQ(Run("set q = 2; q"), "2\n");
}

TEST_F(kxCommandObjectTest, AssignmentThroughEachKind)
{
    Run("cd app.subnodes[1].subnodes[1]");
    Run(".flag = true; .letter = q; .small = -12; .n = 42; .f = 0.5; .x = 0.125");
    Run(".z = (1, -2); .buf = \"xyz\"; .label = \"a \\\"quoted\\\" text\"");
    tstNode &r = Ridge();
    EXPECT_TRUE(r.flag);
    EXPECT_EQ(r.letter, 'q');
    EXPECT_EQ(r.small, -12);
    EXPECT_EQ(r.n, 42);
    EXPECT_EQ(r.f, 0.5f);
    EXPECT_EQ(r.x, 0.125);
    EXPECT_EQ(r.z, std::complex<double>(1, -2));
    EXPECT_STREQ(r.buf, "xyz");
    EXPECT_STREQ(r.label.c_str(), "a \"quoted\" text");
    // A formula parameter takes the formula, bound in the owner's namespace.
    Run(".w = 2*a + 1");
    EXPECT_TRUE(r.w.HasExpression());
    EXPECT_EQ(double(r.w), 7.0);
    projectNs.GetVariableByName("a")->SetValue(std::complex<double>(10, 0));
    EXPECT_EQ(double(r.w), 21.0);
    EXPECT_EQ(Run(".w"), "2*a + 1\n");
    // {} substitution happens before the value is given to the kind.
    Run("set s = 4; .n = {s*s}; .label = width {s/8} um");
    EXPECT_EQ(r.n, 16);
    EXPECT_STREQ(r.label.c_str(), "width 0.5 um");
    // Refusals leave the member unchanged.
    EXPECT_NE(Fail(".n = 2.5x", 1).find("does not accept \"2.5x\""), std::string::npos);
    EXPECT_EQ(r.n, 16);
    EXPECT_NE(Fail(".buf = \"far too long\"", 1).find("does not accept"), std::string::npos);
    EXPECT_STREQ(r.buf, "xyz");
    EXPECT_NE(Fail(".small = 40000", 1).find("small"), std::string::npos);
    EXPECT_NE(Fail(".fixed = 3", 1).find("read-only"), std::string::npos);
    EXPECT_EQ(r.fixed, 7);
    EXPECT_NE(Fail(".objtype = x", 1).find("read-only"), std::string::npos);
    EXPECT_NE(Fail(".nodename = x", 1).find("is not a variable"), std::string::npos);
}

TEST_F(kxCommandObjectTest, CallsAndSubstitution)
{
    Run("cd app.subnodes[1].subnodes[1]");
    EXPECT_EQ(Run(".join( a , \"b, c\" , {1+2}, \"{2*2}\" )"), "a|b, c|3|4\n");
    EXPECT_EQ(Run(".join()"), ""); // an empty result prints nothing
    EXPECT_EQ(Ridge().calls, 2);
    EXPECT_EQ(Run(".join(\"x \\\\ y\", (1, 2))"), "x \\ y|(1, 2)\n");
    // The project's variables are not those of the command namespace.
    EXPECT_NE(Fail("print {a}", kxErrSyntax).find("undefined variable \"a\""), std::string::npos);
    EXPECT_EQ(Run("set a = 3; print value \\{a} is {a}"), "value {a} is 3\n");
    // A function's own error keeps its code and gains the command.
    const std::string message = Fail(".fail()", kxErrFile);
    EXPECT_NE(message.find("cannot do it\n"), std::string::npos);
    EXPECT_NE(message.find("in command: .fail()\n"), std::string::npos);
    EXPECT_NE(Fail(".x(1)", 1).find("is not a function"), std::string::npos);
    EXPECT_NE(Fail(".join(1) 2", kxErrSyntax).find("after the call"), std::string::npos);
}

TEST_F(kxCommandObjectTest, SetForIfAndArguments)
{
    EXPECT_EQ(Run("set s = 0\nfor i = 1, 4\n  set s = s + i\nend\nprint {s}"), "10\n");
    EXPECT_EQ(Run("for i = 3, 1, -1; print {i}; end"), "3\n2\n1\n");
    EXPECT_EQ(Run("for i = 0, 1, 0.25; print {i}; end"), "0\n0.25\n0.5\n0.75\n1\n");
    EXPECT_EQ(Run("for i = 2, 1; print never; end"), "");
    EXPECT_EQ(Run("set t = 2\nif t > 1\n print big\nelse\n print small\nend"), "big\n");
    EXPECT_EQ(Run("if t < 1; print big; else; print small; end"), "small\n");
    EXPECT_EQ(Run("if 0; print a; end; print b"), "b\n");
    // Nested blocks, and a loop writing into the tree.
    Run("for i = 1, 3\n if i == 2\n app.subnodes[1].subnodes[i].n = {10*i}\n end\nend");
    EXPECT_EQ(app.kids[0]->kids[1]->n, 20);
    EXPECT_EQ(app.kids[0]->kids[0]->n, 0);
    // Complex values.
    EXPECT_EQ(Run("set c = sqrt(-4); print {c}"), "(0, 2)\n");
    // Substituted values read back to the same double, in as few digits as that takes.
    EXPECT_EQ(Run("print {0.1} {1/3} {2**0.5}"), "0.1 0.3333333333333333 1.4142135623730951\n");
    EXPECT_EQ(Fail("for i = 1, 2, 0; end", 1).find("step is zero") != std::string::npos, true);
    // Script arguments: numbers are values, other words texts.
    ASSERT_TRUE(cmd.RunScript(0, "print {nargs} {arg1*2} {arg2}", "21 \"file name.txt\" "));
    EXPECT_EQ(std::string(cmd.GetOutput().c_str()), "2 42 file name.txt\n");
    ASSERT_TRUE(cmd.RunScript(0, "print {nargs}", ""));
    EXPECT_EQ(std::string(cmd.GetOutput().c_str()), "0\n");
    EXPECT_NE(Fail("print {arg1}", kxErrSyntax).find("undefined variable \"arg1\""),
              std::string::npos);
    EXPECT_FALSE(cmd.ExitRequested());
    EXPECT_EQ(Run("print before; exit; print after"), "before\n");
    EXPECT_TRUE(cmd.ExitRequested());
}

TEST_F(kxCommandObjectTest, ErrorTexts)
{
    std::string m = Fail("app.subnodes[1].subnode[2].x", kxErrSyntax);
    EXPECT_NE(m.find("\"subnode\" not found in app.subnodes[1]\n"), std::string::npos) << m;
    EXPECT_NE(m.find("nearest published names: subnodes"), std::string::npos) << m;
    EXPECT_NE(m.find("in command: app.subnodes[1].subnode[2].x\n"), std::string::npos) << m;
    // A name that begins like the one asked for ranks first.
    m = Fail("app.subnodes[1].lab", kxErrSyntax);
    EXPECT_NE(m.find("nearest published names: label, flag, "), std::string::npos) << m;
    m = Fail("aap.x", kxErrSyntax);
    EXPECT_NE(m.find("\"aap\" not found in the command root\nnearest published names: app"),
              std::string::npos)
        << m;
    m = Fail("app.subnodes[7]", kxErrOutOfRange);
    EXPECT_NE(m.find("index 7 out of range (1 to 2) in app.subnodes"), std::string::npos) << m;
    m = Fail("app.subnodes[1].subnodes[\"rib\"]", kxErrSyntax);
    EXPECT_NE(m.find("no child named \"rib\""), std::string::npos) << m;
    m = Fail("app.subnodes[1].x.y", kxErrSyntax);
    EXPECT_NE(m.find("app.subnodes[1].x is not an object"), std::string::npos) << m;
    m = Fail("print ok\n\n  app.nothing = 1\nprint never", kxErrSyntax);
    EXPECT_NE(m.find("at line 3\n"), std::string::npos) << m;
    EXPECT_EQ(std::string(cmd.GetOutput().c_str()), "ok\n");
    EXPECT_NE(Fail("for i = 1, 2\nprint x", kxErrSyntax)
                  .find("missing \"end\" of the for block starting at line 1"),
              std::string::npos);
    EXPECT_NE(Fail("print x\nend", kxErrSyntax).find("\"end\" without for or if\nat line 2"),
              std::string::npos);
    EXPECT_NE(Fail("for i = 1, 2; else; end", kxErrSyntax).find("\"else\" without if"),
              std::string::npos);
    EXPECT_NE(Fail("print \"open", kxErrSyntax).find("missing closing quote"), std::string::npos);
    EXPECT_NE(Fail("app.x)", kxErrSyntax).find("unbalanced brackets"), std::string::npos);
    EXPECT_NE(Fail("3 + 4", kxErrSyntax).find("not a command: 3 + 4"), std::string::npos);
    EXPECT_NE(Fail("set 1x = 2", kxErrSyntax).find("invalid variable name"), std::string::npos);
    EXPECT_NE(Fail("if ; end", kxErrSyntax).find("empty formula"), std::string::npos);
    EXPECT_NE(Fail("set y = 1/", kxErrSyntax).find("in command: set y = 1/"), std::string::npos);
    // Line numbers of a command file name the file.
    const std::string file = TempPath("bad.cmd");
    std::ofstream(file) << "// header\nprint one\napp.missing\n";
    EXPECT_FALSE(cmd.Runfromfile(file.c_str()));
    EXPECT_NE(std::string(error.chars()).find("at line 3 of " + file), std::string::npos)
        << error.chars();
    error.reset();
    std::remove(file.c_str());
    EXPECT_FALSE(cmd.Runfromfile(file.c_str()));
    EXPECT_EQ(int(error), kxErrFile);
    EXPECT_NE(std::string(error.chars()).find("could not open file:\n"), std::string::npos);
}

TEST_F(kxCommandObjectTest, Switches)
{
    // stopOnError cleared: errors are printed and execution goes on; the first error is kept.
    Run("stopOnError = 0");
    EXPECT_FALSE(cmd.GetSwitch(kxCmdStopOnError));
    EXPECT_FALSE(cmd.Execute("print 1; app.bad; print 2; app.subnodes[9]; print 3"));
    EXPECT_EQ(int(error), kxErrSyntax);
    EXPECT_NE(std::string(error.chars()).find("\"bad\""), std::string::npos);
    const std::string out = cmd.GetOutput().c_str();
    EXPECT_EQ(out.substr(0, 2), "1\n");
    EXPECT_NE(out.find("ERROR 504"), std::string::npos);
    EXPECT_NE(out.find("ERROR 4101"), std::string::npos);
    EXPECT_NE(out.find("\n3\n"), std::string::npos);
    error.reset();
    // pauseOnError asks; yes goes on, no stops.
    ASSERT_TRUE(cmd.SetSwitch(kxCmdStopOnError, true));
    ASSERT_TRUE(cmd.SetSwitch(kxCmdPauseOnError, true));
    g_answers = {true, false};
    EXPECT_FALSE(cmd.Execute("app.bad1; print 2; app.bad2; print 3"));
    EXPECT_EQ(std::string(cmd.GetOutput().c_str()).find("\n3\n"), std::string::npos);
    ASSERT_EQ(g_questions.size(), 2u);
    EXPECT_NE(g_questions[0].find("\"bad1\" not found"), std::string::npos);
    EXPECT_NE(g_questions[0].find("continue?"), std::string::npos);
    EXPECT_NE(std::string(error.chars()).find("bad2"), std::string::npos);
    error.reset();
    cmd.SetSwitch(kxCmdPauseOnError, false);
    // stepByStep asks before each statement; no is a user abort.
    g_questions.clear();
    cmd.SetSwitch(kxCmdStepByStep, true);
    g_answers = {true, true, false};
    EXPECT_FALSE(cmd.Execute("print a; print b; print c"));
    EXPECT_EQ(int(error), kxErrUserAbort);
    EXPECT_EQ(std::string(cmd.GetOutput().c_str()), "a\nb\n");
    ASSERT_EQ(g_questions.size(), 3u);
    EXPECT_EQ(g_questions[2], "execute command:\nprint c");
    cmd.SetSwitch(kxCmdStepByStep, false);
    error.reset();
    EXPECT_FALSE(cmd.SetSwitch("noSuchSwitch", true));
    // enableRecord: each top-level statement (a block whole) goes to the command log.
    const std::string log = TempPath("cmd.log");
    const std::string outLog = TempPath("out.log");
    std::remove(log.c_str());
    std::remove(outLog.c_str());
    cmd.SetCommandLogFile(log.c_str());
    cmd.SetOutputLogFile(outLog.c_str());
    Run("enableRecord = 1");
    Run("print r1; for i = 1, 2\nprint {i}\nend");
    cmd.SetSwitch(kxCmdEnableRecord, false);
    Run("print not recorded");
    EXPECT_EQ(ReadFile(log), "print r1\nfor i = 1, 2\nprint {i}\nend\n");
    EXPECT_EQ(ReadFile(outLog), "r1\n1\n2\nnot recorded\n");
    // Running the command log while recording asks first; no runs nothing.
    cmd.SetSwitch(kxCmdEnableRecord, true);
    g_questions.clear();
    g_answers = {false};
    EXPECT_FALSE(cmd.Runfromfile(log.c_str()));
    ASSERT_EQ(g_questions.size(), 1u);
    EXPECT_EQ(g_questions[0],
              "batch file is also the COMMAND log file\nthis will be overwitten. Continue?");
    error.reset();
    g_answers = {true};
    EXPECT_TRUE(cmd.Runfromfile(log.c_str())) << error.chars();
    EXPECT_EQ(std::string(cmd.GetOutput().c_str()), "r1\n1\n2\n");
    EXPECT_EQ(ReadFile(log), ""); // overwritten, and file commands are not recorded
    std::remove(log.c_str());
    std::remove(outLog.c_str());
}

TEST_F(kxCommandObjectTest, ScriptsAndRunningState)
{
    EXPECT_EQ(cmd.GetRunningState(), kxCmdIdle);
    EXPECT_EQ(Run("app.subnodes[1].subnodes[1].state()"), "1\n");
    ASSERT_TRUE(cmd.RunScript(0, "app.subnodes[1].subnodes[1].state()", ""));
    EXPECT_EQ(std::string(cmd.GetOutput().c_str()), "2\n");
    EXPECT_EQ(cmd.GetRunningState(), kxCmdIdle);
    // Python goes to the runner with a temporary file holding the text.
    EXPECT_FALSE(cmd.RunScript(1, "print(1)", ""));
    EXPECT_NE(std::string(error.chars()).find("unable to run python script\n"), std::string::npos);
    error.reset();
    std::string seenText, seenArgs;
    int seenState = -1;
    cmd.SetScriptRunner([&](const char *file, const char *args) {
        seenText = ReadFile(file);
        seenArgs = args;
        seenState = cmd.GetRunningState();
        return true;
    });
    ASSERT_TRUE(cmd.RunScript(1, "import kxclient\n", "1 2 "));
    EXPECT_EQ(seenText, "import kxclient\n");
    EXPECT_EQ(seenArgs, "1 2 ");
    EXPECT_EQ(seenState, kxCmdScript);
    EXPECT_FALSE(cmd.RunScript(5, "", ""));
    EXPECT_STREQ(error.chars(), "unknown language type\n");
    error.reset();
    // A ".py" file goes to the runner as it is; a command file runs with its arguments.
    ASSERT_TRUE(cmd.Runfromfile("/somewhere/script.py", "a"));
    EXPECT_EQ(seenArgs, "a");
    // Commands sent back while a script started by a command runs are top-level runs.
    std::vector<std::string> served;
    cmd.SetScriptRunner([&](const char *, const char *) {
        const bool ok = cmd.Execute("print inner");
        served.push_back(ok ? cmd.GetOutput().c_str() : "failed");
        served.push_back(cmd.Execute("app.missing") ? "ok" : std::to_string(int(error)));
        return true;
    });
    EXPECT_EQ(Run("print before; runfile(\"/x/s.py\"); print after"), "before\nafter\n");
    EXPECT_EQ(served, std::vector<std::string>({"inner\n", "504"}));
    const std::string file = TempPath("args.cmd");
    std::ofstream(file) << "print {arg1 + arg2}\napp.subnodes[1].subnodes[1].x = {arg2}\n";
    EXPECT_TRUE(cmd.Execute(("runfile(\"" + file + "\", \"1 2\")").c_str())) << error.chars();
    EXPECT_EQ(std::string(cmd.GetOutput().c_str()), "3\n");
    EXPECT_EQ(Ridge().x, 2);
    std::remove(file.c_str());
    // An exit in a command file ends its caller too.
    const std::string quit = TempPath("exit.cmd");
    std::ofstream(quit) << "print in\nexit\nprint no\n";
    EXPECT_EQ(Run(("runfile(\"" + quit + "\"); print after").c_str()), "in\n");
    EXPECT_TRUE(cmd.ExitRequested());
    EXPECT_EQ(Run("print again"), "again\n");
    EXPECT_FALSE(cmd.ExitRequested());
    std::remove(quit.c_str());
    // A command file that runs itself stops at the nesting limit; a statement limit ends
    // endless loops.
    const std::string self = TempPath("self.cmd");
    std::ofstream(self) << "runfile(\"" << self << "\")\n";
    EXPECT_FALSE(cmd.Runfromfile(self.c_str()));
    EXPECT_NE(std::string(error.chars()).find("command files nested too deeply"),
              std::string::npos);
    error.reset();
    std::remove(self.c_str());
    cmd.SetStatementLimit(50);
    EXPECT_FALSE(cmd.Execute("for i = 1, 1e300; set j = i; end"));
    EXPECT_EQ(int(error), kxErrUserAbort);
    EXPECT_STREQ(error.chars(), "statement limit reached\n");
    EXPECT_EQ(Run("set j = 0; for i = 1, 10; set j = j + i; end; j"), "55\n"); // counted per run
    error.reset();
    cmd.SetStatementLimit(0);
    // A stop request ends the run at the next statement.
    cmd.SetOutputHook([&](const char *text) {
        if (std::string(text) == "2\n")
            cmd.RequestStop();
    });
    EXPECT_FALSE(cmd.Execute("for i = 1, 100; print {i}; end"));
    EXPECT_EQ(int(error), kxErrUserAbort);
    EXPECT_EQ(std::string(cmd.GetOutput().c_str()), "1\n2\n");
}

TEST_F(kxCommandObjectTest, LastResultTypes)
{
    struct Case {
        const char *command;
        kxCmdValueType type;
        std::complex<double> number;
        const char *text;
    };
    Ridge().z = {1, 2};
    Ridge().label = "hello";
    const Case cases[] = {
        {"app.subnodes[1].subnodes[1].x", kxCmdDouble, 1.5, nullptr},
        {"app.subnodes[1].subnodes[1].n", kxCmdInt, 0.0, nullptr},
        {"app.subnodes[1].subnodes[1].flag", kxCmdInt, 0.0, nullptr},
        {"app.subnodes[1].subnodes[1].z", kxCmdComplex, {1, 2}, nullptr},
        {"app.subnodes[1].subnodes[1].label", kxCmdText, 0.0, "hello"},
        {"app.subnodes[1].subnodes[1].objtype", kxCmdText, 0.0, "tstNode"},
        {"app.subnodes[1].count()", kxCmdInt, 3.0, nullptr},
        {"app.subnodes[1].nodename()", kxCmdText, 0.0, "proj1"},
        {"app.subnodes[1].join(2.5)", kxCmdDouble, 2.5, nullptr},
        {"app.subnodes[1].join(\"(1, -1)\")", kxCmdComplex, {1, -1}, nullptr},
        {"app.subnodes[1].join()", kxCmdNone, 0.0, nullptr},
        {"set v = 2/4", kxCmdDouble, 0.5, nullptr},
        {"set v = sqrt(-1)", kxCmdComplex, {0, 1}, nullptr},
        {"v", kxCmdComplex, {0, 1}, nullptr},
        {"print 12", kxCmdText, 12.0, "12"},
        {"app.subnodes[1].subnodes[1].x = 3", kxCmdNone, 0.0, nullptr},
        {"app", kxCmdObject, 0.0, "tstNode"},
    };
    for (const Case &c : cases) {
        Run(c.command);
        const kxCommandValue &r = cmd.GetLastResult();
        EXPECT_EQ(r.type, c.type) << c.command;
        if (c.type != kxCmdText && c.type != kxCmdObject) {
            EXPECT_EQ(r.number, c.number) << c.command;
        }
        if (c.text) {
            EXPECT_STREQ(r.text.c_str(), c.text) << c.command;
        }
    }
    EXPECT_STREQ(kxCommandValue::TypeName(kxCmdComplex), "complex");
}

TEST_F(kxCommandObjectTest, CompletionAndCompleteness)
{
    auto complete = [&](const char *text) {
        std::vector<std::string> out;
        for (const KXString &s : cmd.Complete(text, -1))
            out.push_back(s.c_str());
        return out;
    };
    using V = std::vector<std::string>;
    EXPECT_EQ(complete("app.sub"), V({"app.subnodes"}));
    EXPECT_EQ(
        complete("app.subnodes[1].subnodes[\"slab\"].f"),
        V({"app.subnodes[1].subnodes[\"slab\"].f", "app.subnodes[1].subnodes[\"slab\"].fail",
           "app.subnodes[1].subnodes[\"slab\"].fixed", "app.subnodes[1].subnodes[\"slab\"].flag"}));
    EXPECT_EQ(complete("print 1; ap"), V({"app"}));
    EXPECT_EQ(complete("pr"), V({"print"}));
    EXPECT_EQ(complete("x = pr"), V({})); // not at a statement's start: no keywords
    Run("set alpha = 1");
    EXPECT_EQ(complete("al"), V({"alpha"}));
    EXPECT_EQ(complete("app.nothing.x"), V({}));
    cmd.SetCurrentObject(&Ridge());
    EXPECT_EQ(complete(".l"), V({".label", ".letter"}));
    EXPECT_EQ(kxCommandObject::CompletionStart("x = app.subnodes[1].n", -1), 4);
    EXPECT_EQ(cmd.Complete("app.sub and more", 7).size(), 1u);
    // Completion and the completeness test leave a pending error as it is.
    error.Raise(kxErrFile, "pending\n");
    EXPECT_EQ(complete("app.nothing.x"), V({}));
    EXPECT_FALSE(kxCommandObject::IsComplete("print \"open"));
    EXPECT_EQ(int(error), kxErrFile);
    EXPECT_STREQ(error.chars(), "pending\n");
    error.reset();
    EXPECT_TRUE(kxCommandObject::IsComplete("print 1; app.x = 2"));
    EXPECT_FALSE(kxCommandObject::IsComplete("for i = 1, 3\n print {i}"));
    EXPECT_FALSE(kxCommandObject::IsComplete("if 1\n for i = 1, 2\n end"));
    EXPECT_TRUE(kxCommandObject::IsComplete("if 1\n for i = 1, 2\n end\nend"));
    EXPECT_FALSE(kxCommandObject::IsComplete("print \"open"));
    EXPECT_FALSE(kxCommandObject::IsComplete("app.join(1,"));
    EXPECT_TRUE(kxCommandObject::IsComplete("end")); // complete, though wrong
}

TEST_F(kxCommandObjectTest, HelpListsAndDescribes)
{
    const std::string all = Run("help");
    EXPECT_NE(all.find("for name = first, last[, step]"), std::string::npos);
    EXPECT_NE(all.find("runfile"), std::string::npos);
    EXPECT_NE(all.find("stopOnError"), std::string::npos);
    EXPECT_EQ(Run("help app.subnodes[1].x"), "x (double): a double\n0\n");
    EXPECT_EQ(Run("help app.subnodes[1].fixed"), "fixed (double, read-only): read-only\n7\n");
    EXPECT_EQ(Run("help app.subnodes[1].join"), "join(a, b, ...): join the arguments with |\n");
}

} // namespace

// ---------------------------------------------------------------------------------------------
// The language on a real project tree: the project manager as "app", projects and nodes as its
// subnodes.

class tstLayer : public kxProjectNode {
    KX_DECLARE_CLASS(tstLayer)
public:
    void OnPublish() override
    {
        kxProjectNode::OnPublish();
        PublishVar("x", x, "a double");
        kxPublishParam(*this, "width", width, "width of the layer");
    }
    double x = 0;
    kxParameter<double> width;
};
KX_IMPLEMENT_CLASS(tstLayer, kxProjectNode)

namespace {

kxProjectNodeInfoClass
    g_layerInfo({KX_CLASSINFO_OF(tstLayer), nullptr, {"tstLayerTB", 1, 0}, "Test layer", 0, ""});

class kxCommandObjectProjectTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        g_layerInfo.Register();
        error.reset();
        manager = std::make_unique<kxProjectManager>();
        cmd = std::make_unique<kxCommandObject>(manager.get());
    }
    void TearDown() override { error.reset(); }
    std::string Run(const char *text)
    {
        EXPECT_TRUE(cmd->Execute(text)) << text << "\n" << error.chars();
        return cmd->GetOutput().c_str();
    }
    std::unique_ptr<kxProjectManager> manager;
    std::unique_ptr<kxCommandObject> cmd;
};

TEST_F(kxCommandObjectProjectTest, PathsOnProjectNodes)
{
    Run("app.addsubnode(kxProject, P1)\n"
        "app.subnodes[1].addsubnode(tstLayerTB, ridge)\n"
        "app.subnodes[\"P1\"].addsubnode(tstLayerTB, slab)");
    ASSERT_EQ(manager->getNodeCount(), 1);
    kxProjectNode *project = manager->getNodes()[1];
    ASSERT_EQ(project->getNodeCount(), 2);
    auto *ridge = static_cast<tstLayer *>(project->getNodes()[1]);
    auto *slab = static_cast<tstLayer *>(project->getNodes()[2]);
    auto *h = new kxNamedVariable(project->GetNameSpace()); // owned by the namespace
    ASSERT_TRUE(h->SetName("h"));
    h->SetValue(std::complex<double>(0.5, 0));

    Run("app.subnodes[1].subnodes[\"ridge\"].x = 2.5; app.subnodes[1].subnodes[2].width = 4*h");
    EXPECT_EQ(ridge->x, 2.5);
    EXPECT_TRUE(slab->width.HasExpression());
    EXPECT_EQ(double(slab->width), 2.0);
    h->SetValue(std::complex<double>(2, 0));
    EXPECT_EQ(double(slab->width), 8.0);
    EXPECT_EQ(Run("app.subnodes[1].subnodes[2].nodename(); app.subnodes[1].numsubnodes()"),
              "slab\n2\n");
    EXPECT_EQ(cmd->GetLastResult().type, kxCmdInt);
    EXPECT_EQ(Run("app.subnodes.P1.subnodes.ridge.x"), "2.5\n");
    EXPECT_EQ(Run("cd app.subnodes[1].subnodes[\"slab\"]; .width"), "4*h\n");

    EXPECT_FALSE(cmd->Execute("app.subnodes[1].subnodes[3].x"));
    EXPECT_EQ(int(error), kxErrOutOfRange);
    EXPECT_NE(std::string(error.chars()).find("(1 to 2) in app.subnodes[1].subnodes"),
              std::string::npos);
    error.reset();

    std::vector<std::string> names;
    for (const KXString &s : cmd->Complete("app.subnodes[1].subnodes[1].wi", -1))
        names.push_back(s.c_str());
    EXPECT_EQ(names, std::vector<std::string>({"app.subnodes[1].subnodes[1].width"}));
    names.clear();
    for (const KXString &s : cmd->Complete("app.subnodes.P1.subnodes.s", -1))
        names.push_back(s.c_str());
    EXPECT_EQ(names, std::vector<std::string>({"app.subnodes.P1.subnodes.slab"}));
}

} // namespace
