// The figures that kelvane_bench measures. A new one is a file in the folder of what it measures, with a
// function that is declared here, and a row in bench.cpp.
#ifndef BENCHMARKS_FIGURES_H
#define BENCHMARKS_FIGURES_H

// One round: what is measured and what it is compared with, one right after the other, in the unit of the
// figure's row. A figure has a process for itself; its function makes what it needs in the first round.
struct round_values {
    double measured;
    double reference; // 0 where a figure stands by itself
};

// Ends the figure's process: it could not be measured.
[[noreturn]] void figure_fail(const char *what);

round_values trace_disabled();
round_values trace_ring_1();
round_values trace_ring_1_peer();
round_values trace_ring_2_peer();
round_values log_line();
round_values uncontended_mutex();
round_values semaphore_wake();
round_values command_rate();
round_values command_rate_3();
round_values command_cpu();
round_values interrupt_to_callback();
round_values download();
round_values arm_log_dump();
round_values eprom_dump();
round_values simulator_rate();
round_values recorded_rate();
round_values simulator_idle();
round_values client_start();
round_values client_resident();
round_values service_overhead();
round_values service_rate_3();
round_values scrape();
round_values scraped_rate_3();
round_values service_idle();
round_values service_resident();
round_values ctl_start();

#endif
