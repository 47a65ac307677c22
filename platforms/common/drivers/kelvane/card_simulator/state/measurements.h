// What the card measures. Every value is a function of the seed, the device, the whole seconds since power
// came, and what has been set meanwhile: nothing has to run for the values to move.
#ifndef CARD_SIMULATOR_STATE_MEASUREMENTS_H
#define CARD_SIMULATOR_STATE_MEASUREMENTS_H

#include <cstdint>

#include "card_simulator/state/card_state.h"
#include "kelvane.h"

// Starts and stops the counting of the ports whose signal came or went; to be called after any such change.
void measurements_follow(card_state &state);

// The length of a sirane's measuring interval.
uint32_t pm_interval_s(const card_state &state, uint32_t sirane_id);

constexpr int32_t POWER_UNITS_PER_DBM = 100;
constexpr int32_t TEMPERATURE_UNITS_PER_DEGREE = 256;
constexpr int32_t NO_LIGHT_POWER = -40 * POWER_UNITS_PER_DBM; // what a dark port reads

kelvane_xpm2_port_pm measure_module(const card_state &state, uint32_t device);
kelvane_sirane_port_pm measure_network_port(const card_state &state, uint32_t device);
host_pm measure_host_port(const card_state &state, uint32_t sirane_id, uint32_t host_port);
kelvane_generic_pm measure_generic(const card_state &state, uint32_t sirane_id);
kelvane_global_pm measure_sirane(const card_state &state, uint32_t sirane_id);
kelvane_hostport_pcs_counters count_frames(const card_state &state, uint32_t sirane_id, uint32_t host_port);

constexpr uint32_t OSCILLATORS_PER_SIRANE = 4;
float measure_oscillator(const card_state &state, uint32_t sirane_id, uint32_t oscillator); // V

#endif
