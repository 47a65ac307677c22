// The counter from which every command draws its reference.
#ifndef CORE_TRANSACTION_ID_H
#define CORE_TRANSACTION_ID_H

#include <cstdint>

#include "kelvane_sync.h"

struct transaction_counter {
    kelvane_mutex mutex;
    uint32_t next; // wraps
};

extern transaction_counter kelvane_transaction_counter; // the process's own

// Starts at a random number, so that two runs do not start alike. Returns 0 or 64172.
int32_t kelvane_transaction_id_init(transaction_counter *counter);

// Draws the next number of the process's counter. Returns 0, or the failure of the lock or its release.
int32_t kelvane_transaction_id_next(uint32_t *out);

#endif
