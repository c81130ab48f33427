// End-to-end tests of the application with the standard node types: script nodes run for real
// through the command object (command language with parameters, and Python talking back over
// the command server), and the bundled example project with the crosssection plug-in: it
// loads, its sweep prints the expected table, and saving it reproduces the file.
#include "kx/app/kxappBase.h"

#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/graph/qvchart.h"
#include "kx/project/kxscriptnode.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

// The sweep draws a chart: fontconfig (under Cairo's text) keeps a font pattern for the life of
// the process, which the leak check of sanitizer builds is told is fontconfig's.
extern "C" const char *__lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }

namespace {

std::string ReadText(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

/// The text without the lines that change from one save (or machine) to the next: the save
/// time and the system's version and memory.
std::string WithoutVaryingLines(const std::string &text)
{
    std::istringstream in(text);
    std::string line, out;
    while (std::getline(in, line))
        if (line.find("// savedate(") == std::string::npos &&
            line.find("// windowsversion") == std::string::npos)
            out += line + "\n";
    return out;
}

class KXExampleTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        error.reset();
        char pattern[] = "/tmp/kxexampleXXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
    }
    void TearDown() override
    {
        unsetenv("KX_PLUGIN_DIR");
        error.reset();
        std::system(("rm -rf " + dir).c_str());
    }
    /// Writes a project "P" with the given body and opens it in `app`.
    kxProjectNode *Open(kxAppBase &app, const std::string &body)
    {
        const std::string path = dir + "/p.txt";
        std::ofstream(path) << "begin <kxProject(1.0)> \"P\"\n" << body << "end\n";
        if (!app.OpenProject(path.c_str()))
            return nullptr;
        return app.getProjectManager()->FindNode("P");
    }
    std::complex<double> Value(kxProjectNode *project, const char *name)
    {
        kxNamedVariable *variable = project->GetNameSpace()->GetVariableByName(name);
        return variable ? variable->GetValue() : std::complex<double>(-999.0, 0.0);
    }
    std::string dir;
};

} // namespace

TEST_F(KXExampleTest, CommandScriptNodeRunsWithItsParametersAndSeesItsProject)
{
    kxAppBase app;
    kxProjectNode *project = Open(app, "  begin <kxVariablesTB(1.0)> \"v\"\n"
                                       "    x = 1\n"
                                       "  end\n"
                                       "  begin <scriptTB(1.0)> \"s\"\n"
                                       "    0 //script language\n"
                                       "    PARAMETER = 21\n"
                                       "    PARAMETER = word\n"
                                       "    >print {nargs} {arg1} {arg2}\n"
                                       "    >.subnodes[\"v\"].setvariable(y, {arg1}*x*2)\n"
                                       "    >print {y}\n"
                                       "  end\n"
                                       "  begin <scriptTB(1.0)> \"bad\"\n"
                                       "    0 //script language\n"
                                       "    >nosuch.thing = 1\n"
                                       "  end\n");
    ASSERT_NE(project, nullptr) << error.chars();
    kxCommandObject &commands = *app.getCommandObj();
    KXObject *const current = commands.GetCurrentObject();
    auto *script = dynamic_cast<kxScriptNode *>(project->FindNode("s"));
    ASSERT_NE(script, nullptr);
    commands.ClearOutput();
    ASSERT_TRUE(script->RunScript()) << error.chars();
    EXPECT_EQ(commands.GetOutput(), "2 21 word\n42\n");
    EXPECT_DOUBLE_EQ(Value(project, "y").real(), 42.0);
    // The formula follows x: the script set the expression, not the number.
    ASSERT_TRUE(commands.Execute("app.subnodes[\"P\"].subnodes[\"v\"].setvariable(x, 2)"));
    EXPECT_DOUBLE_EQ(Value(project, "y").real(), 84.0);

    // Afterwards the console is where it was: the project's variables are not command
    // variables, and "." is the command root again.
    EXPECT_FALSE(commands.Execute("print {y}"));
    error.reset();
    EXPECT_EQ(commands.GetCurrentObject(), current);

    // Through the published command, and a failing script.
    ASSERT_TRUE(commands.Execute("app.subnodes[\"P\"].subnodes[\"s\"].runscript()"))
        << error.chars();
    auto *bad = dynamic_cast<kxScriptNode *>(project->FindNode("bad"));
    EXPECT_FALSE(bad->RunScript());
    EXPECT_EQ(int(error), 504);
    error.reset();
}

