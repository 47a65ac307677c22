#include "platform/wait.h"

#include <cerrno>

#include <gtest/gtest.h>

#include "platform/thread.h"

namespace {

TEST(wait, only_a_contended_lock_is_marked_and_waits_where_the_source_says)
{
    static std::tuple<uint32_t, const void *, std::string, int> seen;
    wait_source source{};
    source.timed_lock = [](void *, pthread_mutex_t *, const timespec *) {
        const thread_debug_mark *mark = thread_debug_own_mark();
        seen = {mark->kind, mark->object, mark->function, mark->line};
        return ETIMEDOUT;
    };
    wait_use_source(&source);
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    const timespec deadline{};
    EXPECT_EQ(thread_timed_lock(&mutex, &deadline, "free", 1), 0);
    EXPECT_EQ(thread_timed_lock(&mutex, &deadline, "held", 77), ETIMEDOUT);
    EXPECT_EQ(seen, std::tuple(1u, &mutex, "held", 77));
    EXPECT_EQ(thread_debug_own_mark()->kind, 0u);
    wait_use_source(nullptr);
}

} // namespace
