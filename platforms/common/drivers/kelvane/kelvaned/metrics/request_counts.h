// How the requests for operations ended, and how long they took.
#ifndef KELVANED_METRICS_REQUEST_COUNTS_H
#define KELVANED_METRICS_REQUEST_COUNTS_H

#include <array>
#include <chrono>
#include <cstdint>
#include <map>

#include "control/dispatch.h"

enum class request_end {
    done,
    failed,    // with a code of the library's or the firmware's
    timed_out, // the library's time, or the caller's before it began
    refused,   // by the service: a full queue, bad parameters, no card
};
constexpr size_t REQUEST_ENDS = 4;
extern const char *const REQUEST_END_NAMES[REQUEST_ENDS];

// Upper bounds of a histogram. A command takes from half a millisecond to minutes.
constexpr std::array REQUEST_SECONDS = {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05,
                                        0.1,   0.25,   1.0,   5.0,  60.0,  300.0};

struct operation_counts {
    std::array<uint64_t, REQUEST_ENDS> ends{};
    std::array<uint64_t, REQUEST_SECONDS.size() + 1>
        took{};         // of those that were run; the last is beyond all bounds
    double seconds = 0; // of the same in all
};

using request_counts = std::map<const operation *, operation_counts>;

void count_end(request_counts *counts, const operation &operation, request_end end);

// One that was run.
void count_run(request_counts *counts, const operation &operation, int64_t code,
               std::chrono::duration<double> took);

#endif
