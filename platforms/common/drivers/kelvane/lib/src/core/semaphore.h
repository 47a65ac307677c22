// The library semaphore: binary, born given. Several gives before a take count as one.
#ifndef CORE_SEMAPHORE_H
#define CORE_SEMAPHORE_H

#include <cstdint>

#include "kelvane_sync.h"

// All return KELVANE_EOK or KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM, kelvane_sem_get_state always KELVANE_EOK.
int32_t kelvane_sem_init(kelvane_semaphore *semaphore);
int32_t kelvane_sem_take(kelvane_semaphore *semaphore); // blocks without limit
// Signals after the lock is released: do not destroy a semaphore that somebody may still be giving.
int32_t kelvane_sem_give(kelvane_semaphore *semaphore);
int32_t kelvane_sem_destroy(kelvane_semaphore *semaphore);
int32_t kelvane_sem_get_state(const kelvane_semaphore *semaphore, uint32_t *state);

#endif
