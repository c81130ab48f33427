// Tests of the command object's executor for the server and of the Python script runner. The
// runner is driven with /bin/sh as its interpreter where only the process handling matters, and
// with python3 and the real client package for the round trip.
#include "kx/commands/kxscriptserver.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"

namespace {

std::vector<std::string> gQuestions;
bool gAnswer = false;
std::string gPrinted;

bool Choose(int, const char *message)
{
    gQuestions.push_back(message);
    return gAnswer;
}

void Print(int, const char *line) { gPrinted += line; }

std::string TempPath(const char *name)
{
    return std::string(::testing::TempDir()) + "kxscript_" + std::to_string(getpid()) + "_" + name;
}

std::string WriteScript(const char *name, const std::string &text)
{
    const std::string path = TempPath(name);
    std::ofstream(path) << text;
    return path;
}

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

class kxScriptServerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        InitialiseKXUtils("test", KXString("kxtest"), 1, nullptr, nullptr, &Choose, &Print,
                          nullptr);
        gQuestions.clear();
        gPrinted.clear();
        gAnswer = false;
        error.reset();
        char pattern[] = "/tmp/kxscriptserver_test_XXXXXX";
        runtime_ = mkdtemp(pattern);
        setenv("XDG_RUNTIME_DIR", runtime_.c_str(), 1);
    }
    void TearDown() override
    {
        error.reset();
        std::string command = "rm -rf " + runtime_;
        EXPECT_EQ(system(command.c_str()), 0);
    }

    kxCommandObject commands;
    kxCommandExecutor executor{commands};
    kxCmdServer server{executor};
    std::string runtime_;
};

} // namespace

TEST_F(kxScriptServerTest, ExecutorReturnsValuesOutputAndErrorsAndLeavesNoError)
{
    kxCmdResult r = executor.Execute("set x = 2.5");
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.type, kxCmdDouble);
    EXPECT_DOUBLE_EQ(r.real, 2.5);

    r = executor.Execute("print a{x*2}b");
    EXPECT_EQ(r.type, kxCmdText);
    EXPECT_EQ(r.text, "a5b");
    EXPECT_EQ(r.output, "a5b\n");

    r = executor.Execute("set c = sqrt(-9)");
    EXPECT_EQ(r.type, kxCmdComplex);
    EXPECT_DOUBLE_EQ(r.imag, 3);

    r = executor.Execute("print first; nosuch");
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.errorCode, 504);
    EXPECT_NE(r.errorText.find("nosuch"), std::string::npos);
    EXPECT_EQ(r.output, "first\n");
    EXPECT_EQ(int(error), 0);

    // Each request starts clean: the failure above does not leak into the next one.
    r = executor.Execute("x");
    EXPECT_TRUE(r.ok);
    EXPECT_EQ(r.output, "2.5\n");

    const std::vector<std::string> names = executor.Complete("se", 2);
    EXPECT_NE(std::find(names.begin(), names.end(), "set"), names.end());
}

TEST_F(kxScriptServerTest, SplitsArgumentsAtBlanksOutsideQuotes)
{
    using V = std::vector<std::string>;
    EXPECT_EQ(kxPythonScriptRunner::SplitArguments("a  b\tc "), (V{"a", "b", "c"}));
    EXPECT_EQ(kxPythonScriptRunner::SplitArguments("1 \"two words\" x\"y z\""),
              (V{"1", "two words", "xy z"}));
    EXPECT_EQ(kxPythonScriptRunner::SplitArguments("\"\" end"), (V{"", "end"}));
    EXPECT_TRUE(kxPythonScriptRunner::SplitArguments(nullptr).empty());
    EXPECT_TRUE(kxPythonScriptRunner::SplitArguments("   ").empty());
}

