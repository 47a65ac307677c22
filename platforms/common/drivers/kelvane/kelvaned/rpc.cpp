#include "kelvaned/rpc.h"

namespace {

// Brackets within texts do not count.
bool is_too_deep(std::string_view line)
{
    int depth = 0;
    bool is_text = false;
    for (size_t i = 0; i < line.size(); i++) {
        const char it = line[i];
        if (is_text && it == '\\') {
            i++;
        } else if (it == '"') {
            is_text = !is_text;
        } else if (!is_text && (it == '{' || it == '[') && ++depth > DEPTH_MAX) {
            return true;
        } else if (!is_text && (it == '}' || it == ']')) {
            depth--;
        }
    }
    return false;
}

outcome wrong(std::string problem)
{
    return {RPC_NO_REQUEST, std::move(problem)};
}

std::string line_of(const json &message)
{
    return message.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

outcome take_timeout(rpc_call *out)
{
    const auto given = out->parameters.find("timeout_ms");
    if (given == out->parameters.end()) {
        return {};
    }
    const bool fits = given->is_number_unsigned() && given->get<uint64_t>() - 1 < TIMEOUT_MS_MAX;
    if (!fits) {
        return {RPC_BAD_PARAMETERS, "timeout_ms is 1 to " + std::to_string(TIMEOUT_MS_MAX)};
    }
    out->timeout_ms = given->get<uint32_t>();
    out->parameters.erase("timeout_ms");
    return {};
}

} // namespace

outcome rpc_call_of(std::string_view line, rpc_call *out)
{
    *out = rpc_call();
    if (is_too_deep(line)) {
        return wrong("JSON deeper than " + std::to_string(DEPTH_MAX));
    }
    json message = json::parse(line, nullptr, false);
    if (message.is_discarded()) {
        return {RPC_NO_JSON, "the line is no JSON"};
    }
    if (!message.is_object()) {
        return wrong(message.is_array() ? "batches are not taken: one request a line"
                                        : "a request is an object");
    }
    out->wants_answer = message.contains("id");
    const json id = message.value("id", json());
    if (!id.is_null() && !id.is_string() && !id.is_number()) {
        return wrong("id is a text or a number");
    }
    out->id = id;
    if (message.value("jsonrpc", json()) != "2.0") {
        return wrong("jsonrpc is \"2.0\"");
    }
    const json method = message.value("method", json());
    if (!method.is_string()) {
        return wrong("method is a text");
    }
    out->method = method.get<std::string>();
    if (message.contains("params")) {
        out->parameters = message["params"];
    }
    if (!out->parameters.is_object()) {
        return {RPC_BAD_PARAMETERS, "params are an object, by their names"};
    }
    return take_timeout(out);
}

std::string rpc_answer(const json &id, const outcome &done, const char *operation, const json &address)
{
    json answer = {{"jsonrpc", "2.0"}, {"id", id}};
    if (done.code == 0) {
        answer["result"] = done.result;
    } else {
        answer["error"] = error_of(done, operation, address);
    }
    return line_of(answer);
}

std::string rpc_event(const json &event)
{
    return line_of({{"jsonrpc", "2.0"}, {"method", "event"}, {"params", event}});
}
