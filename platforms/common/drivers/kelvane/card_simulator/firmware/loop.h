// The firmware's loop: what it does as time passes, unless it hangs.
#ifndef CARD_SIMULATOR_FIRMWARE_LOOP_H
#define CARD_SIMULATOR_FIRMWARE_LOOP_H

#include <cstdint>

struct card;

// Does what is due, and says when it wants to be called again (wait_monotonic).
void firmware_step(card &card);
uint64_t firmware_next_due(const card &card);

void firmware_hang(card &card);
void firmware_resume(card &card);

#endif
