// The same lines through the ring-buffer sink of a logging library that many programs use, with as many
// entries, a time stamp, the thread's id and the function's name in each, as the library's rings have them.
#include <barrier>
#include <memory>
#include <thread>
#include <vector>

#include <spdlog/sinks/ringbuffer_sink.h>
#include <spdlog/spdlog.h>

#include "clock.h"
#include "figures.h"
#include "trace_lines.h"

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

// Nanoseconds for a line of each of two threads, which write at the same time.
double two_threads(void (*lines)(unsigned))
{
    std::barrier<> both(3);
    const auto write = [&] {
        both.arrive_and_wait();
        lines(LINES);
        both.arrive_and_wait();
    };
    std::thread first(write);
    std::thread second(write);
    both.arrive_and_wait();
    const double taken = nanoseconds_each(LINES, [&](unsigned) { both.arrive_and_wait(); });
    first.join();
    second.join();
    return taken;
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
