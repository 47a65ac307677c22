// A figure runs in a process of its own: the library is brought up once in a process, and what one figure
// leaves must not slow the next down.
#ifndef BENCHMARKS_FIGURE_PROCESS_H
#define BENCHMARKS_FIGURE_PROCESS_H

#include <string>
#include <vector>

#include "benchmarks/figures.h"

// Fills `rounds` by calling `round` as many times, after one call that warms up. The process has its own
// host's tree and folder for trace rings, and no standard output. False, with a message, when it
// failed.
bool run_rounds(const char *name, round_values (*round)(), std::vector<round_values> &rounds);

// A signal asked the program to end.
bool asked_to_stop();

// In a figure's process: its host's tree, with an empty root/ in it.
const std::string &figure_host();

// In a figure's process: turns the library's log on, if it is not up yet. Returns the file's path.
std::string figure_log_on();

#endif
