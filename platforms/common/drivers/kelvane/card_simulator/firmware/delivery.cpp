#include "card_simulator/firmware/delivery.h"

#include <algorithm>
#include <utility>

#include "card_simulator/firmware/card_record.h"
#include "kelvane_bar.h"
#include "platform/wait.h"

namespace {

constexpr uint32_t SOURCE_OF_OUTBOX[OUTBOX_COUNT] = {MSI_SOURCE_RESPONSE, MSI_SOURCE_PM, MSI_SOURCE_ALARM};
constexpr uint64_t NS_PER_MS = 1000000;

void present_interrupt(card &card, uint32_t sirane_id, uint32_t source)
{
    uint32_t events = msi_post(card.firmware.interrupts, card.bar, sirane_id, source);
    if (events != 0 && faults_strike(card.faults, fault_kind::double_interrupt, 0)) {
        events++;
    }
    card_raise_interrupts(card, events);
}

// A source that waits already waits once, as behind a pending bit.
void delay_interrupt(firmware &firmware, const late_interrupt &interrupt)
{
    for (const late_interrupt &it : firmware.late_interrupts) {
        if (it.sirane_id == interrupt.sirane_id && it.source == interrupt.source) {
            return;
        }
    }
    firmware.late_interrupts.push_back(interrupt);
}

} // namespace

bool firmware_runs(const card &card)
{
    return card.firmware.up && !card.firmware.hung && !card.bar.removed;
}

void delivery_offer_next(card &card, uint32_t sirane_id, uint32_t mbox)
{
    if (outbox_offer(card.firmware.siranes[sirane_id].out[mbox], card.bar)) {
        delivery_interrupt(card, sirane_id, SOURCE_OF_OUTBOX[mbox]);
    }
}

void delivery_interrupt(card &card, uint32_t sirane_id, uint32_t source)
{
    uint32_t late_ms = 0;
    if (faults_strike(card.faults, fault_kind::drop_interrupt, 0)) {
        return;
    }
    if (faults_strike(card.faults, fault_kind::late_interrupt, 0, &late_ms)) {
        delay_interrupt(card.firmware, {wait_monotonic() + late_ms * NS_PER_MS, sirane_id, source});
        return;
    }
    present_interrupt(card, sirane_id, source);
}

void delivery_post(card &card, uint32_t sirane_id, uint32_t mbox, mailbox_message message)
{
    if (!card.firmware.siranes[sirane_id].up) {
        return; // it has no mailbox yet
    }
    std::deque<mailbox_message> &queue = card.firmware.siranes[sirane_id].out[mbox].queue;
    if (queue.size() >= MESSAGES_AT_MOST) {
        card.firmware.lost_messages++;
        return;
    }
    queue.push_back(std::move(message));
    delivery_offer_next(card, sirane_id, mbox);
}

void delivery_post_notice(card &card, uint32_t sirane_id, uint32_t mbox, mailbox_message message)
{
    if (card.firmware.siranes[sirane_id].out[mbox].host == MBOX_STATE_NONE) {
        return; // no host has come, or it resets its mailboxes
    }
    faults_corrupt(card.faults, fault_kind::corrupt_notice, message.header);
    delivery_post(card, sirane_id, mbox, std::move(message));
}

void delivery_step(card &card, uint64_t now)
{
    for (const late_interrupt &interrupt : take_due(card.firmware.late_interrupts, now)) {
        present_interrupt(card, interrupt.sirane_id, interrupt.source);
    }
}

uint64_t delivery_next_due(const card &card)
{
    uint64_t due = FIRMWARE_NOTHING_DUE;
    for (const late_interrupt &interrupt : card.firmware.late_interrupts) {
        due = std::min(due, interrupt.due_ns);
    }
    return due;
}
