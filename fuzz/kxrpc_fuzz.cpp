// Fuzz target: the command server's JSON-RPC line decoder on arbitrary bytes, single requests
// and batches alike. Every decoded request is checked for the decoder's promises and answered
// through the response writer, which must give one well-formed line.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "commands/kxrpc.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view line(reinterpret_cast<const char *>(data), size);
    const kxRpcMessage message = kxRpcDecode(line);
    if (message.parseError) {
        if (!message.requests.empty())
            abort();
        return 0;
    }
    if (message.requests.empty() || (!message.batch && message.requests.size() != 1))
        abort();
    nlohmann::json responses = nlohmann::json::array();
    for (const kxRpcRequest &r : message.requests) {
        if (r.invalid && r.errorCode != kxRpcInvalidRequest)
            abort();
        if (!r.id.is_null() && !r.id.is_string() && !r.id.is_number())
            abort();
        if (!r.invalid && !r.params.is_null() && !r.params.is_object() && !r.params.is_array())
            abort();
        responses.push_back(r.invalid ? kxRpcError(r.id, r.errorCode, r.errorText)
                                      : kxRpcResult(r.id, r.method));
    }
    const std::string out = kxRpcLine(responses);
    if (out.empty() || out.back() != '\n' || out.find('\n') != out.size() - 1)
        abort();
    if (nlohmann::json::parse(out, nullptr, false).is_discarded())
        abort();
    return 0;
}
