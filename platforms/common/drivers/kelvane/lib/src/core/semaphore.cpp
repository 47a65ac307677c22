#include "core/semaphore.h"

#include "core/mutex.h"
#include "core/trace/trace.h"
#include "platform/thread.h"

namespace {

uint32_t state_of(const kelvane_semaphore *semaphore)
{
    return semaphore->semState.load(std::memory_order_relaxed);
}

} // namespace

// A POSIX call failed: logs the line and evaluates to the return code.
#define SEMAPHORE_PROBLEM(format, semaphore, rc)                                                             \
    (trace_is_on(LEVEL_ERROR) ? kelvane_trace(LEVEL_ERROR, NO_HANDLE, NO_ADDRESS, __func__, format,          \
                                              static_cast<void *>(semaphore), rc)                            \
                              : void(),                                                                      \
     static_cast<int32_t>(KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM))

int32_t kelvane_sem_init(kelvane_semaphore *semaphore)
{
    TRACE_NO_CARD(__func__, LEVEL_DEBUG, "start semid %p state=%d", static_cast<void *>(semaphore),
                  static_cast<int>(state_of(semaphore)));
    int rc = lock_area_init(&semaphore->lock);
    if (rc != 0) {
        return SEMAPHORE_PROBLEM("mutex init problem on semid %p rc=%d", semaphore, rc);
    }
    rc = pthread_cond_init(&semaphore->condition, nullptr);
    if (rc != 0) {
        return SEMAPHORE_PROBLEM("cond  init problem on semid %p rc=%d", semaphore, rc);
    }
    semaphore->semState.store(1, std::memory_order_relaxed);
    return KELVANE_EOK;
}

int32_t kelvane_sem_take(kelvane_semaphore *semaphore)
{
    TRACE_NO_CARD(__func__, LEVEL_LOWPR, "start semid %p state=%d", static_cast<void *>(semaphore),
                  static_cast<int>(state_of(semaphore)));
    int rc = thread_lock(&semaphore->lock.lock, __func__, __LINE__);
    if (rc != 0) {
        return SEMAPHORE_PROBLEM("lock problem on semid %p rc=%d", semaphore, rc);
    }
    while (state_of(semaphore) == 0) {
        thread_debug_mark_syscall_block(THREAD_DEBUG_SYSCALL_CONDITION, &semaphore->condition, 0, 0);
        rc = pthread_cond_wait(&semaphore->condition, &semaphore->lock.lock);
        thread_debug_clear_syscall_block();
        if (rc != 0) { // the lock stays as the failed wait left it
            return SEMAPHORE_PROBLEM("cond wait problem on semid %p rc=%d", semaphore, rc);
        }
    }
    semaphore->semState.store(0, std::memory_order_relaxed);
    rc = pthread_mutex_unlock(&semaphore->lock.lock);
    return rc == 0 ? KELVANE_EOK : SEMAPHORE_PROBLEM("unlock problem on semid %p rc=%d", semaphore, rc);
}

int32_t kelvane_sem_give(kelvane_semaphore *semaphore)
{
    TRACE_NO_CARD(__func__, LEVEL_LOWPR, "start semid %p state=%d", static_cast<void *>(semaphore),
                  static_cast<int>(state_of(semaphore)));
    int rc = thread_lock(&semaphore->lock.lock, __func__, __LINE__);
    if (rc != 0) {
        return SEMAPHORE_PROBLEM("lock problem on semid %p rc=%d", semaphore, rc);
    }
    semaphore->semState.store(1, std::memory_order_relaxed);
    rc = pthread_mutex_unlock(&semaphore->lock.lock);
    if (rc != 0) {
        return SEMAPHORE_PROBLEM("unlock problem on semid %p rc=%d", semaphore, rc);
    }
    // Only now: a taker woken any earlier would run into the lock and go back to sleep.
    rc = pthread_cond_signal(&semaphore->condition);
    return rc == 0 ? KELVANE_EOK : SEMAPHORE_PROBLEM("signal problem on semid %p rc=%d", semaphore, rc);
}

int32_t kelvane_sem_destroy(kelvane_semaphore *semaphore)
{
    semaphore->semState.store(0, std::memory_order_relaxed);
    semaphore->lock.area[LOCK_AREA_WORDS - 1] = 0;
    int rc = pthread_mutex_destroy(&semaphore->lock.lock);
    if (rc != 0) {
        return SEMAPHORE_PROBLEM("mutex destroy  problem on semid %p rc=%d", semaphore, rc);
    }
    rc = pthread_cond_destroy(&semaphore->condition);
    return rc == 0 ? KELVANE_EOK : SEMAPHORE_PROBLEM("cond destroy problem on semid %p rc=%d", semaphore, rc);
}

int32_t kelvane_sem_get_state(const kelvane_semaphore *semaphore, uint32_t *state)
{
    *state = state_of(semaphore);
    return KELVANE_EOK;
}
