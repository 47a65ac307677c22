// How many commands a second a card can be given that answers at once: each ends with one pause between two
// looks at the mailbox, and everything else should vanish in comparison.
#include <barrier>
#include <thread>

#include "benchmarks/clock.h"
#include "benchmarks/figures.h"
#include "benchmarks/library/bench_card.h"
#include "core/thread.h"
#include "kelvane_mbox.h"

namespace {

constexpr unsigned COMMANDS = 20; // of each thread, in a round
constexpr uint32_t PAUSE_NS = 500'000;

double rate_of(double nanoseconds)
{
    return 1e9 / nanoseconds;
}

double commands_a_second()
{
    return rate_of(nanoseconds_each(COMMANDS, [](unsigned turns) {
        for (unsigned turn = 0; turn < turns; turn++) {
            bench_command(0);
        }
    }));
}

double pauses_a_second()
{
    return rate_of(nanoseconds_each(COMMANDS, [](unsigned turns) {
        for (unsigned turn = 0; turn < turns; turn++) {
            kelvane_delay(0, PAUSE_NS);
        }
    }));
}

// A thread for each sirane; all commands together.
double commands_a_second_of_all()
{
    std::barrier<> all(SIRANE_COUNT + 1);
    std::thread threads[SIRANE_COUNT];
    for (uint32_t sirane_id = 0; sirane_id < SIRANE_COUNT; sirane_id++) {
        threads[sirane_id] = std::thread([sirane_id, &all] {
            all.arrive_and_wait();
            for (unsigned turn = 0; turn < COMMANDS; turn++) {
                bench_command(sirane_id);
            }
            all.arrive_and_wait();
        });
    }
    all.arrive_and_wait();
    const double each = nanoseconds_each(SIRANE_COUNT * COMMANDS, [&](unsigned) { all.arrive_and_wait(); });
    for (std::thread &thread : threads) {
        thread.join();
    }
    return rate_of(each);
}

void start()
{
    static const bool started = (start_on_bench_card(WITHOUT_THREADS), fill_rings(), true);
    (void)started;
}

} // namespace

round_values command_rate()
{
    start();
    return {commands_a_second(), pauses_a_second()};
}

round_values command_rate_3()
{
    start();
    return {commands_a_second_of_all(), SIRANE_COUNT * commands_a_second()};
}
