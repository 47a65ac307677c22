// The library and the simulated card under seeded faults, on one thread: the same seed gives the same
// accesses and outcomes.
#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>

#include "lifecycle/driver.h"
#include "support/library.h"
#include "whole/simulation/world.h"

namespace {

constexpr uint64_t COMPARED_EVERY = 50; // seeds that run twice

uint64_t run_seed(uint64_t seed)
{
    return world_run(seed, [] {
        kelvane_pci_mapped(0, 1, 0, 0);
        kelvane_enable_msi(0, 1);
        for (uint32_t number = 0; number < 2; number++) {
            simulation.working++;
            fibers_add([number] { application(number); });
        }
    });
}

} // namespace

int main(int argc, char **argv)
{
    uint64_t from = 0, count = 1000;
    std::string log;
    CLI::App options(
        "Runs seeds one after the other. What there is to say of them goes to standard error. The "
        "status is 1 for a seed that failed.");
    options.add_option("--from", from, "the first seed")->capture_default_str();
    options.add_option("--seeds", count, "how many")->capture_default_str();
    options.add_flag("--tell", simulation.tells, "show its steps");
    options.add_option("--log", log, "the library's log goes into this file");
    CLI11_PARSE(options, argc, argv);
    const host_folder folder;
    const std::string written = folder.path + "/root/kelvane.log";
    if (!log.empty()) {
        folder.write("root/kelvane.log", "");
        std::filesystem::remove(log);
        std::filesystem::create_symlink(written, log); // a seed that fails leaves the folder behind
    }
    driver_starts_threads = false;
    if (freopen("/dev/null", "w", stdout) == nullptr || kelvane_init_driver() != 0) {
        std::cerr << "kelvane_simulation: the library cannot be initialised\n";
        return 1;
    }
    simulation.logs = !log.empty();
    uint64_t accesses = 0, unaccounted = 0;
    for (uint64_t seed = from; seed < from + count; seed++) {
        const uint64_t digest = run_seed(seed);
        accesses += simulation.accesses;
        unaccounted += simulation.aged_unmapped ? 1 : 0;
        if (seed % COMPARED_EVERY == 0 && run_seed(seed) != digest) {
            simulation_failed("a second run of the seed went another way");
        }
    }
    std::cerr << count << " seeds from " << from << ", " << accesses
              << " accesses: every outcome came once; not counted in " << unaccounted
              << " seeds, whose requests grew old without a mapping\n";
    if (!log.empty()) {
        std::filesystem::remove(log);
        std::filesystem::copy_file(written, log);
    }
    return 0;
}
