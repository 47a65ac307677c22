// The gate: every access of the library to the card passes through here, into the application's callbacks.
#ifndef CORE_PCI_H
#define CORE_PCI_H

#include <cstdint>

#include "kelvane.h"

// `check_alive` of an access, which the callbacks get too: 1 applies the keep-alive gate, any other value
// skips it.
constexpr uint32_t CHECK_ALIVE = 1;
constexpr uint32_t SKIP_ALIVE = 0;

// All return KELVANE_EOK, or KELVANE_RET_CODE_DEVICE_UNAVAILABLE when the BAR is not mapped, the firmware was
// found dead, or the callback failed. `bus` is always 0.
int32_t kelvane_internal_pci_read(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t *value,
                                  uint32_t check_alive);
int32_t kelvane_internal_pci_write(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t value,
                                   uint32_t check_alive);

// One call of the block callback, or word by word without one, up to the first failure.
int32_t kelvane_internal_pci_read_block(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t words,
                                        uint32_t *data, uint32_t check_alive);
int32_t kelvane_internal_pci_write_block(kelvane_handle handle, uint32_t bus, uint32_t offset, uint32_t words,
                                         const uint32_t *data, uint32_t check_alive);

// KELVANE_RET_CODE_DEVICE_UNAVAILABLE when the watch over the firmware is on and the firmware is not alive.
int32_t check_keep_alive(kelvane_handle handle);

#endif
