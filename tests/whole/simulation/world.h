// One run: a simulated card, the library on it, the library's threads as fibers, and the accounts.
#ifndef TESTS_WHOLE_SIMULATION_WORLD_H
#define TESTS_WHOLE_SIMULATION_WORLD_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "card_simulator/card.h"
#include "kelvane.h"
#include "kelvane_handle.h"
#include "whole/simulation/fibers.h"

// A bus that fails or lies.
enum bus_fault { FAILS, ALL_ONES, ZERO, FLIPS, BUS_FAULTS };

// An asynchronous request; its transaction id is its index.
struct simulated_request {
    bool sets_laser = true; // or the traffic type
    kelvane_device_address port = 0;
    std::function<void()> then = nullptr; // done by its callback
    bool sent = false;
    uint32_t outcomes = 0;
};

struct simulated_world {
    uint64_t seed = 0;
    bool tells = false;     // every step, on standard error
    bool logs = false;      // all levels are traced
    std::string again = {}; // what shows the run once more; empty for a seed
    card *it = nullptr;

    std::vector<simulated_request> requests = {};
    uint64_t outcomes = 0;                                              // of all of them
    std::map<kelvane_device_address, std::vector<uint32_t>> plugs = {}; // of each module

    // What goes on.
    bool explores = false; // each access is a point of the exploration
    std::function<void()> on_restart = nullptr;
    uint32_t working = 0; // applications that are not done
    bool links_up = false;
    bool ends = false;              // the library's threads are to stop
    bool low_priority_ends = false; // its thread first: it waits for what the others do
    bool low_priority_ended = false;

    // The next fault of the bus: so many accesses from now, so many of them.
    bool bus_spoils = false;
    uint32_t bus_fault_in = 0;
    bus_fault bus_fault_kind = FAILS;
    uint32_t bus_fault_count = 0;

    // What excuses a run.
    bool was_struck = false;     // an access failed or lied: the answer that it belonged to may be lost
    bool was_lied_to = false;    // words came wrong: a code may be any, an outcome may name another request
    bool aged_unmapped = false;  // requests grew old without a mapping: their reports get mixed up
    bool locks_are_kept = false; // by a link-up that failed
    uint64_t unmapped_since = 0;

    uint64_t accesses = 0;
    uint64_t accesses_of_step = 0;
};

extern simulated_world simulation;

// The driver, without threads, in the host's tree that was made for it. What it prints goes nowhere.
void simulation_init();

// Ends the process: says the seed, what is wrong and how to see it again.
[[noreturn]] void simulation_failed(const std::string &what);

void simulation_tell(const std::string &step);

// What the card answers to a verb, which it may refuse.
std::string simulation_verb(const std::string &verb);

// What kelvane_device_create gets.
kelvane_init_device_t simulated_device();

// A new card and the library on it, created and not mapped, of an initialised driver; `body` as a fiber
// beside the library's threads. Whatever it adds to `working` is waited for. Then all is healed, the last
// word is asked for, and nothing may be lost, doubled or locked.
void world_run(uint64_t seed, const std::function<void()> &body);

// Requests the port's laser or traffic type; `then` is done by the callback.
int32_t request(bool laser, kelvane_device_address port, const std::function<void()> &then = nullptr);

// What an application does until it has had enough, and the one that looks whether all still works.
void application(uint32_t number);
void last_word();

#endif
