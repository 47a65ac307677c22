/* Threads as the platform's tools see them: names, kernel ids, and marks that tell what a thread
 * blocks on. */
#ifndef PLATFORM_THREAD_H
#define PLATFORM_THREAD_H

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Gives `thread` the name that the system's tools show, cut to the 15 characters that Linux keeps.
 * Returns 0 or the error of pthread_setname_np. Any thread. */
int platform_thread_set_name(const char *name, pthread_t thread);

/* The calling thread's kernel id, 0 before it was asked for. For thread_kernel_id alone. */
extern __thread int32_t thread_known_kernel_id;
int32_t thread_ask_kernel_id(void);

/* The calling thread's kernel id. Asked of the kernel once per thread, and again after a fork. */
static inline int32_t thread_kernel_id(void)
{
    const int32_t known = thread_known_kernel_id;
    return __builtin_expect(known != 0, 1) ? known : thread_ask_kernel_id();
}

/* Blocks all signals in the calling thread, but for those that tell a thread of its own fault, and fills
 * `before` with the mask as it was, NULL if it does not matter. A thread that is made meanwhile inherits
 * that: no handler of the application runs on it and cuts its waits short. */
void thread_block_signals(sigset_t *before);

/* What the calling thread is about to block on. A debugger shows the thread-local variable
 * `thread_debug_current` of each thread; the marks have no effect on what the program does. */
enum thread_debug_kind {
    THREAD_DEBUG_NONE = 0,
    THREAD_DEBUG_MUTEX = 1,
    THREAD_DEBUG_SYSCALL = 2,
};

enum { THREAD_DEBUG_SYSCALL_CONDITION = 6 };

struct thread_debug_mark {
    uint32_t kind;        /* enum thread_debug_kind */
    uint32_t syscall;     /* kind of blocking wait, for THREAD_DEBUG_SYSCALL */
    uint64_t details[2];  /* what the kind of wait has to add, 0 for a condition */
    const void *object;   /* the mutex or condition; never followed */
    const char *function; /* static text, for THREAD_DEBUG_MUTEX */
    int line;
};

void thread_debug_mark_mutex_block(const void *mutex, const char *function, int line);
void thread_debug_clear_mutex_block(void);
void thread_debug_mark_syscall_block(uint32_t kind, const void *object, uint64_t a, uint64_t b);
void thread_debug_clear_syscall_block(void);

/* The calling thread's own mark; valid while the thread lives. */
const struct thread_debug_mark *thread_debug_own_mark(void);

/* The second halves of the two operations below, for a mutex that is held. */
int thread_lock_held(pthread_mutex_t *mutex, const char *function, int line);
int thread_timed_lock_held(pthread_mutex_t *mutex, const struct timespec *deadline, const char *function,
                           int line);

/* The blocking lock step: a try, and only if the mutex is held elsewhere the mark, the blocking call
 * and the clearing of the mark. Returns what the last pthread call returned. Blocks without limit. The
 * try is inline, so that a free mutex costs its caller no more than that. */
static inline int thread_lock(pthread_mutex_t *lock, const char *function, int line)
{
    const int result = pthread_mutex_trylock(lock);
    if (__builtin_expect(result == 0, 1)) {
        return 0;
    }
    return result == EBUSY ? thread_lock_held(lock, function, line) : result;
}

/* The same with pthread_mutex_timedlock as the blocking call; `deadline` is wall-clock time. */
static inline int thread_timed_lock(pthread_mutex_t *lock, const struct timespec *deadline,
                                    const char *function, int line)
{
    const int result = pthread_mutex_trylock(lock);
    if (__builtin_expect(result == 0, 1)) {
        return 0;
    }
    return result == EBUSY ? thread_timed_lock_held(lock, deadline, function, line) : result;
}

#ifdef __cplusplus
}
#endif
#endif
