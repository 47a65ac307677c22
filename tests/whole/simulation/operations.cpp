#include <cstring>
#include <iterator>
#include <sstream>
#include <string_view>

#include "platform/wait.h"
#include "support/operations.h"
#include "support/promises.h"
#include "whole/simulation/world.h"

namespace {

constexpr uint64_t MS = 1000000;
constexpr uint32_t STEPS_MOST = 40;   // of one application
constexpr uint32_t LINK_UPS_MOST = 4; // a firmware that starts slowly needs some

constexpr kelvane_device_address ADDRESSES[] = {
    0xF0FFFFFF, 0xFF00FFFF, 0xFF01FFFF, 0xFF02FFFF, 0xFF0000FF, 0xFF0001FF, 0xFF0100FF,
    0xFF0101FF, 0xFF0200FF, 0xFF0201FF, 0xFF00FF00, 0xFF01FF03, 0xFF03FFFF, 0xFFFFFFFF,
};

kelvane_device_address any_address()
{
    return ADDRESSES[choose(std::size(ADDRESSES))];
}

template <bool of_laser>
int32_t request_done(kelvane_handle, kelvane_device_address address, uint32_t transaction_id, int32_t result)
{
    simulation_tell("outcome of request " + std::to_string(transaction_id) + ": " + std::to_string(result));
    if (transaction_id >= simulation.requests.size()) {
        simulation_failed("an outcome belongs to no request");
    }
    simulated_request &it = simulation.requests[transaction_id];
    it.outcomes++;
    if (it.sets_laser != of_laser || it.port != address) {
        simulation_failed("an outcome has another's callback or address");
    }
    if (const std::function<void()> then = it.then) {
        then();
    }
    simulation.outcomes++;
    return 0;
}

int32_t request_anything()
{
    return request(!one_in(4), KELVANE_ADDRESS_NETWORK_PORT(choose(3), choose(2)));
}

// Of batches and alarms, whose callback may command.
template <typename record_type>
int32_t record_came(kelvane_handle, kelvane_device_address address, const record_type *, uint64_t)
{
    return one_in(4) ? kelvane_write_register(0, address, 0x9018, 3) : 0;
}

template <auto enable> int32_t subscribe()
{
    return enable(0, KELVANE_ADDRESS_SIRANE(choose(3)), one_in(4) ? 0 : 1, record_came);
}

int32_t send_dap()
{
    uint8_t message[1024];
    memset(message, static_cast<int>(choose(256)), sizeof message);
    const auto size = static_cast<uint32_t>(choose(1026));
    return kelvane_dap_command(0, message, &size, no_matter);
}

// Accesses are refused from now on: the answer that a thread is reading right now is lost for its request.
void gate_closed()
{
    simulation.was_struck = simulation.was_struck || held_locks().find("response") != std::string::npos;
}

int32_t watch_firmware()
{
    const int32_t rc =
        kelvane_enable_keep_alive_notify(0, one_in(3) ? 0 : 1, [](kelvane_handle, int32_t, uint32_t status) {
            simulation_tell("keep-alive status " + std::to_string(status));
            gate_closed();
            return 0;
        });
    gate_closed();
    return rc;
}

int32_t map_again()
{
    fiber_wait([] { return !simulation.links_up; }); // not from two threads at once
    simulation.links_up = true;
    kelvane_pci_mapped(0, 0, 0, 0);
    const int32_t rc = kelvane_pci_mapped(0, 1, 0, 0);
    simulation.links_up = false;
    // Kept by a link-up that failed. It takes them twice to say so, which is a time-out among fibers.
    simulation.locks_are_kept = simulation.locks_are_kept || rc == KELVANE_RET_CODE_GEN_PLATFORM_PROBLEM ||
                                rc == KELVANE_RET_CODE_ETIMEDOUT;
    return rc;
}

int32_t dump_log()
{
    return one_in(2) ? kelvane_ps_print_trace(0) : kelvane_ps_print_sel_trace(0, any_address(), 0, 12);
}

// Beside the operations of the table.
constexpr std::pair<const char *, int32_t (*)()> OPERATIONS[] = {
    {"request", request_anything},
    {"enable_pm_notify", subscribe<kelvane_enable_pm_notify>},
    {"enable_alarms_notify", subscribe<kelvane_enable_alarms_notify>},
    {"enable_keep_alive_notify", watch_firmware},
    {"dap_command", send_dap},
    {"dump of the firmware's log", dump_log},
    {"enable_msi", [] { return kelvane_enable_msi(0, one_in(8) ? 0 : 1); }},
    {"pci_mapped", map_again},
};

// The table, less those that are left to the applications' own: a callback that does nothing would hide an
// outcome, and a removed card shows interrupts for ever.
std::vector<operation_row> shared_operations()
{
    std::vector<operation_row> rows(command_rows.begin(), command_rows.end());
    rows.insert(rows.end(), register_rows.begin(), register_rows.end());
    std::erase_if(rows, [](const operation_row &row) {
        const std::string_view name = row.name;
        return name.find("_enable") != name.npos || name.find("_print_") != name.npos ||
               name == "kelvane_deque_msi";
    });
    return rows;
}

// A row with its own numbers or any others; without its callbacks, which come second.
int32_t run_row(const operation_row &row)
{
    guarded_words out;
    size_t next = 0;
    const bool as_listed = one_in(2);
    const auto number = [&] {
        const uint32_t listed = next < row.in.size() ? row.in[next] : 0;
        next++;
        return as_listed || listed == 0 ? listed : static_cast<uint32_t>(choose(0x10010));
    };
    const kelvane_device_address address = one_in(3)   ? any_address()
                                           : one_in(2) ? KELVANE_ADDRESS_NETWORK_PORT(choose(3), choose(2))
                                                       : KELVANE_ADDRESS_SIRANE(choose(3));
    const int32_t rc = row.call({0, address, number, out.word});
    if (!out.is_intact_behind()) {
        simulation_failed(std::string(row.name) + " overran its output");
    }
    return rc;
}

// ---- what goes wrong

std::vector<std::string> verbs_of(const std::string &list)
{
    std::vector<std::string> verbs;
    std::istringstream in(list);
    for (std::string verb; std::getline(in >> std::ws, verb, ';');) {
        verbs.push_back(verb);
    }
    return verbs;
}

const std::vector<std::string> VERBS = verbs_of(
    "drop-interrupt 2; late-interrupt 30 3; double-interrupt 2; spurious-interrupt; "
    "spurious-interrupt 1 11; spurious-interrupt 4 13; skip-batch 2; refuse read_register; "
    "refuse set_laser; refuse enable_pm_notify; error set_laser ORDUNE_TIMEOUT; "
    "error read_register ORDUNE_TIMEOUT; delay read_register 40; delay set_laser 900; "
    "corrupt ref_id; corrupt ref_id other; corrupt sy other; corrupt cmd other; corrupt rc other; "
    "corrupt-notice cmd other; corrupt-notice ref_id other; corrupt-notice sy other; corrupt size other; "
    "corrupt-notice size; corrupt-notice sy; corrupt-notice ref_id; "
    "alarm raise 1 SRN_TEMP; alarm clear 1 SRN_TEMP; unplug 2; plug 2; upset uncorrectable; "
    "upset clear; memory-error; batch-interval 200; laser-time 10; dap hold 2; dap delay 50; "
    "dap ignore-reset 1; dap error 8; dap echo; clear; restart warm-fail");

// These can hold a synchronous caller up for as long as it waits, which takes the simulation long, too.
const std::vector<std::string> HEAVY_VERBS =
    verbs_of("hang; resume; restart; restart warm; restart cold; remove; insert; "
             "drop-answer read_register; drop-answer set_laser; drop-answer set_traffic_type; slow-start 2; "
             "corrupt size; corrupt sy; corrupt cmd; "
             "corrupt version");

void disturb(const std::string &verb)
{
    simulation.was_lied_to = simulation.was_lied_to || verb.starts_with("corrupt");
    simulation_tell("card: " + verb);
    simulation_verb(verb); // may be refused, a module that is in already for instance
}

void spoil_bus()
{
    simulation.bus_fault_kind = static_cast<bus_fault>(choose(BUS_FAULTS));
    simulation.bus_fault_in = static_cast<uint32_t>(choose(200));
    simulation.bus_fault_count = one_in(4) ? static_cast<uint32_t>(1 + choose(300)) : 1;
    simulation.bus_spoils = true;
    simulation_tell("bus: kind " + std::to_string(simulation.bus_fault_kind) + " in " +
                    std::to_string(simulation.bus_fault_in) + " accesses, " +
                    std::to_string(simulation.bus_fault_count) + " times");
}

void operate(uint32_t number)
{
    const bool own = one_in(2);
    const auto &[own_name, run_own] = OPERATIONS[choose(std::size(OPERATIONS))];
    static const std::vector<operation_row> shared = shared_operations();
    const operation_row &row = shared[choose(shared.size())];
    const std::string name = own ? own_name : row.name;
    simulation_tell(std::to_string(number) + ": " + name);
    simulation.accesses_of_step = 0;
    const int32_t rc = own ? run_own() : run_row(row);
    simulation_tell(std::to_string(number) + ": " + name + " = " + std::to_string(rc));
    if (!is_documented(rc) && !simulation.was_lied_to) {
        simulation_failed(name + " returned " + std::to_string(rc));
    }
}

// Writes it and reads it again; adds the codes of both.
bool each_sirane_keeps_a_word(std::string &codes)
{
    bool all = true;
    for (uint32_t sirane = 0; sirane < SIRANE_COUNT; sirane++) {
        const kelvane_device_address address = KELVANE_ADDRESS_SIRANE(sirane);
        uint32_t value = 0;
        const int32_t written = kelvane_write_register(0, address, 0x123, 0x5000 + sirane);
        const int32_t read = kelvane_read_register(0, address, 0x123, &value);
        all = all && written == 0 && read == 0 && value == 0x5000 + sirane;
        codes += " sirane " + std::to_string(written) + " " + std::to_string(read);
    }
    return all;
}

} // namespace

