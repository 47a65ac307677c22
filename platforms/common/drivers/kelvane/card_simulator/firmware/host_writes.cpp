#include "card_simulator/firmware/host_writes.h"

#include <utility>

#include "card_simulator/bus/mailbox_map.h"
#include "card_simulator/commands/command_handlers.h"
#include "card_simulator/firmware/answers.h"
#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/dap.h"
#include "card_simulator/firmware/delivery.h"
#include "card_simulator/firmware/log_keeping.h"
#include "card_simulator/firmware/notices.h"
#include "card_simulator/firmware/restarts.h"
#include "kelvane_bar.h"

namespace {

void command_state_written(card &card, uint32_t sirane_id, uint32_t state)
{
    inbox &commands = card.firmware.siranes[sirane_id].commands;
    if (state == MBOX_STATE_IDLE || state == MBOX_STATE_NONE) {
        if (inbox_release(commands, card.bar)) {
            answers_run_command(card, sirane_id);
            notices_follow(card);
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

// A firmware that starts slowly counts the resets of the command mailbox: 0, and then 2.
void count_failing_reset(card &card, uint32_t sirane_id, uint32_t state)
{
    sirane_mailboxes &it = card.firmware.siranes[sirane_id];
    if (state == MBOX_STATE_NONE) {
        it.reset_begun = true;
    } else if (state == MBOX_STATE_IDLE && std::exchange(it.reset_begun, false)) {
        if (it.failing_resets > 0) {
            it.failing_resets--;
        } else {
            firmware_bring_sirane_up(card, sirane_id);
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

// A host that missed an echo writes the idle state here, which is not a token.
void token_written(card &card, uint32_t token)
{
    if (token != MBOX_STATE_IDLE) {
        bar_write(card.bar, KEEP_ALIVE_REGISTERS.waiting_reg, token);
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
    if (offset == DAP_REGISTERS.resp_reg_to_write) {
        dap_host_wrote(card, value);
    } else if (offset == KEEP_ALIVE_REGISTERS.resp_reg_to_write) {
        token_written(card, value);
    }
}

// The logic around the processor handles interrupts and the reset trigger: they work while the firmware
// hangs or is down.
bool logic_register_written(card &card, uint32_t offset, uint32_t value)
{
    if (offset == TRIGGER_RESET_REG) {
        reset_trigger_written(card, value);
        return true;
    }
    if (offset == MSI_STATUS_REG) {
        delivery_raise(card, msi_host_cleared(card.firmware.interrupts, card.bar));
        return true;
    }
    if (offset == MSI_ENABLE_REG || offset == GLOBAL_IRQ_ENABLE_REG) {
        delivery_raise(card, msi_host_enabled(card.firmware.interrupts, card.bar));
        return true;
    }
    return false;
}

} // namespace

void firmware_host_wrote(card &card, uint32_t offset, uint32_t value)
{
    if (logic_register_written(card, offset, value)) {
        return;
    }
    if (card.firmware.hung) {
        card.firmware.missed_writes[offset] = value;
        return;
    }
    if (!card.firmware.up) {
        return;
    }
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        for (const uint32_t mbox : SIRANE_MAILBOXES) {
            if (mbox_registers_of(sirane_id, mbox).resp_reg_to_write == offset) {
                sirane_state_written(card, sirane_id, mbox, value);
                return;
            }
        }
    }
    card_register_written(card, offset, value);
}
