// kxscriptserver.cpp - the command object's executor for the server and the Python script
// runner (see kxscriptserver.h).
#define KX_UNIT "kxscriptserver"
#include "kx/commands/kxscriptserver.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "kx/foundation/kxerror.h"
#include "kx/project/kxrunsignal.h"

extern char **environ;

kxCmdResult kxCommandExecutor::Execute(const std::string &command)
{
    kxCmdResult result;
    result.ok = commands_.Execute(command.c_str());
    result.output = commands_.GetOutput().c_str();
    if (!result.ok) {
        result.errorCode = error;
        result.errorText = error.chars();
        error.reset();
        return result;
    }
    const kxCommandValue &value = commands_.GetLastResult();
    result.type = value.type;
    result.real = value.number.real();
    result.imag = value.number.imag();
    result.integer = static_cast<long long>(value.number.real());
    result.text = value.text.c_str();
    error.reset();
    return result;
}

std::vector<std::string> kxCommandExecutor::Complete(const std::string &text, int cursor)
{
    std::vector<std::string> names;
    for (const KXString &candidate : commands_.Complete(text.c_str(), cursor))
        names.emplace_back(candidate.c_str());
    return names;
}

// ---------------------------------------------------------------------------------------------
kxPythonScriptRunner::kxPythonScriptRunner(kxCmdServer &server, kxCmdExecutor &executor,
                                           std::string clientPath)
    : server_(server), executor_(executor), clientPath_(std::move(clientPath))
{
}

std::vector<std::string> kxPythonScriptRunner::SplitArguments(const char *arguments)
{
    std::vector<std::string> words;
    std::string word;
    bool quoted = false, inWord = false;
    for (const char *p = arguments ? arguments : ""; *p; ++p) {
        if (*p == '"') {
            quoted = !quoted;
            inWord = true;
        } else if (!quoted && (*p == ' ' || *p == '\t')) {
            if (inWord)
                words.push_back(word);
            word.clear();
            inWord = false;
        } else {
            word += *p;
            inWord = true;
        }
    }
    if (inWord)
        words.push_back(word);
    return words;
}

bool kxPythonScriptRunner::Run(const char *scriptFile, const char *arguments)
{
    if (error)
        return false;
    const bool nested = server_.IsServing();
    if (!nested && server_.IsRunning() && server_.GetNumClients() > 0) {
        if (!kxWarnChoice(0, "there is currently another program talking to the application\n"
                             "if you continue you will disconnect them\n")) {
            error.Raise(kxErrUserAbort, "script stopped by user\n");
            return false;
        }
        server_.DisconnectClients();
    }
    wlprintf("EXECUTING PYTHON SCRIPT...\n");
    if (!nested && server_.IsRunning())
        return Serve(server_, scriptFile, arguments);
    // No server yet, or ours is busy with the command that started this script.
    kxCmdServer own(executor_);
    kxCmdServer &server = nested ? own : server_;
    if (!server.Start(0))
        return false;
    const bool ok = Serve(server, scriptFile, arguments);
    server.Stop();
    return ok;
}

bool kxPythonScriptRunner::Serve(kxCmdServer &server, const char *scriptFile, const char *arguments)
{
    std::vector<std::string> args{interpreter_, scriptFile ? scriptFile : ""};
    for (std::string &word : SplitArguments(arguments))
        args.push_back(std::move(word));
    std::vector<char *> argv;
    for (std::string &a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);

    std::vector<std::string> env;
    const char *oldPath = std::getenv("PYTHONPATH");
    for (char **e = environ; *e; ++e)
        if (std::strncmp(*e, "KX_PORT=", 8) && std::strncmp(*e, "KX_TOKEN=", 9) &&
            std::strncmp(*e, "PYTHONPATH=", 11))
            env.emplace_back(*e);
    env.push_back("KX_PORT=" + std::to_string(server.GetPort()));
    env.push_back("KX_TOKEN=" + server.GetToken());
    std::string path = clientPath_;
    if (oldPath && *oldPath)
        path = path.empty() ? oldPath : path + ":" + oldPath;
    if (!path.empty())
        env.push_back("PYTHONPATH=" + path);
    std::vector<char *> envp;
    for (std::string &e : env)
        envp.push_back(e.data());
    envp.push_back(nullptr);

    pid_t pid = 0;
    if (posix_spawnp(&pid, interpreter_.c_str(), nullptr, nullptr, argv.data(), envp.data()) != 0) {
        error.Raise(1, "unable to run python script\nmake sure the python executable is in your "
                       "path\n");
        return false;
    }
    RunSignal running;
    int status = 0;
    for (;;) {
        const pid_t done = waitpid(pid, &status, WNOHANG);
        if (done == pid || (done < 0 && errno != EINTR))
            break;
        server.Poll(20);
        RunSignal::Spin(); // lets a window repaint its indicator and take a stop click
    }
    error.reset(); // errors of the script's commands went back to the script
    if (WIFSIGNALED(status)) {
        error.Raise(1, "python script killed by signal %d\n", WTERMSIG(status));
        return false;
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
        error.Raise(1, "python script failed with exit status %d\n", WEXITSTATUS(status));
        return false;
    }
    return true;
}
