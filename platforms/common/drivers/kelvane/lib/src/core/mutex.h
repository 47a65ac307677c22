// The library mutex: an error-checking POSIX mutex that remembers its holder.
#ifndef CORE_MUTEX_H
#define CORE_MUTEX_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_sync.h"
#include "platform/thread.h"

// A lock that is still taken after six minutes means that something hangs.
constexpr uint32_t LOCK_LIMIT_SECONDS = 360;

// KELVANE_EOK or KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM.
int32_t kelvane_mutex_init(kelvane_mutex *mutex);
// KELVANE_EOK, KELVANE_RET_CODE_ETIMEDOUT, KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM, or -1 when the clock fails.
// The nanoseconds are not carried into seconds: together with those of the present time they may form an
// invalid one, which fails.
int32_t kelvane_mutex_timed_lock(kelvane_mutex *mutex, uint32_t seconds, uint32_t nanoseconds);
void kelvane_mutex_destroy(kelvane_mutex *mutex);
int32_t kelvane_mutex_get_owner(const kelvane_mutex *mutex);
int32_t kelvane_gettid(void);

// Logs a failed lock or unlock and returns its code.
[[gnu::cold]] int32_t kelvane_mutex_lock_failed(const kelvane_mutex *mutex, int rc);
[[gnu::cold]] int32_t kelvane_mutex_unlock_failed(const kelvane_mutex *mutex, int rc);

// Blocks without limit. KELVANE_EOK, KELVANE_RET_CODE_EBUSY, or KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM, also
// for a second lock by the holder. Inline, as is the unlock, so that a free mutex costs little more than the
// two POSIX calls.
inline int32_t kelvane_mutex_lock(kelvane_mutex *mutex)
{
    const int rc = thread_lock(&mutex->lock.lock, __func__, __LINE__);
    if (rc != 0) {
        return kelvane_mutex_lock_failed(mutex, rc);
    }
    mutex->lockingTID.store(thread_kernel_id(), std::memory_order_relaxed);
    return KELVANE_EOK;
}

// KELVANE_EOK or KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM. Clearing the holder's id after the unlock may wipe
// out the next holder's: it is for diagnosis only.
inline int32_t kelvane_mutex_unlock(kelvane_mutex *mutex)
{
    const int rc = pthread_mutex_unlock(&mutex->lock.lock);
    if (rc != 0) {
        return kelvane_mutex_unlock_failed(mutex, rc);
    }
    mutex->lockingTID.store(0, std::memory_order_relaxed);
    return KELVANE_EOK;
}

// Holds the mutex while it lives. Where the lock cannot be had, `status` says why and the scope runs without
// it.
class mutex_guard {
  public:
    explicit mutex_guard(kelvane_mutex *mutex) : mutex_(mutex), status_(kelvane_mutex_lock(mutex))
    {
    }
    mutex_guard(kelvane_mutex *mutex, uint32_t seconds, uint32_t nanoseconds)
        : mutex_(mutex), status_(kelvane_mutex_timed_lock(mutex, seconds, nanoseconds))
    {
    }
    // Takes over what a lock returned.
    mutex_guard(kelvane_mutex *mutex, int32_t status) : mutex_(mutex), status_(status)
    {
    }
    ~mutex_guard()
    {
        if (status_ == KELVANE_EOK) {
            kelvane_mutex_unlock(mutex_);
        }
    }
    mutex_guard(const mutex_guard &) = delete;
    mutex_guard &operator=(const mutex_guard &) = delete;

    int32_t status() const
    {
        return status_;
    }

  private:
    kelvane_mutex *mutex_;
    int32_t status_;
};

// Zeroes the area and makes the error-checking POSIX mutex in it. Returns 0 or the POSIX code. Logs nothing.
int32_t lock_area_init(kelvane_lock_area *area);

// Runs `body`, which returns a status, with the mutex held. Returns the failure of the lock, else that of the
// unlock, else the body's status.
template <typename body_type> int32_t with_lock(kelvane_mutex *mutex, body_type body)
{
    const int32_t locked = kelvane_mutex_timed_lock(mutex, LOCK_LIMIT_SECONDS, 0);
    if (locked != KELVANE_EOK) {
        return locked;
    }
    const int32_t status = body();
    const int32_t unlocked = kelvane_mutex_unlock(mutex);
    return unlocked != KELVANE_EOK ? unlocked : status;
}

#endif
