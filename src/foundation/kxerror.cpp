// kxerror.cpp - the error record, the output hooks with their console fallbacks, fatal faults,
// warnings and the message-window line printer.
#include "kx/foundation/kxerror.h"
#include "foundation/kxformat.h"
#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxunits.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

Error error;

namespace {

struct Hooks {
    kxExitHook exit = nullptr;
    kxWarnHook warn = nullptr;
    kxWarnChoiceHook warnChoice = nullptr;
    kxPrintLineHook printLine = nullptr;
    kxErrorDisplayHook errorDisplay = nullptr;
};

Hooks hooks;
std::string appName;
std::string versionText;
std::string errorCaption;

constexpr int kLinePrintLimit = 4096;

// Sends text piece by piece, each piece ending after a newline, to the print-line hook on
// `channel`, or to `fallback` when no hook is installed.
void SendLines(int channel, const char *text, std::size_t length, FILE *fallback)
{
    if (!hooks.printLine) {
        std::fwrite(text, 1, length, fallback);
        std::fflush(fallback);
        return;
    }
    std::string piece;
    std::size_t start = 0;
    while (start < length) {
        const void *nl = std::memchr(text + start, '\n', length - start);
        const std::size_t end = nl ? static_cast<const char *>(nl) - text + 1 : length;
        piece.assign(text + start, end - start);
        hooks.printLine(channel, piece.c_str());
        start = end;
    }
}

void ShowErrorReport(const char *report)
{
    if (hooks.errorDisplay) {
        hooks.errorDisplay(report);
        return;
    }
    std::fputs(report, stdout);
    std::fflush(stdout);
}

// Appends "%s"-formatted output to `report` at `pos`, never past its end.
void AddToReport(char *report, int size, int &pos, const char *fmt, ...) KX_PRINTF_LIKE(4, 5);
void AddToReport(char *report, int size, int &pos, const char *fmt, ...)
{
    if (pos >= size - 1)
        return;
    va_list args;
    va_start(args, fmt);
    const int n = std::vsnprintf(report + pos, size - pos, fmt, args);
    va_end(args);
    if (n > 0)
        pos = pos + n < size - 1 ? pos + n : size - 1;
}

// Reads and drops one line of standard input (or up to end of file).
void WaitForLine()
{
    for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar()) {
    }
}

// An illegal instruction cannot be resumed: record it in `error` (code 501) and end the process
// through exitfn with the same text, exit code 1. SA_RESETHAND makes a second fault fatal at once.
void OnIllegalInstruction(int)
{
    static const char text[] = "An illegal instruction has occurrred!\n";
    error.set("%s", text);
    error.SetCode(kxErrIllegalInstruction);
    exitfn(text, 1);
}

