// What the firmware says of its own accord: changed alarms to a subscriber, modules plugged and unplugged,
// restarts.
#ifndef CARD_SIMULATOR_FIRMWARE_NOTICES_H
#define CARD_SIMULATOR_FIRMWARE_NOTICES_H

#include "kelvane.h"

struct card;

// The firmware comes up: what stands already is no change.
void notices_start(card &card);

// Something may have changed: publishes and logs it, and tells the host, also the alarms that it wants to be
// told. Nothing while the firmware does not run.
void notices_follow(card &card);

void notices_tell_restart(card &card, kelvane_app_zynq_restart restart);

#endif
