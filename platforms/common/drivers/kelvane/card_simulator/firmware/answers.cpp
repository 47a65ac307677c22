#include "card_simulator/firmware/answers.h"

#include <utility>

#include "card_simulator/commands/command_handlers.h"
#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/delivery.h"
#include "card_simulator/firmware/due.h"
#include "card_simulator/firmware/log_keeping.h"
#include "card_simulator/state/measurements.h"
#include "card_simulator/state/tables.h"
#include "platform/wait.h"

namespace {

// The request's data words become the answer's.
uint32_t run_command(card &card, uint32_t sirane_id, const command_row &row, mailbox_message &message,
                     uint64_t *work_ms)
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
    command_exchange exchange{card.state, card.bar, sirane_id, message.header, row.version, message.data};
    const int32_t result = row.run(exchange);
    message.header.version = exchange.version;
    *work_ms = exchange.work_ms;
    measurements_follow(card.state);
    publish_changed_tables(card.state, card.bar);
    return static_cast<uint32_t>(result);
}

// Logs a command that failed, unless it began work that logs its own outcome.
void log_command(card &card, const command_row &row, const mailbox_message &message, uint32_t sirane_id,
                 uint64_t work_ms)
{
    if (row.uses_download_memory) {
        logs_restore(card);
    }
    if (message.header.rc != 0 && work_ms == 0) {
        note_event(card.state, event_kind::command_failed, sirane_device(sirane_id), {row.command},
                   static_cast<int32_t>(message.header.rc));
    }
    logs_follow(card);
}

} // namespace

void answers_run_command(card &card, uint32_t sirane_id)
{
    mailbox_message message = std::move(card.firmware.siranes[sirane_id].commands.message);
    const command_row &row = *command_row_of(message.header.cmd); // others are refused
    if (message.header.sy != MBOX_SYNC_WORD) {
        faults_note_request(card.faults, sirane_id, message.header);
    }
    uint64_t work_ms = 0;
    message.header.rc = run_command(card, sirane_id, row, message, &work_ms);
    message.header.size = row.words;
    log_command(card, row, message, sirane_id, work_ms);
    if (row.answer == command_answer::none) {
        card.state.unanswered_errors += message.header.rc != 0 ? 1 : 0;
        return;
    }
    if (faults_strike(card.faults, fault_kind::drop_answer, row.command)) {
        return;
    }
    uint32_t delay_ms = 0;
    faults_strike(card.faults, fault_kind::delay, row.command, &delay_ms);
    const bool awaited = message.header.sy == MBOX_SYNC_WORD;
    const bool is_image_work = work_ms != 0;
    if (row.answer == command_answer::when_done && !awaited) {
        work_ms = card.firmware.laser_time_ms;
    }
    faults_corrupt(card.faults, fault_kind::corrupt, sirane_id, message.header);
    if (delay_ms + work_ms != 0) {
        card.firmware.late.push_back({wait_monotonic() + (delay_ms + work_ms) * NS_PER_MS, sirane_id,
                                      std::move(message), is_image_work});
        return;
    }
    delivery_post(card, sirane_id, MBOX_RESPONSE, std::move(message));
}

bool answers_have_room(const card &card, uint32_t sirane_id)
{
    const size_t waiting = card.firmware.siranes[sirane_id].out[MBOX_RESPONSE].queue.size();
    return waiting + card.firmware.late.size() < QUEUE_MESSAGES_MAX;
}

void answers_drop_late(card &card, uint32_t sirane_id)
{
    std::erase_if(card.firmware.late,
                  [sirane_id](const late_answer &it) { return it.sirane_id == sirane_id; });
}

void answers_tell_verdict(card &card)
{
    for (late_answer &answer : card.firmware.late) {
        if (std::exchange(answer.awaits_image_work, false)) {
            answer.message.header.rc = static_cast<uint32_t>(card.state.images.work.verdict);
        }
    }
}

void answers_send_due(card &card, uint64_t now_ns)
{
    for (late_answer &answer : take_due(card.firmware.late, now_ns)) {
        delivery_post(card, answer.sirane_id, MBOX_RESPONSE, std::move(answer.message));
    }
}

uint64_t answers_next_due(const card &card)
{
    return earliest_due_ns(card.firmware.late);
}
