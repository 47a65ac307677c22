// What goes out to the host: messages, in the order of their mailbox's queue, and interrupts.
#ifndef CARD_SIMULATOR_FIRMWARE_DELIVERY_H
#define CARD_SIMULATOR_FIRMWARE_DELIVERY_H

#include <cstdint>
#include <utility>
#include <vector>

#include "card_simulator/bus/mailbox.h"

struct card;

// Whether it runs, and not beside a host that cannot reach it.
bool firmware_runs(const card &card);

// Raises an interrupt for a message that is there, unless a fault says otherwise.
void delivery_interrupt(card &card, uint32_t sirane_id, uint32_t source);

// Puts a message into the queue of a mailbox towards the host. When that is full the message is lost,
// and counted.
void delivery_post(card &card, uint32_t sirane_id, uint32_t mbox, mailbox_message message);

// The same with a message that is no answer; one to a host that has not come is dropped.
void delivery_post_notice(card &card, uint32_t sirane_id, uint32_t mbox, mailbox_message message);

// Offers the next message of a queue when the mailbox is free for it.
void delivery_offer_next(card &card, uint32_t sirane_id, uint32_t mbox);

// Raises the late interrupts that are due, and says when the next one is.
void delivery_step(card &card, uint64_t now);
uint64_t delivery_next_due(const card &card);

// Takes out what is due, in the order in which it was put in.
template <typename delayed> std::vector<delayed> take_due(std::vector<delayed> &all, uint64_t now)
{
    std::vector<delayed> due;
    for (delayed &it : all) {
        if (it.due_ns <= now) {
            due.push_back(std::move(it));
        }
    }
    std::erase_if(all, [now](const delayed &it) { return it.due_ns <= now; });
    return due;
}

#endif