TEST_F(kxScriptServerTest, StartsTheInterpreterWithPortTokenPathAndArguments)
{
    kxPythonScriptRunner runner(server, executor, "/client/dir");
    runner.SetInterpreter("/bin/sh");
    const std::string out = TempPath("env.txt");
    const std::string script = WriteScript(
        "env.sh", "printf '%s|%s|%s|%s|%s\\n' \"$KX_PORT\" \"$KX_TOKEN\" \"$PYTHONPATH\" \"$1\" "
                  "\"$2\" > " +
                      out + "\n");
    setenv("PYTHONPATH", "/old", 1);
    ASSERT_TRUE(runner.Run(script.c_str(), "first \"second arg\"")) << error.chars();
    unsetenv("PYTHONPATH");
    EXPECT_EQ(gPrinted, "EXECUTING PYTHON SCRIPT...\n");
    EXPECT_TRUE(gQuestions.empty());

    // With no server running, one was started on a free port for the script and stopped after.
    std::string line = ReadFile(out);
    const size_t bar = line.find('|');
    ASSERT_NE(bar, std::string::npos);
    EXPECT_GT(std::atoi(line.substr(0, bar).c_str()), 0);
    EXPECT_EQ(line.substr(bar + 1 + 32), "|/client/dir:/old|first|second arg\n");
    EXPECT_FALSE(server.IsRunning());

    // A running server is used as it is.
    ASSERT_TRUE(server.Start(0));
    ASSERT_TRUE(runner.Run(script.c_str(), ""));
    EXPECT_EQ(ReadFile(out).substr(0, ReadFile(out).find('|')), std::to_string(server.GetPort()));
    EXPECT_NE(ReadFile(out).find(server.GetToken()), std::string::npos);
    EXPECT_TRUE(server.IsRunning());
}

TEST_F(kxScriptServerTest, ReportsScriptsThatCannotRunOrFail)
{
    kxPythonScriptRunner runner(server, executor, "");
    runner.SetInterpreter("kx-no-such-interpreter");
    EXPECT_FALSE(runner.Run("x.py", ""));
    EXPECT_EQ(std::string(error.chars()),
              "unable to run python script\nmake sure the python executable is in your path\n");
    error.reset();

    runner.SetInterpreter("/bin/sh");
    const std::string failing = WriteScript("fail.sh", "exit 3\n");
    EXPECT_FALSE(runner.Run(failing.c_str(), ""));
    EXPECT_EQ(std::string(error.chars()), "python script failed with exit status 3\n");
    error.reset();

    // A pending error stops the runner before it starts anything.
    error.Raise(504, "pending\n");
    gPrinted.clear();
    EXPECT_FALSE(runner.Run(failing.c_str(), ""));
    EXPECT_TRUE(gPrinted.empty());
    error.reset();
}

TEST_F(kxScriptServerTest, AsksBeforeDisconnectingAnotherProgram)
{
    kxPythonScriptRunner runner(server, executor, "");
    runner.SetInterpreter("/bin/sh");
    const std::string script = WriteScript("ok.sh", "exit 0\n");
    ASSERT_TRUE(server.Start(0));
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<uint16_t>(server.GetPort()));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a), 0);
    server.Poll(100);
    ASSERT_EQ(server.GetNumClients(), 1);

    gAnswer = false;
    EXPECT_FALSE(runner.Run(script.c_str(), ""));
    EXPECT_EQ(int(error), kxErrUserAbort);
    error.reset();
    ASSERT_EQ(gQuestions.size(), 1u);
    EXPECT_EQ(gQuestions[0], "there is currently another program talking to the application\n"
                             "if you continue you will disconnect them\n");
    EXPECT_EQ(server.GetNumClients(), 1);
    EXPECT_EQ(gPrinted, "");

    gAnswer = true;
    EXPECT_TRUE(runner.Run(script.c_str(), ""));
    EXPECT_EQ(server.GetNumClients(), 0);
    char byte;
    EXPECT_EQ(recv(fd, &byte, 1, 0), 0); // the other program was disconnected
    close(fd);
}

TEST_F(kxScriptServerTest, APythonScriptDrivesTheCommandObject)
{
    if (access("/usr/bin/python3", X_OK) != 0)
        GTEST_SKIP() << "no /usr/bin/python3";
    kxPythonScriptRunner runner(server, executor, KX_TESTDATA_DIR "/../python");
    runner.SetInterpreter("/usr/bin/python3");
    commands.SetScriptRunner(
        [&](const char *file, const char *arguments) { return runner.Run(file, arguments); });
    const char *script = "import sys, kxclient\n"
                         "kx = kxclient.connect()\n"
                         "kx.execute('set frompy = ' + sys.argv[1] + ' * 2')\n"
                         "try:\n"
                         "    kx.execute('nosuch')\n"
                         "except kxclient.KxError as e:\n"
                         "    kx.execute('set code = %d' % e.code)\n";
    ASSERT_TRUE(commands.RunScript(1, script, "21")) << error.chars();
    ASSERT_TRUE(commands.Execute("print {frompy} {code}"));
    EXPECT_EQ(std::string(commands.GetOutput().c_str()), "42 504\n");
}
