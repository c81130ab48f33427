// kxcmdserver.cpp - the command server's connections and request handling (see kxcmdserver.h).
// Socket calls are in unix/kxsocket.cpp, the JSON-RPC layer in kxrpc.cpp.
#define KX_UNIT "kxcmdserver"
#include "kx/commands/kxcmdserver.h"

#include <chrono>
#include <cstring>

#include <poll.h>
#include <unistd.h>

#include "commands/kxrpc.h"
#include "commands/kxsocket.h"
#include "kx/foundation/kxerror.h"

using nlohmann::json;

namespace {

/// How long a closing connection may take to read its last answer before it is cut.
constexpr auto kLingerTime = std::chrono::seconds(2);
/// Output a client leaves unread beyond this ends its connection.
constexpr size_t kMaxPendingOutput = 64u << 20;

struct Connection {
    int fd = -1;
    std::string in;  ///< received bytes not yet making a whole line
    std::string out; ///< responses not yet sent
    bool authenticated = false;
    bool closing = false;  ///< send what is pending, then end the connection
    bool sendShut = false; ///< the sending direction is already shut
    bool dead = false;     ///< to be closed and dropped at the next sweep
    std::chrono::steady_clock::time_point closeBy;
};

bool TokensEqual(const std::string &a, const std::string &b)
{
    if (a.size() != b.size())
        return false;
    unsigned char diff = 0;
    for (size_t i = 0; i < a.size(); ++i)
        diff |= static_cast<unsigned char>(a[i] ^ b[i]);
    return diff == 0;
}

/// A parameter given by name or, in an array, by position.
const json *Param(const json &params, const char *name, size_t position)
{
    if (params.is_object()) {
        const auto it = params.find(name);
        return it == params.end() ? nullptr : &*it;
    }
    if (params.is_array() && position < params.size())
        return &params[position];
    return nullptr;
}

json ResultValue(const kxCmdResult &result)
{
    switch (result.type) {
    case kxCmdDouble: return result.real;
    case kxCmdInt: return result.integer;
    case kxCmdComplex: return json::array({result.real, result.imag});
    case kxCmdText:
    case kxCmdObject: return result.text;
    case kxCmdNone: break;
    }
    return nullptr;
}

} // namespace

class kxCmdServerImpl {
public:
    explicit kxCmdServerImpl(kxCmdExecutor &executor) : executor_(executor) {}
    ~kxCmdServerImpl() { Stop(); }

    bool Start(int port);
    void Stop();
    void DisconnectClients();
    bool Poll(int timeoutMs);
    void AppendPollFds(std::vector<pollfd> &fds) const;
    void Dispatch(const std::vector<pollfd> &fds);
    int NumClients() const;
    bool Serving() const { return busy_; }

    bool running_ = false;
    int port_ = 0;
    std::string token_;
    std::string file_;

private:
    void AcceptAll(int listenFd);
    void Receive(Connection &c);
    void HandleLine(Connection &c, std::string_view line);
    json HandleRequest(Connection &c, const kxRpcRequest &request, bool &stop);
    json Execute(const kxRpcRequest &request);
    json Complete(const kxRpcRequest &request);
    void Queue(Connection &c, const json &response);
    void Refuse(Connection &c, int code, const std::string &text);
    void Flush(Connection &c);
    void Sweep();
    Connection *Find(int fd);

    kxCmdExecutor &executor_;
    std::vector<int> listeners_;
    std::vector<Connection> connections_;
    bool busy_ = false; ///< inside Dispatch: a nested Poll or Dispatch returns at once
    bool stopAfterDispatch_ = false;
};

