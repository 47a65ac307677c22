// What an input can have the host do: passes of the library's threads, operations of an application.
#ifndef FUZZ_FIRMWARE_OPERATIONS_H
#define FUZZ_FIRMWARE_OPERATIONS_H

#include <cstdint>
#include <span>

#include "background/low_priority_thread.h"
#include "dap/dap_channel.h"
#include "fuzz_input.h"
#include "kelvane.h"

// What one operation works on; `threads` is what the library's threads carry along.
struct library_threads {
    low_priority_state low_priority;
    dap_state dap;
};

struct host_call {
    fuzz_input &input;
    kelvane_handle handle;
    kelvane_device_address device_address;
    library_threads &threads;
};

struct host_operation {
    const char *name;
    int32_t (*run)(host_call &call);
};

extern const std::span<const host_operation> host_operations;

// The folder with the images that downloads take; before the first download.
void set_image_folder(const char *folder);

#endif
