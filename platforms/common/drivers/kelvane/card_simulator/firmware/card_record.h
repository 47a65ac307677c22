// The card as one record. Its parts are guarded by its mutex, which the operations of card.h take; the
// words of the BAR are not, for the host reads them at any time.
#ifndef CARD_SIMULATOR_FIRMWARE_CARD_RECORD_H
#define CARD_SIMULATOR_FIRMWARE_CARD_RECORD_H

#include <atomic>
#include <cstdint>
#include <mutex>

#include "card_simulator/bus/bar.h"
#include "card_simulator/card.h"
#include "card_simulator/firmware/card_logs.h"
#include "card_simulator/firmware/firmware.h"
#include "card_simulator/state/card_state.h"
#include "card_simulator/state/faults.h"

// What goes out of the card by other ways than the BAR. Called with the card's mutex held.
struct card_outlets {
    void *self = nullptr;
    void (*interrupt)(void *self) = nullptr;
    void (*removed)(void *self, bool removed) = nullptr;
};

struct card {
    std::mutex mutex;
    struct bar bar;
    card_state state;
    struct faults faults;
    struct firmware firmware;
    card_logs logs;
    card_outlets outlets;
    uint64_t interrupts = 0;              // events raised since the start
    std::atomic<uint32_t> untaken = 0;    // those of them that card_take_interrupt has not told of
    std::atomic<uint32_t> clients = 0;    // of the simulator's process
    std::atomic<bool> quit_asked = false; // by the operator
};

// A card on the memory of `memory_fd`, which other processes map too; -1 for memory of its own.
card *card_create_on(const card_options &options, int memory_fd, const card_outlets &outlets);

// A host in another process wrote a posted register; its word is in the memory already. The offset comes
// from memory that the host can write: any other than a posted register's is thrown away.
void card_posted_write(card *card, uint32_t offset, uint32_t value);

uint64_t card_next_due(card *card);

void card_raise_interrupts(card &card, uint32_t events);

// The card is pulled out of its slot, and put back without power meanwhile.
void card_remove(card &card);
void card_insert(card &card);

#endif
