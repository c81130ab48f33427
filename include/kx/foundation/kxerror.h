// kxerror.h - the pending user error (`Error`, the global `error`), internal-fault reporting
// (`CodeError` and the KX_CHECK macros), fatal faults (`exitfn`), warnings, the message-window
// line printer and the output hooks that a graphical shell installs with InitialiseKXUtils.
//
// How a message reaches the user
// ------------------------------
// Everything the library says goes through five hooks installed once by InitialiseKXUtils.
// When a hook is not installed (null) the console fallback applies:
//
//   hook                 used by                        console fallback
//   exit                 exitfn, kxLibraryError         message + "\n" on standard output, then
//                                                       exit(code)
//   warn                 warnfn                         message on standard output, then
//                                                       "press any key to continue..." and a
//                                                       wait for one line of standard input
//   warn with a choice   kxWarnChoice                   message + " (y/n) " on standard output,
//                                                       answer read from standard input
//   print line           wlprintf (channel 1),          standard output (channel 1) or
//                        kxWarningLog (channel 2)       standard error (channel 2)
//   error display        Error::display, buffer         report on standard output
//                        overrun report
//
// Channels of the print-line hook: kxMessageChannel (1) is the message window; wlprintf and
// SyntaxErr write there. kxWarningChannel (2) is the warning log: warnings raised while
// evaluating formulas (circular or undefined variables, ...) are sent there line by line by
// kxWarningLog, which never blocks and never asks the user anything.
//
// Death tests: the fatal fallback prints to standard output; GoogleTest death tests match
// standard error, so a test redirects it first, e.g.
//   EXPECT_EXIT((dup2(2, 1), list[0]), ::testing::ExitedWithCode(1), "index 0 out of bounds");
//
// Nothing here locks: the error record and the hooks belong to the user-interface thread.
#ifndef KX_FOUNDATION_KXERROR_H
#define KX_FOUNDATION_KXERROR_H

#include <cstdarg>

class KXString;

#if defined(__GNUC__) || defined(__clang__)
#define KX_PRINTF_LIKE(fmtArg, firstArg) __attribute__((format(printf, fmtArg, firstArg)))
#else
#define KX_PRINTF_LIKE(fmtArg, firstArg)
#endif

// ---------------------------------------------------------------------------------------------
// Error codes used by the library.
enum {
    kxErrGeneric = 1, ///< any text appended to a cleared error
    kxErrVersion = 2, ///< block file signature or version mismatch
    kxErrFile = 500,  ///< a file could not be opened for writing
    kxErrIllegalInstruction = 501,
    kxErrUserAbort = 503, ///< kill pressed / application exited: later texts are dropped
    kxErrSyntax = 504,    ///< shown as "Syntax error - see Message Window"
    kxErrCode = 507,      ///< CodeError: an internal fault of the library
    kxErrPlugin = 508,
    kxErrNameClash = 1000,
    kxErrOutOfRange = 4101
};

/// The pending user error: a code (0 = none), a second code carried along with it, an optional
/// unit (function) name and fixed message, and up to 1,023 characters of accumulated text.
///
/// Lifecycle: cleared -> any number of set/append -> display(1), reset(), chars(true) or
/// transferto(), each of which clears it again. The unit and message pointers are not owned:
/// they must point at text that outlives the error (string literals in practice).
class Error {
public:
    static constexpr int TextSize = 1024;    ///< size of the text field, terminator included
    static constexpr int FormatLimit = 4095; ///< formatted pieces this long are an overrun

    constexpr Error() {}
    Error(const Error &other);
    ~Error();

    /// Copies code, second code, unit, message and text. The heap copy made by chars(true)
    /// stays with the error that made it.
    Error &operator=(const Error &other);

    /// The code; 0 when there is no error.
    operator int() const { return code_; }

    /// Clears code, second code, unit, message and text.
    void reset();

    /// Appends formatted text (see append) unless the code is 503: after a user abort further
    /// texts are dropped so that the abort is what the user sees.
    void set(const char *fmt, ...) KX_PRINTF_LIKE(2, 3);

    /// Appends formatted text, cut so that the text never exceeds TextSize - 1 characters; a
    /// cleared code becomes 1. A piece of FormatLimit characters or more first displays the
    /// error as it stands and reports the overrun through the error display hook.
    void append(const char *fmt, ...) KX_PRINTF_LIKE(2, 3);

    /// Sets the code and text together: the text as set(), then the code, except that a
    /// pending 503 (user abort) is kept.
    void Raise(int code, const char *fmt, ...) KX_PRINTF_LIKE(3, 4);

    /// chars(false): the text in place. chars(true): a heap copy of the text that stays valid
    /// until the next chars(true) on this error; the error is cleared.
    [[nodiscard]] const char *chars(bool copy);
    /// The text in place.
    const char *chars() const { return text_; }

    /// When the code is non-zero, builds one report ("ERROR %d in unit %s()\n", the message,
    /// the text; code 504 shows "Syntax error - see Message Window" as its message) and shows
    /// it through the error display hook or standard output. clear != 0 then clears the error.
    /// The exclamation beep belongs to the graphical error display hook; the console is quiet.
    void display(int clear);

    /// Appends this error's text to `other` through other.set (the text acts as the format),
    /// copies both codes into `other` and clears this error.
    void transferto(Error &other);

