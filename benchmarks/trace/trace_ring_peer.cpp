// The same lines through the ring-buffer sink of a logging library that many programs use, with as many
// entries, a time stamp, the thread's id and the function's name in each, as the library's rings have them.
#include <algorithm>
#include <barrier>
#include <memory>
#include <thread>
#include <vector>

#include <spdlog/sinks/ringbuffer_sink.h>
#include <spdlog/spdlog.h>

#include "benchmarks/clock.h"
#include "benchmarks/figures.h"
#include "benchmarks/trace/trace_lines.h"

namespace {

constexpr unsigned LINES = 10'000; // of each thread
constexpr unsigned PEER_ENTRIES = 65536;

std::unique_ptr<spdlog::logger> peer;

void peer_lines(unsigned turns)
{
    for (unsigned turn = 0; turn < turns; turn++) {
        SPDLOG_LOGGER_INFO(peer, "offset 0x{:08x} value 0x{:08x} ", 0x01C00000 + 4 * turn, turn);
    }
}

void start()
{
    start_trace();
    peer = std::make_unique<spdlog::logger>(
        "peer", std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(PEER_ENTRIES));
    peer_lines(PEER_ENTRIES + 1);
}

// Nanoseconds for a line of the slower of two threads, which begin at the same time. Each has its own watch:
// a third thread would start one late, when the two have the processors.
double two_threads(void (*lines)(unsigned))
{
    std::barrier<> both(2);
    const auto write = [&](double *taken) {
        both.arrive_and_wait();
        *taken = nanoseconds_each(LINES, lines);
    };
    double taken[2] = {};
    std::thread first(write, &taken[0]);
    std::thread second(write, &taken[1]);
    first.join();
    second.join();
    return std::max(taken[0], taken[1]);
}

} // namespace

round_values trace_ring_1_peer()
{
    static const bool started = (start(), true);
    (void)started;
    return {nanoseconds_each(LINES, trace_lines), nanoseconds_each(LINES, peer_lines)};
}

round_values trace_ring_2_peer()
{
    static const bool started = (start(), true);
    (void)started;
    return {two_threads(trace_lines), two_threads(peer_lines)};
}
