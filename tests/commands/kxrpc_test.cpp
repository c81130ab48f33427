// Tests of the JSON-RPC line decoder and response writer of the command server.
#include "commands/kxrpc.h"

#include <gtest/gtest.h>

using nlohmann::json;

TEST(kxRpcTest, DecodesSingleRequestsAndNotifications)
{
    kxRpcMessage m =
        kxRpcDecode(R"({"jsonrpc":"2.0","id":7,"method":"execute","params":{"command":"x"}})");
    ASSERT_FALSE(m.parseError);
    ASSERT_FALSE(m.batch);
    ASSERT_EQ(m.requests.size(), 1u);
    const kxRpcRequest &r = m.requests[0];
    EXPECT_FALSE(r.invalid);
    EXPECT_FALSE(r.notification);
    EXPECT_EQ(r.id, 7);
    EXPECT_EQ(r.method, "execute");
    EXPECT_EQ(r.params["command"], "x");

    m = kxRpcDecode(R"({"jsonrpc":"2.0","method":"ping"})");
    ASSERT_EQ(m.requests.size(), 1u);
    EXPECT_TRUE(m.requests[0].notification);
    EXPECT_TRUE(m.requests[0].params.is_null());

    // A null id is a request, not a notification; string ids and positional params are kept.
    m = kxRpcDecode(R"({"jsonrpc":"2.0","id":null,"method":"a","params":[1,2]})");
    EXPECT_FALSE(m.requests[0].notification);
    EXPECT_TRUE(m.requests[0].params.is_array());
    m = kxRpcDecode(R"({"jsonrpc":"2.0","id":"abc","method":"a"})");
    EXPECT_EQ(m.requests[0].id, "abc");
}

TEST(kxRpcTest, RejectsWhatIsNotJsonOrNotARequest)
{
    EXPECT_TRUE(kxRpcDecode("{\"jsonrpc\":").parseError);
    EXPECT_TRUE(kxRpcDecode("").parseError);
    EXPECT_TRUE(kxRpcDecode(std::string("\"\xff\xfe\"")).parseError); // not UTF-8
    EXPECT_TRUE(kxRpcDecode("{} trailing").parseError);

    struct Case {
        const char *line;
        bool idKept;
    } cases[] = {
        {R"({"jsonrpc":"1.0","id":3,"method":"a"})", true},
        {R"({"id":3,"method":"a"})", true},
        {R"({"jsonrpc":"2.0","id":3,"method":5})", true},
        {R"({"jsonrpc":"2.0","id":3,"method":"a","params":"x"})", true},
        {R"({"jsonrpc":"2.0","id":{"x":1},"method":"a"})", false},
        {R"({"jsonrpc":"2.0","id":[1],"method":"a"})", false},
        {R"(42)", false},
        {R"([])", false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.line);
        const kxRpcMessage m = kxRpcDecode(c.line);
        ASSERT_FALSE(m.parseError);
        ASSERT_EQ(m.requests.size(), 1u);
        EXPECT_TRUE(m.requests[0].invalid);
        EXPECT_EQ(m.requests[0].errorCode, kxRpcInvalidRequest);
        EXPECT_EQ(m.requests[0].id, c.idKept ? json(3) : json());
    }
}

TEST(kxRpcTest, DecodesBatchesElementByElement)
{
    const kxRpcMessage m =
        kxRpcDecode(R"([{"jsonrpc":"2.0","id":1,"method":"a"},1,{"jsonrpc":"2.0","method":"b"}])");
    ASSERT_FALSE(m.parseError);
    EXPECT_TRUE(m.batch);
    ASSERT_EQ(m.requests.size(), 3u);
    EXPECT_EQ(m.requests[0].method, "a");
    EXPECT_TRUE(m.requests[1].invalid);
    EXPECT_TRUE(m.requests[2].notification);
    EXPECT_EQ(m.requests[2].method, "b");
}

TEST(kxRpcTest, WritesOneLineResponses)
{
    const json ok = kxRpcResult(5, json{{"value", 1.5}});
    EXPECT_EQ(kxRpcLine(ok), "{\"id\":5,\"jsonrpc\":\"2.0\",\"result\":{\"value\":1.5}}\n");

    const json bare = kxRpcError(nullptr, kxRpcParseError, "Parse error");
    EXPECT_FALSE(bare["error"].contains("data"));
    EXPECT_TRUE(bare["id"].is_null());

    // A text with a line feed and bytes that are not UTF-8 still gives one valid line.
    const json withData = kxRpcError("q", 504, "bad\ncommand", json{{"output", "a\xff"}});
    const std::string line = kxRpcLine(withData);
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    const json back = json::parse(line);
    EXPECT_EQ(back["error"]["code"], 504);
    EXPECT_EQ(back["error"]["message"], "bad\ncommand");
    EXPECT_EQ(back["error"]["data"]["output"], "a\xEF\xBF\xBD");
}
