// The active alarms: those that the operator raised, and those that follow from the card's state.
#ifndef CARD_SIMULATOR_STATE_ALARMS_H
#define CARD_SIMULATOR_STATE_ALARMS_H

#include "card_simulator/state/card_state.h"
#include "kelvane.h"

global_alarms alarms_of(const card_state &state, uint32_t sirane_id);

#endif
