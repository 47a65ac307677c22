// The figures that kelvane_bench measures. A new one is a function here and a row in bench.cpp.
#ifndef BENCHMARKS_FIGURES_H
#define BENCHMARKS_FIGURES_H

// One round: what is measured and what it is compared with, in nanoseconds, one right after the other.
struct round_times {
    double measured;
    double reference;
};

// A TRACE line at a disabled level, beside a relaxed load, a test and a branch.
round_times trace_disabled();

// A card's interrupt to an alarm callback, beside two semaphore hops between threads.
round_times interrupt_to_callback();

#endif
