// The simulated card on memory that other processes map: what its own process needs beyond card.h.
#ifndef CARD_SIMULATOR_SHARED_CARD_H
#define CARD_SIMULATOR_SHARED_CARD_H

#include <cstdint>

#include "card_simulator/firmware/card_record.h"
#include "card_simulator/state/card_options.h"

// A card on the memory of `memory_fd`, which other processes map too; -1 for memory of its own.
card *card_create_on(const card_options &options, int memory_fd, const card_outlets &outlets);

// A host in another process wrote a posted register; its word is in the memory already. The offset comes
// from memory that the host can write: any but a posted register's is ignored.
void card_posted_write(card *card, uint32_t offset, uint32_t value);

#endif
