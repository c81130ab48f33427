// command_line.h - the command language and kxCommandObject, the interpreter through which every
// published variable, function and child object of a KXObject tree is read, set and called by a
// path, from a console, a command file, a script node or another program.
//
// The language
// ------------
// A command text is statements separated by newlines or ";" (outside quotes and brackets);
// "//" starts a comment to the end of the line; strings are in double quotes with \" and \\.
//   path                  prints a variable's value, an object's member listing or a function's
//                         help
//   path = text           sets a variable through its published kind
//   path(arg, ...)        calls a function with its arguments as texts and prints the result
//   set name = formula    a numeric variable of the command namespace
//   for name = first, last[, step] ... end
//   if formula ... [else ...] end
//   print text, help [path], cd path, cd, pwd, exit
// A path is components joined by "." starting at the command object (whose members are "app",
// the switches, the log file names and the functions listed by "help"), or, with a leading
// ".", at the current object (chosen by cd or SetCurrentObject). A component may be indexed:
// name[n] is the n-th item of the child list `name` (from 1), name["text"] the item named text,
// name[formula] evaluates the formula for n. "{formula}" anywhere in a text
// argument, an assigned text or a printed text is replaced by the formula's value, evaluated in
// the command namespace.
//
// Choices made where the language description left room:
//   - A child list is a child object whose own published child objects are the items (a
//     project node publishes "subnodes" this way, each child under its name): name[n] is the
//     n-th child object that the list publishes, name["text"] the one published under that
//     name, else the first whose published function "nodename" (called with no arguments), or
//     published variable "nodename" or "name", gives that text.
//   - Keywords (set, for, if, else, end, print, help, cd, pwd, exit) are recognised as the first
//     word of a statement when followed by a blank or the end of the statement, so a member may
//     still be called "print" and be reached as print(...) or print = ... .
//   - The assigned text and each argument is trimmed; a text that is wholly one quoted string
//     loses its quotes and escapes. "{...}" is replaced before quotes are removed; "\{" writes a
//     brace. A formula value is written as the shortest text that reads back to the same
//     double ("%.15g", "%.16g" or "%.17g"), a complex one as "(re, im)". A formula that is only
//     the name of a text argument of a script (arg1 = "a.txt") is replaced by that text.
//   - Script arguments are split at blanks outside double quotes; numeric ones become value
//     variables of the command namespace, others text variables usable through {argN}; nargs is
//     always numeric.
//   - The result of the last statement (GetLastResult): a variable's value typed by its
//     published kind (bool, char, short, int and integer parameters give int; float, double and
//     real parameters double; complex kinds complex; other kinds text); an object gives object
//     (the text is its class name); a function's result text gives int, double or complex when
//     it is wholly such a number, else text (an empty result is none); set gives the value
//     (double when the imaginary part is zero); print gives text; every other statement none.
//   - Error codes: 504 for text that is not a statement or path (and unknown names), 4101 for an
//     index out of range, 1 for a refused value, a read-only variable or a failed operation; a
//     function keeps the code of its own error. Each error text ends with "in command: <text>\n"
//     and, for multi-line texts, "at line <n>\n" or "at line <n> of <file>\n".
//   - With stopOnError clear, a failing statement's error is printed to the output as
//     "ERROR <code>: <text>", cleared, and execution goes on; Execute then returns false with the
//     first error restored at the end. With pauseOnError set the user is asked
//     "<error text>continue?" (the error text ends with a line feed; warning with a choice)
//     and "yes" goes on as above, "no" stops. stepByStep asks "execute command:\n<text>" before
//     every statement; "no" stops with the user abort (503) "script stopped by user\n".
//     RequestStop (another thread or a signal handler may call it) stops the same way at the
//     next statement.
//   - enableRecord appends the text of each top-level statement that Execute runs (not the
//     statements of command files) to the command log file, one per line; the output log file
//     receives every printed text. Empty file names switch logging off.
//   - Command files may run command files (runfile) up to 32 deep; deeper is the error
//     "command files nested too deeply\n".
//   - exit stops the whole run successfully (a command file's exit ends its callers too) and
//     sets ExitRequested (the console leaves); a top-level Execute clears it first.
//   - A variable prints, and gives as its result, the text of its published kind: a formula
//     parameter shows its formula.
//   - Completion offers, for the last path of the text before the cursor, the published names of
//     the object it leads to (each name once); for a path of one component the root members and
//     the command variables, and at the start of a statement also the keywords. Candidates
//     replace the text from CompletionStart up to the cursor and are sorted. Completion calls no
//     function but "nodename" (for name["text"]), evaluates formula indexes, and leaves a
//     pending error as it is.
//
// Ownership: the command object does not own the app object nor the current object; both must
// outlive their use. The command namespace is the object's own (its parent is optional).
// Everything runs on the thread that owns the object tree, except RequestStop.
#ifndef KX_COMMANDS_COMMAND_LINE_H
#define KX_COMMANDS_COMMAND_LINE_H

