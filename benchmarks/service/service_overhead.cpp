// What the way through the service adds to a command.
#include <algorithm>
#include <array>

#include "benchmarks/clock.h"
#include "benchmarks/figures.h"
#include "benchmarks/library/bench_card.h"
#include "benchmarks/processors.h"
#include "benchmarks/service/running_service.h"

namespace {

constexpr size_t COMMANDS = 21; // odd: the median is one of them

template <typename command> double median_microseconds(command run)
{
    std::array<double, COMMANDS> taken;
    for (double &each : taken) {
        each = nanoseconds_each(1, [&run](unsigned) { run(); }) / 1e3;
    }
    std::nth_element(taken.begin(), taken.begin() + COMMANDS / 2, taken.end());
    return taken[COMMANDS / 2];
}

int start()
{
    stay_on(pthread_self(), 0); // and what is started from here on
    start_service_on_bench_card();
    start_on_bench_card(WITHOUT_THREADS);
    fill_rings();
    return connect_to_service();
}

} // namespace

round_values service_overhead()
{
    static const int client = start();
    const double measured = median_microseconds([] {
        send_register_request(client, 0);
        take_register_answer(client);
    });
    return {measured, median_microseconds([] { bench_command(0); })};
}
