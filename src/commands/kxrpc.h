// kxrpc.h - the JSON-RPC 2.0 message layer of the command server: decoding one received line
// into requests (a single request or a batch) and writing responses. Kept apart from the
// sockets so that it can be tested and fuzzed on its own. Internal to the commands module: it
// exposes nlohmann::json, which the public headers do not.
//
// Decoding never throws and never fails as a whole: a line that is not JSON decodes to a parse
// error, a request that is not well formed to an invalid request carrying the error to send
// back. What counts as well formed:
//   - an object with "jsonrpc" equal to "2.0" and a string "method";
//   - "id", when present, a string, a number or null (a request without "id" is a
//     notification and gets no response, unless it is invalid: an invalid request is always
//     answered, with id null when its id could not be read);
//   - "params", when present, an object or an array.
// A batch is a non-empty array of requests; an empty array is one invalid request.
#ifndef KX_COMMANDS_KXRPC_H
#define KX_COMMANDS_KXRPC_H

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

/// JSON-RPC's own error codes, and the server's codes in the range JSON-RPC leaves to servers.
enum {
    kxRpcParseError = -32700,
    kxRpcInvalidRequest = -32600,
    kxRpcMethodNotFound = -32601,
    kxRpcInvalidParams = -32602,
    kxRpcTooManyClients = -32000,   ///< the server already serves its limit of clients
    kxRpcNotAuthenticated = -32001, ///< a call other than auth before a successful auth
    kxRpcWrongToken = -32002,       ///< auth with a wrong token (the connection is then closed)
    kxRpcTooLarge = -32003          ///< a message over the size limit (the connection is closed)
};

/// One decoded request. When `invalid` is set, `errorCode` / `errorText` say why and the
/// request is answered with that error (id null unless a valid id was read).
struct kxRpcRequest {
    bool invalid = false;
    int errorCode = 0;
    std::string errorText;
    bool notification = false; ///< no "id": no response unless invalid
    nlohmann::json id;         ///< null when absent or unreadable
    std::string method;
    nlohmann::json params; ///< object, array, or null when absent
};

/// One received line: a parse error, or one request, or a batch of requests in order.
struct kxRpcMessage {
    bool parseError = false;
    bool batch = false;
    std::vector<kxRpcRequest> requests;
};

/// Decodes one line (without its line feed). Any bytes are accepted.
[[nodiscard]] kxRpcMessage kxRpcDecode(std::string_view line);

/// A success response object.
[[nodiscard]] nlohmann::json kxRpcResult(const nlohmann::json &id, nlohmann::json result);
/// An error response object; `data` is left out when null.
[[nodiscard]] nlohmann::json kxRpcError(const nlohmann::json &id, int code,
                                        const std::string &message, nlohmann::json data = nullptr);

/// Writes a response (or an array of responses) as one line ending in "\n". Text that is not
/// valid UTF-8 is written with replacement characters rather than refused.
[[nodiscard]] std::string kxRpcLine(const nlohmann::json &response);

#endif
