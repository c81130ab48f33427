// kxsocket.h - the system side of the command server: loopback listening sockets,
// non-blocking client sockets, the random token and the private connection-file directory.
// Internal to the commands module. Every function reports failure by its result and the
// system's errno value; none touches the global error record.
#ifndef KX_COMMANDS_KXSOCKET_H
#define KX_COMMANDS_KXSOCKET_H

#include <string>
#include <vector>

/// Listens on 127.0.0.1:`port` and, when the system allows, on [::1] at the same port (port 0:
/// a free port chosen for the first socket). Appends the non-blocking listening descriptors to
/// `fds` and sets `boundPort`. Returns 0, or the errno value of the IPv4 failure (nothing is
/// left open then).
[[nodiscard]] int kxListenLoopback(int port, std::vector<int> &fds, int &boundPort);

/// Accepts one pending connection as a non-blocking, close-on-exec socket; -1 when none is
/// pending (or accepting failed).
[[nodiscard]] int kxAcceptClient(int listenFd);

/// Sends as much of `data` as the socket takes now, without SIGPIPE. Returns the bytes sent,
/// 0 when the socket would block, -1 when the connection is broken.
[[nodiscard]] long kxSendSome(int fd, const char *data, size_t size);

/// Receives what is there into `buffer`. Returns the bytes received, 0 when none are waiting,
/// -1 at the end of the stream or on a broken connection.
[[nodiscard]] long kxReceiveSome(int fd, char *buffer, size_t size);

/// Ends the sending direction (the peer sees the end of the stream).
void kxShutdownSend(int fd);
void kxCloseSocket(int fd);

/// 128 random bits from the system's generator as 32 lowercase hexadecimal digits; false when
/// the generator failed.
[[nodiscard]] bool kxRandomToken(std::string &token);

/// The directory of connection files, created with mode 0700 when missing: XDG_RUNTIME_DIR/kx,
/// or /tmp/kx-<user>. Refuses (errno value returned, `dir` empty) a directory that is a link,
/// is not a directory or belongs to someone else; tightens the mode of one of our own.
[[nodiscard]] int kxConnectionDir(std::string &dir);

/// Writes `text` to `path` with mode 0600 through a temporary file and a rename, so a reader
/// never sees a partial file. Returns 0 or the errno value.
[[nodiscard]] int kxWritePrivateFile(const std::string &path, const std::string &text);

#endif
