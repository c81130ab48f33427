// kxsh - the command console of kxCore.
//
//   kxsh [--serve [PORT]] [-c TEXT | -f FILE] [project files...]
//
// Loads the plug-ins (see kx/app/kxplugins.h) and opens the given projects, then runs TEXT or
// FILE and exits (status 0, or 1 after an error).
// Otherwise it reads commands: on a terminal with GNU readline (prompt "kx> ", "...> " inside
// an open for / if block, history kept in $XDG_STATE_HOME/kx/kxsh_history or
// ~/.local/state/kx/kxsh_history, tab completion of paths), else from standard input without a
// prompt (exit status 1 when a command failed). With --serve (default port 5101, 0 for a free
// one) it serves the command server's clients while it waits for input; the port and the
// connection file are announced on standard error. Command output goes to standard output,
// errors and warnings to standard error; on a terminal long runs show a progress line on
// standard error. The output of the commands a Python script started from the console sends
// back is shown too (its client receives it as well); that of --serve clients is not. Ctrl-C
// abandons the line being typed or stops the running command (user
// abort, 503); Ctrl-D, "exit", the end of standard input or SIGTERM end the program, which
// then stops the server and removes its connection file.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <readline/history.h>
#include <readline/readline.h>

#include "kx/app/kxappBase.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/project/kxrunsignal.h"

namespace {

volatile sig_atomic_t gInterrupted = 0;
volatile sig_atomic_t gTerminated = 0;
volatile sig_atomic_t gExecuting = 0;
kxCommandObject *gCommands = nullptr;
// Self-pipe: the signal handlers write a byte so that a signal arriving just before poll()
// still wakes it (a flag alone would be seen only at the next input).
int gWakePipe[2] = {-1, -1};

void WakeLoop()
{
    const char byte = 0;
    if (gWakePipe[1] >= 0)
        (void)!write(gWakePipe[1], &byte, 1);
}

void DrainWakePipe()
{
    char bytes[64];
    while (read(gWakePipe[0], bytes, sizeof bytes) > 0) {
    }
}

const char *const kPrompt = "kx> ";
const char *const kContinuationPrompt = "...> ";

void OnSigint(int)
{
    gInterrupted = 1;
    if (gExecuting && gCommands)
        gCommands->RequestStop();
    WakeLoop();
}

void OnSigterm(int)
{
    gTerminated = 1;
    WakeLoop();
}

kxTextProgressLine *gProgress = nullptr; // the progress line on a terminal's standard error

// -- output hooks ---------------------------------------------------------------------------
void PrintLine(int channel, const char *line)
{
    if (gProgress)
        gProgress->Clear(); // redrawn at the next spin, below the printed text
    FILE *out = channel == kxWarningChannel ? stderr : stdout;
    std::fputs(line, out);
    std::fflush(out);
}

void Warn(const char *message) { std::fprintf(stderr, "%s\n", message); }

bool WarnChoice(int, const char *message)
{
    std::fprintf(stderr, "%s (y/n) ", message);
    std::fflush(stderr);
    FILE *tty = std::fopen("/dev/tty", "r");
    if (!tty)
        return false; // nobody to ask: the safe answer
    char answer[64] = "";
    const bool got = std::fgets(answer, sizeof answer, tty) != nullptr;
    std::fclose(tty);
    return got && (answer[0] == 'y' || answer[0] == 'Y');
}

void DisplayError(const char *report) { std::fputs(report, stderr); }

void ReportError()
{
    if (!error)
        return;
    std::fprintf(stderr, "ERROR %d: %s", int(error), error.chars());
    const size_t n = std::strlen(error.chars());
    if (n == 0 || error.chars()[n - 1] != '\n')
        std::fputc('\n', stderr);
    error.reset();
}

// -- the console ------------------------------------------------------------------------------
struct Options {
    bool serve = false;
    int port = kxCmdServerDefaultPort;
    const char *text = nullptr;
    const char *file = nullptr;
    std::vector<const char *> projects;
};

int Usage(const char *why)
{
    if (why)
        std::fprintf(stderr, "kxsh: %s\n", why);
    std::fprintf(stderr, "usage: kxsh [--serve [PORT]] [-c TEXT | -f FILE] [project files...]\n");
    return 2;
}

bool IsNumber(const char *s)
{
    if (!s || !*s)
        return false;
    for (; *s; ++s)
        if (*s < '0' || *s > '9')
            return false;
    return true;
}

class Console {
public:
    explicit Console(kxAppBase &app) : app_(app), commands_(*app.getCommandObj()) {}

    /// Runs one complete command text with its output on standard output.
    bool Run(const std::string &text)
    {
        return Guarded([&] { return commands_.Execute(text.c_str()); });
    }
    /// Runs a command file or a Python file.
    bool RunFile(const char *file)
    {
        return Guarded([&] { return commands_.Runfromfile(file, ""); });
    }

