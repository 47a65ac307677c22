// The tables in the BAR that tell the host what this card is and runs: the controller's and each sirane's.
#ifndef CARD_SIMULATOR_STATE_TABLES_H
#define CARD_SIMULATOR_STATE_TABLES_H

#include "card_simulator/bus/bar.h"
#include "card_simulator/state/card_state.h"

void publish_tables(card_state &state, bar &bar);

// Publishes what changed since, if anything did: all tables, or only how far the work on an image has come.
void publish_changed_tables(card_state &state, bar &bar);

#endif
