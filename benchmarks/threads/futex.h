// A word that threads wait for, on the kernel's call alone: the least that waking a thread takes.
#ifndef BENCHMARKS_FUTEX_H
#define BENCHMARKS_FUTEX_H

#include <atomic>
#include <cstdint>

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

struct bare_wake {
    std::atomic<uint32_t> given{0};
};

inline void bare_give(bare_wake &wake)
{
    wake.given.store(1, std::memory_order_release);
    syscall(SYS_futex, &wake.given, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

inline void bare_take(bare_wake &wake)
{
    while (wake.given.exchange(0, std::memory_order_acquire) == 0) {
        syscall(SYS_futex, &wake.given, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
    }
}

#endif
