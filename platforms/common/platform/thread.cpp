#include "platform/thread.h"

#include <cstdio>
#include <cstdlib>

#include <sys/syscall.h>
#include <unistd.h>

#include "platform/wait.h"

// Not static: a debugger looks for it by this name.
extern "C" {
extern thread_local struct thread_debug_mark thread_debug_current;
thread_local struct thread_debug_mark thread_debug_current;
}

__thread int32_t thread_known_kernel_id = 0;

namespace {

pthread_once_t fork_handler_once = PTHREAD_ONCE_INIT;

// Only the thread that forked lives on in the child, with its thread-locals.
void forget_kernel_id()
{
    thread_known_kernel_id = 0;
}

void install_fork_handler()
{
    if (pthread_atfork(nullptr, nullptr, forget_kernel_id) != 0) {
        fprintf(stderr, "thread: no memory for a fork handler\n");
        abort();
    }
}

} // namespace

int platform_thread_set_name(const char *name, pthread_t thread)
{
    char kept[16]; // what Linux keeps, with the closing 0
    snprintf(kept, sizeof kept, "%s", name);
    return pthread_setname_np(thread, kept);
}

int32_t thread_ask_kernel_id(void)
{
    pthread_once(&fork_handler_once, install_fork_handler);
    thread_known_kernel_id = static_cast<int32_t>(syscall(SYS_gettid));
    return thread_known_kernel_id;
}

void thread_block_signals(sigset_t *before)
{
    sigset_t blocked;
    sigfillset(&blocked);
    // These come to the thread at fault, blocked or not; blocked, they pass by a handler that tells of it.
    constexpr int FAULTS[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT};
    for (const int number : FAULTS) {
        sigdelset(&blocked, number);
    }
    pthread_sigmask(SIG_BLOCK, &blocked, before);
}

void thread_debug_mark_mutex_block(const void *mutex, const char *function, int line)
{
    thread_debug_current = {};
    thread_debug_current.object = mutex;
    thread_debug_current.function = function;
    thread_debug_current.line = line;
    thread_debug_current.kind = THREAD_DEBUG_MUTEX;
}

void thread_debug_clear_mutex_block(void)
{
    thread_debug_current = {};
}

void thread_debug_mark_syscall_block(uint32_t kind, const void *object, uint64_t a, uint64_t b)
{
    thread_debug_current = {};
    thread_debug_current.syscall = kind;
    thread_debug_current.object = object;
    thread_debug_current.details[0] = a;
    thread_debug_current.details[1] = b;
    thread_debug_current.kind = THREAD_DEBUG_SYSCALL;
}

void thread_debug_clear_syscall_block(void)
{
    thread_debug_current = {};
}

const struct thread_debug_mark *thread_debug_own_mark(void)
{
    return &thread_debug_current;
}

int thread_lock_held(pthread_mutex_t *mutex, const char *function, int line)
{
    thread_debug_mark_mutex_block(mutex, function, line);
    const int result = pthread_mutex_lock(mutex);
    thread_debug_clear_mutex_block();
    return result;
}

int thread_timed_lock_held(pthread_mutex_t *mutex, const timespec *deadline, const char *function, int line)
{
    thread_debug_mark_mutex_block(mutex, function, line);
    const int result = wait_timed_lock(mutex, deadline);
    thread_debug_clear_mutex_block();
    return result;
}
