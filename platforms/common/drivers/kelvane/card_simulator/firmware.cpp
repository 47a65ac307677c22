#include "card_simulator/firmware.h"

#include <algorithm>
#include <utility>

#include "card_simulator/card_record.h"
#include "card_simulator/command_handlers.h"
#include "card_simulator/measurements.h"
#include "kelvane.h"
#include "kelvane_bar.h"
#include "platform/wait.h"

namespace {

constexpr uint32_t MAILBOXES[] = {MBOX_COMMAND, MBOX_RESPONSE, MBOX_PM, MBOX_ALARM};
constexpr uint32_t SOURCE_OF_OUTBOX[OUTBOX_COUNT] = {MSI_SOURCE_RESPONSE, MSI_SOURCE_PM, MSI_SOURCE_ALARM};
constexpr mbox_registers DAP = mbox_registers_of(0, MBOX_DAP);
constexpr mbox_registers KEEP_ALIVE = mbox_registers_of(0, MBOX_KEEP_ALIVE);
constexpr uint32_t DAP_SIRANE = 0; // whose interrupt the card-wide mailbox uses
constexpr uint64_t NS_PER_MS = 1000000;

void interrupt_host(card &card, uint32_t sirane_id, uint32_t source)
{
    if (!faults_strike(card.faults, fault_kind::drop_interrupt, 0)) {
        card_raise_interrupts(card, msi_post(card.firmware.interrupts, card.bar, sirane_id, source));
    }
}

void offer_next(card &card, uint32_t sirane_id, uint32_t mbox)
{
    if (outbox_offer(card.firmware.siranes[sirane_id].out[mbox], card.bar)) {
        interrupt_host(card, sirane_id, SOURCE_OF_OUTBOX[mbox]);
    }
}

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
    card.firmware.unheard.clear();
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        take_sirane_down(card, sirane_id);
    }
    bar_write(card.bar, DAP.waiting_reg, MBOX_STATE_NONE);
    bar_write(card.bar, KEEP_ALIVE.waiting_reg, 0);
    msi_reset(card.firmware.interrupts, card.bar);
}

// Header words by number, as an operator corrupts them.
void corrupt_answer(card &card, mbox_data_header &header)
{
    uint32_t *const words[MBOX_HEADER_WORDS] = {&header.cmd,     &header.ref_id, &header.size,
                                                &header.version, &header.sy,     &header.rc};
    for (uint32_t i = 0; i < MBOX_HEADER_WORDS; i++) {
        uint32_t value = 0;
        if (faults_strike(card.faults, fault_kind::corrupt, i, &value)) {
            *words[i] = value;
        }
    }
}

// The command's data become those of its answer.
uint32_t run_command(card &card, uint32_t sirane_id, const command_row &row, mailbox_message &message)
{
    const bool right_size = message.header.size == row.words;
    message.data.resize(row.words);
    message.header.version = row.version;
    uint32_t error_word = 0;
    if (faults_strike(card.faults, fault_kind::error, row.command, &error_word)) {
        return error_word;
    }
    if (!right_size) {
        return static_cast<uint32_t>(ORDUNE_INVALID_LENGTH);
    }
    command_exchange exchange{card.state, sirane_id, message.header, row.version, message.data};
    const int32_t result = row.run(exchange);
    message.header.version = exchange.version;
    measurements_follow(card.state);
    if (card.state.tables_changed) {
        publish_tables(card.state, card.bar);
    }
    return static_cast<uint32_t>(result);
}

void answer_command(card &card, uint32_t sirane_id)
{
    mailbox_message message = std::move(card.firmware.siranes[sirane_id].commands.message);
    const command_row &row = *command_row_of(message.header.cmd); // else it had not been accepted
    message.header.rc = run_command(card, sirane_id, row, message);
    message.header.size = row.words;
    if (!row.answered) {
        card.state.unanswered_errors += message.header.rc != 0 ? 1 : 0;
        return;
    }
    if (faults_strike(card.faults, fault_kind::drop_answer, row.command)) {
        return;
    }
    corrupt_answer(card, message.header);
    uint32_t delay_ms = 0;
    if (faults_strike(card.faults, fault_kind::delay, row.command, &delay_ms)) {
        card.firmware.late.push_back(
            {wait_monotonic() + delay_ms * NS_PER_MS, sirane_id, std::move(message)});
        return;
    }
    firmware_post(card, sirane_id, MBOX_RESPONSE, std::move(message));
}

