#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxunits.h"

#include "kxfatal_test_util.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

std::vector<std::pair<int, std::string>> printed; // (channel, piece)
std::vector<std::string> displayed;
std::vector<std::string> warnings;
std::vector<std::pair<int, std::string>> choices;

void PrintLine(int channel, const char *line) { printed.emplace_back(channel, line); }
void Display(const char *report) { displayed.emplace_back(report); }
void Warn(const char *message) { warnings.emplace_back(message); }
bool Choose(int style, const char *message)
{
    choices.emplace_back(style, message);
    return style == 7;
}
void ExitToStderr(const char *message, int code)
{
    std::fprintf(stderr, "hook %d/%d: %s", code, static_cast<int>(error), message);
    std::fflush(stderr);
    _exit(code + 40);
}
void ExitReturns(const char *message, int) { std::fprintf(stderr, "returned from %s", message); }

class ErrorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        InitialiseKXUtils("kxTest", KXString("TestVersion"), 33, nullptr, Warn, Choose, PrintLine,
                          Display);
        printed.clear();
        displayed.clear();
        warnings.clear();
        choices.clear();
        error.reset();
    }
    void TearDown() override
    {
        InitialiseKXUtils("", KXString(), 0, nullptr, nullptr, nullptr, nullptr, nullptr);
        error.reset();
    }
};

using ErrorDeathTest = ErrorTest;

// Runs `body` with standard input reading `input`, returning what it wrote to standard output.
template <class F>
std::string WithStdin(const char *input, F body)
{
    FILE *in = std::tmpfile();
    std::fputs(input, in);
    std::rewind(in);
    std::fflush(stdin);
    const int saved = dup(0);
    dup2(fileno(in), 0);
    std::clearerr(stdin);
    ::testing::internal::CaptureStdout();
    body();
    std::string out = ::testing::internal::GetCapturedStdout();
    dup2(saved, 0);
    close(saved);
    std::clearerr(stdin);
    std::fclose(in);
    return out;
}

#define KX_UNIT "kxutils_test"
int CheckedHalf(int x)
{
    KX_CHECK_MSG(x % 2 == 0, -1, "odd argument");
    return x / 2;
}
void CheckedVoid(bool ok, int &calls)
{
    KX_CHECK_RET(ok, "not ok");
    ++calls;
}
const int checkLine = __LINE__ - 8; // the line of KX_CHECK_MSG above
#undef KX_UNIT

} // namespace

TEST_F(ErrorTest, ErrorAccumulatesAndHonoursUserAbort)
{
    EXPECT_EQ(static_cast<int>(error), 0);
    EXPECT_STREQ(error.chars(), "");
    error.set("file %s ", "a.txt");
    error.append("line %d", 3);
    EXPECT_EQ(static_cast<int>(error), 1);
    EXPECT_STREQ(error.chars(false), "file a.txt line 3");

    error.reset();
    error.Raise(kxErrUserAbort, "Kill pressed");
    EXPECT_EQ(static_cast<int>(error), 503);
    error.set("later %d", 1); // dropped after a user abort
    error.Raise(kxErrFile, "File was read only?\n");
    EXPECT_STREQ(error.chars(), "Kill pressed");
    EXPECT_EQ(static_cast<int>(error), 503);
    error.append("; forced"); // append always appends
    EXPECT_STREQ(error.chars(), "Kill pressed; forced");

    // The text never exceeds 1,023 characters.
    error.reset();
    const std::string chunk(600, 'x');
    error.set("%s", chunk.c_str());
    error.set("%s", chunk.c_str());
    EXPECT_EQ(std::strlen(error.chars()), 1023u);
    error.set("more");
    EXPECT_EQ(std::strlen(error.chars()), 1023u);
    EXPECT_TRUE(displayed.empty());

    // chars(true) hands out a copy and clears.
    error.reset();
    error.SetSecondCode(9);
    error.set("copied");
    const char *copy = error.chars(true);
    EXPECT_STREQ(copy, "copied");
    EXPECT_EQ(static_cast<int>(error), 0);
    EXPECT_EQ(error.SecondCode(), 0);
    error.set("next");
    EXPECT_STREQ(copy, "copied"); // still valid until the next chars(true)
    EXPECT_STREQ(error.chars(true), "next");

    // Assignment copies the whole record.
    Error other;
    other.Raise(kxErrNameClash, "An object with name %s already exists.\n", "w");
    other.SetUnit("OpenProject");
    Error assigned;
    assigned = other;
    EXPECT_EQ(static_cast<int>(assigned), 1000);
    EXPECT_STREQ(assigned.Unit(), "OpenProject");
    EXPECT_STREQ(assigned.chars(), "An object with name w already exists.\n");
    Error copied(other);
    EXPECT_STREQ(copied.chars(), assigned.chars());
}

