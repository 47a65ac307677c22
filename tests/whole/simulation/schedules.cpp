// The scenes in every order of their threads that has up to two switches where none was needed.
#include <CLI/CLI.hpp>

#include <iostream>

#include "support/temporary_folder.h"
#include "whole/simulation/scenes.h"
#include "whole/simulation/world.h"

namespace {

// Plays each order that has these switches and up to `more` after the last. How many.
uint64_t play_all(const scene &scene, const std::vector<forced_switch> &switches, uint32_t more)
{
    play(scene, switches);
    uint64_t played = 1;
    const std::vector<uint32_t> points = fibers_points(); // of this order
    const size_t next = switches.empty() ? 0 : switches.back().point + 1;
    for (size_t point = next; more > 0 && point < points.size(); point++) {
        for (uint32_t other = 0; other < points[point]; other++) {
            std::vector<forced_switch> longer = switches;
            longer.push_back({point, other});
            played += play_all(scene, longer, more - 1);
        }
    }
    return played;
}

} // namespace

int main(int argc, char **argv)
{
    std::string only;
    uint32_t most = 2;
    bool lists = false;
    std::vector<size_t> numbers; // of points and others, in turn
    CLI::App options("Plays each scene in one order of its threads after the other. What there is to say of "
                     "them goes to standard error. The status is 1 when one failed.");
    options.add_option("--scene", only, "this one alone");
    options.add_flag("--list", lists, "the scenes' names, no more");
    options.add_option("--switches", most, "so many in an order, at most")->capture_default_str();
    options.add_option("--switch", numbers, "begin with this one, at a point to that other thread")
        ->type_size(2);
    options.add_flag("--tell", simulation.tells, "show the steps");
    CLI11_PARSE(options, argc, argv);
    const host_folder folder;
    simulation_init();
    std::vector<forced_switch> first;
    for (size_t i = 0; i + 1 < numbers.size(); i += 2) {
        first.push_back({numbers[i], static_cast<uint32_t>(numbers[i + 1])});
    }
    for (const scene &it : all_scenes()) {
        if (lists) {
            std::cerr << it.name << "\n";
        } else if (only.empty() || only == it.name) {
            std::cerr << it.name << ": " << play_all(it, first, most) << " orders\n";
        }
    }
    return 0;
}
