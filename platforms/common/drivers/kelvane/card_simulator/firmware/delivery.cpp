#include "card_simulator/firmware/delivery.h"

#include <utility>

#include "card_simulator/firmware/card_record.h"
#include "card_simulator/firmware/due.h"
#include "kelvane_bar.h"
#include "platform/wait.h"

namespace {

constexpr uint32_t SOURCE_OF_OUTBOX[OUTBOX_COUNT] = {MSI_SOURCE_RESPONSE, MSI_SOURCE_PM, MSI_SOURCE_ALARM};

void present_interrupt(card &card, uint32_t sirane_id, uint32_t source)
{
    uint32_t events = msi_post(card.firmware.interrupts, card.bar, sirane_id, source);
    if (events != 0 && faults_strike(card.faults, fault_kind::double_interrupt, 0)) {
        events++;
    }
    delivery_raise(card, events);
}

// A source that is late already comes once, as one that waits for a pending bit does.
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

void delivery_raise(card &card, uint32_t events)
{
    for (uint32_t i = 0; i < events; i++) {
        card.interrupts++;
        card.untaken++;
        if (card.outlets.interrupt != nullptr) {
            card.outlets.interrupt(card.outlets.self);
        }
    }
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
    if (queue.size() >= QUEUE_MESSAGES_MAX) {
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
    faults_corrupt(card.faults, fault_kind::corrupt_notice, sirane_id, message.header);
    delivery_post(card, sirane_id, mbox, std::move(message));
}

void delivery_step(card &card, uint64_t now_ns)
{
    for (const late_interrupt &interrupt : take_due(card.firmware.late_interrupts, now_ns)) {
        present_interrupt(card, interrupt.sirane_id, interrupt.source);
    }
}

uint64_t delivery_next_due(const card &card)
{
    return earliest_due_ns(card.firmware.late_interrupts);
}
