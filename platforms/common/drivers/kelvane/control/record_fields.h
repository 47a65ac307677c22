// The fields of the card's records, in the order of the header: one list a record, from which every surface
// shows and names them.
#ifndef CONTROL_RECORD_FIELDS_H
#define CONTROL_RECORD_FIELDS_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "control/value_words.h"
#include "kelvane.h"
#include "kelvane_alarm_names.h"

enum class field_type {
    text, // `count` characters, with or without a closing 0
    u16,
    u32,
    i32,
    u64,
    f32,
    alarms, // a word of bits
    record, // another list's
};

struct record_fields;

struct field {
    const char *name; // the header's
    size_t offset;
    field_type type;
    uint32_t count = 1;                 // of an array
    const char *unit = "";              // the last word of its name, where the contract gives a unit
    double scale = 1;                   // its value in that unit is the number times this
    bool may_lack = false;              // all ones: a firmware that knows no such field
    bool only_grows = false;            // a count since the firmware's start
    const value_words *words = nullptr; // of an enumeration
    const record_fields *of = nullptr;
    std::span<const kelvane_alarm_name> bits = {};
};

struct record_fields {
    const char *name; // the header's type
    size_t size;
    const char *subject; // what it is about, in the names of its metrics; empty where its fields say it
    std::span<const field> fields;
};

// What a host port's union holds is told by the kind of the device's host ports.
enum class host_kind { otn, ethernet };

extern const record_fields HOST_FRAMES_PM;
extern const record_fields HOST_OTN_PM;
extern const record_fields MODULE_PM;
extern const record_fields NETWORK_PORT_PM;
extern const record_fields GENERIC_PM;
extern const record_fields HOST_PCS_COUNTERS;
extern const record_fields PROVISIONED_CONFIG;
extern const record_fields MODULE_INVENTORY;
extern const record_fields CONTROLLER_INVENTORY;
extern const record_fields MEMORY_ERRORS;
extern const record_fields SUBSYSTEM_STATUS;

// These have host ports in them.
const record_fields &host_pm_fields(host_kind kind);
const record_fields &global_pm_fields(host_kind kind);
const record_fields &global_alarms_fields(host_kind kind);

// Whose an element of a record about a whole sirane is: of a host port where there are as many as those, of a
// network port and its module, or of the sirane.
kelvane_device_address device_of_element(const field &field, uint32_t sirane, uint32_t index);

#endif
