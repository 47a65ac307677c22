// Every operation that reaches the card, with its first access spoiled, then its second, and so on until it
// runs through untouched: the access fails or lies, once or from then on. Each run ends with a code that has
// a meaning, with no lock held and no word beyond an output touched, and the card works afterwards.
#include "whole/faulty_bus.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <functional>
#include <vector>

#include "background/keep_alive.h"
#include "background/low_priority_thread.h"
#include "dap/dap_channel.h"
#include "firmware_log/eprom_trace.h"
#include "library/wire_rows.h"
#include "platform/wait.h"

namespace {

#ifdef KELVANE_SLOW_BUILD
constexpr bool SLOW_BUILD = true; // with sanitizers
#else
constexpr bool SLOW_BUILD = false;
#endif
constexpr uint64_t ACCESSES_MOST = 2000;
constexpr size_t OUT_WORDS = 1024;
constexpr uint32_t CANARY = 0x5AFE5AFE;
constexpr char LINK_UP[] = "kelvane_pci_mapped";

std::string image_path; // of an image of 64 words, with its digest

struct operation_row {
    std::string name;
    std::function<int32_t(uint32_t *out)> run;
    bool serves_interrupts = false; // until none is pending
};

int32_t nothing_comes(kelvane_handle, kelvane_device_address, uint32_t, int32_t)
{
    return 0;
}

int32_t dap_answered(kelvane_handle, void *, const uint32_t *)
{
    return 0;
}

// An answer is delivered: a request, and the pass of the thread that takes it.
int32_t deliver_answer(uint32_t *)
{
    const int32_t rc = kelvane_set_laser(0, 0xFF0000FF, 1, nothing_comes, 1);
    if (rc == 0) {
        wait_sleep(400000000); // as long as the card takes for it
        kelvane_notify_msi(0);
        wait_sleep(10000000);
    }
    return rc;
}

int32_t exchange_dap(uint32_t *)
{
    const uint32_t message[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    const uint32_t size = sizeof message;
    dap_state state = {kelvane_dap_wait_for_call};
    const int32_t rc = kelvane_dap_command(0, message, &size, dap_answered);
    for (int event = 0; event < 8; event++) {
        dap_serve_event(0, &the_dap_record, &state);
    }
    return rc;
}

int32_t pass_low_priority(uint32_t *)
{
    local_handles_array[0].low_prio_active = 1;
    low_priority_state state = low_priority_start(0);
    low_priority_pass(&state);
    return 0;
}

int32_t keep_alive(uint32_t *)
{
    local_handles_array[0].keep_alive_enabled = 1;
    const int32_t rc = kelvane_keep_alive(0, 0xFF00FFFF);
    local_handles_array[0].keep_alive_enabled = 0;
    return rc;
}

std::vector<operation_row> operations()
{
    std::vector<operation_row> all = {
        {LINK_UP, [](uint32_t *) { return kelvane_pci_mapped(0, 1, 0, 0); }},
        {"kelvane_get_software_running, board",
         [](uint32_t *out) { return kelvane_get_software_running(0, 0xF0FFFFFF, out, out + 1); }},
        {"kelvane_get_software_running, sirane",
         [](uint32_t *out) { return kelvane_get_software_running(0, 0xFF01FFFF, out, out + 1); }},
        {"kelvane_get_software_downloaded, module",
         [](uint32_t *out) { return kelvane_get_software_downloaded(0, 0xFF0101FF, out, out + 1); }},
        {"kelvane_get_software_downloaded_golden_zynq",
         [](uint32_t *out) { return kelvane_get_software_downloaded_golden_zynq(0, out, out + 1); }},
        {"kelvane_software_version_comp_check",
         [](uint32_t *out) { return kelvane_software_version_comp_check(0, out); }},
        {"kelvane_get_ordune_inventory_inf",
         [](uint32_t *out) {
             return kelvane_get_ordune_inventory_inf(0, reinterpret_cast<kelvane_ordune_inventory_t *>(out));
         }},
        {"kelvane_get_zynq_run_type", [](uint32_t *out) { return kelvane_get_zynq_run_type(0, out); }},
        {"kelvane_get_secure_type", [](uint32_t *out) { return kelvane_get_secure_type(0, out); }},
        {"kelvane_get_ddr_ecc_counters",
         [](uint32_t *out) {
             return kelvane_get_ddr_ecc_counters(0, reinterpret_cast<kelvane_ddr_ecc_counters_t *>(out));
         }},
        {"kelvane_get_seu_pl_uncorrectable",
         [](uint32_t *out) { return kelvane_get_seu_pl_uncorrectable(0, out); }},
        {"kelvane_read_scratchpad_register",
         [](uint32_t *out) { return kelvane_read_scratchpad_register(0, out); }},
        {"kelvane_write_scratchpad_register",
         [](uint32_t *out) { return kelvane_write_scratchpad_register(0, out); }},
        {"kelvane_set_trigger_reset", [](uint32_t *) { return kelvane_set_trigger_reset(0, 1); }},
        {"kelvane_enable_msi", [](uint32_t *) { return kelvane_enable_msi(0, 1); }},
        {"kelvane_glb_interrupt_enable", [](uint32_t *) { return kelvane_glb_interrupt_enable(0, 1); }},
        {"kelvane_notify_msi", [](uint32_t *) { return kelvane_notify_msi(0); }},
        {"kelvane_deque_msi", [](uint32_t *) { return kelvane_deque_msi(0); }, true},
        {"kelvane_download_software",
         [](uint32_t *) { return kelvane_download_software(0, 2, image_path.c_str()); }},
        {"kelvane_get_download_progress",
         [](uint32_t *out) { return kelvane_get_download_progress(0, 2, out); }},
        {"kelvane_get_program_progress",
         [](uint32_t *out) { return kelvane_get_program_progress(0, 0xFF0101FF, out); }},
        {"kelvane_ps_print_trace", [](uint32_t *) { return kelvane_ps_print_trace(0); }},
        {"kelvane_ps_print_sel_trace, board",
         [](uint32_t *) { return kelvane_ps_print_sel_trace(0, 0xF0FFFFFF, 0, 2); }},
        {"kelvane_ps_print_sel_trace, sirane",
         [](uint32_t *) { return kelvane_ps_print_sel_trace(0, 0xFF00FFFF, 0, 40); }},
        {"kelvane_ps_print_eprom_trace", [](uint32_t *) { return kelvane_ps_print_eprom_trace(0); }},
        {"the delivery of an answer", deliver_answer},
        {"a pass of the low-priority thread", pass_low_priority},
        {"the firmware's echo", keep_alive, true},
        {"an exchange over the DAP channel", exchange_dap},
    };
    for (const auto &family : {device_rows, provisioning_rows, monitoring_rows}) {
        for (const wire_row &row : family) {
            all.push_back({row.name, [&row](uint32_t *out) { return row.call(0, row.address, out); }});
        }
    }
    return all;
}

// Between the accesses that are spoiled. A link-up has a thousand of them, and waits minutes for each mailbox
// of a card that stays silent.
uint64_t step_of(const operation_row &operation, bool for_ever)
{
    if (operation.name == LINK_UP) {
        return for_ever ? 101 : SLOW_BUILD ? 11 : 1;
    }
    return SLOW_BUILD ? 5 : 1;
}

class nth_access_test : public faulty_bus_test, public testing::WithParamInterface<size_t> {
  protected:
    nth_access_test()
    {
        image_path = folder.path + "/image.bin";
        std::ofstream(image_path) << std::string(256, 'x');
        std::ofstream(image_path + ".md5") << "c7a139a2b8e92164276f778917ba10b9";
    }

    // Whether the run came to the spoiled access.
    bool run_spoiled(const operation_row &operation, bus_fault fault, bool for_ever, uint64_t nth)
    {
        uint32_t out[OUT_WORDS + 8] = {};
        std::fill(out + OUT_WORDS, std::end(out), CANARY);
        int32_t code = 0;
        bool keeps_locks = false;
        insert_card();
        run({[&] {
                 if (operation.name != LINK_UP) {
                     EXPECT_EQ(kelvane_pci_mapped(0, 1, 0, 0), 0);
                 }
             },
             [&] {
                 the_bus.fault = fault;
                 the_bus.for_ever = for_ever;
                 the_bus.bit = static_cast<uint32_t>(nth * 7 % 32);
                 the_bus.struck_from = the_bus.accesses + nth;
                 code = operation.run(out);
                 keeps_locks = operation.name == LINK_UP && code != 0;
             },
             [&] {
                 the_bus.struck_from = 0;
                 wait_sleep(5000000000); // a firmware that was made to restart is up again
                 if (!keeps_locks) {
                     EXPECT_EQ(what_does_not_work(), "");
                 }
             }});
        if (!keeps_locks) {
            EXPECT_EQ(held_locks(), "");
        }
        EXPECT_TRUE(fault != FAILS || is_defined(code)) << code; // a lie may be about the result
        EXPECT_EQ(std::count(out + OUT_WORDS, std::end(out), CANARY), 8);
        return the_bus.was_struck;
    }
};

TEST_P(nth_access_test, leaves_a_card_that_works)
{
    const operation_row operation = operations().at(GetParam());
    for (uint32_t fault = FAILS; fault < BUS_FAULTS; fault++) {
        for (const bool for_ever : {false, true}) {
            if (for_ever && operation.serves_interrupts && fault != FAILS) {
                continue; // for as long as the card shows one, and so for ever
            }
            const uint64_t step = step_of(operation, for_ever);
            uint64_t nth = 1;
            while (nth < ACCESSES_MOST) {
                SCOPED_TRACE(testing::Message() << operation.name << ", fault " << fault
                                                << (for_ever ? " from " : " at ") << nth);
                if (!run_spoiled(operation, static_cast<bus_fault>(fault), for_ever, nth)) {
                    break;
                }
                if (HasFailure()) {
                    return;
                }
                nth += step;
            }
            EXPECT_GT(nth, 1u) << operation.name << " reaches no card";
            EXPECT_LT(nth, ACCESSES_MOST) << operation.name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(operation, nth_access_test, testing::Range(size_t{0}, operations().size()),
                         [](const auto &test) {
                             std::string name = operations().at(test.param).name;
                             std::ranges::replace_if(
                                 name, [](char c) { return !isalnum(c); }, '_');
                             return name;
                         });

} // namespace
