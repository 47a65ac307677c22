// What the firmware says when something changed: alarms to who subscribed to them, modules plugged and
// unplugged, restarts.
#ifndef CARD_SIMULATOR_FIRMWARE_NOTICES_H
#define CARD_SIMULATOR_FIRMWARE_NOTICES_H

#include <cstdint>

#include "card_simulator/state/card_state.h"
#include "kelvane.h"

struct card;

// What there is no more to be said about.
struct notices {
    global_alarms alarms[SIRANE_COUNT] = {};
    bool present[DEVICE_COUNT] = {}; // modules
    uint32_t reference = 0;          // of the latest notice that is nobody's answer
};

// The firmware comes up: things are as they are.
void notices_start(card &card);

// Tells what changed since, and the alarms that the host wants to be told.
void notices_follow(card &card);

void notices_tell_restart(card &card, kelvane_app_zynq_restart restart);

#endif
