// Tests of the command server over real loopback sockets, with a fake executor. The test
// thread plays both sides: it writes as a client and pumps the server with Poll.
#include "kx/commands/kxcmdserver.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <sstream>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "kx/foundation/kxerror.h"

using nlohmann::json;

namespace {

/// Answers by the command text: "d" double, "i" int, "c" complex, "t" text, "o" object,
/// "n" none, "fail" an error with output; anything else echoes as text.
class FakeExecutor : public kxCmdExecutor {
public:
    kxCmdResult Execute(const std::string &command) override
    {
        executed.push_back(command);
        if (during)
            during();
        kxCmdResult r;
        r.output = "out:" + command;
        if (command == "d") {
            r.type = kxCmdDouble;
            r.real = 2.5;
        } else if (command == "i") {
            r.type = kxCmdInt;
            r.integer = -42;
        } else if (command == "c") {
            r.type = kxCmdComplex;
            r.real = 1;
            r.imag = -2;
        } else if (command == "o") {
            r.type = kxCmdObject;
            r.text = "app.subnodes[1]";
        } else if (command == "n") {
            r.type = kxCmdNone;
        } else if (command == "fail") {
            r.ok = false;
            r.errorCode = 504;
            r.errorText = "unknown member \"zz\"";
        } else {
            r.type = kxCmdText;
            r.text = command;
        }
        return r;
    }
    std::vector<std::string> Complete(const std::string &text, int cursor) override
    {
        return {text.substr(0, static_cast<size_t>(cursor)) + "nodes", "x"};
    }
    std::vector<std::string> executed;
    std::function<void()> during;
};

/// Keeps XDG_RUNTIME_DIR pointing at a fresh directory for the test's lifetime.
class RuntimeDir {
public:
    RuntimeDir()
    {
        char pattern[] = "/tmp/kxcmdserver_test_XXXXXX";
        dir_ = mkdtemp(pattern);
        const char *old = getenv("XDG_RUNTIME_DIR");
        hadOld_ = old != nullptr;
        old_ = old ? old : "";
        setenv("XDG_RUNTIME_DIR", dir_.c_str(), 1);
    }
    ~RuntimeDir()
    {
        if (hadOld_)
            setenv("XDG_RUNTIME_DIR", old_.c_str(), 1);
        else
            unsetenv("XDG_RUNTIME_DIR");
        std::string command = "rm -rf " + dir_;
        EXPECT_EQ(system(command.c_str()), 0);
    }
    const std::string &Path() const { return dir_; }

private:
    std::string dir_, old_;
    bool hadOld_ = false;
};

class Client {
public:
    Client(kxCmdServer &server, bool v6 = false) : server_(server)
    {
        fd_ = socket(v6 ? AF_INET6 : AF_INET, SOCK_STREAM, 0);
        int rc;
        if (v6) {
            sockaddr_in6 a{};
            a.sin6_family = AF_INET6;
            a.sin6_port = htons(static_cast<uint16_t>(server.GetPort()));
            a.sin6_addr = in6addr_loopback;
            rc = connect(fd_, reinterpret_cast<sockaddr *>(&a), sizeof a);
        } else {
            sockaddr_in a{};
            a.sin_family = AF_INET;
            a.sin_port = htons(static_cast<uint16_t>(server.GetPort()));
            a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            rc = connect(fd_, reinterpret_cast<sockaddr *>(&a), sizeof a);
        }
        connected = rc == 0;
        server_.Poll(0); // accept
    }
    ~Client() { Close(); }
    void Close()
    {
        if (fd_ >= 0)
            close(fd_);
        fd_ = -1;
    }
    void Send(const std::string &data)
    {
        size_t done = 0;
        while (done < data.size()) {
            const ssize_t n = send(fd_, data.data() + done, data.size() - done, MSG_NOSIGNAL);
            if (n <= 0) {
                server_.Poll(1);
                continue;
            }
            done += static_cast<size_t>(n);
            server_.Poll(0);
        }
    }
    /// The next response line, pumping the server meanwhile; "" at the end of the stream or
    /// after two seconds.
    std::string ReadLine()
    {
        const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        bool idle = false;
        while (std::chrono::steady_clock::now() < until) {
            const size_t nl = buffer_.find('\n');
            if (nl != std::string::npos) {
                std::string line = buffer_.substr(0, nl);
                buffer_.erase(0, nl + 1);
                return line;
            }
            server_.Poll(idle ? 5 : 0);
            char chunk[65536];
            const ssize_t n = recv(fd_, chunk, sizeof chunk, MSG_DONTWAIT);
            idle = n <= 0;
            if (n == 0) {
                eof = true;
                return "";
            }
            if (n > 0)
                buffer_.append(chunk, static_cast<size_t>(n));
        }
        return "";
    }
    json Call(const std::string &line)
    {
        Send(line + "\n");
        const std::string reply = ReadLine();
        return reply.empty() ? json() : json::parse(reply);
    }
    json Call(const char *method, const json &params, int id = 1)
    {
        json request{{"jsonrpc", "2.0"}, {"id", id}, {"method", method}};
        if (!params.is_null())
            request["params"] = params;
        return Call(request.dump());
    }
    bool Auth() { return Call("auth", {{"token", server_.GetToken()}})["result"] == true; }
    /// True when the server has closed the connection (within two seconds).
    bool ClosedByServer()
    {
        while (!eof && !ReadLine().empty()) {
        }
        return eof;
    }
    bool connected = false;
    bool eof = false;

private:
    kxCmdServer &server_;
    int fd_ = -1;
    std::string buffer_;
};

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

} // namespace