// A host that sends and never takes an answer is refused before its answers fill the memory.
bool has_room_for_answer(const firmware &firmware, uint32_t sirane_id)
{
    return firmware.siranes[sirane_id].out[MBOX_RESPONSE].queue.size() + firmware.late.size() <
           MESSAGES_AT_MOST;
}

void command_state_written(card &card, uint32_t sirane_id, uint32_t state)
{
    inbox &commands = card.firmware.siranes[sirane_id].commands;
    if (state == MBOX_STATE_IDLE || state == MBOX_STATE_NONE) {
        if (inbox_release(commands, card.bar)) {
            answer_command(card, sirane_id);
        }
    } else if (state == MBOX_STATE_READY && inbox_take(commands, card.bar)) {
        const mbox_data_header &header = commands.message.header;
        const bool refused = command_row_of(header.cmd) == nullptr || header.size > MBOX_DATA_WORDS ||
                             !has_room_for_answer(card.firmware, sirane_id) ||
                             faults_strike(card.faults, fault_kind::refuse, header.cmd);
        if (refused) {
            inbox_refuse(commands, card.bar);
        } else {
            inbox_accept(commands, card.bar);
        }
    }
}

void drop_late_answers(firmware &firmware, uint32_t sirane_id)
{
    std::erase_if(firmware.late, [sirane_id](const late_answer &it) { return it.sirane_id == sirane_id; });
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
        drop_late_answers(card.firmware, sirane_id);
    }
    outbox_host_wrote(card.firmware.siranes[sirane_id].out[mbox], card.bar, state);
    offer_next(card, sirane_id, mbox);
}

void dap_state_written(card &card, uint32_t state)
{
    if (state == MBOX_STATE_RESET) {
        bar_write(card.bar, DAP.waiting_reg, MBOX_STATE_RESET);
        interrupt_host(card, DAP_SIRANE, MSI_SOURCE_DAP);
    } else if (state == MBOX_STATE_IDLE) {
        bar_write(card.bar, DAP.waiting_reg, MBOX_STATE_IDLE);
    }
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
        dap_state_written(card, value);
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
    if (std::exchange(card.firmware.cold_start, false)) {
        card_state_power_on(card.state);
    } else {
        card_state_firmware_start(card.state);
    }
    publish_tables(card.state, card.bar);
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        if (card.firmware.siranes[sirane_id].failing_resets == 0) {
            bring_sirane_up(card, sirane_id);
        }
    }
    bar_write(card.bar, DAP.waiting_reg, MBOX_STATE_IDLE);
    card.firmware.up = true;
}

} // namespace

void firmware_start(card &card)
{
    card.firmware.cold_start = true;
    come_up(card);
}

void firmware_restart(card &card, bool cold)
{
    go_down(card);
    card.firmware.cold_start = cold;
    card.firmware.up_at_ns = wait_monotonic() + FIRMWARE_START_NS;
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
    firmware_step(card);
}

void firmware_start_slowly(card &card, uint32_t attempts)
{
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        take_sirane_down(card, sirane_id);
        drop_late_answers(card.firmware, sirane_id);
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
    if (!it.up && now >= it.up_at_ns) {
        come_up(card);
    }
    for (size_t i = 0; i < it.late.size();) {
        if (it.late[i].due_ns > now) {
            i++;
            continue;
        }
        late_answer answer = std::move(it.late[i]);
        it.late.erase(it.late.begin() + static_cast<std::ptrdiff_t>(i));
        firmware_post(card, answer.sirane_id, MBOX_RESPONSE, std::move(answer.message));
    }
}

uint64_t firmware_next_due(const card &card)
{
    if (card.bar.removed || card.firmware.hung) {
        return FIRMWARE_NOTHING_DUE;
    }
    if (!card.firmware.up) {
        return card.firmware.up_at_ns;
    }
    uint64_t due = FIRMWARE_NOTHING_DUE;
    for (const late_answer &answer : card.firmware.late) {
        due = std::min(due, answer.due_ns);
    }
    return due;
}

void firmware_post(card &card, uint32_t sirane_id, uint32_t mbox, mailbox_message message)
{
    std::deque<mailbox_message> &queue = card.firmware.siranes[sirane_id].out[mbox].queue;
    if (queue.size() >= MESSAGES_AT_MOST) {
        card.firmware.lost_messages++;
        return;
    }
    queue.push_back(std::move(message));
    offer_next(card, sirane_id, mbox);
}
