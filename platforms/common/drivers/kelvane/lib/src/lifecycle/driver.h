// Bringing the library up: the process's part and the device's.
#ifndef LIFECYCLE_DRIVER_H
#define LIFECYCLE_DRIVER_H

#include <atomic>
#include <cstdint>

#include "kelvane.h"

// First use: set by kelvane_init_driver, cleared by its failure. Not a lock: one thread at a time.
extern std::atomic<bool> is_driver_initialized;

// Whether a created device gets its threads. A test that runs their passes itself clears it.
extern bool driver_starts_threads;

// Writes and reads back the link's test words, with no regard to the keep-alive gate. 0, 64174, or 64171
// at the first word that differs.
int32_t kelvene_check_pci_functionality(kelvane_handle handle);

// Tells the firmware the library's version. 0 or 64174.
int32_t kelvane_fill_sdk_to_arm_data(kelvane_handle handle);

#endif
