// How long something takes.
#ifndef BENCHMARKS_CLOCK_H
#define BENCHMARKS_CLOCK_H

#include <chrono>

// Nanoseconds that one of `count` turns of the loop in `run` takes.
template <typename loop> double nanoseconds_each(unsigned count, loop run)
{
    const auto start = std::chrono::steady_clock::now();
    run(count);
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    return taken.count() / count;
}

#endif
