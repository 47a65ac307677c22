// What goes out to the host: messages, in the order of their mailbox's queue, and interrupts.
#ifndef CARD_SIMULATOR_FIRMWARE_DELIVERY_H
#define CARD_SIMULATOR_FIRMWARE_DELIVERY_H

#include <cstdint>

#include "card_simulator/bus/mailbox.h"

struct card;

// Gives the host that many interrupt events.
void delivery_raise(card &card, uint32_t events);

constexpr size_t QUEUE_MESSAGES_MAX = 64; // of a mailbox, for a host that takes none

// Raises an interrupt for a message that is there, unless a fault says otherwise.
void delivery_interrupt(card &card, uint32_t sirane_id, uint32_t source);

// Puts a message into the queue of a mailbox towards the host. When that is full the message is dropped,
// and counted.
void delivery_post(card &card, uint32_t sirane_id, uint32_t mbox, mailbox_message message);

// The same for a message that is not an answer; it is dropped while no host has come.
void delivery_post_notice(card &card, uint32_t sirane_id, uint32_t mbox, mailbox_message message);

// Offers the next message of a queue when the mailbox is free for it.
void delivery_offer_next(card &card, uint32_t sirane_id, uint32_t mbox);

// Raises the late interrupts that are due; when the next one is.
void delivery_step(card &card, uint64_t now_ns);
uint64_t delivery_next_due(const card &card);

#endif
