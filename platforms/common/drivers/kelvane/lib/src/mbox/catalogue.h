// The command catalogue: one row for each of the firmware's command ids.
#ifndef MBOX_CATALOGUE_H
#define MBOX_CATALOGUE_H

#include <cstdint>

#include "kelvane_mbox.h"

// The two ways to exchange a command, as far as a caller can tell them apart.
enum command_path {
    SHARED_PATH, // kelvane_manage_sync_call: checks address and handle, and logs the header of a failure
    OWN_PATH,    // the operation has made its checks; logs failures under the operation's name
    SPACED_PATH, // the same, with an empty line behind a failure's
};

// What a message of the command means when no caller waits for it; see background/handlers.h.
enum answer_kind {
    ANSWER_AWAITED, // no such message
    ANSWER_TRAFFIC_TYPE,
    ANSWER_LASER,
    ANSWER_PERFORMANCE,
    ANSWER_ALARMS,
    ANSWER_PLUGIN,
    ANSWER_RESTART,
    ANSWER_KINDS,
};

struct mbox_data_row {
    uint32_t command; // equal to the row's index
    uint32_t version = 0;
    uint32_t timeout_sec = 500; // neither time-out has any effect: a wait's limit is its mailbox's
    uint32_t timeout_nsec = 0;
    uint32_t max_data_size; // bytes
    command_path path = SHARED_PATH;
    answer_kind answer = ANSWER_AWAITED;
};

extern const mbox_data_row mbox_data_table[COMMAND_COUNT];

// Store one column of the command's row in `out` and return KELVANE_EOK. A command beyond the table gives
// KELVANE_RET_CODE_GEN_ERR and a log line; the first two then store all ones, the other two leave `out`
// alone.
int32_t kelvane_get_mbox_data_max_data_size(uint32_t command, uint32_t *out);
int32_t kelvane_get_mbox_data_command_version(uint32_t command, uint32_t *out);
int32_t kelvane_get_mbox_data_command_timeout_sec(uint32_t command, uint32_t *out);
int32_t kelvane_get_mbox_data_command_timeout_nsec(uint32_t command, uint32_t *out);

#endif
