#include "core/mutex.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/trace/trace.h"
#include "platform/thread.h"
#include "platform/wait.h"

int32_t lock_area_init(kelvane_lock_area *area)
{
    memset(area->area, 0, sizeof area->area);
    pthread_mutexattr_t attribute;
    int rc = pthread_mutexattr_init(&attribute);
    if (rc != 0) {
        return rc;
    }
    rc = pthread_mutexattr_settype(&attribute, PTHREAD_MUTEX_ERRORCHECK);
    if (rc == 0) {
        rc = pthread_mutex_init(&area->lock, &attribute);
    }
    pthread_mutexattr_destroy(&attribute);
    return rc;
}

int32_t kelvane_mutex_init(kelvane_mutex *mutex)
{
    const int rc = lock_area_init(&mutex->lock);
    if (rc != 0) {
        TRACE_NO_CARD(__func__, LEVEL_ERROR, "mutex init %p rc=%d", static_cast<void *>(mutex), rc);
        return KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM;
    }
    mutex->lockingTID.store(0, std::memory_order_relaxed);
    mutex->holder_waits_for.store(nullptr, std::memory_order_relaxed);
    return KELVANE_EOK;
}

int32_t kelvane_mutex_lock_failed(const kelvane_mutex *mutex, int rc)
{
    constexpr const char *name = "kelvane_mutex_lock";
    if (rc == EBUSY) {
        TRACE_NO_CARD(name, LEVEL_ERROR, "lock mutex %p rc=%d - lockingTID = %d  ",
                      static_cast<const void *>(mutex), rc, kelvane_mutex_get_owner(mutex));
        return KELVANE_RET_CODE_EBUSY;
    }
    TRACE_NO_CARD(name, LEVEL_ERROR, "lock mutex %p rc=%d", static_cast<const void *>(mutex), rc);
    return KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM;
}

int32_t kelvane_mutex_unlock_failed(const kelvane_mutex *mutex, int rc)
{
    TRACE_NO_CARD("kelvane_mutex_unlock", LEVEL_ERROR, "unlock mutex %p rc=%d",
                  static_cast<const void *>(mutex), rc);
    return KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM;
}

int32_t kelvane_mutex_timed_lock(kelvane_mutex *mutex, uint32_t seconds, uint32_t nanoseconds)
{
    timespec deadline{};
    const int clock = wait_realtime(&deadline);
    if (clock != 0) { // the caller gets the clock's own result, and the console two empty lines
        printf("\n\n");
        return clock;
    }
    deadline.tv_sec += static_cast<time_t>(seconds);
    deadline.tv_nsec += static_cast<long>(nanoseconds);
    const int rc = thread_timed_lock(&mutex->lock.lock, &deadline, __func__, __LINE__);
    if (rc == ETIMEDOUT) {
        TRACE_NO_CARD(__func__, LEVEL_ERROR, "mutex %p timeout %d %d expired-lockingTID = %d ",
                      static_cast<void *>(mutex), static_cast<int>(seconds), static_cast<int>(nanoseconds),
                      kelvane_mutex_get_owner(mutex));
        return KELVANE_RET_CODE_ETIMEDOUT;
    }
    if (rc != 0) {
        TRACE_NO_CARD(__func__, LEVEL_ERROR, "timed_lock mutex %p rc=%d", static_cast<void *>(mutex), rc);
        return KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM;
    }
    mutex->lockingTID.store(thread_kernel_id(), std::memory_order_relaxed);
    return KELVANE_EOK;
}

void kelvane_mutex_destroy(kelvane_mutex *mutex)
{
    mutex->lock.area[LOCK_AREA_WORDS - 1] = 0;
    pthread_mutex_destroy(&mutex->lock.lock);
}

int32_t kelvane_mutex_get_owner(const kelvane_mutex *mutex)
{
    return mutex->lockingTID.load(std::memory_order_relaxed);
}

int32_t kelvane_gettid(void)
{
    return thread_kernel_id();
}
