// The library semaphore: binary, born given. Gives before a take merge into one.
#ifndef CORE_SEMAPHORE_H
#define CORE_SEMAPHORE_H

#include <cstdint>

#include "kelvane_sync.h"

// All return 0 or 64172, except kelvane_sem_get_state, which returns 0.
int32_t kelvane_sem_init(kelvane_semaphore *semaphore);
int32_t kelvane_sem_take(kelvane_semaphore *semaphore); // blocks without limit
// Wakes after it has let go: a semaphore is not destroyed while somebody may still be giving it.
int32_t kelvane_sem_give(kelvane_semaphore *semaphore);
int32_t kelvane_sem_destroy(kelvane_semaphore *semaphore);
int32_t kelvane_sem_get_state(const kelvane_semaphore *semaphore, uint32_t *state);

#endif
