// The checks below hold in every build.
#undef NDEBUG

#include "core/thread.h"

#include <signal.h>

#include <cassert>

#include "platform/wait.h"

int32_t kelvane_thread_create(pthread_t *id, void *(*start)(void *), void *argument)
{
    sigset_t reserved;
    int rc = sigemptyset(&reserved);
    assert(rc == 0);
    rc = sigaddset(&reserved, SIGRTMIN + 6);
    assert(rc == 0);
    rc = sigaddset(&reserved, SIGRTMIN + 10);
    // clang-format off
    assert(rc ==0);
    // clang-format on
    rc = pthread_sigmask(SIG_BLOCK, &reserved, nullptr);
    assert(rc == 0);

    pthread_t unwanted;
    return pthread_create(id != nullptr ? id : &unwanted, nullptr, start, argument);
}

uint32_t kelvane_thread_self(void)
{
    return static_cast<uint32_t>(pthread_self());
}

void kelvane_delay(uint32_t seconds, uint32_t nanoseconds)
{
    wait_sleep(static_cast<uint64_t>(seconds) * 1000000000u + nanoseconds);
}
