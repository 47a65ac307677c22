#include "card_simulator/firmware/restarts.h"

#include <utility>

#include "card_simulator/bus/mailbox_map.h"
#include "card_simulator/firmware/answers.h"
#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/dap.h"
#include "card_simulator/firmware/log_keeping.h"
#include "card_simulator/firmware/notices.h"
#include "card_simulator/state/image_work.h"
#include "card_simulator/state/memory_health.h"
#include "card_simulator/state/tables.h"
#include "platform/wait.h"

namespace {

void take_sirane_down(card &card, uint32_t sirane_id)
{
    card.firmware.siranes[sirane_id] = {};
    for (const uint32_t mbox : SIRANE_MAILBOXES) {
        bar_write(card.bar, mbox_registers_of(sirane_id, mbox).waiting_reg, MBOX_STATE_NONE);
    }
}

void go_down(card &card)
{
    card.firmware.up = false;
    card.firmware.hung = false;
    card.firmware.reset_armed = false;
    card.firmware.late.clear();
    card.firmware.late_interrupts.clear();
    card.firmware.announced = {};
    card.firmware.restart_to_tell = KELVANE_APP_ZYNQ_RESTART_UNDEF;
    card.firmware.missed_writes.clear();
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        take_sirane_down(card, sirane_id);
    }
    dap_stop(card);
    bar_write(card.bar, KEEP_ALIVE_REGISTERS.waiting_reg, 0);
    msi_reset(card.firmware.interrupts, card.bar);
}

} // namespace

void firmware_bring_sirane_up(card &card, uint32_t sirane_id)
{
    sirane_mailboxes &it = card.firmware.siranes[sirane_id];
    it.up = true;
    inbox_start(it.commands, card.bar, mbox_registers_of(sirane_id, MBOX_COMMAND));
    for (uint32_t mbox = 0; mbox < OUTBOX_COUNT; mbox++) {
        outbox_start(it.out[mbox], card.bar, mbox_registers_of(sirane_id, mbox));
    }
}

void firmware_come_up(card &card)
{
    const bool cold = std::exchange(card.firmware.cold_start, false);
    image_work_firmware_start(card.state);
    if (cold) {
        card_state_power_on(card.state);
    } else {
        card_state_firmware_start(card.state);
    }
    logs_come_up(card);
    note_event(card.state, event_kind::started, BOARD_DEVICE,
               {bundle_version(card.state.running), cold ? 1u : 0u});
    logs_follow(card);
    publish_tables(card.state, card.bar);
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        if (card.firmware.siranes[sirane_id].failing_resets == 0) {
            firmware_bring_sirane_up(card, sirane_id);
        }
    }
    dap_start(card);
    card.firmware.scrub_due_ns = card.state.started_ns + SCRUB_PERIOD_NS;
    publish_memory_health(card.state, card.bar);
    notices_start(card);
    card.firmware.up = true;
    const uint32_t restart =
        std::exchange(card.firmware.restart_to_tell, uint32_t{KELVANE_APP_ZYNQ_RESTART_UNDEF});
    if (restart != KELVANE_APP_ZYNQ_RESTART_UNDEF) {
        notices_tell_restart(card, static_cast<kelvane_app_zynq_restart>(restart));
    }
}

void firmware_start(card &card)
{
    card.firmware.cold_start = true;
    firmware_come_up(card);
}

void firmware_restart(card &card, bool cold)
{
    logs_go_down(card, cold);
    go_down(card);
    card.firmware.cold_start = cold;
    card.firmware.up_at_ns = wait_monotonic() + FIRMWARE_START_NS;
}

void firmware_restart_as_announced(card &card)
{
    const auto version = card.firmware.announced.version;
    firmware_restart(card, false);
    card.firmware.restart_to_tell = KELVANE_APP_ZYNQ_RESTART_WARM_DONE;
    if (version.has_value()) {
        card.state.images.working = *version;
    }
}

void firmware_announce_restart(card &card, const std::optional<firmware_version> &version)
{
    card.firmware.announced = {wait_monotonic() + RESTART_NOTICE_NS, version};
    notices_tell_restart(card, KELVANE_APP_ZYNQ_RESTART_WARM);
}

void firmware_restart_cold(card &card)
{
    firmware_restart(card, true);
    card.firmware.restart_to_tell = KELVANE_APP_ZYNQ_RESTART_COLD;
}

void firmware_start_slowly(card &card, uint32_t attempts)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        take_sirane_down(card, sirane_id);
        answers_drop_late(card, sirane_id);
        card.firmware.siranes[sirane_id].failing_resets = attempts;
    }
}

void card_remove(card &card)
{
    card.bar.removed = true;
    if (card.outlets.removed != nullptr) {
        card.outlets.removed(card.outlets.self, true);
    }
}

void card_insert(card &card)
{
    bar_clear(card.bar);
    card.firmware.interrupts = {};
    firmware_restart(card, true);
    card.bar.removed = false;
    if (card.outlets.removed != nullptr) {
        card.outlets.removed(card.outlets.self, false);
    }
}
