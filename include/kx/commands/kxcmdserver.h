// kxcmdserver.h - the command server: other programs (above all Python scripts) send commands
// to the application over TCP on the loopback interface and get their results back.
//
// Protocol
// --------
// JSON-RPC 2.0, one message per line (newline-delimited JSON), on 127.0.0.1 and, when the
// system has it, ::1, both on the same port. Methods:
//   auth      {"token": "..."}                 -> true
//   execute   {"command": "..."}               -> {"value": ..., "type": "double" | "int" |
//                                                  "complex" | "text" | "object" | "none",
//                                                  "output": "printed text"}
//             (a complex value is [re, im]; "none" has the value null)
//   complete  {"text": "...", "cursor": n}     -> ["candidate", ...]  (cursor defaults to the
//                                                  end of the text)
//   ping      {} or none                       -> "pong"
// Parameters may also be given by position (["command"], ["text", n], ["token"]).
// A command that fails answers with a JSON-RPC error carrying the system's error code and text
// and the output printed before the failure: {"code": 504, "message": "...", "data":
// {"output": "..."}}. Protocol faults use JSON-RPC's codes: -32700 parse error, -32600
// invalid request, -32601 unknown method, -32602 invalid parameters; the server's own refusals
// use -32000 (too many clients), -32001 (not authenticated), -32002 (wrong token) and -32003
// (message too large). Batches and notifications behave as JSON-RPC 2.0 says: a batch gets
// one array of responses for its non-notification members (none at all when every member is
// a notification), and responses on one connection come back in the order of the requests.
//
// Authentication
// --------------
// Start makes a random 128-bit token (32 hexadecimal digits) and writes the connection file
// `$XDG_RUNTIME_DIR/kx/server-<port>.json`, {"port": n, "token": "...", "pid": n}. Without
// XDG_RUNTIME_DIR the directory is `/tmp/kx-<user>/`. The directory is made with mode 0700 and
// must belong to the user; the file has mode 0600. Stop (and the destructor) remove the file.
// Until a connection has called auth successfully every other call on it is refused with
// -32001; auth with a wrong token is answered with -32002 and the connection is closed.
//
// Threads and limits
// ------------------
// The server has no threads. The thread that owns the objects pumps it from its own loop:
// either Poll(timeout), or AppendPollFds / Dispatch around a poll() of its own that also
// watches other descriptors (a console's standard input). Commands therefore run on that
// thread, one at a time, through the kxCmdExecutor given to the constructor. While a command
// runs the server is not re-entered: a Poll from inside a command (a calculation yielding to
// its event loop) returns at once. All sockets are non-blocking: a client that stops half-way
// through a line holds only its own buffer. A message over 1 MiB (kxCmdServerMaxMessage) is
// answered with -32003 and the connection closed; a 17th simultaneous client (limit
// kxCmdServerMaxClients) is answered with -32000 and closed; a client that goes away while its
// command runs only loses its responses.
#ifndef KX_COMMANDS_KXCMDSERVER_H
#define KX_COMMANDS_KXCMDSERVER_H

#include <memory>
#include <string>
#include <vector>

#include "kx/commands/command_line.h"

struct pollfd;

constexpr int kxCmdServerDefaultPort = 5101;
constexpr int kxCmdServerMaxClients = 16;
constexpr size_t kxCmdServerMaxMessage = 1 << 20;

/// What one executed command gives back. On failure (`ok` false) `errorCode` and `errorText`
/// hold the system's error; `output` is what the command printed in either case.
struct kxCmdResult {
    bool ok = true;
    kxCmdValueType type = kxCmdNone;
    double real = 0;       ///< double, and the real part of a complex
    double imag = 0;       ///< imaginary part of a complex
    long long integer = 0; ///< int
    std::string text;      ///< text, and the path or name of an object
    std::string output;
    int errorCode = 0;
    std::string errorText;
};

/// What the server runs commands with. The application's implementation sits on its command
/// object; tests give a fake one.
class kxCmdExecutor {
public:
    virtual ~kxCmdExecutor() = default;
    /// Executes one command text (which may hold several statements).
    virtual kxCmdResult Execute(const std::string &command) = 0;
    /// The completion candidates for `text` with the cursor at byte `cursor`.
    virtual std::vector<std::string> Complete(const std::string &text, int cursor) = 0;
};

class kxCmdServerImpl;

/// The server. Owns its sockets and its connection file; does not own the executor, which must
/// outlive it. Not copyable.
class kxCmdServer {
public:
    explicit kxCmdServer(kxCmdExecutor &executor);
    ~kxCmdServer();
    kxCmdServer(const kxCmdServer &) = delete;
    kxCmdServer &operator=(const kxCmdServer &) = delete;

    /// Listens on `port` (0 picks a free port), makes the token and writes the connection file.
    /// A server already running is stopped first. On failure records a file error (500) in
    /// `error` naming the port or the file, and returns false with nothing left open.
    [[nodiscard]] bool Start(int port = kxCmdServerDefaultPort);
    /// Closes every connection and the listeners and removes the connection file.
    void Stop();
    /// Closes every client connection; the server keeps listening.
    void DisconnectClients();

    [[nodiscard]] bool IsRunning() const;
    /// The port listened on (0 when not running).
    [[nodiscard]] int GetPort() const;
    /// The token clients must give to auth ("" when not running).
    [[nodiscard]] const std::string &GetToken() const;
    /// Path of the connection file ("" when not running).
    [[nodiscard]] const std::string &GetConnectionFile() const;
    /// Clients connected now, authenticated or not.
    [[nodiscard]] int GetNumClients() const;
    /// True while the server is handling received requests (a command of a client runs).
    [[nodiscard]] bool IsServing() const;

    /// Waits up to `timeoutMs` (-1: without limit, 0: not at all) for activity and handles it:
    /// new connections, received requests (executed at once), pending output. Returns false
    /// when the server is not running or is already inside a command.
    bool Poll(int timeoutMs);
    /// For an owner that polls several sources at once: appends the server's descriptors with
    /// the events to wait for.
    void AppendPollFds(std::vector<pollfd> &fds) const;
    /// Handles the descriptors of `fds` that belong to the server and have events (others are
    /// ignored); `fds` is what the owner's poll() filled in.
    void Dispatch(const std::vector<pollfd> &fds);

private:
    std::unique_ptr<kxCmdServerImpl> impl_;
};

#endif
