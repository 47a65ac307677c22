// Threads of the library, and its plain delay.
#ifndef CORE_THREAD_H
#define CORE_THREAD_H

#include <pthread.h>

#include <cstdint>

// What a thread of the library is started with: a block from the heap, which the thread frees.
struct thread_argument {
    uint32_t handle;
    uint32_t sirane_id; // all ones for a thread that has none
    uint32_t mbox;
};

// Copies the block and frees it: a thread's first act.
thread_argument take_thread_argument(void *argument);

// The block for a new thread; null when there is no memory.
thread_argument *make_thread_argument(uint32_t handle, uint32_t sirane_id, uint32_t mbox);

// Starts a thread with all signals blocked but those of its own faults. The platform's two stay blocked in
// the caller, too. `id` may be null. Returns what pthread_create returned; a failure to block the signals
// aborts the process.
int32_t kelvane_thread_create(pthread_t *id, void *(*start)(void *), void *argument);

// The POSIX thread id, cut to 32 bits.
uint32_t kelvane_thread_self(void);

// One sleep; an interrupted one is not resumed.
void kelvane_delay(uint32_t seconds, uint32_t nanoseconds);

#endif
