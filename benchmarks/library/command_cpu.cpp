// The processor time of one command in a time that does not pass: what the library adds to the accesses and
// the lines of the log that a command consists of.
#include "benchmarks/clock.h"
#include "benchmarks/figure_process.h"
#include "benchmarks/figures.h"
#include "benchmarks/library/bare_lines.h"
#include "benchmarks/library/bench_card.h"
#include "benchmarks/library/logged_lines.h"
#include "support/virtual_time.h"

namespace {

constexpr unsigned COMMANDS = 100;
constexpr uint32_t REF_ID = 0x01C00104; // of the last command

template <typename command> double microseconds_each(command run)
{
    return processor_nanoseconds_each(COMMANDS,
                                      [run](unsigned turns) {
                                          for (unsigned turn = 0; turn < turns; turn++) {
                                              run();
                                          }
                                      }) /
           1e3;
}

void compare_once()
{
    take_logged_lines();
    bench_command(0);
    const std::vector<logged_line> library = take_logged_lines();
    bare_read_register(bench_word(REF_ID));
    expect_same_lines(library, take_logged_lines());
}

void start()
{
    static virtual_time time;
    figure_log_on();
    start_on_bench_card(WITHOUT_THREADS);
    compare_once();
    log_off();
    fill_rings();
}

} // namespace

round_values command_cpu()
{
    static const bool started = (start(), true);
    (void)started;
    const double measured = microseconds_each([] { bench_command(0); });
    return {measured, microseconds_each([] { bare_read_register(bench_word(REF_ID)); })};
}
