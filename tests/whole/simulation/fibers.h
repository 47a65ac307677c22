// Threads that are none: bodies that share one real thread and give way where they sleep, wait for a lock, or
// are told to. A seed decides who goes on, so that the same seed gives the same run.
#ifndef TESTS_WHOLE_SIMULATION_FIBERS_H
#define TESTS_WHOLE_SIMULATION_FIBERS_H

#include <cstdint>
#include <functional>
#include <vector>

// Uniform below `end`, which is not 0. All choices of a run come from here.
void choices_start(uint64_t seed);
uint64_t choose(uint64_t end);
bool one_in(uint64_t count);

// From here until fibers_end, the platform's waiting goes through the fibers: a sleep lets the others run,
// and the clock moves on when nobody can, at most to when `next_event` says. `on_clock` is called whenever it
// has moved.
void fibers_begin(std::function<void()> on_clock, std::function<uint64_t()> next_event);
void fibers_end();

void fibers_add(std::function<void()> body);

// Runs them until `ended` holds, or all bodies have returned. False when the clock passes `limit_ns` before.
bool fibers_run(const std::function<bool()> &ended, uint64_t limit_ns);

// Of a fiber: lets the others run, until the condition holds.
void fiber_give_way();
void fiber_wait(const std::function<bool()> &condition);

// Explored instead of drawn: from here on a fiber goes on until it waits, then the one that has waited
// longest, except for these switches: where more than one can go on for the `point`-th time, it is another
// one.
struct forced_switch {
    size_t point;
    uint32_t other; // of the others, from 0
};
void fibers_explore(const std::vector<forced_switch> &switches);
void fibers_explore_no_more();

// How many others could have gone on, by point, since the last fibers_explore.
const std::vector<uint32_t> &fibers_points();

// Nanoseconds since fibers_begin.
uint64_t fibers_clock();

#endif
