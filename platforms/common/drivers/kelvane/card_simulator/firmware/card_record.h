// The card as one record. Its mutex, which the operations of card.h take, guards all of it but the words of
// the BAR, which the host reads at any time.
#ifndef CARD_SIMULATOR_FIRMWARE_CARD_RECORD_H
#define CARD_SIMULATOR_FIRMWARE_CARD_RECORD_H

#include <atomic>
#include <cstdint>
#include <mutex>

#include "card_simulator/bus/bar.h"
#include "card_simulator/firmware/firmware_state.h"
#include "card_simulator/logs/card_logs.h"
#include "card_simulator/state/card_state.h"
#include "card_simulator/state/faults.h"

// Ways out of the card beside the BAR. Called with the card's mutex held.
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
    std::atomic<uint32_t> untaken = 0;    // those that card_take_interrupt has not returned
    std::atomic<uint32_t> clients = 0;    // of the simulator's process
    std::atomic<bool> quit_asked = false; // by the operator
};

// Whether the firmware runs, and is not out of its host's reach.
inline bool firmware_runs(const card &card)
{
    return card.firmware.up && !card.firmware.hung && !card.bar.removed;
}

#endif
