#include "platform/wait.h"

#include <cerrno>

#include <gtest/gtest.h>

#include "platform/thread.h"
#include "support/virtual_time.h"

namespace {

TEST(wait, everything_goes_through_the_source)
{
    virtual_time time;
    wait_sleep(300'000'000'000);
    wait_busy(2000);
    EXPECT_EQ(time.now(), 300'000'002'000u);
    EXPECT_EQ(wait_monotonic(), 300'000'002'000u);
    timespec now{};
    EXPECT_EQ(wait_realtime(&now), 0);
    EXPECT_EQ(now.tv_nsec, 2000);
    time.fail_realtime_with(EINVAL);
    EXPECT_EQ(wait_realtime(&now), EINVAL);
}

TEST(thread, only_a_contended_lock_is_marked)
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static thread_debug_mark seen;
    wait_source source{};
    source.timed_lock = [](void *, pthread_mutex_t *, const timespec *) {
        seen = *thread_debug_own_mark();
        return ETIMEDOUT;
    };
    wait_use_source(&source);
    const timespec deadline{};
    EXPECT_EQ(thread_timed_lock(&mutex, &deadline, "free", 1), 0);
    EXPECT_EQ(seen.kind, 0u);
    EXPECT_EQ(thread_timed_lock(&mutex, &deadline, "held", 77), ETIMEDOUT);
    EXPECT_EQ(seen.kind, 1u);
    EXPECT_EQ(seen.object, &mutex);
    EXPECT_STREQ(seen.function, "held");
    EXPECT_EQ(seen.line, 77);
    EXPECT_EQ(thread_debug_own_mark()->kind, 0u);
    wait_use_source(nullptr);
}

} // namespace