#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxstring.h"
#include "kx/objects/kxobject.h"

#include <atomic>
#include <complex>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// Type of the value of the last evaluated statement.
enum kxCmdValueType {
    kxCmdNone = 0,
    kxCmdDouble,
    kxCmdInt,
    kxCmdComplex,
    kxCmdText,
    kxCmdObject
};

/// The value of the last evaluated statement: numbers in `number` (int and double in its real
/// part), texts and class names of objects in `text`.
struct kxCommandValue {
    kxCmdValueType type = kxCmdNone;
    std::complex<double> number{0.0, 0.0};
    KXString text;
    /// Not owned; valid only as long as the object lives.
    KXObject *object = nullptr;

    /// "double", "int", "complex", "text", "object" or "none".
    [[nodiscard]] static const char *TypeName(kxCmdValueType type);
};

/// Running states (GetRunningState).
enum {
    kxCmdIdle = 0,      ///< nothing running
    kxCmdExecuting = 1, ///< Execute is running commands
    kxCmdScript = 2     ///< a script (RunScript, Runfromfile) is running
};

/// Names of the switches (SetSwitch, GetSwitch, and published variables of the same names).
extern const char *const kxCmdStopOnError;  ///< "stopOnError"
extern const char *const kxCmdPauseOnError; ///< "pauseOnError"
extern const char *const kxCmdStepByStep;   ///< "stepByStep"
extern const char *const kxCmdEnableRecord; ///< "enableRecord"

/// Runs a Python script file with an argument string (language 1): the command server's side.
/// Returns false with `error` set when the script could not be run. While it runs, the commands
/// it sends back may be executed with Execute: each is a top-level run (its own output, a clear
/// error record), even when the script was started by a command; the output and error of the
/// command that started it are restored afterwards (a pending error of the script's commands
/// is cleared when the runner returns true).
typedef std::function<bool(const char *scriptFile, const char *arguments)> kxScriptRunner;

class kxCommandObject : public KXObject {
public:
    static kxClassInfo ms_classInfo;
    [[nodiscard]] const kxClassInfo *getClassInfo() const override { return &ms_classInfo; }

    /// `app` (not owned, may be null) is published as the root member "app". The command
    /// namespace gets `parentNameSpace` as its parent (null: a root namespace).
    explicit kxCommandObject(KXObject *app = nullptr, kxNameSpace *parentNameSpace = nullptr);
    ~kxCommandObject() override;
    kxCommandObject(const kxCommandObject &) = delete;
    kxCommandObject &operator=(const kxCommandObject &) = delete;

    // -- running commands --------------------------------------------------------------------
    /// Runs a command text. True when every statement succeeded; otherwise `error` holds the
    /// (first) failure. A top-level call (not one made from inside a running command) starts
    /// with a clear error record and clears the collected output and the exit request first.
    [[nodiscard]] bool Execute(const char *text);
    /// Runs a command text read from `fileName` (line numbers in errors name the file).
    [[nodiscard]] bool ExecuteText(const char *text, const char *fileName);
    /// Runs a command file, or a Python file (extension "py") through the script runner, with
    /// the argument string. Asks before running the command log file while recording.
    [[nodiscard]] bool Runfromfile(const char *fileName, const char *arguments = "");
    /// Language 0: Execute with the running state 2; language 1: the text saved to a
    /// temporary file and run through the script runner; other languages fail with
    /// "unknown language type\n".
    [[nodiscard]] bool RunScript(int language, const char *scriptText, const char *arguments);
    /// Sets nargs and arg1, arg2, ... from an argument string.
    void SetArguments(const char *arguments);

    /// Text printed by the last top-level Execute (and everything run inside it).
    [[nodiscard]] const KXString &GetOutput() const { return output_; }
    void ClearOutput() { output_ = ""; }
    /// Receives every printed text as it is printed (besides the collection), e.g. a console.
    void SetOutputHook(std::function<void(const char *)> hook) { outputHook_ = std::move(hook); }
    /// The value of the last evaluated statement.
    [[nodiscard]] const kxCommandValue &GetLastResult() const { return lastResult_; }

