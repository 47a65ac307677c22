// A BAR in plain memory: the host's stores wake nobody, and a bit written as 1 stays. The card polls the
// state registers, and notices a write by the value that it left. Writes that change nothing, and those that
// are overwritten between two looks, are lost.
#ifndef CARD_SIMULATOR_PROCESS_POLLED_MEMORY_H
#define CARD_SIMULATOR_PROCESS_POLLED_MEMORY_H

#include <cstdint>
#include <optional>
#include <vector>

#include "card_simulator/card.h"
#include "kelvane_mbox.h"

// How long a bit stays pending when the host does not serve its mailbox, and when it names no mailbox.
constexpr uint64_t UNSERVED_INTERRUPT_NS = 1000000000;
constexpr uint64_t NAMELESS_INTERRUPT_NS = 20000000;

struct polled_memory {
    std::vector<uint32_t> seen;                          // value of each posted register
    std::optional<uint64_t> pending_since[SIRANE_COUNT]; // wait_monotonic, as the looks found it
};

void polled_memory_start(polled_memory &it, card *card);

// Passes on what the host wrote since the last look, and does what clearing an interrupt does on a card: a
// pending bit goes once its mailbox holds no message any more. Returns whether the host wrote anything.
bool polled_memory_look(polled_memory &it, card *card);

#endif
