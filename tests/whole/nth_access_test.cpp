// Every operation that reaches the card, with its first access spoiled, then its second, and so on until it
// runs through untouched: the access fails or lies, once or from then on. Each run ends with a code that has
// a meaning, with no lock held and no word beyond an output touched, and the card works afterwards.
#include <fstream>
#include <functional>

#include "background/keep_alive.h"
#include "background/low_priority_thread.h"
#include "card_simulator/card.h"
#include "core/handle.h"
#include "dap/dap_channel.h"
#include "firmware_log/eprom_trace.h"
#include "platform/wait.h"
#include "support/library.h"
#include "support/operations.h"
#include "support/promises.h"
#include "whole/simulation/library_fibers.h"

namespace {

constexpr uint64_t ACCESSES_MOST = 2000;
constexpr uint64_t PATIENCE_NS = 100000000000000;
constexpr char LINK_UP[] = "kelvane_pci_mapped";

struct {
    card *it;
    uint64_t accesses;
    uint64_t struck_from; // 0: nothing is spoiled
    bool for_ever;
    bool was_struck;
    bus_fault fault;
    uint32_t bit; // that a flip flips

    bool strikes()
    {
        accesses++;
        const bool now = struck_from != 0 && (for_ever ? accesses >= struck_from : accesses == struck_from);
        was_struck = was_struck || now;
        return now;
    }
} the_bus;

std::string image_path; // of an image of 64 words, with its digest

struct spoiled_operation {
    std::string name;
    std::function<int32_t(uint32_t *out)> run;
    bool serves_interrupts = false; // until none is pending
};

// An answer is delivered: a request, and the pass of the thread that takes it.
int32_t deliver_answer(uint32_t *)
{
    const int32_t rc = kelvane_set_laser(0, 0xFF0000FF, 1, no_matter, 1);
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
    const int32_t rc = kelvane_dap_command(0, message, &size, no_matter);
    for (int event = 0; event < 8; event++) {
        dap_serve_event(0, &the_dap_record, &state);
    }
    return rc;
}

int32_t pass_low_priority(uint32_t *)
{
    kelvane_set_low_prio_active(0, 1);
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

std::vector<spoiled_operation> operations()
{
    std::vector<spoiled_operation> all = {
        {LINK_UP, [](uint32_t *) { return kelvane_pci_mapped(0, 1, 0, 0); }},
        {"kelvane_deque_msi", [](uint32_t *) { return kelvane_deque_msi(0); }, true},
        {"kelvane_download_software",
         [](uint32_t *) { return kelvane_download_software(0, 2, image_path.c_str()); }},
        {"kelvane_get_download_progress",
         [](uint32_t *out) { return kelvane_get_download_progress(0, 2, out); }},
        {"rows of the firmware's log",
         [](uint32_t *) { return kelvane_ps_print_sel_trace(0, 0xF0FFFFFF, 0, 2); }},
        {"rows of a sirane's log",
         [](uint32_t *) { return kelvane_ps_print_sel_trace(0, 0xFF00FFFF, 0, 40); }},
        {"the delivery of an answer", deliver_answer},
        {"a pass of the low-priority thread", pass_low_priority},
        {"the firmware's echo", keep_alive, true},
        {"an exchange over the DAP channel", exchange_dap},
    };
    for (const auto &rows : {command_rows, register_rows}) {
        for (const operation_row &row : rows) {
            all.push_back({row.name, [&row](uint32_t *out) { return row.run(0, row.address(), out); }});
        }
    }
    return all;
}

// Between the accesses that are spoiled: a link-up has a thousand of them, and waits minutes for each mailbox
// of a card that stays silent.
uint64_t step_of(const spoiled_operation &operation, bool for_ever)
{
#if defined KELVANE_SLOW_BUILD // with sanitizers
    constexpr uint64_t STEP = 5, LINK_UP_STEP = 23;
#elif defined KELVANE_ALL_CASES
    constexpr uint64_t STEP = 1, LINK_UP_STEP = 1;
#else
    constexpr uint64_t STEP = 2, LINK_UP_STEP = 23;
#endif
    return operation.name != LINK_UP ? STEP : for_ever ? 101 : LINK_UP_STEP;
}

class nth_access_test : public library_test, public testing::WithParamInterface<size_t> {
  protected:
    nth_access_test()
    {
        EXPECT_EQ(kelvane_init_driver(), 0);
        trace_level_mask_set(0);
        image_path = folder.path + "/image.bin";
        std::ofstream(image_path) << std::string(256, 'x');
        std::ofstream(image_path + ".md5") << "c7a139a2b8e92164276f778917ba10b9";
    }

    // A new card, and the library as new on it; not mapped. Then the bodies one after the other, beside the
    // library's response threads.
    static void run_on_new_card(const std::vector<std::function<void()>> &bodies)
    {
        bool ended = false;
        the_bus = {};
        choices_start(1);
        fibers_begin([] {
            if (the_bus.it != nullptr) {
                card_step(the_bus.it);
            }
        });
        the_bus.it = card_create({});
        zero_handle_record();
        kelvane_init_device_t device = recorded_bar_device();
        device.client_type = 1;
        device.pci_read_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t) {
            *value = card_host_read(the_bus.it, offset);
            const bool now = the_bus.strikes();
            *value = now ? lie(the_bus.fault, *value, the_bus.bit) : *value;
            return now && the_bus.fault == FAILS ? 5 : 0;
        };
        device.pci_write_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t) {
            const bool now = the_bus.strikes();
            if (now && the_bus.fault == FAILS) {
                return 5;
            }
            // A bus that lies for ever lies to its readers.
            const bool lies = now && !the_bus.for_ever;
            card_host_write(the_bus.it, offset, lies ? lie(the_bus.fault, value, the_bus.bit) : value);
            return 0;
        };
        EXPECT_EQ(kelvane_device_create(device), 0);
        fibers_add_response_threads(ended);
        fibers_add([&] {
            for (const auto &body : bodies) {
                body();
            }
            ended = true;
        });
        EXPECT_TRUE(fibers_run([] { return false; }, fibers_clock() + PATIENCE_NS));
        fibers_end();
        card_destroy(the_bus.it);
    }

