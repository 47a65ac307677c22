#include "whole/simulation/world.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iomanip>
#include <iostream>

#include "background/keep_alive.h"
#include "background/low_priority_thread.h"
#include "background/response_thread.h"
#include "core/handle.h"
#include "core/semaphore.h"
#include "core/transaction_id.h"
#include "dap/dap_channel.h"
#include "lifecycle/driver.h"
#include "mbox/model.h"
#include "platform/wait.h"
#include "support/promises.h"

simulated_world simulation;

namespace {

constexpr uint64_t MS = 1000000;
constexpr uint64_t SECOND = 1000 * MS;
constexpr uint64_t PATIENCE_NS = 100000 * SECOND; // of the virtual clock
constexpr uint64_t ACCESSES_MOST = 20'000'000;    // a step that makes more does not end
constexpr uint32_t GIVES_WAY_EVERY = 30; // accesses, about: where the system would take the processor away

constexpr uint64_t LONG_STEP = 5000;              // accesses: something is polled
constexpr uint64_t AGED_UNMAPPED_NS = 1 * SECOND; // two requests so far apart may be due in one such time

uint32_t lie(uint32_t value)
{
    const uint32_t lies[BUS_FAULTS] = {value, 0xFFFFFFFF, 0, value ^ 1u << choose(32)};
    return lies[simulation.bus_fault_kind];
}

bool bus_fault_strikes()
{
    simulated_world &it = simulation;
    if (!it.bus_spoils) {
        return false;
    }
    if (it.bus_fault_in > 0) {
        it.bus_fault_in--;
        return false;
    }
    if (--it.bus_fault_count == 0) {
        it.bus_spoils = false;
    }
    it.was_struck = true;
    it.was_lied_to = it.was_lied_to || it.bus_fault_kind != FAILS;
    return true;
}

void count_access()
{
    simulation.accesses++;
    if (++simulation.accesses_of_step > ACCESSES_MOST) {
        simulation_failed("a step does not end");
    }
    if (simulation.accesses_of_step < LONG_STEP) {
        if (simulation.explores || one_in(GIVES_WAY_EVERY)) {
            fiber_give_way();
        }
    } else if (one_in(100 * GIVES_WAY_EVERY)) {
        wait_sleep(5 * MS); // what polls without a pause takes its time, too
    }
}

int32_t read_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t)
{
    count_access();
    *value = card_host_read(simulation.it, offset);
    if (bus_fault_strikes()) {
        if (simulation.bus_fault_kind == FAILS) {
            return 5;
        }
        *value = lie(*value);
    }
    return 0;
}

int32_t write_word(kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t)
{
    count_access();
    if (bus_fault_strikes()) {
        if (simulation.bus_fault_kind == FAILS) {
            return 5;
        }
        if (!simulation.bus_spoils) { // a bus that lies for long lies to its readers
            value = lie(value);
        }
    }
    card_host_write(simulation.it, offset, value);
    return 0;
}

// ---- the library's threads

void serve_interrupts()
{
    uint32_t raised = 0;
    const std::function<bool()> interrupted = [&raised] {
        raised += card_take_interrupt(simulation.it) ? 1 : 0;
        return simulation.ends || raised > 0;
    };
    while (!simulation.ends) {
        fiber_wait(interrupted);
        if (!simulation.ends) {
            raised--;
            kelvane_notify_msi(0);
        }
    }
}

// Serves each give of a semaphore.
void serve(kelvane_semaphore *semaphore, const std::function<void()> &pass)
{
    while (!simulation.ends) {
        fiber_wait([semaphore] { return simulation.ends || semaphore->semState == 1; });
        if (!simulation.ends) {
            kelvane_sem_take(semaphore);
            pass();
        }
    }
}

void look_after_everything()
{
    low_priority_state state = low_priority_start(0);
    wait_sleep(4 * SECOND);
    while (!simulation.low_priority_ends) {
        low_priority_pass(&state);
        wait_sleep(2 * SECOND);
    }
    simulation.low_priority_ended = true;
}

void add_library_threads()
{
    fibers_add(serve_interrupts);
    fibers_add(look_after_everything);
    fibers_add([] {
        dap_state state = {kelvane_dap_wait_for_call};
        serve(&local_handles_array[0].dap_semaphore,
              [&state] { dap_serve_event(0, &the_dap_record, &state); });
    });
    for (sirane_link &link : local_handles_array[0].sirane) {
        for (const mbox_id mbox : ANSWER_MAILBOXES) {
            fibers_add([&link, mbox] {
                serve(&link.answers[mbox].semaphore,
                      [&link, mbox] { kelvane_asyc_resp_common(0, link, mbox); });
            });
        }
    }
}

// Aging without a mapping looks for what has timed out in the last sirane's table, whosever it is.
void clock_moved()
{
    if (simulation.it == nullptr) {
        return;
    }
    card_step(simulation.it);
    if (kelvane_get_pci_mapped(0) != 0) {
        simulation.unmapped_since = fibers_clock();
    } else if (fibers_clock() - simulation.unmapped_since > AGED_UNMAPPED_NS) {
        simulation.aged_unmapped = true;
    }
}

} // namespace

void simulation_init()
{
    driver_starts_threads = false;
    if (freopen("/dev/null", "w", stdout) == nullptr || kelvane_init_driver() != 0) {
        simulation_failed("the library cannot be initialised");
    }
    for (const int crash : {SIGSEGV, SIGABRT}) {
        std::signal(crash, [](int) { simulation_failed("it crashed"); });
    }
}

