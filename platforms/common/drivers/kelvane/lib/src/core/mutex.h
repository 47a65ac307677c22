// The library mutex: an error-checking POSIX mutex that remembers its holder.
#ifndef CORE_MUTEX_H
#define CORE_MUTEX_H

#include <cstdint>

#include "kelvane_sync.h"

// A lock that cannot be had in six minutes means that something hangs.
constexpr uint32_t LOCK_LIMIT_SECONDS = 360;

// 0 or 64172.
int32_t kelvane_mutex_init(kelvane_mutex *mutex);
// 0, 64172 (also for a second lock by the holder), 16. Blocks without limit.
int32_t kelvane_mutex_lock(kelvane_mutex *mutex);
// 0, 110, 64172. The nanoseconds are not carried into seconds: a full second of them may form an invalid
// time.
int32_t kelvane_mutex_timed_lock(kelvane_mutex *mutex, uint32_t seconds, uint32_t nanoseconds);
int32_t kelvane_mutex_unlock(kelvane_mutex *mutex);
void kelvane_mutex_destroy(kelvane_mutex *mutex);
int32_t kelvane_mutex_get_owner(const kelvane_mutex *mutex);
int32_t kelvane_gettid(void);

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
