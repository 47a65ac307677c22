// Performance records as they cross the mailbox: in the layout of the card's firmware version.
#ifndef CARD_SIMULATOR_STATE_PERFORMANCE_LAYOUT_H
#define CARD_SIMULATOR_STATE_PERFORMANCE_LAYOUT_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "card_simulator/state/card_state.h"
#include "kelvane.h"

// Firmware before 4.1 does not measure polarisation: its records of network ports end before it.
constexpr size_t OLD_PORT_FIELDS_BYTES = offsetof(kelvane_sirane_port_pm, sopmd_cur);

// 0 for that firmware, otherwise 1.
uint32_t performance_layout_version(const card_state &state);

kelvane_xpm2_port_pm module_pm_as_sent(kelvane_xpm2_port_pm pm);

constexpr size_t GLOBAL_PM_WORDS = sizeof(kelvane_global_pm) / sizeof(uint32_t);
constexpr size_t OLD_GLOBAL_PM_WORDS = 90;

// Puts a whole record of a sirane, measured now, at the front of `words`. Returns how many it has.
size_t put_global_pm(const card_state &state, uint32_t sirane_id, std::span<uint32_t> words);

#endif
