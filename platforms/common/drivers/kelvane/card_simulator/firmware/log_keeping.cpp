#include "card_simulator/firmware/log_keeping.h"

#include <utility>

#include "card_simulator/firmware/card_record.h"

namespace {

// Bits of the trace level; errors are always written.
constexpr uint32_t LEVEL_BITS[] = {0x00000001, 0x00000002};

bool is_wanted(const card_state &state, const card_event &event)
{
    const row_kind row = shape_of_event(event.kind).row;
    return row == ROW_ERROR || (state.trace_level & LEVEL_BITS[row]) != 0;
}

} // namespace

void logs_start(card &card)
{
    eprom_start(card.logs.eprom, card.bar);
}

void logs_go_down(card &card, bool cold)
{
    if (firmware_runs(card)) {
        note_event(card.state, event_kind::goes_down, BOARD_DEVICE, {cold ? 1u : 0u});
        logs_follow(card);
    }
    if (cold) {
        trace_log_clear(card.logs.trace, card.bar);
    }
    logs_restore(card);
}

void logs_come_up(card &card)
{
    const bool text = !firmware_is_before(card.state, 3, 6) || card.state.running == firmware_version{};
    if (std::exchange(card.logs.trace.text, text) != text) {
        trace_log_clear(card.logs.trace, card.bar);
    }
}

void logs_follow(card &card)
{
    for (const card_event &event : std::exchange(card.state.events, {})) {
        if (is_wanted(card.state, event)) {
            trace_log_event(card.logs.trace, card.bar, event);
        }
        eprom_event(card.logs.eprom, card.bar, event, card.state.starts);
    }
}

void logs_restore(card &card)
{
    log_area_restore(card.logs.trace.area, card.bar);
    eprom_restore(card.logs.eprom, card.bar);
}