TEST_F(KXExampleTest, PythonScriptNodeTalksBackAndChangesAVariable)
{
    kxAppBase app;
    kxProjectNode *project =
        Open(app, "  begin <kxVariablesTB(1.0)> \"v\"\n"
                  "    x = 1\n"
                  "    y = x + 0.5\n"
                  "  end\n"
                  "  begin <scriptTB(1.0)> \"py\"\n"
                  "    1 //script language\n"
                  "    PARAMETER = 7\n"
                  "    >import sys\n"
                  "    >import kxclient\n"
                  "    >with kxclient.connect() as kx:\n"
                  "    >    before = float(kx.execute('.subnodes[\"v\"].getvalue(y)'))\n"
                  "    >    kx.execute('.subnodes[\"v\"].setvariable(x, %s)' % sys.argv[1])\n"
                  "    >    after = float(kx.execute('.subnodes[\"v\"].getvalue(y)'))\n"
                  "    >sys.exit(0 if (before, after) == (1.5, 7.5) else 3)\n"
                  "  end\n");
    ASSERT_NE(project, nullptr) << error.chars();
    auto *script = dynamic_cast<kxScriptNode *>(project->FindNode("py"));
    ASSERT_NE(script, nullptr);
    ASSERT_TRUE(script->RunScript()) << error.chars();
    EXPECT_DOUBLE_EQ(Value(project, "x").real(), 7.0);
    EXPECT_DOUBLE_EQ(Value(project, "y").real(), 7.5);
}

TEST_F(KXExampleTest, TheExampleLoadsPrintsItsTableAndSavesAsItWasRead)
{
    setenv("KX_PLUGIN_DIR", KX_BUILD_PLUGIN_DIR, 1);
    kxAppBase app;
    ASSERT_TRUE(app.LoadPlugins());
    ASSERT_FALSE(error) << error.chars();
    const std::string example = std::string(KX_EXAMPLES_DIR) + "/ridge_waveguide.txt";
    ASSERT_TRUE(app.OpenProject(example.c_str())) << error.chars();

    kxCommandObject &commands = *app.getCommandObj();
    // The sweep writes its chart into the working folder.
    char *cwd = getcwd(nullptr, 0);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    const bool ran = commands.Execute("app.subnodes[\"ridge\"].subnodes[\"sweep\"].runscript()");
    EXPECT_EQ(chdir(cwd), 0);
    free(cwd);
    ASSERT_TRUE(ran) << error.chars();
    EXPECT_EQ(std::string(commands.GetOutput().c_str()),
              ReadText(std::string(KX_TESTDATA_DIR) + "/ridge_sweep.golden"));
    EXPECT_EQ(ReadText(dir + "/ridge_sweep.png").substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(qvChartList::Global().Find("ridge_sweep"), nullptr); // deleted once written

    // The sweep put core_width back: the save gives the file as it was read.
    const std::string saved = dir + "/saved.txt";
    ASSERT_TRUE(commands.Execute(("app.subnodes[\"ridge\"].savetofile(" + saved + ")").c_str()))
        << error.chars();
    EXPECT_EQ(WithoutVaryingLines(ReadText(saved)), WithoutVaryingLines(ReadText(example)));

    // The cross-section's commands.
    const char *section = "app.subnodes[\"ridge\"].subnodes[\"section\"].";
    ASSERT_TRUE(commands.Execute((std::string(section) + "boundingbox(oxide)").c_str()));
    EXPECT_EQ(commands.GetLastResult().text, "-2.5 -1.875 2.5 1.875");
    ASSERT_TRUE(commands.Execute((std::string(section) + "contains(mode, 0.9, 0.1)").c_str()));
    EXPECT_EQ(commands.GetLastResult().number.real(), 1.0);
    ASSERT_TRUE(commands.Execute((std::string(section) + "contains(mode, 0.9, 0.3)").c_str()));
    EXPECT_EQ(commands.GetLastResult().number.real(), 0.0);
    ASSERT_TRUE(commands.Execute(
        (std::string(section) + "addshape(tri, \"POLYGON(0,0,\\\"core_width\\\",0,0,1)\")")
            .c_str()))
        << error.chars();
    ASSERT_TRUE(commands.Execute((std::string(section) + "area(tri)").c_str()));
    EXPECT_DOUBLE_EQ(commands.GetLastResult().number.real(), 1.0);
    ASSERT_TRUE(commands.Execute((std::string(section) + "removeshape(tri)").c_str()));
    EXPECT_FALSE(commands.Execute((std::string(section) + "area(tri)").c_str()));
    EXPECT_NE(std::string(error.chars()).find("no shape named \"tri\""), std::string::npos);
    error.reset();
    ASSERT_TRUE(commands.Execute((std::string(section) + "numshapes()").c_str()));
    EXPECT_EQ(commands.GetLastResult().number.real(), 5.0);
}
