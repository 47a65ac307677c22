// The application's side of the library's contract: access to the card's BAR, and its interrupts, by way
// of the host's UIO device.
#ifndef MOCK_CLIENT_COH_HAL_H
#define MOCK_CLIENT_COH_HAL_H

#include <cstdint>

#include "kelvane.h"
#include "platform/mmio.h"
#include "platform/uio.h"

// The card's device. Open and mapped from coh_hal_pci_init until the process ends.
struct coh_hal_device {
    int32_t fd;
    mmio_mapping mapped;
    uio_info *info;
    uint32_t handle; // the library's; stored before the interrupt thread starts
};
extern coh_hal_device dev_ctx;

// Finds, opens and maps the card. Returns 0; ENODEV when it is not found or cannot be opened; EINVAL
// when its description cannot be read; ENOMEM when it cannot be mapped or its map is smaller than the BAR. A
// failure says on standard error what was looked for and where, and leaves nothing open.
int32_t coh_hal_pci_init();

// Tells the library that the BAR can be reached, or no longer. Return what kelvane_pci_mapped returns.
int32_t coh_hal_mmap_enable(int32_t handle);
int32_t coh_hal_mmap_disable(int32_t handle);

// Starts the thread that enables the card's interrupts and tells the library of each, until the device
// delivers no more. The second word is not used. Returns 0, or ENOSYS when the thread cannot be created.
int32_t coh_hal_interrupt_enable(int32_t handle, uint32_t unused);

// Does nothing and returns 0: the thread lives until the process ends.
int32_t coh_hal_interrupt_disable(int32_t handle, uint32_t unused);

// The library's access to the BAR. Always 0: a bus fault shows as all ones, not as a failing callback.
// Any thread.
int32_t coh_hal_pci_read_cb_fn(uint32_t handle, uint32_t bus, uint32_t offset, uint32_t *value,
                               uint32_t check_alive);
int32_t coh_hal_pci_write_cb_fn(uint32_t handle, uint32_t bus, uint32_t offset, uint32_t value,
                                uint32_t check_alive);
int32_t coh_hal_pci_read_block_cb_fn(uint32_t handle, uint32_t bus, uint32_t offset, uint32_t words,
                                     uint32_t *data, uint32_t check_alive);
int32_t coh_hal_pci_write_block_cb_fn(uint32_t handle, uint32_t bus, uint32_t offset, uint32_t words,
                                      const uint32_t *data, uint32_t check_alive);

#endif
