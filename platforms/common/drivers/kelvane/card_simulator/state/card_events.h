// What happens on the card and goes into its logs.
#ifndef CARD_SIMULATOR_STATE_CARD_EVENTS_H
#define CARD_SIMULATOR_STATE_CARD_EVENTS_H

#include <cstdint>
#include <string>

enum class event_kind : uint32_t {
    started,
    goes_down,
    message_refused,
    command_failed,
    download_begun,
    digest_right,
    digest_wrong,
    image_kept,
    program_begun,
    program_failed,
    activated,
    device_reset,
    defaults_set,
    module_plugged,
    module_unplugged,
    alarm_raised,
    alarm_cleared,
    regulator_failed,
    regulator_recovered,
};

constexpr uint32_t EVENT_VALUES = 3;

struct event_values {
    uint32_t value[EVENT_VALUES] = {};
};

struct card_event {
    event_kind kind;
    uint32_t device;
    event_values values;
    uint32_t code;  // error word, or 0
    uint64_t at_ms; // since power came
};

// The kind of a row in the firmware's log.
enum row_kind : uint32_t { ROW_LOG = 0, ROW_INFO = 1, ROW_ERROR = 2 };

enum class value_form { decimal, hexadecimal, version };

// A value's name, null when the event has no such value.
struct event_label {
    const char *name;
    value_form form;
};

struct event_shape {
    event_kind kind;
    row_kind row;
    uint32_t source_module; // its number in the firmware
    uint32_t source_line;
    const char *text;
    event_label labels[EVENT_VALUES];
    bool in_sirane_log;
    bool in_controller_log;
};

const event_shape &shape_of_event(event_kind kind);

// "image kept, device 1, kind 2, version 2.8"
std::string event_text(const card_event &event);

#endif
