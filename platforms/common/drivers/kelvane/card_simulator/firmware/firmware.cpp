#include "card_simulator/firmware/firmware.h"

#include <algorithm>
#include <utility>

#include "card_simulator/commands/command_handlers.h"
#include "card_simulator/firmware/answers.h"
#include "card_simulator/firmware/batches.h"
#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/delivery.h"
#include "card_simulator/state/measurements.h"
#include "card_simulator/state/memory_health.h"
#include "kelvane.h"
#include "kelvane_bar.h"
#include "platform/wait.h"

namespace {

constexpr uint32_t MAILBOXES[] = {MBOX_COMMAND, MBOX_RESPONSE, MBOX_PM, MBOX_ALARM};
constexpr mbox_registers DAP = mbox_registers_of(0, MBOX_DAP);
constexpr mbox_registers KEEP_ALIVE = mbox_registers_of(0, MBOX_KEEP_ALIVE);

void bring_sirane_up(card &card, uint32_t sirane_id)
{
    sirane_mailboxes &it = card.firmware.siranes[sirane_id];
    it.up = true;
    inbox_start(it.commands, card.bar, mbox_registers_of(sirane_id, MBOX_COMMAND));
    for (uint32_t mbox = 0; mbox < OUTBOX_COUNT; mbox++) {
        outbox_start(it.out[mbox], card.bar, mbox_registers_of(sirane_id, mbox));
    }
}

void take_sirane_down(card &card, uint32_t sirane_id)
{
    card.firmware.siranes[sirane_id] = {};
    for (const uint32_t mbox : MAILBOXES) {
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
    card.firmware.unheard.clear();
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        take_sirane_down(card, sirane_id);
    }
    dap_stop(card);
    bar_write(card.bar, KEEP_ALIVE.waiting_reg, 0);
    msi_reset(card.firmware.interrupts, card.bar);
}

void command_state_written(card &card, uint32_t sirane_id, uint32_t state)
{
    inbox &commands = card.firmware.siranes[sirane_id].commands;
    if (state == MBOX_STATE_IDLE || state == MBOX_STATE_NONE) {
        if (inbox_release(commands, card.bar)) {
            answers_run_command(card, sirane_id);
            firmware_follow(card);
        }
    } else if (state == MBOX_STATE_READY && inbox_take(commands, card.bar)) {
        const mbox_data_header &header = commands.message.header;
        const bool refused = command_row_of(header.cmd) == nullptr || header.size > MBOX_DATA_WORDS ||
                             !answers_have_room(card, sirane_id) ||
                             faults_strike(card.faults, fault_kind::refuse, header.cmd);
        if (refused) {
            note_event(card.state, event_kind::message_refused, sirane_device(sirane_id), {header.cmd});
            logs_follow(card);
            inbox_refuse(commands, card.bar);
        } else {
            inbox_accept(commands, card.bar);
        }
    }
}

// A reset of the command mailbox, 0 and then 2, is what a firmware that starts slowly counts.
void count_failing_reset(card &card, uint32_t sirane_id, uint32_t state)
{
    sirane_mailboxes &it = card.firmware.siranes[sirane_id];
    if (state == MBOX_STATE_NONE) {
        it.reset_begun = true;
    } else if (state == MBOX_STATE_IDLE && std::exchange(it.reset_begun, false)) {
        if (it.failing_resets > 0) {
            it.failing_resets--;
        } else {
            bring_sirane_up(card, sirane_id);
        }
    }
}

void sirane_state_written(card &card, uint32_t sirane_id, uint32_t mbox, uint32_t state)
{
    if (!card.firmware.siranes[sirane_id].up) {
        if (mbox == MBOX_COMMAND) {
            count_failing_reset(card, sirane_id, state);
        }
        return;
    }
    if (mbox == MBOX_COMMAND) {
        command_state_written(card, sirane_id, state);
        return;
    }
    if (mbox == MBOX_RESPONSE && state == MBOX_STATE_NONE) {
        answers_drop_late(card, sirane_id);
    }
    outbox_host_wrote(card.firmware.siranes[sirane_id].out[mbox], card.bar, state);
    delivery_offer_next(card, sirane_id, mbox);
}

// A host that missed an echo writes the idle state here, which is no token.
void token_written(card &card, uint32_t token)
{
    if (token != MBOX_STATE_IDLE) {
        bar_write(card.bar, KEEP_ALIVE.waiting_reg, token);
    }
}

void reset_trigger_written(card &card, uint32_t value)
{
    const bool armed = std::exchange(card.firmware.reset_armed, value == TRIGGER_RESET_ARM);
    if (armed && (value == TRIGGER_RESET_SET || value == TRIGGER_RESET_UNSET)) {
        firmware_restart(card, value == TRIGGER_RESET_UNSET);
    }
}

void card_register_written(card &card, uint32_t offset, uint32_t value)
{
    if (offset == DAP.resp_reg_to_write) {
        dap_host_wrote(card, value);
    } else if (offset == KEEP_ALIVE.resp_reg_to_write) {
        token_written(card, value);
    }
}

// Interrupts and the reset trigger are the work of the logic around the processor: they go on while the
// firmware hangs or is down.
bool logic_register_written(card &card, uint32_t offset, uint32_t value)
{
    if (offset == TRIGGER_RESET_REG) {
        reset_trigger_written(card, value);
        return true;
    }
    if (offset == MSI_STATUS_REG) {
        card_raise_interrupts(card, msi_host_cleared(card.firmware.interrupts, card.bar));
        return true;
    }
    if (offset == MSI_ENABLE_REG || offset == GLOBAL_IRQ_ENABLE_REG) {
        card_raise_interrupts(card, msi_host_enabled(card.firmware.interrupts, card.bar));
        return true;
    }
    return false;
}

void come_up(card &card)
{
    const bool cold = std::exchange(card.firmware.cold_start, false);
    images_firmware_start(card.state);
    if (cold) {
        card_state_power_on(card.state);
    } else {
        card_state_firmware_start(card.state);
    }
    logs_come_up(card);
    note_event(card.state, event_kind::started, BOARD_DEVICE,
               {bundle_version({card.state.firmware_major, card.state.firmware_minor}), cold ? 1u : 0u});
    logs_follow(card);
    publish_tables(card.state, card.bar);
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        if (card.firmware.siranes[sirane_id].failing_resets == 0) {
            bring_sirane_up(card, sirane_id);
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

void restart_as_announced(card &card)
{
    const auto version = card.firmware.announced.version;
    firmware_restart(card, false);
    card.firmware.restart_to_tell = KELVANE_APP_ZYNQ_RESTART_WARM_DONE;
    if (version.has_value()) {
        card.state.images.working = *version;
    }
}

} // namespace

void firmware_start(card &card)
{
    card.firmware.cold_start = true;
    come_up(card);
}

void firmware_restart(card &card, bool cold)
{
    logs_go_down(card, cold);
    go_down(card);
    card.firmware.cold_start = cold;
    card.firmware.up_at_ns = wait_monotonic() + FIRMWARE_START_NS;
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

void firmware_hang(card &card)
{
    card.firmware.hung = true;
}

// What was written meanwhile is found as a loop that polls its registers would find it: the last value.
void firmware_resume(card &card)
{
    card.firmware.hung = false;
    for (const auto &[offset, value] : std::exchange(card.firmware.unheard, {})) {
        firmware_host_wrote(card, offset, value);
    }
    firmware_follow(card);
    firmware_step(card);
}

void firmware_start_slowly(card &card, uint32_t attempts)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        take_sirane_down(card, sirane_id);
        answers_drop_late(card, sirane_id);
        card.firmware.siranes[sirane_id].failing_resets = attempts;
    }
}

void firmware_host_wrote(card &card, uint32_t offset, uint32_t value)
{
    if (logic_register_written(card, offset, value)) {
        return;
    }
    if (card.firmware.hung) {
        card.firmware.unheard[offset] = value;
        return;
    }
    if (!card.firmware.up) {
        return;
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        for (const uint32_t mbox : MAILBOXES) {
            if (mbox_registers_of(sirane_id, mbox).resp_reg_to_write == offset) {
                sirane_state_written(card, sirane_id, mbox, value);
                return;
            }
        }
    }
    card_register_written(card, offset, value);
}

void firmware_step(card &card)
{
    firmware &it = card.firmware;
    if (card.bar.removed || it.hung) {
        return;
    }
    const uint64_t now = wait_monotonic();
    if (it.announced.due_ns <= now) {
        restart_as_announced(card);
    }
    if (!it.up && now >= it.up_at_ns) {
        come_up(card);
    }
    if (!it.up) {
        return;
    }
    delivery_step(card, now);
    if (images_step(card.state, card.bar, now)) {
        answers_tell_verdict(card);
        firmware_follow(card);
    }
    answers_send_due(card, now);
    batches_send_due(card, now);
    dap_step(card, now);
    if (it.scrub_due_ns <= now) {
        it.scrub_due_ns = now + SCRUB_PERIOD_NS;
        publish_memory_health(card.state, card.bar);
    }
}

uint64_t firmware_next_due(const card &card)
{
    const firmware &it = card.firmware;
    if (card.bar.removed || it.hung) {
        return FIRMWARE_NOTHING_DUE;
    }
    if (!it.up) {
        return it.up_at_ns;
    }
    return std::min({it.announced.due_ns, delivery_next_due(card), batches_next_due(card), dap_next_due(card),
                     it.scrub_due_ns, images_next_due(card.state), answers_next_due(card)});
}

void firmware_follow(card &card)
{
    if (!firmware_runs(card)) {
        return;
    }
    if (card.state.memory.changed) {
        publish_memory_health(card.state, card.bar);
    }
    notices_follow(card);
    logs_follow(card);
}
