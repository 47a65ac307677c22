// The library's mutexes, semaphores and threads.
#include <signal.h>

#include <thread>

#include "core/semaphore.h"
#include "core/thread.h"
#include "support/library.h"

namespace {

using locks_test = firmware_test;

TEST_F(locks_test, a_mutex_knows_its_holder)
{
    kelvane_mutex mutex;
    EXPECT_EQ(kelvane_mutex_init(&mutex), 0);
    EXPECT_EQ(kelvane_mutex_lock(&mutex), 0);
    EXPECT_EQ(kelvane_mutex_get_owner(&mutex), kelvane_gettid());
    EXPECT_EQ(kelvane_mutex_lock(&mutex), 64172); // at once
    EXPECT_EQ(kelvane_mutex_unlock(&mutex), 0);
    EXPECT_EQ(kelvane_mutex_get_owner(&mutex), 0);
    EXPECT_EQ(time.now(), 0u);
    std::thread([&] { kelvane_mutex_timed_lock(&mutex, 360, 0); }).join();
    const int32_t holder = kelvane_mutex_get_owner(&mutex);
    EXPECT_NE(holder, kelvane_gettid());
    EXPECT_EQ(kelvane_mutex_timed_lock(&mutex, 360, 0), 110);
    EXPECT_EQ(time.now(), 360000000000u);
    EXPECT_TRUE(log_contains(" timeout 360 0 expired-lockingTID = " + std::to_string(holder) + " \n"));
    EXPECT_EQ(kelvane_mutex_unlock(&mutex), 64172); // not this thread's
    time.advance(999999999);
    EXPECT_EQ(kelvane_mutex_timed_lock(&mutex, 1, 10), 64172); // no carry: an invalid time
    time.fail_realtime_with(-1);
    testing::internal::CaptureStdout();
    EXPECT_EQ(kelvane_mutex_timed_lock(&mutex, 1, 0), -1);
    time.fail_realtime_with(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n\n");
}

TEST_F(locks_test, a_semaphore_is_born_given_and_gives_merge)
{
    kelvane_semaphore semaphore;
    EXPECT_EQ(kelvane_sem_init(&semaphore), 0);
    EXPECT_EQ(semaphore.semState, 1u);
    EXPECT_EQ(kelvane_sem_give(&semaphore), 0);
    EXPECT_EQ(kelvane_sem_take(&semaphore), 0);
    for (int wake = 0; wake < 100; wake++) { // a take that comes first waits for the give
        std::thread giver([&] { kelvane_sem_give(&semaphore); });
        EXPECT_EQ(kelvane_sem_take(&semaphore), 0);
        giver.join();
    }
    EXPECT_EQ(semaphore.semState, 0u);
    EXPECT_EQ(kelvane_sem_give(&semaphore), 0);
    EXPECT_EQ(semaphore.semState, 1u);
    pthread_mutex_lock(&semaphore.lock.lock); // now this thread's, so that neither can take it
    EXPECT_EQ(kelvane_sem_take(&semaphore) + kelvane_sem_give(&semaphore), 2 * 64172);
}

TEST_F(locks_test, signals_run_no_handler_on_a_thread_of_the_library)
{
    const auto look = [](void *blocked) -> void * {
        sigset_t mask;
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        for (const int number : {SIGRTMIN + 6, SIGRTMIN + 10, SIGALRM, SIGUSR1, SIGSEGV}) {
            *static_cast<std::string *>(blocked) += sigismember(&mask, number) == 1 ? "b" : "-";
        }
        return nullptr;
    };
    std::string there, here;
    pthread_t id;
    ASSERT_EQ(kelvane_thread_create(&id, look, &there), 0);
    pthread_join(id, nullptr);
    EXPECT_EQ(there, "bbbb-"); // it may tell of its own fault
    look(&here);
    EXPECT_EQ(here, "bb---"); // the caller keeps the platform's two blocked, and its own as they were
}

} // namespace