    /// kxCmdIdle, kxCmdExecuting or kxCmdScript.
    [[nodiscard]] int GetRunningState() const { return runningState_; }
    /// Asks the running commands to stop at the next statement (user abort, 503). Safe from
    /// another thread or a signal handler.
    void RequestStop() { stopRequested_ = true; }
    /// Limits the statements one top-level Execute may run (0, the default: no limit); beyond it
    /// the run stops with the user abort (503) "statement limit reached\n".
    void SetStatementLimit(long limit) { statementLimit_ = limit; }
    /// True after an "exit" statement, until ClearExitRequest or the next top-level Execute.
    [[nodiscard]] bool ExitRequested() const { return exitRequested_; }
    void ClearExitRequest() { exitRequested_ = false; }

    /// True when the text is complete: no open for / if block, no open quote or bracket (a
    /// console shows a continuation prompt otherwise).
    [[nodiscard]] static bool IsComplete(const char *text);

    // -- completion ----------------------------------------------------------------------------
    /// Candidates that replace text[CompletionStart(text, cursor) .. cursor), sorted. `cursor`
    /// beyond the text means its end.
    [[nodiscard]] std::vector<KXString> Complete(const char *text, int cursor);
    /// Start of the word that Complete replaces.
    [[nodiscard]] static int CompletionStart(const char *text, int cursor);

    // -- switches, logs, hooks -----------------------------------------------------------------
    /// False for an unknown switch name.
    bool SetSwitch(const char *name, bool on);
    [[nodiscard]] bool GetSwitch(const char *name) const;
    void SetCommandLogFile(const char *fileName) { commandLog_ = fileName ? fileName : ""; }
    [[nodiscard]] const KXString &GetCommandLogFile() const { return commandLog_; }
    void SetOutputLogFile(const char *fileName) { outputLog_ = fileName ? fileName : ""; }
    [[nodiscard]] const KXString &GetOutputLogFile() const { return outputLog_; }
    /// Installs the runner of Python scripts (empty: Python scripts cannot be run).
    void SetScriptRunner(kxScriptRunner runner) { scriptRunner_ = std::move(runner); }
    [[nodiscard]] bool HasScriptRunner() const { return bool(scriptRunner_); }

    // -- objects and namespace ----------------------------------------------------------------
    [[nodiscard]] KXObject *GetApp() const { return app_; }
    void SetApp(KXObject *app) { app_ = app; }
    /// The object a path with a leading "." starts at: null means the command object. Clears
    /// the path chosen by cd.
    void SetCurrentObject(KXObject *object);
    /// The current object (resolved again from the cd path each time), or null after a failure.
    [[nodiscard]] KXObject *GetCurrentObject();
    /// The path shown by pwd ("" for the command object).
    [[nodiscard]] const KXString &GetCurrentPath() const { return currentPath_; }
    /// The command namespace: set variables, loop counters, script arguments.
    [[nodiscard]] kxNameSpace *GetNameSpace() const override { return nameSpace_.get(); }
    /// Text variables (script arguments that are not numbers).
    [[nodiscard]] const std::map<std::string, KXString> &GetTextVariables() const
    {
        return textVars_;
    }

    /// Publishes "app", the switches, "commandLog", "outputLog" and the function "runfile".
    void OnPublish() override;

private:
    class Interpreter;
    friend class Interpreter;

    bool RunWithState(int state, const char *text, const char *fileName);
    bool RunPython(const char *file, const char *arguments);
    void Print(const char *text);
    void RecordCommand(const char *text);

    KXObject *app_;
    KXObject *currentObject_ = nullptr;
    KXString currentPath_;
    std::unique_ptr<kxNameSpace> nameSpace_;
    std::map<std::string, KXString> textVars_;
    KXString output_;
    kxCommandValue lastResult_;
    std::function<void(const char *)> outputHook_;
    kxScriptRunner scriptRunner_;
    KXString commandLog_;
    KXString outputLog_;
    KXString tempScript_;
    bool stopOnError_ = true;
    bool pauseOnError_ = false;
    bool stepByStep_ = false;
    bool enableRecord_ = false;
    bool exitRequested_ = false;
    int runningState_ = kxCmdIdle;
    int depth_ = 0;
    int argCount_ = 0;
    long statementLimit_ = 0;
    long statementCount_ = 0;
    std::atomic<bool> stopRequested_{false};
};

#endif
