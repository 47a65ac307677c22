// JSON-RPC 2.0, a line each way: what a caller asks for, and what it is told.
#ifndef KELVANED_RPC_H
#define KELVANED_RPC_H

#include <cstdint>
#include <string>
#include <string_view>

#include "control/dispatch.h"

constexpr int DEPTH_MAX = 16;
constexpr uint32_t TIMEOUT_MS_MAX = 3600000;

struct rpc_call {
    json id = nullptr;
    bool wants_answer = true; // false without an id
    std::string method;
    json parameters = json::object(); // without the one below
    uint32_t timeout_ms = 0;          // 0: none
};

// Reads a line; a code other than 0 tells what is wrong with it. The id is kept where there is one.
outcome rpc_call_of(std::string_view line, rpc_call *out);

// The line that answers it. `operation` may be null, `address` too.
std::string rpc_answer(const json &id, const outcome &done, const char *operation, const json &address);

// The line that tells an event.
std::string rpc_event(const json &event);

#endif
