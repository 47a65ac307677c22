// The library's mutex and semaphore: thin wrappers over POSIX that remember the holder, turn failures into
// return codes with a log line, and mark what a thread blocks on.
#ifndef KELVANE_SYNC_H
#define KELVANE_SYNC_H

#include <pthread.h>

#include <atomic>
#include <cstdint>

constexpr uint32_t LOCK_AREA_WORDS = 16; // larger than the POSIX mutex

struct kelvane_lock_area {
    union {
        pthread_mutex_t lock; // of the error-checking type
        uint32_t area[LOCK_AREA_WORDS];
    };
};
static_assert(sizeof(pthread_mutex_t) < sizeof(kelvane_lock_area));

struct kelvane_mutex {
    kelvane_lock_area lock;
    std::atomic<int32_t> lockingTID; // kernel id of the holder, 0 when free; for diagnosis only
    std::atomic<const kelvane_mutex *> holder_waits_for; // if it waits for long, see mbox/waiting.h
};

// Binary: 1 given, 0 taken; born given.
struct kelvane_semaphore {
    pthread_cond_t condition;
    kelvane_lock_area lock;         // guards semState
    std::atomic<uint32_t> semState; // read without the lock by traces and kelvane_sem_get_state
};

#endif
