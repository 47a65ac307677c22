// The scenes in every order of their threads that has up to two switches where none was needed.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>

#include "support/temporary_folder.h"
#include "whole/simulation/scenes.h"
#include "whole/simulation/world.h"

namespace {

// Each order with one switch more than this one has, after its last.
template <typename body_type> void with_one_more(const std::vector<forced_switch> &switches, body_type body)
{
    const std::vector<uint32_t> points = fibers_points(); // of the run that had just these
    for (size_t point = switches.empty() ? 0 : switches.back().point + 1; point < points.size(); point++) {
        for (uint32_t other = 0; other < points[point]; other++) {
            std::vector<forced_switch> more = switches;
            more.push_back({point, other});
            body(more);
        }
    }
}

// Plays `every`-th of those with two switches, and all others. How many.
uint64_t play_all(const scene &scene, uint64_t every)
{
    uint64_t played = 1, considered = 0;
    play(scene, {});
    with_one_more({}, [&](const auto &one) {
        play(scene, one);
        played++;
        if (every == 0) {
            return;
        }
        with_one_more(one, [&](const auto &two) {
            if (considered++ % every == 0) {
                play(scene, two);
                played++;
            }
        });
    });
    return played;
}

} // namespace

int main(int argc, char **argv)
{
    std::string only;
    uint64_t every = 1;
    bool lists = false;
    std::vector<size_t> numbers; // of points and others, in turn
    CLI::App options("Plays each scene in one order of its threads after the other. What there is to say of "
                     "them goes to standard error. The status is 1 when one failed.");
    options.add_option("--scene", only, "this one alone");
    options.add_option("--every", every, "of the orders with two switches, 0 for none")
        ->capture_default_str();
    options.add_flag("--list", lists, "the scenes' names, no more");
    options.add_option("--switch", numbers, "one order: a switch at this point to that other thread")
        ->type_size(2);
    options.add_flag("--tell", simulation.tells, "one order, with its steps");
    CLI11_PARSE(options, argc, argv);
    for (const scene &it : lists ? all_scenes() : std::span<const scene>()) {
        std::cout << it.name << "\n";
    }
    if (lists) {
        return 0;
    }
    const host_folder folder;
    simulation_init();
    bool found = only.empty();
    for (const scene &it : all_scenes()) {
        if (!only.empty() && only != it.name) {
            continue;
        }
        found = true;
        if (simulation.tells || !numbers.empty()) {
            std::vector<forced_switch> one;
            for (size_t i = 0; i + 1 < numbers.size(); i += 2) {
                one.push_back({numbers[i], static_cast<uint32_t>(numbers[i + 1])});
            }
            play(it, one);
        } else {
            std::cerr << it.name << ": " << play_all(it, every) << " orders\n";
        }
    }
    if (!found) {
        std::cerr << "kelvane_schedules: there is no scene " << only << "\n";
    }
    return found ? 0 : 2;
}