    template <class F>
    bool Guarded(F run)
    {
        commands_.SetOutputHook([](const char *printed) {
            std::fputs(printed, stdout);
            std::fflush(stdout);
        });
        gExecuting = 1;
        const bool ok = run();
        gExecuting = 0;
        gInterrupted = 0;
        commands_.SetOutputHook(nullptr);
        if (!ok) {
            ReportError();
            failed_ = true;
        }
        error.reset();
        if (commands_.ExitRequested())
            quit_ = true;
        return ok;
    }

    /// Takes one typed or read line; runs the gathered text once it is complete.
    void TakeLine(const std::string &line)
    {
        pending_ += line;
        if (!kxCommandObject::IsComplete(pending_.c_str())) {
            pending_ += "\n";
            return;
        }
        const std::string text = pending_;
        pending_.clear();
        if (text.find_first_not_of(" \t\r\n") == std::string::npos)
            return;
        if (interactive_)
            Remember(text);
        Run(text);
    }

    int Loop(bool interactive);
    /// True while an unfinished block waits for more lines.
    [[nodiscard]] bool InBlock() const { return !pending_.empty(); }

    bool failed_ = false;
    bool quit_ = false;

private:
    void StartReadline();
    void Remember(const std::string &text);
    bool ReadStdin();
    void AbandonLine();

