#include "card_simulator/firmware/notices.h"

#include <cstring>
#include <utility>

#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/delivery.h"
#include "card_simulator/firmware/log_keeping.h"
#include "card_simulator/state/alarms.h"
#include "card_simulator/state/memory_health.h"

namespace {

constexpr uint32_t RESTART_SIRANE = 0; // its mailbox carries what concerns the whole card
constexpr size_t ALARM_WORDS = sizeof(global_alarms) / sizeof(uint32_t);
constexpr size_t ALARM_RECORD_WORD = 3; // after handle, device address and enable

// Without a subscription nobody is told.
void tell_alarms(card &card, uint32_t sirane_id, const global_alarms &alarms)
{
    subscription &to = card.state.alarm_changes[sirane_id];
    if (to.enable == 0) {
        return;
    }
    to.number++;
    std::vector<uint32_t> data = {to.handle, to.device_address, to.enable};
    data.resize(ALARM_RECORD_WORD + ALARM_WORDS);
    std::memcpy(&data[ALARM_RECORD_WORD], &alarms, sizeof alarms);
    data.push_back(static_cast<uint32_t>(to.number));
    data.push_back(static_cast<uint32_t>(to.number >> 32));
    const auto words = static_cast<uint32_t>(data.size());
    delivery_post_notice(card, sirane_id, MBOX_ALARM,
                         {{CMD_ENABLE_ALARMS_NOTIFY, to.ref_id, words, 0, to.sync_word, 0}, std::move(data)});
}

void note_alarms(card_state &state, uint32_t sirane_id, const global_alarms &now, const global_alarms &before)
{
    uint32_t words_now[ALARM_WORDS];
    uint32_t words_before[ALARM_WORDS];
    std::memcpy(words_now, &now, sizeof now);
    std::memcpy(words_before, &before, sizeof before);
    for (uint32_t i = 0; i < ALARM_WORDS; i++) {
        const uint32_t raised = words_now[i] & ~words_before[i];
        const uint32_t cleared = words_before[i] & ~words_now[i];
        if (raised != 0) {
            note_event(state, event_kind::alarm_raised, sirane_device(sirane_id), {i, raised});
        }
        if (cleared != 0) {
            note_event(state, event_kind::alarm_cleared, sirane_device(sirane_id), {i, cleared});
        }
    }
}

void tell(card &card, uint32_t sirane_id, uint32_t command, uint32_t slot, std::vector<uint32_t> data)
{
    const auto words = static_cast<uint32_t>(data.size());
    delivery_post_notice(card, sirane_id, MBOX_RESPONSE,
                         {{command, ++card.firmware.told.reference, words, 0, slot, 0}, std::move(data)});
}

void tell_plugged(card &card, uint32_t device, bool plugged)
{
    const uint32_t sirane_id = sirane_of_device(device);
    const uint32_t address = KELVANE_ADDRESS_NETWORK_PORT(sirane_id, network_port_of_device(device));
    tell(card, sirane_id, CMD_NOTIFY_PLUGIN, FIXED_REQ_ID_NOTIFY_PLUGIN, {0, address, plugged ? 1u : 0u});
}

void follow_modules(card &card)
{
    for (uint32_t device = 0; device < DEVICE_COUNT; device++) {
        const bool present = has_module(card.state, device);
        if (is_module_device(device) &&
            std::exchange(card.firmware.told.present[device], present) != present) {
            note_event(card.state, present ? event_kind::module_plugged : event_kind::module_unplugged,
                       device);
            tell_plugged(card, device, present);
        }
    }
}

void follow_alarms(card &card)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        const global_alarms now = alarms_of(card.state, sirane_id);
        const global_alarms before = std::exchange(card.firmware.told.alarms[sirane_id], now);
        if (std::memcmp(&now, &before, sizeof now) != 0) {
            note_alarms(card.state, sirane_id, now, before);
            tell_alarms(card, sirane_id, now);
        }
        const auto forced = std::exchange(card.state.forced_alarms[sirane_id], std::nullopt);
        if (forced.has_value()) {
            tell_alarms(card, sirane_id, *forced);
        }
    }
}

} // namespace

void notices_start(card &card)
{
    told_changes &told = card.firmware.told;
    for (uint32_t device = 0; device < DEVICE_COUNT; device++) {
        told.present[device] = has_module(card.state, device);
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        told.alarms[sirane_id] = alarms_of(card.state, sirane_id);
    }
}

void notices_follow(card &card)
{
    if (!firmware_runs(card)) {
        return;
    }
    if (card.state.memory.changed) {
        publish_memory_health(card.state, card.bar);
    }
    follow_modules(card);
    follow_alarms(card);
    logs_follow(card);
}

void notices_tell_restart(card &card, kelvane_app_zynq_restart restart)
{
    tell(card, RESTART_SIRANE, CMD_APP_ZYNQ_RESTART_NOTIFY, FIXED_REQ_ID_APP_ZYNQ_RESTART, {0, restart});
}