    void SetCode(int code) { code_ = code; }
    int SecondCode() const { return secondCode_; }
    void SetSecondCode(int code) { secondCode_ = code; }
    const char *Unit() const { return unit_; }
    void SetUnit(const char *unit) { unit_ = unit; }
    const char *Message() const { return message_; }
    void SetMessage(const char *message) { message_ = message; }

private:
    void AppendFormatted(const char *fmt, va_list args);

    int code_ = 0;
    int secondCode_ = 0;
    const char *unit_ = nullptr;
    const char *message_ = nullptr;
    char text_[TextSize] = {};
    char *copy_ = nullptr;
};

/// The library's one error record; every part reports user errors into it.
extern Error error;

// ---------------------------------------------------------------------------------------------
// Output hooks.
typedef void (*kxExitHook)(const char *message, int code); ///< must not return
typedef void (*kxWarnHook)(const char *message);
typedef bool (*kxWarnChoiceHook)(int style, const char *message);
typedef void (*kxPrintLineHook)(int channel, const char *line);
typedef void (*kxErrorDisplayHook)(const char *report);

constexpr int kxMessageChannel = 1; ///< message window: wlprintf, SyntaxErr
constexpr int kxWarningChannel = 2; ///< warning log: kxWarningLog

/// Called once by the application at start. Stores the five hooks (any may be null: the
/// console fallback is used), the application name, the version text "%s %d" (version name,
/// number) and the error caption "<appName> Error", and picks the unit suffixes (kxunits.h)
/// for the codeset of the environment's locale. It also installs the SIGILL handler: an illegal
/// instruction cannot be resumed, so the handler records "An illegal instruction has
/// occurrred!\n" in `error` with code 501 (an exit hook may read it there) and ends the process
/// through exitfn with that text and exit code 1; a second SIGILL in the handler is not caught.
void InitialiseKXUtils(const char *appName, const KXString &versionName, int versionNumber,
                       kxExitHook exitHook, kxWarnHook warnHook, kxWarnChoiceHook kxWarnHook,
                       kxPrintLineHook printLineHook, kxErrorDisplayHook errorDisplayHook);

/// Application name given to InitialiseKXUtils ("" before).
[[nodiscard]] const char *kxGetAppName();
/// Version text "%s %d" given to InitialiseKXUtils ("" before).
[[nodiscard]] const char *kxGetVersionText();
/// Caption of the graphical fatal-error box: the application name followed by " Error".
[[nodiscard]] const char *kxGetErrorCaption();

// ---------------------------------------------------------------------------------------------
// Reporting functions.

/// Records an internal fault of the library: appends "Code Error: %s\nAt %s:%d\nPlease contact
/// Orvane" to `error` with the file name reduced to what follows its last '/' or '\\' (or, with
/// neither, without a leading drive prefix such as "C:"), and sets the code to 507.
void CodeError(const char *what, const char *file, int line);

/// Fatal fault: formats the message and hands it with the code to the exit hook, or prints it
/// on standard output and ends the process with that exit code. Never returns (should a hook
/// return, the process exits with the code anyway).
[[noreturn]] void exitfn(int code, const char *fmt, ...) KX_PRINTF_LIKE(2, 3);
/// exitfn without formatting.
[[noreturn]] void exitfn(const char *message, int code);

/// A warning to the user through the warn hook; the console fallback waits for a key.
void warnfn(const char *fmt, ...) KX_PRINTF_LIKE(1, 2);

/// A warning that asks the user to choose: the warn-with-a-choice hook's answer, or on the
/// console the answer to "(y/n)" (true for an answer starting with 'y' or 'Y'). `style` is
/// passed to the hook unchanged.
[[nodiscard]] bool kxWarnChoice(int style, const char *fmt, ...) KX_PRINTF_LIKE(2, 3);

/// Prints text to the message window line by line: every piece up to and including a newline
/// goes to the print-line hook on channel 1 (or standard output); a last piece without a
/// newline goes as it is; empty text sends nothing. A formatted length of 4,096 or more is
/// fatal ("Code error in lprintf()"). Returns the formatted length.
int wlprintf(const char *fmt, ...) KX_PRINTF_LIKE(1, 2);

/// Writes to the warning log: like wlprintf but on channel 2 (or standard error when no hook
/// is installed), with no length limit. Never blocks, never asks.
void kxWarningLog(const char *fmt, ...) KX_PRINTF_LIKE(1, 2);

/// The error handler of the library's classes (KXString::Error calls it): fatal through exitfn
/// with code 1 and the message "error in <className>: <message>".
[[noreturn]] void kxLibraryError(const char *className, const char *message);

// ---------------------------------------------------------------------------------------------
// Internal-fault guards. A source file defines its unit name once, before using them:
//   #define KX_UNIT "kxobject"
// They report through CodeError and return; they never abort.
#define KX_CODE_ERROR(what) CodeError((what), KX_UNIT, __LINE__)

#define KX_CHECK_MSG(cond, retval, what)                                                           \
    do {                                                                                           \
        if (!(cond)) {                                                                             \
            KX_CODE_ERROR(what);                                                                   \
            return retval;                                                                         \
        }                                                                                          \
    } while (0)

#define KX_CHECK_RET(cond, what)                                                                   \
    do {                                                                                           \
        if (!(cond)) {                                                                             \
            KX_CODE_ERROR(what);                                                                   \
            return;                                                                                \
        }                                                                                          \
    } while (0)

#endif