    kxAppBase &app_;
    kxCommandObject &commands_;
    std::string pending_;
    std::string stdinBuffer_;
    std::string historyFile_;
    bool interactive_ = false;
};

Console *gConsole = nullptr;

// Readline callbacks.
void OnReadlineLine(char *line)
{
    if (!line) { // Ctrl-D
        std::fputc('\n', stdout);
        gConsole->quit_ = true;
        return;
    }
    gConsole->TakeLine(line);
    std::free(line);
    rl_set_prompt(gConsole->InBlock() ? kContinuationPrompt : kPrompt);
}

std::vector<std::string> gMatches;

char *NextMatch(const char *, int state)
{
    static size_t next = 0;
    if (state == 0)
        next = 0;
    if (next >= gMatches.size())
        return nullptr;
    return strdup(gMatches[next++].c_str());
}

char **CompleteLine(const char *, int start, int end)
{
    rl_attempted_completion_over = 1; // never fall back to file names
    const std::string line(rl_line_buffer, static_cast<size_t>(rl_end));
    const int ours = kxCommandObject::CompletionStart(line.c_str(), end);
    gMatches.clear();
    for (const KXString &candidate : gCommands->Complete(line.c_str(), end)) {
        std::string c = candidate.c_str();
        // Readline replaces text[start, end); the candidates replace text[ours, end).
        if (ours < start) {
            const std::string head =
                line.substr(static_cast<size_t>(ours), static_cast<size_t>(start - ours));
            if (c.compare(0, head.size(), head) != 0)
                continue;
            c.erase(0, head.size());
        } else if (ours > start) {
            c = line.substr(static_cast<size_t>(start), static_cast<size_t>(ours - start)) + c;
        }
        gMatches.push_back(c);
    }
    error.reset();
    if (gMatches.empty())
        return nullptr;
    rl_completion_append_character = '\0';
    return rl_completion_matches("", NextMatch);
}

std::string HistoryPath()
{
    const char *state = std::getenv("XDG_STATE_HOME");
    std::string dir;
    if (state && state[0] == '/') {
        dir = state;
    } else {
        const char *home = std::getenv("HOME");
        if (!home || !*home)
            return "";
        dir = std::string(home) + "/.local/state";
    }
    dir += "/kx";
    // Make each missing level.
    for (size_t slash = 1; slash != std::string::npos; slash = dir.find('/', slash + 1))
        mkdir(dir.substr(0, slash).c_str(), 0700);
    mkdir(dir.c_str(), 0700);
    return dir + "/kxsh_history";
}

void Console::StartReadline()
{
    rl_catch_signals = 0;
    rl_readline_name = "kxsh";
    rl_attempted_completion_function = CompleteLine;
    rl_basic_word_break_characters = const_cast<char *>(" \t\n\"=;,()[]{}.+-*/<>!&|");
    historyFile_ = HistoryPath();
    if (!historyFile_.empty())
        read_history(historyFile_.c_str());
    rl_callback_handler_install(kPrompt, OnReadlineLine);
}

void Console::Remember(const std::string &text)
{
    add_history(text.c_str());
    if (historyFile_.empty())
        return;
    if (access(historyFile_.c_str(), F_OK) != 0)
        write_history(historyFile_.c_str());
    else
        append_history(1, historyFile_.c_str());
    history_truncate_file(historyFile_.c_str(), 1000);
}

void Console::AbandonLine()
{
    pending_.clear();
    rl_free_line_state();
    rl_callback_sigcleanup();
    rl_replace_line("", 0);
    std::fputs("\n", stdout);
    rl_set_prompt(kPrompt);
    rl_on_new_line();
    rl_redisplay();
}

bool Console::ReadStdin()
{
    char chunk[65536];
    const ssize_t got = read(STDIN_FILENO, chunk, sizeof chunk);
    if (got < 0)
        return errno == EINTR || errno == EAGAIN;
    if (got == 0) {
        if (!stdinBuffer_.empty())
            TakeLine(stdinBuffer_);
        stdinBuffer_.clear();
        if (!pending_.empty())
            Run(pending_); // an unfinished block: let the language report it
        pending_.clear();
        return false;
    }
    stdinBuffer_.append(chunk, static_cast<size_t>(got));
    size_t start = 0;
    for (size_t nl; !quit_ && (nl = stdinBuffer_.find('\n', start)) != std::string::npos;
         start = nl + 1)
        TakeLine(stdinBuffer_.substr(start, nl - start));
    stdinBuffer_.erase(0, start);
    return true;
}

int Console::Loop(bool interactive)
{
    interactive_ = interactive;
    if (interactive_)
        StartReadline();
    kxCmdServer &server = app_.getCommandServer();
    bool stdinOpen = true;
    while (!quit_ && !gTerminated && stdinOpen) {
        std::vector<pollfd> fds{{STDIN_FILENO, POLLIN, 0}, {gWakePipe[0], POLLIN, 0}};
        server.AppendPollFds(fds);
        const int ready = poll(fds.data(), fds.size(), server.IsRunning() ? 200 : -1);
        if (fds[1].revents)
            DrainWakePipe();
        if (gInterrupted) {
            gInterrupted = 0;
            if (interactive_)
                AbandonLine();
            else
                pending_.clear();
        }
        if (ready < 0)
            continue;
        if (fds[0].revents) {
            if (interactive_)
                rl_callback_read_char();
            else
                stdinOpen = ReadStdin();
        }
        // A client's command may run now: Ctrl-C stops it like one typed here.
        gExecuting = 1;
        server.Dispatch(fds);
        gExecuting = 0;
        if (commands_.ExitRequested())
            quit_ = true;
    }
    if (interactive_)
        rl_callback_handler_remove();
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--serve") {
            options.serve = true;
            if (i + 1 < argc && IsNumber(argv[i + 1]))
                options.port = std::atoi(argv[++i]);
        } else if (a == "-c" || a == "-f") {
            if (i + 1 >= argc)
                return Usage((a + " needs an argument").c_str());
            if (options.text || options.file)
                return Usage("give only one of -c and -f");
            (a == "-c" ? options.text : options.file) = argv[++i];
        } else if (a == "-h" || a == "--help") {
            Usage(nullptr);
            return 0;
        } else if (a.size() > 1 && a[0] == '-') {
            return Usage(("unknown option " + a).c_str());
        } else {
            options.projects.push_back(argv[i]);
        }
    }

    InitialiseKXUtils("kxsh", KXString("kxCore"), 33, nullptr, Warn, WarnChoice, PrintLine,
                      DisplayError);
    std::signal(SIGPIPE, SIG_IGN);
    if (pipe2(gWakePipe, O_NONBLOCK | O_CLOEXEC) != 0) {
        std::perror("kxsh: pipe");
        return 1;
    }
    struct sigaction sa {};
    sa.sa_handler = OnSigint;
    sigaction(SIGINT, &sa, nullptr); // no SA_RESTART: poll wakes up
    sa.sa_handler = OnSigterm;
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGHUP, &sa, nullptr);

    kxTextProgressLine progress(stderr);
    if (isatty(STDERR_FILENO)) {
        kxRunControl::setIndicator(&progress);
        gProgress = &progress;
    }

    int status = 0;
    {
        kxAppBase app;
        gCommands = app.getCommandObj();
        Console console(app);
        gConsole = &console;
        // Plug-ins first: the projects may hold their node types.
        app.LoadPlugins();
        ReportError();
        for (const char *project : options.projects)
            if (!app.OpenProject(project)) {
                ReportError();
                status = 1;
            }
        if (options.serve) {
            if (!app.StartServer(options.port)) {
                ReportError();
                return 1;
            }
            kxCmdServer &server = app.getCommandServer();
            std::fprintf(stderr, "kxsh: serving on port %d (connection file %s)\n",
                         server.GetPort(), server.GetConnectionFile().c_str());
            std::fflush(stderr);
        }
        if (options.text || options.file) {
            bool ok = true;
            if (options.text) {
                ok = console.Run(options.text);
            } else {
                ok = console.RunFile(options.file);
            }
            status = ok && status == 0 ? 0 : 1;
        } else {
            const bool interactive = isatty(STDIN_FILENO) && isatty(STDOUT_FILENO);
            console.Loop(interactive);
            if (!interactive && console.failed_)
                status = 1;
        }
        gConsole = nullptr;
        gCommands = nullptr;
    }
    kxRunControl::setIndicator(nullptr);
    return status;
}
