#include <cstring>
#include <thread>

#include "core/mutex.h"
#include "core/semaphore.h"
#include "core/thread.h"
#include "support/library.h"

#include <signal.h>

namespace {

class sync_test : public library_test {
  protected:
    sync_test()
    {
        turn_log_on();
        start_library();
        memset(&mutex.lock, 0x5A, sizeof mutex.lock); // init starts from rubbish
        EXPECT_EQ(kelvane_mutex_init(&mutex), 0);
        log_lines();
    }

    kelvane_mutex mutex;
};

TEST_F(sync_test, a_mutex_knows_its_holder)
{
    EXPECT_EQ(kelvane_mutex_get_owner(&mutex), 0);
    EXPECT_EQ(kelvane_mutex_lock(&mutex), 0);
    EXPECT_EQ(kelvane_mutex_get_owner(&mutex), gettid());
    EXPECT_EQ(kelvane_mutex_unlock(&mutex), 0);
    EXPECT_EQ(kelvane_mutex_get_owner(&mutex), 0);
    EXPECT_EQ(kelvane_mutex_timed_lock(&mutex, 360, 0), 0);
    EXPECT_EQ(kelvane_mutex_get_owner(&mutex), gettid());
}

TEST_F(sync_test, the_holder_is_refused_at_once)
{
    ASSERT_EQ(kelvane_mutex_lock(&mutex), 0);
    EXPECT_EQ(kelvane_mutex_lock(&mutex), 64172);
    EXPECT_EQ(kelvane_mutex_timed_lock(&mutex, 360, 0), 64172);
    EXPECT_EQ(time.now(), 0u);
    const std::string lines = log_text();
    EXPECT_NE(lines.find(" rc=35"), std::string::npos); // EDEADLK
}

TEST_F(sync_test, a_held_mutex_times_out_after_its_limit_and_names_the_holder)
{
    int32_t holder = 0;
    std::thread([&] {
        holder = gettid();
        kelvane_mutex_lock(&mutex);
    }).join();
    EXPECT_EQ(kelvane_mutex_timed_lock(&mutex, 360, 0), 110);
    EXPECT_EQ(time.now(), 360000000000u);
    char expected[120];
    snprintf(expected, sizeof expected,
             "ERROR kelvane_mutex_timed_lock: mutex %p timeout 360 0 expired-lockingTID = %d ",
             static_cast<void *>(&mutex), holder);
    EXPECT_EQ(log_lines().back(), expected);
    EXPECT_EQ(kelvane_mutex_unlock(&mutex), 64172); // not this thread's
    EXPECT_EQ(kelvane_mutex_get_owner(&mutex), holder);
}

TEST_F(sync_test, nanoseconds_are_not_carried)
{
    int32_t rc = 0;
    time.advance(999999999);
    std::thread([&] { kelvane_mutex_lock(&mutex); }).join();
    rc = kelvane_mutex_timed_lock(&mutex, 1, 10); // an invalid time
    EXPECT_EQ(rc, 64172);
}

TEST_F(sync_test, a_failing_clock_is_returned)
{
    time.fail_realtime_with(38);
    testing::internal::CaptureStdout();
    const int32_t rc = kelvane_mutex_timed_lock(&mutex, 1, 0);
    time.fail_realtime_with(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n\n");
    EXPECT_EQ(rc, 38);
}

TEST_F(sync_test, a_semaphore_is_born_given_and_gives_merge)
{
    kelvane_semaphore semaphore;
    ASSERT_EQ(kelvane_sem_init(&semaphore), 0);
    uint32_t state = 9;
    EXPECT_EQ(kelvane_sem_get_state(&semaphore, &state), 0);
    EXPECT_EQ(state, 1u);
    EXPECT_EQ(kelvane_sem_take(&semaphore), 0);
    EXPECT_EQ(kelvane_sem_give(&semaphore), 0);
    EXPECT_EQ(kelvane_sem_give(&semaphore), 0);
    EXPECT_EQ(kelvane_sem_take(&semaphore), 0);
    kelvane_sem_get_state(&semaphore, &state);
    EXPECT_EQ(state, 0u);

    std::atomic<bool> taken = false;
    std::thread waiter([&] {
        kelvane_sem_take(&semaphore);
        taken = true;
    });
    for (int i = 0; i < 1000; i++) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(taken);
    kelvane_sem_give(&semaphore);
    waiter.join();
    EXPECT_TRUE(taken);
    EXPECT_EQ(kelvane_sem_destroy(&semaphore), 0);
}

// Where a wake is lost, both threads sleep for good.
TEST_F(sync_test, no_wake_is_lost_between_two_threads)
{
    constexpr int HOPS = 2000;
    kelvane_semaphore there;
    kelvane_semaphore back;
    for (kelvane_semaphore *semaphore : {&there, &back}) {
        ASSERT_EQ(kelvane_sem_init(semaphore), 0);
        ASSERT_EQ(kelvane_sem_take(semaphore), 0);
    }
    int hops = 0;
    std::thread other([&] {
        for (int i = 0; i < HOPS; i++) {
            kelvane_sem_take(&there);
            hops++;
            kelvane_sem_give(&back);
        }
    });
    for (int i = 0; i < HOPS; i++) {
        EXPECT_EQ(hops, i);
        EXPECT_EQ(kelvane_sem_give(&there), 0);
        EXPECT_EQ(kelvane_sem_take(&back), 0);
    }
    other.join();
    EXPECT_EQ(hops, 2000);
}

TEST_F(sync_test, destroying_a_held_semaphore_fails)
{
    kelvane_semaphore semaphore;
    ASSERT_EQ(kelvane_sem_init(&semaphore), 0);
    pthread_mutex_lock(&semaphore.lock.lock);
    EXPECT_EQ(kelvane_sem_destroy(&semaphore), 64172);
    EXPECT_EQ(kelvane_sem_take(&semaphore), 64172); // already this thread's
    EXPECT_EQ(kelvane_sem_give(&semaphore), 64172);
    pthread_mutex_unlock(&semaphore.lock.lock);
    EXPECT_EQ(kelvane_sem_destroy(&semaphore), 0);
}

TEST_F(sync_test, threads_start_with_the_two_signals_blocked)
{
    static std::atomic<int> blocked;
    blocked = 0;
    const auto body = [](void *) -> void * {
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        blocked = 1 + sigismember(&mask, SIGRTMIN + 6) + sigismember(&mask, SIGRTMIN + 10);
        return nullptr;
    };
    pthread_t id;
    ASSERT_EQ(kelvane_thread_create(&id, body, nullptr), 0);
    pthread_join(id, nullptr);
    EXPECT_EQ(blocked, 3);
    blocked = 0;
    const auto unknown_body = [](void *argument) -> void * {
        pthread_detach(pthread_self()); // nobody knows its id
        return decltype(body){}(argument);
    };
    ASSERT_EQ(kelvane_thread_create(nullptr, unknown_body, nullptr), 0);
    while (blocked == 0) {
        std::this_thread::yield();
    }
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGRTMIN + 6), 1); // the caller's stay blocked, too
}

} // namespace
