#include "support/virtual_time.h"

#include <cerrno>

namespace {

constexpr uint64_t SECOND = 1000000000;
constexpr uint64_t EPOCH_SECONDS = 1600000000; // where the virtual wall clock starts

} // namespace

virtual_time::virtual_time()
{
    source_.self = this;
    source_.sleep = [](void *self, uint64_t nanoseconds) {
        auto *time = static_cast<virtual_time *>(self);
        time->sleeps_++;
        time->now_ += nanoseconds;
        if (time->hook_) {
            time->hook_();
        }
    };
    source_.monotonic = [](void *self) { return static_cast<virtual_time *>(self)->now_; };
    source_.realtime = [](void *self, timespec *now) {
        auto *time = static_cast<virtual_time *>(self);
        now->tv_sec = static_cast<time_t>(EPOCH_SECONDS + time->now_ / SECOND);
        now->tv_nsec = static_cast<long>(time->now_ % SECOND);
        return time->realtime_error_;
    };
    source_.timed_lock = [](void *self, pthread_mutex_t *mutex, const timespec *deadline) {
        auto *time = static_cast<virtual_time *>(self);
        const timespec passed = {0, deadline->tv_nsec}; // an invalid deadline stays invalid
        const int result = pthread_mutex_timedlock(mutex, &passed);
        if (result == ETIMEDOUT) {
            const uint64_t until = (static_cast<uint64_t>(deadline->tv_sec) - EPOCH_SECONDS) * SECOND +
                                   static_cast<uint64_t>(deadline->tv_nsec);
            time->now_ = until > time->now_ ? until : time->now_;
        }
        return result;
    };
    wait_use_source(&source_);
}

virtual_time::~virtual_time()
{
    wait_use_source(nullptr);
}
