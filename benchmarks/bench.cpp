// kelvane_bench: each figure is compared with a reference of its own that is measured beside it, so that
// the verdict does not depend on the machine.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <span>

#include "figures.h"

namespace {

constexpr size_t ROUNDS = 101;

struct figure {
    const char *name;
    round_times (*round)();
    double goal; // the ratio measured / reference is at most this
};

constexpr figure FIGURES[] = {
    {"trace_disabled", trace_disabled, 1.2},
    {"interrupt_to_callback", interrupt_to_callback, 3.0},
};

double median(std::array<double, ROUNDS> values)
{
    std::nth_element(values.begin(), values.begin() + ROUNDS / 2, values.end());
    return values[ROUNDS / 2];
}

// The two sides take turns, so that what else the machine does hits both.
bool measure(const figure &figure)
{
    std::array<double, ROUNDS> measured{};
    std::array<double, ROUNDS> reference{};
    figure.round(); // warms up
    for (size_t i = 0; i < ROUNDS; i++) {
        const round_times times = figure.round();
        measured[i] = times.measured;
        reference[i] = times.reference;
    }
    const double ratio = median(measured) / median(reference);
    const bool ok = ratio <= figure.goal;
    std::printf("%-22s %10.2f ns %10.2f ns %8.3f %8.3f  %s\n", figure.name, median(measured),
                median(reference), ratio, figure.goal, ok ? "ok" : "short");
    std::fflush(stdout);
    return ok;
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
    std::printf("%-22s %13s %13s %8s %8s\n", "figure", "measured", "reference", "ratio", "goal");
    bool all_ok = true;
    for (const figure &figure : FIGURES) {
        if (is_wanted(figure, names)) {
            all_ok = measure(figure) && all_ok;
        }
    }
    return all_ok ? 0 : 1;
}
