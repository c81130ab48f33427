// kxrpc.cpp - decoding JSON-RPC 2.0 lines and writing responses (see kxrpc.h).
#include "commands/kxrpc.h"

using nlohmann::json;

namespace {

kxRpcRequest Invalid(const json &id, const char *why)
{
    kxRpcRequest request;
    request.invalid = true;
    request.errorCode = kxRpcInvalidRequest;
    request.errorText = std::string("Invalid Request: ") + why;
    request.id = id;
    return request;
}

bool IsValidId(const json &id) { return id.is_string() || id.is_number() || id.is_null(); }

kxRpcRequest DecodeRequest(const json &value)
{
    if (!value.is_object())
        return Invalid(nullptr, "a request must be an object");
    json id;
    const auto idIt = value.find("id");
    if (idIt != value.end()) {
        if (!IsValidId(*idIt))
            return Invalid(nullptr, "\"id\" must be a string, a number or null");
        id = *idIt;
    }
    const auto version = value.find("jsonrpc");
    if (version == value.end() || !version->is_string() || *version != "2.0")
        return Invalid(id, "\"jsonrpc\" must be \"2.0\"");
    const auto method = value.find("method");
    if (method == value.end() || !method->is_string())
        return Invalid(id, "\"method\" must be a string");
    const auto params = value.find("params");
    if (params != value.end() && !params->is_object() && !params->is_array())
        return Invalid(id, "\"params\" must be an object or an array");

    kxRpcRequest request;
    request.notification = idIt == value.end();
    request.id = id;
    request.method = method->get<std::string>();
    if (params != value.end())
        request.params = *params;
    return request;
}

} // namespace

kxRpcMessage kxRpcDecode(std::string_view line)
{
    kxRpcMessage message;
    json value = json::parse(line.begin(), line.end(), nullptr, false);
    if (value.is_discarded()) {
        message.parseError = true;
        return message;
    }
    if (!value.is_array()) {
        message.requests.push_back(DecodeRequest(value));
        return message;
    }
    if (value.empty()) {
        message.requests.push_back(Invalid(nullptr, "an empty batch"));
        return message;
    }
    message.batch = true;
    message.requests.reserve(value.size());
    for (const json &element : value)
        message.requests.push_back(DecodeRequest(element));
    return message;
}

json kxRpcResult(const json &id, json result)
{
    return json{{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}};
}

json kxRpcError(const json &id, int code, const std::string &message, json data)
{
    json error{{"code", code}, {"message", message}};
    if (!data.is_null())
        error["data"] = std::move(data);
    return json{{"jsonrpc", "2.0"}, {"id", id}, {"error", std::move(error)}};
}

std::string kxRpcLine(const json &response)
{
    std::string line = response.dump(-1, ' ', false, json::error_handler_t::replace);
    line += '\n';
    return line;
}
