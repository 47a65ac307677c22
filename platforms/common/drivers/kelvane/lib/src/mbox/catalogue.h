// The command catalogue: one row for each of the firmware's command ids.
#ifndef MBOX_CATALOGUE_H
#define MBOX_CATALOGUE_H

#include <cstdint>

#include "kelvane_mbox.h"

struct mbox_data_row {
    uint32_t command; // equal to the row's index
    uint32_t version;
    uint32_t timeout_sec; // no path waits by these two
    uint32_t timeout_nsec;
    uint32_t max_data_size; // bytes
};

extern const mbox_data_row mbox_data_table[COMMAND_COUNT];

// Store a column of a command's row in `out` and return 0. For a command above the table they return
// 64170; the first two then store all ones, the time-outs leave `out` alone.
int32_t kelvane_get_mbox_data_max_data_size(uint32_t command, uint32_t *out);
int32_t kelvane_get_mbox_data_command_version(uint32_t command, uint32_t *out);
int32_t kelvane_get_mbox_data_command_timeout_sec(uint32_t command, uint32_t *out);
int32_t kelvane_get_mbox_data_command_timeout_nsec(uint32_t command, uint32_t *out);

#endif