int32_t request(bool laser, kelvane_device_address port, const std::function<void()> &then)
{
    const size_t id = simulation.requests.size();
    simulation.requests.push_back({.sets_laser = laser, .port = port, .then = then});
    const auto number = static_cast<uint32_t>(id);
    const int32_t rc = laser
                           ? kelvane_set_laser(0, port, id % 2, request_done<true>, static_cast<int32_t>(id))
                           : kelvane_set_traffic_type(0, port, number % 25, request_done<false>, number);
    simulation.requests[id].sent = rc == 0;
    return rc;
}

void application(uint32_t number)
{
    const bool is_quiet = simulation.seed % 5 == 0; // no faults at all
    const bool bus_is_bad = simulation.seed % 3 == 2;
    const bool may_be_heavy = simulation.seed % 8 == 1;
    for (uint64_t steps = 10 + choose(STEPS_MOST - 10); steps > 0; steps--) {
        const uint64_t kind = choose(16);
        if (kind == 0 && bus_is_bad) {
            spoil_bus();
        } else if (kind < 4 && !is_quiet) {
            const auto &verbs = may_be_heavy && one_in(6) ? HEAVY_VERBS : VERBS;
            disturb(verbs[choose(verbs.size())]);
        } else if (kind < 6) {
            wait_sleep((1 + choose(one_in(8) ? 8000 : 50)) * MS);
        } else {
            operate(number);
        }
    }
    simulation.working--;
}

void last_word()
{
    std::string codes;
    for (uint32_t attempt = 0; attempt < LINK_UPS_MOST; attempt++) {
        const int32_t mapped = map_again();
        if (simulation.locks_are_kept) {
            return;
        }
        codes += ", link-up " + std::to_string(mapped);
        if (mapped == 0) {
            fiber_wait([] { // a firmware that was found dead is found alive by and by
                const kelvane_handle_record &record = local_handles_array[0];
                return record.keep_alive_enabled == 0 || record.keep_alive_status == KELVANE_ALIVE;
            });
            if (each_sirane_keeps_a_word(codes)) {
                return;
            }
        }
    }
    simulation_failed("the card does not work afterwards" + codes);
}
