// The table of the operations that a service, a tool or a script can ask for: one row each, from which every
// surface has its names, checks, help and shapes. Adding an operation is adding a row.
#ifndef CONTROL_OPERATIONS_H
#define CONTROL_OPERATIONS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "control/record_fields.h"
#include "control/value_words.h"
#include "kelvane.h"

enum class address_kind { none, any, sirane, network_port, host_port };

enum class effect {
    reads,
    sets,
    disturbs, // traffic, or may
    restarts, // the card, a sirane or the firmware
    copies,   // an image to the card, or a log from it
};

enum class parameter_type { u32, i32, f32, digest };

struct parameter {
    const char *name; // the header's
    parameter_type type = parameter_type::u32;
    const value_words *words = nullptr; // of an enumeration, or SWITCH
    bool may_lack = false;              // 0 then
};

struct output {
    const char *name;
    bool is_signed = false;
    const value_words *words = nullptr;
    std::span<const kelvane_alarm_name> bits = {};
};

// What comes back: single words, a record by the kind of the device's host ports, or a file of which the name
// is known beforehand.
struct result_shape {
    std::span<const output> words = {};
    const record_fields &(*record)(host_kind kind) = nullptr;
    std::string (*file)(kelvane_device_address address) = nullptr; // below /root
};

constexpr size_t RECORD_BYTES_MAX = 512;
constexpr size_t PARAMETERS_MAX = 4;
constexpr size_t OUTPUTS_MAX = 2;

union argument {
    uint32_t word;
    float real;
};

// What a call is handed: inputs in the order of the parameters, and room for what comes back.
struct operation_call {
    kelvane_device_address address = KELVANE_ADDRESS_BOARD;
    argument in[PARAMETERS_MAX] = {};
    const char *image = nullptr; // path of the image to download
    alignas(8) char record[RECORD_BYTES_MAX] = {};
    uint32_t words[OUTPUTS_MAX] = {};
};

struct operation {
    const char *name; // the library's without "kelvane_"
    int32_t (*run)(operation_call &call);
    address_kind address;
    effect does;
    std::span<const parameter> in;
    result_shape out;
    const char *sentence;
    // For one whose firmware answers later: hands it over, `is_done` is told of the outcome. Null for the
    // others.
    int32_t (*begin)(const operation_call &call, kelvane_set_laser_cb is_done,
                     uint32_t transaction_id) = nullptr;
};

constexpr kelvane_handle THE_CARD = 0;

std::span<const operation> all_operations();

// Null when there is none.
const operation *operation_of_name(std::string_view name);

// Whether it is run while no other one is.
bool runs_alone(const operation &operation);

#endif