TEST_F(ErrorTest, OverrunDisplaysFirstThenKeepsTheStart)
{
    error.set("earlier");
    const std::string huge(5000, 'h');
    error.set("%s", huge.c_str());
    ASSERT_EQ(displayed.size(), 2u);
    EXPECT_EQ(displayed[0], "earlier\n");
    EXPECT_EQ(displayed[1],
              "Overrun error message buffer\n- save your work immediately and restart program");
    EXPECT_EQ(static_cast<int>(error), 1);
    EXPECT_EQ(std::string(error.chars()), std::string(1023, 'h'));

    displayed.clear();
    error.reset();
    error.set("%s", std::string(4094, 'k').c_str()); // just below the limit
    EXPECT_TRUE(displayed.empty());
}

TEST_F(ErrorTest, DisplayBuildsOneReport)
{
    error.display(1); // no error: nothing shown
    EXPECT_TRUE(displayed.empty());

    error.Raise(kxErrFile, "cannot write %s", "x.prj");
    error.SetUnit("SaveProject");
    error.SetMessage("File was read only?");
    error.display(0);
    ASSERT_EQ(displayed.size(), 1u);
    EXPECT_EQ(displayed[0],
              "ERROR 500 in unit SaveProject()\nFile was read only?\ncannot write x.prj\n");
    EXPECT_EQ(static_cast<int>(error), 500); // not cleared

    error.SetCode(kxErrSyntax);
    error.SetUnit(nullptr);
    error.display(1);
    EXPECT_EQ(displayed[1], "Syntax error - see Message Window\ncannot write x.prj\n");
    EXPECT_EQ(static_cast<int>(error), 0);
    EXPECT_EQ(error.Message(), nullptr);

    // Console fallback: standard output.
    InitialiseKXUtils("kxTest", KXString("v"), 1, nullptr, nullptr, nullptr, nullptr, nullptr);
    error.set("plain");
    ::testing::internal::CaptureStdout();
    error.display(1);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "plain\n");
}

TEST_F(ErrorTest, TransferToAndCodeError)
{
    Error local;
    local.set("%s", "100%% done"); // the text holds two percent signs
    local.SetCode(kxErrOutOfRange);
    local.SetSecondCode(4);
    error.set("before; ");
    local.transferto(error);
    EXPECT_STREQ(error.chars(), "before; 100% done"); // the text acted as a format
    EXPECT_EQ(static_cast<int>(error), 4101);
    EXPECT_EQ(error.SecondCode(), 4);
    EXPECT_EQ(static_cast<int>(local), 0);
    EXPECT_STREQ(local.chars(), "");

    error.reset();
    CodeError("bad state", "C:\\src\\kxobject", 12);
    EXPECT_STREQ(error.chars(), "Code Error: bad state\nAt kxobject:12\nPlease contact Orvane");
    EXPECT_EQ(static_cast<int>(error), 507);

    const struct {
        const char *file;
        const char *place;
    } files[] = {{"/home/src/kxstring.cpp", "kxstring.cpp:1"},
                 {"a\\b/sfhandler", "sfhandler:1"},
                 {"a/b\\command_line", "command_line:1"},
                 {"D:kxprojnode", "kxprojnode:1"},
                 {"kxutils", "kxutils:1"},
                 {"1:x", "1:x:1"}};
    for (const auto &f : files) {
        error.reset();
        CodeError("w", f.file, 1);
        EXPECT_EQ(std::string(error.chars()),
                  std::string("Code Error: w\nAt ") + f.place + "\nPlease contact Orvane")
            << f.file;
    }

    error.reset();
    EXPECT_EQ(CheckedHalf(8), 4);
    EXPECT_EQ(static_cast<int>(error), 0);
    EXPECT_EQ(CheckedHalf(7), -1);
    EXPECT_EQ(static_cast<int>(error), 507);
    EXPECT_EQ(std::string(error.chars()),
              "Code Error: odd argument\nAt kxutils_test:" + std::to_string(checkLine) +
                  "\nPlease contact Orvane");
    error.reset();
    int calls = 0;
    CheckedVoid(true, calls);
    CheckedVoid(false, calls);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(static_cast<int>(error), 507);
}

TEST_F(ErrorTest, LinePrintersSplitAfterNewlines)
{
    EXPECT_EQ(wlprintf("a%d\nb\n\nc", 1), 7);
    EXPECT_EQ(wlprintf("%s", ""), 0);
    EXPECT_EQ(wlprintf("tail\n"), 5);
    const std::vector<std::pair<int, std::string>> expected = {
        {1, "a1\n"}, {1, "b\n"}, {1, "\n"}, {1, "c"}, {1, "tail\n"}};
    EXPECT_EQ(printed, expected);

    printed.clear();
    const std::string longWarning(6000, 'w');
    kxWarningLog("Variable %s = %s is directly or indirectly circular\n", "x", "y+1");
    kxWarningLog("%s", longWarning.c_str());
    ASSERT_EQ(printed.size(), 2u);
    EXPECT_EQ(
        printed[0],
        std::make_pair(2, std::string("Variable x = y+1 is directly or indirectly circular\n")));
    EXPECT_EQ(printed[1].second, longWarning);

    InitialiseKXUtils("kxTest", KXString("v"), 1, nullptr, nullptr, nullptr, nullptr, nullptr);
    ::testing::internal::CaptureStdout();
    ::testing::internal::CaptureStderr();
    wlprintf("to %s\n", "stdout");
    kxWarningLog("to %s\n", "stderr");
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "to stderr\n");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "to stdout\n");
}

