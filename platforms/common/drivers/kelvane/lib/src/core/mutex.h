// The library mutex: an error-checking POSIX mutex that remembers its holder.
#ifndef CORE_MUTEX_H
#define CORE_MUTEX_H

#include <cstdint>

#include "kelvane.h"
#include "kelvane_sync.h"
#include "platform/thread.h"

// A lock that cannot be had in six minutes means that something hangs.
constexpr uint32_t LOCK_LIMIT_SECONDS = 360;

// 0 or 64172.
int32_t kelvane_mutex_init(kelvane_mutex *mutex);
// 0, 110, 64172. The nanoseconds are not carried into seconds: a full second of them may form an invalid
// time.
int32_t kelvane_mutex_timed_lock(kelvane_mutex *mutex, uint32_t seconds, uint32_t nanoseconds);
void kelvane_mutex_destroy(kelvane_mutex *mutex);
int32_t kelvane_mutex_get_owner(const kelvane_mutex *mutex);
int32_t kelvane_gettid(void);

// What a failed lock or unlock says, and its code.
[[gnu::cold]] int32_t kelvane_mutex_lock_failed(const kelvane_mutex *mutex, int rc);
[[gnu::cold]] int32_t kelvane_mutex_unlock_failed(const kelvane_mutex *mutex, int rc);

// 0, 64172 (also for a second lock by the holder), 16. Blocks without limit. Here and inline, as the unlock,
// so that a mutex that is free costs little more than the two POSIX calls.
inline int32_t kelvane_mutex_lock(kelvane_mutex *mutex)
{
    const int rc = thread_lock(&mutex->lock.lock, __func__, __LINE__);
    if (rc != 0) {
        return kelvane_mutex_lock_failed(mutex, rc);
    }
    mutex->lockingTID.store(thread_kernel_id(), std::memory_order_relaxed);
    return KELVANE_EOK;
}

// 0 or 64172. The word may overwrite the next holder's id: it is for diagnosis only.
inline int32_t kelvane_mutex_unlock(kelvane_mutex *mutex)
{
    const int rc = pthread_mutex_unlock(&mutex->lock.lock);
    if (rc != 0) {
        return kelvane_mutex_unlock_failed(mutex, rc);
    }
    mutex->lockingTID.store(0, std::memory_order_relaxed);
    return KELVANE_EOK;
}

// Holds the mutex while it lives. Where the lock cannot be had the scope runs all the same, without it.
class attempted_lock {
  public:
    explicit attempted_lock(kelvane_mutex *mutex)
        : held_(kelvane_mutex_lock(mutex) == KELVANE_EOK ? mutex : nullptr)
    {
    }
    ~attempted_lock()
    {
        if (held_ != nullptr) {
            kelvane_mutex_unlock(held_);
        }
    }
    attempted_lock(const attempted_lock &) = delete;
    attempted_lock &operator=(const attempted_lock &) = delete;

  private:
    kelvane_mutex *held_;
};

// Makes the error-checking POSIX mutex in a zeroed area; 0 or the POSIX code. Logs nothing.
int32_t lock_area_init(kelvane_lock_area *area);

// Runs `body` (returning a status) with the mutex held, taken with the usual limit. Returns the failure
// of the lock, of the unlock, or what the body returned, in this order of preference.
template <typename body_type> int32_t with_lock(kelvane_mutex *mutex, body_type body)
{
    const int32_t locked = kelvane_mutex_timed_lock(mutex, LOCK_LIMIT_SECONDS, 0);
    if (locked != 0) {
        return locked;
    }
    const int32_t status = body();
    const int32_t unlocked = kelvane_mutex_unlock(mutex);
    return unlocked != 0 ? unlocked : status;
}

#endif
