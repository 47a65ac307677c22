// From a caller's words to an operation of the table, and from what came of it to JSON: the same for whoever
// owns the card.
#ifndef CONTROL_DISPATCH_H
#define CONTROL_DISPATCH_H

#include <string>
#include <string_view>

#include "control/operations.h"
#include "control/record_json.h"

// Where no code of the library fits. The first five are JSON-RPC's own.
enum rpc_code : int64_t {
    RPC_NO_JSON = -32700,
    RPC_NO_REQUEST = -32600,
    RPC_NO_METHOD = -32601,
    RPC_BAD_PARAMETERS = -32602,
    RPC_INTERNAL = -32603,
    RPC_QUEUE_FULL = -32001,
    RPC_TIMED_OUT = -32002, // the caller's limit
    RPC_NO_CARD = -32003,
    RPC_NO_RIGHT = -32004,
    RPC_LINKING = -32005,
};

// An operation with its inputs, checked: ready to be run.
struct request {
    const operation *what = nullptr;
    operation_call call;
    bool has_address = false;
    std::string digest; // of an image, 32 hexadecimal digits
};

struct outcome {
    int64_t code = 0;             // 0, one of the above, or the library's as an unsigned number
    std::string problem;          // what a code above is about; the library's codes have names
    json result = json::object(); // of a failure, what goes with it
    int file = -1;                // a log's descriptor, which is the caller's to close
};

// Whether an operation for this kind of address can be asked of the device; one without an address can be.
bool address_fits(address_kind kind, kelvane_device_address address);

// What an operation is called with: "address", in words, where it takes one, and its parameters by their
// names. Checks all of them, and sends nothing. Any thread.
outcome request_of(const operation &operation, const json &parameters, request *out);

// Runs it. `image` is the descriptor of the file to download, which stays the caller's; -1 for none. Blocks
// as long as the operation does. Any thread.
outcome run_request(request &request, int image, host_kind kind);

// What a code of the library comes to: its outputs when it is 0, nothing otherwise. Any thread.
outcome outcome_of(const request &request, int32_t code, host_kind kind);

// The error as callers get it: code, message, and data with the code's name, the operation and the address.
json error_of(const outcome &failed, const char *operation, const json &address);

// "KELVANE_RET_CODE_ETIMEDOUT", or what a code above is called.
std::string name_of_code(int64_t code);

#endif