TEST_F(ErrorTest, WarningsUseHooksOrAskOnTheConsole)
{
    warnfn("careful %d", 1);
    EXPECT_EQ(warnings, std::vector<std::string>{"careful 1"});
    EXPECT_TRUE(kxWarnChoice(7, "go %s?", "on"));
    EXPECT_FALSE(kxWarnChoice(1, "stop?"));
    ASSERT_EQ(choices.size(), 2u);
    EXPECT_EQ(choices[0], std::make_pair(7, std::string("go on?")));

    InitialiseKXUtils("kxTest", KXString("v"), 1, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(WithStdin("\n", [] { warnfn("disk %s", "full"); }),
              "disk full\npress any key to continue...");
    bool answer = false;
    EXPECT_EQ(WithStdin("  y please\n", [&] { answer = kxWarnChoice(0, "Overwrite?"); }),
              "Overwrite? (y/n) ");
    EXPECT_TRUE(answer);
    WithStdin("no\n", [&] { answer = kxWarnChoice(0, "Overwrite?"); });
    EXPECT_FALSE(answer);
    WithStdin("", [&] { answer = kxWarnChoice(0, "Overwrite?"); });
    EXPECT_FALSE(answer);
}

TEST_F(ErrorTest, InitialiseKeepsIdentityAndPicksUnitSuffixes)
{
    InitialiseKXUtils("kxDesigner", KXString("Release"), 33, nullptr, nullptr, nullptr, nullptr,
                      nullptr);
    EXPECT_STREQ(kxGetAppName(), "kxDesigner");
    EXPECT_STREQ(kxGetVersionText(), "Release 33");
    EXPECT_STREQ(kxGetErrorCaption(), "kxDesigner Error");

    const char *savedAll = std::getenv("LC_ALL");
    const std::string saved = savedAll ? savedAll : "";
    setenv("LC_ALL", "C", 1);
    InitialiseKXUtils("a", KXString("b"), 1, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_STREQ(kxMicronsString, "um");
    EXPECT_STREQ(kxMicroString, "u");
    EXPECT_STREQ(kxDegreesString, " degrees");
    EXPECT_STREQ(kxCelsiusString, "C");

    setenv("LC_ALL", "C.UTF-8", 1);
    if (kxLocaleIsUtf8()) {
        InitialiseKXUtils("a", KXString("b"), 1, nullptr, nullptr, nullptr, nullptr, nullptr);
        EXPECT_STREQ(kxMicronsString, "\xC2\xB5m");
        EXPECT_STREQ(kxDegreesString, "\xC2\xB0");
        EXPECT_STREQ(kxCelsiusString, "\xC2\xB0"
                                      "C");
        EXPECT_STREQ(kxMicroString, "\xC2\xB5");
    }
    if (savedAll)
        setenv("LC_ALL", saved.c_str(), 1);
    else
        unsetenv("LC_ALL");
    kxUseAsciiUnitStrings(true);
    EXPECT_STREQ(kxMicronsString, "um");
}

TEST_F(ErrorDeathTest, FatalFaultsEndTheProcess)
{
    InitialiseKXUtils("kxTest", KXString("v"), 1, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_KX_FATAL(exitfn(1, "bad %s %d", "thing", 5), "bad thing 5");
    EXPECT_KX_FATAL(exitfn("plain message\n", 1), "plain message\n");
    EXPECT_KX_EXIT(exitfn(3, "three"), 3, "^three\n$");
    EXPECT_KX_FATAL(kxLibraryError("KXString", "invalid index"),
                    "error in KXString: invalid index");
    EXPECT_KX_FATAL(wlprintf("%s", std::string(4096, 'x').c_str()), "Code error in lprintf()");
    EXPECT_KX_FATAL(std::raise(SIGILL), "An illegal instruction has occurrred!\n");

    InitialiseKXUtils("kxTest", KXString("v"), 1, ExitToStderr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_KX_EXIT(exitfn(2, "via %s", "hook"), 42, "^hook 2/0: via hook$");
    // An illegal instruction is recorded as 501 and ends through exitfn.
    EXPECT_KX_EXIT(std::raise(SIGILL), 41, "^hook 1/501: An illegal instruction has occurrred!\n$");
    InitialiseKXUtils("kxTest", KXString("v"), 1, ExitReturns, nullptr, nullptr, nullptr, nullptr);
    EXPECT_KX_EXIT(exitfn("m", 6), 6, "^returned from m$");
}