bool kxCmdServerImpl::Start(int port)
{
    Stop();
    if (port < 0 || port > 65535) {
        error.Raise(kxErrFile, "invalid server port %d\n", port);
        return false;
    }
    std::string token;
    if (!kxRandomToken(token)) {
        error.Raise(kxErrFile, "could not make the server token: %s\n", strerror(errno));
        return false;
    }
    int bound = 0;
    if (const int failed = kxListenLoopback(port, listeners_, bound)) {
        error.Raise(kxErrFile, "could not listen on port %d: %s\n", port, strerror(failed));
        return false;
    }
    std::string dir;
    int failed = kxConnectionDir(dir);
    const std::string file = dir + "/server-" + std::to_string(bound) + ".json";
    if (!failed) {
        const json info{{"port", bound}, {"token", token}, {"pid", static_cast<int>(getpid())}};
        failed = kxWritePrivateFile(file, info.dump() + "\n");
    }
    if (failed) {
        error.Raise(kxErrFile, "could not write the server connection file %s: %s\n",
                    dir.empty() ? "directory" : file.c_str(), strerror(failed));
        for (int fd : listeners_)
            kxCloseSocket(fd);
        listeners_.clear();
        return false;
    }
    running_ = true;
    port_ = bound;
    token_ = token;
    file_ = file;
    return true;
}

void kxCmdServerImpl::Stop()
{
    if (busy_) {
        stopAfterDispatch_ = true; // connections are in use by the running request
        return;
    }
    for (Connection &c : connections_)
        kxCloseSocket(c.fd);
    connections_.clear();
    for (int fd : listeners_)
        kxCloseSocket(fd);
    listeners_.clear();
    if (!file_.empty())
        unlink(file_.c_str());
    running_ = false;
    port_ = 0;
    token_.clear();
    file_.clear();
}

void kxCmdServerImpl::DisconnectClients()
{
    for (Connection &c : connections_)
        c.dead = true;
    if (!busy_)
        Sweep();
}

int kxCmdServerImpl::NumClients() const
{
    int n = 0;
    for (const Connection &c : connections_)
        n += !c.closing && !c.dead;
    return n;
}

Connection *kxCmdServerImpl::Find(int fd)
{
    for (Connection &c : connections_)
        if (c.fd == fd)
            return &c;
    return nullptr;
}

void kxCmdServerImpl::AppendPollFds(std::vector<pollfd> &fds) const
{
    for (int fd : listeners_)
        fds.push_back({fd, POLLIN, 0});
    for (const Connection &c : connections_) {
        if (c.dead)
            continue;
        const short events = static_cast<short>(POLLIN | (c.out.empty() ? 0 : POLLOUT));
        fds.push_back({c.fd, events, 0});
    }
}

bool kxCmdServerImpl::Poll(int timeoutMs)
{
    if (!running_ || busy_)
        return false;
    std::vector<pollfd> fds;
    AppendPollFds(fds);
    // A closing connection is cut after its linger time even if its client stays silent.
    if (timeoutMs < 0 || timeoutMs > 100)
        for (const Connection &c : connections_)
            if (c.closing)
                timeoutMs = 100;
    const int ready = poll(fds.data(), fds.size(), timeoutMs);
    if (ready < 0)
        return errno == EINTR;
    Dispatch(fds);
    return true;
}

void kxCmdServerImpl::Dispatch(const std::vector<pollfd> &fds)
{
    if (!running_ || busy_)
        return;
    busy_ = true;
    for (const pollfd &p : fds) {
        if (p.revents == 0)
            continue;
        bool listener = false;
        for (int fd : listeners_)
            listener = listener || fd == p.fd;
        if (listener) {
            AcceptAll(p.fd);
            continue;
        }
        Connection *c = Find(p.fd);
        if (!c || c->dead)
            continue;
        if (p.revents & (POLLIN | POLLHUP | POLLERR))
            Receive(*c);
        if (!c->dead && !c->out.empty())
            Flush(*c);
    }
    busy_ = false;
    Sweep();
    if (stopAfterDispatch_) {
        stopAfterDispatch_ = false;
        Stop();
    }
}

void kxCmdServerImpl::AcceptAll(int listenFd)
{
    for (;;) {
        const int fd = kxAcceptClient(listenFd);
        if (fd < 0)
            return;
        const bool full = NumClients() >= kxCmdServerMaxClients;
        connections_.push_back(Connection{});
        Connection &c = connections_.back();
        c.fd = fd;
        if (full)
            Refuse(c, kxRpcTooManyClients,
                   "too many clients: the server serves at most " +
                       std::to_string(kxCmdServerMaxClients) + " at once");
    }
}

