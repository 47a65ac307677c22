#include "platform/wait.h"

#include <cerrno>
#include <csignal>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

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

TEST(wait, the_system_lasts_at_least_as_long_as_asked)
{
    const uint64_t start = wait_monotonic();
    wait_busy(20000);
    const uint64_t middle = wait_monotonic();
    wait_sleep(20000);
    EXPECT_GE(middle - start, 20000u);
    EXPECT_GE(wait_monotonic() - middle, 20000u);
}

TEST(thread, kernel_id_is_right_in_threads_and_after_a_fork)
{
    EXPECT_EQ(thread_kernel_id(), getpid());
    int32_t other = 0;
    std::thread([&] { other = thread_kernel_id() == gettid() ? gettid() : -1; }).join();
    EXPECT_GT(other, 0);
    EXPECT_NE(other, getpid());
    const pid_t child = fork();
    if (child == 0) {
        _exit(thread_kernel_id() == getpid() ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(thread, long_names_are_cut)
{
    char name[16];
    EXPECT_EQ(platform_thread_set_name("coh_intr_forward_thread", pthread_self()), 0);
    ASSERT_EQ(pthread_getname_np(pthread_self(), name, sizeof name), 0);
    EXPECT_STREQ(name, "coh_intr_forwar");
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
    EXPECT_EQ(pthread_mutex_unlock(&mutex), 0);
    wait_use_source(nullptr);
}

TEST(thread, a_second_lock_of_an_error_checking_mutex_fails)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_t mutex;
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    EXPECT_EQ(thread_lock(&mutex, "once", 1), 0);
    EXPECT_EQ(thread_lock(&mutex, "twice", 2), EDEADLK);
    pthread_mutex_unlock(&mutex);
    pthread_mutex_destroy(&mutex);
}

} // namespace
