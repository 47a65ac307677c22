// Records in the log: a list of fields, one line each.
#ifndef CORE_FIELD_TRACE_H
#define CORE_FIELD_TRACE_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "kelvane.h"

// What the format of a line is given.
enum field_kind : uint8_t {
    FIELD_WORD,        // one 32-bit word, for any of %d %u %x
    FIELD_WORD_PAIR,   // two words in a row
    FIELD_WORD_QUAD,   // four
    FIELD_HALF_WORD,   // 16 bits, as a word
    FIELD_COUNTER,     // 64 bits, for %lu
    FIELD_FLOAT,       // for %f
    FIELD_FLOAT_TWICE, // the same value for %f and %E
    FIELD_TEMPERATURE, // 1/256 degree: the word, and the whole degrees
    FIELD_TEXT_10,     // that many characters, with or without a closing 0
    FIELD_TEXT_16,
    FIELD_TEXT_64,
};

struct traced_field {
    const char *format;
    uint16_t offset; // in the record, bytes
    field_kind kind;
};

// Writes the fields in order under the name `function`. The record is not touched when the level is off.
void trace_fields(uint32_t level, kelvane_handle handle, kelvane_device_address device_address,
                  const char *function, std::span<const traced_field> fields, const void *record);

#endif