void InstallIllegalInstructionHandler()
{
    struct sigaction action = {};
    action.sa_handler = OnIllegalInstruction;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESETHAND;
    sigaction(SIGILL, &action, nullptr);
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Error

Error::Error(const Error &other) { *this = other; }

Error::~Error() { delete[] copy_; }

Error &Error::operator=(const Error &other)
{
    if (this == &other)
        return *this;
    code_ = other.code_;
    secondCode_ = other.secondCode_;
    unit_ = other.unit_;
    message_ = other.message_;
    std::memcpy(text_, other.text_, sizeof text_);
    return *this;
}

void Error::reset()
{
    code_ = 0;
    secondCode_ = 0;
    unit_ = nullptr;
    message_ = nullptr;
    text_[0] = '\0';
}

void Error::AppendFormatted(const char *fmt, va_list args)
{
    char scratch[FormatLimit + 1];
    int n = std::vsnprintf(scratch, sizeof scratch, fmt, args);
    if (n < 0)
        n = 0;
    if (n >= FormatLimit) {
        display(1);
        ShowErrorReport("Overrun error message buffer\n- save your work immediately and restart "
                        "program");
        n = static_cast<int>(std::strlen(scratch));
    }
    const int used = static_cast<int>(std::strlen(text_));
    const int room = TextSize - 1 - used;
    const int take = n < room ? n : room;
    std::memcpy(text_ + used, scratch, take);
    text_[used + take] = '\0';
    if (code_ == 0)
        code_ = kxErrGeneric;
}

void Error::set(const char *fmt, ...)
{
    if (code_ == kxErrUserAbort)
        return;
    va_list args;
    va_start(args, fmt);
    AppendFormatted(fmt, args);
    va_end(args);
}

void Error::append(const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    AppendFormatted(fmt, args);
    va_end(args);
}

void Error::Raise(int code, const char *fmt, ...)
{
    if (code_ == kxErrUserAbort)
        return;
    va_list args;
    va_start(args, fmt);
    AppendFormatted(fmt, args);
    va_end(args);
    code_ = code;
}

const char *Error::chars(bool copy)
{
    if (!copy)
        return text_;
    delete[] copy_;
    const std::size_t n = std::strlen(text_);
    copy_ = new char[n + 1];
    std::memcpy(copy_, text_, n + 1);
    reset();
    return copy_;
}

void Error::display(int clear)
{
    if (code_ != 0) {
        char report[TextSize];
        int pos = 0;
        report[0] = '\0';
        const char *message = code_ == kxErrSyntax ? "Syntax error - see Message Window" : message_;
        if (unit_)
            AddToReport(report, TextSize, pos, "ERROR %d in unit %s()\n", code_, unit_);
        if (message)
            AddToReport(report, TextSize, pos, "%s\n", message);
        if (text_[0])
            AddToReport(report, TextSize, pos, "%s\n", text_);
        // The exclamation beep belongs to the graphical error display; a console stays quiet.
        ShowErrorReport(report);
    }
    if (clear)
        reset();
}

void Error::transferto(Error &other)
{
    // The text is deliberately passed as the format: a '%' in it is interpreted.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    other.set(text_);
#pragma GCC diagnostic pop
    other.code_ = code_;
    other.secondCode_ = secondCode_;
    reset();
}

// ---------------------------------------------------------------------------------------------
// Hooks and application identity

void InitialiseKXUtils(const char *name, const KXString &versionName, int versionNumber,
                       kxExitHook exitHook, kxWarnHook warnHook, kxWarnChoiceHook warnChoiceHook,
                       kxPrintLineHook printLineHook, kxErrorDisplayHook errorDisplayHook)
{
    hooks.exit = exitHook;
    hooks.warn = warnHook;
    hooks.warnChoice = warnChoiceHook;
    hooks.printLine = printLineHook;
    hooks.errorDisplay = errorDisplayHook;

    appName = name ? name : "";
    char version[256];
    std::snprintf(version, sizeof version, "%s %d", static_cast<const char *>(versionName),
                  versionNumber);
    versionText = version;
    errorCaption = appName + " Error";

    kxUseAsciiUnitStrings(!kxLocaleIsUtf8());
    InstallIllegalInstructionHandler();
}

const char *kxGetAppName() { return appName.c_str(); }

const char *kxGetVersionText() { return versionText.c_str(); }

const char *kxGetErrorCaption() { return errorCaption.c_str(); }

// ---------------------------------------------------------------------------------------------
// Reporting

void CodeError(const char *what, const char *file, int line)
{
    const char *name = file ? file : "";
    const char *slash = std::strrchr(name, '/');
    const char *backslash = std::strrchr(name, '\\');
    const char *sep = slash > backslash ? slash : backslash;
    if (sep)
        name = sep + 1;
    else if (((name[0] >= 'A' && name[0] <= 'Z') || (name[0] >= 'a' && name[0] <= 'z')) &&
             name[1] == ':')
        name += 2;
    error.append("Code Error: %s\nAt %s:%d\nPlease contact Orvane", what ? what : "", name, line);
    error.SetCode(kxErrCode);
}

void exitfn(const char *message, int code)
{
    if (hooks.exit) {
        hooks.exit(message, code);
        std::exit(code); // a hook that returns anyway still ends the process
    }
    const std::size_t n = std::strlen(message);
    std::fputs(message, stdout);
    if (n == 0 || message[n - 1] != '\n')
        std::fputc('\n', stdout);
    std::fflush(stdout);
    std::exit(code);
}

void exitfn(int code, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const std::string message = kxFormatV(fmt, args);
    va_end(args);
    exitfn(message.c_str(), code);
}

void kxLibraryError(const char *className, const char *message)
{
    exitfn(1, "error in %s: %s", className, message);
}

void warnfn(const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const std::string message = kxFormatV(fmt, args);
    va_end(args);
    if (hooks.warn) {
        hooks.warn(message.c_str());
        return;
    }
    std::fputs(message.c_str(), stdout);
    if (message.empty() || message.back() != '\n')
        std::fputc('\n', stdout);
    std::fputs("press any key to continue...", stdout);
    std::fflush(stdout);
    WaitForLine();
}

bool kxWarnChoice(int style, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const std::string message = kxFormatV(fmt, args);
    va_end(args);
    if (hooks.warnChoice)
        return hooks.warnChoice(style, message.c_str());
    std::fputs(message.c_str(), stdout);
    std::fputs(" (y/n) ", stdout);
    std::fflush(stdout);
    int c = std::getchar();
    while (c == ' ' || c == '\t')
        c = std::getchar();
    const bool yes = c == 'y' || c == 'Y';
    if (c != '\n' && c != EOF)
        WaitForLine();
    return yes;
}

int wlprintf(const char *fmt, ...)
{
    char text[kLinePrintLimit];
    va_list args;
    va_start(args, fmt);
    const int n = std::vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    if (n >= kLinePrintLimit)
        exitfn("Code error in lprintf()", 1);
    if (n <= 0)
        return n < 0 ? 0 : n;
    SendLines(kxMessageChannel, text, n, stdout);
    return n;
}

void kxWarningLog(const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const std::string text = kxFormatV(fmt, args);
    va_end(args);
    if (!text.empty())
        SendLines(kxWarningChannel, text.c_str(), text.size(), stderr);
}
