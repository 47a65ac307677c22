// The card's interrupts: for each sirane one pending bit, one register that names the mailbox, and a queue
// of the mailboxes that have something to say.
#ifndef CARD_SIMULATOR_BUS_MSI_H
#define CARD_SIMULATOR_BUS_MSI_H

#include <cstdint>
#include <deque>

#include "card_simulator/bus/bar.h"
#include "kelvane_mbox.h"

struct msi {
    std::deque<uint32_t> waiting[SIRANE_COUNT]; // sources, each at most once
    bool presented[SIRANE_COUNT] = {};          // the bit was set, and not seen cleared since
    uint32_t enabled = 0;                       // siranes that may interrupt the host
};

// All return how many interrupt events the host gets.
uint32_t msi_post(msi &msi, bar &bar, uint32_t sirane_id, uint32_t source);
uint32_t msi_host_cleared(msi &msi, bar &bar);
uint32_t msi_host_enabled(msi &msi, bar &bar);

// On plain memory, where a host's clear does nothing, or spoils the word that it read a moment before: ends
// the interrupts of the siranes in `over`, and sets all other bits right.
uint32_t msi_settle(msi &msi, bar &bar, uint32_t over);

// Forgets all interrupts, pending ones included. What the host enabled stays.
void msi_reset(msi &msi, bar &bar);

#endif
