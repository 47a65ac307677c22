// Records of the card as JSON, field by field.
#ifndef CONTROL_RECORD_JSON_H
#define CONTROL_RECORD_JSON_H

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "control/record_fields.h"

using json = nlohmann::ordered_json; // in the order of the header

// The header's name with the unit behind it, "optical_input_power_dbm".
std::string name_of_field(const field &field);

// Without the prefix that tells whose alarm it is: "TX_HOST_LOA".
std::string_view name_of_alarm(const kelvane_alarm_name &alarm);

// `bytes` has at least the record's size. A value in the unit that its name ends with; null for what is no
// number, or what the firmware does not know.
json json_of_record(const record_fields &record, const void *bytes);

// The names of the bits that are set, from the highest on; a bit without a name as its number.
json json_of_alarms(std::span<const kelvane_alarm_name> bits, uint32_t word);

// A word of the enumeration, true or false of a switch, otherwise the number.
json json_of_value(const value_words *words, uint32_t value);

// Text of the card: up to its closing 0, with U+FFFD for whatever is no UTF-8.
json json_of_text(const char *text, size_t bytes_max);

#endif
