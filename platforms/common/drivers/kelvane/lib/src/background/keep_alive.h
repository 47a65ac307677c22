// The proof that the firmware still answers, and the watch over upsets of the programmable logic.
#ifndef BACKGROUND_KEEP_ALIVE_H
#define BACKGROUND_KEEP_ALIVE_H

#include <cstdint>

#include "kelvane.h"

constexpr uint32_t KEEP_ALIVE_TOKEN = 0x17000000; // the sequence number in the low half

// Of the process; only the low-priority thread touches it.
extern uint16_t keep_alive_sequence;

// One exchange of a token with the firmware, up to 1 s. A change of its verdict is stored, drains what is
// pending, and is told to the callback. Returns the exchange's status, or after a change that of the drain
// of interrupts or of the callback.
int32_t kelvane_keep_alive(kelvane_handle handle, kelvane_device_address device_address);

// One look at the upset state; its change to uncorrectable calls the generic callback. Returns 0, 22 when
// there is no callback to call, or what failed.
int32_t kelvane_manage_seu_pl_uncorrectable(kelvane_handle handle);

#endif
