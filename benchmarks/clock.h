// How long something takes.
#ifndef BENCHMARKS_CLOCK_H
#define BENCHMARKS_CLOCK_H

#include <chrono>
#include <ctime>

// Nanoseconds that one of `count` turns of the loop in `run` takes.
template <typename loop> double nanoseconds_each(unsigned count, loop run)
{
    const auto start = std::chrono::steady_clock::now();
    run(count);
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / count;
}

// The same in processor time of the calling thread: for what only computes, and takes so long that other
// programs get their turns in between.
template <typename loop> double processor_nanoseconds_each(unsigned count, loop run)
{
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
    };
    const double start = now();
    run(count);
    return (now() - start) / count;
}

#endif
