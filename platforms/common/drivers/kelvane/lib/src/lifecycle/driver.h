// Bringing the library up, for the process and for a device.
#ifndef LIFECYCLE_DRIVER_H
#define LIFECYCLE_DRIVER_H

#include <atomic>
#include <cstdint>

#include "kelvane.h"

// Set by the first kelvane_init_driver, cleared again by its failure. No lock: the calls must not overlap.
extern std::atomic<bool> is_driver_initialized;

// Whether a new device gets its threads. Cleared by a test that runs their passes itself.
extern bool driver_starts_threads;

// Writes and reads back the link's test words, whatever the keep-alive gate says. KELVANE_EOK,
// KELVANE_RET_CODE_DEVICE_UNAVAILABLE, or KELVANE_RET_CODE_HW_PROBLEM at the first word that differs.
int32_t kelvene_check_pci_functionality(kelvane_handle handle);

// Tells the firmware the library's version. KELVANE_EOK or KELVANE_RET_CODE_DEVICE_UNAVAILABLE.
int32_t kelvane_fill_sdk_to_arm_data(kelvane_handle handle);

#endif
