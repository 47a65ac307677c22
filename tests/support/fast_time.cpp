#include "support/fast_time.h"

#include <cerrno>
#include <ctime>

#include "platform/wait.h"

namespace {

constexpr uint64_t SECOND = 1000000000;

struct fast_clock {
    uint64_t speed;
    uint64_t started[2]; // by clock id, CLOCK_REALTIME and CLOCK_MONOTONIC
};

fast_clock the_clock;
wait_source source;

uint64_t system_time(clockid_t id)
{
    timespec now{};
    clock_gettime(id, &now);
    return static_cast<uint64_t>(now.tv_sec) * SECOND + static_cast<uint64_t>(now.tv_nsec);
}

timespec to_timespec(uint64_t nanoseconds)
{
    return {static_cast<time_t>(nanoseconds / SECOND), static_cast<long>(nanoseconds % SECOND)};
}

uint64_t fast_now(clockid_t id)
{
    return the_clock.started[id] + (system_time(id) - the_clock.started[id]) * the_clock.speed;
}

int fast_timed_lock(void *, pthread_mutex_t *mutex, const timespec *deadline)
{
    if (deadline->tv_nsec < 0 || deadline->tv_nsec >= static_cast<long>(SECOND)) {
        return EINVAL;
    }
    const uint64_t until =
        static_cast<uint64_t>(deadline->tv_sec) * SECOND + static_cast<uint64_t>(deadline->tv_nsec);
    const uint64_t now = fast_now(CLOCK_REALTIME);
    const uint64_t left = until > now ? (until - now) / the_clock.speed : 0;
    const timespec real = to_timespec(system_time(CLOCK_REALTIME) + left);
    return pthread_mutex_timedlock(mutex, &real);
}

} // namespace

void fast_time_start(uint64_t speed)
{
    the_clock = {speed, {system_time(CLOCK_REALTIME), system_time(CLOCK_MONOTONIC)}};
    source.sleep = [](void *, uint64_t nanoseconds) {
        const timespec duration = to_timespec(nanoseconds / the_clock.speed);
        nanosleep(&duration, nullptr);
    };
    source.monotonic = [](void *) { return fast_now(CLOCK_MONOTONIC); };
    source.realtime = [](void *, timespec *now) {
        *now = to_timespec(fast_now(CLOCK_REALTIME));
        return 0;
    };
    source.timed_lock = fast_timed_lock;
    wait_use_source(&source);
}
