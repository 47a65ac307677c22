#include "core/field_trace.h"

#include <cstring>

#include "core/trace/trace.h"

namespace {

template <typename value_type> value_type load(const void *record, size_t offset)
{
    value_type value;
    memcpy(&value, static_cast<const char *>(record) + offset, sizeof value);
    return value;
}

constexpr size_t TEXT_BYTES_MAX = 64;

struct line {
    uint32_t level;
    uint32_t slot;
    kelvane_device_address device_address;
    const char *function;
};

// The formats come from the callers' constant tables, each next to the kind that fits it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

void trace_text(const line &l, const char *format, const void *record, size_t offset, size_t length)
{
    char text[TEXT_BYTES_MAX + 1] = {};
    memcpy(text, static_cast<const char *>(record) + offset, length);
    kelvane_trace(l.level, l.slot, l.device_address, l.function, format, text);
}

template <typename... value_type> void trace_values(const line &l, const char *format, value_type... values)
{
    kelvane_trace(l.level, l.slot, l.device_address, l.function, format, values...);
}

#pragma GCC diagnostic pop

void trace_field(const line &l, const traced_field &f, const void *record)
{
    const auto word = [&](uint32_t index) { return load<uint32_t>(record, f.offset + 4 * index); };
    switch (f.kind) {
    case FIELD_WORD:
        return trace_values(l, f.format, word(0));
    case FIELD_WORD_PAIR:
        return trace_values(l, f.format, word(0), word(1));
    case FIELD_WORD_QUAD:
        return trace_values(l, f.format, word(0), word(1), word(2), word(3));
    case FIELD_HALF_WORD:
        return trace_values(l, f.format, static_cast<unsigned>(load<uint16_t>(record, f.offset)));
    case FIELD_COUNTER:
        return trace_values(l, f.format, static_cast<unsigned long>(load<uint64_t>(record, f.offset)));
    case FIELD_FLOAT:
        return trace_values(l, f.format, static_cast<double>(load<float>(record, f.offset)));
    case FIELD_FLOAT_TWICE: {
        const auto value = static_cast<double>(load<float>(record, f.offset));
        return trace_values(l, f.format, value, value);
    }
    case FIELD_TEMPERATURE:
        return trace_values(l, f.format, word(0), load<int32_t>(record, f.offset) >> 8);
    case FIELD_TEXT_10:
        return trace_text(l, f.format, record, f.offset, 10);
    case FIELD_TEXT_16:
        return trace_text(l, f.format, record, f.offset, 16);
    case FIELD_TEXT_64:
        return trace_text(l, f.format, record, f.offset, 64);
    }
}

} // namespace

void trace_fields(uint32_t level, kelvane_handle handle, kelvane_device_address device_address,
                  const char *function, std::span<const traced_field> fields, const void *record)
{
    if (!trace_is_on(level)) {
        return;
    }
    const line l = {level, kelvane_slot_of_handler(handle), device_address, function};
    for (const traced_field &field : fields) {
        trace_field(l, field, record);
    }
}
