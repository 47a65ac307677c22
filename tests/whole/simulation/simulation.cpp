// The library and the simulated card under seeded faults, on one thread: the same seed gives the same
// accesses and outcomes.
#include <CLI/CLI.hpp>

#include <iostream>

#include "support/temporary_folder.h"
#include "whole/simulation/world.h"

namespace {

constexpr uint64_t COMPARED_EVERY = 50; // seeds that run twice

// How many accesses it made, and the clock at its end.
std::pair<uint64_t, uint64_t> run_seed(uint64_t seed)
{
    world_run(seed, [] {
        kelvane_pci_mapped(0, 1, 0, 0);
        kelvane_enable_msi(0, 1);
        for (uint32_t number = 0; number < 2; number++) {
            simulation.working++;
            fibers_add([number] { application(number); });
        }
    });
    return {simulation.accesses, fibers_clock()};
}

} // namespace

int main(int argc, char **argv)
{
    uint64_t from = 0, count = 1000;
    CLI::App options(
        "Runs seeds one after the other. What there is to say of them goes to standard error. The "
        "status is 1 for a seed that failed.");
    options.add_option("--from", from, "the first seed")->capture_default_str();
    options.add_option("--seeds", count, "how many")->capture_default_str();
    options.add_flag("--tell", simulation.tells, "show its steps");
    options.add_flag("--log", simulation.logs, "the library's log, all levels; kept of a seed that fails");
    CLI11_PARSE(options, argc, argv);
    const host_folder folder;
    if (simulation.logs) {
        folder.write("root/kelvane.log", "");
        std::cerr << "the library's log: " << folder.path << "/root/kelvane.log\n";
    }
    simulation_init();
    uint64_t accesses = 0, unaccounted = 0;
    for (uint64_t seed = from; seed < from + count; seed++) {
        const auto run = run_seed(seed);
        accesses += simulation.accesses;
        unaccounted += simulation.aged_unmapped ? 1 : 0;
        if (seed % COMPARED_EVERY == 0 && run_seed(seed) != run) {
            simulation_failed("a second run of the seed went another way");
        }
    }
    std::cerr << count << " seeds from " << from << ", " << accesses
              << " accesses: every outcome came once; not counted in " << unaccounted
              << " seeds, whose requests grew old without a mapping\n";
    return 0;
}