void kxCmdServerImpl::Receive(Connection &c)
{
    char buffer[65536];
    // A bounded number of reads per round, so one busy client cannot hold the others off.
    for (int round = 0; round < 32; ++round) {
        const long got = kxReceiveSome(c.fd, buffer, sizeof buffer);
        if (got < 0) {
            c.dead = true;
            return;
        }
        if (got == 0)
            return;
        if (c.closing)
            continue; // waiting for the client to read our last answer: drop its input
        c.in.append(buffer, static_cast<size_t>(got));
        size_t start = 0;
        for (size_t end; !c.closing && (end = c.in.find('\n', start)) != std::string::npos;
             start = end + 1) {
            if (end - start > kxCmdServerMaxMessage)
                break;
            HandleLine(c, std::string_view(c.in).substr(start, end - start));
            if (c.dead)
                return;
        }
        c.in.erase(0, start);
        const size_t lineEnd = c.in.find('\n');
        const size_t lineLength = lineEnd == std::string::npos ? c.in.size() : lineEnd;
        if (!c.closing && lineLength > kxCmdServerMaxMessage)
            Refuse(c, kxRpcTooLarge,
                   "message too large: the limit is " + std::to_string(kxCmdServerMaxMessage) +
                       " bytes");
        if (c.closing)
            c.in.clear();
    }
}

void kxCmdServerImpl::HandleLine(Connection &c, std::string_view line)
{
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    if (line.find_first_not_of(" \t") == std::string_view::npos)
        return; // blank lines are allowed between messages
    const kxRpcMessage message = kxRpcDecode(line);
    if (message.parseError) {
        Queue(c, kxRpcError(nullptr, kxRpcParseError, "Parse error: the message is not JSON"));
        return;
    }
    json batch = json::array();
    bool stop = false;
    for (const kxRpcRequest &request : message.requests) {
        json response = HandleRequest(c, request, stop);
        if (!response.is_null())
            batch.push_back(std::move(response));
        if (stop)
            break;
    }
    if (message.batch && !batch.empty())
        Queue(c, batch);
    else if (!message.batch && !batch.empty())
        Queue(c, batch[0]);
    if (stop)
        c.closing = true;
}

json kxCmdServerImpl::HandleRequest(Connection &c, const kxRpcRequest &request, bool &stop)
{
    if (request.invalid)
        return kxRpcError(request.id, request.errorCode, request.errorText);
    json response;
    if (request.method == "auth") {
        const json *token = Param(request.params, "token", 0);
        if (!token || !token->is_string()) {
            response = kxRpcError(request.id, kxRpcInvalidParams,
                                  "Invalid params: auth needs a \"token\" text");
        } else if (TokensEqual(token->get<std::string>(), token_)) {
            c.authenticated = true;
            response = kxRpcResult(request.id, true);
        } else {
            stop = true; // a wrong token ends the connection, notification or not
            return kxRpcError(request.id, kxRpcWrongToken, "wrong token");
        }
    } else if (!c.authenticated) {
        response = kxRpcError(request.id, kxRpcNotAuthenticated,
                              "not authenticated: call auth with the server's token first");
    } else if (request.method == "execute") {
        response = Execute(request);
    } else if (request.method == "complete") {
        response = Complete(request);
    } else if (request.method == "ping") {
        response = kxRpcResult(request.id, "pong");
    } else {
        response =
            kxRpcError(request.id, kxRpcMethodNotFound, "Method not found: " + request.method);
    }
    return request.notification ? json() : response;
}

json kxCmdServerImpl::Execute(const kxRpcRequest &request)
{
    const json *command = Param(request.params, "command", 0);
    if (!command || !command->is_string())
        return kxRpcError(request.id, kxRpcInvalidParams,
                          "Invalid params: execute needs a \"command\" text");
    const kxCmdResult result = executor_.Execute(command->get<std::string>());
    if (!result.ok)
        return kxRpcError(request.id, result.errorCode, result.errorText,
                          json{{"output", result.output}});
    return kxRpcResult(request.id, json{{"value", ResultValue(result)},
                                        {"type", kxCommandValue::TypeName(result.type)},
                                        {"output", result.output}});
}

