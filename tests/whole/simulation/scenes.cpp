#include "whole/simulation/scenes.h"

#include <string>

#include "background/aging.h"
#include "core/semaphore.h"
#include "mbox/model.h"
#include "mbox/receive.h"
#include "platform/wait.h"
#include "support/promises.h"
#include "whole/simulation/world.h"

namespace {

constexpr uint64_t MS = 1000000;
constexpr uint64_t SCENE_LIMIT_NS = 60'000 * MS; // less than any wait for a firmware or a lock that hangs
constexpr uint64_t SEED = 5;                     // firmware 5.23
constexpr kelvane_device_address PORT_0 = KELVANE_ADDRESS_NETWORK_PORT(0, 0);
constexpr kelvane_device_address PORT_1 = KELVANE_ADDRESS_NETWORK_PORT(1, 0);

std::vector<forced_switch> switches_here;

void must(bool holds, const std::string &what)
{
    if (!holds) {
        simulation_failed(what);
    }
}

// Lets the bodies run beside each other and the library's threads, with the switches, until all are done.
void explore(const std::vector<std::function<void()>> &bodies)
{
    const uint64_t began = fibers_clock();
    size_t done = 0;
    simulation.accesses_of_step = 0;
    simulation.explores = true;
    fibers_explore(switches_here);
    for (const auto &body : bodies) {
        fibers_add([&body, &done] {
            body();
            done++;
        });
    }
    fiber_wait([&] { return done == bodies.size(); });
    fibers_explore_no_more();
    simulation.explores = false;
    must(fibers_clock() - began < SCENE_LIMIT_NS,
         "it takes " + std::to_string((fibers_clock() - began) / MS) + " ms");
}

void wait_for_outcomes(uint64_t count)
{
    fiber_wait([count] { return simulation.outcomes >= count; });
}

// `well`: the register holds 0x77, and is read.
void read_register(uint32_t sirane, bool well = false)
{
    uint32_t value = 0;
    const int32_t rc = kelvane_read_register(0, KELVANE_ADDRESS_SIRANE(sirane), 0x123, &value);
    simulation_tell("read " + std::to_string(sirane) + ": " + std::to_string(rc));
    must(well ? rc == 0 && value == 0x77 : is_documented(rc), "a read returned " + std::to_string(rc));
}

void link_up()
{
    const int32_t rc = kelvane_pci_mapped(0, 1, 0, 0);
    simulation_tell("link-up: " + std::to_string(rc));
    must(is_documented(rc), "a link-up returned " + std::to_string(rc));
}

// The request of a callback comes to its turn beside another thread that only sends.
void completion_that_requests()
{
    const auto chained = [] { must(request(true, PORT_0) == 0, "the callback's request was refused"); };
    simulation_verb("laser-time 0");
    explore({[&] {
                 request(true, PORT_0, chained);
                 wait_for_outcomes(3);
             },
             [] { request(true, PORT_0); }});
}

void completion_that_requests_beside_a_reader()
{
    simulation_verb("laser-time 0");
    explore({[] {
                 request(true, PORT_0, [] { request(true, PORT_0); });
                 wait_for_outcomes(1);
             },
             [] { read_register(0); }});
}

void completions_that_read_each_others_sirane()
{
    simulation_verb("laser-time 0");
    explore({[] {
                 request(true, PORT_0, [] { read_register(1); });
                 request(true, PORT_1, [] { read_register(0); });
                 wait_for_outcomes(2);
             },
             [] { // as the drain would, after a lost interrupt, if it had not to wait for these callbacks
                 wait_sleep(1000 * MS);
                 kelvane_sem_give(mbox_sem_of(0, 0, MBOX_RESPONSE));
                 kelvane_sem_give(mbox_sem_of(0, 1, MBOX_RESPONSE));
             }});
}

void link_up_delete_and_create_beside_a_reader()
{
    explore({[] {
                 read_register(0);
                 read_register(0);
             },
             [] {
                 must(kelvane_device_delete(0) == 0, "the device cannot be deleted");
                 must(kelvane_device_create(simulated_device()) == 0, "the device cannot be created");
                 link_up();
             }});
}

void batch_that_reads_beside_a_link_up()
{
    static uint32_t begun, ended;
    begun = ended = 0;
    kelvane_enable_pm_notify(0, KELVANE_ADDRESS_SIRANE(0), 1,
                             [](kelvane_handle, kelvane_device_address, const kelvane_global_pm *, uint64_t) {
                                 begun++;
                                 fiber_give_way();
                                 read_register(0);
                                 ended++;
                                 return 0;
                             });
    simulation_verb("batch-interval 200");
    explore({[] { fiber_wait([] { return ended > 0; }); },
             [] {
                 fiber_wait([] { return begun > 0; });
                 link_up();
             }});
}

void restart_callback_that_links_up()
{
    bool told = false;
    simulation.on_restart = [&told] {
        link_up();
        told = true;
    };
    simulation_verb("restart warm-fail");
    explore({[&told] { fiber_wait([&told] { return told; }); }, [] { read_register(1); }});
    simulation.on_restart = nullptr;
    wait_sleep(1000 * MS);
    must(held_locks().empty(), "somebody holds " + held_locks());
}

// Turned on while nothing is under way, since that closes the gate until the firmware has shown that it is
// alive.
void watch_on_and_off_beside_a_reader()
{
    static bool is_quiet;
    is_quiet = false;
    const auto is_alive = [] { return local_handles_array[0].keep_alive_status == KELVANE_ALIVE; };
    explore({[&] {
                 read_register(1);
                 is_quiet = true;
                 fiber_wait(is_alive);
                 read_register(1);
             },
             [&] {
                 fiber_wait([] { return is_quiet; });
                 kelvane_enable_keep_alive_notify(0, 1, nullptr);
                 fiber_wait(is_alive);
                 kelvane_enable_keep_alive_notify(0, 0, nullptr);
             }});
}

void two_dumps()
{
    const auto dump = [] {
        const int32_t rc = kelvane_ps_print_trace(0);
        must(rc == 0 || rc == KELVANE_RET_CODE_GEN_ERR, "a dump returned " + std::to_string(rc));
    };
    explore({dump, dump});
    dump();
}

void drain_beside_a_command()
{
    must(kelvane_write_register(0, KELVANE_ADDRESS_SIRANE(0), 0x123, 0x77) == 0, "the write failed");
    explore({[] { read_register(0, true); },
             [] { kelvane_deque_resp_receive(0, local_handles_array[0].sirane[0], MBOX_RESPONSE); }});
}

// The answer comes at the moment of the pass that gives it up.
void aging_beside_the_answer()
{
    constexpr uint32_t PASSES = 150;
    constexpr uint64_t DELAY_MS = 500;
    const auto age = [] {
        kelvane_manage_asynch_req_aging({0, KELVANE_ADDRESS_SIRANE(0)}, mailbox_of(0, MBOX_KEEP_ALIVE),
                                        local_handles_array[0].sirane[0].requests);
    };
    simulation_verb("laser-time " + std::to_string(DELAY_MS));
    const uint64_t sent = fibers_clock();
    request(true, PORT_0);
    for (uint32_t pass = 1; pass < PASSES; pass++) {
        age();
    }
    const uint64_t left = DELAY_MS * MS - (fibers_clock() - sent);
    explore({[&] {
        wait_sleep(left);
        age();
        wait_for_outcomes(1);
    }});
}

// Those with the most orders first.
constexpr scene SCENES[] = {
    {"batch-reads-link-up", batch_that_reads_beside_a_link_up},
    {"link-up-delete-create", link_up_delete_and_create_beside_a_reader},
    {"watch-on-off", watch_on_and_off_beside_a_reader},
    {"completion-requests-beside-reader", completion_that_requests_beside_a_reader},
    {"restart-links-up", restart_callback_that_links_up},
    {"completion-requests", completion_that_requests},
    {"completions-read-across", completions_that_read_each_others_sirane},
    {"two-dumps", two_dumps},
    {"drain-command", drain_beside_a_command},
    {"aging-answer", aging_beside_the_answer},
};

} // namespace

std::span<const scene> all_scenes()
{
    return SCENES;
}

void play(const scene &scene, const std::vector<forced_switch> &switches)
{
    switches_here = switches;
    simulation.again = std::string(" --switches 0 --scene ") + scene.name;
    for (const forced_switch &it : switches) {
        simulation.again += " --switch " + std::to_string(it.point) + " " + std::to_string(it.other);
    }
    world_run(SEED, [&scene] {
        must(kelvane_pci_mapped(0, 1, 0, 0) == 0 && kelvane_enable_msi(0, 1) == 0, "the card does not work");
        scene.play();
    });
}