TEST(kxCmdServerTest, StartWritesAPrivateConnectionFileAndStopRemovesIt)
{
    RuntimeDir runtime;
    FakeExecutor exec;
    kxCmdServer server(exec);
    ASSERT_TRUE(server.Start(0));
    ASSERT_TRUE(server.IsRunning());
    EXPECT_GT(server.GetPort(), 0);
    EXPECT_EQ(server.GetToken().size(), 32u);
    EXPECT_EQ(server.GetToken().find_first_not_of("0123456789abcdef"), std::string::npos);
    const std::string file = server.GetConnectionFile();
    EXPECT_EQ(file, runtime.Path() + "/kx/server-" + std::to_string(server.GetPort()) + ".json");

    struct stat st;
    ASSERT_EQ(stat((runtime.Path() + "/kx").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    const json info = json::parse(ReadFile(file));
    EXPECT_EQ(info["port"], server.GetPort());
    EXPECT_EQ(info["token"], server.GetToken());
    EXPECT_EQ(info["pid"], getpid());

    // A second server picks another port and another token.
    kxCmdServer other(exec);
    ASSERT_TRUE(other.Start(0));
    EXPECT_NE(other.GetPort(), server.GetPort());
    EXPECT_NE(other.GetToken(), server.GetToken());
    // The same port twice is refused with a file error naming the port.
    kxCmdServer clash(exec);
    EXPECT_FALSE(clash.Start(server.GetPort()));
    EXPECT_EQ(int(error), kxErrFile);
    EXPECT_NE(std::string(error.chars()).find(std::to_string(server.GetPort())), std::string::npos);
    error.reset();
    EXPECT_FALSE(clash.IsRunning());

    server.Stop();
    EXPECT_FALSE(server.IsRunning());
    EXPECT_NE(access(file.c_str(), F_OK), 0);
    EXPECT_EQ(server.GetPort(), 0);
}

TEST(kxCmdServerTest, FallsBackToAPrivateTmpDirectoryAndRefusesAForeignOne)
{
    RuntimeDir runtime;
    unsetenv("XDG_RUNTIME_DIR");
    FakeExecutor exec;
    kxCmdServer server(exec);
    ASSERT_TRUE(server.Start(0));
    EXPECT_EQ(server.GetConnectionFile().rfind("/tmp/kx-", 0), 0u);
    server.Stop();

    // A link in place of the directory is refused rather than followed.
    setenv("XDG_RUNTIME_DIR", runtime.Path().c_str(), 1);
    ASSERT_EQ(symlink("/tmp", (runtime.Path() + "/kx").c_str()), 0);
    EXPECT_FALSE(server.Start(0));
    EXPECT_EQ(int(error), kxErrFile);
    error.reset();
    EXPECT_FALSE(server.IsRunning());
}

TEST(kxCmdServerTest, RefusesCallsBeforeAuthAndClosesOnAWrongToken)
{
    RuntimeDir runtime;
    FakeExecutor exec;
    kxCmdServer server(exec);
    ASSERT_TRUE(server.Start(0));

    Client c(server);
    ASSERT_TRUE(c.connected);
    for (const char *method : {"execute", "ping", "complete", "nosuch"}) {
        const json r = c.Call(method, {{"command", "d"}});
        EXPECT_EQ(r["error"]["code"], -32001) << method;
    }
    EXPECT_TRUE(exec.executed.empty());
    EXPECT_EQ(c.Call("auth", {{"nottoken", 1}})["error"]["code"], -32602);
    ASSERT_TRUE(c.Auth());
    EXPECT_EQ(c.Call("ping", json())["result"], "pong");

    Client bad(server);
    const json r = bad.Call("auth", {{"token", std::string(32, '0')}}, 9);
    EXPECT_EQ(r["error"]["code"], -32002);
    EXPECT_EQ(r["id"], 9);
    EXPECT_TRUE(bad.ClosedByServer());
    // Positional auth works too, and the first client is unaffected.
    Client positional(server);
    EXPECT_EQ(positional.Call("auth", json::array({server.GetToken()}))["result"], true);
    EXPECT_EQ(c.Call("ping", json())["result"], "pong");
}

TEST(kxCmdServerTest, ExecuteReportsEachValueTypeAndUserErrors)
{
    RuntimeDir runtime;
    FakeExecutor exec;
    kxCmdServer server(exec);
    ASSERT_TRUE(server.Start(0));
    Client c(server);
    ASSERT_TRUE(c.Auth());

    const struct {
        const char *command, *type;
        json value;
    } cases[] = {
        {"d", "double", 2.5},      {"i", "int", -42},
        {"c", "complex", {1, -2}}, {"o", "object", "app.subnodes[1]"},
        {"n", "none", nullptr},    {"hello", "text", "hello"},
    };
    for (const auto &k : cases) {
        const json r = c.Call("execute", {{"command", k.command}});
        EXPECT_EQ(r["result"]["type"], k.type) << k.command;
        EXPECT_EQ(r["result"]["value"], k.value) << k.command;
        EXPECT_EQ(r["result"]["output"], std::string("out:") + k.command);
    }
    EXPECT_TRUE(c.Call("execute", {{"command", "i"}})["result"]["value"].is_number_integer());

    const json e = c.Call("execute", json::array({"fail"}));
    EXPECT_EQ(e["error"]["code"], 504);
    EXPECT_EQ(e["error"]["message"], "unknown member \"zz\"");
    EXPECT_EQ(e["error"]["data"]["output"], "out:fail");

    EXPECT_EQ(c.Call("execute", {{"command", 5}})["error"]["code"], -32602);
    EXPECT_EQ(c.Call("execute", json())["error"]["code"], -32602);

    const json comp = c.Call("complete", {{"text", "app.sub"}, {"cursor", 5}});
    EXPECT_EQ(comp["result"], json::array({"app.snodes", "x"}));
    EXPECT_EQ(c.Call("complete", {{"text", "ab"}})["result"][0], "abnodes");
    EXPECT_EQ(c.Call("complete", {{"text", "ab"}, {"cursor", 3}})["error"]["code"], -32602);
}

TEST(kxCmdServerTest, ProtocolFaultsGetJsonRpcCodesAndTheConnectionGoesOn)
{
    RuntimeDir runtime;
    FakeExecutor exec;
    kxCmdServer server(exec);
    ASSERT_TRUE(server.Start(0));
    Client c(server);
    ASSERT_TRUE(c.Auth());

    EXPECT_EQ(c.Call("{\"jsonrpc\": \"2.0\", \"id\": 1, ")["error"]["code"], -32700);
    EXPECT_EQ(c.Call("[]")["error"]["code"], -32600);
    EXPECT_EQ(c.Call(R"({"jsonrpc":"2.0","id":4,"method":7})")["error"]["code"], -32600);
    EXPECT_EQ(c.Call(R"({"jsonrpc":"2.0","method":7})")["error"]["code"], -32600);
    const json unknown = c.Call("frobnicate", json::object(), 12);
    EXPECT_EQ(unknown["error"]["code"], -32601);
    EXPECT_EQ(unknown["id"], 12);
    // Blank lines and CRLF endings are accepted.
    c.Send("\n  \r\n");
    EXPECT_EQ(c.Call(R"({"jsonrpc":"2.0","id":2,"method":"ping"})"
                     "\r")["result"],
              "pong");
}

TEST(kxCmdServerTest, KeepsRequestOrderAndHandlesBatchesAndNotifications)
{
    RuntimeDir runtime;
    FakeExecutor exec;
    kxCmdServer server(exec);
    ASSERT_TRUE(server.Start(0));
    Client c(server);
    ASSERT_TRUE(c.Auth());

    // Many requests in one write come back in order.
    std::string burst;
    for (int i = 0; i < 50; ++i)
        burst += json{{"jsonrpc", "2.0"},
                      {"id", i},
                      {"method", "execute"},
                      {"params", {{"command", "cmd" + std::to_string(i)}}}}
                     .dump() +
                 "\n";
    c.Send(burst);
    for (int i = 0; i < 50; ++i) {
        const json r = json::parse(c.ReadLine());
        EXPECT_EQ(r["id"], i);
        EXPECT_EQ(r["result"]["value"], "cmd" + std::to_string(i));
    }

    // A notification runs but is not answered.
    exec.executed.clear();
    c.Send(R"({"jsonrpc":"2.0","method":"execute","params":{"command":"quiet"}})"
           "\n");
    EXPECT_EQ(c.Call("ping", json(), 77)["id"], 77);
    EXPECT_EQ(exec.executed, std::vector<std::string>{"quiet"});

    // A batch: answers for the requests in order, none for the notification, an error for the
    // invalid member.
    const json batch =
        c.Call(R"([{"jsonrpc":"2.0","id":"a","method":"execute","params":{"command":"i"}},)"
               R"({"jsonrpc":"2.0","method":"execute","params":{"command":"note"}},)"
               R"(17,)"
               R"({"jsonrpc":"2.0","id":"b","method":"execute","params":{"command":"fail"}}])");
    ASSERT_TRUE(batch.is_array());
    ASSERT_EQ(batch.size(), 3u);
    EXPECT_EQ(batch[0]["id"], "a");
    EXPECT_EQ(batch[0]["result"]["value"], -42);
    EXPECT_EQ(batch[1]["error"]["code"], -32600);
    EXPECT_EQ(batch[2]["id"], "b");
    EXPECT_EQ(batch[2]["error"]["code"], 504);

    // A batch of notifications only gets no answer at all.
    c.Send(R"([{"jsonrpc":"2.0","method":"ping"},{"jsonrpc":"2.0","method":"ping"}])"
           "\n");
    EXPECT_EQ(c.Call("ping", json(), 78)["id"], 78);
}

TEST(kxCmdServerTest, EnforcesTheClientAndMessageLimits)
{
    RuntimeDir runtime;
    FakeExecutor exec;
    kxCmdServer server(exec);
    ASSERT_TRUE(server.Start(0));

    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < kxCmdServerMaxClients; ++i) {
        clients.push_back(std::make_unique<Client>(server));
        ASSERT_TRUE(clients.back()->Auth()) << i;
    }
    EXPECT_EQ(server.GetNumClients(), kxCmdServerMaxClients);
    Client extra(server);
    const json refused = json::parse(extra.ReadLine());
    EXPECT_EQ(refused["error"]["code"], -32000);
    EXPECT_TRUE(extra.ClosedByServer());
    EXPECT_EQ(server.GetNumClients(), kxCmdServerMaxClients);

    // One leaving makes room for another.
    clients.pop_back();
    server.Poll(10);
    Client late(server);
    EXPECT_TRUE(late.Auth());

    // A client stalled half-way through a line blocks nobody.
    clients[0]->Send(R"({"jsonrpc":"2.0","id":1,"meth)");
    EXPECT_EQ(clients[1]->Call("ping", json())["result"], "pong");
    clients[0]->Send("od\":\"ping\"}\n");
    EXPECT_EQ(json::parse(clients[0]->ReadLine())["result"], "pong");

    // A message over the limit is refused and its connection closed, whether or not its line
    // has ended; exactly the limit is fine.
    std::string big = R"({"jsonrpc":"2.0","id":1,"method":"execute","params":{"command":")";
    big += std::string(kxCmdServerMaxMessage - big.size() - 3, 'x') + "\"}}";
    ASSERT_EQ(big.size(), kxCmdServerMaxMessage);
    EXPECT_EQ(clients[2]->Call(big)["result"]["type"], "text");
    clients[3]->Send(std::string(kxCmdServerMaxMessage + 10, ' '));
    const json tooLarge = json::parse(clients[3]->ReadLine());
    EXPECT_EQ(tooLarge["error"]["code"], -32003);
    EXPECT_TRUE(clients[3]->ClosedByServer());
    EXPECT_EQ(clients[4]->Call(big + " \n")["error"]["code"], -32003);
    EXPECT_EQ(clients[5]->Call("ping", json())["result"], "pong");
}

