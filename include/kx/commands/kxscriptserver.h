// kxscriptserver.h - the application's side of the command server: the executor that runs the
// server's requests through a kxCommandObject, and the runner of Python scripts (language 1)
// that a command object calls through SetScriptRunner.
//
// Running a Python script (kxPythonScriptRunner::Run):
//   1. When the application's server has clients connected, the user is asked (warning with a
//      yes/no answer) "there is currently another program talking to the application\nif you
//      continue you will disconnect them\n"; no stops with the user abort (503) "script
//      stopped by user\n", yes disconnects them.
//   2. "EXECUTING PYTHON SCRIPT...\n" is printed and the server is made ready: the running
//      server as it is, or, when none runs, one started on a free port (port 0) for the
//      script's duration and stopped afterwards. (A script started by a command that a client
//      sent through the same server gets a server of its own on a free port, since the
//      application's server is busy with that command.)
//   3. The interpreter (python3 by default) is started with the script file and the argument
//      string split at blanks outside double quotes, with KX_PORT and KX_TOKEN in its
//      environment and the client package's directory in front of PYTHONPATH. When it cannot
//      be started: "unable to run python script\n" + "make sure the python executable is in
//      your path\n" (code 1).
//   4. Until it exits, the runner serves the server's clients with the running signal on. An
//      exit status other than 0 is the error "python script failed with exit status %d\n"
//      (code 1); death by a signal "python script killed by signal %d\n".
#ifndef KX_COMMANDS_KXSCRIPTSERVER_H
#define KX_COMMANDS_KXSCRIPTSERVER_H

#include <string>
#include <vector>

#include "kx/commands/command_line.h"
#include "kx/commands/kxcmdserver.h"

/// Executes the server's requests with a command object (not owned; it must outlive this).
/// Each request is a top-level Execute: its output and value are returned, a failure's code and
/// text too, and the error record is left clear.
class kxCommandExecutor : public kxCmdExecutor {
public:
    explicit kxCommandExecutor(kxCommandObject &commands) : commands_(commands) {}
    kxCmdResult Execute(const std::string &command) override;
    /// The candidates of kxCommandObject::Complete, each replacing the text from
    /// CompletionStart up to the cursor.
    std::vector<std::string> Complete(const std::string &text, int cursor) override;

private:
    kxCommandObject &commands_;
};

/// Runs Python scripts against a server (see the top). Neither the server nor the executor is
/// owned; both must outlive the runner.
class kxPythonScriptRunner {
public:
    /// `clientPath`: the directory that holds the kxclient package ("" adds nothing).
    kxPythonScriptRunner(kxCmdServer &server, kxCmdExecutor &executor, std::string clientPath);

    /// Runs `scriptFile` with the argument string; false with `error` set on failure.
    [[nodiscard]] bool Run(const char *scriptFile, const char *arguments);
    /// The program started (searched for in PATH when it has no "/"); "python3" by default.
    void SetInterpreter(std::string program) { interpreter_ = std::move(program); }
    [[nodiscard]] const std::string &GetInterpreter() const { return interpreter_; }

    /// Splits an argument string at blanks outside double quotes; quotes are removed.
    [[nodiscard]] static std::vector<std::string> SplitArguments(const char *arguments);

private:
    bool Serve(kxCmdServer &server, const char *scriptFile, const char *arguments);

    kxCmdServer &server_;
    kxCmdExecutor &executor_;
    std::string clientPath_;
    std::string interpreter_ = "python3";
};

#endif
