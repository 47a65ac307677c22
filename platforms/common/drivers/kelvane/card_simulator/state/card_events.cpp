#include "card_simulator/state/card_events.h"

#include "card_simulator/state/append_text.h"

namespace {

constexpr event_label NONE = {nullptr, value_form::decimal};
constexpr event_label KIND = {"kind", value_form::decimal};
constexpr event_label BYTES = {"bytes", value_form::decimal};
constexpr event_label VERSION = {"version", value_form::version};
constexpr event_label COMMAND = {"command", value_form::decimal};
constexpr event_label WORD = {"word", value_form::decimal};
constexpr event_label BITS = {"bits", value_form::hexadecimal};
constexpr event_label BIT = {"bit", value_form::decimal};

using enum event_kind;

// In the order of event_kind.
constexpr event_shape SHAPES[] = {
    {started,
     ROW_INFO,
     9,
     212,
     "firmware started",
     {VERSION, {"cold", value_form::decimal}, NONE},
     false,
     true},
    {goes_down,
     ROW_INFO,
     9,
     487,
     "firmware goes down",
     {{"cold", value_form::decimal}, NONE, NONE},
     false,
     true},
    {message_refused, ROW_ERROR, 4, 133, "message refused", {COMMAND, NONE, NONE}, false, false},
    {command_failed, ROW_ERROR, 3, 301, "command failed", {COMMAND, NONE, NONE}, false, false},
    {download_begun, ROW_INFO, 38, 95, "download begun", {KIND, BYTES, NONE}, false, false},
    {digest_right, ROW_INFO, 38, 140, "digest is right", {KIND, BYTES, NONE}, false, false},
    {digest_wrong, ROW_ERROR, 38, 144, "digest is wrong", {KIND, BYTES, NONE}, false, true},
    {image_kept, ROW_INFO, 38, 171, "image kept", {KIND, VERSION, NONE}, false, true},
    {program_begun, ROW_INFO, 5, 230, "programming begun", {KIND, NONE, NONE}, true, false},
    {program_failed, ROW_ERROR, 5, 262, "programming failed", {KIND, NONE, NONE}, true, true},
    {activated, ROW_INFO, 5, 275, "image activated", {VERSION, NONE, NONE}, true, true},
    {device_reset, ROW_LOG, 41, 60, "device reset", {NONE, NONE, NONE}, true, false},
    {defaults_set, ROW_LOG, 2, 77, "all devices reset", {NONE, NONE, NONE}, false, true},
    {module_plugged, ROW_LOG, 39, 118, "module plugged", {NONE, NONE, NONE}, false, false},
    {module_unplugged, ROW_LOG, 39, 126, "module unplugged", {NONE, NONE, NONE}, false, false},
    {alarm_raised, ROW_LOG, 39, 203, "alarm raised", {WORD, BITS, NONE}, false, false},
    {alarm_cleared, ROW_LOG, 39, 209, "alarm cleared", {WORD, BITS, NONE}, false, false},
    {regulator_failed, ROW_ERROR, 6, 84, "regulator failed", {BIT, NONE, NONE}, true, true},
    {regulator_recovered, ROW_LOG, 6, 91, "regulator recovered", {BIT, NONE, NONE}, true, true},
};

constexpr bool is_in_order()
{
    uint32_t kind = 0;
    for (const event_shape &shape : SHAPES) {
        if (static_cast<uint32_t>(shape.kind) != kind++) {
            return false;
        }
    }
    return kind == static_cast<uint32_t>(regulator_recovered) + 1;
}

static_assert(is_in_order());

void append_value(std::string &text, const event_label &label, uint32_t value)
{
    switch (label.form) {
    case value_form::decimal:
        append(text, ", %s %u", label.name, value);
        break;
    case value_form::hexadecimal:
        append(text, ", %s 0x%08x", label.name, value);
        break;
    case value_form::version:
        append(text, ", %s %u.%u", label.name, value >> 16, value & 0xFFFF);
        break;
    }
}

} // namespace

const event_shape &shape_of_event(event_kind kind)
{
    return SHAPES[static_cast<uint32_t>(kind)];
}

std::string event_text(const card_event &event)
{
    const event_shape &shape = shape_of_event(event.kind);
    std::string text;
    append(text, "%s, device %u", shape.text, event.device);
    for (uint32_t i = 0; i < EVENT_VALUES; i++) {
        if (shape.labels[i].name != nullptr) {
            append_value(text, shape.labels[i], event.values.value[i]);
        }
    }
    if (event.code != 0) {
        append(text, ", code 0x%08x", event.code);
    }
    return text;
}
