// Small scenes in which threads meet at the same locks, mailboxes and records, to be played in every order.
#ifndef TESTS_WHOLE_SIMULATION_SCENES_H
#define TESTS_WHOLE_SIMULATION_SCENES_H

#include <span>
#include <vector>

#include "whole/simulation/fibers.h"

struct scene {
    const char *name;
    void (*play)();
};

std::span<const scene> all_scenes();

// Plays it once, with all the checks of a seed. Between its preparation and its end the order of the threads
// is the default one but for the switches.
void play(const scene &scene, const std::vector<forced_switch> &switches);

#endif
