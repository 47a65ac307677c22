// The proof that the firmware still answers, and the watch for upsets in the programmable logic.
#ifndef BACKGROUND_KEEP_ALIVE_H
#define BACKGROUND_KEEP_ALIVE_H

#include <cstdint>

#include "kelvane.h"

constexpr uint32_t KEEP_ALIVE_TOKEN = 0x17000000; // with the sequence number in the low half

// The process's own; only the low-priority thread touches it.
extern uint16_t keep_alive_sequence;

// Exchanges one token with the firmware, which takes up to 1 s. A change in the verdict is stored, makes the
// library drain what is pending, and is reported to the callback, with the status of the interrupts' drain.
// Returns the exchange's status; after a change that of the callback, without one that of the interrupts'
// drain; KELVANE_RET_CODE_GEN_ERR for an address without a sirane.
int32_t kelvane_keep_alive(kelvane_handle handle, kelvane_device_address device_address);

// Looks once at the upset state, whose change to uncorrectable calls the generic callback. Returns
// KELVANE_EOK, KELVANE_RET_CODE_EINVAL when there is no callback to call, or what failed.
int32_t kelvane_manage_seu_pl_uncorrectable(kelvane_handle handle);

#endif