json kxCmdServerImpl::Complete(const kxRpcRequest &request)
{
    const json *text = Param(request.params, "text", 0);
    const json *cursor = Param(request.params, "cursor", 1);
    if (!text || !text->is_string() || (cursor && !cursor->is_number_integer()))
        return kxRpcError(request.id, kxRpcInvalidParams,
                          "Invalid params: complete needs a \"text\" and an integer \"cursor\"");
    const std::string line = text->get<std::string>();
    long long at = cursor ? cursor->get<long long>() : static_cast<long long>(line.size());
    if (at < 0 || at > static_cast<long long>(line.size()))
        return kxRpcError(request.id, kxRpcInvalidParams,
                          "Invalid params: the cursor is outside the text");
    return kxRpcResult(request.id, executor_.Complete(line, static_cast<int>(at)));
}

void kxCmdServerImpl::Queue(Connection &c, const json &response)
{
    c.out += kxRpcLine(response);
    if (c.out.size() > kMaxPendingOutput)
        c.dead = true; // the client does not read its answers
}

void kxCmdServerImpl::Refuse(Connection &c, int code, const std::string &text)
{
    Queue(c, kxRpcError(nullptr, code, text));
    c.closing = true;
    c.in.clear();
    Flush(c);
}

void kxCmdServerImpl::Flush(Connection &c)
{
    while (!c.out.empty()) {
        const long sent = kxSendSome(c.fd, c.out.data(), c.out.size());
        if (sent < 0) {
            c.dead = true;
            return;
        }
        if (sent == 0)
            break;
        c.out.erase(0, static_cast<size_t>(sent));
    }
    if (c.closing && c.out.empty() && !c.sendShut) {
        // Shut our side and read until the client closes, so that closing with its unread
        // input does not reset the connection before it has read our last answer.
        kxShutdownSend(c.fd);
        c.sendShut = true;
        c.closeBy = std::chrono::steady_clock::now() + kLingerTime;
    }
}

void kxCmdServerImpl::Sweep()
{
    const auto now = std::chrono::steady_clock::now();
    for (size_t i = connections_.size(); i-- > 0;) {
        Connection &c = connections_[i];
        if (c.closing && !c.sendShut && !c.dead)
            Flush(c);
        if (c.sendShut && now > c.closeBy)
            c.dead = true;
        if (!c.dead)
            continue;
        kxCloseSocket(c.fd);
        connections_.erase(connections_.begin() + static_cast<long>(i));
    }
}

// ---------------------------------------------------------------------------------------------
kxCmdServer::kxCmdServer(kxCmdExecutor &executor)
    : impl_(std::make_unique<kxCmdServerImpl>(executor))
{
}

kxCmdServer::~kxCmdServer() = default;

bool kxCmdServer::Start(int port) { return impl_->Start(port); }
void kxCmdServer::Stop() { impl_->Stop(); }
void kxCmdServer::DisconnectClients() { impl_->DisconnectClients(); }
bool kxCmdServer::IsRunning() const { return impl_->running_; }
int kxCmdServer::GetPort() const { return impl_->port_; }
const std::string &kxCmdServer::GetToken() const { return impl_->token_; }
const std::string &kxCmdServer::GetConnectionFile() const { return impl_->file_; }
int kxCmdServer::GetNumClients() const { return impl_->NumClients(); }
bool kxCmdServer::IsServing() const { return impl_->Serving(); }
bool kxCmdServer::Poll(int timeoutMs) { return impl_->Poll(timeoutMs); }
void kxCmdServer::AppendPollFds(std::vector<pollfd> &fds) const { impl_->AppendPollFds(fds); }
void kxCmdServer::Dispatch(const std::vector<pollfd> &fds) { impl_->Dispatch(fds); }