    // Whether the run came to the spoiled access.
    static bool run_spoiled(const spoiled_operation &operation, bus_fault fault, bool for_ever, uint64_t nth)
    {
        const bool links_up = operation.name == LINK_UP;
        guarded_words out;
        int32_t code = 0;
        run_on_new_card({[&] { EXPECT_TRUE(links_up || kelvane_pci_mapped(0, 1, 0, 0) == 0); },
                         [&] {
                             the_bus.fault = fault;
                             the_bus.for_ever = for_ever;
                             the_bus.bit = static_cast<uint32_t>(nth * 7 % 32);
                             the_bus.struck_from = the_bus.accesses + nth;
                             code = operation.run(out.word);
                             the_bus.struck_from = 0;
                         },
                         [&] {
                             wait_sleep(5000000000);       // a firmware that was made to restart is up again
                             if (!links_up || code == 0) { // one that fails keeps its locks
                                 kelvane_pci_mapped(0, 0, 0, 0);
                                 EXPECT_EQ(kelvane_pci_mapped(0, 1, 0, 0), 0);
                                 EXPECT_EQ(exchange_with_each_sirane(), "");
                                 EXPECT_EQ(held_locks(), "");
                             }
                         }});
        EXPECT_TRUE(fault != FAILS || is_documented(code)) << code; // a lie may be about the result
        EXPECT_TRUE(out.is_intact_behind());
        return the_bus.was_struck;
    }
};

TEST_P(nth_access_test, leaves_a_card_that_works)
{
    const spoiled_operation operation = operations().at(GetParam());
    for (uint32_t fault = FAILS; fault < BUS_FAULTS; fault++) {
        for (const bool for_ever : {false, true}) {
            if (for_ever && operation.serves_interrupts && fault != FAILS) {
                continue; // for as long as the card shows one, and so for ever
            }
            uint64_t nth = 1;
            while (nth < ACCESSES_MOST &&
                   run_spoiled(operation, static_cast<bus_fault>(fault), for_ever, nth)) {
                ASSERT_FALSE(HasFailure()) << operation.name << ", fault " << fault << ", for ever "
                                           << for_ever << ", access " << nth;
                nth += step_of(operation, for_ever);
            }
            EXPECT_GT(nth, 1u) << operation.name << " reaches no card";
            EXPECT_LT(nth, ACCESSES_MOST) << operation.name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(operation, nth_access_test, testing::Range(size_t{0}, operations().size()),
                         [](const auto &test) {
                             std::string name =
                                 operations().at(test.param).name + "_" + std::to_string(test.param);
                             std::ranges::replace_if(
                                 name, [](char c) { return !isalnum(c); }, '_');
                             return name;
                         });

} // namespace
