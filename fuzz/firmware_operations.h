// What an input can have the host do: passes of the library's threads, operations of an application.
#ifndef FUZZ_FIRMWARE_OPERATIONS_H
#define FUZZ_FIRMWARE_OPERATIONS_H

#include <cstdint>
#include <string>

#include "background/low_priority_thread.h"
#include "dap/dap_channel.h"
#include "fuzz_input.h"
#include "kelvane.h"

// What one operation works on; the states are what the library's threads carry along.
struct host_call {
    fuzz_input &input;
    kelvane_handle handle;
    kelvane_device_address device_address;
    low_priority_state &low_priority;
    dap_state &dap;
    uint32_t *out;
};

struct host_operation {
    const char *name;
    int32_t (*run)(host_call &call);
};

constexpr char LINK_UP[] = "kelvane_pci_mapped";

// Runs the one that a byte chooses and tells its name.
int32_t run_chosen(uint8_t byte, host_call &call, const char **name);

// The folder with the images that downloads take; before the first download.
void set_image_folder(const char *folder);

#endif
