// Tests of the headless application object: the command root "app" over the open projects,
// the server it owns and where Python scripts find the client package.
#include "kx/app/kxappBase.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include <unistd.h>

#include "kx/foundation/kxerror.h"

namespace {

std::string TempPath(const char *name)
{
    return std::string(::testing::TempDir()) + "kxapp_" + std::to_string(getpid()) + "_" + name;
}

std::string Output(kxCommandObject &commands, const char *text)
{
    EXPECT_TRUE(commands.Execute(text)) << text << "\n" << error.chars();
    error.reset();
    return commands.GetOutput().c_str();
}

} // namespace

TEST(kxAppBaseTest, IsTheCommandRootOverTheOpenProjects)
{
    InitialiseKXUtils(
        "test", KXString("kxtest"), 1, nullptr, nullptr, nullptr, [](int, const char *) {},
        nullptr);
    error.reset();
    kxAppBase app;
    kxCommandObject &commands = *app.getCommandObj();
    EXPECT_EQ(commands.GetApp(), &app);
    EXPECT_EQ(Output(commands, "app.numsubnodes()"), "0\n");
    EXPECT_EQ(Output(commands, "app.version"), "kxtest 1\n");

    const std::string a = TempPath("a.kxp"), b = TempPath("b.kxp");
    std::ofstream(a) << "begin <kxProject(1.0)> \"Alpha\"\nend\n";
    std::ofstream(b) << "begin <kxProject(1.0)> \"Beta\"\nend\n";
    ASSERT_TRUE(app.OpenProject(a.c_str())) << error.chars();
    EXPECT_EQ(Output(commands, ("app.openproject(\"" + b + "\")").c_str()), "");
    EXPECT_EQ(app.getProjectManager()->ProjectCount(), 2);
    EXPECT_EQ(Output(commands, "app.numsubnodes()"), "2\n");
    EXPECT_EQ(Output(commands, "app.subnodes[2].nodename()"), "Beta\n");
    EXPECT_EQ(Output(commands, "app.subnodes[\"Alpha\"].filename"), a + "\n");
    EXPECT_EQ(Output(commands, "app.projectmanager.numsubnodes()"), "2\n");

    EXPECT_FALSE(commands.Execute("app.subnodes[3]"));
    EXPECT_EQ(int(error), kxErrOutOfRange);
    error.reset();
    EXPECT_FALSE(app.OpenProject(TempPath("missing.kxp").c_str()));
    EXPECT_NE(int(error), 0);
    error.reset();

    EXPECT_EQ(Output(commands, "app.closeall()"), "");
    EXPECT_EQ(app.getProjectManager()->ProjectCount(), 0);
    std::remove(a.c_str());
    std::remove(b.c_str());
}

TEST(kxAppBaseTest, OwnsTheServerAndFindsTheClientPackage)
{
    char pattern[] = "/tmp/kxappbase_test_XXXXXX";
    const std::string runtime = mkdtemp(pattern);
    setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
    std::string file;
    {
        kxAppBase app;
        ASSERT_TRUE(app.StartServer(0)) << error.chars();
        file = app.getCommandServer().GetConnectionFile();
        EXPECT_EQ(access(file.c_str(), F_OK), 0);
        EXPECT_TRUE(app.getCommandObj()->HasScriptRunner());
    }
    EXPECT_NE(access(file.c_str(), F_OK), 0); // gone with the application

    setenv("KX_PYTHONPATH", "/somewhere/else", 1);
    EXPECT_EQ(kxAppBase::FindClientPath(), "/somewhere/else");
    unsetenv("KX_PYTHONPATH");
    const std::string found = kxAppBase::FindClientPath();
    EXPECT_EQ(access((found + "/kxclient/__init__.py").c_str(), R_OK), 0) << found;
    std::string command = "rm -rf " + runtime;
    EXPECT_EQ(system(command.c_str()), 0);
}
