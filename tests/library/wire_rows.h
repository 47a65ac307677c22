// Every command of the library on the wire: a row is an operation.
#ifndef TESTS_WIRE_WIRE_ROWS_H
#define TESTS_WIRE_WIRE_ROWS_H

#include <cstdint>
#include <span>
#include <vector>

#include "kelvane.h"

using words = std::vector<uint32_t>;

enum row_path { OWN, SHARED };
enum row_result {
    RETURNS_RC, // the firmware's error word is the operation's result
    IGNORES_RC, // only failures of the transport are told
    NO_ANSWER,  // nothing is awaited after the send
};
enum row_checks {
    DEVICE,       // any address that names a device, and the handle
    NETWORK_PORT, // a network port, and the handle
    HOST_PORT,
    SIRANE,
    HANDLE_ONLY, // the operation takes no address
    NOTHING,
};

struct wire_row {
    const char *name;
    // Calls the operation; `out` is where its output goes, if it has one.
    int32_t (*call)(kelvane_handle handle, kelvane_device_address address, void *out);
    row_path path;
    row_result result;
    row_checks checks;
    uint32_t address; // a good one
    words header;     // of the request: command, reference 0x1234, size, version, sync word or slot, 0
    words data;       // of the request, up to the last word that is not 0
    words answer;     // of the firmware, behind handle and address
    words output;     // what the operation then gives, in full
};

extern const std::span<const wire_row> device_rows;
extern const std::span<const wire_row> provisioning_rows;
extern const std::span<const wire_row> monitoring_rows;

// `count` words 1, 2, 3 ... with 1 in the upper half.
words count_up(uint32_t count);

// The same with some of them replaced.
struct replaced_word {
    size_t index;
    uint32_t value;
};
words count_up_but(uint32_t count, std::initializer_list<replaced_word> replaced);

#endif