TEST(kxCmdServerTest, AClientVanishingMidCommandChangesNothingElse)
{
    RuntimeDir runtime;
    FakeExecutor exec;
    kxCmdServer server(exec);
    ASSERT_TRUE(server.Start(0));
    auto gone = std::make_unique<Client>(server);
    Client stays(server);
    ASSERT_TRUE(gone->Auth());
    ASSERT_TRUE(stays.Auth());

    // The command runs to its end although its client has gone; a nested Poll from inside the
    // command does nothing.
    bool nestedPoll = true;
    exec.during = [&] {
        gone->Close();
        nestedPoll = server.Poll(0);
    };
    gone->Send(R"({"jsonrpc":"2.0","id":1,"method":"execute","params":{"command":"d"}})"
               "\n");
    server.Poll(50);
    exec.during = nullptr;
    EXPECT_FALSE(nestedPoll);
    EXPECT_EQ(exec.executed.back(), "d");
    for (int i = 0; i < 5; ++i)
        server.Poll(10);
    EXPECT_EQ(server.GetNumClients(), 1);
    EXPECT_EQ(stays.Call("execute", {{"command", "i"}})["result"]["value"], -42);

    // Stop from inside a command waits for the command to end.
    exec.during = [&] { server.Stop(); };
    stays.Send(R"({"jsonrpc":"2.0","id":2,"method":"execute","params":{"command":"d"}})"
               "\n");
    server.Poll(50);
    EXPECT_FALSE(server.IsRunning());
}

TEST(kxCmdServerTest, ServesIPv6LoopbackOnTheSamePortWhenAvailable)
{
    RuntimeDir runtime;
    const int probe = socket(AF_INET6, SOCK_STREAM, 0);
    sockaddr_in6 a{};
    a.sin6_family = AF_INET6;
    a.sin6_addr = in6addr_loopback;
    const bool haveV6 = probe >= 0 && bind(probe, reinterpret_cast<sockaddr *>(&a), sizeof a) == 0;
    if (probe >= 0)
        close(probe);
    if (!haveV6)
        GTEST_SKIP() << "no IPv6 loopback here";
    FakeExecutor exec;
    kxCmdServer server(exec);
    ASSERT_TRUE(server.Start(0));
    Client c(server, true);
    ASSERT_TRUE(c.connected);
    EXPECT_TRUE(c.Auth());
}
