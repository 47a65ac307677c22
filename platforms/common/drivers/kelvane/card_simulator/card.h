// The simulated card in this process: a register file and its firmware, without threads, sleeps or a
// clock other than platform/wait.h's.
//
// All operations may be called from any thread, several at once.
#ifndef CARD_SIMULATOR_CARD_H
#define CARD_SIMULATOR_CARD_H

#include <cstdint>
#include <string>

#include "card_simulator/state/card_options.h"

struct card;

// A card with its firmware up and a module in every port. Never null: without memory the process ends.
card *card_create(const card_options &options);
void card_destroy(card *card);

// An access of the host, as the bus does it: all ones, or nothing written, beyond the BAR, at an offset
// that is no multiple of 4 and on a removed card. After a write the firmware has done what it can.
uint32_t card_host_read(card *card, uint32_t offset);
void card_host_write(card *card, uint32_t offset, uint32_t value);

// Time passed: does the work that is due, delayed answers for instance.
void card_step(card *card);

// When that will be (wait_monotonic), UINT64_MAX if nothing is due.
uint64_t card_next_due(card *card);

// Takes one of the interrupts that the card raised; false when none is left.
bool card_take_interrupt(card *card);

// Runs one line of the card's console ("plug 2", see docs/simulated_card.md). Returns 0, or 22 (EINVAL)
// for a line that was refused; `answer` then says why.
int32_t card_verb(card *card, const char *line, std::string *answer);

#endif
