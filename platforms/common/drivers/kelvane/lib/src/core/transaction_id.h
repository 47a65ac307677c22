// The counter that numbers commands: each draws its reference from it.
#ifndef CORE_TRANSACTION_ID_H
#define CORE_TRANSACTION_ID_H

#include <cstdint>

#include "kelvane_sync.h"

struct transaction_counter {
    kelvane_mutex mutex;
    uint32_t next; // wraps
};

extern transaction_counter kelvane_transaction_counter;

// Starts at a random number, so that no two runs begin alike. Returns KELVANE_EOK or
// KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM.
int32_t kelvane_transaction_id_init(transaction_counter *counter);

// Draws the next number. Returns KELVANE_EOK, or the failure of the lock or of its release.
int32_t kelvane_transaction_id_next(uint32_t *out);

#endif