void simulation_failed(const std::string &what)
{
    const std::string seed = std::to_string(simulation.seed);
    std::cerr << "seed " << seed << ": " << what << "\nat " << fibers_clock() / 1000 << " us, access "
              << simulation.accesses << "; to see it again: " << program_invocation_name
              << (simulation.again.empty() ? " --from " + seed + " --seeds 1" : simulation.again)
              << " --tell\n";
    std::_Exit(1);
}

void simulation_tell(const std::string &step)
{
    if (simulation.tells) {
        std::cerr << std::setw(12) << fibers_clock() / 1000 << " us  " << step << "\n";
    }
}

std::string simulation_verb(const std::string &verb)
{
    std::string answer;
    card_verb(simulation.it, verb.c_str(), &answer);
    return answer;
}

kelvane_init_device_t simulated_device()
{
    kelvane_init_device_t device{};
    device.client_type = 1;
    device.notify_plugin_cb = [](kelvane_handle, kelvane_device_address address, uint32_t plugged) {
        simulation.plugs[address].push_back(plugged);
        return one_in(8) ? 1 : 0;
    };
    device.pci_read_cb = read_word;
    device.pci_write_cb = write_word;
    device.app_zynq_restart_notify_cb = [](kelvane_handle, uint32_t) {
        if (simulation.on_restart) {
            simulation.on_restart();
        }
        return 0;
    };
    device.generic_cb = [](kelvane_handle, kelvane_device_address, uint32_t) { return 0; };
    return device;
}

static void world_start(uint64_t seed)
{
    simulation = {
        .seed = seed, .tells = simulation.tells, .logs = simulation.logs, .again = simulation.again};
    trace_level_mask_set(seed % 16 == 0 || simulation.logs ? 0x7F : 0x05);
    choices_start(seed);
    constexpr std::pair<uint32_t, uint32_t> VERSIONS[] = {{5, 22}, {5, 22}, {5, 21}, {5, 23},
                                                          {4, 9},  {2, 6},  {3, 5}};
    const auto &[major, minor] = VERSIONS[choose(std::size(VERSIONS))];
    fibers_begin(clock_moved, [] { return card_next_due(simulation.it); });
    simulation.it = card_create({.firmware_major = major, .firmware_minor = minor, .seed = seed});
    simulation_tell("firmware " + std::to_string(major) + "." + std::to_string(minor));

    zero_handle_record();
    keep_alive_sequence = 0;
    kelvane_transaction_counter.next = static_cast<uint32_t>(seed);
    if (kelvane_device_create(simulated_device()) != 0) {
        simulation_failed("kelvane_device_create failed");
    }
    kelvane_set_low_prio_active(0, 1); // the thread's own start does that
    add_library_threads();
}

namespace {

void settle(const std::function<bool()> &settled, const char *what)
{
    if (!fibers_run(settled, fibers_clock() + PATIENCE_NS)) {
        simulation_failed(std::string("this never comes: ") + what);
    }
}

void run_to_its_end(const std::function<void()> &body, const char *what)
{
    simulation.working = 1;
    fibers_add([&body] {
        body();
        simulation.working--;
    });
    settle([] { return simulation.working == 0; }, what);
}

// Everything that an armed fault, a hung or removed card still holds up is let go.
void heal()
{
    simulation.bus_spoils = false;
    for (const char *verb : {"clear", "resume", "insert"}) {
        simulation_verb(verb);
    }
}

bool has_every_outcome()
{
    const auto sent = std::ranges::count_if(simulation.requests, &simulated_request::sent);
    return simulation.was_lied_to ? simulation.outcomes >= static_cast<uint64_t>(sent)
                                  : std::ranges::all_of(simulation.requests, [](const simulated_request &it) {
                                        return !it.sent || it.outcomes > 0;
                                    });
}

bool no_outcome_is_doubled()
{
    return simulation.was_lied_to
               ? simulation.outcomes <= simulation.requests.size() // only their number is right
               : std::ranges::all_of(simulation.requests,
                                     [](const simulated_request &it) { return it.outcomes <= 1; });
}

} // namespace

void world_run(uint64_t seed, const std::function<void()> &body)
{
    world_start(seed);
    run_to_its_end(body, "the applications' end");
    heal();
    run_to_its_end(
        [] {
            wait_sleep(3 * SECOND); // a restarted firmware is up again
            last_word();
        },
        "the last link-up");
    if (!simulation.aged_unmapped && !simulation.was_struck) {
        settle(has_every_outcome, "the outcome of a request");
    }
    simulation.low_priority_ends = true;
    settle([] { return simulation.low_priority_ended; }, "the end of the low-priority thread");
    if (simulation.was_lied_to) { // about a subscription, and batches look like answers that have a caller
        simulation_verb("remove");
    }
    simulation.ends = true;
    settle([] { return false; }, "the end of the library's threads");
    if (!simulation.aged_unmapped && !no_outcome_is_doubled()) {
        simulation_failed("a request has an outcome too many");
    }
    if (const std::string held = held_locks(); !held.empty() && !simulation.locks_are_kept) {
        simulation_failed("somebody holds " + held);
    }
    fibers_end();
    card_destroy(simulation.it);
    simulation.it = nullptr;
}
