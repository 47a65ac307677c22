/* Whatever waits or reads a clock goes through here: sleep, clocks, timed lock.
 *
 * A test may have these operations use a time source of its own. With none set they use the system's.
 * Durations are in nanoseconds unless the name says otherwise.
 */
#ifndef PLATFORM_WAIT_H
#define PLATFORM_WAIT_H

#include <pthread.h>
#include <stdint.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

#define WAIT_NS_PER_S UINT64_C(1000000000)

struct wait_source {
    void *self; /* first argument of the functions below */
    void (*sleep)(void *self, uint64_t nanoseconds);
    uint64_t (*monotonic)(void *self);
    int (*realtime)(void *self, struct timespec *now);
    int (*timed_lock)(void *self, pthread_mutex_t *mutex, const struct timespec *deadline);
};

/* Has all operations of this file use `source`, NULL for the system's own time. The record stays
 * the caller's and must outlive its use. Not while other threads wait through the old source. */
void wait_use_source(const struct wait_source *source);

/* One sleep without restart: a signal may end it early. Blocks for the duration. Any thread. */
void wait_sleep(uint64_t nanoseconds);

/* Spins for the duration on the processor; for pauses below 10 microseconds, where a sleep would take
 * many times as long. With a time source set it is a sleep of that source. Any thread. */
void wait_busy(uint64_t nanoseconds);

/* Nanoseconds since some fixed point; never runs backwards. Any thread. */
uint64_t wait_monotonic(void);

/* The wall clock. Returns what the clock call returned, 0 or -1 with errno. Any thread. */
int wait_realtime(struct timespec *now);

/* pthread_mutex_timedlock: blocks until the mutex is locked or the wall clock reaches `deadline`.
 * Returns what that call returns: 0, ETIMEDOUT, EDEADLK, EINVAL. Any thread. */
int wait_timed_lock(pthread_mutex_t *mutex, const struct timespec *deadline);

#ifdef __cplusplus
}
#endif
#endif
