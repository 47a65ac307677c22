// Points in time and durations of wait_monotonic's clock.
#ifndef CARD_SIMULATOR_STATE_DURATIONS_H
#define CARD_SIMULATOR_STATE_DURATIONS_H

#include <cstdint>

constexpr uint64_t NS_PER_MS = 1000000;
constexpr uint64_t NS_PER_S = 1000000000;
constexpr uint64_t MS_PER_S = 1000;

constexpr uint64_t NEVER_NS = UINT64_MAX; // when nothing is due

#endif
