#include "platform/wait.h"

#include <atomic>

namespace {

std::atomic<const wait_source *> other_source = nullptr;

const wait_source *source()
{
    return other_source.load(std::memory_order_acquire);
}

uint64_t system_monotonic()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * WAIT_NS_PER_S + static_cast<uint64_t>(now.tv_nsec);
}

} // namespace

void wait_use_source(const wait_source *replacement)
{
    other_source.store(replacement, std::memory_order_release);
}

void wait_sleep(uint64_t nanoseconds)
{
    if (const wait_source *other = source()) {
        other->sleep(other->self, nanoseconds);
        return;
    }
    const timespec duration{static_cast<time_t>(nanoseconds / WAIT_NS_PER_S),
                            static_cast<long>(nanoseconds % WAIT_NS_PER_S)};
    nanosleep(&duration, nullptr);
}

void wait_busy(uint64_t nanoseconds)
{
    if (const wait_source *other = source()) {
        other->sleep(other->self, nanoseconds);
        return;
    }
    const uint64_t start = system_monotonic();
    while (system_monotonic() - start < nanoseconds) {
    }
}

uint64_t wait_monotonic(void)
{
    const wait_source *other = source();
    return other != nullptr ? other->monotonic(other->self) : system_monotonic();
}

int wait_realtime(timespec *now)
{
    if (const wait_source *other = source()) {
        return other->realtime(other->self, now);
    }
    return clock_gettime(CLOCK_REALTIME, now);
}

int wait_timed_lock(pthread_mutex_t *mutex, const timespec *deadline)
{
    if (const wait_source *other = source()) {
        return other->timed_lock(other->self, mutex, deadline);
    }
    return pthread_mutex_timedlock(mutex, deadline);
}
