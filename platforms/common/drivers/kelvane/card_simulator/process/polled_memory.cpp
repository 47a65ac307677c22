#include "card_simulator/process/polled_memory.h"

#include "card_simulator/firmware/delivery.h"
#include "card_simulator/shared_card.h"
#include "kelvane_bar.h"
#include "platform/wait.h"

namespace {

const outbox *outbox_of_source(const sirane_mailboxes &mailboxes, uint32_t source)
{
    switch (source) {
    case MSI_SOURCE_RESPONSE:
        return &mailboxes.out[MBOX_RESPONSE];
    case MSI_SOURCE_PM:
        return &mailboxes.out[MBOX_PM];
    case MSI_SOURCE_ALARM:
        return &mailboxes.out[MBOX_ALARM];
    default:
        return nullptr;
    }
}

bool is_over(const card &card, uint32_t sirane_id, uint64_t pending_ns)
{
    const uint32_t source = bar_read(card.bar, msi_source_reg(sirane_id));
    const outbox *mailbox = outbox_of_source(card.firmware.siranes[sirane_id], source);
    if (mailbox == nullptr) {
        return pending_ns >= NAMELESS_INTERRUPT_NS;
    }
    return !mailbox->offered || pending_ns >= UNSERVED_INTERRUPT_NS;
}

void settle_interrupts(polled_memory &it, card &card)
{
    const std::lock_guard guard(card.mutex);
    if (card.bar.removed) {
        return;
    }
    const uint64_t now = wait_monotonic();
    uint32_t over = 0;
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        std::optional<uint64_t> &since = it.pending_since[sirane_id];
        if (!card.firmware.interrupts.presented[sirane_id]) {
            since.reset();
            continue;
        }
        if (is_over(card, sirane_id, now - since.value_or(now))) {
            over |= 1u << sirane_id;
            since.reset();
        } else if (!since.has_value()) {
            since = now;
        }
    }
    delivery_raise(card, msi_settle(card.firmware.interrupts, card.bar, over));
}

} // namespace

void polled_memory_start(polled_memory &it, card *card)
{
    const std::lock_guard guard(card->mutex);
    card->bar.plain = true;
    it = {};
    for (const uint32_t offset : bar_posted_registers()) {
        it.seen.push_back(bar_read(card->bar, offset));
    }
}

bool polled_memory_look(polled_memory &it, card *card)
{
    bool wrote = false;
    size_t i = 0;
    for (const uint32_t offset : bar_posted_registers()) {
        uint32_t &seen = it.seen[i++];
        const uint32_t value = bar_read(card->bar, offset);
        if (offset != MSI_STATUS_REG && value != seen) {
            seen = value;
            card_posted_write(card, offset, value);
            wrote = true;
        }
    }
    settle_interrupts(it, *card);
    return wrote;
}
