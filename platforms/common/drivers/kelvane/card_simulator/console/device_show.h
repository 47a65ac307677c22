// What the operator is shown of one device: its settings and measurements.
#ifndef CARD_SIMULATOR_CONSOLE_DEVICE_SHOW_H
#define CARD_SIMULATOR_CONSOLE_DEVICE_SHOW_H

#include <string>

#include "card_simulator/state/card_state.h"

std::string device_show(const card_state &state, uint32_t device);

#endif
