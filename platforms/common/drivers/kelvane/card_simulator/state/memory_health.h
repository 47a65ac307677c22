// The table of memory errors and upsets, as the firmware publishes it.
#ifndef CARD_SIMULATOR_STATE_MEMORY_HEALTH_H
#define CARD_SIMULATOR_STATE_MEMORY_HEALTH_H

#include <cstdint>

#include "card_simulator/bus/bar.h"
#include "card_simulator/state/card_state.h"

// From one scrubbing of the memory to the next; the counters move no more often.
constexpr uint64_t SCRUB_PERIOD_NS = 60000000000;

void publish_memory_health(card_state &state, bar &bar);

#endif
