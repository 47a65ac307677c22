#include "platform/wait.h"

#include <cerrno>

#include <gtest/gtest.h>

#include "platform/thread.h"

namespace {

TEST(wait, only_a_contended_lock_is_marked_and_waits_where_the_source_says)
{
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static thread_debug_mark seen;
    wait_source source{};
    source.timed_lock = [](void *, pthread_mutex_t *, const timespec *) {
        seen = *thread_debug_own_mark();
        return ETIMEDOUT;
    };
    wait_use_source(&source);
    seen = {};
    const timespec deadline{};
    EXPECT_EQ(thread_timed_lock(&mutex, &deadline, "free", 1), 0);
    EXPECT_EQ(seen.kind, 0u);
    EXPECT_EQ(thread_timed_lock(&mutex, &deadline, "held", 77), ETIMEDOUT);
    EXPECT_EQ(std::tuple(seen.kind, seen.object, seen.line), std::tuple(1u, &mutex, 77));
    EXPECT_STREQ(seen.function, "held");
    EXPECT_EQ(thread_debug_own_mark()->kind, 0u);
    wait_use_source(nullptr);
}

} // namespace
