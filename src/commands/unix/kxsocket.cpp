// kxsocket.cpp - POSIX sockets, random token and connection-file directory of the command
// server (see kxsocket.h).
#include "commands/kxsocket.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pwd.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// A non-blocking, close-on-exec stream socket bound to `addr` and listening; -1 with errno.
int ListenOn(const sockaddr *addr, socklen_t length, bool v6only)
{
    const int fd = socket(addr->sa_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return -1;
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (v6only)
        setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    if (bind(fd, addr, length) != 0 || listen(fd, 64) != 0) {
        const int saved = errno;
        close(fd);
        errno = saved;
        return -1;
    }
    return fd;
}

int PortOf(int fd)
{
    sockaddr_storage addr{};
    socklen_t length = sizeof addr;
    if (getsockname(fd, reinterpret_cast<sockaddr *>(&addr), &length) != 0)
        return 0;
    if (addr.ss_family == AF_INET)
        return ntohs(reinterpret_cast<sockaddr_in *>(&addr)->sin_port);
    return ntohs(reinterpret_cast<sockaddr_in6 *>(&addr)->sin6_port);
}

std::string UserName()
{
    const passwd *entry = getpwuid(getuid());
    if (entry && entry->pw_name && *entry->pw_name)
        return entry->pw_name;
    return std::to_string(getuid());
}

} // namespace

int kxListenLoopback(int port, std::vector<int> &fds, int &boundPort)
{
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_port = htons(static_cast<uint16_t>(port));
    v4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int fd4 = ListenOn(reinterpret_cast<sockaddr *>(&v4), sizeof v4, false);
    if (fd4 < 0)
        return errno;
    boundPort = PortOf(fd4);
    fds.push_back(fd4);

    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(static_cast<uint16_t>(boundPort));
    v6.sin6_addr = in6addr_loopback;
    const int fd6 = ListenOn(reinterpret_cast<sockaddr *>(&v6), sizeof v6, true);
    if (fd6 >= 0)
        fds.push_back(fd6); // no IPv6 loopback on this system is not a fault
    return 0;
}

int kxAcceptClient(int listenFd)
{
    const int fd = accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0) {
        // Answers are single small writes: send each at once rather than wait for an ACK.
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    return fd;
}

long kxSendSome(int fd, const char *data, size_t size)
{
    for (;;) {
        const ssize_t sent = send(fd, data, size, MSG_NOSIGNAL);
        if (sent >= 0)
            return sent;
        if (errno == EINTR)
            continue;
        return errno == EAGAIN || errno == EWOULDBLOCK ? 0 : -1;
    }
}

long kxReceiveSome(int fd, char *buffer, size_t size)
{
    for (;;) {
        const ssize_t got = recv(fd, buffer, size, 0);
        if (got > 0)
            return got;
        if (got == 0)
            return -1;
        if (errno == EINTR)
            continue;
        return errno == EAGAIN || errno == EWOULDBLOCK ? 0 : -1;
    }
}

void kxShutdownSend(int fd) { shutdown(fd, SHUT_WR); }

void kxCloseSocket(int fd) { close(fd); }

bool kxRandomToken(std::string &token)
{
    unsigned char bytes[16];
    size_t have = 0;
    while (have < sizeof bytes) {
        const ssize_t got = getrandom(bytes + have, sizeof bytes - have, 0);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
        have += static_cast<size_t>(got);
    }
    static const char digits[] = "0123456789abcdef";
    token.clear();
    for (unsigned char b : bytes) {
        token += digits[b >> 4];
        token += digits[b & 15];
    }
    return true;
}

int kxConnectionDir(std::string &dir)
{
    const char *runtime = std::getenv("XDG_RUNTIME_DIR");
    std::string path =
        runtime && runtime[0] == '/' ? std::string(runtime) + "/kx" : "/tmp/kx-" + UserName();
    dir.clear();
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
        return errno;
    struct stat st;
    if (lstat(path.c_str(), &st) != 0)
        return errno;
    if (!S_ISDIR(st.st_mode))
        return ENOTDIR;
    if (st.st_uid != getuid())
        return EPERM;
    if ((st.st_mode & 077) != 0 && chmod(path.c_str(), 0700) != 0)
        return errno;
    dir = path;
    return 0;
}

int kxWritePrivateFile(const std::string &path, const std::string &text)
{
    const std::string temporary = path + ".tmp";
    unlink(temporary.c_str());
    const int fd =
        open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return errno;
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t wrote = write(fd, text.data() + done, text.size() - done);
        if (wrote < 0 && errno == EINTR)
            continue;
        if (wrote <= 0) {
            const int saved = errno;
            close(fd);
            unlink(temporary.c_str());
            return saved ? saved : EIO;
        }
        done += static_cast<size_t>(wrote);
    }
    if (close(fd) != 0 || rename(temporary.c_str(), path.c_str()) != 0) {
        const int saved = errno;
        unlink(temporary.c_str());
        return saved;
    }
    return 0;
}
