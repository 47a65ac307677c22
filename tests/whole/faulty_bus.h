// The library on a simulated card, its threads as fibers in virtual time, with a bus between them that spoils
// the n-th access and, if it is told so, all behind it.
#ifndef TESTS_FAULTS_FAULTY_BUS_H
#define TESTS_FAULTS_FAULTY_BUS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "background/response_thread.h"
#include "card_simulator/card.h"
#include "core/handle.h"
#include "core/mutex.h"
#include "core/semaphore.h"
#include "core/transaction_id.h"
#include "kelvane_handle.h"
#include "support/library.h"
#include "whole/simulation/fibers.h"

enum bus_fault { FAILS, ALL_ONES, ZERO, FLIPS, BUS_FAULTS };

struct faulty_bus {
    card *it = nullptr;
    uint64_t accesses = 0;
    uint64_t struck_from = 0; // 0: nothing is spoiled
    bool for_ever = false;
    bus_fault fault = FAILS;
    uint32_t bit = 0; // that a flip flips

    bool was_struck = false;

    bool strikes()
    {
        accesses++;
        const bool now = struck_from != 0 && (for_ever ? accesses >= struck_from : accesses == struck_from);
        was_struck = was_struck || now;
        return now;
    }
};

inline faulty_bus the_bus;

class faulty_bus_test : public library_test {
  protected:
    faulty_bus_test()
    {
        EXPECT_EQ(kelvane_init_driver(), 0);
        trace_level_mask_set(0);
    }

    ~faulty_bus_test() override
    {
        remove_card();
    }

    // Runs the bodies one after the other, beside the library's response threads.
    static void run(const std::vector<std::function<void()>> &bodies)
    {
        bool ended = false;
        for (uint32_t sirane_id = 0; sirane_id < KELVANE_SIRANE_COUNT; sirane_id++) {
            for (uint32_t mbox = 0; mbox < MBOX_THREAD_COUNT; mbox++) {
                fibers_add([&ended, sirane_id, mbox] { serve_mailbox(&ended, sirane_id, mbox); });
            }
        }
        fibers_add([&ended, &bodies] {
            for (const auto &body : bodies) {
                body();
            }
            ended = true;
        });
        EXPECT_TRUE(fibers_run([] { return false; }, fibers_clock() + PATIENCE_NS));
    }

    // A new card, and the library as new on it; not mapped.
    void insert_card(const card_options &options = {})
    {
        remove_card();
        the_bus = {};
        choices_start(1);
        fibers_begin([] {
            if (the_bus.it != nullptr) {
                card_step(the_bus.it);
            }
        });
        the_bus.it = card_create(options);
        zero_handle_record();
        kelvane_transaction_counter.next = 0x1234;
        kelvane_init_device_t device = recorded_bar_device();
        device.client_type = 1;
        device.pci_read_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t *value, uint32_t) {
            *value = card_host_read(the_bus.it, offset);
            if (!the_bus.strikes()) {
                return 0;
            }
            const uint32_t spoiled[] = {*value, 0xFFFFFFFF, 0, *value ^ 1u << the_bus.bit};
            *value = spoiled[the_bus.fault];
            return the_bus.fault == FAILS ? 5 : 0;
        };
        device.pci_write_cb = [](kelvane_handle, uint32_t, uint32_t offset, uint32_t value, uint32_t) {
            if (the_bus.strikes()) {
                if (the_bus.fault == FAILS) {
                    return 5;
                }
                if (!the_bus.for_ever) { // a bus that lies for ever lies to its readers
                    const uint32_t spoiled[] = {value, 0xFFFFFFFF, 0, value ^ 1u << the_bus.bit};
                    value = spoiled[the_bus.fault];
                }
            }
            card_host_write(the_bus.it, offset, value);
            return 0;
        };
        ASSERT_EQ(kelvane_device_create(device), 0);
    }

    static void remove_card()
    {
        if (the_bus.it != nullptr) {
            fibers_end();
            card_destroy(the_bus.it);
            the_bus.it = nullptr;
        }
    }

    static bool is_defined(int32_t code)
    {
        const auto value = static_cast<uint32_t>(code);
        return value == 0 || value == 16 || value == 22 || value == 110 ||
               (value >= 64170 && value <= 64175) || value > 0x80000000;
    }

    // The locks of a sirane that somebody holds: "1 command", "1 response 0".
    static std::string held_locks()
    {
        std::string held;
        const kelvane_handle_record &record = local_handles_array[0];
        for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
            const std::string name = std::to_string(sirane);
            held += kelvane_mutex_get_owner(&record.command_mutex[sirane]) != 0 ? name + " command " : "";
            held += kelvane_mutex_get_owner(&record.asynch_req_lock[sirane]) != 0 ? name + " requests " : "";
            for (const kelvane_mutex &mutex : record.response_mutex[sirane]) {
                held += kelvane_mutex_get_owner(&mutex) != 0 ? name + " response " : "";
            }
        }
        return held;
    }

    // The link once more, and an exchange with each sirane.
    static std::string what_does_not_work()
    {
        the_bus.struck_from = 0;
        kelvane_pci_mapped(0, 0, 0, 0);
        const int32_t mapped = kelvane_pci_mapped(0, 1, 0, 0);
        std::string wrong = mapped == 0 ? "" : "link-up " + std::to_string(mapped) + " ";
        for (uint32_t sirane = 0; sirane < KELVANE_SIRANE_COUNT; sirane++) {
            uint32_t value = 0;
            const int32_t read = kelvane_read_register(0, KELVANE_ADDRESS_SIRANE(sirane), 0x9000, &value);
            if (read != 0 || value != 0x51A0) {
                wrong += "sirane " + std::to_string(sirane) + " " + std::to_string(read) + " ";
            }
        }
        return wrong;
    }

  private:
    static constexpr uint64_t PATIENCE_NS = 100000000000000;

    static void serve_mailbox(const bool *ended, uint32_t sirane_id, uint32_t mbox)
    {
        kelvane_semaphore &semaphore = local_handles_array[0].mbox_semaphore[sirane_id][mbox];
        while (!*ended) {
            fiber_wait([ended, &semaphore] { return *ended || semaphore.semState == 1; });
            if (!*ended) {
                kelvane_sem_take(&semaphore);
                kelvane_asyc_resp_common(0, sirane_id, mbox);
            }
        }
    }
};

#endif
