// kelvane_bench: each figure is compared with its own reference, which is measured along with it, so that
// the verdict does not depend on the machine.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>
#include <vector>

#include "benchmarks/figure_process.h"
#include "benchmarks/figures.h"

namespace {

enum comparison {
    RATIO_AT_MOST,
    RATIO_AT_LEAST,
    EXCESS_AT_MOST, // measured minus reference
    VALUE_AT_MOST,
};

struct figure {
    const char *name;
    round_values (*round)();
    unsigned rounds; // odd: the median is one of them
    const char *unit;
    comparison how;
    double goal;
};

constexpr figure FIGURES[] = {
    {"trace_disabled", trace_disabled, 101, "ns", RATIO_AT_MOST, 1.2},
    {"trace_ring_1", trace_ring_1, 101, "ns", RATIO_AT_MOST, 0.75},
    {"trace_ring_1_peer", trace_ring_1_peer, 101, "ns", RATIO_AT_MOST, 0.55},
    {"trace_ring_2_peer", trace_ring_2_peer, 51, "ns", RATIO_AT_MOST, 0.55},
    {"log_line", log_line, 301, "ns", RATIO_AT_MOST, 2.6},
    {"mutex", uncontended_mutex, 301, "ns", RATIO_AT_MOST, 1.5},
    {"semaphore_wake", semaphore_wake, 101, "us", RATIO_AT_MOST, 1.5},
    {"command_rate", command_rate, 101, "/s", RATIO_AT_LEAST, 0.95},
    {"command_rate_3", command_rate_3, 101, "/s", RATIO_AT_LEAST, 0.93},
    {"command_cpu", command_cpu, 101, "us", RATIO_AT_MOST, 1.3},
    {"interrupt_to_callback", interrupt_to_callback, 301, "us", RATIO_AT_MOST, 1.6},
    {"download", download, 11, "ms", RATIO_AT_MOST, 1.15},
    {"arm_log_dump", arm_log_dump, 51, "ms", RATIO_AT_MOST, 1.5},
    {"eprom_dump", eprom_dump, 21, "ms", RATIO_AT_MOST, 1.5},
    {"simulator_rate", simulator_rate, 101, "/s", RATIO_AT_LEAST, 0.95},
    {"recorded_rate", recorded_rate, 101, "/s", RATIO_AT_LEAST, 0.95},
    {"simulator_idle", simulator_idle, 7, "%", VALUE_AT_MOST, 1},
    {"client_start", client_start, 7, "ms", EXCESS_AT_MOST, 25},
    {"client_resident", client_resident, 7, "MiB", VALUE_AT_MOST, 16},
    {"service_overhead", service_overhead, 51, "us", EXCESS_AT_MOST, 60},
    {"service_rate_3", service_rate_3, 21, "/s", RATIO_AT_LEAST, 0.95},
    {"scrape", scrape, 21, "ms", VALUE_AT_MOST, 3},
    {"scraped_rate_3", scraped_rate_3, 21, "/s", RATIO_AT_LEAST, 0.95},
    {"service_idle", service_idle, 1, "%", VALUE_AT_MOST, 0.5},
    {"service_resident", service_resident, 7, "MiB", VALUE_AT_MOST, 12},
    {"ctl_start", ctl_start, 21, "ms", EXCESS_AT_MOST, 10},
};

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

struct verdict {
    double compared;
    bool ok;
};

verdict judge(const figure &figure, double measured, double reference)
{
    switch (figure.how) {
    case RATIO_AT_MOST:
        return {measured / reference, measured / reference <= figure.goal};
    case RATIO_AT_LEAST:
        return {measured / reference, measured / reference >= figure.goal};
    case EXCESS_AT_MOST:
        return {measured - reference, measured - reference <= figure.goal};
    case VALUE_AT_MOST:
        break;
    }
    return {measured, measured <= figure.goal};
}

void print_line(const figure &figure, double measured, double reference, const verdict &verdict)
{
    static const char *const signs[] = {"<=", ">=", "<= +", "<="};
    const bool is_ratio = figure.how == RATIO_AT_MOST || figure.how == RATIO_AT_LEAST;
    char beside[32] = "-";
    if (figure.how != VALUE_AT_MOST) {
        std::snprintf(beside, sizeof beside, "%.2f %s", reference, figure.unit);
    }
    char goal[32];
    std::snprintf(goal, sizeof goal, "%s%s%.4g%s%s", signs[figure.how],
                  figure.how == EXCESS_AT_MOST ? "" : " ", figure.goal, is_ratio ? "" : " ",
                  is_ratio ? "" : figure.unit);
    std::printf("%-22s %12.2f %-3s %15s %8.3f  %-10s %s\n", figure.name, measured, figure.unit, beside,
                verdict.compared, goal, verdict.ok ? "ok" : "short");
    std::fflush(stdout);
}

// The two sides take turns, so that what else the machine does hits both.
enum outcome { GOOD, SHORT, NOT_MEASURED };

outcome measure(const figure &figure)
{
    std::vector<round_values> rounds(figure.rounds);
    if (!run_rounds(figure.name, figure.round, rounds)) {
        return NOT_MEASURED;
    }
    std::vector<double> measured;
    std::vector<double> reference;
    for (const round_values &round : rounds) {
        measured.push_back(round.measured);
        reference.push_back(round.reference);
    }
    const verdict verdict = judge(figure, median(measured), median(reference));
    print_line(figure, median(measured), median(reference), verdict);
    return verdict.ok ? GOOD : SHORT;
}

bool is_wanted(const figure &figure, std::span<char *> names)
{
    return names.empty() || std::any_of(names.begin(), names.end(), [&figure](const char *name) {
               return std::strcmp(name, figure.name) == 0;
           });
}

bool is_known(const char *name)
{
    return std::any_of(std::begin(FIGURES), std::end(FIGURES),
                       [name](const figure &figure) { return std::strcmp(name, figure.name) == 0; });
}

} // namespace

int main(int argc, char **argv)
{
    const std::span<char *> names(argv + 1, argv + argc);
    for (const char *name : names) {
        if (!is_known(name)) {
            std::fprintf(stderr, "kelvane_bench: there is no figure %s\n", name);
            return 2;
        }
    }
    std::printf("%-22s %16s %15s %8s  %-10s\n", "figure", "measured", "reference", "ratio", "goal");
    outcome worst = GOOD;
    for (const figure &figure : FIGURES) {
        if (is_wanted(figure, names) && !asked_to_stop()) {
            worst = std::max(worst, measure(figure));
        }
    }
    return worst;
}
