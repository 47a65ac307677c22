// The asserts below hold in every build.
#undef NDEBUG

#include "core/thread.h"

#include <signal.h>

#include <cassert>
#include <cstdlib>

#include "platform/thread.h"
#include "platform/wait.h"

thread_argument take_thread_argument(void *argument)
{
    const thread_argument taken = *static_cast<thread_argument *>(argument);
    free(argument);
    return taken;
}

thread_argument *make_thread_argument(uint32_t handle, uint32_t sirane_id, uint32_t mbox)
{
    auto *argument = static_cast<thread_argument *>(calloc(1, sizeof(thread_argument)));
    if (argument != nullptr) {
        *argument = {handle, sirane_id, mbox};
    }
    return argument;
}

int32_t kelvane_thread_create(pthread_t *id, void *(*start)(void *), void *argument)
{
    // A signal that cannot be blocked is no return code: it aborts the process, with the condition on
    // standard error. The words "rc ==0", so spelled, mean the second signal.
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

    // The rest is kept from the new thread only: whatever it waits for, no handler cuts short.
    sigset_t callers;
    thread_block_signals(&callers);
    pthread_t unwanted;
    rc = pthread_create(id != nullptr ? id : &unwanted, nullptr, start, argument);
    pthread_sigmask(SIG_SETMASK, &callers, nullptr);
    return rc;
}

uint32_t kelvane_thread_self(void)
{
    return static_cast<uint32_t>(pthread_self());
}

void kelvane_delay(uint32_t seconds, uint32_t nanoseconds)
{
    wait_sleep(static_cast<uint64_t>(seconds) * 1000000000u + nanoseconds);
}
