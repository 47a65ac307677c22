// Getting the device, its versions and its registers. Each is a thin layer over the library that says
// what it calls, and whether that passed.
#ifndef MOCK_CLIENT_CLIENT_DEVICE_H
#define MOCK_CLIENT_CLIENT_DEVICE_H

#include <cstdint>

// Creates the library's device and keeps its handle in `handler`. Returns 0, or ENODEV when there is none.
int32_t hespera_hal_device_init();

// Deletes it; `handler` keeps its value. Returns the library's code.
int32_t hespera_hal_device_deinit();

// A module was plugged or unplugged: ignored. Returns 0.
int32_t coherent_oir_fn(uint32_t handle, uint32_t device_address, uint32_t plugged);

// "<device> <register>" and "<device> <register> <value>", the last two hexadecimal. Return 0, or -1
// after saying what was wrong.
int32_t client_read_register(const char *text);
int32_t client_write_register(const char *text);

// Puts the sirane into low power, sets it up and brings it back to high power. Returns 0 or the code of
// the first call that failed, with which it stops.
int32_t client_init_sirane(int32_t handle, int32_t device);

// Shows the version that runs on the device, 0.0 when it cannot be had.
void client_print_running_version(int32_t device);

// Shows and returns the library's verdict on the firmware, one of enum kelvane_comp_sw.
uint32_t client_check_compatibility();

#endif
